#include "pipeline/runlog.h"

#include <QDir>
#include <QStringConverter>

namespace {

QString Stamp(const QDateTime &when)
{
    return when.toString(QStringLiteral("yyyy/MM/dd")) + u' '
           + when.toString(QStringLiteral("hh:mm:ss"));
}

} // namespace

QString RunLog::PathFor(const QString &outputDir)
{
    QString path = outputDir;
    if (!path.endsWith(u'/') && !path.endsWith(u'\\'))
        path += QDir::separator();
    return QDir::toNativeSeparators(QDir::cleanPath(QDir::fromNativeSeparators(path + FileName())));
}

void RunLog::Open(const QString &outputDir, bool enabled, const QStringList &commonOptions,
                  const QDateTime &start)
{
    active = false;
    if (!enabled)
        return;
    file.setFileName(PathFor(outputDir));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text))
        return;
    stream.setDevice(&file);
    stream.setEncoding(QStringConverter::Utf8);
    stream.setGenerateByteOrderMark(false);
    active = stream.status() == QTextStream::Ok;
    if (active && Write(QStringLiteral("start: ") + Stamp(start) + u'\n'))
        Write(QStringLiteral("common option : ") + commonOptions.join(u' ') + QStringLiteral("\n\n"));
}

bool RunLog::Write(const QString &text)
{
    if (!active)
        return false;
    stream << text;
    // Flushing each piece puts it in the file at once and lets the status report a full disk.
    stream.flush();
    if (stream.status() != QTextStream::Ok || file.error() != QFileDevice::NoError)
        active = false;
    return active;
}

void RunLog::Append(const QString &block)
{
    Write(block);
}

void RunLog::WriteFooter(const QDateTime &end, const QString &elapsedText)
{
    if (Write(QStringLiteral("end: ") + Stamp(end) + u'\n'))
        Write(QStringLiteral("execution time: ") + elapsedText + u'\n');
}

void RunLog::Close()
{
    stream.setDevice(nullptr);
    file.close();
    active = false;
}
