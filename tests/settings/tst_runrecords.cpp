// The run records start empty, and their shared counters add up exactly under concurrent workers.

#include "pipeline/runrecords.h"

#include <QTest>

#include <thread>
#include <vector>

class TestRunRecords : public QObject
{
    Q_OBJECT

private slots:
    void freshRecordsAreEmpty();
    void countersAddUpUnderConcurrentWorkers();
};

void TestRunRecords::freshRecordsAreEmpty()
{
    const ResultData result;
    QCOMPARE(result.fileCount, 0u);
    QCOMPARE(result.failureCount, 0u);
    QCOMPARE(result.skipCount, 0u);
    QCOMPARE(result.successCount, 0u);
    QCOMPARE(result.inputBytes, 0ull);
    QCOMPARE(result.outputBytes, 0ull);
    QCOMPARE(result.suspended, false);
    QCOMPARE(result.lastExitCode, 0);
    QVERIFY(result.elapsedText.isEmpty());
    QVERIFY(result.failedFiles.isEmpty());

    const ProcessData data;
    QVERIFY(data.exePath.isEmpty() && data.inputDir.isEmpty() && data.outputDir.isEmpty());
    QVERIFY(data.files.isEmpty() && data.commonOptions.isEmpty());

    const ProcessControl control;
    QVERIFY(control.resizeMode.isEmpty() && control.suffix.isEmpty());
    QVERIFY(!control.subFolder && !control.updateFile && !control.sizeAdjustment
            && !control.createLogFile && !control.addOption && !control.resize && !control.stamp);

    const DefaultOption option;
    const QString *fields[] = {
        &option.inputDir, &option.outputDir, &option.optmarkwrite, &option.outformat,
        &option.outext, &option.reducemode, &option.jpegfilesizelimit,
        &option.jpegfilesizelimithq, &option.jpegqualitysafety, &option.jpegfixbaseline,
        &option.jpegiccp, &option.width, &option.height, &option.longside, &option.zoom,
        &option.resizefit, &option.resizenozoom, &option.resizealg, &option.stampFile,
        &option.stampopaque, &option.stampx, &option.stampy, &option.stamppos,
        &option.addOptionText,
    };
    QCOMPARE(std::size(fields), size_t(24));
    for (const QString *field : fields)
        QVERIFY(field->isEmpty());
}

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
