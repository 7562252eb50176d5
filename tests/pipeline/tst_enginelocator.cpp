// The engine locator and the version query, run against this very program acting as a stand-in
// engine: started with "-version", it behaves as DRAVIK_TEST_ENGINE_MODE says.

#include "pipeline/enginelocator.h"

#include <QtTest>

#include <cstring>

namespace {

const char *const kModeVariable = "DRAVIK_TEST_ENGINE_MODE";

int RunAsStandInEngine(const QByteArray &mode)
{
    if (mode == "hangs")
        QThread::sleep(60);
    if (mode == "good" || mode == "fails")
        std::fputs("Dravik  Version 3.2.1 (libvips 8.14)\n", stdout);
    else if (mode == "leading-line")
        std::fputs("\nDravik  Version 3.2.1\n", stdout);
    return mode == "fails" ? 3 : 0;
}

} // namespace

class TestEngineLocator : public QObject
{
    Q_OBJECT

private slots:
    void parsesOnlyTheExactPrefix_data()
    {
        QTest::addColumn<QByteArray>("output");
        QTest::addColumn<QString>("version");
        QTest::newRow("number then text") << QByteArray("Dravik  Version 3.2.1 and more") << "3.2.1";
        QTest::newRow("line end after number") << QByteArray("Dravik  Version 3.2\r\n") << "3.2";
        QTest::newRow("one blank before Version") << QByteArray("Dravik Version 3.2.1") << "";
        QTest::newRow("two blanks before number") << QByteArray("Dravik  Version  3.2.1") << "";
        QTest::newRow("nothing after prefix") << QByteArray("Dravik  Version ") << "";
        QTest::newRow("leading blank") << QByteArray(" Dravik  Version 3.2.1") << "";
        QTest::newRow("non-ASCII version kept whole") << QByteArray("Dravik  Version 3.2β next") << "3.2β";
    }

    // The version is read only from an exact first-line prefix.
    void parsesOnlyTheExactPrefix()
    {
        QFETCH(QByteArray, output);
        QFETCH(QString, version);
        QCOMPARE(ParseEngineVersion(output), version);
    }

    void queryAnswersOrReportsOneFailure_data()
    {
        QTest::addColumn<QByteArray>("mode");     // empty: an engine that cannot start
        QTest::addColumn<int>("boxOpenMs");       // how long the error handler's box stays open
        QTest::addColumn<QString>("version");
        QTest::newRow("good") << QByteArray("good") << 0 << "3.2.1";
        QTest::newRow("line not first") << QByteArray("leading-line") << 0 << "";
        QTest::newRow("non-zero exit") << QByteArray("fails") << 0 << "";
        QTest::newRow("hanging engine") << QByteArray("hangs") << 0 << "";
        QTest::newRow("hanging engine, box left open") << QByteArray("hangs") << 900 << "";
        QTest::newRow("cannot start") << QByteArray() << 0 << "";
        QTest::newRow("cannot start, box left open") << QByteArray() << 900 << "";
    }

    // A real process's output reaches the parser; a hang or a failed start gives exactly one
    // error (any other outcome none), even while its handler keeps a box (a nested event loop) open past the limit, and
    // the caller's timers keep running during the wait.
    void queryAnswersOrReportsOneFailure()
    {
        QFETCH(QByteArray, mode);
        QFETCH(int, boxOpenMs);
        QFETCH(QString, version);
        qputenv(kModeVariable, mode);
        QTemporaryDir folder;  // a folder in place of the engine passes the locator but cannot start
        QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("dravik.bin")));
        EngineVersionQuery query(mode.isEmpty() ? EnginePathInFolder(folder.path()) : QCoreApplication::applicationFilePath());
        QList<QProcess::ProcessError> seen;
        QString text;
        connect(&query, &EngineVersionQuery::errorOccurred, this, [&](QProcess::ProcessError e, int exitCode) {
            seen << e;
            text = EngineStartFailureText(e, exitCode);
            query.Cancel();
            QEventLoop box;
            QTimer::singleShot(boxOpenMs, &box, &QEventLoop::quit);
            box.exec();
        });
        int ticks = 0;
        QTimer tick;
        connect(&tick, &QTimer::timeout, this, [&] { ++ticks; });
        tick.start(50);
        QCOMPARE(query.Run(mode == "hangs" ? 400 : 10000), version);  // a loaded machine starts slowly
        QCOMPARE(seen.size(), int(mode == "hangs" || mode.isEmpty()));
        QCOMPARE(query.TimedOut(), mode == "hangs");
        if (mode == "hangs")
            QVERIFY2(ticks >= 5, qPrintable(QString::number(ticks)));
        if (mode.isEmpty())
            QVERIFY2(text.startsWith("Could not start program.\n\n  FailedToStart (exec)  : "), qPrintable(text));
        QCOMPARE(EnginePathInFolder(QStringLiteral("a\\b/c")), QDir::toNativeSeparators(QStringLiteral("a/b/c/dravik.bin")));
    }
};

int main(int argc, char **argv)
{
    if (argc == 2 && std::strcmp(argv[1], "-version") == 0)
        return RunAsStandInEngine(qgetenv(kModeVariable));
    // Without a widget application the warning boxes go to the log, so nothing waits for a click.
    QCoreApplication app(argc, argv);
    TestEngineLocator test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_enginelocator.moc"
