#include "mainwindow/runentry.h"

#include "mainwindow/mainwindow.h"
#include "pipeline/enginelocator.h"

#include <QDebug>
#include <QTabWidget>

MainWindowRunHost::MainWindowRunHost(MainWindow& w)
    : window(w), tabs(w.findChild<QTabWidget*>(QStringLiteral("tabWidget")))
{
}

int MainWindowRunHost::PageCount() const
{
    return tabs ? tabs->count() : 0;
}

int MainWindowRunHost::CurrentIndex() const
{
    return tabs ? tabs->currentIndex() : -1;
}

bool MainWindowRunHost::IsBatchMode() const
{
    return window.IsBatchMode();
}

bool MainWindowRunHost::FindEngine(QString& path)
{
    return ::FindEngine(&window, path);
}

QWidget* MainWindowRunHost::DialogParent() const
{
    return &window;
}

bool MainWindowRunHost::PageRecordAt(int tabIndex, PageSettingsRecord& record) const
{
    return window.PageRecordAt(tabIndex, record);
}

bool MainWindowRunHost::SetDefaultOptionForPage(int tabIndex, const QString& inputDir, const QString& outputDir,
                                                DefaultOption* option, ProcessControl* control)
{
    return window.SetDefaultOptionForPage(tabIndex, inputDir, outputDir, option, control);
}

void MainWindowRunHost::FocusFolderField(int tabIndex, bool output)
{
    window.FocusFolderField(tabIndex, output);
}

bool RunEntry(MainWindow& window)
{
    MainWindowRunHost host(window);
    return RunEntry(host);
}
