// The main window: its pages and their tab commands, the details panel, presets, the run
// button's guard, the histories after a run, the theme switch, and everything a close stores
// and the next start restores. Every test points the settings folder at a fresh temporary data
// location and answers the window's dialogs through real widgets.

#include "app/startup.h"
#include "mainwindow/autostart.h"
#include "mainwindow/mainwindow.h"
#include "mainwindow/runhistories.h"
#include "mainwindow/pagenamedialog.h"
#include "mainwindow/screenfit.h"
#include "mainwindow/tabtemplate.h"
#include "pipeline/runrecords.h"
#include "settings/settingsstore.h"
#include "tests/mainwindow/modalscript.h"
#include "widgets/dk_tabwidget.h"

#include <QFile>
#include <QIcon>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QComboBox>
#include <QListWidget>
#include <QPushButton>
#include <QStackedWidget>
#include <QTabBar>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTranslator>
#include <QScopeGuard>

#include <memory>

namespace {

// Starts a window as the program does and puts it on screen; false when it never showed.
bool StartShown(MainWindow& window, bool active = false)
{
    window.StartingUpInitialization();
    window.show();
    if (!active)
        return QTest::qWaitForWindowExposed(&window);
    window.activateWindow();
    return QTest::qWaitForWindowActive(&window);
}

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

// A page with every field away from its default (and within the form's ranges).
PageSettingsRecord Sample(const QString& name, bool checked)
{
    PageSettingsRecord r = Page(name, checked, name.toLower());
    r.generalOutputFormat = OutputFormatJpeg;
    r.balanceReducemode = 3;
    r.generalSubFolder = false;
    r.generalUpdateFile = true;
    r.generalOptMarkWritee = false;
    r.jpegFileSizeGroup = true;
    r.jpegUpperLimit = 250;
    r.jpegMaintainImageQual = true;
    r.uniqueLogFile = true;
    r.uniqueImageSuppression = false;
    r.uniqueBaseLineJPEG = true;
    r.uniqueICC = 2;
    r.uniqueAddOption = true;
    r.uniqueAddOptionStr = QStringLiteral("-sharpen 1");
    r.resizeGroup = true;
    r.resizeRadio = ResizeModeLongSide;
    r.resizeWidth = 640;
    r.resizeHeight = 480;
    r.resizeLongSide = 1234;
    r.resizeMagnification = 55;
    r.resizeImageFit = 3;
    r.resizeSmallImage = false;
    r.resizeForm = 1;
    r.useSuffix = true;
    r.suffix = QStringLiteral("_s");
    r.stampGroup = true;
    r.stampOpaque = 37;
    r.stampOffsetX = -12;
    r.stampOffsetY = 9;
    r.stampPosition = QStringLiteral("bottomright");
    return r;
}

PageSettingsRecord RecordAt(const MainWindow& window, int tab)
{
    PageSettingsRecord record;
    record.tabName = QStringLiteral("(no page)");
    window.PageRecordAt(tab, record);
    return record;
}

QStringList Numbered(const QString& prefix, int count)
{
    QStringList list;
    for (int i = 0; i < count; ++i)
        list.append(prefix + QString::number(i));
    return list;
}

// A control of a page's form, by its object name.
template <class Control>
Control* FormControl(TabTemplate* form, const char* name)
{
    return form ? form->findChild<Control*>(QLatin1String(name)) : nullptr;
}

// The tab widget's report of a right click on a tab, which opens the page commands' menu.
void RightClickTab(MainWindow& window, int index)
{
    emit window.findChild<DK_TabWidget*>(QStringLiteral("tabWidget"))->tabBarRightClicked(index);
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
    void pageNamesFollowTheRules();
    void windowShowsTheStoredPages();
    void namesAreAskedUntilAcceptable();
    void pagesStopAtTenAndNeverAtZero();
    void duplicateFollowsItsSourceWithEverySetting();
    void detailsPanelSwitchesBetweenTwoHeights();
    void refusedOptionsSendTheUserToTheControl();
    void presetsRoundTripAndWrongFilesChangeNothing();
    void runButtonIgnoresReentry();
    void checkedPagesFeedTheHistoriesAfterARun();
    void batchSelectionSetsTheFlagsOrNothing();
    void closingAndStartingAgainRestoresEverything();
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
    // The file dialogs must be widgets the test can answer.
    QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
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

void TestMainWindow::pageNamesFollowTheRules()
{
    const QString tooLong(33, QLatin1Char('x'));
    const struct {
        QString entered;
        QStringList taken;
        QString name;
        QString refusal;
    } cases[] = {
        {QStringLiteral("  spaced  "), {}, QStringLiteral("spaced"), {}},
        {QStringLiteral("two\r\nlines\n"), {}, QStringLiteral("twolines"), {}},
        {QString(32, QLatin1Char('x')), {}, QString(32, QLatin1Char('x')), {}},
        {QString(), {}, QString(), QStringLiteral("Please name it")},
        {QStringLiteral(" \n "), {}, QString(), QStringLiteral("Please name it")},
        {tooLong, {}, QString(32, QLatin1Char('x')),
         QStringLiteral("The allowed length for the name is 32 characters.\ncharacter length : 33")},
        {QStringLiteral(" page1"), {QStringLiteral("page1")}, QStringLiteral("page1"),
         QStringLiteral("This name is already registered.\nPage name : page1")},
        // Letter case makes another name.
        {QStringLiteral("Page1"), {QStringLiteral("page1")}, QStringLiteral("Page1"), {}},
    };
    for (const auto& c : cases) {
        const PageNameCheck check = CheckPageName(c.entered, c.taken);
        QCOMPARE(check.name, c.name);
        QCOMPARE(check.refusal, c.refusal);
    }
}

void TestMainWindow::namesAreAskedUntilAcceptable()
{
    MainWindow window;
    QVERIFY(StartShown(window));
    auto* tabs = window.findChild<QTabWidget*>(QStringLiteral("tabWidget"));

    // Rename: another tab's name is refused and asked again; the tab's own name is fine.
    ModalScript rename;
    rename.Menu(QStringLiteral("rename page")).Name(QStringLiteral("page3")).Box().Name(QStringLiteral(" page1 "));
    RightClickTab(window, 0);
    QVERIFY2(rename.Done(), rename.Report());
    QCOMPARE(rename.texts, (QStringList{"page1", "This name is already registered.\nPage name : page3", "page3"}));
    QVERIFY(rename.buttonTexts.contains(QStringLiteral("保存")));
    QCOMPARE(tabs->tabText(0), QStringLiteral("page1"));

    // Add: the proposed name is taken once a tab carries it; the new page lands after the
    // clicked tab, current, with its name as tool tip. Cancelling changes nothing.
    ModalScript add;
    add.Menu(QStringLiteral("add page")).Name(QStringLiteral("New Page"));
    add.Menu(QStringLiteral("add page")).Name(QStringLiteral("New Page")).Box().Name(QStringLiteral("B"));
    add.Menu(QStringLiteral("rename page")).Name(QStringLiteral("ignored"), false);
    RightClickTab(window, 1);
    RightClickTab(window, 1);
    RightClickTab(window, 2);
    QVERIFY2(add.Done(), add.Report());
    QCOMPARE(window.BatchPages().size(), 5);
    QCOMPARE(tabs->tabText(2), QStringLiteral("B"));
    QCOMPARE(tabs->tabText(3), QStringLiteral("New Page"));
    QCOMPARE(tabs->tabToolTip(2), QStringLiteral("B"));
    QCOMPARE(tabs->currentIndex(), 2);
    QCOMPARE(add.texts.at(1), QStringLiteral("New Page"));
    QCOMPARE(add.texts.at(2), QStringLiteral("This name is already registered.\nPage name : New Page"));
    QVERIFY(add.buttonTexts.contains(QStringLiteral("追加")) && add.buttonTexts.contains(QStringLiteral("キャンセル")));

    ModalScript closer;
    window.close();
}

void TestMainWindow::pagesStopAtTenAndNeverAtZero()
{
    MainWindow window;
    QVERIFY(StartShown(window));
    auto* tabs = window.findChild<QTabWidget*>(QStringLiteral("tabWidget"));

    ModalScript fill;
    for (int i = 4; i <= 10; ++i)
        fill.Menu(QStringLiteral("add page")).Name(QStringLiteral("p%1").arg(i));
    fill.Menu(QStringLiteral("add page")).Box();
    fill.Menu(QStringLiteral("duplicate page")).Box();
    for (int i = 0; i < 9; ++i)
        RightClickTab(window, 0);
    QVERIFY2(fill.Done(), fill.Report());
    QCOMPARE(tabs->count(), 10);
    QCOMPARE(fill.texts.mid(7), QStringList(2, QStringLiteral("You can only add up to 10 pages.")));

    // Deleting asks with "No" as the default; Enter keeps the page, Yes deletes it and the
    // other pages keep their forms.
    ModalScript remove;
    remove.Menu(QStringLiteral("delete page")).BoxEnter();
    remove.Menu(QStringLiteral("delete page")).Box(QMessageBox::Yes);
    RightClickTab(window, 0);
    RightClickTab(window, 0);
    QVERIFY2(remove.Done(), remove.Report());
    QCOMPARE(remove.texts.first(), QStringLiteral("Delete Page!\npage name : page1"));
    QCOMPARE(tabs->count(), 9);
    QCOMPARE(tabs->tabText(0), QStringLiteral("p10"));
    for (int i = 0; i < tabs->count(); ++i)
        QVERIFY(window.GetPageForm(i));
    QVERIFY(!window.GetPageForm(9));

    // Down to one page: the last one stays. Commands outside any tab do nothing.
    ModalScript last;
    for (int i = 0; i < 8; ++i)
        last.Menu(QStringLiteral("delete page")).Box(QMessageBox::Yes);
    last.Menu(QStringLiteral("delete page")).Box();
    for (const char* command : {"add page", "duplicate page", "rename page"})
        last.Menu(QLatin1String(command));
    for (int i = 0; i < 9; ++i)
        RightClickTab(window, 0);
    for (int i = 0; i < 3; ++i)
        RightClickTab(window, -1);
    QVERIFY2(last.Done(), last.Report());
    QCOMPARE(last.texts.last(), QStringLiteral("Can't delete all pages"));
    QCOMPARE(tabs->count(), 1);

    ModalScript closer;
    window.close();
}

void TestMainWindow::duplicateFollowsItsSourceWithEverySetting()
{
    MainWindow window;
    RecentFolders lists;
    lists.inputHistory = {QStringLiteral("/h/in/")};
    window.SetHistories(lists);
    QVERIFY(StartShown(window));
    auto* tabs = window.findChild<QTabWidget*>(QStringLiteral("tabWidget"));
    const PageSettingsRecord source = Sample(QStringLiteral("page2"), true);
    QVERIFY(window.LoadPageToForm(1, source));
    FormControl<QListWidget>(window.GetPageForm(1), "listWidget")->setCurrentRow(4);

    ModalScript script;
    script.Menu(QStringLiteral("duplicate page")).Name(QStringLiteral("page2-copy"));
    RightClickTab(window, 1);
    QVERIFY2(script.Done(), script.Report());
    QCOMPARE(script.texts.first(), QStringLiteral("page2-copy"));
    QVERIFY(script.buttonTexts.contains(QStringLiteral("複製")));

    QCOMPARE(tabs->count(), 4);
    QCOMPARE(tabs->currentIndex(), 2);
    QCOMPARE(tabs->tabText(3), QStringLiteral("page3"));
    PageSettingsRecord expected = source;
    expected.tabName = QStringLiteral("page2-copy");
    QCOMPARE(RecordAt(window, 2), expected);
    QCOMPARE(RecordAt(window, 1), source);
    TabTemplate* copy = window.GetPageForm(2);
    QCOMPARE(FormControl<QListWidget>(copy, "listWidget")->currentRow(), 4);
    QCOMPARE(FormControl<QComboBox>(copy, "inputLineEdit")->count(), FormControl<QComboBox>(window.GetPageForm(1), "inputLineEdit")->count());
    QVERIFY(window.IsBatchMode());

    ModalScript closer;
    window.close();
}

void TestMainWindow::detailsPanelSwitchesBetweenTwoHeights()
{
    // The widths depend on the texts and the font, so the window shows them as the user sees them.
    const QFont testFont = QApplication::font();
    QApplication::setFont(ApplicationFont());
    QTranslator japanese;
    QVERIFY(japanese.load(QStringLiteral(":/translation/DKDesktop_ja_JP.qm")));
    QCoreApplication::installTranslator(&japanese);
    const auto restore = qScopeGuard([&] {
        QCoreApplication::removeTranslator(&japanese);
        QApplication::setFont(testFont);
    });
    MainWindow window;
    QVERIFY(StartShown(window, true));
    auto* tabs = window.findChild<QTabWidget*>(QStringLiteral("tabWidget"));
    QVERIFY(!window.DetailsOpen());
    QVERIFY(window.CollapsedHeight() < window.ExpandedHeight());

    const auto checkState = [&](bool open) {
        QCOMPARE(window.DetailsOpen(), open);
        QCOMPARE(window.height(), open ? window.ExpandedHeight() : window.CollapsedHeight());
        // Nothing is squeezed: the window is as large as its layout needs, in the fixed width.
        QVERIFY(window.minimumSizeHint().height() <= window.height());
        QVERIFY(window.minimumSizeHint().width() <= window.width());
        // Only the current page's panel takes input.
        for (int i = 0; i < tabs->count(); ++i)
            QCOMPARE(FormControl<QStackedWidget>(window.GetPageForm(i), "stackedWidget")->isEnabled(), open && i == tabs->currentIndex());
    };
    checkState(false);
    QTest::keyClick(window.windowHandle(), Qt::Key_V, Qt::AltModifier);
    QTRY_VERIFY(window.DetailsOpen());
    checkState(true);
    tabs->setCurrentIndex(1);
    checkState(true);
    window.DetailedOpenClose(true);
    checkState(true);
    QTest::mouseClick(FormControl<QPushButton>(window.GetPageForm(1), "DetailedButton"), Qt::LeftButton);
    QTRY_VERIFY(!window.DetailsOpen());
    checkState(false);

    ModalScript closer;
    window.close();
}

void TestMainWindow::refusedOptionsSendTheUserToTheControl()
{
    MainWindow window;
    QVERIFY(StartShown(window, true));
    auto* tabs = window.findChild<QTabWidget*>(QStringLiteral("tabWidget"));
    // The window's focus widget: the one that has the focus whenever the window is active.
    const auto hasFocus = [&](QWidget* control) {
        QWidget* focus = window.focusWidget();
        return focus && (focus == control || control->isAncestorOf(focus));
    };

    window.FocusFolderField(2, true);
    QCOMPARE(tabs->currentIndex(), 2);
    QVERIFY(hasFocus(FormControl<QComboBox>(window.GetPageForm(2), "outputLineEdit")));
    window.FocusFolderField(1, false);
    QVERIFY(hasFocus(FormControl<QComboBox>(window.GetPageForm(1), "inputLineEdit")));

    // A stamp that does not exist, on a page that is not current.
    PageSettingsRecord page = Page(QStringLiteral("page2"), false, QString());
    page.stampGroup = true;
    page.stampFile = dataHome->path() + QStringLiteral("/missing.png");
    QVERIFY(window.LoadPageToForm(1, page));
    tabs->setCurrentIndex(0);
    DefaultOption option;
    ProcessControl control;
    ModalScript script;
    script.Box();
    QVERIFY(!window.SetDefaultOptionForPage(1, dataHome->path() + QLatin1Char('/'), QStringLiteral("/out/"), &option,
                                            &control));
    QVERIFY2(script.Done(), script.Report());
    QCOMPARE(tabs->currentIndex(), 1);
    QVERIFY(window.DetailsOpen());
    TabTemplate* form = window.GetPageForm(1);
    QCOMPARE(FormControl<QListWidget>(form, "listWidget")->currentRow(), 4);
    QVERIFY(hasFocus(FormControl<QComboBox>(form, "lineEdit_2")));
    QCOMPARE(script.texts, QStringList{"スタンプファイルが見つかりません。"});
    QVERIFY(!window.SetDefaultOptionForPage(7, QString(), QString(), &option, &control));

    ModalScript closer;
    window.close();
}

void TestMainWindow::presetsRoundTripAndWrongFilesChangeNothing()
{
    MainWindow window;
    QVERIFY(StartShown(window));
    auto* tabs = window.findChild<QTabWidget*>(QStringLiteral("tabWidget"));
    tabs->setCurrentIndex(0);
    const PageSettingsRecord page = Sample(QStringLiteral("page1"), true);
    QVERIFY(window.LoadPageToForm(0, page));

    // Export, typed without an extension; reset; import after confirming: the same page.
    const QString preset = dataHome->path() + QStringLiteral("/mine");
    ModalScript exported;
    exported.File(preset);
    window.ExportPresetData();
    QVERIFY2(exported.Done(), exported.Report());
    QCOMPARE(exported.texts, QStringList{"Dravik_page1"});
    QVERIFY(QFile::exists(preset + QStringLiteral(".dkpage")));
    window.Initialization(0);
    QVERIFY(RecordAt(window, 0) != page);
    ModalScript imported;
    imported.File(preset + QStringLiteral(".dkpage")).Box(QMessageBox::Yes);
    window.ImportPresetData();
    QVERIFY2(imported.Done(), imported.Report());
    QCOMPARE(imported.texts.at(1), QStringLiteral("plase page name : page1\nOverwrite page content.\nDo you want to overwrite?"));
    QCOMPARE(RecordAt(window, 0), page);

    // Into another page whose neighbour has the preset's name: the rename notice, then the
    // name dialog; cancelling there, or at the question, leaves the page as it was.
    tabs->setCurrentIndex(2);
    const PageSettingsRecord third = RecordAt(window, 2);
    ModalScript cancelled;
    cancelled.File(preset + QStringLiteral(".dkpage")).Box(QMessageBox::No);
    cancelled.File(preset + QStringLiteral(".dkpage")).Box(QMessageBox::Yes).Box(QMessageBox::Yes).Name({}, false);
    window.ImportPresetData();
    window.ImportPresetData();
    QVERIFY2(cancelled.Done(), cancelled.Report());
    QCOMPARE(cancelled.texts.at(4), QStringLiteral("imported page name : page1\nplease rename"));
    QVERIFY(cancelled.buttonTexts.contains(QStringLiteral("上書き")));
    QCOMPARE(RecordAt(window, 2), third);

    ModalScript renamed;
    renamed.File(preset + QStringLiteral(".dkpage")).Box(QMessageBox::Yes).Box(QMessageBox::Yes).Name(QStringLiteral("mine"));
    window.ImportPresetData();
    QVERIFY2(renamed.Done(), renamed.Report());
    PageSettingsRecord expected = page;
    expected.tabName = QStringLiteral("mine");
    QCOMPARE(RecordAt(window, 2), expected);

    // Files that hold no page are refused before the question; the page stays.
    const QString wrong = dataHome->path() + QStringLiteral("/wrong.dkpage");
    for (const QByteArray& content : {QByteArray("\x89PNG\r\n\x1a\n", 8), QByteArray("[1, 2]"), QByteArray("{\"tabName\": ")}) {
        QFile file(wrong);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
        file.close();
        ModalScript refused;
        refused.File(wrong).Box();
        window.ImportPresetData();
        QVERIFY2(refused.Done(), refused.Report());
        QCOMPARE(refused.texts.at(1), QStringLiteral("ページ設定ファイルとして読み込めませんでした。"));
        QCOMPARE(RecordAt(window, 2), expected);
    }

    ModalScript closer;
    window.close();
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
    ModalScript closer;
    window.close();
}

void TestMainWindow::runButtonIgnoresReentry()
{
    QVERIFY(SettingsStore().WritePageSettings({Page(QStringLiteral("only"), false, QStringLiteral("x"))}));
    MainWindow window;
    QVERIFY(StartShown(window, true));

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
    QCOMPARE(FormControl<QComboBox>(window.GetPageForm(0), "outputLineEdit")->itemText(0), QStringLiteral("/out/x/"));

    ModalScript closer;
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

void TestMainWindow::closingAndStartingAgainRestoresEverything()
{
    RecentFolders lists;
    lists.inputHistory = {QStringLiteral("/i1/"), QStringLiteral("/i2/")};
    lists.stampHistory = {QStringLiteral("/s.png")};
    const QList<PageSettingsRecord> stored = {Sample(QStringLiteral("A"), false), Page(QStringLiteral("B"), true, QStringLiteral("b")),
                                              Sample(QStringLiteral("C"), true)};
    {
        MainWindow window;
        window.SetHistories(lists);
        window.SetDarkTheme(false);
        window.StartingUpInitialization();
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        for (int i = 0; i < stored.size(); ++i)
            QVERIFY(window.LoadPageToForm(i, stored.at(i)));
        auto* tabs = window.findChild<QTabWidget*>(QStringLiteral("tabWidget"));
        tabs->setTabText(2, QStringLiteral("C"));
        tabs->setTabText(0, QStringLiteral("A"));
        tabs->setTabText(1, QStringLiteral("B"));
        // The user drags A to the end, selects C (now at index 1) and opens the panel.
        tabs->tabBar()->moveTab(0, 2);
        tabs->setCurrentIndex(1);
        window.DetailedOpenClose();
        ModalScript closer;
        QVERIFY(window.close());
        QVERIFY(closer.texts.isEmpty());
    }

    const QJsonObject general = ReadObject(SettingsFolder() + QStringLiteral("/GeneralSettings.json"));
    QCOMPARE(general.size(), 7);
    QCOMPARE(general.value(QStringLiteral("batchMode")).toBool(true), false);
    // The theme flag in the file changes only through the theme switch.
    QCOMPARE(general.value(QStringLiteral("lumenoDarkStyle")).toBool(false), true);

    // A new start, as the program makes it.
    MainWindow window;
    RecentFolders read;
    QVERIFY(SettingsStore().ReadRecentFolders(read));
    QCOMPARE(read, lists);
    window.SetHistories(read);
    QVERIFY(StartShown(window));
    auto* tabs = window.findChild<QTabWidget*>(QStringLiteral("tabWidget"));
    QCOMPARE(tabs->count(), 3);
    QCOMPARE(RecordAt(window, 0), stored.at(1));
    QCOMPARE(RecordAt(window, 1), stored.at(2));
    QCOMPARE(RecordAt(window, 2), stored.at(0));
    QCOMPARE(tabs->tabToolTip(2), QStringLiteral("A"));
    QCOMPARE(tabs->currentIndex(), 1);
    QVERIFY(window.DetailsOpen());
    QCOMPARE(window.height(), window.ExpandedHeight());
    QCOMPARE(FormControl<QComboBox>(window.GetPageForm(1), "inputLineEdit")->itemText(0), QStringLiteral("/i1/"));
    ModalScript closer;
    window.close();
}

void TestMainWindow::closingReportsEveryFailedWrite()
{
    // A file where the settings folder should be: every write fails, each says so once, and
    // the window still closes.
    QFile blocker(SettingsFolder());
    QVERIFY(blocker.open(QIODevice::WriteOnly));
    blocker.close();

    MainWindow window;
    QVERIFY(StartShown(window));
    ModalScript closer;
    closer.Box().Box().Box();
    QVERIFY(window.close());
    QCOMPARE(closer.texts, QStringList(3, QStringLiteral("データの保存に失敗しました。")));
    QVERIFY(!window.isVisible());
}

void TestMainWindow::themeSwitchAsksWritesAndRestarts()
{
    const QString generalPath = SettingsFolder() + QStringLiteral("/GeneralSettings.json");
    MainWindow window;
    QVERIFY(StartShown(window));

    {
        ModalScript cancel;
        cancel.Box(QMessageBox::Cancel);
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
        ModalScript accept;
        accept.Box().Box();
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
        ModalScript accept;
        accept.Box();
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
    ModalScript closer;
    closer.Box();
    QCOMPARE(window.GetEngineVersion(), QString());
    QCOMPARE(closer.texts, QStringList{"The program required for processing could not be found."});
}

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
