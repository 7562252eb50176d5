#pragma once

// The parallel file processor: one engine process per input file, at most eight at a time,
// with the exit-code rules, the placing of the output and the counting into ResultData.

#include "pipeline/runrecords.h"

#include <QString>
#include <QStringList>

class ProcessMonitor;

inline constexpr int kEngineTimeoutMs = 3600000;
inline constexpr int kMaxEngineThreads = 8;
// A path this long or longer cannot be handed to the engine; a folder must stay below the
// next length, which is also the limit of a renamed path.
inline constexpr int kTooLongPath = 259;
inline constexpr int kMaxFolderPathLength = 260;
// The engine's code for refused options (the additional-options text in practice).
inline constexpr int kExitCodeBadOptions = 77;

// Exit codes after which the run goes on: the failure concerns only that file.
bool IsContinueExitCode(int exitCode);

// The extensions the engine may give an output, in the order they are looked for.
const QStringList &OutputExtensions();   // ".jpg", ".png", ".gif", ".webp", ".avif"
// The extension that replaces the input's: empty for "auto" (the engine chooses) and "same".
QString OutputExtensionFor(const QString &outformat);

// Replaces the extension of path's file name by extension (appends it when the name has no
// dot). False, and path unchanged, when the result would reach kMaxFolderPathLength.
bool ReplaceExtension(QString *path, const QString &extension);

// The output path of one entry: outputDir + entry, with suffix appended to the base name and,
// unless outformat is "same", the extension replaced by the format's (removed for "auto").
QString OutputPathFor(const QString &outputDir, const QString &entry, const QString &suffix,
                      const QString &outformat);

// Processes every file of data.files, the largest first, and counts the outcomes into result. Reports progress,
// reads the stop flags and waits on an open stop question through monitor. Emits the end of
// processing when lastPage is set, or when the run was stopped for any reason other than
// refused options (a batch then goes on with its next page). Returns true once every file was
// handled. engineTimeoutMs bounds each engine run; a run over it is killed and stops the page.
bool PreProcessing(ProcessMonitor *monitor, const ProcessData &data, const DefaultOption &option,
                   const ProcessControl &control, ResultData *result, bool lastPage,
                   int engineTimeoutMs = kEngineTimeoutMs);
