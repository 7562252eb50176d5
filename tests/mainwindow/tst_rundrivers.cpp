// The run drivers with their real dialogs and real engine processes (the stand-in engine), in
// front of a stand-in window. A poller plays the user: it answers boxes, reads the result and
// conflict dialogs, tries to close the window during processing and, when a case asks, stops.

#include "dialogs/conflictdialog.h"
#include "dialogs/progressbardialog.h"
#include "dialogs/resultdialog.h"
#include "mainwindow/rundrivers.h"
#include "pipeline/commandline.h"
#include "settings/pagesettingsrecord.h"

#include <QtTest>
#include <QtWidgets>


namespace {

struct PagePlan
{
    QStringList files;            // created in the page's input folder; the names steer the stand-in
    bool checked = false;
    int outputFormat = OutputFormatSame;
    int width = 1000;             // resize is on when this is not 1000
};

// A stand-in window for the drivers with its pages, each with folders in a fresh temporary folder,
// and the user in front of it: a poller answers boxes, reads the result and conflict dialogs, tries
// to close the window during processing and, when a case asks, stops.
class TestHost : public QObject, public RunHost
{
public:
    QTemporaryDir root;
    QList<PageSettingsRecord> pages;
    int current = 0, timeoutMs = 0;
    QString engine = QStringLiteral(DRAVIK_STANDIN_ENGINE);
    std::function<void()> beforeSearch = [] {};
    std::function<bool()> stopWhen;
    QList<int> focused;           // tab index * 2 + 1 for the output box
    QStringList shown;            // class names of the modal windows, in order of first appearance
    QStringList texts;            // each box's message, the result's failed list, the conflict list
    bool stopPressed = false, closeTried = false, closeAccepted = false;
    QWidget window;

    explicit TestHost(const QList<PagePlan>& plans)
    {
        for (const PagePlan& plan : plans) {
            PageSettingsRecord page;
            page.tabName = QStringLiteral("p%1").arg(pages.size() + 1);
            page.generalInputDir = Dir(int(pages.size()) + 1, "in");
            page.generalOutputDir = Dir(int(pages.size()) + 1, "out");
            page.checked = plan.checked;
            page.generalOutputFormat = plan.outputFormat;
            page.resizeGroup = plan.width != 1000;
            page.resizeRadio = ResizeModeWidth;
            page.resizeWidth = plan.width;
            QDir().mkpath(page.generalInputDir);
            for (const QString& name : plan.files) {
                // Larger files begin first: a hung engine starts after the file beside it, even on one processor.
                QFile file(page.generalInputDir + name);
                QVERIFY(file.open(QIODevice::WriteOnly) && file.write(QByteArray(name.contains("hang") ? 10 : 2000, 'i')));
            }
            pages.append(page);
        }
        qApp->installEventFilter(this);
        connect(&timer, &QTimer::timeout, this, &TestHost::Poll);
        timer.start(15);
        window.show();
    }
    QString Dir(int page, const char* side) const
    {
        return QDir::toNativeSeparators(root.filePath(QStringLiteral("p%1/%2/").arg(page).arg(QLatin1String(side))));
    }
    QStringList Outputs(int page) const { return QDir(Dir(page, "out")).entryList(QDir::Files | QDir::Hidden, QDir::Name); }

    int PageCount() const override { return int(pages.size()); }
    int CurrentIndex() const override { return current; }
    bool IsBatchMode() const override { return std::any_of(pages.begin(), pages.end(), [](const auto& p) { return p.checked; }); }
    bool PageRecordAt(int i, PageSettingsRecord& record) const override { return (record = pages.value(i)), i >= 0 && i < pages.size(); }
    bool SetDefaultOptionForPage(int i, const QString& in, const QString& out, DefaultOption* option, ProcessControl* control) override
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
        beforeSearch();
        if (!QFileInfo::exists(path = engine))
            QMessageBox::warning(&window, QString(), QStringLiteral("engine missing"));
        return QFileInfo::exists(path);
    }
    QWidget* DialogParent() const override { return const_cast<QWidget*>(&window); }
    int EngineTimeoutMs() const override { return timeoutMs; }

    // Shows are caught as they happen: a quick search's dialog can come and go between polls.
    bool eventFilter(QObject* object, QEvent* event) override
    {
        const QString name = QString::fromLatin1(object->metaObject()->className());
        if (event->type() == QEvent::Show && object->isWidgetType() && static_cast<QWidget*>(object)->isModal() && !shown.contains(name))
            shown.append(name);
        return false;
    }

private:
    void Poll()
    {
        QWidget* modal = QApplication::activeModalWidget();
        if (auto* box = qobject_cast<QMessageBox*>(modal)) {
            texts.append(box->text());
            // The stop question is answered yes; every other box has one button.
            for (QAbstractButton* button : box->buttons())
                if (button->text() == QStringLiteral("はい") || box->buttons().size() == 1)
                    return button->click();
        } else if (qobject_cast<ResultDialog*>(modal) || qobject_cast<ConflictDialog*>(modal)) {
            // Conflicting names come in the file system's order.
            QStringList lines = modal->findChild<QTextEdit*>(QStringLiteral("textEdit"))->toPlainText().trimmed().split(u'\n');
            if (qobject_cast<ConflictDialog*>(modal))
                lines.sort();
            texts.append(lines.join(u'\n'));
            static_cast<QDialog*>(modal)->accept();
        } else if (auto* progress = qobject_cast<ProgressBarDialog*>(modal)) {
            if (!std::exchange(closeTried, true))
                closeAccepted = window.close() || progress->close();
            if (!stopPressed && stopWhen && (stopPressed = stopWhen()))
                // Queued: the question it opens runs its own loop, which must not run inside this poll.
                QMetaObject::invokeMethod(progress->findChild<QPushButton*>(QStringLiteral("pushButton")), &QPushButton::click, Qt::QueuedConnection);
        }
    }

    QTimer timer;
};

} // namespace

using Change = std::function<void(TestHost&)>;
Q_DECLARE_METATYPE(QList<PagePlan>)
Q_DECLARE_METATYPE(Change)

class TestRunDrivers : public QObject
{
    Q_OBJECT

private slots:
    void runsFromTheButtonToItsEnd_data()
    {
        QTest::addColumn<QList<PagePlan>>("pages");
        QTest::addColumn<Change>("change");           // what goes wrong, or when to stop
        QTest::addColumn<bool>("result");
        QTest::addColumn<QStringList>("dialogs");
        QTest::addColumn<QList<int>>("outputs");      // files in each page's output folder; -1: some, not all
        QTest::addColumn<QStringList>("texts");       // of boxes, failed lists and conflicts; "*": any words
        QTest::addColumn<QList<int>>("focused");      // tab index * 2 + 1 for the output box
        using Pages = QList<PagePlan>;
        using Ints = QList<int>;
        const QStringList run{"MarqueeProgressBar", "ProgressBarDialog", "ResultDialog"}, searched{"MarqueeProgressBar", "QMessageBox"}, box{"QMessageBox"};
        const QString noFiles = QStringLiteral("There are no files in the input folder that can be processed.");
        const Pages one{{{"a.png"}}};
        const Change none = [](TestHost&) {}, hang = [](TestHost& h) { h.timeoutMs = 1500; };
        // One quick file, then more slow ones than engines run at once: the stop comes while the
        // slow ones run, so some are never begun.
        QStringList slow{"b_sleep100.png"};
        for (int i = 0; i < 11; ++i)
            slow << QStringLiteral("x%1_sleep700.png").arg(i);

        QTest::newRow("one page, damaged image listed, others done") << Pages{{{"a.png", "b.jpg", "c_exit90.png", "d.png"}}} << none << true << run << Ints{3} << QStringList{"{in1}c_exit90.png"} << Ints{};
        QTest::newRow("engine crash: listed, the run ends with its result") << Pages{{{"a_crash.png"}}} << none << true << run << Ints{0} << QStringList{"{in1}a_crash.png"} << Ints{};
        QTest::newRow("hung engine killed, the file begun beside it ends") << Pages{{{"a_hang.png", "b.png"}}} << hang << true << run << Ints{1} << QStringList{"{in1}a_hang.png"} << Ints{};
        QTest::newRow("batch: hung engine on page 1, page 2 never runs") << Pages{{{"a_hang.png"}, true}, {{"b.png"}, true}} << hang << true << run << Ints{0, 0} << QStringList{"[[ p1 ]]\n{in1}a_hang.png"} << Ints{};
        QTest::newRow("batch: refused options on page 1 go on with page 2, unchecked page left alone") << Pages{{{"a_exit77.png"}, true}, {{"b.png", "c.png"}, true}, {{"d.png"}}, {{"e.png"}, true}} << none << true << run << Ints{0, 2, 0, 1} << QStringList{"[[ p1 ]]\n追加引数に問題があります。引数指定を確認してください。"} << Ints{};
        QTest::newRow("batch: a stop on page 2 ends it there") << Pages{{{"a.png"}, true}, {slow, true}, {{"f.png"}, true}} << Change([](TestHost& h) { h.stopWhen = [&h] { return !h.Outputs(2).isEmpty(); }; }) << true << QStringList{"MarqueeProgressBar", "ProgressBarDialog", "QMessageBox", "ResultDialog"} << Ints{1, -1, 0} << QStringList{"Do you want to cancel?", ""} << Ints{};
        QTest::newRow("name clashes (sorted): conflict dialog, nothing processed") << Pages{{{"a.png", "A.gif", "b.png"}, true, OutputFormatJpeg}, {{"c.png", "c.webp"}, true, OutputFormatPng}} << none << true << QStringList{"MarqueeProgressBar", "ConflictDialog"} << Ints{0, 0} << QStringList{"A.gif\n[[ p1 ]]\n[[ p2 ]]\na.png\nc.png\nc.webp"} << Ints{};
        QTest::newRow("no files") << Pages{{{"notes.txt"}}} << none << true << searched << Ints{0} << QStringList{noFiles} << Ints{};
        QTest::newRow("input folder gone before the search") << one << Change([](TestHost& h) { h.beforeSearch = [&h] { QDir(h.pages[0].generalInputDir).removeRecursively(); }; }) << true << searched << Ints{0} << QStringList{noFiles} << Ints{};
        QTest::newRow("input folder missing") << one << Change([](TestHost& h) { h.pages[0].generalInputDir = h.root.filePath("missing/"); }) << false << box << Ints{0} << QStringList{"*"} << Ints{0};
        QTest::newRow("output folder cannot be made") << one << Change([](TestHost& h) { h.pages[0].generalOutputDir = "/proc/dravik-test-out/"; }) << false << box << Ints{} << QStringList{"*"} << Ints{1};
        QTest::newRow("same folders in other case") << one << Change([](TestHost& h) { h.pages[0].generalOutputDir = h.Dir(1, "IN"); }) << false << box << Ints{} << QStringList{"出力フォルダーに入力フォルダーと同じ場所は指定できません。"} << Ints{1};
        QTest::newRow("batch: page 2's width refused before any search, tab 2 shown") << Pages{{{"a.png"}, true}, {{"b.png"}, true, OutputFormatSame, 0}} << none << false << box << Ints{0, 0} << QStringList{"幅指定の値が正しくありません。"} << Ints{};
        QTest::newRow("engine missing") << one << Change([](TestHost& h) { h.engine = h.root.filePath("dravik.bin"); }) << false << box << Ints{0} << QStringList{"engine missing"} << Ints{};
        QTest::newRow("no page at all") << Pages{} << none << false << QStringList{} << Ints{} << QStringList{} << Ints{};
    }

    void runsFromTheButtonToItsEnd()
    {
        QFETCH(QList<PagePlan>, pages);
        QFETCH(Change, change);
        QFETCH(bool, result);
        QFETCH(QStringList, dialogs);
        QFETCH(QList<int>, outputs);
        QFETCH(QStringList, texts);
        QFETCH(QList<int>, focused);
        TestHost host(pages);
        change(host);
        QCOMPARE(RunEntry(host), result);

        QCOMPARE(host.shown, dialogs);
        QCOMPARE(host.focused, focused);
        QVERIFY(!host.closeAccepted && host.window.isVisible());
        for (int i = 0; i < outputs.size(); ++i) {
            const QStringList written = host.Outputs(i + 1);
            if (outputs.at(i) >= 0)
                QCOMPARE(written.size(), outputs.at(i));
            else    // stopped: the files already begun are finished, the rest never begun
                QVERIFY2(written.size() >= 1 && written.size() < pages.at(i).files.size(), qPrintable(written.join(' ')));
            for (const QString& name : written)
                QVERIFY2(QFileInfo(host.Dir(i + 1, "out") + name).size() > 0, qPrintable(name));
        }
        QCOMPARE(host.texts.size(), texts.size());
        for (int i = 0; i < texts.size(); ++i)
            if (texts.at(i) != "*")
                QCOMPARE(host.texts.at(i), QString(texts.at(i)).replace("{in1}", host.Dir(1, "in")));
    }
};

QTEST_MAIN(TestRunDrivers)
#include "tst_rundrivers.moc"
