#include "mainwindow/autostart.h"

bool IsSwitchArgument(const QString& argument)
{
    return !argument.isEmpty() && (argument.front() == QLatin1Char('-') || argument.front() == QLatin1Char('/'));
}

bool IsAutostartSwitch(const QString& argument)
{
    return IsSwitchArgument(argument) && argument.mid(1) == QLatin1String("autostart");
}

QString FirstArgument(const QStringList& arguments)
{
    return arguments.size() > 1 ? arguments.at(1) : QString();
}
