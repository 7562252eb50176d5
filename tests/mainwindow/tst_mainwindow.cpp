// The main window: its page commands, the details panel, presets, the lamps, the run button's
// guard and histories, and everything a close stores and the next start
// restores. Every test points the settings folder at a fresh temporary data location and answers
// the window's dialogs through real widgets.

#include "app/startup.h"
#include "mainwindow/mainwindow.h"
#include "mainwindow/tabtemplate.h"
#include "pipeline/runrecords.h"
#include "tests/mainwindow/modalscript.h"
#include "tests/mainwindow/samplepage.h"
#include "widgets/dk_tabwidget.h"

#include <QComboBox>
#include <QFile>
#include <QIcon>
#include <QListWidget>
#include <QPushButton>
#include <QScopeGuard>
#include <QStackedWidget>
#include <QTabBar>
#include <QTemporaryDir>
#include <QTest>
#include <QTranslator>

#include <memory>

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

// The tab widget's report of a right click on a tab, which opens the page commands' menu.
void RightClickTab(MainWindow& window, int index)
{
    emit window.findChild<DK_TabWidget*>(QStringLiteral("tabWidget"))->tabBarRightClicked(index);
}

QList<PageSettingsRecord> Pages(int count)
{
    QList<PageSettingsRecord> pages;
    for (int i = 1; i <= count; ++i)
        pages.append(SamplePage(QStringLiteral("p%1").arg(i), false));
    return pages;
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
    void cleanup() { dataHome.reset(); }

    // Rename and add ask again while the name is another page's (its own is fine); a new page
    // lands after the clicked tab, current, named in its tool tip.
    void namesAreAskedUntilAcceptable()
    {
        MainWindow window;
        QVERIFY(StartShown(window));
        ModalScript user;
        user.Menu(QStringLiteral("rename page")).Name(QStringLiteral("page3")).Box().Name(QStringLiteral(" page1 "));
        user.Menu(QStringLiteral("add page")).Name(QStringLiteral("page1")).Box().Name(QStringLiteral("B"));
        RightClickTab(window, 0);
        RightClickTab(window, 1);
        QVERIFY2(user.Done(), user.Report());
        QCOMPARE(user.texts.at(1), QStringLiteral("This name is already registered.\nPage name : page3"));
        QVERIFY(user.buttonTexts.contains(QStringLiteral("保存")) && user.buttonTexts.contains(QStringLiteral("追加")));
        QCOMPARE(Tabs(window)->tabText(0), QStringLiteral("page1"));
        QCOMPARE(Tabs(window)->tabToolTip(2), QStringLiteral("B"));
        QCOMPARE(Tabs(window)->currentIndex(), 2);
    }

    // Ten pages is the limit for add and duplicate; a delete asks first and takes the page's form
    // with it; the last page cannot be deleted.
    void pagesStopAtTenAndNeverAtZero()
    {
        for (const int stored : {10, 1}) {
            QVERIFY(SettingsStore().WritePageSettings(Pages(stored)));
            MainWindow window;
            QVERIFY(StartShown(window));
            ModalScript user;
            if (stored == 10)
                user.Menu(QStringLiteral("add page")).Box().Menu(QStringLiteral("duplicate page")).Box();
            user.Menu(QStringLiteral("delete page")).Box(QMessageBox::Yes);
            for (int i = 0; i < (stored == 10 ? 3 : 1); ++i)
                RightClickTab(window, 0);
            QVERIFY2(user.Done(), user.Report());
            const QString limit = QStringLiteral("You can only add up to 10 pages.");
            const QStringList expected = stored == 10 ? QStringList{limit, limit, "Delete Page!\npage name : p1"} : QStringList{"Can't delete all pages"};
            QCOMPARE(user.texts, expected);
            QCOMPARE(Tabs(window)->count(), stored == 10 ? 9 : 1);
            QCOMPARE(RecordAt(window, 0), Pages(10).at(stored == 10 ? 1 : 0));
            QVERIFY(!window.GetPageForm(Tabs(window)->count()));
        }
    }

    // A duplicate lands right after its source, current, with every setting.
    void duplicateFollowsItsSourceWithEverySetting()
    {
        MainWindow window;
        QVERIFY(StartShown(window));
        const PageSettingsRecord source = SamplePage(QStringLiteral("page2"));
        QVERIFY(window.LoadPageToForm(1, source));
        ModalScript user;
        user.Menu(QStringLiteral("duplicate page")).Name(QStringLiteral("page2-copy"));
        RightClickTab(window, 1);
        QVERIFY2(user.Done(), user.Report());
        QCOMPARE(user.texts.first(), QStringLiteral("page2-copy"));
        PageSettingsRecord expected = source;
        expected.tabName = QStringLiteral("page2-copy");
        QCOMPARE(RecordAt(window, 2), expected);
        QCOMPARE(RecordAt(window, 1), source);
        QCOMPARE(Tabs(window)->tabText(3), QStringLiteral("page3"));
        QCOMPARE(Tabs(window)->currentIndex(), 2);
    }

    // Alt+V (twice) and the button switch every page's panel between the two heights; in the
    // program's font and in a default one the layout fits the fixed width and is never squeezed;
    // only the current page's panel takes input.
    void detailsPanelSwitchesBetweenTwoHeights()
    {
        const QFont testFont = QApplication::font();
        QTranslator japanese;
        QVERIFY(japanese.load(QStringLiteral(":/translation/DKDesktop_ja_JP.qm")));
        QCoreApplication::installTranslator(&japanese);
        const auto restore = qScopeGuard([&] {
            QCoreApplication::removeTranslator(&japanese);
            QApplication::setFont(testFont);
        });
        for (const QFont& font : {ApplicationFont(), testFont}) {
            QApplication::setFont(font);
            MainWindow window;
            QVERIFY(StartShown(window));
            QVERIFY(window.CollapsedHeight() < window.ExpandedHeight());
            const auto checkState = [&](bool open) {
                QTRY_COMPARE(window.DetailsOpen(), open);
                QCOMPARE(window.height(), open ? window.ExpandedHeight() : window.CollapsedHeight());
                QVERIFY(window.minimumSizeHint().height() <= window.height());
                QVERIFY2(window.minimumSizeHint().width() <= window.width(), qPrintable(QString::number(window.minimumSizeHint().width())));
                for (int i = 0; i < Tabs(window)->count(); ++i)
                    QCOMPARE(FormControl<QStackedWidget>(window, i, "stackedWidget")->isEnabled(), open && i == Tabs(window)->currentIndex());
            };
            checkState(false);
            QTest::keyClick(window.windowHandle(), Qt::Key_V, Qt::AltModifier);
            checkState(true);
            QTest::keyClick(window.windowHandle(), Qt::Key_V, Qt::AltModifier);
            checkState(false);
            window.DetailedOpenClose(true);
            Tabs(window)->setCurrentIndex(1);
            checkState(true);
            QTest::mouseClick(FormControl<QPushButton>(window, 1, "DetailedButton"), Qt::LeftButton);
            checkState(false);
        }
    }

    // A refused option opens the panel on its page at the control's row, focuses the control and
    // says why; a folder box can be focused on any page.
    void refusedOptionsSendTheUserToTheControl()
    {
        MainWindow window;
        QVERIFY(StartShown(window));
        const auto hasFocus = [&](QWidget* control) {
            QWidget* focus = window.focusWidget();
            return focus && (focus == control || control->isAncestorOf(focus));
        };
        window.FocusFolderField(2, true);
        QCOMPARE(Tabs(window)->currentIndex(), 2);
        QVERIFY(hasFocus(FormControl<QComboBox>(window, 2, "outputLineEdit")));
        PageSettingsRecord page = RecordAt(window, 1);
        page.stampGroup = true;
        page.stampFile = dataHome->path() + QStringLiteral("/missing.png");
        QVERIFY(window.LoadPageToForm(1, page));
        Tabs(window)->setCurrentIndex(0);
        DefaultOption option;
        ProcessControl control;
        ModalScript user;
        user.Box();
        QVERIFY(!window.SetDefaultOptionForPage(1, dataHome->path() + u'/', QStringLiteral("/out/"), &option, &control));
        QVERIFY2(user.Done(), user.Report());
        QCOMPARE(user.texts, QStringList{"スタンプファイルが見つかりません。"});
        QCOMPARE(Tabs(window)->currentIndex(), 1);
        QVERIFY(window.DetailsOpen());
        QCOMPARE(FormControl<QListWidget>(window, 1, "listWidget")->currentRow(), 4);
        QVERIFY(hasFocus(FormControl<QComboBox>(window, 1, "lineEdit_2")));
    }

    // Export then import gives the page back after the question; a file that holds no page is
    // refused before it, and the page stays as it was.
    void presetsRoundTripAndWrongFilesChangeNothing()
    {
        MainWindow window;
        QVERIFY(StartShown(window));
        Tabs(window)->setCurrentIndex(0);
        const PageSettingsRecord page = SamplePage(QStringLiteral("page1"));
        QVERIFY(window.LoadPageToForm(0, page));
        const QString preset = dataHome->path() + QStringLiteral("/mine");
        ModalScript exported;
        exported.File(preset); // typed without the extension
        window.ExportPresetData();
        QVERIFY2(exported.Done(), exported.Report());
        QCOMPARE(exported.texts, QStringList{"Dravik_page1"});
        window.Initialization(0);
        QVERIFY(RecordAt(window, 0) != page);
        const QString wrong = dataHome->path() + QStringLiteral("/wrong.dkpage");
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
    // whichever tab is current. A list that does not match the tabs changes nothing.
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
        pages[0].second = true;
        pages[2].second = true;
        QVERIFY(window.ApplyBatchSelection(pages));
        QCOMPARE(lamps(), QStringLiteral("L.LB"));
        tabs->setCurrentIndex(2);
        QCOMPARE(lamps(), QStringLiteral("L.LB"));
        QTest::ignoreMessage(QtCriticalMsg, "data size wrong");
        QVERIFY(!window.ApplyBatchSelection({{QStringLiteral("page1"), false}}));
        QCOMPARE(window.BatchPages(), pages);
        pages[0].second = false;
        pages[2].second = false;
        QVERIFY(window.ApplyBatchSelection(pages));
        QCOMPARE(lamps(), QStringLiteral("..L-"));
    }

    // A run asked for while one waits in its dialogs is turned away; a successful run puts the
    // current page's folders in front of the histories and the boxes' lists, a failed one nothing.
    void runButtonGuardsAndFeedsTheHistories()
    {
        QVERIFY(SettingsStore().WritePageSettings({SamplePage(QStringLiteral("only"), false)}));
        MainWindow window;
        QVERIFY(StartShown(window));
        int entries = 0;
        bool succeed = false;
        window.SetRunEntry([&](MainWindow& w) {
            ++entries;
            QTest::ignoreMessage(QtDebugMsg, "run already in progress: ignored");
            w.RunButton()->click();
            return succeed;
        });
        window.RunButton()->click();
        QCOMPARE(entries, 1);
        QCOMPARE(window.Histories(), RecentFolders());
        succeed = true;
        QTest::keyClick(window.windowHandle(), Qt::Key_R, Qt::AltModifier);
        QTRY_COMPARE(entries, 2); // a shortcut presses the button after a short animation
        QCOMPARE(window.Histories().inputHistory, QStringList{"/in/x/"});
        QCOMPARE(window.Histories().stampHistory, QStringList{"/logos/mark.png"});
        QCOMPARE(FormControl<QComboBox>(window, 0, "outputLineEdit")->itemText(0), QStringLiteral("/out/y/"));
    }

    // Closing stores every page with its settings, name, order and flag, the current tab, the
    // details state and the histories; the next start shows them all again.
    void closingAndStartingAgainRestoresEverything()
    {
        RecentFolders lists;
        lists.inputHistory = {QStringLiteral("/i1/"), QStringLiteral("/i2/")};
        QList<PageSettingsRecord> stored{SamplePage(QStringLiteral("A"), false), SamplePage(QStringLiteral("B")), SamplePage(QStringLiteral("C"))};
        stored[1].suffix = QStringLiteral("_b");
        {
            MainWindow window;
            window.SetHistories(lists);
            QVERIFY(StartShown(window));
            for (int i = 0; i < stored.size(); ++i) {
                QVERIFY(window.LoadPageToForm(i, stored.at(i)));
                Tabs(window)->setTabText(i, stored.at(i).tabName);
            }
            // The user drags A to the end, selects C (now second) and opens the panel.
            Tabs(window)->tabBar()->moveTab(0, 2);
            Tabs(window)->setCurrentIndex(1);
            window.DetailedOpenClose();
            ModalScript closer;
            QVERIFY(window.close());
            QVERIFY(closer.texts.isEmpty());
        }
        MainWindow window;
        RecentFolders read;
        QVERIFY(SettingsStore().ReadRecentFolders(read));
        window.SetHistories(read);
        QVERIFY(StartShown(window));
        QCOMPARE(RecordAt(window, 0), stored.at(1));
        QCOMPARE(RecordAt(window, 1), stored.at(2));
        QCOMPARE(RecordAt(window, 2), stored.at(0));
        QCOMPARE(Tabs(window)->tabToolTip(2), QStringLiteral("A"));
        QCOMPARE(Tabs(window)->currentIndex(), 1);
        QVERIFY(window.DetailsOpen());
        QCOMPARE(window.height(), window.ExpandedHeight());
        QCOMPARE(FormControl<QComboBox>(window, 1, "inputLineEdit")->itemText(0), QStringLiteral("/i1/"));
    }

    // Settings that cannot be written are reported once per file, and the window still closes.
    void closingReportsEveryFailedWrite()
    {
        QFile blocker(SettingsFolder());
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        MainWindow window;
        QVERIFY(StartShown(window));
        ModalScript closer;
        closer.Box().Box().Box();
        QVERIFY(window.close());
        QCOMPARE(closer.texts, QStringList(3, QStringLiteral("データの保存に失敗しました。")));
    }

};

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
