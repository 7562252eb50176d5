#pragma once

// The run log "_DravikLog.log" in a page's output folder: a header, one block per file, a
// footer. UTF-8 without byte-order mark, appended to, platform line ends. A log that cannot be
// opened or written silently stops being written; the run never depends on it.

#include <QDateTime>
#include <QFile>
#include <QString>
#include <QStringList>
#include <QTextStream>

class RunLog
{
public:
    static QString FileName() { return QStringLiteral("_DravikLog.log"); }
    // outputDir + separator + FileName(), separators normalized.
    static QString PathFor(const QString &outputDir);

    // Opens only when enabled; the log is active when the file opened and the header was
    // written without error.
    void Open(const QString &outputDir, bool enabled, const QStringList &commonOptions,
              const QDateTime &start);
    bool IsActive() const { return active; }
    // Appends a whole block. Not synchronized: the processor calls it under its run mutex.
    void Append(const QString &block);
    void WriteFooter(const QDateTime &end, const QString &elapsedText);
    void Close();

private:
    bool Write(const QString &text);

    QFile file;
    QTextStream stream;
    bool active = false;
};
