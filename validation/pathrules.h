#pragma once

#include "validation/pathsyntax.h"

#include <QChar>
#include <QString>

class QWidget;

// True when text holds none of ? * " < > | and, with withSeparators, none of \ / : either.
// Pure, safe from any thread.
bool HasNoUnusableCharacters(const QString& text, bool withSeparators);

// True for 'A'..'Z' and 'a'..'z' only; letters of other scripts are not ASCII letters.
bool IsAsciiLetter(QChar ch);

// Replaces every "/" and "\" of path, in place, by the separator of the syntax
// (the one-argument form: by the native separator). Safe from any thread.
void ChangePathDelimiter(QString& path, const PathSyntax& syntax);
void ChangePathDelimiter(QString& path);

// Refusal of the path-name rules for a folder path whose separators are already normalised:
// the message of the first rule that fails, naming fieldName and quoting the path; empty when
// the path is acceptable. Includes the folder-name rule (".." and reserved device names).
// Pure, safe from any thread.
QString PathNameRefusal(const QString& path, const QString& fieldName, const PathSyntax& syntax);

// The path-name rules with the native syntax; a refusal is shown in the standard warning box.
// Returns true when the path is acceptable. Never changes the path.
bool IsValidPathName(QWidget* parent, const QString& path, const QString& fieldName);
