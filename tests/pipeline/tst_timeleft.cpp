// Elapsed-time text and the remaining-time estimate.

#include "pipeline/timeleft.h"

#include <QtTest>

class TestTimeLeft : public QObject
{
    Q_OBJECT

private slots:
    void formatTime()
    {
        QCOMPARE(FormatTime(0, 5, 7), QString("00:05:07"));
        QCOMPARE(FormatTime(123, 4, 5), QString("123:04:05"));
        QCOMPARE(FormatSeconds(3725), QString("01:02:05"));
        QCOMPARE(FormatSeconds(100 * 3600 + 59), QString("100:00:59"));
        QCOMPARE(FormatSeconds(0), QString("00:00:00"));
    }

    void estimateWaitsForTenPercentThenShowsEveryTenth()
    {
        // 1,000 files done within the first 50 seconds: the gate opens at position 100 (10 %).
        TimeLeftEstimator estimator;
        qint32 shown = -1;
        QList<int> shownAt;
        QList<qint32> values;
        for (int position = 1; position <= 130; ++position) {
            if (estimator.AddFinishedFile(position, 1000, position, 50, &shown)) {
                shownAt << position;
                values << shown;
            }
        }
        // Estimates are made from 100 on; the tenth of them (109) is the first shown, then
        // every tenth after that.
        QCOMPARE(shownAt, QList<int>({109, 119, 129}));
        // (1000 - d) × 50 / d for d = 100..109, truncated: 450 445 440 435 430 426 421 417 412
        // 408; their mean 428 is shown as 430.
        QCOMPARE(values.first(), 430);
    }

    void elapsedTimeOpensTheGateEarly()
    {
        TimeLeftEstimator estimator;
        qint32 shown = -1;
        // Position 5 of 1,000 after 61 s: too slow to wait for 10 %.
        for (int n = 0; n < 9; ++n)
            QVERIFY(!estimator.AddFinishedFile(5, 1000, 5, 61, &shown));
        QVERIFY(estimator.AddFinishedFile(5, 1000, 5, 61, &shown));
        // (1000 - 5) × 61 / 5 = 12139 s, shown rounded to ten seconds.
        QCOMPARE(shown, 12140);

        TimeLeftEstimator early;
        for (int n = 0; n < 20; ++n)
            QVERIFY(!early.AddFinishedFile(5, 1000, 5, 60, &shown));
    }

    void roundsTheMeanToTenSecondsHalfUp()
    {
        // total - done = 1 and elapsed = done × seconds: every estimate equals "seconds".
        for (auto [seconds, expected] : {std::pair{125, 130}, std::pair{124, 120}, std::pair{5, 10},
                                        std::pair{4, 0}}) {
            TimeLeftEstimator estimator;
            qint32 shown = -1;
            bool any = false;
            for (int n = 0; n < 10; ++n)
                any = estimator.AddFinishedFile(100, 101, 100, qint64(seconds) * 100, &shown);
            QVERIFY(any);
            QCOMPARE(shown, expected);
        }
    }

    void pagesOfFewerThanTenFilesNeverShowAnEstimate()
    {
        TimeLeftEstimator estimator;
        qint32 shown = -1;
        for (int position = 1; position <= 9; ++position)
            QVERIFY(!estimator.AddFinishedFile(position, 9, position, 1000, &shown));
    }
};

QTEST_APPLESS_MAIN(TestTimeLeft)
#include "tst_timeleft.moc"
