// The file processor with real engine processes: a stand-in engine built with the tests
// writes an output and exits with a code chosen by the input's name (standin_engine.cpp).

#include "pipeline/commandline.h"
#include "pipeline/processor.h"
#include "pipeline/runlog.h"
#include "settings/pagesettingsrecord.h"
#include "testmonitors.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QSet>
#include <QTemporaryDir>
#include <QtTest>

#include <thread>

#ifndef Q_OS_WIN
#include <unistd.h>
#endif

namespace {

const qint64 kInputSize = 4096;

QString Native(const QString &path)
{
    return QDir::toNativeSeparators(path);
}

QString Dir(const QString &path)
{
    return Native(path) + QDir::separator();
}

void WriteFile(const QString &path, qint64 size = kInputSize, char fill = 'i')
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    QVERIFY2(file.open(QIODevice::WriteOnly | QIODevice::Truncate), qPrintable(path));
    file.write(QByteArray(size, fill));
}

QByteArray ReadFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// One page to process: folders in a fresh temporary folder, the stand-in as engine.
struct Page
{
    QTemporaryDir root{QDir::tempPath() + QStringLiteral("/dkproc-XXXXXX")};
    ProcessData data;
    DefaultOption option;
    ProcessControl control;
    ResultData result;
    TestProcessMonitor monitor;

    explicit Page(const QString &outformat = QStringLiteral("same"), bool log = true)
    {
        QDir(root.path()).mkpath("inp");
        QDir(root.path()).mkpath("out");
        data.exePath = QStringLiteral(DRAVIK_STANDIN_ENGINE);
        data.inputDir = Dir(root.filePath("inp"));
        data.outputDir = Dir(root.filePath("out"));
        SetFormat(outformat);
        control.createLogFile = log;
    }

    void SetFormat(const QString &outformat)
    {
        PageSettingsRecord page;
        page.generalOutputFormat = int(OutputFormatWords().indexOf(outformat));
        page.uniqueLogFile = control.createLogFile;
        const QString suffix = control.suffix;
        OptionRefusal refusal;
        QVERIFY(SetDefaultOption(page, data.inputDir, data.outputDir, &option, &control, &refusal));
        control.suffix = suffix;
        data.commonOptions = BuildCommonOptions(option, control);
    }

    void Add(const QString &entry, qint64 size = kInputSize)
    {
        WriteFile(data.inputDir + entry, size);
        data.files << Native(entry);
    }

    bool Run(bool lastPage = true, int timeoutMs = kEngineTimeoutMs)
    {
        return PreProcessing(&monitor, data, option, control, &result, lastPage, timeoutMs);
    }

    QString In(const QString &entry) const { return data.inputDir + Native(entry); }
    QString Out(const QString &entry) const { return data.outputDir + Native(entry); }
    QString Log() const { return QString::fromUtf8(ReadFile(RunLog::PathFor(data.outputDir))); }
};

// The log's file blocks, keyed by the entry each one names; every block must name one entry
// in all its lines, which is what being written whole means.
struct LogBlocks
{
    QStringList order;                 // entries in the order their blocks appear
    QHash<QString, QString> blocks;    // entry → block text
    QString header, footer;
};

LogBlocks ParseLog(const QString &log)
{
    LogBlocks parsed;
    const QStringList lines = log.split(u'\n');
    QString current;
    static const QRegularExpression start(QStringLiteral("^(process|SuspensionSkipFile) : (.*)$"));
    for (const QString &line : lines) {
        const QRegularExpressionMatch m = start.match(line);
        if (m.hasMatch()) {
            current = m.captured(2);
            parsed.order << current;
            parsed.blocks[current] += line + u'\n';
        } else if (line.startsWith(QLatin1String("end: "))) {
            current = QStringLiteral("<footer>");
            parsed.footer += line + u'\n';
        } else if (current.isEmpty()) {
            parsed.header += line + u'\n';
        } else if (current == QLatin1String("<footer>")) {
            parsed.footer += line + u'\n';
        } else {
            parsed.blocks[current] += line + u'\n';
        }
    }
    return parsed;
}

void VerifyInvariant(const ResultData &r, quint32 uncounted = 0)
{
    QCOMPARE(r.fileCount, r.failureCount + r.skipCount + r.successCount + uncounted);
}

} // namespace

class TestProcessor : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY2(QFileInfo(QStringLiteral(DRAVIK_STANDIN_ENGINE)).isExecutable(),
                 "the stand-in engine was not built");
    }

    void successFailureAndEmptySuccessAreCountedAndLogged()
    {
        Page page;
        page.Add("ok1.png");
        page.Add(Native("sub/ok2.jpg"));
        page.Add("bad_exit90.png");
        page.Add("nothing_exit0.png");
        page.Add("big.png");
        QVERIFY(page.Run());

        const ResultData &r = page.result;
        QCOMPARE(r.fileCount, 5u);
        QCOMPARE(r.successCount, 3u);
        QCOMPARE(r.failureCount, 1u);
        QCOMPARE(r.skipCount, 0u);
        QCOMPARE(r.failedFiles, QStringList({page.In("bad_exit90.png")}));
        QCOMPARE(r.lastExitCode, 90);
        QVERIFY(!r.suspended);
        // Exit 0 without output is counted nowhere, but its input bytes are.
        VerifyInvariant(r, 1);
        QCOMPARE(r.inputBytes, quint64(4 * kInputSize));
        const qint64 outSum = QFileInfo(page.Out("ok1.png")).size()
                              + QFileInfo(page.Out("sub/ok2.jpg")).size()
                              + QFileInfo(page.Out("big.png")).size();
        QCOMPARE(r.outputBytes, quint64(outSum));
        QCOMPARE(page.monitor.progressEnds.load(), 1);
        QCOMPARE(page.monitor.fractions.load(), 5);

        // The engine got the per-file arguments, then the common ones.
        const QStringList args = QString::fromUtf8(ReadFile(page.Out("ok1.png"))).split('\n', Qt::SkipEmptyParts);
        QCOMPARE(args, QStringList({"-in", page.In("ok1.png"), "-out", page.Out("ok1.png")})
                           + page.data.commonOptions);

        const LogBlocks log = ParseLog(page.Log());
        QCOMPARE(QSet<QString>(log.order.cbegin(), log.order.cend()),
                 QSet<QString>({"ok1.png", Native("sub/ok2.jpg"), "bad_exit90.png",
                                "nothing_exit0.png", "big.png"}));
        const qint64 out1 = QFileInfo(page.Out("ok1.png")).size();
        QCOMPARE(log.blocks["ok1.png"],
                 QString("process : ok1.png\n  in file name  : %1\n  in file size  : 4096\n"
                         "  out file name : %2\n  out file size : %3\n  compress : %4%\n"
                         "success : ok1.png\n\n")
                     .arg(page.In("ok1.png"), page.Out("ok1.png"))
                     .arg(out1)
                     .arg(QString::number((kInputSize - out1) * 100.0 / kInputSize, 'f', 1)));
        QCOMPARE(log.blocks["bad_exit90.png"],
                 QString("process : bad_exit90.png\n  in file name  : %1\n  in file size  : 4096\n"
                         "  error (exec)  : 90\nfailure : bad_exit90.png\n\n")
                     .arg(page.In("bad_exit90.png")));
        QVERIFY(log.blocks["nothing_exit0.png"].contains("  output error (file size: 0)\nsuccess : nothing_exit0.png\n"));
        QVERIFY(log.blocks["big.png"].contains("  not compress\nsuccess : big.png\n"));
        // An output larger than the input stays in place.
        QVERIFY(QFileInfo(page.Out("big.png")).size() > kInputSize);
        QVERIFY(QFileInfo(page.Out("sub")).isDir());
    }

    void continueSetCodesLetTheRunGoOn()
    {
        Page page;
        for (int code : {82, 91, 94, 96, 111})
            page.Add(QStringLiteral("f_exit%1.png").arg(code));
        for (int i = 0; i < 5; ++i)
            page.Add(QStringLiteral("ok%1.png").arg(i));
        QVERIFY(page.Run(false));
        QCOMPARE(page.result.failureCount, 5u);
        QCOMPARE(page.result.successCount, 5u);
        QVERIFY(!page.result.suspended);
        QVERIFY(page.monitor.IsContinue());
        // Not the last page of a batch, not stopped: the dialog stays for the next page.
        QCOMPARE(page.monitor.progressEnds.load(), 0);
        QVERIFY(IsContinueExitCode(82) && IsContinueExitCode(105) && !IsContinueExitCode(83)
                && !IsContinueExitCode(95) && !IsContinueExitCode(77) && !IsContinueExitCode(1));
    }

    void stoppingOutcomes_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("exe");
        QTest::addColumn<QString>("line");
        QTest::addColumn<int>("lastExitCode");
        QTest::addColumn<int>("endsWithoutLastPage");
        QTest::newRow("refused options") << "a_exit77.png" << "" << "  error (exec)  : 77\n" << 77 << 0;
        QTest::newRow("usage") << "a_exit1.png" << "" << "  error (exec)  : 1\n" << 1 << 1;
        QTest::newRow("stamp") << "a_exit83.png" << "" << "  error (exec)  : 83\n" << 83 << 1;
        QTest::newRow("crash") << "a_crash.png" << "" << "  Crashed (exec)  : " << 0 << 1;
        QTest::newRow("start failure") << "a.png" << "/nonexistent/dravik.bin"
                                       << "  FailedToStart (exec)  : " << 0 << 1;
    }

    void stoppingOutcomes()
    {
        QFETCH(QString, name);
        QFETCH(QString, exe);
        QFETCH(QString, line);
        QFETCH(int, lastExitCode);
        QFETCH(int, endsWithoutLastPage);

        Page page;
        if (!exe.isEmpty())
            page.data.exePath = exe;
        page.Add(name);
        const int later = 24;
        for (int i = 0; i < later; ++i)
            page.Add(QStringLiteral("later%1_sleep30.png").arg(i, 2, 10, QChar('0')));
        QVERIFY(page.Run(false));

        const ResultData &r = page.result;
        QVERIFY(r.suspended);
        QVERIFY(!page.monitor.IsContinue());
        QCOMPARE(r.lastExitCode, lastExitCode);
        QVERIFY(r.failedFiles.contains(page.In(name)));
        VerifyInvariant(r);
        // Files already started ran to their end; the rest became suspension skips.
        QVERIFY2(r.skipCount >= quint32(later - kMaxEngineThreads), qPrintable(QString::number(r.skipCount)));
        QCOMPARE(r.failureCount, exe.isEmpty() ? 1u : r.fileCount - r.skipCount);
        QCOMPARE(page.monitor.progressEnds.load(), endsWithoutLastPage);

        const LogBlocks log = ParseLog(page.Log());
        QVERIFY2(log.blocks[name].contains(line), qPrintable(log.blocks[name]));
        QVERIFY(log.blocks[name].endsWith("failure : " + name + "\n\n"));
        int suspensions = 0;
        for (const QString &entry : log.order) {
            if (log.blocks[entry] == "SuspensionSkipFile : " + entry + "\n\n")
                ++suspensions;
        }
        QCOMPARE(quint32(suspensions), r.skipCount);
    }

    void hungEngineIsKilledAfterTheTimeOut()
    {
        Page page;
        page.Add("stuck_hang.png");
        QElapsedTimer timer;
        timer.start();
        QVERIFY(page.Run(true, 500));
        QVERIFY(timer.elapsed() < 20000);
        QCOMPARE(page.result.failureCount, 1u);
        QVERIFY(page.result.suspended == false);   // nothing was left to skip
        QVERIFY(!page.monitor.IsContinue());
        QVERIFY(page.Log().contains("  Timedout (exec)  : "));
    }

    void updateOnlySkipsOutputsThatAreNotOlder()
    {
        Page page;
        page.control.updateFile = true;
        page.Add("newer.png");
        page.Add("same.png");
        page.Add("older.png");
        page.Add("missing.png");
        const QDateTime base = QDateTime::currentDateTime().addSecs(-3600);
        auto stamp = [](const QString &path, const QDateTime &when) {
            QFile file(path);
            QVERIFY(file.open(QIODevice::ReadWrite));
            QVERIFY(file.setFileTime(when, QFileDevice::FileModificationTime));
        };
        for (const char *name : {"newer.png", "same.png", "older.png"}) {
            WriteFile(page.Out(name), 10, 'o');
            stamp(page.In(name), base);
        }
        stamp(page.Out("newer.png"), base.addSecs(10));
        stamp(page.Out("same.png"), base);
        stamp(page.Out("older.png"), base.addSecs(-10));
        QVERIFY(page.Run());

        QCOMPARE(page.result.skipCount, 2u);
        QCOMPARE(page.result.successCount, 2u);
        QCOMPARE(ReadFile(page.Out("newer.png")), QByteArray(10, 'o'));
        QCOMPARE(ReadFile(page.Out("same.png")), QByteArray(10, 'o'));
        QVERIFY(ReadFile(page.Out("older.png")).startsWith("-in"));
        const LogBlocks log = ParseLog(page.Log());
        QVERIFY(log.blocks["newer.png"].endsWith("skip    : newer.png\n\n"));
        QVERIFY(log.blocks["older.png"].endsWith("success : older.png\n\n"));

        // The automatic format finds the earlier output under the extension it was given.
        Page autoPage("auto");
        autoPage.control.updateFile = true;
        autoPage.Add("pic.png");
        WriteFile(autoPage.Out("pic.png"), 10, 'o');
        stamp(autoPage.In("pic.png"), base);
        QVERIFY(autoPage.Run());
        QCOMPARE(autoPage.result.skipCount, 1u);
        QCOMPARE(ReadFile(autoPage.Out("pic.png")), QByteArray(10, 'o'));
    }

    void tooLongPathsAreSkipped()
    {
        Page page;
        // A shorter output folder, so that only the input check speaks.
        page.data.outputDir = Dir(page.root.filePath("o"));
        QVERIFY(QDir().mkpath(page.data.outputDir));
        const int inLength = int(page.data.inputDir.size());
        auto entryFor = [&](int total) {
            return QString(total - inLength - 4, QChar('p')) + ".png";
        };
        const QString fits = entryFor(kTooLongPath - 1);
        const QString tooLong = entryFor(kTooLongPath);
        page.Add(fits);
        page.Add(tooLong);
        QCOMPARE(page.In(fits).size(), 258);
        QVERIFY(page.Run());
        QCOMPARE(page.result.successCount, 1u);
        QCOMPARE(page.result.skipCount, 1u);
        QVERIFY(QFileInfo(page.Out(fits)).isFile());
        QVERIFY(!QFileInfo::exists(page.Out(tooLong)));
        const LogBlocks log = ParseLog(page.Log());
        QVERIFY2(log.blocks[tooLong].endsWith("  error (too long input path):" + page.In(tooLong) + "\n"),
                 qPrintable(log.blocks[tooLong]));

    }

    void outputNamesWithSuffixAndFormat()
    {
        const QString sep = QDir::separator();
        QCOMPARE(OutputPathFor("/o/", "sub" + sep + "photo.PNG", "_s", "jpg"),
                 Native("/o/sub/photo_s.jpg"));
        QCOMPARE(OutputPathFor("/o/", "photo.PNG", "_s", "same"), Native("/o/photo_s.PNG"));
        QCOMPARE(OutputPathFor("/o/", "photo.PNG", "", "same"), Native("/o/photo.PNG"));
        QCOMPARE(OutputPathFor("/o/", "my.photo.png", "", "webp"), Native("/o/my.photo.webp"));
        QCOMPARE(OutputPathFor("/o/", "my.photo.png", "", "auto"), Native("/o/my.photo"));
        QCOMPARE(OutputPathFor("/o/", "my.photo.png", "-1", "auto"), Native("/o/my.photo-1"));

        QString path = Native("/a.b/name");
        QVERIFY(ReplaceExtension(&path, ".jpg"));
        QCOMPARE(path, Native("/a.b/name.jpg"));
        path = "/" + QString(250, 'x') + ".png";
        QVERIFY(ReplaceExtension(&path, ".webp"));   // 256 characters
        path = "/" + QString(254, 'x') + ".png";
        const QString before = path;
        QVERIFY(!ReplaceExtension(&path, ".webp"));  // would be 260
        QCOMPARE(path, before);

        // Through real runs: the engine is told the final name, and it lands there.
        Page page("jpg");
        page.control.suffix = "_s";
        page.SetFormat("jpg");
        page.Add(Native("sub/photo.PNG"));
        page.Add("my.photo.png");
        QVERIFY(page.Run());
        QCOMPARE(page.result.successCount, 2u);
        QVERIFY(QFileInfo(page.Out("sub/photo_s.jpg")).isFile());
        QVERIFY(QFileInfo(page.Out("my.photo_s.jpg")).isFile());
        QVERIFY(ReadFile(page.Out("sub/photo_s.jpg")).contains("-out\n" + page.Out("sub/photo_s.jpg").toUtf8() + "\n"));
    }

    void automaticFormatMovesTheEnginesFileIntoPlace()
    {
        const QStringList before = QDir(QDir::tempPath()).entryList({"tst_processor-*"}, QDir::Dirs);
        Page page("auto");
        page.Add("photo.png");
        page.Add("my.photo.png");
        page.Add("shot_tojpg.png");
        page.Add("gone_exit0.png");
        WriteFile(page.Out("photo.png"), 7, 'o');    // an earlier output, replaced
        QVERIFY(page.Run());

        QCOMPARE(page.result.successCount, 3u);
        QCOMPARE(page.result.failureCount, 0u);
        // Exit 0 without a file in the temporary folder: counted nowhere, no block.
        VerifyInvariant(page.result, 1);
        QCOMPARE(page.result.inputBytes, quint64(3 * kInputSize));
        QVERIFY(ReadFile(page.Out("photo.png")).startsWith("-in"));
        QVERIFY(QFileInfo(page.Out("my.photo.png")).isFile());
        QVERIFY(QFileInfo(page.Out("shot_tojpg.jpg")).isFile());
        QVERIFY(!QFileInfo::exists(page.Out("shot_tojpg.png")));
        QCOMPARE(QDir(page.data.outputDir).entryList(QDir::Files | QDir::NoDotAndDotDot).size(), 4);

        // The engine wrote into a temporary folder under the whole extension-less name.
        const QStringList args = QString::fromUtf8(ReadFile(page.Out("my.photo.png"))).split('\n');
        const QString engineOut = args.at(args.indexOf("-out") + 1);
        QVERIFY(!engineOut.startsWith(page.data.outputDir));
        QCOMPARE(QFileInfo(engineOut).fileName(), QString("my.photo"));
        QVERIFY(!QFileInfo::exists(QFileInfo(engineOut).path()));
        QCOMPARE(QDir(QDir::tempPath()).entryList({"tst_processor-*"}, QDir::Dirs), before);

        const LogBlocks log = ParseLog(page.Log());
        QVERIFY(!log.order.contains("gone_exit0.png"));
        QVERIFY(log.blocks["my.photo.png"].contains("  out file name : " + page.Out("my.photo") + "\n"));

        // A result that cannot be put in place fails the file and stops the run.
        Page blocked("auto");
        blocked.Add("blocked.png");
        for (int i = 0; i < 10; ++i)
            blocked.Add(QStringLiteral("later%1_sleep20.png").arg(i));
        QVERIFY(QDir().mkpath(blocked.Out("blocked.png") + "/inside"));
        QVERIFY(blocked.Run());
        QCOMPARE(blocked.result.failureCount, 1u);
        QCOMPARE(blocked.result.failedFiles, QStringList({blocked.In("blocked.png")}));
        QVERIFY(blocked.result.suspended);
        VerifyInvariant(blocked.result);
        QVERIFY(QFileInfo(blocked.Out("blocked.png") + "/inside").isDir());
        QVERIFY(ParseLog(blocked.Log()).blocks["blocked.png"].endsWith(
            "file move failure : " + blocked.Out("blocked") + "\n\n"));
    }

    void stopQuestionPausesAndCancelSkipsTheRest()
    {
        for (const bool cancel : {true, false}) {
            Page page;
            const int count = 30;
            for (int i = 0; i < count; ++i)
                page.Add(QStringLiteral("f%1_sleep20.png").arg(i, 2, 10, QChar('0')));
            // The user presses the stop button while the fourth file starts.
            page.monitor.onFraction = [&](int started) {
                if (started == 4)
                    page.monitor.flags.SetQuestionShowing(true);
            };
            std::thread worker([&] { page.Run(); });
            QTRY_VERIFY(page.monitor.IsQuestionShowing());
            QTest::qWait(150);
            const int startedWhileOpen = page.monitor.fractions.load();
            QTest::qWait(300);
            // No file starts while the question is open.
            QCOMPARE(page.monitor.fractions.load(), startedWhileOpen);
            QCOMPARE(page.monitor.progressEnds.load(), 0);
            if (cancel)
                page.monitor.flags.SetCancel(true);
            page.monitor.flags.SetQuestionShowing(false);
            worker.join();

            const ResultData &r = page.result;
            VerifyInvariant(r);
            QCOMPARE(page.monitor.progressEnds.load(), 1);
            if (cancel) {
                QVERIFY(r.suspended);
                QCOMPARE(r.successCount, quint32(startedWhileOpen));
                QCOMPARE(r.skipCount, quint32(count - startedWhileOpen));
            } else {
                QVERIFY(!r.suspended);
                QCOMPARE(r.successCount, quint32(count));
            }
        }
    }

    void logRecordsAppendAndStayWhole()
    {
        Page page;
        for (int i = 0; i < 20; ++i)
            page.Add(QStringLiteral("many%1.png").arg(i));
        page.Add("写真.png");
        QVERIFY(page.Run());
        QVERIFY(page.Run());
        const QByteArray bytes = ReadFile(RunLog::PathFor(page.data.outputDir));
        QVERIFY(!bytes.startsWith("\xEF\xBB\xBF"));
        QVERIFY(bytes.contains(QStringLiteral("process : 写真.png\n").toUtf8()));
        const QString log = QString::fromUtf8(bytes);
        QCOMPARE(log.count("start: "), 2);
        QCOMPARE(log.count("execution time: "), 2);

        // Each record: header, 21 whole blocks, footer.
        const QStringList records = log.split("start: ", Qt::SkipEmptyParts);
        for (const QString &record : records) {
            const LogBlocks parsed = ParseLog("start: " + record);
            const QStringList header = parsed.header.split('\n');
            QVERIFY2(QRegularExpression("^start: \\d{4}/\\d\\d/\\d\\d \\d\\d:\\d\\d:\\d\\d$")
                         .match(header.value(0)).hasMatch(), qPrintable(parsed.header));
            QCOMPARE(header.value(1), "common option : " + page.data.commonOptions.join(' '));
            QCOMPARE(header.value(2), QString());
            QVERIFY(QRegularExpression("^end: \\d{4}/\\d\\d/\\d\\d \\d\\d:\\d\\d:\\d\\d\nexecution time: \\d\\d:\\d\\d:\\d\\d\n")
                        .match(parsed.footer).hasMatch());
            QCOMPARE(parsed.order.size(), 21);
            for (const QString &entry : parsed.order) {
                const QString block = parsed.blocks[entry];
                QVERIFY2(block.startsWith("process : " + entry + "\n  in file name  : " + page.In(entry) + "\n"),
                         qPrintable(block));
                QVERIFY2(block.endsWith("success : " + entry + "\n\n"), qPrintable(block));
                QCOMPARE(block.count("process : "), 1);
            }
        }
    }

    void logSwitchAndEmptyList()
    {
        Page quiet("same", false);
        quiet.Add("a.png");
        QVERIFY(quiet.Run());
        QCOMPARE(quiet.result.successCount, 1u);
        QVERIFY(!QFileInfo::exists(RunLog::PathFor(quiet.data.outputDir)));

    }

    void outputFoldersAreCreatedOrTheFileIsSkipped()
    {
        Page page;
        page.Add(Native("a/b/c/deep.png"));
        page.Add(Native("blocked/x.png"));
        // A file where a folder is needed: that one file cannot be placed.
        WriteFile(page.Out("blocked"), 1);
        QVERIFY(page.Run());
        QVERIFY(QFileInfo(page.Out("a/b/c/deep.png")).isFile());
        QCOMPARE(page.result.successCount, 1u);
        QCOMPARE(page.result.skipCount, 1u);
        QVERIFY(ParseLog(page.Log()).blocks[Native("blocked/x.png")].contains("  error (make out dir):"));
        QCOMPARE(ReadFile(page.In(Native("blocked/x.png"))), QByteArray(kInputSize, 'i'));

        // An entry that is empty is skipped without starting anything.
        Page blank;
        blank.data.files << QString();
        QVERIFY(blank.Run());
        QCOMPARE(blank.result.skipCount, 1u);
        QVERIFY(blank.Log().contains("error (too short name): " + blank.data.inputDir + "\n"));
    }

    void unreadableInputAndUnwritableOutputAreSkipped()
    {
        // An output folder that went away after the folder checks cannot be written.
        Page gone;
        gone.Add("a.png");
        QVERIFY(QDir(gone.data.outputDir).removeRecursively());
        QVERIFY(gone.Run());
        QCOMPARE(gone.result.skipCount, 1u);
        QCOMPARE(ReadFile(gone.In("a.png")), QByteArray(kInputSize, 'i'));
        QVERIFY(gone.Log().isEmpty());   // the log lived in that folder too
        QVERIFY(!QFileInfo::exists(gone.Out("a.png")));

#ifdef Q_OS_WIN
        QSKIP("permission bits are not how Windows refuses access");
#else
        if (geteuid() == 0)
            QSKIP("running as root: permissions do not refuse anything");
        Page page;
        page.Add("locked.png");
        QFile::setPermissions(page.In("locked.png"), QFileDevice::WriteOwner);
        QVERIFY(page.Run());
        QCOMPARE(page.result.skipCount, 1u);
        QVERIFY(page.Log().contains("  error (Can't read):" + page.In("locked.png") + "\n"));
#endif
    }

    void batchCountsAndTimeLeft()
    {
        Page page;
        for (int i = 0; i < 12; ++i)
            page.Add(QStringLiteral("t%1.png").arg(i));
        // Long enough ago that the estimate does not wait for ten per cent.
        page.monitor.extraMs = 120000;
        page.monitor.batchTotal = 100;
        page.monitor.batchDone = 40;
        QVERIFY(page.Run(false));
        QCOMPARE(page.monitor.batchDone, 52);
        // Ten estimates are needed before one is shown: files 10 and 11 of 12... only once.
        QCOMPARE(page.monitor.timeLeft.size(), 1);
        QVERIFY(QRegularExpression("^\\d\\d:\\d\\d:\\d0$").match(page.monitor.timeLeft.first()).hasMatch());

        // Suspension skips count as done in a batch as well.
        Page stopped;
        stopped.Add("a.png");
        stopped.monitor.batchTotal = 10;
        stopped.monitor.SetCancel(true);
        QVERIFY(stopped.Run(false));
        QCOMPARE(stopped.monitor.batchDone, 1);
        QCOMPARE(stopped.result.skipCount, 1u);
    }
};

QTEST_GUILESS_MAIN(TestProcessor)
#include "tst_processor.moc"
