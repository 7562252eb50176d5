// The run drivers with their real dialogs and real engine processes (the stand-in engine), in
// front of a stand-in window. A poller plays the user: it answers boxes, reads the result and
// conflict dialogs and, when a case asks for it, presses the progress dialog's stop button.

#include "dialogs/conflictdialog.h"
#include "dialogs/marqueeprogressbar.h"
#include "dialogs/progressbardialog.h"
#include "dialogs/resultdialog.h"
#include "mainwindow/rundrivers.h"
#include "pipeline/commandline.h"
#include "settings/pagesettingsrecord.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTextBrowser>
#include <QTextEdit>
#include <QTimer>
#include <QtTest>

#include <functional>

namespace {

struct PageSpec
{
    QStringList files;            // created in the page's input folder; the names steer the stand-in
    bool checked = false;
    int outputFormat = OutputFormatSame;
    int width = 1000;             // with resize on when it is not 1000
};

class TestHost : public RunHost
{
public:
    QList<PageSettingsRecord> pages;
    int current = 0;
    QString engine = QStringLiteral(DRAVIK_STANDIN_ENGINE);
    std::function<void()> beforeSearch;
    QList<int> focused;           // tab index * 2 + (output ? 1 : 0)
    QWidget window;

    int PageCount() const override { return int(pages.size()); }
    int CurrentIndex() const override { return current; }
    bool IsBatchMode() const override
    {
        return std::any_of(pages.begin(), pages.end(), [](const PageSettingsRecord& p) { return p.checked; });
    }
    bool PageRecordAt(int i, PageSettingsRecord& record) const override
    {
        if (i < 0 || i >= pages.size())
            return false;
        record = pages.at(i);
        return true;
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
    void FocusFolderField(int i, bool output) override
    {
        current = i;
        focused.append(i * 2 + (output ? 1 : 0));
    }
    bool FindEngine(QString& path) override
    {
        if (beforeSearch)
            beforeSearch();
        path = engine;
        if (QFileInfo::exists(path))
            return true;
        QMessageBox::warning(&window, QString(), QStringLiteral("engine missing"));
        return false;
    }
    QWidget* DialogParent() const override { return const_cast<QWidget*>(&window); }
};

// Plays the user for every modal window the drivers open, and records what was shown.
class User : public QObject
{
public:
    QStringList shown;            // class names of the dialogs, in order of first appearance
    QStringList boxes;
    QString summary, failed, conflicts;
    std::function<bool()> stopWhen;
    bool stopPressed = false;
    bool closeTried = false, closeAccepted = false;

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
        if (event->type() == QEvent::Show && widget && widget->isWindow() && widget->isModal()) {
            const QString name = QString::fromLatin1(widget->metaObject()->className());
            if (!shown.contains(name))
                shown.append(name);
        }
        return false;
    }

private:
    void Poll()
    {
        QWidget* modal = QApplication::activeModalWidget();
        if (!modal)
            return;
        if (auto* box = qobject_cast<QMessageBox*>(modal)) {
            boxes.append(box->text());
            // The stop question is answered yes; every other box has one button.
            for (QAbstractButton* button : box->buttons())
                if (button->text() == QStringLiteral("はい") || box->buttons().size() == 1)
                    return button->click();
        } else if (auto* result = qobject_cast<ResultDialog*>(modal)) {
            summary = result->findChild<QTextBrowser*>(QStringLiteral("textBrowser"))->toPlainText();
            failed = result->findChild<QTextEdit*>(QStringLiteral("textEdit"))->toPlainText();
            result->accept();
        } else if (auto* conflict = qobject_cast<ConflictDialog*>(modal)) {
            conflicts = conflict->findChild<QTextEdit*>(QStringLiteral("textEdit"))->toPlainText();
            conflict->accept();
        } else if (auto* progress = qobject_cast<ProgressBarDialog*>(modal)) {
            if (!closeTried) {
                closeTried = true;
                closeAccepted = window->close();
            }
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

QString PageDir(const QTemporaryDir& root, int page, const char* side)
{
    return QDir::toNativeSeparators(root.filePath(QStringLiteral("p%1/%2/").arg(page).arg(QLatin1String(side))));
}

QStringList OutputsOf(const QTemporaryDir& root, int page)
{
    QDir out(PageDir(root, page, "out"));
    return out.entryList(QDir::Files | QDir::Hidden, QDir::Name);
}

// A folder lists its names in the file system's order: the names under each header are sorted.
QStringList GroupsSorted(const QString& text)
{
    QStringList lines = text.split(QLatin1Char('\n'));
    auto groupStart = lines.begin();
    for (auto it = lines.begin(); it != lines.end(); ++it)
        if (it->startsWith(QStringLiteral("[[ ")))
            groupStart = it + 1;
        else
            std::sort(groupStart, it + 1);
    return lines;
}

void Fill(TestHost& host, const QTemporaryDir& root, const QList<PageSpec>& specs)
{
    for (int i = 0; i < specs.size(); ++i) {
        const PageSpec& spec = specs.at(i);
        PageSettingsRecord page;
        page.tabName = QStringLiteral("p%1").arg(i + 1);
        page.checked = spec.checked;
        page.generalInputDir = PageDir(root, i + 1, "in");
        page.generalOutputDir = PageDir(root, i + 1, "out");
        page.generalOutputFormat = spec.outputFormat;
        page.resizeGroup = spec.width != 1000;
        page.resizeRadio = ResizeModeWidth;
        page.resizeWidth = spec.width;
        QDir().mkpath(page.generalInputDir);
        for (const QString& name : spec.files) {
            QFile file(page.generalInputDir + name);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(QByteArray(2000, 'i'));
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
    void runsToTheResult_data();
    void runsToTheResult();
    void refusesBeforeTheSearch_data();
    void refusesBeforeTheSearch();
};

void TestRunDrivers::runsToTheResult_data()
{
    QTest::addColumn<QList<PageSpec>>("pages");
    QTest::addColumn<int>("stopOnPage");          // 0: nobody presses stop
    QTest::addColumn<QStringList>("dialogs");
    QTest::addColumn<QList<int>>("outputs");      // files in each page's output folder
    QTest::addColumn<QString>("failed");          // the failed-file list, or the conflicts, or the box
    const QStringList run{"MarqueeProgressBar", "ProgressBarDialog", "ResultDialog"};
    // One quick file, then more slow ones than engines run at once: the stop comes while the
    // slow ones run, so some are never begun.
    QStringList slowPage{"b_sleep100.png"};
    for (int i = 0; i < 11; ++i)
        slowPage << QStringLiteral("x%1_sleep700.png").arg(i);
    const QString badOptions = QStringLiteral("追加引数に問題があります。引数指定を確認してください。");

    QTest::newRow("one page, damaged image listed, others done")
        << QList<PageSpec>{{{"a.png", "b.jpg", "c_exit90.png", "sub.png"}}} << 0 << run << QList<int>{3}
        << "{in1}c_exit90.png";
    QTest::newRow("batch of three, refused options on page 1 go on with page 2")
        << QList<PageSpec>{{{"a_exit77.png"}, true}, {{"b.png", "c.png"}, true}, {{"d.png"}, false}, {{"e.png"}, true}}
        << 0 << run << QList<int>{0, 2, 0, 1} << "[[ p1 ]]\n" + badOptions;
    QTest::newRow("stop on page 2 of a batch ends it there")
        << QList<PageSpec>{{{"a.png"}, true}, {slowPage, true}, {{"f.png"}, true}}
        << 2 << QStringList{"MarqueeProgressBar", "ProgressBarDialog", "QMessageBox", "ResultDialog"}
        << QList<int>{1, -1, 0} << "";
    QTest::newRow("name clashes: conflict dialog, nothing processed")
        << QList<PageSpec>{{{"a.png", "A.gif", "b.png"}, true, OutputFormatJpeg}, {{"c.png", "c.webp"}, true, OutputFormatPng}}
        << 0 << QStringList{"MarqueeProgressBar", "ConflictDialog"} << QList<int>{0, 0}
        << "[[ p1 ]]\na.png\nA.gif\n[[ p2 ]]\nc.png\nc.webp";
    QTest::newRow("no files")
        << QList<PageSpec>{{{"notes.txt"}}} << 0 << QStringList{"MarqueeProgressBar", "QMessageBox"} << QList<int>{0}
        << "There are no files in the input folder that can be processed.";
}

void TestRunDrivers::runsToTheResult()
{
    QFETCH(QList<PageSpec>, pages);
    QFETCH(int, stopOnPage);
    QFETCH(QStringList, dialogs);
    QFETCH(QList<int>, outputs);
    QFETCH(QString, failed);
    QTemporaryDir root;
    TestHost host;
    Fill(host, root, pages);
    host.window.show();
    User user(&host.window);
    if (stopOnPage > 0)
        user.stopWhen = [&] { return !OutputsOf(root, stopOnPage).isEmpty(); };

    QVERIFY(RunEntry(host));

    QCOMPARE(user.shown, dialogs);
    // The window stayed open through the close tried during processing.
    QCOMPARE(user.closeAccepted, false);
    QVERIFY(host.window.isVisible());
    for (int i = 0; i < outputs.size(); ++i) {
        const QStringList written = OutputsOf(root, i + 1);
        if (outputs.at(i) >= 0)
            QCOMPARE(written.size(), outputs.at(i));
        else    // stopped: the files already started are finished and whole, the rest never begun
            QVERIFY2(written.size() >= 1 && written.size() < pages.at(i).files.size(), qPrintable(written.join(' ')));
        for (const QString& name : written)
            QVERIFY2(QFileInfo(PageDir(root, i + 1, "out") + name).size() > 0, qPrintable(name));
    }
    failed.replace("{in1}", PageDir(root, 1, "in"));
    if (dialogs.contains("ConflictDialog"))
        QCOMPARE(GroupsSorted(user.conflicts), GroupsSorted(failed));
    else if (dialogs.contains("ResultDialog"))
        QCOMPARE(user.failed.trimmed(), failed);
    else
        QCOMPARE(user.boxes, QStringList{failed});
    if (dialogs.contains("ResultDialog")) {
        int total = 0;
        for (int count : outputs)
            total += qMax(0, count);
        QVERIFY2(user.summary.contains(QString::number(qMax(total, 1))), qPrintable(user.summary));
    }
}

void TestRunDrivers::refusesBeforeTheSearch_data()
{
    QTest::addColumn<QList<PageSpec>>("pages");
    QTest::addColumn<QString>("change");
    QTest::addColumn<QList<int>>("focused");
    QTest::addColumn<int>("current");
    QTest::addColumn<bool>("result");
    QTest::addColumn<QString>("box");
    const QList<PageSpec> one{{{"a.png"}}};
    const QList<PageSpec> two{{{"a.png"}, true}, {{"b.png"}, true, OutputFormatSame, 0}};

    QTest::newRow("input folder missing") << one << "no input" << QList<int>{0} << 0 << false << "";
    QTest::newRow("output folder cannot be made") << one << "read-only output" << QList<int>{1} << 0 << false << "";
    QTest::newRow("same folders in other case") << one << "same folders" << QList<int>{1} << 0 << false
                                                << "出力フォルダーに入力フォルダーと同じ場所は指定できません。";
    QTest::newRow("batch: page 2's width refused, tab 2 shown") << two << "" << QList<int>{} << 1 << false
                                                                 << "幅指定の値が正しくありません。";
    QTest::newRow("engine missing") << one << "no engine" << QList<int>{} << 0 << false << "engine missing";
    QTest::newRow("input folder gone before the search") << one << "vanish" << QList<int>{} << 0 << true << "";
    QTest::newRow("no page at all") << QList<PageSpec>{} << "" << QList<int>{} << 0 << false << "";
}

void TestRunDrivers::refusesBeforeTheSearch()
{
    QFETCH(QList<PageSpec>, pages);
    QFETCH(QString, change);
    QFETCH(QList<int>, focused);
    QFETCH(int, current);
    QFETCH(bool, result);
    QFETCH(QString, box);
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

    QCOMPARE(RunEntry(host), result);

    QCOMPARE(host.focused, focused);
    QCOMPARE(host.current, current);
    QVERIFY(!user.shown.contains("ProgressBarDialog"));
    QVERIFY(!user.shown.contains("MarqueeProgressBar") || change == "vanish");
    if (!box.isEmpty())
        QCOMPARE(user.boxes.value(0), box);
    else if (change == "vanish" || !focused.isEmpty())   // the folder check's or the search's own message
        QCOMPARE(user.boxes.size(), 1);
    for (int i = 0; i < pages.size(); ++i)
        QCOMPARE(OutputsOf(root, i + 1), QStringList());
}

QTEST_MAIN(TestRunDrivers)
#include "tst_rundrivers.moc"
