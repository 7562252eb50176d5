// One instance per executable path: the protocol in-process, then the real program started
// twice (and after a crash) from a private copy with its own settings folder.

#include "app/singleinstance.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLocalServer>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <QTest>
#include <QWidget>

#include <atomic>
#include <thread>

#ifdef Q_OS_UNIX
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#endif

namespace {

// Stands in for the main window: counts the presses of its run button.
class FakeWindow : public QWidget
{
    Q_OBJECT
public:
    int runs = 0;
public slots:
    void on_runPushButton_clicked() { ++runs; }
};

QString UniqueName(const char* tag)
{
    return QStringLiteral("dravik-test-%1-%2").arg(QLatin1String(tag)).arg(QCoreApplication::applicationPid());
}

// Runs the client side on its own thread, as a second process would, while this thread's event
// loop lets the server answer.
bool NotifyFromThread(const QString& name, const QString& forwardSwitch, QString& reply)
{
    std::atomic<bool> finished {false};
    bool answered = false;
    QString received;
    std::thread client([&] {
        answered = NotifyRunningInstance(name, TranslateId("Name_Boot").toUtf8(), received, forwardSwitch);
        finished = true;
    });
    QElapsedTimer clock;
    clock.start();
    // The client gives up after at most four short waits; the deadline only guards the test.
    while (!finished && clock.elapsed() < 5000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    client.join();
    QCoreApplication::processEvents();
    reply = received;
    return answered;
}

int Count(const QByteArray& haystack, const QByteArray& needle)
{
    return int(haystack.count(needle));
}

} // namespace

class TestSingleInstance : public QObject
{
    Q_OBJECT

private slots:
    void namesFollowTheProgramPath();
    void serverAnswersAndPressesRunOnlyForTheSwitch();
    void staleNameIsTakenOverButALiveOneIsNot();
    void secondStartHandsOverToTheRealProgram();
};

void TestSingleInstance::namesFollowTheProgramPath()
{
    const QString name = ServerNameFor("/opt/dravik/dravik-desktop");
    QVERIFY(name.startsWith(QStringLiteral("dkd_qt_server")));
    const QString digest = name.mid(int(strlen("dkd_qt_server")));
    QCOMPARE(digest.size(), 32);
    QCOMPARE(digest, digest.toLower());
    QCOMPARE(ServerNameFor("/opt/dravik/dravik-desktop"), name);
    // Another folder, or another spelling of the same path, is another instance.
    QVERIFY(ServerNameFor("/opt/other/dravik-desktop") != name);
    QVERIFY(ServerNameFor("/opt/dravik/../dravik/dravik-desktop") != name);

    QCOMPARE(TranslateId("Name_Boot"), QStringLiteral("ID:Name_Boot"));
    QCOMPARE(TranslateId("ButtonOk"), QStringLiteral("ID:ButtonOk"));
}

void TestSingleInstance::serverAnswersAndPressesRunOnlyForTheSwitch()
{
    const QString name = UniqueName("protocol");
    InstanceServer server(name);
    QVERIFY(server.Listen());

    // No window yet: the answer says so, and a switch presses nothing.
    QString reply;
    QVERIFY(NotifyFromThread(name, QStringLiteral("-autostart"), reply));
    QCOMPARE(reply, QStringLiteral("ID:ButtonOk"));

    FakeWindow window;
    server.SetMainWindow(&window);
    QVERIFY(NotifyFromThread(name, QString(), reply));
    QCOMPARE(reply, QString::number(window.winId()));
    QTest::qWait(50);
    QCOMPARE(window.runs, 0);

    QVERIFY(NotifyFromThread(name, QStringLiteral("-autostart"), reply));
    QTRY_COMPARE(window.runs, 1);
    QVERIFY(NotifyFromThread(name, QStringLiteral("-autostart2"), reply));
    QCOMPARE(reply, QString::number(window.winId()));
    QTest::qWait(100);
    QCOMPARE(window.runs, 1);

    // Nobody listening: no answer, quickly.
    QVERIFY(!NotifyFromThread(UniqueName("nobody"), QString(), reply));
}

void TestSingleInstance::staleNameIsTakenOverButALiveOneIsNot()
{
    const QString name = UniqueName("stale");
    {
        InstanceServer live(name);
        QVERIFY(live.Listen());
        // A second server must not steal a name that a live instance serves.
        InstanceServer intruder(name);
        QVERIFY(!intruder.Listen());
        FakeWindow window;
        live.SetMainWindow(&window);
        QString reply;
        QVERIFY(NotifyFromThread(name, QStringLiteral("-autostart"), reply));
        QTRY_COMPARE(window.runs, 1);
    }

#ifdef Q_OS_UNIX
    // What a crashed instance leaves behind: a socket file that nobody accepts on.
    const QByteArray path = QFile::encodeName(QDir::tempPath() + QLatin1Char('/') + name);
    QFile::remove(QString::fromLocal8Bit(path));
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    QVERIFY(fd >= 0);
    sockaddr_un address {};
    address.sun_family = AF_UNIX;
    QVERIFY(size_t(path.size()) < sizeof(address.sun_path));
    memcpy(address.sun_path, path.constData(), size_t(path.size()));
    QCOMPARE(::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    ::close(fd);
    QVERIFY(QFile::exists(QString::fromLocal8Bit(path)));

    InstanceServer revived(name);
    QVERIFY(revived.Listen());
    FakeWindow window;
    revived.SetMainWindow(&window);
    QString reply;
    QVERIFY(NotifyFromThread(name, QStringLiteral("/autostart"), reply));
    QTRY_COMPARE(window.runs, 1);
#endif
}

void TestSingleInstance::secondStartHandsOverToTheRealProgram()
{
    const QString built = QStringLiteral(DRAVIK_DESKTOP_PROGRAM);
    if (!QFile::exists(built))
        QSKIP("dravik-desktop is not built");

    // A private copy: its own server name (the path differs), an engine file beside it (only its
    // presence is checked at start-up) and its own settings folder.
    QTemporaryDir folder;
    QVERIFY(folder.isValid());
    const QString program = folder.filePath(QStringLiteral("dravik-desktop"));
    QVERIFY(QFile::copy(built, program));
    QFile engine(folder.filePath(QStringLiteral("dravik.bin")));
    QVERIFY(engine.open(QIODevice::WriteOnly));
    engine.close();
    QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("data")));

    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    environment.insert(QStringLiteral("XDG_DATA_HOME"), folder.filePath(QStringLiteral("data")));
    environment.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("*.debug=true"));

    QByteArray firstLog;
    auto startInstance = [&](QProcess& process, QByteArray& log, const QStringList& arguments) {
        process.setProcessEnvironment(environment);
        process.setProcessChannelMode(QProcess::MergedChannels);
        connect(&process, &QProcess::readyRead, &process, [&] { log += process.readAll(); });
        process.start(program, arguments);
        return process.waitForStarted(5000);
    };
    auto secondStart = [&](const QStringList& arguments, QByteArray& log) {
        QProcess second;
        second.setProcessEnvironment(environment);
        second.setProcessChannelMode(QProcess::MergedChannels);
        second.start(program, arguments);
        const bool done = second.waitForFinished(10000);
        log = second.readAll();
        if (!done)
            second.kill();
        return done && second.exitStatus() == QProcess::NormalExit ? second.exitCode() : -1;
    };

    QProcess first;
    QVERIFY(startInstance(first, firstLog, {}));
    QTRY_VERIFY_WITH_TIMEOUT(firstLog.contains("==========FirstShow E=========="), 20000);
    QCOMPARE(Count(firstLog, "on_runPushButton_clicked S"), 0);

    QByteArray secondLog;
    QCOMPARE(secondStart({}, secondLog), 0);
    QVERIFY2(!secondLog.contains("FirstShow"), secondLog.constData());
    QTRY_COMPARE(Count(firstLog, "instance message : \"ID:Name_Boot\""), 1);

    QCOMPARE(secondStart({QStringLiteral("-autostart")}, secondLog), 0);
    QTRY_COMPARE(Count(firstLog, "on_runPushButton_clicked S"), 1);
    QCOMPARE(secondStart({QStringLiteral("/autostart")}, secondLog), 0);
    QTRY_COMPARE(Count(firstLog, "on_runPushButton_clicked S"), 2);

    int boots = Count(firstLog, "instance message : \"ID:Name_Boot\"");
    for (const char* other : {"autostart", "-AUTOSTART"}) {
        QCOMPARE(secondStart({QString::fromLatin1(other)}, secondLog), 0);
        ++boots;
        QTRY_COMPARE(Count(firstLog, "instance message : \"ID:Name_Boot\""), boots);
    }
    // The switches that did reach the first instance have been handled by now.
    QTRY_VERIFY(firstLog.contains("instance message : \"-AUTOSTART\""));
    QVERIFY(!firstLog.contains("instance message : \"autostart\""));
    QCOMPARE(Count(firstLog, "on_runPushButton_clicked S"), 2);

    // A crash leaves the name behind; the next start takes it over and, started with the switch,
    // presses its own run button once after the first show.
    first.kill();
    QVERIFY(first.waitForFinished(5000));
    QProcess third;
    QByteArray thirdLog;
    QVERIFY(startInstance(third, thirdLog, {QStringLiteral("/autostart")}));
    QTRY_VERIFY_WITH_TIMEOUT(thirdLog.contains("==========FirstShow E=========="), 20000);
    QVERIFY2(thirdLog.contains("stale server removed"), thirdLog.constData());
    QTRY_COMPARE(Count(thirdLog, "on_runPushButton_clicked S"), 1);

    // And it is the instance now.
    QCOMPARE(secondStart({}, secondLog), 0);
    QTRY_VERIFY(thirdLog.contains("instance message : \"ID:Name_Boot\""));

    third.kill();
    third.waitForFinished(5000);
    QLocalServer::removeServer(ServerNameFor(QFile::encodeName(program)));
}

QTEST_MAIN(TestSingleInstance)
#include "tst_singleinstance.moc"
