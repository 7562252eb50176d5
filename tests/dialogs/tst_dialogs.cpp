// The run's dialogs: the summary's texts, the progress and search dialogs as the workers see
// them, the batch page choice, and the result dialog's failure list and folder menu. The
// conflict list is shown through the run drivers.

#include "dialogs/batchsettingdialog.h"
#include "dialogs/marqueeprogressbar.h"
#include "dialogs/mytreewidget.h"
#include "dialogs/progressbardialog.h"
#include "dialogs/resultdialog.h"
#include "dialogs/resultsummary.h"
#include "pipeline/runrecords.h"
#include "pipeline/timeleft.h"

#include <QtTest>
#include <QtWidgets>

// How an entry is hit: a click on its box, a double click there, a click on its name, on the
// indentation left of it, or Space once a click on its name made it current.
enum Where { Box, DoubleBox, Name, Indent, Space };
using Clicks = QList<QPair<int, int>>;

static QPoint PointOn(QTreeWidget* tree, QTreeWidgetItem* item, int where)
{
    const QRect r = tree->visualItemRect(item);
    const int indicator = tree->style()->pixelMetric(QStyle::PM_IndicatorWidth, nullptr, tree);
    const int dx[] = {indicator / 2, indicator / 2, indicator + 18, -3, indicator + 18};
    return {r.left() + dx[where], r.center().y()};
}

// One letter per entry, root first: C checked, P partly, U unchecked.
static QString States(QTreeWidget* tree)
{
    QString out;
    for (QTreeWidgetItemIterator it(tree); *it; ++it)
        out += QStringLiteral("UPC").at((*it)->checkState(0));
    return out;
}

// Takes the addresses the dialogs hand to the file manager.
class UrlCatcher : public QObject
{
    Q_OBJECT
public:
    Q_INVOKABLE void open(const QUrl& url) { opened.append(url); }
    QList<QUrl> opened;
};

class TestDialogs : public QObject
{
    Q_OBJECT

private slots:
    // Times padded to two digits and never cut; sizes on the worked examples and every boundary;
    // the summary's lines for a reduction, no bytes at all (no reduction shown) and a stopped run.
    void texts_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("time long hours") << FormatTime(123, 4, 5) << "123:04:05";
        QTest::newRow("1536") << FormatByteSize(1536, true) << "1.50 KB";
        QTest::newRow("1288490") << FormatByteSize(1288490, true) << "1.23 MB";
        QTest::newRow("13107200") << FormatByteSize(13107200, true) << "12.5 MB";
        QTest::newRow("157286400") << FormatByteSize(157286400, true) << "150 MB";
        QTest::newRow("1048000 keeps four digits") << FormatByteSize(1048000, true) << "1023 KB";
        QTest::newRow("512 plain") << FormatByteSize(512, true) << "512";
        QTest::newRow("1024 first unit") << FormatByteSize(1024, true) << "1.00 KB";
        QTest::newRow("MB boundary") << FormatByteSize(1048576, true) << "1.00 MB";
        QTest::newRow("just below MB") << FormatByteSize(1048575, true) << "1024 KB";
        QTest::newRow("largest count") << FormatByteSize(~quint64(0), true) << "16.0 EB";
        QTest::newRow("grouping") << FormatByteCount(3000000) << "3,000,000";
        const auto summary = [](quint64 inputBytes, quint64 outputBytes, bool suspended) {
            ResultData result;
            std::tie(result.fileCount, result.failureCount, result.successCount) = std::tuple(3, 1, 2);
            std::tie(result.inputBytes, result.outputBytes, result.suspended) = std::tie(inputBytes, outputBytes, suspended);
            result.elapsedText = QStringLiteral("00:00:07");
            return SummaryText(result);
        };
        const QString counts = QStringLiteral("入力ファイル数 : 3\nエラー : 1\nスキップ : 0\n出力ファイル数 : 2\n\n処理時間 : 00:00:07\n\n");
        QTest::newRow("summary, halved") << summary(3000000, 1500000, false) << counts + "総入力サイズ : 2.86 MB (3,000,000 バイト)\n"
                                            "総出力サイズ : 1.43 MB (1,500,000 バイト)\n\n元のファイルサイズの 50.0 % に軽量化しました。\n";
        QTest::newRow("summary, zeros") << summary(0, 0, false) << counts + "総入力サイズ : 0 (0 バイト)\n総出力サイズ : 0 (0 バイト)\n\n軽量化 : 0 %\n";
        QTest::newRow("summary, stopped, one decimal") << summary(3, 2, true) << counts + "総入力サイズ : 3 (3 バイト)\n総出力サイズ : 2 (2 バイト)\n\n"
                                                          "元のファイルサイズの 66.7 % に軽量化しました。\n処理を中断しました。\n";
    }
    void texts()
    {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QCOMPARE(text, expected);
    }

    // Neither the close button nor Escape ends a running dialog. Its stop question holds every
    // worker until it is answered, and only Yes stops the run. The end signalled from a worker
    // closes it; the figures set from the worker before the end are shown, later ones dropped.
    void runningDialog_data()
    {
        QTest::addColumn<bool>("marquee");
        QTest::addColumn<bool>("yes");
        QTest::newRow("progress yes") << false << true;
        QTest::newRow("progress no") << false << false;
        QTest::newRow("search yes") << true << true;
        QTest::newRow("search no") << true << false;
    }
    void runningDialog()
    {
        QFETCH(bool, marquee);
        QFETCH(bool, yes);
        ProgressBarDialog progress(nullptr, false);
        MarqueeProgressBar search;
        QDialog* dialog = marquee ? static_cast<QDialog*>(&search) : &progress;
        marquee ? search.SetQuestionButtonTexts(QStringLiteral("はい"), QStringLiteral("いいえ"))
                : progress.SetQuestionButtonTexts(QStringLiteral("はい"), QStringLiteral("いいえ"));
        progress.SetMaxProgress(10);
        progress.StartTimer();
        dialog->show();
        QVERIFY(QTest::qWaitForWindowExposed(dialog));
        dialog->close();
        QTest::keyClick(dialog, Qt::Key_Escape);
        QVERIFY(dialog->isVisible());

        // Through the interfaces, as the search and the processor call them.
        ProcessMonitor* processor = &progress;
        SearchMonitor* searcher = &search;
        std::atomic<bool> passed{false}, continued{false};
        std::unique_ptr<QThread> worker(QThread::create([&] {
            marquee ? searcher->WaitWhileQuestionShowing() : processor->WaitWhileQuestionShowing();
            continued = marquee ? searcher->IsContinue() : processor->IsContinue();
            passed = true;
        }));
        QString question;
        bool heldWhileOpen = false;
        std::function<void()> answerWhenAsked = [&] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (box == nullptr)
                return QTimer::singleShot(10, answerWhenAsked);
            question = box->text();
            worker->start();
            QThread::msleep(50);
            heldWhileOpen = !passed;
            for (QAbstractButton* button : box->buttons())
                if (button->text() == QString::fromUtf8(yes ? "はい" : "いいえ"))
                    button->click();
        };
        QTimer::singleShot(0, answerWhenAsked);
        auto* stop = dialog->findChild<QPushButton*>(QStringLiteral("pushButton"));
        stop->click();
        QVERIFY(heldWhileOpen && question == QStringLiteral("Do you want to cancel?"));
        QVERIFY(worker->wait(5000));
        QCOMPARE(continued.load(), !yes);
        QCOMPARE(stop->isEnabled() ? QString() : stop->text(), yes ? QStringLiteral("中断処理中…") : QString());
        QVERIFY(dialog->isVisible());

        worker.reset(QThread::create([&] {
            processor->SetProgress(30);
            processor->SetInputFileName(QStringLiteral("C:\\in\\a.jpg"));
            processor->SetFraction(3);
            marquee ? searcher->ProgressDone() : processor->ProgressEnd();
            processor->SetFraction(9);
        }));
        QTimer::singleShot(0, [&] { worker->start(); });
        QCOMPARE(dialog->exec(), int(QDialog::Accepted));
        QVERIFY(worker->wait(5000));
        QCoreApplication::processEvents();
        if (marquee)
            return;
        const auto label = [&](const char* name) { return progress.findChild<QLabel*>(QLatin1String(name))->text(); };
        QCOMPARE(label("progressLabel") + label("labelInputPath") + label("fileNowCountLabel") + QString::number(progress.findChild<QProgressBar*>(QStringLiteral("progressBar"))->value()), QStringLiteral("30C:\\in\\a.jpg33"));
    }

    // Hits are (entry, where) with entry 0 the root. A double click on a box must not add a third
    // toggle; OK hands the boxes back in page order, Cancel hands back what came in.
    void batchClicks_data()
    {
        QTest::addColumn<QString>("initial"); // page flags, one letter per page
        QTest::addColumn<Clicks>("clicks");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<bool>("ok");
        QTest::newRow("root clears all") << "CUC" << Clicks{{0, Box}} << "UUUU" << true;
        QTest::newRow("root twice checks all") << "CUC" << Clicks{{0, Box}, {0, Box}} << "CCCC" << true;
        QTest::newRow("page completes root") << "CUC" << Clicks{{2, Box}} << "CCCC" << true;
        QTest::newRow("name selects only") << "CUC" << Clicks{{2, Name}, {0, Name}} << "PCUC" << true;
        QTest::newRow("indent does nothing") << "CUC" << Clicks{{1, Indent}} << "PCUC" << true;
        QTest::newRow("double click toggles twice") << "CUC" << Clicks{{2, DoubleBox}} << "PCUC" << true;
        QTest::newRow("space on a page") << "CUC" << Clicks{{2, Space}} << "CCCC" << true;
        QTest::newRow("space on the root") << "CUU" << Clicks{{0, Space}} << "UUUU" << true;
        QTest::newRow("no pages") << "" << Clicks{} << "C" << true;
        QTest::newRow("cancel") << "CUC" << Clicks{{0, Box}} << "UUUU" << false;
    }
    void batchClicks()
    {
        QFETCH(QString, initial);
        QFETCH(Clicks, clicks);
        QFETCH(QString, expected);
        QFETCH(bool, ok);
        BatchPageList pages;
        for (qsizetype i = 0; i < initial.size(); ++i)
            pages.append({QStringLiteral("Page %1").arg(i + 1), initial.at(i) == u'C'});
        BatchSettingDialog dialog;
        dialog.SetPages(pages);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        auto* tree = dialog.findChild<MyTreeWidget*>(QStringLiteral("treeWidget"));
        QTreeWidgetItem* root = tree->topLevelItem(0);
        for (const auto& [entry, where] : clicks) {
            QTreeWidgetItem* item = entry == 0 ? root : root->child(entry - 1);
            const QPoint p = PointOn(tree, item, where);
            // A click meant for a hidden entry would land on another one and could pass by luck.
            QCOMPARE(tree->visualItemRect(item).contains(p), where != Indent);
            QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, p);
            if (where == DoubleBox) {
                QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, p);
                QMouseEvent dbl(QEvent::MouseButtonDblClick, p, tree->viewport()->mapToGlobal(p), Qt::LeftButton, Qt::LeftButton, {});
                QApplication::sendEvent(tree->viewport(), &dbl);
            }
            if (where == Name || where == Space)
                QCOMPARE(tree->currentItem(), item);
            if (where == Space)
                QTest::keyClick(tree, Qt::Key_Space);
        }
        QCOMPARE(States(tree), expected);
        dialog.findChild<QPushButton*>(QLatin1String(ok ? "pushButton" : "pushButton_2"))->click();
        for (qsizetype i = 0; i < pages.size(); ++i)
            QCOMPARE(dialog.Pages().at(i), qMakePair(pages.at(i).first, ok ? expected.at(i + 1) == u'C' : pages.at(i).second));
    }

    // Without failures the list and its copy button go and the dialog shrinks to a fixed size;
    // with them the list shows one file per line as written and copies it.
    void resultFailures()
    {
        for (const QStringList& failed : {QStringList(), QStringList{"C:\\in\\a.jpg", "C:\\in\\<b>x</b>.png"}}) {
            ResultData result;
            result.failedFiles = failed;
            ResultDialog dialog(nullptr, false);
            dialog.BuildSummary(result);
            dialog.show();
            QVERIFY(QTest::qWaitForWindowExposed(&dialog));
            auto* list = dialog.findChild<QTextEdit*>(QStringLiteral("textEdit"));
            QCOMPARE(list->isVisible(), !failed.isEmpty());
            QCOMPARE(dialog.minimumHeight() == dialog.maximumHeight(), failed.isEmpty());
            QCOMPARE(list->toPlainText(), failed.join(u'\n'));
            QTimer::singleShot(0, &dialog, [] { // the "copied" notice
                if (QWidget* notice = QApplication::activeModalWidget())
                    notice->close();
            });
            dialog.findChild<QPushButton*>(QStringLiteral("pushButton_3"))->click();
            QCOMPARE(QGuiApplication::clipboard()->text(), failed.join(u'\n'));
        }
    }

    // After a batch the folder button offers one entry per page, each opening that page's output
    // folder; a page that took no part has its entry greyed.
    void resultFolderMenu()
    {
        UrlCatcher catcher;
        QDesktopServices::setUrlHandler(QStringLiteral("file"), &catcher, "open");
        ResultDialog dialog(nullptr, true);
        dialog.SetFolderList({{"p1", "/out/one/"}, {"p2", ""}, {"p3", "/out/three/"}});
        QStringList entries;
        QTimer::singleShot(0, &dialog, [&] {
            auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
            QVERIFY(menu);
            for (QAction* action : menu->actions())
                entries << action->text() + (action->isEnabled() ? "" : " (off)");
            menu->actions().at(2)->trigger();
            menu->close();
        });
        dialog.findChild<QPushButton*>(QStringLiteral("pushButton"))->click();
        QDesktopServices::unsetUrlHandler(QStringLiteral("file"));
        QCOMPARE(entries, (QStringList{"p1", "p2 (off)", "p3"}));
        QCOMPARE(catcher.opened, QList<QUrl>{QUrl::fromLocalFile("/out/three/")});
    }
};

QTEST_MAIN(TestDialogs)
#include "tst_dialogs.moc"
