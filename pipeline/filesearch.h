#pragma once

// The search for a page's input files: every image of the input folder and, when asked for,
// of its sub-folders, as paths relative to the input folder.

#include <QMutex>
#include <QString>
#include <QStringList>

class SearchMonitor;

// The search's outcome, shared by every folder level of one search (in a batch, of every
// page). Empty while all is well. The texts are set as they are, never translated.
namespace SearchStatus {
inline QString Interrupted() { return QStringLiteral("Interrupted"); }
inline QString EmptyPath() { return QStringLiteral("パスが空です。"); }
inline QString NoTrailingSeparator() { return QStringLiteral("パスの最後に区切り文字がありません。"); }
inline QString TooDeep() { return QStringLiteral("フォルダーの階層の許容最大数を超えました。"); }
inline QString OutputError() { return QStringLiteral("output error"); }
inline QString ConflictError() { return QStringLiteral("Conflict error"); }
} // namespace SearchStatus

// A folder this many levels below the input folder is refused.
inline constexpr int kMaxFolderDepth = 120;
// Folders with fewer names than this are examined on the search's own thread.
inline constexpr int kParallelNamesMin = 256;

// The file suffixes taken as images, lower case.
const QStringList &AcceptedExtensions();

// Walks one folder level. The driver calls it with relativePath "" and depth 0; it calls itself
// for sub-folders. Returns true when the folder was walked (also when conflicts were found or
// the search was cancelled inside), false when the folder text was refused or the depth limit
// reached; status says why. At depth 0 it tells the monitor that the search has ended (unless
// the monitor is in batch mode and the folder was walked).
bool GetAll(SearchMonitor *monitor, QStringList *files, const QString &inputDir, bool subFolder,
            const QString &relativePath, int depth, const QString &outformat,
            QStringList *conflicts, QString *status, const QString &outputDir);

// The names of one folder (a listing of its regular files), examined in parallel: name rules,
// extension, then appended to files as relativePath + name under folderMutex (which also
// guards status).
void AddFolderFiles(SearchMonitor *monitor, const QStringList &names, QStringList *files,
                    const QString &relativePath, QString *status, QMutex *folderMutex);

// True when path names an existing file whose lower-case suffix is an accepted extension.
bool IsUseExtension(const QString &path);
