#pragma once

#include <QDebug>
#include <QString>

// Marks an operation's entry and, on every way out, its exit in the debug log.
class OperationMarker
{
public:
    explicit OperationMarker(const char* name) : name(name) { Log('S'); }
    ~OperationMarker() { Log('E'); }
    OperationMarker(const OperationMarker&) = delete;
    OperationMarker& operator=(const OperationMarker&) = delete;

private:
    void Log(char phase) const
    {
        qDebug().noquote() << QStringLiteral("==========%1 %2==========").arg(QLatin1String(name), QChar::fromLatin1(phase));
    }
    const char* name;
};
