// A whole page run on real images with the real engine: search, arguments, processing, log.

#include "pipeline/commandline.h"
#include "pipeline/filesearch.h"
#include "pipeline/processor.h"
#include "pipeline/runlog.h"
#include "settings/pagesettingsrecord.h"
#include "testmonitors.h"

#include <QDir>
#include <QFile>
#include <QMap>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

namespace {

QByteArray Head(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.read(16) : QByteArray();
}

// The format a file's first bytes announce, or empty when they announce no image we write.
QString Magic(const QString &path)
{
    const QByteArray head = Head(path);
    if (head.startsWith("\xFF\xD8\xFF"))
        return QStringLiteral("jpg");
    if (head.startsWith("\x89PNG\r\n\x1A\n"))
        return QStringLiteral("png");
    if (head.startsWith("GIF87a") || head.startsWith("GIF89a"))
        return QStringLiteral("gif");
    if (head.startsWith("RIFF") && head.mid(8, 4) == "WEBP")
        return QStringLiteral("webp");
    if (head.mid(4, 4) == "ftyp" && (head.mid(8, 4) == "avif" || head.mid(8, 4) == "avis"))
        return QStringLiteral("avif");
    return QString();
}

} // namespace

class TestEndToEnd : public QObject
{
    Q_OBJECT

private slots:
    void corpusPageWithTheRealEngine()
    {
        const QString engine = QDir(qEnvironmentVariable("DRAVIK_BIN_DIR")).filePath("dravik.bin");
        if (!QFileInfo(engine).isExecutable())
            QSKIP(qPrintable("the engine is not built: no executable at " + engine));
        const QDir corpus(qEnvironmentVariable("DRAVIK_CORPUS_DIR"));
        if (!corpus.exists())
            QSKIP("DRAVIK_CORPUS_DIR names no folder");

        // The smallest image of each format keeps the run short.
        QMap<QString, QFileInfo> smallest;
        for (const QFileInfo &info : corpus.entryInfoList(QDir::Files)) {
            const QString ext = info.suffix().toLower();
            if (!AcceptedExtensions().contains(ext))
                continue;
            const QString format = ext == QLatin1String("jpeg") ? QStringLiteral("jpg") : ext;
            if (!smallest.contains(format) || info.size() < smallest[format].size())
                smallest[format] = info;
        }
        QVERIFY2(smallest.size() >= 2, "the corpus holds too few images");

        QTemporaryDir root;
        const QString sep = QDir::separator();
        const QString inputDir = QDir::toNativeSeparators(root.filePath("in")) + sep;
        const QString outputDir = QDir::toNativeSeparators(root.filePath("out")) + sep;
        QVERIFY(QDir().mkpath(inputDir + "nested"));
        QVERIFY(QDir().mkpath(outputDir));
        bool nested = false;
        for (const QFileInfo &info : smallest) {
            const QString target = inputDir + (nested ? "nested" + sep : QString()) + info.fileName();
            QVERIFY(QFile::copy(info.filePath(), target));
            nested = !nested;
        }

        PageSettingsRecord page;
        page.generalOutputFormat = OutputFormatSame;
        page.generalSubFolder = true;
        page.uniqueLogFile = true;
        page.resizeGroup = true;
        page.resizeRadio = ResizeModeLongSide;
        page.resizeLongSide = 320;
        DefaultOption option;
        ProcessControl control;
        OptionRefusal refusal;
        QVERIFY(SetDefaultOption(page, inputDir, outputDir, &option, &control, &refusal));

        ProcessData data;
        data.exePath = engine;
        data.inputDir = inputDir;
        data.outputDir = outputDir;
        TestSearchMonitor search;
        QStringList conflicts;
        QString status;
        QVERIFY(GetAll(&search, &data.files, inputDir, control.subFolder, QString(), 0,
                       option.outformat, &conflicts, &status, outputDir));
        QCOMPARE(status, QString());
        QCOMPARE(data.files.size(), smallest.size());
        data.commonOptions = BuildCommonOptions(option, control);

        TestProcessMonitor progress;
        ResultData result;
        QVERIFY(PreProcessing(&progress, data, option, control, &result, true));

        QFile logFile(RunLog::PathFor(outputDir));
        QVERIFY(logFile.open(QIODevice::ReadOnly));
        const QString log = QString::fromUtf8(logFile.readAll());
        QCOMPARE(result.fileCount, quint32(data.files.size()));
        QVERIFY2(result.successCount == result.fileCount, qPrintable(log));
        QVERIFY(!result.suspended);

        quint64 outputBytes = 0;
        quint64 inputBytes = 0;
        for (const QString &entry : data.files) {
            const QString out = outputDir + entry;
            QVERIFY2(QFileInfo(out).isFile(), qPrintable(out));
            QCOMPARE(Magic(out), Magic(inputDir + entry));
            outputBytes += quint64(QFileInfo(out).size());
            inputBytes += quint64(QFileInfo(inputDir + entry).size());
            QVERIFY(log.contains("success : " + entry + "\n"));
            QVERIFY(log.contains("  out file size : " + QString::number(QFileInfo(out).size()) + "\n"));
        }
        QCOMPARE(result.outputBytes, outputBytes);
        QCOMPARE(result.inputBytes, inputBytes);
        QCOMPARE(log.count("process : "), data.files.size());
        QVERIFY(log.contains("common option : " + data.commonOptions.join(' ') + "\n"));
        QVERIFY(log.contains("-longside 320"));
    }
};

QTEST_GUILESS_MAIN(TestEndToEnd)
#include "tst_endtoend.moc"
