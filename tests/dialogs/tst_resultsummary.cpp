#include "dialogs/resultsummary.h"
#include "pipeline/runrecords.h"
#include "pipeline/timeleft.h"

#include <QTest>

class TestResultSummary : public QObject
{
    Q_OBJECT

private slots:
    void sizesAndTimes_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        // Times: padding to two digits, never cut.
        QTest::newRow("time short") << FormatTime(0, 5, 7) << "00:05:07";
        QTest::newRow("time long hours") << FormatTime(123, 4, 5) << "123:04:05";
        // Sizes: the worked examples, then every kind of boundary.
        QTest::newRow("1536") << FormatByteSize(1536, true) << "1.50 KB";
        QTest::newRow("1288490") << FormatByteSize(1288490, true) << "1.23 MB";
        QTest::newRow("13107200") << FormatByteSize(13107200, true) << "12.5 MB";
        QTest::newRow("157286400") << FormatByteSize(157286400, true) << "150 MB";
        QTest::newRow("1048000 keeps four digits") << FormatByteSize(1048000, true) << "1023 KB";
        QTest::newRow("512 plain") << FormatByteSize(512, true) << "512";
        QTest::newRow("0 plain") << FormatByteSize(0, true) << "0";
        QTest::newRow("1024 first unit") << FormatByteSize(1024, true) << "1.00 KB";
        QTest::newRow("MB boundary") << FormatByteSize(1048576, true) << "1.00 MB";
        QTest::newRow("just below MB") << FormatByteSize(1048575, true) << "1024 KB";
        QTest::newRow("GB") << FormatByteSize(quint64(1) << 30, true) << "1.00 GB";
        QTest::newRow("EB") << FormatByteSize(quint64(1) << 60, true) << "1.00 EB";
        QTest::newRow("largest count") << FormatByteSize(~quint64(0), true) << "16.0 EB";
        QTest::newRow("no space") << FormatByteSize(1536, false) << "1.50KB";
        QTest::newRow("grouping") << FormatByteCount(3000000) << "3,000,000";
        QTest::newRow("grouping zero") << FormatByteCount(0) << "0";
    }
    void sizesAndTimes()
    {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QCOMPARE(text, expected);
    }

    void summary_data()
    {
        QTest::addColumn<quint64>("inputBytes");
        QTest::addColumn<quint64>("outputBytes");
        QTest::addColumn<bool>("suspended");
        QTest::addColumn<QString>("sizes");
        QTest::addColumn<QString>("ending");
        QTest::newRow("halved") << quint64(3000000) << quint64(1500000) << false
                                << "総入力サイズ : 2.86 MB (3,000,000 バイト)\n"
                                   "総出力サイズ : 1.43 MB (1,500,000 バイト)\n"
                                << "元のファイルサイズの 50.0 % に軽量化しました。\n";
        QTest::newRow("zeros") << quint64(0) << quint64(0) << false
                               << "総入力サイズ : 0 (0 バイト)\n総出力サイズ : 0 (0 バイト)\n"
                               << "軽量化 : 0 %\n";
        QTest::newRow("grew") << quint64(1000) << quint64(2000) << false
                              << "総入力サイズ : 1000 (1,000 バイト)\n"
                                 "総出力サイズ : 1.95 KB (2,000 バイト)\n"
                              << "軽量化 : 0 %\n";
        QTest::newRow("stopped, one decimal") << quint64(3) << quint64(2) << true
                                              << "総入力サイズ : 3 (3 バイト)\n総出力サイズ : 2 (2 バイト)\n"
                                              << "元のファイルサイズの 66.7 % に軽量化しました。\n"
                                                 "処理を中断しました。\n";
    }
    void summary()
    {
        QFETCH(quint64, inputBytes);
        QFETCH(quint64, outputBytes);
        QFETCH(bool, suspended);
        QFETCH(QString, sizes);
        QFETCH(QString, ending);
        ResultData result;
        result.fileCount = 3;
        result.failureCount = 1;
        result.skipCount = 0;
        result.successCount = 2;
        result.elapsedText = QStringLiteral("00:00:07");
        result.inputBytes = inputBytes;
        result.outputBytes = outputBytes;
        result.suspended = suspended;
        const QString expected = QStringLiteral("入力ファイル数 : 3\nエラー : 1\nスキップ : 0\n"
                                                "出力ファイル数 : 2\n\n処理時間 : 00:00:07\n\n")
                                 + sizes + u'\n' + ending;
        QCOMPARE(SummaryText(result), expected);
    }
};

QTEST_APPLESS_MAIN(TestResultSummary)
#include "tst_resultsummary.moc"
