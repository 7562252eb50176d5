// The run drivers with their real dialogs and real engine processes (the stand-in engine), in
// front of a stand-in window. A poller plays the user: it answers boxes, reads the result and
// conflict dialogs, tries to close the window during processing and, when a case asks, stops.

#include "dialogs/conflictdialog.h"
#include "dialogs/progressbardialog.h"
#include "dialogs/resultdialog.h"
#include "mainwindow/rundrivers.h"
#include "pipeline/commandline.h"
#include "settings/pagesettingsrecord.h"

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTextBrowser>
#include <QTextEdit>
#include <QtTest>

#include <functional>

namespace {

struct PageSpec
{
    QStringList files;            // created in the page's input folder; the names steer the stand-in
    bool checked = false;
    int outputFormat = OutputFormatSame;
    int width = 1000;             // resize is on when this is not 1000
};

QString PageDir(const QTemporaryDir& root, int page, const char* side)
{
    return QDir::toNativeSeparators(root.filePath(QStringLiteral("p%1/%2/").arg(page).arg(QLatin1String(side))));
}

class TestHost : public RunHost
{
public:
    QList<PageSettingsRecord> pages;
    int current = 0;
    QString engine = QStringLiteral(DRAVIK_STANDIN_ENGINE);
    std::function<void()> beforeSearch;
    QList<int> focused;           // tab index * 2 + 1 for the output box
    QWidget window;

    int PageCount() const override { return int(pages.size()); }
    int CurrentIndex() const override { return current; }
    bool IsBatchMode() const override
    {
        return std::any_of(pages.begin(), pages.end(), [](const PageSettingsRecord& p) { return p.checked; });
    }
    bool PageRecordAt(int i, PageSettingsRecord& record) const override
    {
        record = pages.value(i);
        return i >= 0 && i < pages.size();
    }
    bool SetDefaultOptionForPage(int i, const QString& in, const QString& out, DefaultOption* option,
                                 ProcessControl* control) override
    {
        OptionRefusal refusal;
        if (SetDefaultOption(pages.at(i), in, out, option, control, &refusal))
            return true;
        current = i;
        QMessageBox::warning(&window, QString(), refusal.message);
        return false;
    }
    void FocusFolderField(int i, bool output) override { focused.append(i * 2 + int(output)); }
    bool FindEngine(QString& path) override
    {
        if (beforeSearch)
            beforeSearch();
        path = engine;
        if (!QFileInfo::exists(path))
            QMessageBox::warning(&window, QString(), QStringLiteral("engine missing"));
        return QFileInfo::exists(path);
    }
    QWidget* DialogParent() const override { return const_cast<QWidget*>(&window); }
};

// Plays the user for every modal window the drivers open, and records what was shown.
class User : public QObject
{
public:
    QStringList shown;            // class names of the modal windows, in order of first appearance
    QStringList boxes;
    QString failed, conflicts;
    std::function<bool()> stopWhen;
    bool stopPressed = false, closeTried = false, closeAccepted = false;

    explicit User(QWidget* window) : window(window)
    {
        qApp->installEventFilter(this);
        connect(&timer, &QTimer::timeout, this, [this] { Poll(); });
        timer.start(15);
    }

protected:
    // Shows are caught as they happen: a quick search's dialog can come and go between polls.
    bool eventFilter(QObject* object, QEvent* event) override
    {
        auto* widget = qobject_cast<QWidget*>(object);
        const QString name = QString::fromLatin1(object->metaObject()->className());
        if (event->type() == QEvent::Show && widget && widget->isModal() && !shown.contains(name))
            shown.append(name);
        return false;
    }

private:
    void Poll()
    {
        QWidget* modal = QApplication::activeModalWidget();
        if (auto* box = qobject_cast<QMessageBox*>(modal)) {
            boxes.append(box->text());
            // The stop question is answered yes; every other box has one button.
            for (QAbstractButton* button : box->buttons())
                if (button->text() == QStringLiteral("はい") || box->buttons().size() == 1)
                    return button->click();
        } else if (auto* result = qobject_cast<ResultDialog*>(modal)) {
            failed = result->findChild<QTextEdit*>(QStringLiteral("textEdit"))->toPlainText().trimmed();
            result->accept();
        } else if (auto* conflict = qobject_cast<ConflictDialog*>(modal)) {
            conflicts = conflict->findChild<QTextEdit*>(QStringLiteral("textEdit"))->toPlainText();
            conflict->accept();
        } else if (auto* progress = qobject_cast<ProgressBarDialog*>(modal)) {
            if (!closeTried)
                closeAccepted = window->close();
            closeTried = true;
            if (!stopPressed && stopWhen && stopWhen()) {
                stopPressed = true;
                // Queued: the question it opens runs its own loop, which must not run inside this poll.
                QMetaObject::invokeMethod(progress->findChild<QPushButton*>(QStringLiteral("pushButton")),
                                          &QPushButton::click, Qt::QueuedConnection);
            }
        }
    }

    QWidget* window;
    QTimer timer;
};

QStringList OutputsOf(const QTemporaryDir& root, int page)
{
    return QDir(PageDir(root, page, "out")).entryList(QDir::Files | QDir::Hidden, QDir::Name);
}

void Fill(TestHost& host, const QTemporaryDir& root, const QList<PageSpec>& specs)
{
    for (int i = 0; i < specs.size(); ++i) {
        PageSettingsRecord page;
        page.tabName = QStringLiteral("p%1").arg(i + 1);
        page.checked = specs.at(i).checked;
        page.generalInputDir = PageDir(root, i + 1, "in");
        page.generalOutputDir = PageDir(root, i + 1, "out");
        page.generalOutputFormat = specs.at(i).outputFormat;
        page.resizeGroup = specs.at(i).width != 1000;
        page.resizeRadio = ResizeModeWidth;
        page.resizeWidth = specs.at(i).width;
        QDir().mkpath(page.generalInputDir);
        for (const QString& name : specs.at(i).files) {
            QFile file(page.generalInputDir + name);
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write(QByteArray(2000, 'i')) == 2000);
        }
        host.pages.append(page);
    }
}

} // namespace

Q_DECLARE_METATYPE(QList<PageSpec>)

class TestRunDrivers : public QObject
{
    Q_OBJECT

private slots:
    void runsFromTheButtonToItsEnd_data();
    void runsFromTheButtonToItsEnd();
};

void TestRunDrivers::runsFromTheButtonToItsEnd_data()
{
    QTest::addColumn<QList<PageSpec>>("pages");
    QTest::addColumn<QString>("change");          // what goes wrong, or the page on which to stop
    QTest::addColumn<bool>("result");
    QTest::addColumn<QStringList>("dialogs");
    QTest::addColumn<QList<int>>("outputs");      // files in each page's output folder; -1: some, not all
    QTest::addColumn<QString>("message");         // failed list, conflicts, or the first box
    QTest::addColumn<QList<int>>("focused");     // tab index * 2 + 1 for the output box
    using Pages = QList<PageSpec>;
    using Ints = QList<int>;
    const QStringList run{"MarqueeProgressBar", "ProgressBarDialog", "ResultDialog"};
    const QStringList searched{"MarqueeProgressBar", "QMessageBox"};
    const QString noFiles = QStringLiteral("There are no files in the input folder that can be processed.");
    const QStringList box{"QMessageBox"};
    const Pages one{{{"a.png"}}};
    // One quick file, then more slow ones than engines run at once: the stop comes while the
    // slow ones run, so some are never begun.
    QStringList slow{"b_sleep100.png"};
    for (int i = 0; i < 11; ++i)
        slow << QStringLiteral("x%1_sleep700.png").arg(i);

    QTest::newRow("one page, damaged image listed, others done") << Pages{{{"a.png", "b.jpg", "c_exit90.png", "d.png"}}} << "" << true << run << Ints{3} << "{in1}c_exit90.png" << Ints{};
    QTest::newRow("engine crash: listed, the run ends with its result") << Pages{{{"a_crash.png"}}} << "" << true << run << Ints{0} << "{in1}a_crash.png" << Ints{};
    QTest::newRow("batch: refused options on page 1 go on with page 2, unchecked page left alone") << Pages{{{"a_exit77.png"}, true}, {{"b.png", "c.png"}, true}, {{"d.png"}}, {{"e.png"}, true}} << "" << true << run << Ints{0, 2, 0, 1} << "[[ p1 ]]\n追加引数に問題があります。引数指定を確認してください。" << Ints{};
    QTest::newRow("batch: a stop on page 2 ends it there") << Pages{{{"a.png"}, true}, {slow, true}, {{"f.png"}, true}} << "stop 2" << true << QStringList{"MarqueeProgressBar", "ProgressBarDialog", "QMessageBox", "ResultDialog"} << Ints{1, -1, 0} << "" << Ints{};
    QTest::newRow("name clashes: conflict dialog, nothing processed") << Pages{{{"a.png", "A.gif", "b.png"}, true, OutputFormatJpeg}, {{"c.png", "c.webp"}, true, OutputFormatPng}} << "" << true << QStringList{"MarqueeProgressBar", "ConflictDialog"} << Ints{0, 0} << "[[ p1 ]]\na.png\nA.gif\n[[ p2 ]]\nc.png\nc.webp" << Ints{};
    QTest::newRow("no files") << Pages{{{"notes.txt"}}} << "" << true << searched << Ints{0} << noFiles << Ints{};
    QTest::newRow("input folder gone before the search") << one << "vanish" << true << searched << Ints{0} << noFiles << Ints{};
    QTest::newRow("input folder missing") << one << "no input" << false << box << Ints{0} << "" << Ints{0};
    QTest::newRow("output folder cannot be made") << one << "read-only output" << false << box << Ints{} << "" << Ints{1};
    QTest::newRow("same folders in other case") << one << "same folders" << false << box << Ints{} << "出力フォルダーに入力フォルダーと同じ場所は指定できません。" << Ints{1};
    QTest::newRow("batch: page 2's width refused before any search, tab 2 shown") << Pages{{{"a.png"}, true}, {{"b.png"}, true, OutputFormatSame, 0}} << "" << false << box << Ints{0, 0} << "幅指定の値が正しくありません。" << Ints{};
    QTest::newRow("engine missing") << one << "no engine" << false << box << Ints{0} << "engine missing" << Ints{};
    QTest::newRow("no page at all") << Pages{} << "" << false << QStringList{} << Ints{} << "" << Ints{};
}

void TestRunDrivers::runsFromTheButtonToItsEnd()
{
    QFETCH(QList<PageSpec>, pages);
    QFETCH(QString, change);
    QFETCH(bool, result);
    QFETCH(QStringList, dialogs);
    QFETCH(QList<int>, outputs);
    QFETCH(QString, message);
    QFETCH(QList<int>, focused);
    QTemporaryDir root;
    TestHost host;
    Fill(host, root, pages);
    if (change == "no input")
        host.pages[0].generalInputDir = root.filePath("missing/");
    if (change == "read-only output")
        host.pages[0].generalOutputDir = QStringLiteral("/proc/dravik-test-out/");
    if (change == "same folders")
        host.pages[0].generalOutputDir = PageDir(root, 1, "IN");
    if (change == "no engine")
        host.engine = root.filePath("dravik.bin");
    if (change == "vanish")
        host.beforeSearch = [&] { QDir(host.pages[0].generalInputDir).removeRecursively(); };
    host.window.show();
    User user(&host.window);
    if (change == "stop 2")
        user.stopWhen = [&] { return !OutputsOf(root, 2).isEmpty(); };

    QCOMPARE(RunEntry(host), result);

    QCOMPARE(user.shown, dialogs);
    QCOMPARE(host.focused, focused);
    QCOMPARE(user.closeAccepted, false);
    QVERIFY(host.window.isVisible());
    for (int i = 0; i < outputs.size(); ++i) {
        const QStringList written = OutputsOf(root, i + 1);
        if (outputs.at(i) >= 0)
            QCOMPARE(written.size(), outputs.at(i));
        else    // stopped: the files already begun are finished, the rest never begun
            QVERIFY2(written.size() >= 1 && written.size() < pages.at(i).files.size(), qPrintable(written.join(' ')));
        for (const QString& name : written)
            QVERIFY2(QFileInfo(PageDir(root, i + 1, "out") + name).size() > 0, qPrintable(name));
    }
    message.replace("{in1}", PageDir(root, 1, "in"));
    if (dialogs.contains("ConflictDialog")) {
        // Names come in the file system's order.
        QStringList seen = user.conflicts.split(u'\n'), expected = message.split(u'\n');
        seen.sort();
        expected.sort();
        QCOMPARE(seen, expected);
    } else if (dialogs.contains("ResultDialog"))
        QCOMPARE(user.failed, message);
    else if (!message.isEmpty())
        QCOMPARE(user.boxes, QStringList{message});
    else    // the folder check's own message, whatever its words
        QCOMPARE(user.boxes.size(), int(dialogs.size()));
}

QTEST_MAIN(TestRunDrivers)
#include "tst_rundrivers.moc"
