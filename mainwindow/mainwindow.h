#pragma once

#include "settings/pagesettingsrecord.h"
#include "settings/recentfolders.h"

#include <QList>
#include <QMainWindow>
#include <QMessageBox>
#include <QPair>
#include <QProcess>
#include <QString>
#include <QStringList>

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
class TabTemplate;
struct DefaultOption;
struct ProcessControl;

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
    // Also tells the page forms built from now on which title colours to use.
    void SetDarkTheme(bool dark);

    // The run itself is plugged in here: it returns true after a successful run. Until one is
    // set, the run button only logs that there is nothing to run.
    using RunEntryFunction = std::function<bool(MainWindow&)>;
    void SetRunEntry(RunEntryFunction entry) { runEntry = std::move(entry); }
    bool RunBusy() const { return runBusy; }

    // Set when the user accepted a theme switch: the start-up starts the program again once the
    // event loop has ended and this instance has given up its single-instance name.
    bool RestartRequested() const { return restartRequested; }

    // The editor form of the page shown at a tab index; nullptr when no page entry holds that tab.
    TabTemplate* GetPageForm(int tabIndex) const;
    // The page shown at a tab index as its form holds it now, named by the tab's text and
    // flagged by the tab's check flag. False when no page entry holds that tab.
    bool PageRecordAt(int tabIndex, PageSettingsRecord& record) const;
    // Shows a record in the page at a tab index, its check flag included (the tab's name is left
    // as it is). False when no page entry holds that tab.
    bool LoadPageToForm(int tabIndex, const PageSettingsRecord& record);
    // Resets the page at a tab index to the default record (check flag off, name kept).
    void Initialization(int tabIndex);

    // The option checks of a run on the page at a tab index, read from its form. On a refusal
    // the tab becomes current, the details panel opens at the refused row (when there is one),
    // the form focuses the control and shows the standard warning box, and false comes back.
    bool SetDefaultOptionForPage(int tabIndex, const QString& inputDir, const QString& outputDir,
                                 DefaultOption* option, ProcessControl* control);
    // Makes the tab current and puts the focus in its input or output folder box.
    void FocusFolderField(int tabIndex, bool output);

    // Asks for a page name until it is acceptable or the user cancels. The names of every tab,
    // but the one at index when excludeSelf, are taken. name is replaced only on acceptance.
    bool PageNameDialog(QString& name, int index, bool excludeSelf, const QString& okText,
                        const QString& cancelText);

    // Plain members, not slots: no widget of the window's own form carries these names, so the
    // form's connection by name must not look for them.
    void on_RightClickedTabBar(int index);   // opens the tab bar's context menu at the pointer
    void on_pushButton_clicked();            // the page's reset button: asks, then resets it

    bool DetailsOpen() const { return detailsOpen; }
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

    // Page tabs: the commands of the tab bar's context menu, which act on contextTabIndex.
    void AddTab();
    void DuplicateTab();
    void RenameTab();
    void RemoveTab();

    void DetailedOpenClose(bool forceOpen = false);

    // Page presets of the current tab.
    void ExportPresetData();
    void ImportPresetData();

protected:
    void closeEvent(QCloseEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    // One page tab: its widget and its editor form. Entries are found by widget, so a tab
    // dragged to another place keeps its page.
    struct PageEntry
    {
        QWidget* page = nullptr;
        TabTemplate* form = nullptr;
    };

    void CreateMenuActions();
    void ReadSaveData();
    // A new page with the default record as tab index + 1, made current.
    TabTemplate* CreateTab(int index, const QString& name, bool checked);
    void ConnectPageForm(TabTemplate* form);
    bool IsValidTabIndex(int index) const;
    bool RoomForAnotherPage();
    bool TabChecked(int tabIndex) const;
    void SetTabName(int tabIndex, const QString& name);
    QStringList TabNames(int exceptIndex) const;
    bool AskYesNo(const QString& question, QMessageBox::Icon icon);
    void MeasureDetailsHeights();
    void ShowDetailsArea(bool open);
    void ApplyDetailsState(bool open);
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
