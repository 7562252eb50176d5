#include "pipeline/enginelocator.h"

#include "validation/warningbox.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QTimer>

namespace {
const QByteArray kVersionPrefix = QByteArrayLiteral("Dravik  Version ");
}

QString EnginePathInFolder(const QString& folder)
{
    QString path = folder + QDir::separator() + QLatin1String(EngineLocator::kEngineFileName);
    path.replace(QLatin1Char('/'), QDir::separator());
    path.replace(QLatin1Char('\\'), QDir::separator());
    return path;
}

bool FindEngine(QWidget* parent, QString& path)
{
    qDebug() << "==========FindEngine S==========";
    path = EnginePathInFolder(QCoreApplication::applicationDirPath());
    // A folder of that name passes here on purpose: starting it then fails with its own message.
    if (!QFileInfo::exists(path)) {
        ShowWarningBox(parent, QCoreApplication::translate(
                                   "MainWindow", "The program required for processing could not be found."));
        qDebug() << "engine path :" << path;
        qDebug() << "==========FindEngine E==========";
        return false;
    }
    qDebug() << "==========FindEngine E==========";
    return true;
}

QString ParseEngineVersion(const QByteArray& output)
{
    if (!output.startsWith(kVersionPrefix))
        return QString();
    const QString rest = QString::fromUtf8(output.mid(kVersionPrefix.size()));
    // The engine ends its line with a line end; a label has no use for it, so any white space
    // ends the number, not only a blank.
    qsizetype end = 0;
    while (end < rest.size() && !rest.at(end).isSpace())
        ++end;
    return rest.left(end);
}

QString EngineErrorName(QProcess::ProcessError error)
{
    switch (error) {
    case QProcess::FailedToStart: return QStringLiteral("  FailedToStart (exec)  : ");
    case QProcess::Crashed: return QStringLiteral("  Crashed (exec)  : ");
    case QProcess::Timedout: return QStringLiteral("  Timedout (exec)  : ");
    case QProcess::ReadError: return QStringLiteral("  ReadError (exec)  : ");
    case QProcess::WriteError: return QStringLiteral("  WriteError (exec)  : ");
    case QProcess::UnknownError: return QStringLiteral("  UnknownError (exec)  : ");
    }
    return QStringLiteral("  error (exec)  : ");
}

QString EngineStartFailureText(QProcess::ProcessError error, int exitCode)
{
    return QCoreApplication::translate("MainWindow", "Could not start program.\n") + QLatin1Char('\n')
           + EngineErrorName(error) + QString::number(exitCode);
}

EngineVersionQuery::EngineVersionQuery(const QString& path, QObject* parent)
    : QObject(parent), enginePath(path)
{
}

EngineVersionQuery::~EngineVersionQuery()
{
    if (process && process->state() != QProcess::NotRunning) {
        process->disconnect(this);
        process->kill();
        process->waitForFinished(1000);
    }
}

QString EngineVersionQuery::Run(int timeoutMs)
{
    if (running)
        return QString();
    running = true;
    timedOut = false;
    cancelled = false;
    exitCode = -1;

    QEventLoop loop;
    QTimer limit;
    limit.setSingleShot(true);

    delete process;
    process = new QProcess(this);
    process->setProgram(enginePath);
    process->setArguments({QStringLiteral("-version")});

    bool failed = false;
    connect(process, &QProcess::finished, &loop, &QEventLoop::quit);
    // A handler of errorOccurred may open a box with its own event loop and keep it open for
    // longer than the limit: the limit has to be dead before anyone hears of the failure, or
    // it fires inside that box and reports a second, made-up time-out over the real error.
    connect(process, &QProcess::errorOccurred, this, [&](QProcess::ProcessError error) {
        limit.stop();
        if (failed || timedOut || cancelled)
            return;
        failed = true;
        emit errorOccurred(error, process->exitCode());
        loop.quit();
    });
    connect(&limit, &QTimer::timeout, this, [&] {
        if (failed || cancelled)
            return;
        timedOut = true;
        // The kill would report itself as a crash; the time-out is the real story.
        process->disconnect(this);
        process->kill();
        process->waitForFinished(1000);
        emit errorOccurred(QProcess::Timedout, process->exitCode());
        loop.quit();
    });
    connect(this, &EngineVersionQuery::cancelRequested, &limit, &QTimer::stop);
    connect(this, &EngineVersionQuery::cancelRequested, &loop, &QEventLoop::quit);

    process->start(QIODevice::ReadWrite);
    // A failure reported inside start() has already been told; no limit is needed for it.
    if (!failed && !cancelled)
        limit.start(timeoutMs);
    // The error signal may already have fired inside start(); then there is nothing to wait for.
    // User input waits meanwhile, so the menu cannot start a second query inside this one;
    // painting and timers go on, so the window does not look frozen.
    if (!failed && !cancelled && process->state() != QProcess::NotRunning)
        loop.exec(QEventLoop::ExcludeUserInputEvents);
    limit.stop();

    // The handlers above refer to this call's locals; nothing may reach them once it returns.
    process->disconnect();
    if (process->state() != QProcess::NotRunning) {
        process->kill();
        process->waitForFinished(1000);
    }

    exitCode = process->exitCode();
    qDebug() << "SetupDKVersion";
    qDebug() << exitCode;

    QString version;
    if (!failed && !timedOut && !cancelled && process->exitStatus() == QProcess::NormalExit && exitCode == 0)
        version = ParseEngineVersion(process->readAllStandardOutput());
    running = false;
    return version;
}

void EngineVersionQuery::Cancel()
{
    cancelled = true;
    emit cancelRequested();
}
