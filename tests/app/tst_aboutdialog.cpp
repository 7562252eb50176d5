// The About dialog: versions filled at the first show only, the keys and close requests it
// accepts, and the logo link when the product page cannot be opened.

#include "app/aboutdialog.h"
#include "tests/mainwindow/modalcloser.h"
#include "widgets/dk_label.h"

#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

class TestAboutDialog : public QObject
{
    Q_OBJECT

private slots:
    void versionsAreFilledAtTheFirstShowOnly();
    void onlyEscapeAndOkClose();
    void logoReportsAPageThatCannotOpen();
};

void TestAboutDialog::versionsAreFilledAtTheFirstShowOnly()
{
    AboutDialog dialog;
    auto* application = dialog.findChild<QLabel*>(QStringLiteral("label_4"));
    auto* engine = dialog.findChild<QLabel*>(QStringLiteral("label_5"));
    QVERIFY(application && engine);
    QCOMPARE(dialog.size(), QSize(393, 186));
    QCOMPARE(dialog.minimumSize(), dialog.maximumSize());
    QCOMPARE(engine->text(), QStringLiteral("Version 00.00.00"));

    // The engine's version unknown: nothing after "Version ".
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    QCOMPARE(application->text(), QStringLiteral("Version %1").arg(QStringLiteral(DRAVIK_APP_VERSION)));
    QCOMPARE(engine->text(), QStringLiteral("Version "));

    // Showing the same dialog again keeps the texts of its first show.
    dialog.hide();
    dialog.SetEngineVersion(QStringLiteral("9.9.9"));
    dialog.show();
    QCOMPARE(engine->text(), QStringLiteral("Version "));

    // A new dialog shows the version it was given.
    AboutDialog again;
    again.SetEngineVersion(QStringLiteral("3.2.1"));
    again.show();
    QVERIFY(QTest::qWaitForWindowExposed(&again));
    QCOMPARE(again.findChild<QLabel*>(QStringLiteral("label_5"))->text(), QStringLiteral("Version 3.2.1"));
}

void TestAboutDialog::onlyEscapeAndOkClose()
{
    AboutDialog dialog;
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    QTest::keyClick(&dialog, Qt::Key_Return);
    QTest::keyClick(&dialog, Qt::Key_A);
    QVERIFY(dialog.isVisible());
    QTest::keyClick(&dialog, Qt::Key_Escape);
    QVERIFY(!dialog.isVisible());
    QCOMPARE(dialog.result(), int(QDialog::Rejected));

    dialog.show();
    dialog.findChild<QPushButton*>(QStringLiteral("pushButton"))->click();
    QVERIFY(!dialog.isVisible());
    QCOMPARE(dialog.result(), int(QDialog::Accepted));

    // While OK is disabled neither Escape nor a close request ends the dialog.
    dialog.show();
    dialog.findChild<QPushButton*>(QStringLiteral("pushButton"))->setEnabled(false);
    QTest::keyClick(&dialog, Qt::Key_Escape);
    QVERIFY(!dialog.close());
    QVERIFY(dialog.isVisible());
    dialog.findChild<QPushButton*>(QStringLiteral("pushButton"))->setEnabled(true);
    QVERIFY(dialog.close());
}

void TestAboutDialog::logoReportsAPageThatCannotOpen()
{
    // Test programs run from a folder without the manual, so the product page cannot open.
    AboutDialog dialog;
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    auto* logo = dialog.findChild<DK_Label*>(QStringLiteral("label_6"));
    QVERIFY(logo);
    QVERIFY(logo->HandCursor());
    QVERIFY(AboutDialog::ProductPageUrl().isLocalFile());

    ModalCloser closer;
    QTest::mouseClick(logo, Qt::LeftButton);
    QTRY_COMPARE(closer.texts, QStringList{"URLを開くことができませんでした。"});
    QCOMPARE(closer.titles, QStringList{"Dravik for Desktop"});
    QVERIFY(dialog.isVisible());
}

QTEST_MAIN(TestAboutDialog)
#include "tst_aboutdialog.moc"
