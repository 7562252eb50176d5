#pragma once

// Where the engine lives and which version it is. The engine ships beside the
// application; a version query starts it once with "-version" and reads its answer.

#include <QByteArray>
#include <QObject>
#include <QProcess>
#include <QString>

class QWidget;

namespace EngineLocator {
inline constexpr char kEngineFileName[] = "dravik.bin";
// An engine that neither answers nor fails within this time is given up on.
inline constexpr int kVersionTimeoutMs = 5000;
} // namespace EngineLocator

// The engine path for an application folder: folder, separator, file name, every "/" and "\"
// turned into the native separator.
QString EnginePathInFolder(const QString& folder);

// Fills path with the engine beside the running executable. When nothing exists there, shows
// the standard warning box (parent may be null) and returns false.
bool FindEngine(QWidget* parent, QString& path);

// The version in an engine's "-version" output: the text after "Dravik  Version " up to the
// next white space. Anything else (other prefix, one blank fewer, nothing after) gives "".
QString ParseEngineVersion(const QByteArray& output);

// The name line of a process error, as the start-failure message and the run log show it.
QString EngineErrorName(QProcess::ProcessError error);

// The whole start-failure message: the translated headline, a blank line, the error's name line
// and the failed process's exit code.
QString EngineStartFailureText(QProcess::ProcessError error, int exitCode);

// One run of "engine -version". Run() waits in a local event loop so that the window keeps
// painting; it ends when the engine finishes, when it reports an error, when Cancel() is called,
// or after the time limit, when the engine is killed and errorOccurred reports Timedout.
class EngineVersionQuery : public QObject
{
    Q_OBJECT

public:
    explicit EngineVersionQuery(const QString& enginePath, QObject* parent = nullptr);
    ~EngineVersionQuery() override;

    // The version text, or "" on any failure (start failure, crash, non-zero exit, time-out,
    // cancel, output without the expected prefix).
    QString Run(int timeoutMs = EngineLocator::kVersionTimeoutMs);
    void Cancel();

    bool TimedOut() const { return timedOut; }
    bool Cancelled() const { return cancelled; }
    int ExitCode() const { return exitCode; }

signals:
    // The engine could not be started, crashed or did not answer in time.
    void errorOccurred(QProcess::ProcessError error, int exitCode);
    void cancelRequested();

private:
    QString enginePath;
    QProcess* process = nullptr;
    bool timedOut = false;
    bool cancelled = false;
    bool running = false;
    int exitCode = -1;
};
