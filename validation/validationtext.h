#pragma once

#include <QChar>
#include <QString>

// Every refusal text of the path, folder and name rules, built in one place.
// The fragments are translatable texts of the MainWindow context; field names, paths,
// separators and line breaks are put in between as they are.
namespace ValidationText {

// Field names the folder checks put into their messages.
QString InputFolderField();   // "入力フォルダー"
QString OutputFolderField();  // "出力フォルダー"

// Path-name rules.
QString UnusableCharacters(const QString& field, const QString& path);
QString UncSeparatorPair(const QString& field, const QString& path, QChar separator);
QString UncDeviceNamespace(const QString& field, const QString& path, QChar separator);
QString UncServerName(const QString& field, const QString& path);
QString DriveWithoutRoot(const QString& field, const QString& path);
QString ColonOutsideDrive(const QString& field, const QString& path);
QString RelativeElement(const QString& field, const QString& path);
QString NotAbsolute(const QString& field, const QString& path);

// File-name and folder-name rules.
QString ReservedFolderName(const QString& entry);
QString FilePathInFileName();
QString ReservedFileName(const QString& entry);

// Folder checks.
QString TextTooLong(const QString& field, const QString& text);
QString FolderNotGiven(const QString& field);
QString FolderMissing(const QString& field, const QString& path);
QString InputNotFolder(const QString& field);
QString CanonicalPathTooLong(const QString& field, const QString& path);
QString OutputNotCreated(const QString& field);
QString OutputNotFolder(const QString& field);

} // namespace ValidationText
