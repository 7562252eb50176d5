// The file processor with real engine processes: the stand-in engine (standin_engine.cpp)
// writes an output and exits with a code chosen by the input's name.

#include "pipeline/commandline.h"
#include "pipeline/processor.h"
#include "pipeline/runlog.h"
#include "settings/pagesettingsrecord.h"
#include "testmonitors.h"

#include <QtTest>

#include <thread>

namespace {

const qint64 kInputSize = 4096;

QString Native(const QString &path)
{
    return QDir::toNativeSeparators(path);
}

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

    explicit Page(const QString &outformat = QStringLiteral("same"), const QString &suffix = {})
    {
        data.exePath = QStringLiteral(DRAVIK_STANDIN_ENGINE);
        data.inputDir = Native(root.filePath("inp")) + QDir::separator();
        data.outputDir = Native(root.filePath("out")) + QDir::separator();
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
    bool Run(bool lastPage = true, int timeoutMs = kEngineTimeoutMs)
    {
        return PreProcessing(&monitor, data, option, control, &result, lastPage, timeoutMs);
    }
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

} // namespace

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
        for (const QString &entry : page.data.files)
            QVERIFY2(page.Block(entry).contains("\nsuccess : " + entry + "\n\n"), qPrintable(page.Block(entry)));

        // The log switch off: no log file.
        page.control.createLogFile = false;
        QVERIFY(QFile::remove(RunLog::PathFor(page.data.outputDir)) && page.Run());
        QVERIFY(!QFileInfo::exists(RunLog::PathFor(page.data.outputDir)));
    }

    void exitCodeContinuesOrStopsTheRun_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("exe");     // empty: the stand-in
        QTest::addColumn<int>("timeoutMs");
        QTest::addColumn<bool>("continues");
        QTest::addColumn<QString>("line");    // the line before the block's "failure : " line
        for (int code : {82, 90, 91, 94, 96, 105, 111})
            QTest::addRow("continue %d", code) << QString("f_exit%1.png").arg(code) << QString() << kEngineTimeoutMs << true
                                               << QString("  error (exec)  : %1\n").arg(code);
        for (int code : {1, 77, 83, 95})
            QTest::addRow("stop %d", code) << QString("f_exit%1.png").arg(code) << QString() << kEngineTimeoutMs << false
                                           << QString("  error (exec)  : %1\n").arg(code);
        QTest::newRow("crash") << "f_crash.png" << QString() << kEngineTimeoutMs << false << "  Crashed (exec)  : ";
        QTest::newRow("past the time limit") << "f_hang.png" << QString() << 200 << false << "  Timedout (exec)  : ";
        QTest::newRow("start failure") << "f.png" << "/nonexistent/dravik.bin" << kEngineTimeoutMs << false << "  FailedToStart (exec)  : ";
    }

    // A code of the continue set fails one file; any other failure stops the run, the engine
    // past its time limit is killed, and the files not yet started become suspension skips.
    void exitCodeContinuesOrStopsTheRun()
    {
        QFETCH(QString, name);
        QFETCH(QString, exe);
        QFETCH(int, timeoutMs);
        QFETCH(bool, continues);
        QFETCH(QString, line);
        Page page;
        if (!exe.isEmpty())
            page.data.exePath = exe;
        page.Add(name);
        const int later = 16;
        for (int i = 0; i < later; ++i)
            page.Add(QStringLiteral("later%1_sleep40.png").arg(i));
        QVERIFY(page.Run(false, timeoutMs));

        const ResultData &r = page.result;
        VerifyCounts(r);
        QVERIFY(r.failedFiles.contains(page.In(name)));
        QCOMPARE(r.suspended, !continues);
        QCOMPARE(page.monitor.IsContinue(), continues);
        // Not the last page: a stop ends the dialog, but refused options (77) end only this page.
        QCOMPARE(page.monitor.progressEnds.load(), continues || name.contains("exit77") ? 0 : 1);
        QVERIFY2(continues ? r.successCount == quint32(later) : r.skipCount >= quint32(later - kMaxEngineThreads),
                 qPrintable(QString::number(r.skipCount)));
        QVERIFY2(page.Block(name).contains(line) && page.Block(name).endsWith("failure : " + name + "\n\n"),
                 qPrintable(page.Block(name)));
        QCOMPARE(quint32(page.Log().count(QRegularExpression("^SuspensionSkipFile : .*\n\n", QRegularExpression::MultilineOption))),
                 r.skipCount);
    }

    // The output name takes the suffix and format; with the automatic format the engine writes
    // into a temporary folder and its file is renamed into place, replacing an earlier one.
    void outputsAreNamedAndMovedIntoPlace()
    {
        Page named("jpg", "_s");
        named.Add("sub/photo.PNG");
        named.Add("my.photo.png");
        QVERIFY(named.Run());
        QVERIFY(ReadFile(named.Out("sub/photo_s.jpg")).contains("-out\n" + named.Out("sub/photo_s.jpg").toUtf8() + "\n"));
        QVERIFY(QFileInfo(named.Out("my.photo_s.jpg")).isFile());

        Page page("auto");
        for (const char *name : {"photo.png", "my.photo.png", "shot_tojpg.png", "gone_exit0.png"})
            page.Add(name);
        WriteFile(page.Out("photo.png"), 7);
        QVERIFY(page.Run());
        VerifyCounts(page.result, 1);
        QVERIFY(ReadFile(page.Out("photo.png")).startsWith("-in"));
        QVERIFY(QFileInfo(page.Out("shot_tojpg.jpg")).isFile());
        QCOMPARE(QDir(page.data.outputDir).entryList(QDir::Files).size(), 4);  // three outputs and the log
        const QStringList args = QString::fromUtf8(ReadFile(page.Out("my.photo.png"))).split('\n');
        const QString engineOut = args.value(args.indexOf("-out") + 1);
        QCOMPARE(QFileInfo(engineOut).fileName(), QString("my.photo"));
        QVERIFY(!engineOut.startsWith(page.data.outputDir) && !QFileInfo::exists(QFileInfo(engineOut).path()));
        QVERIFY(page.Block("gone_exit0.png").isEmpty());
        QVERIFY(page.Block("my.photo.png").contains("  out file name : " + page.Out("my.photo") + "\n"));

        // A result that cannot be put in place fails the file and stops the run.
        Page blocked("auto");
        blocked.Add("blocked.png");
        for (int i = 0; i < 10; ++i)
            blocked.Add(QStringLiteral("later%1_sleep20.png").arg(i));
        QVERIFY(QDir().mkpath(blocked.Out("blocked.png/inside")));
        QVERIFY(blocked.Run());
        QCOMPARE(blocked.result.failedFiles, QStringList({blocked.In("blocked.png")}));
        QVERIFY(blocked.result.suspended);
        QVERIFY(blocked.Block("blocked.png").endsWith("file move failure : " + blocked.Out("blocked") + "\n\n"));
    }

    // Skipped with their reason, inputs untouched: outputs not older than their input (with
    // update-only), input paths past 258 characters, output folders that cannot be made,
    // unreadable inputs.
    void filesThatNeedNoWorkOrCannotBeDoneAreSkipped()
    {
        Page page;
        page.control.updateFile = true;
        page.data.outputDir = Native(page.root.filePath("o")) + QDir::separator();  // only the input is too long
        QVERIFY(QDir().mkpath(page.data.outputDir));
        const QDateTime base = QDateTime::currentDateTime().addSecs(-3600);
        for (const auto &[name, age] : {std::pair{"newer.png", 10}, std::pair{"same.png", 0}, std::pair{"older.png", -10}}) {
            page.Add(name);
            WriteFile(page.Out(name), 10);
            for (const auto &[path, when] : {std::pair{page.In(name), base}, std::pair{page.Out(name), base.addSecs(age)}}) {
                QFile file(path);
                QVERIFY(file.open(QIODevice::ReadWrite) && file.setFileTime(when, QFileDevice::FileModificationTime));
            }
        }
        const int free = int(kTooLongPath - page.data.inputDir.size() - 4);
        const QString fits = QString(free - 1, 'p') + ".png", tooLong = QString(free, 'p') + ".png";
        for (const QString &name : {fits, tooLong, QStringLiteral("blocked/x.png"), QStringLiteral("locked.png")})
            page.Add(name);
        WriteFile(page.Out("blocked"), 1);  // a file where a folder is needed
        const bool canLock = QFile::setPermissions(page.In("locked.png"), QFileDevice::WriteOwner) && !QFile(page.In("locked.png")).open(QIODevice::ReadOnly);
        QVERIFY(page.Run());
        QCOMPARE(page.result.successCount, canLock ? 2u : 3u);  // older.png, the path that fits
        QCOMPARE(ReadFile(page.Out("same.png")), QByteArray(10, 'i'));
        QVERIFY(page.Block("newer.png").endsWith("skip    : newer.png\n\n"));
        QVERIFY(page.Block(tooLong).endsWith("  error (too long input path):" + page.In(tooLong) + "\n"));
        QVERIFY(page.Block(Native("blocked/x.png")).contains("  error (make out dir):"));
        QCOMPARE(ReadFile(page.In("blocked/x.png")), QByteArray(kInputSize, 'i'));
        if (canLock)
            QVERIFY(page.Block("locked.png").contains("  error (Can't read):" + page.In("locked.png") + "\n"));
    }

    // The stop question holds every worker; Yes skips the rest, No lets the run finish.
    void stopQuestionPausesAndCancelSkipsTheRest()
    {
        for (const bool cancel : {true, false}) {
            Page page;
            const int count = 20;
            for (int i = 0; i < count; ++i)
                page.Add(QStringLiteral("f%1_sleep20.png").arg(i));
            page.monitor.onFraction = [&](int started) {
                if (started == 4)
                    page.monitor.flags.SetQuestionShowing(true);
            };
            std::thread worker([&] { page.Run(); });
            QTRY_VERIFY(page.monitor.IsQuestionShowing());
            QTest::qWait(150);
            const int startedWhileOpen = page.monitor.fractions.load();
            QTest::qWait(250);
            QCOMPARE(page.monitor.fractions.load(), startedWhileOpen);
            page.monitor.flags.SetCancel(cancel);
            page.monitor.flags.SetQuestionShowing(false);
            worker.join();
            VerifyCounts(page.result);
            QCOMPARE(page.result.suspended, cancel);
            QCOMPARE(page.result.successCount, quint32(cancel ? startedWhileOpen : count));
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
        QCOMPARE(page.monitor.timeLeft.size(), 1);
        QVERIFY(QRegularExpression("^\\d\\d:\\d\\d:\\d0$").match(page.monitor.timeLeft.value(0)).hasMatch());

        // 1,000 files, 50 s gone: (1000 - d) × 50 / d for d = 100..109 has the mean 428, shown
        // as 430 at file 109, then every tenth file.
        TimeLeftEstimator estimator;
        qint32 shown = -1;
        QList<int> shownAt;
        for (int position = 1; position <= 130; ++position) {
            if (estimator.AddFinishedFile(position, 1000, position, 50, &shown))
                shownAt << position * 1000 + shown;
        }
        QCOMPARE(shownAt.value(0), 109 * 1000 + 430);
        QCOMPARE(shownAt.size(), 3);
    }
};

QTEST_GUILESS_MAIN(TestProcessor)
#include "tst_processor.moc"
