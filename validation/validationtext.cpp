#include "validation/validationtext.h"

#include <QCoreApplication>

// The calls to QCoreApplication::translate are spelled out so that lupdate finds every text.

namespace ValidationText {

namespace {

const QString kLineBreak = QStringLiteral("\n");

QString Invalid(const QString& field)
{
    return field + QCoreApplication::translate("MainWindow", "の指定が無効です。");
}

QString InvalidWithBreak(const QString& field)
{
    return field + QCoreApplication::translate("MainWindow", "の指定が無効です。\n");
}

} // namespace

QString InputFolderField()
{
    return QCoreApplication::translate("MainWindow", "入力フォルダー");
}

QString OutputFolderField()
{
    return QCoreApplication::translate("MainWindow", "出力フォルダー");
}

QString UnusableCharacters(const QString& field, const QString& path)
{
    return QCoreApplication::translate("MainWindow", "Unusable characters : ") + field
        + QCoreApplication::translate("MainWindow", "\n使用不可の文字が使用されています。\n") + path;
}

QString UncSeparatorPair(const QString& field, const QString& path, QChar separator)
{
    return InvalidWithBreak(field) + QCoreApplication::translate("MainWindow", "UNCパスの先頭以外で「")
        + separator + separator
        + QCoreApplication::translate("MainWindow", "」が使用されています。\n") + path;
}

QString UncDeviceNamespace(const QString& field, const QString& path, QChar separator)
{
    return InvalidWithBreak(field) + QCoreApplication::translate("MainWindow", "UNCパスに「")
        + separator + separator + QChar(u'.') + separator
        + QCoreApplication::translate("MainWindow", "」が使用されています。\n") + path;
}

QString UncServerName(const QString& field, const QString& path)
{
    return InvalidWithBreak(field)
        + QCoreApplication::translate("MainWindow", "UNCパスにアルファベットや数字以外が使用されています。\n")
        + path;
}

QString DriveWithoutRoot(const QString& field, const QString& path)
{
    return Invalid(field) + kLineBreak
        + QCoreApplication::translate("MainWindow", "ルート指定ではありませんでした。") + kLineBreak + path;
}

QString ColonOutsideDrive(const QString& field, const QString& path)
{
    // The closing corner bracket after the full stop belongs to the text as it has always been shown.
    return Invalid(field) + kLineBreak
        + QCoreApplication::translate("MainWindow", "ドライブ指定以外で「:」が使用されていました。」")
        + kLineBreak + path;
}

QString RelativeElement(const QString& field, const QString& path)
{
    return Invalid(field) + kLineBreak
        + QCoreApplication::translate("MainWindow", "相対パスが使用されていました。") + kLineBreak + path;
}

QString NotAbsolute(const QString& field, const QString& path)
{
    return Invalid(field) + kLineBreak
        + QCoreApplication::translate("MainWindow", "絶対パスではありませんでした。") + kLineBreak + path;
}

QString ReservedFolderName(const QString& entry)
{
    return QCoreApplication::translate("MainWindow", "指定されたパスには、使用できないフォルダー名\"") + entry
        + QCoreApplication::translate("MainWindow", "\"が含まれています");
}

QString FilePathInFileName()
{
    return QCoreApplication::translate("MainWindow", "ファイル名の処理の部分にファイルパスが入っています。");
}

QString ReservedFileName(const QString& entry)
{
    return QCoreApplication::translate("MainWindow", "指定されたファイル名には、使用できない文字\"") + entry
        + QCoreApplication::translate("MainWindow", "\"が含まれています");
}

QString TextTooLong(const QString& field, const QString& text)
{
    return field
        + QCoreApplication::translate("MainWindow", "の指定が無効です。\nファイルパスが許容値を超えています。\n")
        + text;
}

QString FolderNotGiven(const QString& field)
{
    return field + QCoreApplication::translate("MainWindow", "を指定してください。");
}

QString FolderMissing(const QString& field, const QString& path)
{
    return field + QCoreApplication::translate("MainWindow", "が存在しませんでした。") + kLineBreak + path;
}

QString InputNotFolder(const QString& field)
{
    return field
        + QCoreApplication::translate("MainWindow", "でフォルダーを指定していません。\nフォルダーを指定してください。");
}

QString CanonicalPathTooLong(const QString& field, const QString& path)
{
    return QCoreApplication::translate("MainWindow", "内部処理後のファイルパスが許容値を超えています。\n") + field
        + QStringLiteral(" : ") + path;
}

QString OutputNotCreated(const QString& field)
{
    return field + QCoreApplication::translate("MainWindow", "を生成出来ませんでした。");
}

QString OutputNotFolder(const QString& field)
{
    return field + QCoreApplication::translate("MainWindow", "はフォルダーではありませんでした。");
}

} // namespace ValidationText
