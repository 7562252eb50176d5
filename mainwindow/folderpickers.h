#pragma once

// What the folder and stamp boxes of a page accept from a dialog or a drop, as functions of the
// path syntax, so the Windows forms can be checked on any platform. A folder test stands in for
// the file system where a rule looks at it.

#include "validation/pathsyntax.h"

#include <QList>
#include <QString>
#include <QUrl>

#include <functional>

using FolderTest = std::function<bool(const QString& path)>;

// The file system's answer, for the native syntax.
bool IsExistingFolder(const QString& path);

// The user's desktop: the shell's own folder setting on Windows, the standard location elsewhere.
QString DesktopFolder();

// The folder a folder or file dialog opens at: dir (trimmed) when it names an existing folder,
// otherwise desktop; ends in one separator unless empty.
QString FileDialogOpenDir(const QString& dir, const QString& desktop, const PathSyntax& syntax,
                          const FolderTest& isFolder);
// The same for this machine, in place.
void GetFileDialogOpenDir(QString& dir);

// What a box does with a chosen or dropped folder: take path, or show message; both empty when
// there is nothing to do (a dialog cancelled, a dropped address that is no local file).
struct FolderVerdict
{
    QString path;
    QString message;
};

// A folder picked in the folder chooser, for a box that holds at most maxLength characters.
FolderVerdict CheckChosenFolder(const QString& chosen, const QString& fieldName, int maxLength,
                                const PathSyntax& syntax);

// The addresses dropped on a folder box: exactly one, a local folder, passing the path rules and
// short enough for the box (which would otherwise cut it silently).
FolderVerdict CheckDroppedFolder(const QList<QUrl>& urls, const QString& fieldName, int maxLength,
                                 const PathSyntax& syntax, const FolderTest& isFolder);

// The folder the stamp file dialog opens at: the nearest existing folder above the box's text,
// or the desktop when there is none or only a bare drive is left.
QString StampDialogStartDir(const QString& text, const QString& desktop, const PathSyntax& syntax,
                            const FolderTest& isFolder);

// Texts of the pickers, in the page editor's context.
namespace PickerText {
QString PathTooLong();
QString DropOneFolder();
QString NotAFolder();
QString FolderMissingShowDesktop();
QString OpenButton();
QString CancelButton();
QString BrowseEntry();
QString OpenInFileManagerEntry();
QString StampFileFilter();
} // namespace PickerText
