#pragma once

#include "validation/pathsyntax.h"

#include <QString>

class QWidget;

// Longest folder text accepted, before and after it is brought into canonical form.
inline constexpr qsizetype kMaxFolderPathLength = 255;

enum class FolderRole { Input, Output };

struct FolderCheckResult
{
    // What the caller's text becomes: the canonical path (separators normalised, trimmed,
    // exactly one trailing separator) when accepted; after a refusal, the text with its
    // separators normalised, or unchanged when it was refused for its raw length.
    QString path;
    // The message of the first failing check; empty when accepted.
    QString refusal;

    bool Accepted() const { return refusal.isEmpty(); }
};

// Checks a folder text before a run. Input: the folder must exist. Output: the folder is
// created with its missing parents first (and stays, even if a later check refuses), then
// must exist and be a folder. Widget-free; touches the file system through QDir/QFileInfo.
FolderCheckResult CheckFolderPath(FolderRole role, const QString& text, const PathSyntax& syntax);

// The checks with the native syntax: a refusal is shown in the standard warning box and
// false returned; the caller's text is replaced by FolderCheckResult::path either way.
bool CheckInputFolderPath(QWidget* parent, QString& inputPath);
bool CheckOutputFolderPath(QWidget* parent, QString& outputPath);
