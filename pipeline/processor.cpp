#include "pipeline/processor.h"

#include "pipeline/enginelocator.h"
#include "pipeline/pipelinelog.h"
#include "pipeline/runflags.h"
#include "pipeline/runlog.h"
#include "pipeline/timeleft.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QProcess>
#include <QSaveFile>
#include <QTemporaryDir>

#include <omp.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <system_error>

namespace {

// Where the file name starts: after the last separator of either kind.
qsizetype FileNameStart(const QString &path)
{
    return std::max(path.lastIndexOf(u'/'), path.lastIndexOf(QDir::separator())) + 1;
}

QString FolderOf(const QString &path)
{
    const qsizetype start = FileNameStart(path);
    return start > 0 ? path.left(start - 1) : QString();
}

std::filesystem::path FsPath(const QString &path)
{
#ifdef Q_OS_WIN
    return std::filesystem::path(path.toStdWString());
#else
    return std::filesystem::path(QFile::encodeName(path).toStdString());
#endif
}

// Puts the engine's file in place. A rename replaces an existing output in one step, so the
// old file stays intact until the new one is there. Across file systems (the temporary
// folder often lies on another one) the bytes are copied through a save file beside the
// destination, which is just as atomic, and the source is removed afterwards.
bool MoveIntoPlace(const QString &source, const QString &destination)
{
    std::error_code error;
    std::filesystem::rename(FsPath(source), FsPath(destination), error);
    if (!error)
        return true;
    QFile in(source);
    if (!in.open(QIODevice::ReadOnly))
        return false;
    QSaveFile out(destination);
    if (!out.open(QIODevice::WriteOnly))
        return false;
    char buffer[1 << 16];
    qint64 n = 0;
    while ((n = in.read(buffer, sizeof buffer)) > 0) {
        if (out.write(buffer, n) != n) {
            out.cancelWriting();
            break;
        }
    }
    if (n < 0)
        out.cancelWriting();
    if (!out.commit())
        return false;
    in.close();
    in.remove();
    return true;
}

// The state one page's processing shares with every iteration of its loop.
struct PageRun
{
    PageRun(ProcessMonitor *m, const ProcessData &d, const DefaultOption &o,
            const ProcessControl &c, ResultData *r, int timeoutMs)
        : monitor(m), data(d), option(o), control(c), result(r), engineTimeoutMs(timeoutMs)
    {
    }

    ProcessMonitor *monitor;
    const ProcessData &data;
    const DefaultOption &option;
    const ProcessControl &control;
    ResultData *result;
    int engineTimeoutMs;

    QMutex mutex;          // orders progress, counters, failedFiles, batchDone, estimator, log
    qint32 started = 0;    // files whose handling has begun
    bool autoFormat = false;
    RunLog log;
    TimeLeftEstimator estimator;

    void WriteBlock(const QString &block)
    {
        QMutexLocker lock(&mutex);
        if (log.IsActive())
            log.Append(block);
    }

    void CountSkip()
    {
        QMutexLocker lock(&mutex);
        AtomicIncrement(result->skipCount);
    }

    void CountFailure(const QString &inputPath)
    {
        QMutexLocker lock(&mutex);
        AtomicIncrement(result->failureCount);
        result->failedFiles.append(inputPath);
    }
};

// An existing output of this entry, for the update-only rule. For the automatic format the
// output path carries no extension, so the outputs the engine may have chosen are looked for.
QString ExistingOutput(const PageRun &run, const QString &outputPath)
{
    if (!run.autoFormat)
        return QFileInfo::exists(outputPath) ? outputPath : QString();
    for (const QString &extension : OutputExtensions()) {
        const QString candidate = outputPath + extension;
        if (QFileInfo::exists(candidate))
            return candidate;
    }
    return QString();
}

// The engine's output for the automatic format: the temporary name plus the extension the
// engine chose. The name passed was the whole extension-less output name, so names with
// several dots ("my.photo.png" → "my.photo") are found as well.
QString FindAutoOutput(const QString &tempFolder, const QString &tempName, QString *extension)
{
    for (const QString &candidateExtension : OutputExtensions()) {
        const QString candidate = tempFolder + QDir::separator() + tempName + candidateExtension;
        if (QFileInfo(candidate).isFile()) {
            *extension = candidateExtension;
            return candidate;
        }
    }
    return QString();
}

void ProcessFileLoop(PageRun &run, int index)
{
    ProcessMonitor *monitor = run.monitor;
    ResultData *result = run.result;
    const QString &entry = run.data.files.at(index);

    monitor->WaitWhileQuestionShowing();
    if (!monitor->IsContinue()) {
        {
            QMutexLocker lock(&run.mutex);
            AtomicStore(result->suspended, true);
            AtomicIncrement(result->skipCount);
            if (monitor->batchTotal != 0)
                ++monitor->batchDone;
        }
        run.WriteBlock(QStringLiteral("SuspensionSkipFile : ") + entry + QStringLiteral("\n\n"));
        return;
    }

    QString block = QStringLiteral("process : ") + entry + u'\n';
    const QString inputPath = run.data.inputDir + entry;
    const QString outputPath =
        OutputPathFor(run.data.outputDir, entry, run.control.suffix, run.option.outformat);

    {
        QMutexLocker lock(&run.mutex);
        const qint32 fileCount = qint32(run.data.files.size());
        monitor->SetProgress(int((qint64(run.started) + 1) * 100 / fileCount));
        monitor->SetFraction(run.started + 1);
        ++run.started;
        monitor->SetInputFileName(inputPath);
        monitor->SetOutputFileName(outputPath);
    }

    if (entry.isEmpty()) {
        qCDebug(lcPipeline) << "取得したファイル名が空";
        run.CountSkip();
        run.WriteBlock(block + QStringLiteral("error (too short name): ") + run.data.inputDir
                       + entry + u'\n');
        return;
    }

    const QFileInfo inputInfo(inputPath);
    const qint64 inputSize = inputInfo.size();
    block += QStringLiteral("  in file name  : ") + inputPath + u'\n';
    block += QStringLiteral("  in file size  : ") + QString::number(inputSize) + u'\n';

    // Only the last failing check is reported, as the line replaces the earlier ones.
    QString precheckError;
    if (inputPath.size() >= kTooLongPath)
        precheckError = QStringLiteral("  error (too long input path):") + inputPath + u'\n';
    if (outputPath.size() >= kTooLongPath)
        precheckError = QStringLiteral("  error (too long output path):") + outputPath + u'\n';
    if (!inputInfo.isReadable())
        precheckError = QStringLiteral("  error (Can't read):") + run.data.inputDir + entry + u'\n';
    if (!QFileInfo(run.data.outputDir).isWritable())
        precheckError = QStringLiteral("  error (Can't write):") + run.data.inputDir + entry + u'\n';
    if (!precheckError.isEmpty()) {
        run.CountSkip();
        run.WriteBlock(block + precheckError);
        return;
    }

    QString outputFolder = FolderOf(outputPath);
    if (!outputFolder.endsWith(QDir::separator()))
        outputFolder += QDir::separator();
    outputFolder = QDir::toNativeSeparators(outputFolder);
    const bool folderUsable = outputFolder.size() > 1 && outputFolder.size() < kMaxFolderPathLength
                              && (QFileInfo(outputFolder).isDir()
                                  || (QDir().mkpath(outputFolder) && QFileInfo(outputFolder).isDir()));
    if (!folderUsable) {
        qCDebug(lcPipeline) << "ディレクトリ生成失敗　か　文字がないか　か　パス文字列が長すぎる";
        run.CountSkip();
        run.WriteBlock(block + QStringLiteral("  error (make out dir):") + outputFolder + u'\n');
        return;
    }

    if (run.control.updateFile) {
        const QString existing = ExistingOutput(run, outputPath);
        if (!existing.isEmpty()) {
            const QDateTime inputTime = inputInfo.lastModified();
            const QDateTime outputTime = QFileInfo(existing).lastModified();
            if (inputTime.isValid() && outputTime.isValid() && inputTime <= outputTime) {
                run.CountSkip();
                run.WriteBlock(block + QStringLiteral("skip    : ") + entry + QStringLiteral("\n\n"));
                return;
            }
        }
    }

    // The automatic format lets the engine choose the extension, so it writes into a fresh
    // folder of its own and the result is moved into place afterwards. The folder goes away
    // with this frame whatever happens.
    std::optional<QTemporaryDir> tempDir;
    QString tempName;
    QString engineOutput = outputPath;
    if (run.autoFormat) {
        tempDir.emplace();
        if (!tempDir->isValid()) {
            // A temporary folder that cannot be made fails for every later file as well.
            monitor->SetCancel(true);
            run.CountFailure(inputPath);
            run.WriteBlock(block + QStringLiteral("  error (temporary folder):")
                           + tempDir->errorString() + u'\n' + QStringLiteral("failure : ") + entry
                           + QStringLiteral("\n\n"));
            return;
        }
        tempName = outputPath.mid(FileNameStart(outputPath));
        engineOutput = QDir::toNativeSeparators(tempDir->path()) + QDir::separator() + tempName;
    }

    QStringList arguments{QStringLiteral("-in"), inputPath, QStringLiteral("-out"), engineOutput};
    arguments += run.data.commonOptions;

    QProcess engine;
    engine.setProgram(run.data.exePath);
    engine.setArguments(arguments);
    engine.setStandardInputFile(QProcess::nullDevice());
    engine.setStandardOutputFile(QProcess::nullDevice());
    engine.start(QIODevice::ReadWrite);
    const bool ended = engine.waitForFinished(run.engineTimeoutMs)
                       && engine.exitStatus() == QProcess::NormalExit;

    if (ended && engine.exitCode() == 0) {
        qint64 outputSize = 0;
        if (!run.autoFormat) {
            const QFileInfo outputInfo(outputPath);
            if (outputInfo.isFile()) {
                outputSize = outputInfo.size();
                block += QStringLiteral("  out file name : ") + outputPath + u'\n';
                {
                    QMutexLocker lock(&run.mutex);
                    AtomicIncrement(result->successCount);
                    AtomicAdd<quint64>(result->outputBytes, quint64(outputSize));
                }
                block += QStringLiteral("  out file size : ") + QString::number(outputSize) + u'\n';
            }
        } else {
            QString extension;
            const QString candidate = FindAutoOutput(tempDir->path(), tempName, &extension);
            if (candidate.isEmpty()) {
                // Nothing to place and nothing to count: the engine said it succeeded but left
                // no file, which no outcome of the run describes.
                qCDebug(lcPipeline) << "no engine output for" << inputPath;
                return;
            }
            const QString destination = outputPath + extension;
            if (!MoveIntoPlace(candidate, destination)) {
                run.CountFailure(inputPath);
                monitor->SetCancel(true);
                run.WriteBlock(block + QStringLiteral("file move failure : ") + outputPath
                               + QStringLiteral("\n\n"));
                return;
            }
            const QFileInfo destinationInfo(destination);
            if (destinationInfo.isFile()) {
                outputSize = destinationInfo.size();
                block += QStringLiteral("  out file name : ") + outputPath + u'\n';
                {
                    QMutexLocker lock(&run.mutex);
                    AtomicIncrement(result->successCount);
                    AtomicAdd<quint64>(result->outputBytes, quint64(outputSize));
                }
                block += QStringLiteral("  out file size : ") + QString::number(outputSize) + u'\n';
            }
        }

        if (outputSize == 0) {
            block += QStringLiteral("  output error (file size: 0)\n");
        } else if (inputSize <= outputSize) {
            block += QStringLiteral("  not compress\n");
        } else {
            const double reduction = double(inputSize - outputSize) * 100.0 / double(inputSize);
            block += QStringLiteral("  compress : ") + QString::number(reduction, 'f', 1)
                     + QStringLiteral("%\n");
        }
        block += QStringLiteral("success : ") + entry + QStringLiteral("\n\n");
        run.WriteBlock(block);

        QMutexLocker lock(&run.mutex);
        AtomicAdd<quint64>(result->inputBytes, quint64(std::max<qint64>(inputSize, 0)));
        const qint32 position = index + 1;
        qint32 total = qint32(run.data.files.size());
        qint32 done = position;
        if (monitor->batchTotal != 0) {
            total = monitor->batchTotal;
            done = monitor->batchDone + 1;
            monitor->batchDone = done;
        }
        qint32 shown = 0;
        if (run.estimator.AddFinishedFile(position, total, done, monitor->ElapsedMs() / 1000, &shown))
            monitor->SetTimeLeft(shown / 3600, (shown % 3600) / 60, shown % 60);
        return;
    }

    if (ended) {
        const int exitCode = engine.exitCode();
        qCDebug(lcPipeline) << "exit code" << exitCode;
        block += QStringLiteral("  error (exec)  : ") + QString::number(exitCode) + u'\n';
        block += QStringLiteral("failure : ") + entry + QStringLiteral("\n\n");
        {
            QMutexLocker lock(&run.mutex);
            AtomicIncrement(result->failureCount);
            result->failedFiles.append(inputPath);
            AtomicStore<qint32>(result->lastExitCode, exitCode);
        }
        if (!IsContinueExitCode(exitCode))
            monitor->SetCancel(true);
        run.WriteBlock(block);
        return;
    }

    // Not started, timed out or crashed: nothing says the next file would fare better.
    qCDebug(lcPipeline) << "abnormal error" << engine.errorString();
    block += EngineErrorName(engine.error()) + QString::number(engine.exitCode()) + u'\n';
    block += QStringLiteral("failure : ") + entry + QStringLiteral("\n\n");
    monitor->SetCancel(true);
    run.CountFailure(inputPath);
    run.WriteBlock(block);
    if (engine.state() != QProcess::NotRunning) {
        engine.kill();
        engine.waitForFinished(-1);
    }
}

// The page's files with the largest first. Engines run a few at a time and the time a file
// takes grows with its size: a large file begun late would run alone at the end while the
// other processors stand idle, and those ends add up over every page of a batch.
QStringList LargestFirst(const QString &inputDir, const QStringList &files)
{
    QList<std::pair<qint64, qsizetype>> sizes;
    sizes.reserve(files.size());
    for (qsizetype i = 0; i < files.size(); ++i)
        sizes.append({QFileInfo(inputDir + files.at(i)).size(), i});
    // Stable, so that files of one size keep the search's order.
    std::stable_sort(sizes.begin(), sizes.end(),
                     [](const auto &a, const auto &b) { return a.first > b.first; });
    QStringList ordered;
    ordered.reserve(files.size());
    for (const auto &entry : sizes)
        ordered.append(files.at(entry.second));
    return ordered;
}

} // namespace

bool IsContinueExitCode(int exitCode)
{
    switch (exitCode) {
    case 82: case 90: case 91: case 92: case 93: case 94: case 96: case 97: case 98: case 99:
    case 100: case 101: case 105: case 108: case 109: case 110: case 111:
        return true;
    default:
        return false;
    }
}

const QStringList &OutputExtensions()
{
    static const QStringList extensions{QStringLiteral(".jpg"), QStringLiteral(".png"),
                                        QStringLiteral(".gif"), QStringLiteral(".webp"),
                                        QStringLiteral(".avif")};
    return extensions;
}

QString OutputExtensionFor(const QString &outformat)
{
    for (const QString &extension : OutputExtensions()) {
        if (outformat == QStringView(extension).mid(1))
            return extension;
    }
    return QString();
}

bool ReplaceExtension(QString *path, const QString &extension)
{
    const qsizetype nameStart = FileNameStart(*path);
    const qsizetype dot = path->lastIndexOf(u'.');
    QString candidate;
    if (dot < nameStart) {
        candidate = *path + extension;
    } else {
        candidate = QDir::toNativeSeparators(path->left(dot) + extension);
    }
    if (candidate.size() >= kMaxFolderPathLength) {
        qCDebug(lcPipeline) << "ファイル名が上限に到達しているからファイル名を改変することが出来ない";
        return false;
    }
    *path = candidate;
    return true;
}

QString OutputPathFor(const QString &outputDir, const QString &entry, const QString &suffix,
                      const QString &outformat)
{
    QString outputPath = outputDir + entry;
    if (!suffix.isEmpty()) {
        const qsizetype nameStart = FileNameStart(outputPath);
        const qsizetype dot = outputPath.lastIndexOf(u'.');
        if (dot < nameStart)
            outputPath += suffix;
        else
            outputPath.insert(dot, suffix);
        outputPath = QDir::toNativeSeparators(outputPath);
    }
    if (outformat != QLatin1String("same"))
        ReplaceExtension(&outputPath, OutputExtensionFor(outformat));
    return outputPath;
}

bool PreProcessing(ProcessMonitor *monitor, const ProcessData &data, const DefaultOption &option,
                   const ProcessControl &control, ResultData *result, bool lastPage,
                   int engineTimeoutMs)
{
    qCDebug(lcPipeline) << "=================PreProcessing================";
    const int fileCount = int(data.files.size());
    result->fileCount = quint32(fileCount);
    result->inputBytes = 0;
    result->outputBytes = 0;

    ProcessData ordered = data;
    ordered.files = LargestFirst(data.inputDir, data.files);
    PageRun run(monitor, ordered, option, control, result, engineTimeoutMs);
    run.autoFormat = option.outformat == QLatin1String("auto");
    run.log.Open(data.outputDir, control.createLogFile, data.commonOptions,
                 QDateTime::currentDateTime());

    monitor->WaitWhileQuestionShowing();

    const int threads = std::clamp(omp_get_num_procs(), 1, kMaxEngineThreads);
    qCDebug(lcPipeline) << "cpu" << threads;
#pragma omp parallel for schedule(dynamic, 1) num_threads(threads)
    for (int i = 0; i < fileCount; ++i)
        ProcessFileLoop(run, i);

    result->elapsedText = monitor->ElapsedText();
    run.log.WriteFooter(QDateTime::currentDateTime(), result->elapsedText);
    run.log.Close();

    monitor->WaitWhileQuestionShowing();
    if (lastPage || (result->suspended && result->lastExitCode != kExitCodeBadOptions))
        monitor->ProgressEnd();
    return true;
}
