// The main window: its page commands, the details panel, presets, the lamps, the run button's
// guard and histories, and everything a close stores and the next start restores. Every test points the settings folder at a fresh temporary data location and answers
// the window's dialogs through real widgets.

#include "app/startup.h"
#include "mainwindow/mainwindow.h"
#include "mainwindow/tabtemplate.h"
#include "pipeline/runrecords.h"
#include "tests/mainwindow/modalscript.h"
#include "tests/mainwindow/samplepage.h"
#include "widgets/dk_tabwidget.h"

namespace {

// Starts a window as the program does and puts it on screen, active; false when it never did.
bool StartShown(MainWindow& window)
{
    window.StartingUpInitialization();
    window.show();
    window.activateWindow();
    return QTest::qWaitForWindowActive(&window);
}

PageSettingsRecord RecordAt(const MainWindow& window, int tab)
{
    PageSettingsRecord record;
    record.tabName = QStringLiteral("(no page)");
    window.PageRecordAt(tab, record);
    return record;
}

// A control of a page's form, by its object name.
template <class Control>
Control* FormControl(const MainWindow& window, int tab, const char* name)
{
    TabTemplate* form = window.GetPageForm(tab);
    return form ? form->findChild<Control*>(QLatin1String(name)) : nullptr;
}

} // namespace

class TestMainWindow : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> dataHome;
    QString SettingsFolder() const { return dataHome->path() + QStringLiteral("/Lumeno Dravik for Desktop"); }
    static QTabWidget* Tabs(const MainWindow& window) { return window.findChild<QTabWidget*>(QStringLiteral("tabWidget")); }

private slots:
    void init()
    {
        dataHome = std::make_unique<QTemporaryDir>();
        // The file dialogs must be widgets the test can answer.
        QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
        qputenv("XDG_DATA_HOME", dataHome->path().toLocal8Bit());
    }

    // The page commands of a tab's menu, played as the user answers them (an entry of the menu,
    // "=name" typed into the name dialog, "!" a box's OK, "?" its Yes): a name is asked again
    // while it is another page's, ten pages is the limit, the last page stays, a delete takes
    // its form with it, and every page keeps its own settings (a duplicate every one of its
    // source's, a new page the defaults).
    void pageCommands_data()
    {
        QTest::addColumn<int>("stored");
        QTest::addColumn<QList<int>>("clicked");   // the tabs right-clicked, in order
        QTest::addColumn<QStringList>("script");
        QTest::addColumn<QStringList>("seen");
        QTest::addColumn<QString>("tabs");
        QTest::addColumn<int>("current");
        const QString registered = QStringLiteral("This name is already registered.\nPage name : ");
        const QString limit = QStringLiteral("You can only add up to 10 pages.");
        QTest::newRow("rename and add ask until the name is free") << 3 << QList<int>{0, 1} << QStringList{"rename page", "=p3", "!", "= p1 ", "add page", "=p1", "!", "=B"}
            << QStringList{"p1", registered + "p3", "p3", "New Page", registered + "p1", "p1"} << "p1 p2 B p3" << 2;
        QTest::newRow("ten pages: no more added or duplicated; delete asks") << 10 << QList<int>{0, 0, 0} << QStringList{"add page", "!", "duplicate page", "!", "delete page", "?"}
            << QStringList{limit, limit, "Delete Page!\npage name : p1"} << "p2 p3 p4 p5 p6 p7 p8 p9 p10" << 0;
        QTest::newRow("the last page cannot be deleted") << 1 << QList<int>{0} << QStringList{"delete page", "!"} << QStringList{"Can't delete all pages"} << "p1" << 0;
        QTest::newRow("a duplicate follows its source") << 3 << QList<int>{1} << QStringList{"duplicate page", "=p2c"} << QStringList{"p2-copy"} << "p1 p2 p2c p3" << 2;
    }
    void pageCommands()
    {
        QFETCH(int, stored);
        QFETCH(QList<int>, clicked);
        QFETCH(QStringList, script);
        QFETCH(QStringList, seen);
        QFETCH(QString, tabs);
        QFETCH(int, current);
        QList<PageSettingsRecord> pages;
        while (pages.size() < stored)
            pages.append(SamplePage(QStringLiteral("p%1").arg(pages.size() + 1), false));
        QVERIFY(SettingsStore().WritePageSettings(pages));
        MainWindow window;
        QVERIFY(StartShown(window));
        ModalScript user;
        for (const QString& step : script)
            step == u'!' ? user.Box() : step == u'?' ? user.Box(QMessageBox::Yes) : step.startsWith(u'=') ? user.Name(step.mid(1)) : user.Menu(step);
        for (const int tab : clicked)
            emit window.findChild<DK_TabWidget*>(QStringLiteral("tabWidget"))->tabBarRightClicked(tab);
        QVERIFY2(user.Done(), user.Report());
        QCOMPARE(user.texts, seen);
        QStringList names;
        for (int i = 0; i < Tabs(window)->count(); ++i) {
            names << Tabs(window)->tabText(i);
            PageSettingsRecord expected = names.last().startsWith(u'p') ? SamplePage(names.last(), false) : PageSettingsRecord();
            expected.tabName = names.last();
            QVERIFY2(RecordAt(window, i) == expected, qPrintable(names.last()));
        }
        QCOMPARE(names.join(u' '), tabs);
        QCOMPARE(Tabs(window)->currentIndex(), current);
        QVERIFY(!window.GetPageForm(Tabs(window)->count()));
    }

    // Alt+V clicks the panel's button at once, each of two presses in quick succession counted:
    // every page's panel opens and closes between the two heights; in the program's font and in a
    // default one the layout fits the fixed width; only the current page's panel takes input.
    void detailsPanelSwitchesBetweenTwoHeights()
    {
        const QFont testFont = QApplication::font();
        QTranslator japanese;
        QVERIFY(japanese.load(QStringLiteral(":/translation/DKDesktop_ja_JP.qm")) && QCoreApplication::installTranslator(&japanese));
        const auto restore = qScopeGuard([&] { QCoreApplication::removeTranslator(&japanese), QApplication::setFont(testFont); });
        for (const QFont& font : {ApplicationFont(), testFont}) {
            QApplication::setFont(font);
            MainWindow window;
            QVERIFY(StartShown(window));
            QVERIFY(window.CollapsedHeight() < window.ExpandedHeight());
            for (const auto& [presses, open] : {std::pair{0, false}, std::pair{1, true}, std::pair{1, false}, std::pair{2, false}}) {
                for (int i = 0; i < presses; ++i)
                    QTest::keyClick(window.windowHandle(), Qt::Key_V, Qt::AltModifier);
                QCOMPARE(window.DetailsOpen(), open);
                QCOMPARE(window.height(), open ? window.ExpandedHeight() : window.CollapsedHeight());
                QVERIFY(window.minimumSizeHint().height() <= window.height());
                QVERIFY2(window.minimumSizeHint().width() <= window.width(), qPrintable(QString::number(window.minimumSizeHint().width())));
                for (int i = 0; i < Tabs(window)->count(); ++i)
                    QCOMPARE(FormControl<QStackedWidget>(window, i, "stackedWidget")->isEnabled(), open && i == Tabs(window)->currentIndex());
            }
        }
    }

    // A refused option opens the panel on its page at the control's row, focuses the control and
    // says why; a folder box can be focused on any page.
    void refusedOptionsSendTheUserToTheControl()
    {
        MainWindow window;
        QVERIFY(StartShown(window));
        const auto hasFocus = [&](int tab, const char* name) {
            auto* control = FormControl<QWidget>(window, tab, name);
            return Tabs(window)->currentIndex() == tab && window.focusWidget() && (window.focusWidget() == control || control->isAncestorOf(window.focusWidget()));
        };
        window.FocusFolderField(2, true);
        QVERIFY(hasFocus(2, "outputLineEdit"));
        PageSettingsRecord page = RecordAt(window, 1);
        std::tie(page.stampGroup, page.stampFile) = std::tuple(true, dataHome->path() + QStringLiteral("/missing.png"));
        QVERIFY(window.LoadPageToForm(1, page));
        Tabs(window)->setCurrentIndex(0);
        DefaultOption option;
        ProcessControl control;
        ModalScript user;
        user.Box();
        QVERIFY(!window.SetDefaultOptionForPage(1, dataHome->path() + u'/', QStringLiteral("/out/"), &option, &control));
        QVERIFY2(user.Done(), user.Report());
        QCOMPARE(user.texts, QStringList{"スタンプファイルが見つかりません。"});
        QVERIFY(window.DetailsOpen() && hasFocus(1, "lineEdit_2"));
        QCOMPARE(FormControl<QListWidget>(window, 1, "listWidget")->currentRow(), 4);
    }

    // Export then import gives the page back after the question; a file that holds no page is
    // refused before it, and the page stays as it was.
    void presetsRoundTripAndWrongFilesChangeNothing()
    {
        MainWindow window;
        QVERIFY(StartShown(window));
        const PageSettingsRecord page = SamplePage(QStringLiteral("page1"));
        QVERIFY(window.LoadPageToForm(0, page));
        const QString preset = dataHome->path() + QStringLiteral("/mine"), wrong = dataHome->path() + QStringLiteral("/wrong.dkpage");
        ModalScript exported;
        exported.File(preset); // typed without the extension
        window.ExportPresetData();
        QVERIFY2(exported.Done(), exported.Report());
        QCOMPARE(exported.texts, QStringList{"Dravik_page1"});
        window.Initialization(0);
        QVERIFY(RecordAt(window, 0) != page);
        for (const QByteArray& content : {QByteArray(), QByteArray("\x89PNG\r\n\x1a\n", 8), QByteArray("[1, 2]"), QByteArray("{\"tabName\": ")}) {
            QFile file(wrong);
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
            file.close();
            ModalScript user;
            user.File(content.isEmpty() ? preset + QStringLiteral(".dkpage") : wrong).Box(QMessageBox::Yes);
            window.ImportPresetData();
            QVERIFY2(user.Done(), user.Report());
            QCOMPARE(user.texts.at(1), content.isEmpty() ? QStringLiteral("plase page name : page1\nOverwrite page content.\nDo you want to overwrite?")
                                                         : QStringLiteral("ページ設定ファイルとして読み込めませんでした。"));
            QCOMPARE(RecordAt(window, 0), page);
        }
    }

    // Single mode lights the current tab; batch mode the checked ones and the batch button,
    // whichever tab is current.
    void lampsFollowTheMode()
    {
        MainWindow window;
        window.StartingUpInitialization();
        QTabWidget* tabs = Tabs(window);
        const QImage lit = QIcon(QStringLiteral(":/global/lamp01_a.png")).pixmap(20).toImage();
        const auto lamps = [&] {
            QString shown;
            for (int i = 0; i < tabs->count(); ++i)
                shown += tabs->tabIcon(i).pixmap(20).toImage() == lit ? u'L' : u'.';
            return shown + (window.findChild<QPushButton*>(QStringLiteral("pushButtonBatch"))->icon().pixmap(20).toImage() == lit ? u'B' : u'-');
        };
        tabs->setCurrentIndex(1);
        QCOMPARE(lamps(), QStringLiteral(".L.-"));
        QList<QPair<QString, bool>> pages = window.BatchPages();
        pages[0].second = pages[2].second = true;
        QVERIFY(window.ApplyBatchSelection(pages));
        QCOMPARE(lamps(), QStringLiteral("L.LB"));
        tabs->setCurrentIndex(2);
        QCOMPARE(lamps(), QStringLiteral("L.LB"));
    }

    // A run asked for while one waits in its dialogs is turned away; a successful run puts its
    // folders in front of the histories and the boxes' lists, a failed one nothing. Closing stores
    // every page with its settings, name, order and flag, the current tab, the details state and
    // the histories; the next start shows them all again. Settings that cannot be written are
    // reported once per file, and the window still closes.
    void runsFeedTheHistoriesAndARestartRestoresEverything()
    {
        QList<PageSettingsRecord> stored{SamplePage(QStringLiteral("A"), false), SamplePage(QStringLiteral("B"), false), SamplePage(QStringLiteral("C"), false)};
        std::tie(stored[1].suffix, stored[2].generalInputDir) = std::tuple(QStringLiteral("_b"), QStringLiteral("/in/c/"));
        {
            MainWindow window;
            QVERIFY(StartShown(window));
            for (int i = 0; i < stored.size(); ++i) {
                QVERIFY(window.LoadPageToForm(i, stored.at(i)));
                Tabs(window)->setTabText(i, stored.at(i).tabName);
            }
            // The user drags A to the end, selects C (now second), opens the panel and runs C twice.
            Tabs(window)->tabBar()->moveTab(0, 2);
            Tabs(window)->setCurrentIndex(1);
            window.DetailedOpenClose();
            int entries = 0;
            window.SetRunEntry([&](MainWindow& w) {
                QTest::ignoreMessage(QtDebugMsg, "run already in progress: ignored");
                w.RunButton()->click();
                return ++entries == 2;
            });
            window.RunButton()->click();
            QCOMPARE(window.Histories(), RecentFolders());
            QTest::keyClick(window.windowHandle(), Qt::Key_R, Qt::AltModifier);
            QTRY_COMPARE(entries, 2); // a shortcut presses the button after a short animation
            QCOMPARE(window.Histories().inputHistory + window.Histories().stampHistory, (QStringList{"/in/c/", "/logos/mark.png"}));
            QCOMPARE(FormControl<QComboBox>(window, 1, "outputLineEdit")->itemText(0), QStringLiteral("/out/y/"));
            ModalScript closer;
            QVERIFY(window.close() && closer.texts.isEmpty());
        }
        MainWindow window;
        RecentFolders read;
        QVERIFY(SettingsStore().ReadRecentFolders(read));
        window.SetHistories(read);
        QVERIFY(StartShown(window));
        for (int i = 0; i < stored.size(); ++i)
            QCOMPARE(RecordAt(window, i), stored.at((i + 1) % 3));
        QCOMPARE(Tabs(window)->currentIndex(), 1);
        QVERIFY(window.DetailsOpen() && window.height() == window.ExpandedHeight());
        QCOMPARE(FormControl<QComboBox>(window, 1, "inputLineEdit")->itemText(0), QStringLiteral("/in/c/"));

        QVERIFY(QDir(SettingsFolder()).removeRecursively());
        QFile blocker(SettingsFolder());
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        ModalScript closer;
        closer.Box().Box().Box();
        QVERIFY(window.close());
        QCOMPARE(closer.texts, QStringList(3, QStringLiteral("データの保存に失敗しました。")));
    }
};

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
