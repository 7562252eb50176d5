// The engine locator and the version query, run against this very program acting as a stand-in
// engine: started with "-version", it behaves as DRAVIK_TEST_ENGINE_MODE says.

#include "pipeline/enginelocator.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <cstdio>
#include <cstring>

namespace {

const char* const kModeVariable = "DRAVIK_TEST_ENGINE_MODE";

int RunAsStandInEngine(const QByteArray& mode)
{
    if (mode == "good")
        std::fputs("Dravik  Version 3.2.1 (libvips 8.14)\n", stdout);
    else if (mode == "line-end")
        std::fputs("Dravik  Version 3.2\r\n", stdout);
    else if (mode == "leading-line")
        std::fputs("\nDravik  Version 3.2.1\n", stdout);
    else if (mode == "silent")
        ;
    else if (mode == "fails") {
        std::fputs("Dravik  Version 3.2.1\n", stdout);
        return 3;
    } else if (mode == "hangs") {
        std::fflush(stdout);
        QThread::sleep(60);
    }
    std::fflush(stdout);
    return 0;
}

} // namespace

class TestEngineLocator : public QObject
{
    Q_OBJECT

private slots:
    void parsesOnlyTheExactPrefix_data();
    void parsesOnlyTheExactPrefix();
    void findsTheEngineBesideTheProgram();
    void queriesARealProcess_data();
    void queriesARealProcess();
    void reportsEachFailureOnce_data();
    void reportsEachFailureOnce();
};

void TestEngineLocator::parsesOnlyTheExactPrefix_data()
{
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<QString>("version");
    QTest::newRow("number then text") << QByteArray("Dravik  Version 3.2.1 and more") << "3.2.1";
    QTest::newRow("number at the end") << QByteArray("Dravik  Version 3.2") << "3.2";
    QTest::newRow("line end after number") << QByteArray("Dravik  Version 3.2\n") << "3.2";
    QTest::newRow("one blank before Version") << QByteArray("Dravik Version 3.2.1") << "";
    QTest::newRow("two blanks before number") << QByteArray("Dravik  Version  3.2.1") << "";
    QTest::newRow("nothing after prefix") << QByteArray("Dravik  Version ") << "";
    QTest::newRow("leading blank") << QByteArray(" Dravik  Version 3.2.1") << "";
    QTest::newRow("non-ASCII version kept whole") << QByteArray("Dravik  Version 3.2β next") << "3.2β";
}

void TestEngineLocator::parsesOnlyTheExactPrefix()
{
    QFETCH(QByteArray, output);
    QFETCH(QString, version);
    QCOMPARE(ParseEngineVersion(output), version);
}

void TestEngineLocator::findsTheEngineBesideTheProgram()
{
    const QString here = QCoreApplication::applicationDirPath();
    QCOMPARE(EnginePathInFolder(here), QDir::toNativeSeparators(here + QStringLiteral("/dravik.bin")));
    // Mixed separators come out native.
    QCOMPARE(EnginePathInFolder(QStringLiteral("a\\b/c")),
             QDir::toNativeSeparators(QStringLiteral("a/b/c/dravik.bin")));

    // FindEngine looks beside the running program, so a copy of this program runs it in a
    // private folder: nothing there, then a folder of that name, then a file.
    QTemporaryDir folder;
    QVERIFY(folder.isValid());
    const QString copy = folder.filePath(QFileInfo(QCoreApplication::applicationFilePath()).fileName());
    QVERIFY(QFile::copy(QCoreApplication::applicationFilePath(), copy));
    const QString expected = QDir::toNativeSeparators(folder.filePath(QStringLiteral("dravik.bin")));
    auto findFromCopy = [&] {
        QProcess process;
        process.start(copy, {QStringLiteral("-find-engine")});
        if (!process.waitForFinished(10000))
            return QString();
        return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
    };

    QCOMPARE(findFromCopy(), QStringLiteral("missing ") + expected);
    // A folder of that name counts as present (starting it fails later with its own message).
    QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("dravik.bin")));
    QCOMPARE(findFromCopy(), QStringLiteral("found ") + expected);
    QVERIFY(QDir(folder.path()).rmdir(QStringLiteral("dravik.bin")));
    QFile engine(expected);
    QVERIFY(engine.open(QIODevice::WriteOnly));
    engine.close();
    QCOMPARE(findFromCopy(), QStringLiteral("found ") + expected);
}

// The output's reading is covered above; these rows are about the process: its output reaches
// the parser whole, and a failing exit empties the answer.
void TestEngineLocator::queriesARealProcess_data()
{
    QTest::addColumn<QByteArray>("mode");
    QTest::addColumn<QString>("version");
    QTest::newRow("good") << QByteArray("good") << "3.2.1";
    QTest::newRow("line end") << QByteArray("line-end") << "3.2";
    QTest::newRow("missing line") << QByteArray("silent") << "";
    QTest::newRow("line not first") << QByteArray("leading-line") << "";
    QTest::newRow("non-zero exit") << QByteArray("fails") << "";
}

void TestEngineLocator::queriesARealProcess()
{
    QFETCH(QByteArray, mode);
    QFETCH(QString, version);
    qputenv(kModeVariable, mode);
    EngineVersionQuery query(QCoreApplication::applicationFilePath());
    QSignalSpy errors(&query, &EngineVersionQuery::errorOccurred);
    QCOMPARE(query.Run(5000), version);
    QVERIFY(!query.TimedOut());
    QCOMPARE(errors.count(), 0);
    QCOMPARE(query.ExitCode(), mode == "fails" ? 3 : 0);
}

void TestEngineLocator::reportsEachFailureOnce_data()
{
    QTest::addColumn<QByteArray>("mode");
    QTest::addColumn<bool>("startable");
    QTest::addColumn<int>("boxOpenMs");
    QTest::addColumn<QProcess::ProcessError>("error");
    // boxOpenMs: how long the error handler keeps its own event loop running (a warning box the
    // user leaves open), here always past the query's limit.
    QTest::newRow("hanging engine") << QByteArray("hangs") << true << 0 << QProcess::Timedout;
    QTest::newRow("hanging engine, box left open") << QByteArray("hangs") << true << 900 << QProcess::Timedout;
    QTest::newRow("engine cannot start") << QByteArray() << false << 0 << QProcess::FailedToStart;
    QTest::newRow("engine cannot start, box left open") << QByteArray() << false << 900 << QProcess::FailedToStart;
}

void TestEngineLocator::reportsEachFailureOnce()
{
    QFETCH(QByteArray, mode);
    QFETCH(bool, startable);
    QFETCH(int, boxOpenMs);
    QFETCH(QProcess::ProcessError, error);
    constexpr int kLimitMs = 400;

    qputenv(kModeVariable, mode);
    // A folder in place of the engine passes the locator but cannot be started.
    QTemporaryDir folder;
    QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("dravik.bin")));
    EngineVersionQuery query(startable ? QCoreApplication::applicationFilePath() : EnginePathInFolder(folder.path()));

    // The handler does what the window does: cancel the wait, then show a box (a nested loop).
    QList<QProcess::ProcessError> errors;
    QList<int> exitCodes;
    connect(&query, &EngineVersionQuery::errorOccurred, this, [&](QProcess::ProcessError e, int exitCode) {
        errors.append(e);
        exitCodes.append(exitCode);
        query.Cancel();
        if (boxOpenMs > 0) {
            QEventLoop box;
            QTimer::singleShot(boxOpenMs, &box, &QEventLoop::quit);
            box.exec();
        }
    });
    // Timers keep firing while the query waits: the caller's window would keep painting.
    int ticks = 0;
    QTimer tick;
    connect(&tick, &QTimer::timeout, this, [&] { ++ticks; });
    tick.start(50);

    QElapsedTimer clock;
    clock.start();
    QCOMPARE(query.Run(kLimitMs), QString());
    const qint64 elapsed = clock.elapsed();

    QCOMPARE(errors, QList<QProcess::ProcessError>{error});
    QCOMPARE(query.TimedOut(), error == QProcess::Timedout);
    QVERIFY2(elapsed < 4000 + boxOpenMs, qPrintable(QString::number(elapsed)));
    if (error == QProcess::Timedout) {
        QVERIFY2(elapsed >= kLimitMs - 50, qPrintable(QString::number(elapsed)));
        QVERIFY2(ticks >= 5, qPrintable(QString::number(ticks)));
    } else {
        QCOMPARE(EngineStartFailureText(error, exitCodes.at(0)),
                 QStringLiteral("Could not start program.\n\n  FailedToStart (exec)  : %1").arg(exitCodes.at(0)));
    }
}

int main(int argc, char** argv)
{
    if (argc == 2 && std::strcmp(argv[1], "-version") == 0)
        return RunAsStandInEngine(qgetenv(kModeVariable));
    if (argc == 2 && std::strcmp(argv[1], "-find-engine") == 0) {
        QCoreApplication app(argc, argv);
        QString path;
        const bool found = FindEngine(nullptr, path);
        std::fputs(qPrintable((found ? QStringLiteral("found ") : QStringLiteral("missing ")) + path + QLatin1Char('\n')), stdout);
        return 0;
    }
    // Without a widget application the warning boxes go to the log, so nothing waits for a click.
    QCoreApplication app(argc, argv);
    TestEngineLocator test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_enginelocator.moc"
