#pragma once

// The run drivers in front of the real main window: the window's side of RunHost, and the body
// that the start-up hands to MainWindow::SetRunEntry.

#include "mainwindow/rundrivers.h"

class MainWindow;
class QTabWidget;

// The page operations go through the three members marked below: each page is read from and
// sent back to its own form by the window.
class MainWindowRunHost : public RunHost
{
public:
    explicit MainWindowRunHost(MainWindow& window);

    int PageCount() const override;
    int CurrentIndex() const override;
    bool IsBatchMode() const override;
    bool FindEngine(QString& path) override;
    QWidget* DialogParent() const override;

    // -- the page operations --
    bool PageRecordAt(int tabIndex, PageSettingsRecord& record) const override;
    bool SetDefaultOptionForPage(int tabIndex, const QString& inputDir, const QString& outputDir,
                                 DefaultOption* option, ProcessControl* control) override;
    void FocusFolderField(int tabIndex, bool output) override;

private:
    MainWindow& window;
    QTabWidget* tabs = nullptr;
};

// RunEntry in front of the main window.
bool RunEntry(MainWindow& window);
