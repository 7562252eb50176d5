#include "mainwindow/mainwindow.h"
#include "ui_mainwindow.h"

#include "dialogs/batchsettingdialog.h"
#include "mainwindow/autostart.h"
#include "mainwindow/manualpage.h"
#include "mainwindow/operationmarker.h"
#include "mainwindow/tabtemplate.h"
#include "mainwindow/runhistories.h"
#include "mainwindow/screenfit.h"
#include "pipeline/enginelocator.h"
#include "settings/settingsstore.h"
#include "validation/warningbox.h"
#include "widgets/dk_tabwidget.h"

#include <QAction>
#include <QCloseEvent>
#include <QDebug>
#include <QGuiApplication>
#include <QKeySequence>
#include <QMenu>
#include <QMessageBox>
#include <QMetaObject>
#include <QPushButton>
#include <QScreen>
#include <QShowEvent>

namespace {

const QString kTitle = QStringLiteral("Dravik for Desktop");
constexpr QSize kSmallButtonSize(90, 25);
constexpr QSize kBatchButtonSize(110, 36);
constexpr QSize kRunButtonSize(170, 42);

const char* const kMenuButtonStyle =
    "QPushButton{\tcolor: white;\tmargin: 0;\tpadding: 0;\tborder: 1px solid #333333;\tborder-radius: 3px;"
    "\tmin-width: 26px;\tmin-height: 26px;\tbackground-color: qlineargradient(x1: 0, y1: 0, x2: 0, y2: 1,"
    "\t\tstop: 0 #828282, stop: 0.7 #595959);}"
    "QPushButton:hover{\tbackground-color: qlineargradient(x1: 0, y1: 0, x2: 0, y2: 1,"
    "\t\tstop: 0 #878787, stop: 0.7 #393939);}"
    "QPushButton:pressed{\tbackground-color: qlineargradient(x1: 0, y1: 0, x2: 0, y2: 1,"
    "\t\tstop: 0 #717171, stop: 0.7 #606060);}"
    "QPushButton:default{border-color: #0078D7;}"
    "QPushButton:disabled{\tcolor: rgba(255,255,255,30%);\tborder-color: #80333333;"
    "\tbackground-color: qlineargradient(x1: 0, y1: 0, x2: 0, y2: 1,"
    "\t\tstop: 0 #80828282, stop: 0.7 #80595959);}";

} // namespace

MainWindow::MainWindow(QWidget* parent) : QMainWindow(parent)
{
    OperationMarker marker("MainWindow");
    ui = new Ui::MainWindow;
    ui->setupUi(this);
    setFixedWidth(width());
    connect(ui->tabWidget, &DK_TabWidget::tabBarRightClicked, this, &MainWindow::on_RightClickedTabBar);
    // Until the first show knows the page editor's size, both heights are the form's.
    expandedHeight = collapsedHeight = height();

    setWindowTitle(kTitle);
    ui->runPushButton->setShortcut(QKeySequence(QStringLiteral("Alt+R")));
    ui->pushButtonBatch->setShortcut(QKeySequence(QStringLiteral("Alt+B")));
    ui->runPushButton->setToolTip(tr("Alt+R_win"));
    ui->pushButtonBatch->setToolTip(tr("一括処理の設定(Alt+B)"));

    CreateMenuActions();

    ui->label->setText(QStringLiteral("Version %1").arg(QStringLiteral(DRAVIK_APP_VERSION)));

    tabBar = ui->tabWidget->tabBar();
    if (!tabBar)
        QMetaObject::invokeMethod(this, "close", Qt::QueuedConnection);

    ui->pushButtonMenu->setStyleSheet(QString::fromUtf8(kMenuButtonStyle));
}

MainWindow::~MainWindow()
{
    // Page widgets are children of the tab widget and go with the form.
    pageEntries.clear();
    delete ui;
}

QPushButton* MainWindow::RunButton() const
{
    return ui->runPushButton;
}

void MainWindow::CreateMenuActions()
{
    themeAction = new QAction(tr("テーマ切り替え(&T)"), this);
    connect(themeAction, &QAction::triggered, this, &MainWindow::SwitchTheme);
    aboutAction = new QAction(tr("Dravik for Desktopについて(&A)..."), this);
    connect(aboutAction, &QAction::triggered, this, [this] { emit aboutRequested(GetEngineVersion()); });
    exitAction = new QAction(tr("終了(&X)"), this);
    // Closing the window (not quitting the loop directly) lets the close handling save everything.
    connect(exitAction, &QAction::triggered, this, &QWidget::close);
}

void MainWindow::StartingUpInitialization()
{
    OperationMarker marker("StartingUpInitialization");
    ReadSaveData();
    for (const PageEntry& entry : pageEntries)
        entry.form->ShowDetailsState(detailsOpen);
}

void MainWindow::SetDarkTheme(bool dark)
{
    darkTheme = dark;
    TabTemplate::SetDarkTheme(dark);
}

void MainWindow::UpdateHistoriesAfterRun()
{
    OperationMarker marker("UpdateHistoriesAfterRun");
    QList<RunPageFolders> tabs;
    for (int i = 0; i < ui->tabWidget->count(); ++i) {
        RunPageFolders folders;
        folders.checked = TabChecked(i);
        PageSettingsRecord record;
        if (PageRecordAt(i, record)) {
            folders.exists = true;
            folders.input = record.generalInputDir;
            folders.output = record.generalOutputDir;
            folders.stamp = record.stampFile;
        }
        tabs.append(folders);
    }
    PushRunFolders(histories, tabs, ui->tabWidget->currentIndex());
    // The other pages take the new lists when they become current.
    if (TabTemplate* form = GetPageForm(ui->tabWidget->currentIndex()))
        form->RefreshHistoryCombos(histories);
}

void MainWindow::on_runPushButton_clicked()
{
    OperationMarker marker("on_runPushButton_clicked");
    // The run waits in modal dialogs whose event loops still deliver Alt+R and queued
    // auto-starts; those must not start a second run inside the first.
    if (runBusy) {
        qDebug() << "run already in progress: ignored";
        return;
    }
    runBusy = true;
    bool succeeded = false;
    if (runEntry)
        succeeded = runEntry(*this);
    else
        qDebug() << "no run entry is built into this program yet: nothing was run";
    if (succeeded)
        UpdateHistoriesAfterRun();
    runBusy = false;
}

void MainWindow::on_explainNotePushButton_clicked()
{
    OperationMarker marker("on_explainNotePushButton_clicked");
    if (OpenManualPage())
        return;
    QMessageBox box(QMessageBox::Warning, kTitle, tr("説明書を開くことができませんでした。"), QMessageBox::Ok);
    box.exec();
}

void MainWindow::on_ClosePushButton_clicked()
{
    OperationMarker marker("on_ClosePushButton_clicked");
    close();
}

void MainWindow::on_pushButtonBatch_clicked()
{
    OperationMarker marker("on_pushButtonBatch_clicked");
    BatchSettingDialog dialog(this);
    dialog.SetPages(BatchPages());
    if (dialog.exec() == QDialog::Accepted)
        ApplyBatchSelection(dialog.Pages());
}

void MainWindow::on_pushButtonMenu_clicked()
{
    OperationMarker marker("on_pushButtonMenu_clicked");
    QMenu menu(this);
    menu.addAction(themeAction);
    menu.addAction(aboutAction);
    menu.addAction(exitAction);
    QPoint below = ui->pushButtonMenu->pos();
    below.setY(below.y() + ui->pushButtonMenu->height());
    menu.exec(ui->pushButtonMenu->parentWidget()->mapToGlobal(below));
}

QString MainWindow::GetEngineVersion()
{
    OperationMarker marker("GetEngineVersion");
    if (versionQueryRunning)
        return QString();
    QString path;
    if (!FindEngine(this, path))
        return QString();
    EngineVersionQuery query(path);
    connect(&query, &EngineVersionQuery::errorOccurred, this, &MainWindow::proc_errorOccurred);
    versionQuery = &query;
    versionQueryRunning = true;
    const QString version = query.Run();
    versionQueryRunning = false;
    versionQuery = nullptr;
    return version;
}

void MainWindow::proc_errorOccurred(QProcess::ProcessError error, int exitCode)
{
    OperationMarker marker("proc_errorOccurred");
    // Stop waiting first: the box below runs its own event loop.
    versionQueryRunning = false;
    if (versionQuery)
        versionQuery->Cancel();
    ShowWarningBox(this, EngineStartFailureText(error, exitCode));
}

void MainWindow::SwitchTheme()
{
    OperationMarker marker("SwitchTheme");
    const QString dark = tr("「ダークモード」");
    const QString system = tr("「OSの設定」");
    const QString question = kTitle + tr(" のテーマを変更します。\n") + QLatin1Char('\n') + tr("現在のテーマは")
                             + (darkTheme ? dark : system) + tr("です。\n") + QLatin1Char('\n')
                             + (darkTheme ? system : dark) + tr("に変更しますか？\n") + QLatin1Char('\n')
                             + tr("変更するとアプリを再起動します。\n");

    QMessageBox box(QMessageBox::Warning, kTitle, question, QMessageBox::Ok | QMessageBox::Cancel, this);
    box.button(QMessageBox::Cancel)->setText(tr("キャンセル"));
    if (box.exec() != QMessageBox::Ok)
        return;

    if (!SettingsStore().WriteDarkStyle(!darkTheme)) {
        QMessageBox failure(QMessageBox::Warning, kTitle, tr("データの保存に失敗しました。"), QMessageBox::Ok, this);
        failure.exec();
        return;
    }
    // The new process is started by the start-up once this one has saved everything and given up
    // its single-instance name; started from here, it could be answered by this very instance.
    restartRequested = true;
    close();
}

void MainWindow::showEvent(QShowEvent* event)
{
    QMainWindow::showEvent(event);
    if (firstShowDone)
        return;
    firstShowDone = true;
    FirstShow();
}

void MainWindow::FirstShow()
{
    OperationMarker marker("FirstShow");
    // The dark sheet gives push buttons its own minimum, which would undercut the form's sizes;
    // the style is polished by now, so these stick.
    ui->explainNotePushButton->setFixedSize(kSmallButtonSize);
    ui->ClosePushButton->setFixedSize(kSmallButtonSize);
    ui->pushButtonBatch->setMinimumSize(kBatchButtonSize);
    ui->runPushButton->setMinimumSize(kRunButtonSize);
    SettingsStore store;
    {
        GeneralSettingsRecord position;
        if (store.ReadGeneralSettings(position))
            move(position.windowPosX, position.windowPosY);
    }

    MeasureDetailsHeights();

    GeneralSettingsRecord settings;
    const bool read = store.ReadGeneralSettings(settings);
    ui->tabWidget->setCurrentIndex(read ? settings.lastSelectTab : 0);
    ApplyDetailsState(read && settings.isDetailedOpen);
    isMovedRecent = read && settings.isMovedRecent;

    QList<QRect> geometries;
    for (const QScreen* screen : QGuiApplication::screens())
        geometries.append(screen->availableGeometry());
    move(FitFrameOnScreens(frameGeometry(), geometries));

    if (IsAutostartSwitch(FirstArgument(QCoreApplication::arguments())))
        QMetaObject::invokeMethod(this, "on_runPushButton_clicked", Qt::QueuedConnection);

    UpdateLampIcons();
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    OperationMarker marker("closeEvent");
    WriteAllSettings();
    event->accept();
}

void MainWindow::WriteAllSettings()
{
    GeneralSettingsRecord general;
    general.lumenoDarkStyle = darkTheme;
    general.windowPosX = frameGeometry().x();
    general.windowPosY = frameGeometry().y();
    general.lastSelectTab = qMax(0, ui->tabWidget->currentIndex());
    general.isDetailedOpen = detailsOpen;
    general.batchMode = false;
    general.isMovedRecent = isMovedRecent;

    QList<PageSettingsRecord> pages;
    for (int i = 0; i < ui->tabWidget->count(); ++i) {
        PageSettingsRecord record;
        if (PageRecordAt(i, record))
            pages.append(record);
    }

    const SettingsStore store;
    const QString failed = tr("データの保存に失敗しました。");
    if (!store.WriteGeneralSettings(general))
        ShowWarningBox(this, failed);
    // A window that never built its pages has nothing to save, and an empty list would read back
    // as the three default pages: the stored ones are kept instead.
    if (!pages.isEmpty() && !store.WritePageSettings(pages))
        ShowWarningBox(this, failed);
    if (!store.WriteRecentFolders(histories))
        ShowWarningBox(this, failed);
}
