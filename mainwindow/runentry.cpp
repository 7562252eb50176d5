#include "mainwindow/runentry.h"

#include "mainwindow/mainwindow.h"
#include "pipeline/commandline.h"
#include "pipeline/enginelocator.h"
#include "validation/warningbox.h"

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
    PageSettingsRecord record;
    if (!PageRecordAt(tabIndex, record))
        return false;
    OptionRefusal refusal;
    if (SetDefaultOption(record, inputDir, outputDir, option, control, &refusal))
        return true;
    // Without a form there is no control to focus nor details row to open: the page and the
    // message are what can be shown.
    if (tabs)
        tabs->setCurrentIndex(tabIndex);
    ShowWarningBox(&window, refusal.message);
    return false;
}

void MainWindowRunHost::FocusFolderField(int tabIndex, bool output)
{
    // The window shows no folder boxes of its own yet: showing the page is all it can do.
    Q_UNUSED(output);
    if (tabs)
        tabs->setCurrentIndex(tabIndex);
}

bool RunEntry(MainWindow& window)
{
    MainWindowRunHost host(window);
    return RunEntry(host);
}
