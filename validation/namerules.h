#pragma once

#include "validation/pathsyntax.h"

#include <QString>
#include <QStringList>

class QWidget;

// Names Windows keeps for devices, in their fixed order: AUX, CON, NUL, PRN, COM0..COM9,
// LPT0..LPT9 (24 names). Built fresh at each call.
QStringList ReservedDeviceNames();

// Refusal of the folder-name rule: the message for the first element of path, then of
// secondPath, that equals ".." or a reserved device name without regard to case; empty
// when no element is refused. Pure, safe from any thread.
QString FolderPathRefusal(const QString& path, const QString& secondPath, const PathSyntax& syntax);

// Refusal of the file-name rule for a bare file name: a name holding the separator, or whose
// complete base name is a reserved device name; empty when acceptable. Pure, safe from any thread.
QString FileNameRefusal(const QString& fileName, const PathSyntax& syntax);

// The same rules with the native syntax, showing a refusal in the standard warning box.
// Return true when accepted. Callable from worker threads (see ShowWarningBox).
bool UnusableFolderPath(QWidget* parent, const QString& path, const QString& secondPath);
bool UnusableFileName(QWidget* parent, const QString& fileName);
