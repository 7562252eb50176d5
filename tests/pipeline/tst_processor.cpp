// The file processor with real engine processes: the stand-in engine (standin_engine.cpp)
// writes an output and exits with a code chosen by the input's name.

#include "pipeline/commandline.h"
#include "pipeline/processor.h"
#include "pipeline/runlog.h"
#include "settings/pagesettingsrecord.h"
#include "testmonitors.h"

#include <QtTest>

namespace {

const qint64 kInputSize = 4096;

void WriteFile(const QString &path, qint64 size = kInputSize)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    QVERIFY2(file.open(QIODevice::WriteOnly) && file.write(QByteArray(size, 'i')) == size, qPrintable(path));
}

QByteArray ReadFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// One page to process: folders in a fresh temporary folder, the stand-in as engine.
struct Page
{
    QTemporaryDir root;
    ProcessData data;
    DefaultOption option;
    ProcessControl control;
    ResultData result;
    TestProcessMonitor monitor;
    int timeoutMs = kEngineTimeoutMs;

    explicit Page(const QString &outformat = QStringLiteral("same"), const QString &suffix = {})
    {
        data.exePath = QStringLiteral(DRAVIK_STANDIN_ENGINE);
        data.inputDir = Native(root.filePath("inp")) + QDir::separator();
        data.outputDir = Native(root.filePath("o")) + QDir::separator();   // shorter: only an input path is too long
        QDir().mkpath(data.inputDir);
        QDir().mkpath(data.outputDir);
        PageSettingsRecord page;
        page.generalOutputFormat = int(OutputFormatWords().indexOf(outformat));
        page.uniqueLogFile = true;
        page.useSuffix = !suffix.isEmpty();
        page.suffix = suffix;
        OptionRefusal refusal;
        QVERIFY(SetDefaultOption(page, data.inputDir, data.outputDir, &option, &control, &refusal));
        data.commonOptions = BuildCommonOptions(option, control);
    }
    void Add(const QString &entry)
    {
        WriteFile(data.inputDir + Native(entry));
        data.files << Native(entry);
    }
    bool Run(bool lastPage = true) { return PreProcessing(&monitor, data, option, control, &result, lastPage, timeoutMs); }
    QString In(const QString &entry) const { return data.inputDir + Native(entry); }
    QString Out(const QString &entry) const { return data.outputDir + Native(entry); }
    QString Log() const { return QString::fromUtf8(ReadFile(RunLog::PathFor(data.outputDir))); }
    // The entry's first block in the log, up to the next block or the footer: a block written
    // in pieces ends early or holds another file's lines.
    QString Block(const QString &entry) const
    {
        const QRegularExpression block("^(process|SuspensionSkipFile) : " + QRegularExpression::escape(entry)
                                           + "\n(?:(?!process : |SuspensionSkipFile : |end: ).*\n)*",
                                       QRegularExpression::MultilineOption);
        return block.match(Log()).captured(0);
    }
};

// Every file is counted once: a failure, a skip or a success (uncounted: exit 0, no output).
void VerifyCounts(const ResultData &r, quint32 uncounted = 0)
{
    QCOMPARE(r.fileCount, r.failureCount + r.skipCount + r.successCount + uncounted);
}

using Setup = std::function<void(Page &)>;

} // namespace

Q_DECLARE_METATYPE(Setup)

class TestProcessor : public QObject
{
    Q_OBJECT

private slots:
    // Counts, bytes and the engine's arguments; each run appends a record of a header, one
    // whole block per file and a footer, in UTF-8 without a byte-order mark.
    void outcomesAreCountedAndLoggedWhole()
    {
        Page page;
        for (const char *name : {"ok.png", "sub/ok2.jpg", "nothing_exit0.png", "big.png", "写真.png", "a.png", "b.png"})
            page.Add(QString::fromUtf8(name));
        QVERIFY(page.Run());
        QCOMPARE(page.result.successCount, 6u);
        VerifyCounts(page.result, 1);
        QCOMPARE(page.result.inputBytes, quint64(7 * kInputSize));  // an input without output counts here
        quint64 outputBytes = 0;
        for (const QString &entry : page.data.files)
            outputBytes += quint64(QFileInfo(page.Out(entry)).size());
        QCOMPARE(page.result.outputBytes, outputBytes);
        QVERIFY(QFileInfo(page.Out("big.png")).size() > kInputSize);  // a larger output stays
        const QStringList args = QString::fromUtf8(ReadFile(page.Out("ok.png"))).split('\n', Qt::SkipEmptyParts);
        QCOMPARE(args, QStringList({"-in", page.In("ok.png"), "-out", page.Out("ok.png")}) + page.data.commonOptions);
        const qint64 out = QFileInfo(page.Out("ok.png")).size();
        QCOMPARE(page.Block("ok.png"), QString("process : ok.png\n  in file name  : %1\n  in file size  : 4096\n  out file name : %2\n"
                                               "  out file size : %3\n  compress : %4%\nsuccess : ok.png\n\n")
                                           .arg(page.In("ok.png"), page.Out("ok.png")).arg(out)
                                           .arg(QString::number((kInputSize - out) * 100.0 / kInputSize, 'f', 1)));
        QVERIFY(page.Block("nothing_exit0.png").endsWith("  output error (file size: 0)\nsuccess : nothing_exit0.png\n\n"));
        QVERIFY(page.Block("big.png").endsWith("  not compress\nsuccess : big.png\n\n"));

        QVERIFY(page.Run());
        const QString log = page.Log();
        QVERIFY(!ReadFile(RunLog::PathFor(page.data.outputDir)).startsWith("\xEF\xBB\xBF"));
        const QString header = "^start: \\d{4}/\\d\\d/\\d\\d \\d\\d:\\d\\d:\\d\\d\ncommon option : "
                               + QRegularExpression::escape(page.data.commonOptions.join(' ')) + "\n\n";
        const QString footer = "^end: \\d{4}/\\d\\d/\\d\\d \\d\\d:\\d\\d:\\d\\d\nexecution time: \\d\\d:\\d\\d:\\d\\d\n";
        QCOMPARE(log.count(QRegularExpression(header, QRegularExpression::MultilineOption)), 2);
        QCOMPARE(log.count(QRegularExpression(footer, QRegularExpression::MultilineOption)), 2);
        QCOMPARE(log.count("\nprocess : "), 14);
    }

    // What each file comes to, with a run of later files behind it: a code of the continue set
    // fails one file and any other failure stops the run (the engine past its time limit killed,
    // the files not yet started become suspension skips); outputs take the suffix and format, and
    // with the automatic format the engine writes into a temporary folder whose file is renamed
    // into place; update-only skips outputs not older than their input; inputs that cannot be
    // done are skipped with their reason and left untouched. In the log lines {in} and {out}
    // stand for the folders, and {long} and {fits} for names one past and at the path limit.
    void filesComeToTheirOutcome_data()
    {
        QTest::addColumn<QString>("outformat");   // "jpg" comes with the suffix "_s"
        QTest::addColumn<QString>("name");
        QTest::addColumn<Setup>("setup");
        QTest::addColumn<QString>("line");        // a line of the file's block
        QTest::addColumn<QString>("ending");      // how the block ends, but for a blank line; empty: no block at all
        QTest::addColumn<QString>("output");      // the output written for it, if any
        QTest::addColumn<bool>("continues");
        const Setup none = [](Page &) {};
        const auto aged = [](int seconds) {   // update-only, with an earlier output that many seconds younger
            return Setup([seconds](Page &p) {
                p.control.updateFile = true;
                WriteFile(p.Out(p.data.files.first()), 10);
                const QDateTime base = QDateTime::currentDateTime().addSecs(-3600);
                for (const auto &[path, when] : {std::pair{p.In(p.data.files.first()), base}, std::pair{p.Out(p.data.files.first()), base.addSecs(seconds)}}) {
                    QFile file(path);
                    QVERIFY(file.open(QIODevice::ReadWrite) && file.setFileTime(when, QFileDevice::FileModificationTime));
                }
            });
        };
        for (int code : {82, 90, 91, 94, 96, 105, 111})
            QTest::addRow("exit %d continues", code) << "same" << QString("f_exit%1.png").arg(code) << none << QString("  error (exec)  : %1").arg(code) << "failure : {name}\n" << "" << true;
        for (int code : {1, 77, 83, 95})
            QTest::addRow("exit %d stops", code) << "same" << QString("f_exit%1.png").arg(code) << none << QString("  error (exec)  : %1").arg(code) << "failure : {name}\n" << "" << false;
        QTest::newRow("crash") << "same" << "f_crash.png" << none << "  Crashed (exec)  : " << "failure : {name}\n" << "" << false;
        QTest::newRow("past the time limit") << "same" << "f_hang.png" << Setup([](Page &p) { p.timeoutMs = 200; }) << "  Timedout (exec)  : " << "failure : {name}\n" << "" << false;
        QTest::newRow("start failure") << "same" << "f.png" << Setup([](Page &p) { p.data.exePath = "/nonexistent/dravik.bin"; }) << "  FailedToStart (exec)  : " << "failure : {name}\n" << "" << false;
        QTest::newRow("suffix and format") << "jpg" << "sub/photo.PNG" << none << "  out file name : {out}sub/photo_s.jpg" << "success : {name}\n" << "sub/photo_s.jpg" << true;
        QTest::newRow("dots in the name") << "jpg" << "my.photo.png" << none << "  out file name : {out}my.photo_s.jpg" << "success : {name}\n" << "my.photo_s.jpg" << true;
        QTest::newRow("automatic: the engine's choice moved into place") << "auto" << "shot_tojpg.png" << none << "" << "success : {name}\n" << "shot_tojpg.jpg" << true;
        QTest::newRow("automatic: an earlier output replaced") << "auto" << "photo.png" << Setup([](Page &p) { WriteFile(p.Out("photo.png"), 7); }) << "" << "success : {name}\n" << "photo.png" << true;
        QTest::newRow("automatic: logged by the name given") << "auto" << "my.photo.png" << none << "  out file name : {out}my.photo\n" << "success : {name}\n" << "my.photo.png" << true;
        QTest::newRow("automatic: no output, no block") << "auto" << "gone_exit0.png" << none << "" << "" << "" << true;
        QTest::newRow("result cannot be put in place") << "auto" << "blocked.png" << Setup([](Page &p) { QDir().mkpath(p.Out("blocked.png/inside")); }) << "" << "file move failure : {out}blocked\n" << "" << false;
        QTest::newRow("update-only: newer output") << "same" << "newer.png" << aged(10) << "" << "skip    : {name}\n" << "" << true;
        QTest::newRow("update-only: output of the same age") << "same" << "same.png" << aged(0) << "" << "skip    : {name}\n" << "" << true;
        QTest::newRow("update-only: older output") << "same" << "older.png" << aged(-10) << "" << "success : {name}\n" << "older.png" << true;
        QTest::newRow("input path at the limit") << "same" << "{fits}.png" << none << "" << "success : {name}\n" << "{fits}.png" << true;
        QTest::newRow("input path too long") << "same" << "{long}.png" << none << "" << "  error (too long input path):{in}{name}" << "" << true;
        QTest::newRow("output folder cannot be made") << "same" << "blocked/x.png" << Setup([](Page &p) { WriteFile(p.Out("blocked"), 1); }) << ""
                                                     << QString("  error (make out dir):{out}blocked") + QDir::separator() << "" << true;
        QTest::newRow("unreadable input") << "same" << "locked.png" << Setup([](Page &p) { QFile::setPermissions(p.In("locked.png"), QFileDevice::WriteOwner); })
                                          << "" << "  error (Can't read):{in}{name}" << "" << true;
    }
    void filesComeToTheirOutcome()
    {
        QFETCH(QString, outformat);
        QFETCH(QString, name);
        QFETCH(Setup, setup);
        QFETCH(QString, line);
        QFETCH(QString, ending);
        QFETCH(QString, output);
        QFETCH(bool, continues);
        Page page(outformat, outformat == "jpg" ? "_s" : "");
        const int free = int(kTooLongPath - page.data.inputDir.size() - 4);
        for (QString *text : {&name, &output})
            text->replace("{long}", QString(free, u'p')).replace("{fits}", QString(free - 1, u'p'));
        page.Add(name);
        setup(page);
        if (name == "locked.png" && QFile(page.In(name)).open(QIODevice::ReadOnly))
            QSKIP("this user reads any file");
        const int later = 16;
        for (int i = 0; i < later; ++i)
            page.Add(QStringLiteral("later%1_sleep40.png").arg(i));
        QVERIFY(page.Run(false));

        const ResultData &r = page.result;
        VerifyCounts(r, ending.isEmpty());
        const QString block = page.Block(Native(name));
        for (QString *text : {&line, &ending})
            text->replace("{in}", page.data.inputDir).replace("{out}", page.data.outputDir).replace("{name}", Native(name));
        QVERIFY2(block.contains(line) && block.endsWith(ending + "\n") == !ending.isEmpty() && block.isEmpty() == ending.isEmpty(), qPrintable(block));
        QCOMPARE(r.failedFiles.contains(page.In(name)), ending.contains("failure"));
        QCOMPARE(r.suspended, !continues);
        QCOMPARE(page.monitor.IsContinue(), continues);
        // Not the last page: a stop ends the dialog, but refused options (77) end only this page.
        QCOMPARE(page.monitor.progressEnds.load(), continues || name.contains("exit77") ? 0 : 1);
        QVERIFY2(continues ? r.successCount >= quint32(later) : r.skipCount >= quint32(later - kMaxEngineThreads), qPrintable(QString::number(r.skipCount)));
        QCOMPARE(quint32(page.Log().count(QRegularExpression("^SuspensionSkipFile : .*\n\n", QRegularExpression::MultilineOption))), continues ? 0 : r.skipCount);
        if (!output.isEmpty()) {   // the stand-in's output holds its arguments
            const QStringList args = QString::fromUtf8(ReadFile(page.Out(output))).split(u'\n');
            const QString engineOut = args.value(args.indexOf("-out") + 1);
            QCOMPARE(args.mid(0, 2), (QStringList{"-in", page.In(name)}));
            QVERIFY2(outformat == "auto" ? !engineOut.startsWith(page.data.outputDir) && !QFileInfo::exists(QFileInfo(engineOut).path()) : engineOut == page.Out(output),
                     qPrintable(engineOut));
        }
    }

    // In a batch, files count over all pages; the time left waits for 10 % of the files (or a
    // minute), then shows the mean of ten estimates every tenth file.
    void batchCountsAndTimeLeft()
    {
        Page page;
        for (int i = 0; i < 12; ++i)
            page.Add(QStringLiteral("t%1.png").arg(i));
        page.monitor.extraMs = 120000;
        page.monitor.batchTotal = 100;
        page.monitor.batchDone = 40;
        QVERIFY(page.Run(false));
        QCOMPARE(page.monitor.batchDone, 52);
        QVERIFY(page.monitor.timeLeft.size() == 1 && QRegularExpression("^\\d\\d:\\d\\d:\\d0$").match(page.monitor.timeLeft.value(0)).hasMatch());

        // 1,000 files, 50 s gone: (1000 - d) × 50 / d for d = 100..109 has the mean 428, shown
        // as 430 at file 109, then every tenth file.
        TimeLeftEstimator estimator;
        qint32 shown = -1;
        QList<int> shownAt;
        for (int position = 1; position <= 130; ++position)
            if (estimator.AddFinishedFile(position, 1000, position, 50, &shown))
                shownAt << position * 1000 + shown;
        QCOMPARE(shownAt.value(0), 109 * 1000 + 430);
        QCOMPARE(shownAt.size(), 3);
    }
};

QTEST_GUILESS_MAIN(TestProcessor)
#include "tst_processor.moc"
