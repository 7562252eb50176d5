// The main window shell: tabs from the stored pages, the run button's guard, the histories after
// a run, the theme switch and the writing of every settings file at closing. Every test points
// the settings folder at a fresh temporary data location.

#include "mainwindow/autostart.h"
#include "mainwindow/mainwindow.h"
#include "mainwindow/runhistories.h"
#include "mainwindow/screenfit.h"
#include "settings/settingsstore.h"
#include "tests/mainwindow/modalcloser.h"

#include <QFile>
#include <QIcon>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QPushButton>
#include <QTabBar>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

QJsonObject ReadObject(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QJsonDocument::fromJson(file.readAll()).object();
}

PageSettingsRecord Page(const QString& name, bool checked, const QString& folder)
{
    PageSettingsRecord record;
    record.tabName = name;
    record.checked = checked;
    if (!folder.isEmpty()) {
        record.generalInputDir = QStringLiteral("/in/") + folder + QLatin1Char('/');
        record.generalOutputDir = QStringLiteral("/out/") + folder + QLatin1Char('/');
        record.stampFile = QStringLiteral("/stamp/") + folder + QStringLiteral(".png");
    }
    return record;
}

RunPageFolders Folders(bool checked, const QString& name)
{
    RunPageFolders folders;
    folders.checked = checked;
    folders.exists = true;
    folders.input = name.isEmpty() ? QString() : QStringLiteral("IN-") + name;
    folders.output = name.isEmpty() ? QString() : QStringLiteral("OUT-") + name;
    folders.stamp = name.isEmpty() ? QString() : QStringLiteral("ST-") + name;
    return folders;
}

QStringList Numbered(const QString& prefix, int count)
{
    QStringList list;
    for (int i = 0; i < count; ++i)
        list.append(prefix + QString::number(i));
    return list;
}

} // namespace

class TestMainWindow : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void runFoldersGoToTheFrontInTabOrder();
    void framesAreFittedOnTheBestScreen();
    void onlyTheExactSwitchStartsARun();
    void windowShowsTheStoredPages();
    void runButtonIgnoresReentry();
    void checkedPagesFeedTheHistoriesAfterARun();
    void batchSelectionSetsTheFlagsOrNothing();
    void closingWritesEveryFileInTabOrder();
    void closingReportsEveryFailedWrite();
    void themeSwitchAsksWritesAndRestarts();
    void versionQueryWithoutEngineSaysSo();

private:
    QString SettingsFolder() const { return dataHome->path() + QStringLiteral("/Lumeno Dravik for Desktop"); }
    std::unique_ptr<QTemporaryDir> dataHome;
};

void TestMainWindow::init()
{
    dataHome = std::make_unique<QTemporaryDir>();
    QVERIFY(dataHome->isValid());
    qputenv("XDG_DATA_HOME", dataHome->path().toLocal8Bit());
}

void TestMainWindow::cleanup()
{
    dataHome.reset();
}

void TestMainWindow::runFoldersGoToTheFrontInTabOrder()
{
    // Batch: tabs 1 and 3 checked; tab 1's folders end up in front. An entry that differs only
    // in letter case is replaced, not kept twice.
    RecentFolders lists;
    lists.inputHistory = {QStringLiteral("in-b"), QStringLiteral("older")};
    const QList<RunPageFolders> batch = {Folders(false, QStringLiteral("A")), Folders(true, QStringLiteral("B")),
                                         Folders(false, QStringLiteral("C")), Folders(true, QStringLiteral("D"))};
    PushRunFolders(lists, batch, 2);
    QCOMPARE(lists.inputHistory, (QStringList{"IN-B", "IN-D", "older"}));
    QCOMPARE(lists.outputHistory, (QStringList{"OUT-B", "OUT-D"}));
    QCOMPARE(lists.stampHistory, (QStringList{"ST-B", "ST-D"}));

    // Single mode: only the current tab counts; empty texts never enter; a tab without a page
    // adds nothing.
    RecentFolders single;
    QList<RunPageFolders> tabs = {Folders(false, QStringLiteral("A")), Folders(false, QString())};
    PushRunFolders(single, tabs, 1);
    QCOMPARE(single, RecentFolders());
    tabs[1].input = QStringLiteral("only-input");
    PushRunFolders(single, tabs, 1);
    QCOMPARE(single.inputHistory, QStringList{"only-input"});
    QVERIFY(single.outputHistory.isEmpty() && single.stampHistory.isEmpty());
    RunPageFolders missing = Folders(true, QStringLiteral("X"));
    missing.exists = false;
    RecentFolders none;
    PushRunFolders(none, {missing}, 0);
    QCOMPARE(none, RecentFolders());
    PushRunFolders(none, tabs, -1);
    QCOMPARE(none, RecentFolders());

    // Never more than 20 entries; the oldest go.
    RecentFolders full;
    full.inputHistory = Numbered(QStringLiteral("old"), 20);
    PushRunFolders(full, {Folders(false, QStringLiteral("new"))}, 0);
    QCOMPARE(full.inputHistory.size(), 20);
    QCOMPARE(full.inputHistory.first(), QStringLiteral("IN-new"));
    QCOMPARE(full.inputHistory.last(), QStringLiteral("old18"));
}

void TestMainWindow::framesAreFittedOnTheBestScreen()
{
    const QRect left(0, 0, 1280, 800);
    const QRect right(1280, 0, 1920, 1080);
    // Inside: unchanged.
    QCOMPARE(FitFrameOnScreens(QRect(100, 100, 708, 620), {left}), QPoint(100, 100));
    // Off to the right and below: pulled in by right and bottom edges.
    QCOMPARE(FitFrameOnScreens(QRect(1000, 500, 708, 620), {left}), QPoint(1280 - 708, 800 - 620));
    // Off every screen: the first screen.
    QCOMPARE(FitFrameOnScreens(QRect(-5000, -5000, 708, 620), {left, right}), QPoint(0, 0));
    // Overlapping both: the screen with the larger overlap wins.
    QCOMPARE(FitFrameOnScreens(QRect(1200, 100, 708, 620), {left, right}), QPoint(1280, 100));
    QCOMPARE(FitFrameOnScreens(QRect(900, 100, 708, 620), {left, right}), QPoint(1280 - 708, 100));
    // Larger than the screen: right and bottom first, then left and top win.
    QCOMPARE(FitFrameOnScreens(QRect(50, 50, 1500, 900), {left}), QPoint(0, 0));
    // A screen that does not start at the origin.
    QCOMPARE(FitFrameOnScreens(QRect(-100, -50, 708, 620), {QRect(0, 30, 1280, 770)}), QPoint(0, 30));
}

void TestMainWindow::onlyTheExactSwitchStartsARun()
{
    QVERIFY(IsAutostartSwitch(QStringLiteral("-autostart")));
    QVERIFY(IsAutostartSwitch(QStringLiteral("/autostart")));
    QVERIFY(!IsAutostartSwitch(QStringLiteral("autostart")));
    QVERIFY(!IsAutostartSwitch(QStringLiteral("--autostart")));
    QVERIFY(!IsAutostartSwitch(QStringLiteral("-AUTOSTART")));
    QVERIFY(!IsAutostartSwitch(QString()));
    QCOMPARE(FirstArgument({QStringLiteral("prog")}), QString());
    QCOMPARE(FirstArgument({QStringLiteral("prog"), QStringLiteral("-a"), QStringLiteral("-b")}), QStringLiteral("-a"));
}

void TestMainWindow::windowShowsTheStoredPages()
{
    MainWindow window;
    auto* tabs = window.findChild<QTabWidget*>(QStringLiteral("tabWidget"));
    QVERIFY(tabs);
    QCOMPARE(tabs->count(), 0);

    // Nothing stored: the three default pages, the last one current, none checked.
    window.StartingUpInitialization();
    QCOMPARE(tabs->count(), 3);
    QCOMPARE(tabs->tabText(0), QStringLiteral("page1"));
    QCOMPARE(tabs->tabText(2), QStringLiteral("page3"));
    QCOMPARE(tabs->tabToolTip(1), QStringLiteral("page2"));
    QCOMPARE(tabs->widget(0)->accessibleName(), QStringLiteral("tabpage"));
    QVERIFY(!window.IsBatchMode());

    // The first show restores the stored tab (none stored: the first).
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QCOMPARE(tabs->currentIndex(), 0);
    PageSettingsRecord record;
    QVERIFY(window.PageRecordAt(1, record));
    QCOMPARE(record.tabName, QStringLiteral("page2"));
    QVERIFY(!window.PageRecordAt(3, record));
    QVERIFY(!window.PageRecordAt(-1, record));
    ModalCloser closer;
    window.close();
}

void TestMainWindow::runButtonIgnoresReentry()
{
    QVERIFY(SettingsStore().WritePageSettings({Page(QStringLiteral("only"), false, QStringLiteral("x"))}));
    MainWindow window;
    window.StartingUpInitialization();
    window.show();
    window.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&window));

    int entries = 0;
    bool succeed = false;
    window.SetRunEntry([&](MainWindow& w) {
        ++entries;
        // Everything a user could do while the run waits in its dialogs: press again, Alt+R,
        // and an auto-start queued by a later start of the program.
        w.RunButton()->click();
        QTest::keyClick(w.windowHandle(), Qt::Key_R, Qt::AltModifier);
        QMetaObject::invokeMethod(&w, "on_runPushButton_clicked", Qt::QueuedConnection);
        // Long enough for the shortcut's animated press to land inside the run.
        QTest::qWait(400);
        return succeed;
    });
    // Each of the three attempts reaches the slot and is turned away.
    for (int i = 0; i < 3; ++i)
        QTest::ignoreMessage(QtDebugMsg, "run already in progress: ignored");
    window.RunButton()->click();
    QCOMPARE(entries, 1);
    QVERIFY(!window.RunBusy());
    // A failed run leaves the histories alone.
    QCOMPARE(window.Histories(), RecentFolders());

    // After the run has returned the button works again, and a successful run records the
    // current page's folders.
    succeed = true;
    QTest::keyClick(window.windowHandle(), Qt::Key_R, Qt::AltModifier);
    // A shortcut presses the button with a short animation.
    QTRY_COMPARE(entries, 2);
    QCOMPARE(window.Histories().inputHistory, QStringList{"/in/x/"});
    QCOMPARE(window.Histories().outputHistory, QStringList{"/out/x/"});
    QCOMPARE(window.Histories().stampHistory, QStringList{"/stamp/x.png"});

    ModalCloser closer;
    window.close();
}

void TestMainWindow::checkedPagesFeedTheHistoriesAfterARun()
{
    QVERIFY(SettingsStore().WritePageSettings({Page(QStringLiteral("p0"), false, QStringLiteral("zero")),
                                               Page(QStringLiteral("p1"), true, QStringLiteral("one")),
                                               Page(QStringLiteral("p2"), false, QStringLiteral("two")),
                                               Page(QStringLiteral("p3"), true, QStringLiteral("three"))}));
    MainWindow window;
    RecentFolders before;
    before.inputHistory = {QStringLiteral("/IN/ONE/"), QStringLiteral("/elsewhere/")};
    window.SetHistories(before);
    window.StartingUpInitialization();
    QVERIFY(window.IsBatchMode());
    window.SetRunEntry([](MainWindow&) { return true; });
    window.on_runPushButton_clicked();
    QCOMPARE(window.Histories().inputHistory, (QStringList{"/in/one/", "/in/three/", "/elsewhere/"}));
    QCOMPARE(window.Histories().stampHistory, (QStringList{"/stamp/one.png", "/stamp/three.png"}));
}

void TestMainWindow::batchSelectionSetsTheFlagsOrNothing()
{
    MainWindow window;
    window.StartingUpInitialization();
    auto* tabs = window.findChild<QTabWidget*>(QStringLiteral("tabWidget"));
    auto* batchButton = window.findChild<QPushButton*>(QStringLiteral("pushButtonBatch"));
    const QImage unlit = QIcon(QStringLiteral(":/global/lamp00_a.png")).pixmap(20).toImage();
    const QImage lit = QIcon(QStringLiteral(":/global/lamp01_a.png")).pixmap(20).toImage();
    QVERIFY(!lit.isNull() && lit != unlit);
    auto lampOf = [&](int i) { return tabs->tabIcon(i).pixmap(20).toImage(); };

    // Single mode: only the current tab is lit, whichever it is.
    tabs->setCurrentIndex(1);
    QCOMPARE(lampOf(1), lit);
    QCOMPARE(lampOf(0), unlit);
    QCOMPARE(batchButton->icon().pixmap(20).toImage(), unlit);

    QList<QPair<QString, bool>> pages = window.BatchPages();
    QCOMPARE(pages.size(), 3);
    QCOMPARE(pages.at(2).first, QStringLiteral("page3"));
    pages[0].second = true;
    pages[2].second = true;
    QVERIFY(window.ApplyBatchSelection(pages));
    QVERIFY(window.IsBatchMode());
    // Batch mode: the checked tabs are lit, the current one is not, and switching tabs does not
    // move the lamps.
    QCOMPARE(lampOf(0), lit);
    QCOMPARE(lampOf(1), unlit);
    tabs->setCurrentIndex(2);
    QCOMPARE(lampOf(1), unlit);
    QCOMPARE(lampOf(2), lit);
    QCOMPARE(batchButton->icon().pixmap(20).toImage(), lit);

    // A list that does not match the tabs changes nothing.
    QTest::ignoreMessage(QtCriticalMsg, "data size wrong");
    QVERIFY(!window.ApplyBatchSelection({{QStringLiteral("page1"), false}}));
    QCOMPARE(window.BatchPages(), pages);

    // Unchecking everything returns to single mode.
    for (auto& page : pages)
        page.second = false;
    QVERIFY(window.ApplyBatchSelection(pages));
    QVERIFY(!window.IsBatchMode());
    QCOMPARE(lampOf(2), lit);
    QCOMPARE(lampOf(0), unlit);
}

void TestMainWindow::closingWritesEveryFileInTabOrder()
{
    QVERIFY(SettingsStore().WritePageSettings({Page(QStringLiteral("A"), false, QStringLiteral("a")),
                                               Page(QStringLiteral("B"), true, QStringLiteral("b")),
                                               Page(QStringLiteral("C"), false, QStringLiteral("c"))}));
    {
        MainWindow window;
        RecentFolders lists;
        lists.inputHistory = {QStringLiteral("/i1/"), QStringLiteral("/i2/")};
        lists.stampHistory = {QStringLiteral("/s.png")};
        window.SetHistories(lists);
        window.SetDarkTheme(false);
        window.StartingUpInitialization();
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));

        // The user drags A to the end and selects B (now at index 0).
        auto* tabs = window.findChild<QTabWidget*>(QStringLiteral("tabWidget"));
        tabs->tabBar()->moveTab(0, 2);
        tabs->setCurrentIndex(0);
        window.move(40, 30);
        ModalCloser closer;
        QVERIFY(window.close());
        QVERIFY(closer.texts.isEmpty());
    }

    const QJsonObject general = ReadObject(SettingsFolder() + QStringLiteral("/GeneralSettings.json"));
    QCOMPARE(general.size(), 7);
    QCOMPARE(general.value(QStringLiteral("lastSelectTab")).toInt(), 0);
    QCOMPARE(general.value(QStringLiteral("batchMode")).toBool(true), false);
    QCOMPARE(general.value(QStringLiteral("isDetailedOpen")).toBool(true), false);
    // The theme flag in the file changes only through the theme switch.
    QCOMPARE(general.value(QStringLiteral("lumenoDarkStyle")).toBool(false), true);

    QList<PageSettingsRecord> pages;
    QVERIFY(SettingsStore().ReadPageSettings(pages));
    QCOMPARE(pages.size(), 3);
    QCOMPARE(pages.at(0).tabName, QStringLiteral("B"));
    QCOMPARE(pages.at(1).tabName, QStringLiteral("C"));
    QCOMPARE(pages.at(2).tabName, QStringLiteral("A"));
    // Each page keeps its own settings and check flag wherever its tab went.
    QCOMPARE(pages.at(0).generalInputDir, QStringLiteral("/in/b/"));
    QVERIFY(pages.at(0).checked);
    QCOMPARE(pages.at(2).generalOutputDir, QStringLiteral("/out/a/"));
    QVERIFY(!pages.at(2).checked);

    const QJsonObject recent = ReadObject(SettingsFolder() + QStringLiteral("/folderrecent.json"));
    QCOMPARE(recent.value(QStringLiteral("inputHistory")).toArray(), (QJsonArray{"/i1/", "/i2/"}));
    QCOMPARE(recent.value(QStringLiteral("stampHistory")).toArray(), QJsonArray{"/s.png"});
    QCOMPARE(recent.value(QStringLiteral("outputHistory")).toArray(), QJsonArray());
}

void TestMainWindow::closingReportsEveryFailedWrite()
{
    // A file where the settings folder should be: every write fails, each says so once, and
    // the window still closes.
    QFile blocker(SettingsFolder());
    QVERIFY(blocker.open(QIODevice::WriteOnly));
    blocker.close();

    MainWindow window;
    window.StartingUpInitialization();
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    ModalCloser closer;
    QVERIFY(window.close());
    QCOMPARE(closer.texts, QStringList(3, QStringLiteral("データの保存に失敗しました。")));
    QCOMPARE(closer.titles.value(0), QStringLiteral("Dravik for Desktop"));
    QVERIFY(!window.isVisible());
}

void TestMainWindow::themeSwitchAsksWritesAndRestarts()
{
    const QString generalPath = SettingsFolder() + QStringLiteral("/GeneralSettings.json");
    MainWindow window;
    window.StartingUpInitialization();
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));

    {
        ModalCloser cancel(QMessageBox::Cancel);
        window.SwitchTheme();
        QCOMPARE(cancel.texts.size(), 1);
        QVERIFY(cancel.texts.first().startsWith(QStringLiteral("Dravik for Desktop のテーマを変更します。\n\n")));
        QVERIFY(cancel.texts.first().contains(QStringLiteral("現在のテーマは「ダークモード」です。\n\n「OSの設定」に変更しますか？")));
        QVERIFY(cancel.buttonTexts.contains(QStringLiteral("キャンセル")));
    }
    QVERIFY(!QFile::exists(generalPath));
    QVERIFY(window.isVisible());
    QVERIFY(!window.RestartRequested());

    // Accepted, but the flag cannot be written: the failure is shown and nothing restarts.
    {
        QFile blocker(SettingsFolder());
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        ModalCloser accept(QMessageBox::Ok);
        window.SwitchTheme();
        QCOMPARE(accept.texts.size(), 2);
        QCOMPARE(accept.texts.at(1), QStringLiteral("データの保存に失敗しました。"));
        QVERIFY(blocker.remove());
    }
    QVERIFY(window.isVisible());
    QVERIFY(!window.RestartRequested());

    // Accepted: the opposite flag is stored, the window closes through its close handling
    // (which keeps the new flag) and asks for a restart.
    {
        ModalCloser accept(QMessageBox::Ok);
        window.SwitchTheme();
        QCOMPARE(accept.texts.size(), 1);
    }
    QVERIFY(window.RestartRequested());
    QVERIFY(!window.isVisible());
    const QJsonObject general = ReadObject(generalPath);
    QCOMPARE(general.value(QStringLiteral("lumenoDarkStyle")).toBool(true), false);
    QCOMPARE(general.size(), 7);
    QVERIFY(QFile::exists(SettingsFolder() + QStringLiteral("/PageSettings.json")));
}

void TestMainWindow::versionQueryWithoutEngineSaysSo()
{
    // Test programs run from a folder without an engine.
    MainWindow window;
    ModalCloser closer;
    QCOMPARE(window.GetEngineVersion(), QString());
    QCOMPARE(closer.texts, QStringList{"The program required for processing could not be found."});
}

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
