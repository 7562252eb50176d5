#include "dialogs/marqueeprogressbar.h"
#include "dialogs/progressbardialog.h"

#include <QAbstractButton>
#include <QApplication>
#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <atomic>
#include <memory>

namespace {

// Answers the next stop question by the button with the given text. While the question is
// open it starts a worker that must wait on the question, and records whether it did.
struct QuestionAnswerer
{
    QString answer;
    std::function<void()> whileOpen;
    QString questionText;

    void Arm()
    {
        QTimer::singleShot(0, [this] { Poll(); });
    }

    void Poll()
    {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (box == nullptr) {
            QTimer::singleShot(10, [this] { Poll(); });
            return;
        }
        questionText = box->text();
        if (whileOpen)
            whileOpen();
        for (QAbstractButton* button : box->buttons())
            if (button->text() == answer)
                button->click();
    }
};

// A worker that waits on the monitor's question, then records whether it may go on.
struct WaitingWorker
{
    std::atomic<bool> passed{false};
    std::atomic<bool> continued{false};
    std::unique_ptr<QThread> thread;

    template <typename Monitor>
    void Start(const Monitor* monitor)
    {
        thread.reset(QThread::create([this, monitor] {
            monitor->WaitWhileQuestionShowing();
            continued = monitor->IsContinue();
            passed = true;
        }));
        thread->start();
    }
};

} // namespace

class TestRunDialogs : public QObject
{
    Q_OBJECT

private slots:
    // The stop question holds every worker until it is answered; only Yes stops the run.
    void stopQuestion_data()
    {
        QTest::addColumn<bool>("marquee");
        QTest::addColumn<QString>("answer");
        QTest::addColumn<bool>("continues");
        QTest::newRow("progress yes") << false << "はい" << false;
        QTest::newRow("progress no") << false << "いいえ" << true;
        QTest::newRow("search yes") << true << "はい" << false;
        QTest::newRow("search no") << true << "いいえ" << true;
    }
    void stopQuestion()
    {
        QFETCH(bool, marquee);
        QFETCH(QString, answer);
        QFETCH(bool, continues);
        ProgressBarDialog progress(nullptr, false);
        MarqueeProgressBar search;
        QDialog* dialog = marquee ? static_cast<QDialog*>(&search) : &progress;
        progress.SetQuestionButtonTexts(QStringLiteral("はい"), QStringLiteral("いいえ"));
        search.SetQuestionButtonTexts(QStringLiteral("はい"), QStringLiteral("いいえ"));
        dialog->show();

        WaitingWorker worker;
        bool waitedWhileOpen = false;
        QuestionAnswerer answerer{answer, {}, {}};
        answerer.whileOpen = [&] {
            if (marquee)
                worker.Start(&search);
            else
                worker.Start(&progress);
            QThread::msleep(50);
            waitedWhileOpen = !worker.passed;
        };
        answerer.Arm();
        auto* stop = dialog->findChild<QPushButton*>(QStringLiteral("pushButton"));
        stop->click();

        QCOMPARE(answerer.questionText, QStringLiteral("Do you want to cancel?"));
        QVERIFY(waitedWhileOpen);
        QVERIFY(worker.thread->wait(5000));
        QCOMPARE(worker.continued.load(), continues);
        QCOMPARE(stop->isEnabled(), continues);
        QCOMPARE(stop->text() == QStringLiteral("中断処理中…"), !continues);
        QVERIFY(dialog->isVisible());
    }

    // Neither the close button nor Escape ends a running dialog; the end signal from a worker
    // does, and fraction updates that arrive after it are dropped.
    void closesOnlyAtTheEnd_data()
    {
        QTest::addColumn<bool>("marquee");
        QTest::newRow("progress") << false;
        QTest::newRow("search") << true;
    }
    void closesOnlyAtTheEnd()
    {
        QFETCH(bool, marquee);
        ProgressBarDialog progress(nullptr, false);
        MarqueeProgressBar search;
        QDialog* dialog = marquee ? static_cast<QDialog*>(&search) : &progress;
        progress.SetMaxProgress(10);
        progress.StartTimer();
        dialog->show();
        QVERIFY(QTest::qWaitForWindowExposed(dialog));
        dialog->close();
        QTest::keyClick(dialog, Qt::Key_Escape);
        QCoreApplication::processEvents();
        QVERIFY(dialog->isVisible());

        std::unique_ptr<QThread> worker(QThread::create([&] {
            progress.SetProgress(30);
            progress.SetInputFileName(QStringLiteral("C:\\in\\a.jpg"));
            emit progress.SetFraction(3);
            if (marquee)
                emit search.ProgressDone();
            else
                emit progress.ProgressEnd();
            emit progress.SetFraction(9);
        }));
        QTimer::singleShot(0, [&] { worker->start(); });
        QCOMPARE(dialog->exec(), int(QDialog::Accepted));
        QVERIFY(worker->wait(5000));
        QCoreApplication::processEvents();
        if (!marquee) {
            QCOMPARE(progress.findChild<QLabel*>(QStringLiteral("progressLabel"))->text(), QStringLiteral("30"));
            QCOMPARE(progress.findChild<QLabel*>(QStringLiteral("labelInputPath"))->text(),
                     QStringLiteral("C:\\in\\a.jpg"));
            QCOMPARE(progress.findChild<QProgressBar*>(QStringLiteral("progressBar"))->value(), 3);
            QCOMPARE(progress.findChild<QLabel*>(QStringLiteral("fileNowCountLabel"))->text(), QStringLiteral("3"));
        }
        // Once ended, the stop button closes at once without a question.
        dialog->show();
        dialog->findChild<QPushButton*>(QStringLiteral("pushButton"))->click();
        QCoreApplication::processEvents();
        QVERIFY(!dialog->isVisible());
    }
};

QTEST_MAIN(TestRunDialogs)
#include "tst_rundialogs.moc"
