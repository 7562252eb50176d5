#pragma once

// The command-line switch that starts a run: "autostart" written with "-" or "/" before it.
// Shared by the first show (own arguments) and the single-instance server (a later start's).

#include <QString>
#include <QStringList>

// A switch is a non-empty argument that begins with "-" or "/".
bool IsSwitchArgument(const QString& argument);
// "-autostart" or "/autostart", exactly: not the bare word, not "--autostart", not capitals.
bool IsAutostartSwitch(const QString& argument);
// The first argument after the program path, or "" when there is none.
QString FirstArgument(const QStringList& arguments);
