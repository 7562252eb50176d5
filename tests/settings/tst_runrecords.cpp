// The run records' shared counters add up exactly under concurrent workers.

#include "pipeline/runrecords.h"

#include <QTest>

#include <thread>
#include <vector>

class TestRunRecords : public QObject
{
    Q_OBJECT

private slots:
    void countersAddUpUnderConcurrentWorkers();
};

void TestRunRecords::countersAddUpUnderConcurrentWorkers()
{
    ResultData result;
    constexpr int kWorkers = 8;
    constexpr int kFilesEach = 20000;
    // Beyond 32 bits in total, so a narrowed sum would show.
    constexpr quint64 kBytesEach = (quint64(1) << 20) + 3;

    std::vector<std::thread> workers;
    for (int w = 0; w < kWorkers; ++w) {
        workers.emplace_back([&result, w] {
            for (int i = 0; i < kFilesEach; ++i) {
                AtomicIncrement(result.successCount);
                AtomicAdd<quint64>(result.inputBytes, kBytesEach);
                AtomicAdd<quint64>(result.outputBytes, 1);
                if (i % 2 == 0)
                    AtomicIncrement(result.skipCount);
                if (i == kFilesEach - 1) {
                    AtomicStore<qint32>(result.lastExitCode, 77 + w);
                    AtomicStore(result.suspended, true);
                }
            }
        });
    }
    for (std::thread &worker : workers)
        worker.join();

    QCOMPARE(AtomicLoad(result.successCount), quint32(kWorkers * kFilesEach));
    QCOMPARE(result.skipCount, quint32(kWorkers * kFilesEach / 2));
    QCOMPARE(result.inputBytes, quint64(kWorkers) * kFilesEach * kBytesEach);
    QVERIFY(result.inputBytes > quint64(0xFFFFFFFFu));
    QCOMPARE(AtomicLoad(result.outputBytes), quint64(kWorkers * kFilesEach));
    QVERIFY(result.lastExitCode >= 77 && result.lastExitCode < 77 + kWorkers);
    QVERIFY(AtomicLoad(result.suspended));
}

QTEST_APPLESS_MAIN(TestRunRecords)
#include "tst_runrecords.moc"
