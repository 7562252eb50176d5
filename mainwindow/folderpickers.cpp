#include "mainwindow/folderpickers.h"

#include "validation/pathrules.h"

#include <QCoreApplication>
#include <QDebug>
#include <QFileInfo>
#include <QStandardPaths>

#ifdef Q_OS_WIN
#include <QSettings>
#endif

namespace {

QString Tr(const char* source)
{
    return QCoreApplication::translate("TabTemplate", source);
}

QString WithTrailingSeparator(QString path, const PathSyntax& syntax)
{
    ChangePathDelimiter(path, syntax);
    if (!path.endsWith(syntax.separator))
        path += syntax.separator;
    return path;
}

// "X:" alone names no folder a dialog can start in; a leading colon is no usable path at all.
bool IsBareDriveOrColon(const QString& path)
{
    return path.startsWith(QLatin1Char(':')) || (path.size() == 2 && path[1] == QLatin1Char(':'));
}

// One level up; a root ("\", "/", "C:\") is its own parent.
QString ParentPath(QString path, QChar separator)
{
    const auto isDriveRoot = [](const QString& p) { return p.size() == 3 && p[1] == QLatin1Char(':'); };
    while (path.size() > 1 && path.endsWith(separator) && !isDriveRoot(path))
        path.chop(1);
    const qsizetype cut = path.lastIndexOf(separator);
    if (cut < 0 || cut == path.size() - 1)
        return path;
    QString parent = path.left(cut);
    if (parent.isEmpty() || (parent.size() == 2 && parent[1] == QLatin1Char(':')))
        parent += separator;
    return parent;
}

} // namespace

bool IsExistingFolder(const QString& path)
{
    return !path.isEmpty() && QFileInfo(path).isDir();
}

QString DesktopFolder()
{
#ifdef Q_OS_WIN
    // The shell's own setting follows a desktop moved to another drive or a synced folder.
    const QSettings shell(QStringLiteral("HKEY_CURRENT_USER\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion"
                                         "\\Explorer\\Shell Folders"),
                          QSettings::NativeFormat);
    const QString desktop = shell.value(QStringLiteral("Desktop")).toString();
    if (!desktop.isEmpty())
        return desktop;
#endif
    return QStandardPaths::writableLocation(QStandardPaths::DesktopLocation);
}

QString FileDialogOpenDir(const QString& dir, const QString& desktop, const PathSyntax& syntax,
                          const FolderTest& isFolder)
{
    const QString trimmed = dir.trimmed();
    const QString start = !trimmed.isEmpty() && isFolder(trimmed) ? trimmed : desktop;
    return start.isEmpty() ? start : WithTrailingSeparator(start, syntax);
}

void GetFileDialogOpenDir(QString& dir)
{
    dir = FileDialogOpenDir(dir, DesktopFolder(), PathSyntax::Native(), IsExistingFolder);
    qDebug() << "Open dir :" << dir;
}

FolderVerdict CheckChosenFolder(const QString& chosen, const QString& fieldName, int maxLength,
                                const PathSyntax& syntax)
{
    if (chosen.isEmpty())
        return {};
    const QString path = WithTrailingSeparator(chosen, syntax);
    const QString refusal = PathNameRefusal(path, fieldName, syntax);
    if (!refusal.isEmpty())
        return {QString(), refusal};
    if (path.size() > maxLength)
        return {QString(), PickerText::PathTooLong()};
    return {path, QString()};
}

FolderVerdict CheckDroppedFolder(const QList<QUrl>& urls, const QString& fieldName, int maxLength,
                                 const PathSyntax& syntax, const FolderTest& isFolder)
{
    if (urls.size() != 1)
        return {QString(), PickerText::DropOneFolder()};
    const QString local = urls.first().toLocalFile();
    if (local.isEmpty())
        return {};
    const QString path = WithTrailingSeparator(local, syntax);
    const QString refusal = PathNameRefusal(path, fieldName, syntax);
    if (!refusal.isEmpty())
        return {QString(), refusal};
    if (!isFolder(path))
        return {QString(), PickerText::NotAFolder()};
    if (path.size() > maxLength)
        return {QString(), PickerText::PathTooLong()};
    return {path, QString()};
}

QString StampDialogStartDir(const QString& text, const QString& desktop, const PathSyntax& syntax,
                            const FolderTest& isFolder)
{
    QString path = text;
    if (path.isEmpty() || !syntax.IsAbsolute(path))
        path = FileDialogOpenDir(path, desktop, syntax, isFolder);
    while (syntax.IsAbsolute(path) && !IsBareDriveOrColon(path) && !isFolder(path)) {
        const QString parent = ParentPath(path, syntax.separator);
        if (parent == path)
            break;
        path = parent;
    }
    if (!isFolder(path) || IsBareDriveOrColon(path))
        path = FileDialogOpenDir(QString(), desktop, syntax, isFolder);
    return path;
}

namespace PickerText {
QString PathTooLong()
{
    return Tr("パスが長すぎる可能性があります。\n"
              "短いパスに変更して再実行するか、またはより短いパス名の場所に移動して試してください。");
}
QString DropOneFolder() { return Tr("フォルダー1つだけをドロップしてください。"); }
QString NotAFolder() { return Tr("not a folder."); }
QString FolderMissingShowDesktop() { return Tr("フォルダーが存在しません。\nデスクトップを表示します。"); }
QString OpenButton() { return Tr("開く(&O)"); }
QString CancelButton() { return Tr("キャンセル"); }
QString BrowseEntry() { return Tr("フォルダーを参照(&B)..."); }
QString OpenInFileManagerEntry() { return Tr("エクスプローラーで開く(&O)"); }
QString StampFileFilter()
{
    return Tr("スタンプファイル (*.png *.webp *.avif *.gif);;PNGファイル (*.png);;WebPファイル (*.webp);;"
              "AVIFファイル (*.avif);;GIFファイル (*.gif);;すべてのファイル (*.*)");
}
} // namespace PickerText
