#pragma once

#include "settings/pagesettingsrecord.h"
#include "settings/recentfolders.h"

#include <QList>
#include <QMainWindow>
#include <QPair>
#include <QProcess>
#include <QString>

#include <functional>

namespace Ui {
class MainWindow;
}

class QAction;
class QCloseEvent;
class QPushButton;
class QShowEvent;
class QTabBar;
class EngineVersionQuery;

class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

    // Builds one tab per stored page. Called once by the start-up, after construction.
    void StartingUpInitialization();

    // The run button; the start-up gives it its larger font.
    QPushButton* RunButton() const;

    bool IsBatchMode() const;
    void UpdateLampIcons();

    // The pages a batch selection starts from: every tab's text and check flag, in tab order.
    QList<QPair<QString, bool>> BatchPages() const;
    // Takes the check flags chosen for a batch back into the tabs, in tab order. A list that does
    // not match the tabs one for one changes nothing and returns false.
    bool ApplyBatchSelection(const QList<QPair<QString, bool>>& pages);
    void UpdateHistoriesAfterRun();

    // The engine's version for the About dialog; "" when it cannot be had. Shows the missing-engine
    // or start-failure message itself. Never waits longer than the engine time limit.
    QString GetEngineVersion();

    RecentFolders Histories() const { return histories; }
    void SetHistories(const RecentFolders& lists) { histories = lists; }

    bool DarkTheme() const { return darkTheme; }
    void SetDarkTheme(bool dark) { darkTheme = dark; }

    // The run itself is plugged in here: it returns true after a successful run. Until one is
    // set, the run button only logs that there is nothing to run.
    using RunEntryFunction = std::function<bool(MainWindow&)>;
    void SetRunEntry(RunEntryFunction entry) { runEntry = std::move(entry); }
    bool RunBusy() const { return runBusy; }

    // Set when the user accepted a theme switch: the start-up starts the program again once the
    // event loop has ended and this instance has given up its single-instance name.
    bool RestartRequested() const { return restartRequested; }

    // The page shown at a tab index: its stored settings as they stand now, named by the tab's
    // text and flagged by the tab's check flag. False when no page entry holds that tab.
    bool PageRecordAt(int tabIndex, PageSettingsRecord& record) const;

    // The frame heights with the details panel open and closed. They start at the form's height
    // and the first show computes them from the first page's editor.
    int ExpandedHeight() const { return expandedHeight; }
    int CollapsedHeight() const { return collapsedHeight; }

signals:
    // The About menu entry, with the engine's version text (empty when unknown).
    void aboutRequested(const QString& engineVersion);

public slots:
    void on_runPushButton_clicked();
    void on_explainNotePushButton_clicked();
    void on_ClosePushButton_clicked();
    void on_tabWidget_currentChanged(int index);
    void on_pushButtonBatch_clicked();
    void on_pushButtonMenu_clicked();
    void proc_errorOccurred(QProcess::ProcessError error, int exitCode);
    void SwitchTheme();

protected:
    void closeEvent(QCloseEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    // One page tab: its widget and the settings it holds. Entries are found by widget, so a tab
    // dragged to another place keeps its page.
    struct PageEntry
    {
        QWidget* page = nullptr;
        PageSettingsRecord record;
    };

    void CreateMenuActions();
    void ReadSaveData();
    void CreateTab(int index, const QString& name, bool checked, const PageSettingsRecord& record);
    const PageEntry* PageEntryAt(int tabIndex) const;
    bool TabChecked(int tabIndex) const;
    void FirstShow();
    void WriteAllSettings();

    Ui::MainWindow* ui = nullptr;
    QTabBar* tabBar = nullptr;
    QList<PageEntry> pageEntries;
    RecentFolders histories;

    bool darkTheme = true;
    bool detailsOpen = false;
    bool isMovedRecent = false;
    bool runBusy = false;
    bool firstShowDone = false;
    bool restartRequested = false;
    bool versionQueryRunning = false;
    int contextTabIndex = 0;
    int expandedHeight = 0;
    int collapsedHeight = 0;

    QAction* themeAction = nullptr;
    QAction* aboutAction = nullptr;
    QAction* exitAction = nullptr;

    RunEntryFunction runEntry;
    EngineVersionQuery* versionQuery = nullptr;
};
