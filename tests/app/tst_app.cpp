// The application's frame: themes, the single-instance protocol and About.

#include "app/aboutdialog.h"
#include "app/singleinstance.h"
#include "app/themes.h"
#include "tests/mainwindow/modalscript.h"
#include "widgets/dk_label.h"

#include <QLabel>
#include <QPushButton>
#include <QElapsedTimer>
#include <QTest>

#include <thread>

namespace {

QString ReadText(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// Stands in for the main window: counts the presses of its run button.
class FakeWindow : public QWidget
{
    Q_OBJECT
public:
    int runs = 0;
public slots:
    void on_runPushButton_clicked() { ++runs; }
};

// The client side on its own thread, as a second process would, while this thread's event
// loop lets the server answer; empty when nobody answered.
QString Notify(const QString& name, const QString& forwardSwitch)
{
    QString reply;
    bool answered = false;
    std::atomic<bool> finished{false};
    std::thread client([&] {
        answered = NotifyRunningInstance(name, TranslateId("Name_Boot").toUtf8(), reply, forwardSwitch);
        finished = true;
    });
    QElapsedTimer clock;
    clock.start();
    // The client gives up after a few short waits; the deadline only guards the test.
    while (!finished && clock.elapsed() < 5000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    client.join();
    QCoreApplication::processEvents();
    return answered ? reply : QString();
}

} // namespace

class TestApp : public QObject
{
    Q_OBJECT

private slots:
    // The dark theme is the dark sheet and its overwrite, the light theme its own sheet; the
    // run button is teal in both, and a missing style falls back to Fusion.
    void themesApplyTheirSheets()
    {
        const QString dark = ReadText(":/lumenodarkstyle/lumeno_dark.qss");
        const QString overwrite = ReadText(":/lumenodarkstyle/lumeno_dark_DKDesktop_Overwrite.qss");
        QVERIFY(!dark.isEmpty() && !overwrite.isEmpty());
        QVERIFY(ApplyTheme(true));
        QCOMPARE(qApp->styleSheet(), dark + overwrite);
        QVERIFY(!ApplyTheme(false));
        QCOMPARE(qApp->styleSheet(), ReadText(":/lumenowhitestyle/lumeno_white_DKesktop.qss"));
        for (const bool isDark : {true, false}) {
            ApplyTheme(isDark);
            QPushButton run(QStringLiteral("軽量化スタート"));
            run.setAccessibleName(QStringLiteral("runButton"));
            run.resize(160, 40);
            run.ensurePolished();
            const QColor c = run.grab().toImage().pixelColor(80, 30);
            QVERIFY2(c.green() > c.red() + 40 && c.blue() > c.red() + 30, qPrintable(c.name()));
        }
        QCOMPARE(SetApplicationStyle(QStringLiteral("no-such-style")).toLower(), QStringLiteral("fusion"));
        qApp->setStyleSheet(QString());
    }

    // One server per program path; it answers a second start, presses run only for the
    // switch, and a live name cannot be taken over.
    void secondStartIsHandedToTheFirst()
    {
        const QString name = ServerNameFor("/opt/dravik/dravik-desktop");
        QVERIFY(name.startsWith("dkd_qt_server") && name.size() == 13 + 32);
        QVERIFY(ServerNameFor("/opt/other/dravik-desktop") != name);
        QCOMPARE(TranslateId("ButtonOk"), QStringLiteral("ID:ButtonOk"));

        const QString unique = QStringLiteral("dravik-test-%1").arg(QCoreApplication::applicationPid());
        InstanceServer server(unique);
        QVERIFY(server.Listen());
        QVERIFY(!InstanceServer(unique).Listen());
        QCOMPARE(Notify(unique, "-autostart"), QStringLiteral("ID:ButtonOk"));  // no window yet
        FakeWindow window;
        server.SetMainWindow(&window);
        QCOMPARE(Notify(unique, QString()), QString::number(window.winId()));
        QCOMPARE(Notify(unique, "-autostart2"), QString::number(window.winId()));
        QCOMPARE(Notify(unique, "-autostart"), QString::number(window.winId()));
        QTRY_COMPARE(window.runs, 1);
        QCOMPARE(Notify(unique + "-nobody", QString()), QString());
    }

    // About: versions filled at the first show; only Escape and OK close it; a product page
    // that cannot open says so.
    void aboutDialog()
    {
        AboutDialog dialog;
        dialog.SetEngineVersion(QStringLiteral("3.2.1"));
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        QCOMPARE(dialog.findChild<QLabel*>("label_4")->text(), QStringLiteral("Version " DRAVIK_APP_VERSION));
        QCOMPARE(dialog.findChild<QLabel*>("label_5")->text(), QStringLiteral("Version 3.2.1"));
        QTest::keyClick(&dialog, Qt::Key_Return);
        QVERIFY(dialog.isVisible());
        ModalScript closer;
        closer.Box();
        QTest::mouseClick(dialog.findChild<DK_Label*>("label_6"), Qt::LeftButton);
        QTRY_COMPARE(closer.texts, QStringList{"URLを開くことができませんでした。"});
        QTest::keyClick(&dialog, Qt::Key_Escape);
        QVERIFY(!dialog.isVisible());
        dialog.SetEngineVersion(QStringLiteral("9.9.9"));
        dialog.show();
        QCOMPARE(dialog.findChild<QLabel*>("label_5")->text(), QStringLiteral("Version 3.2.1"));
        dialog.findChild<QPushButton*>("pushButton")->click();
        QCOMPARE(dialog.result(), int(QDialog::Accepted));
    }
};

QTEST_MAIN(TestApp)
#include "tst_app.moc"
