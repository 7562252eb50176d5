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
#include <functional>
#include <memory>

class TestRunDialogs : public QObject
{
    Q_OBJECT

private slots:
    // The stop question holds every worker until it is answered; only Yes stops the run.
    void stopQuestion_data()
    {
        QTest::addColumn<bool>("marquee");
        QTest::addColumn<QString>("answer");
        QTest::newRow("progress yes") << false << "はい";
        QTest::newRow("progress no") << false << "いいえ";
        QTest::newRow("search yes") << true << "はい";
        QTest::newRow("search no") << true << "いいえ";
    }
    void stopQuestion()
    {
        QFETCH(bool, marquee);
        QFETCH(QString, answer);
        const bool continues = answer == QStringLiteral("いいえ");
        ProgressBarDialog progress(nullptr, false);
        MarqueeProgressBar search;
        QDialog* dialog = marquee ? static_cast<QDialog*>(&search) : &progress;
        progress.SetQuestionButtonTexts(QStringLiteral("はい"), QStringLiteral("いいえ"));
        search.SetQuestionButtonTexts(QStringLiteral("はい"), QStringLiteral("いいえ"));
        dialog->show();

        std::atomic<bool> passed{false};
        std::atomic<bool> continued{false};
        std::unique_ptr<QThread> worker(QThread::create([&] {
            if (marquee) {
                search.WaitWhileQuestionShowing();
                continued = search.IsContinue();
            } else {
                progress.WaitWhileQuestionShowing();
                continued = progress.IsContinue();
            }
            passed = true;
        }));
        QString question;
        bool heldWhileOpen = false;
        std::function<void()> answerWhenAsked = [&] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (box == nullptr) {
                QTimer::singleShot(10, answerWhenAsked);
                return;
            }
            question = box->text();
            worker->start();
            QThread::msleep(50);
            heldWhileOpen = !passed;
            for (QAbstractButton* button : box->buttons())
                if (button->text() == answer)
                    button->click();
        };
        QTimer::singleShot(0, answerWhenAsked);
        auto* stop = dialog->findChild<QPushButton*>(QStringLiteral("pushButton"));
        stop->click();

        QCOMPARE(question, QStringLiteral("Do you want to cancel?"));
        QVERIFY(heldWhileOpen);
        QVERIFY(worker->wait(5000));
        QCOMPARE(continued.load(), continues);
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

        // Through the interfaces, as the search and the processor call them.
        ProcessMonitor* processor = &progress;
        SearchMonitor* searcher = &search;
        std::unique_ptr<QThread> worker(QThread::create([&] {
            processor->SetProgress(30);
            processor->SetInputFileName(QStringLiteral("C:\\in\\a.jpg"));
            processor->SetFraction(3);
            if (marquee)
                searcher->ProgressDone();
            else
                processor->ProgressEnd();
            processor->SetFraction(9);
        }));
        QTimer::singleShot(0, [&] { worker->start(); });
        QCOMPARE(dialog->exec(), int(QDialog::Accepted));
        QVERIFY(worker->wait(5000));
        QCoreApplication::processEvents();
        if (marquee)
            return;
        const auto label = [&](const char* name) { return progress.findChild<QLabel*>(QLatin1String(name))->text(); };
        QCOMPARE(label("progressLabel"), QStringLiteral("30"));
        QCOMPARE(label("labelInputPath"), QStringLiteral("C:\\in\\a.jpg"));
        QCOMPARE(label("fileNowCountLabel"), QStringLiteral("3"));
        QCOMPARE(progress.findChild<QProgressBar*>(QStringLiteral("progressBar"))->value(), 3);

    }

    // Once the end has been signalled, the stop button closes at once without a question.
    void stopAfterEndCloses()
    {
        ProgressBarDialog progress(nullptr, false);
        MarqueeProgressBar search;
        for (QDialog* dialog : {static_cast<QDialog*>(&progress), static_cast<QDialog*>(&search)}) {
            dialog->show();
            QMetaObject::invokeMethod(dialog, dialog == &search ? "ProgressEnd" : "ProgressDone");
            dialog->show();
            dialog->findChild<QPushButton*>(QStringLiteral("pushButton"))->click();
            QCoreApplication::processEvents();
            QVERIFY(!dialog->isVisible());
        }
    }
};

QTEST_MAIN(TestRunDialogs)
#include "tst_rundialogs.moc"
