#include "pipeline/filesearch.h"

#include "pipeline/outputconflicts.h"
#include "pipeline/pipelinelog.h"
#include "pipeline/runflags.h"
#include "validation/namerules.h"
#include "validation/pathsyntax.h"

#include <QDir>
#include <QFileInfo>

namespace {

// Listed names never hold a separator; the conversion only matters for a relative path that
// came in with the other separator.
QString JoinRelative(const QString &relativePath, const QString &name)
{
    if (relativePath.isEmpty())
        return QDir::toNativeSeparators(name);
    return QDir::toNativeSeparators(relativePath + QDir::separator() + name);
}

} // namespace

const QStringList &AcceptedExtensions()
{
    static const QStringList extensions{QStringLiteral("jpg"),  QStringLiteral("jpeg"),
                                        QStringLiteral("png"),  QStringLiteral("gif"),
                                        QStringLiteral("webp"), QStringLiteral("avif")};
    return extensions;
}

namespace {

bool HasAcceptedExtension(QStringView name)
{
    const qsizetype dot = name.lastIndexOf(u'.');
    if (dot < 0)
        return false;
    const QString suffix = name.mid(dot + 1).toString().toLower();
    qCDebug(lcPipeline) << "IsUseExtension " << suffix;
    return !suffix.isEmpty() && AcceptedExtensions().contains(suffix);
}

} // namespace

bool IsUseExtension(const QString &path)
{
    const QFileInfo info(path);
    // The suffix test comes first: it is free, while the file test costs a system call.
    return HasAcceptedExtension(info.fileName()) && info.isFile();
}

void AddFolderFiles(SearchMonitor *monitor, const QStringList &names, QStringList *files,
                    const QString &relativePath, QString *status, QMutex *folderMutex)
{
    const PathSyntax syntax = PathSyntax::Native();
    const int count = int(names.size());
    // A team costs more than it saves on a short list: its threads spin between folders and
    // take the core from the thread that lists the next one.
#pragma omp parallel for schedule(dynamic, 32) if (count >= kParallelNamesMin)
    for (int i = 0; i < count; ++i) {
        monitor->WaitWhileQuestionShowing();
        const QString &name = names.at(i);
        qCDebug(lcPipeline) << name;
        if (!monitor->IsContinue()) {
            QMutexLocker lock(folderMutex);
            *status = SearchStatus::Interrupted();
            continue;
        }
        const QString refusal = FileNameRefusal(name, syntax);
        if (!refusal.isEmpty()) {
            monitor->ShowRefusal(refusal);
            continue;
        }
        const QString relative = JoinRelative(relativePath, name);
        // The names come from a listing of regular files, so the extension is all that is
        // left to test; asking the file system again would double the cost of the search.
        if (HasAcceptedExtension(name)) {
            QMutexLocker lock(folderMutex);
            files->append(relative);
        }
    }
}

bool GetAll(SearchMonitor *monitor, QStringList *files, const QString &inputDir, bool subFolder,
            const QString &relativePath, int depth, const QString &outformat,
            QStringList *conflicts, QString *status, const QString &outputDir)
{
    qCDebug(lcPipeline) << "GetAll=====================================";
    monitor->WaitWhileQuestionShowing();

    QString refusal;
    if (!monitor->IsContinue())
        refusal = SearchStatus::Interrupted();
    else if (inputDir.isEmpty())
        refusal = SearchStatus::EmptyPath();
    else if (!inputDir.endsWith(QDir::separator()))
        refusal = SearchStatus::NoTrailingSeparator();
    else if (depth >= kMaxFolderDepth)
        refusal = SearchStatus::TooDeep();
    if (!refusal.isEmpty()) {
        *status = refusal;
        if (depth == 0)
            monitor->ProgressDone();
        return false;
    }

    // Each level has its own mutex: the parallel loop below is the only concurrency, and the
    // levels run one after the other on this thread.
    QMutex folderMutex;
    const qsizetype start = files->size();
    const QString folder = inputDir + relativePath;
    const QStringList names =
        QDir(folder).entryList(QDir::Files | QDir::NoDotAndDotDot, QDir::Unsorted);
    AddFolderFiles(monitor, names, files, relativePath, status, &folderMutex);

    if (outformat != QLatin1String("same"))
        FindNameConflicts(*files, start, conflicts);

    if (subFolder) {
        const PathSyntax syntax = PathSyntax::Native();
        const QStringList folders =
            QDir(folder).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Unsorted);
        for (const QString &name : folders) {
            monitor->WaitWhileQuestionShowing();
            if (!monitor->IsContinue()) {
                *status = SearchStatus::Interrupted();
                continue;
            }
            if (!status->isEmpty())
                continue;
            qCDebug(lcPipeline) << name;
            const QString subPath = JoinRelative(relativePath, name);
            const QString folderRefusal = FolderPathRefusal(subPath, inputDir, syntax);
            if (!folderRefusal.isEmpty()) {
                monitor->ShowRefusal(folderRefusal);
                *status = SearchStatus::OutputError();
                continue;
            }
            // The folder that holds the output (or whose path is a prefix of the output's) is
            // left out, so a run never feeds on its own results.
            const QString fullPath = inputDir + subPath;
            if (outputDir.startsWith(fullPath, Qt::CaseInsensitive)) {
                qCDebug(lcPipeline) << "ignore path=" << fullPath;
                continue;
            }
            GetAll(monitor, files, inputDir, subFolder, subPath, depth + 1, outformat, conflicts,
                   status, outputDir);
        }
    }

    if (depth == 0) {
        monitor->WaitWhileQuestionShowing();
        qCDebug(lcPipeline) << "fileDone";
        // Final before the dialog is told to close: the driver reads it as soon as it has.
        if (!conflicts->isEmpty())
            *status = SearchStatus::ConflictError();
        if (!monitor->IsBatchMode())
            monitor->ProgressDone();
    }
    return true;
}
