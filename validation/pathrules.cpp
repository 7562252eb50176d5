#include "validation/pathrules.h"

#include "validation/namerules.h"
#include "validation/validationlog.h"
#include "validation/validationtext.h"

#include <QStringView>

namespace {

bool IsAsciiDigit(QChar ch)
{
    const char16_t c = ch.unicode();
    const bool digit = c >= u'0' && c <= u'9';
    if (!digit) {
        qCDebug(lcValidation) << ch;
        qCDebug(lcValidation) << "数字ではありません";
    }
    return digit;
}

// Occurrences of the pair, overlapping ones included: three separators in a row are two.
qsizetype CountSeparatorPairs(QStringView path, QChar separator)
{
    qsizetype count = 0;
    for (qsizetype i = 0; i + 1 < path.size(); ++i) {
        if (path[i] == separator && path[i + 1] == separator)
            ++count;
    }
    return count;
}

} // namespace

bool HasNoUnusableCharacters(const QString& text, bool withSeparators)
{
    static constexpr QStringView kAlways = u"?*\"<>|";
    static constexpr QStringView kSeparators = u"\\/:";
    for (const QChar ch : text) {
        if (kAlways.contains(ch) || (withSeparators && kSeparators.contains(ch)))
            return false;
    }
    return true;
}

bool IsAsciiLetter(QChar ch)
{
    const char16_t c = ch.unicode();
    const bool letter = (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z');
    if (!letter) {
        qCDebug(lcValidation) << ch;
        qCDebug(lcValidation) << "アルファベットではありません";
    }
    return letter;
}

void ChangePathDelimiter(QString& path, const PathSyntax& syntax)
{
    path.replace(QChar(u'/'), syntax.separator);
    path.replace(QChar(u'\\'), syntax.separator);
}

void ChangePathDelimiter(QString& path)
{
    ChangePathDelimiter(path, PathSyntax::Native());
}

QString PathNameRefusal(const QString& path, const QString& fieldName, const PathSyntax& syntax)
{
    using namespace ValidationText;
    const QChar s = syntax.separator;
    qCDebug(lcValidation) << "==========IsValidPathName S==========";
    qCDebug(lcValidation) << "Path :" << path;

    for (const QChar ch : path) {
        if (ch.unicode() < 0x20) {
            qCDebug(lcValidation) << "コントロールコードが入っています。";
            return UnusableCharacters(fieldName, path);
        }
    }
    if (!HasNoUnusableCharacters(path, false)) {
        qCDebug(lcValidation) << "使用不可の文字が使用されていました。";
        qCDebug(lcValidation) << path;
        return UnusableCharacters(fieldName, path);
    }

    if (path.size() >= 2) {
        const qsizetype pairs = CountSeparatorPairs(path, s);
        const auto separatorPairRefusal = [&] {
            qCDebug(lcValidation) << "先頭以外にも\"\\\"があったらNG";
            return UncSeparatorPair(fieldName, path, s);
        };
        if (path[0] == s && path[1] == s) {
            if (pairs > 1)
                return separatorPairRefusal();
            if (path.size() > 3 && path[2] == u'.' && path[3] == s) {
                qCDebug(lcValidation) << "\\\\.\\～はWin32 APIに対して特殊機能となるのでNG";
                return UncDeviceNamespace(fieldName, path, s);
            }
            if (path.size() > 2 && !IsAsciiLetter(path[2]) && !IsAsciiDigit(path[2])) {
                qCDebug(lcValidation) << "UNCの確認　アルファベットではなかった";
                return UncServerName(fieldName, path);
            }
            if (QString refusal = FolderPathRefusal(path, QString(), syntax); !refusal.isEmpty())
                return refusal;
        } else if (pairs > 0) {
            // A doubled separator anywhere else is refused with the same text.
            return separatorPairRefusal();
        }

        const auto colonRefusal = [&] {
            qCDebug(lcValidation) << "ドライブ指定以外の部分で':'が使われていたらNG";
            return ColonOutsideDrive(fieldName, path);
        };
        if (IsAsciiLetter(path[0]) && path[1] == u':') {
            if (path.size() < 3 || path[2] != s) {
                qCDebug(lcValidation) << "ドライブ名付きのためルート指定が必要です。";
                return DriveWithoutRoot(fieldName, path);
            }
            if (path.count(QChar(u':')) > 1)
                return colonRefusal();
            if (QString refusal = FolderPathRefusal(path, QString(), syntax); !refusal.isEmpty())
                return refusal;
        } else if (path.contains(QChar(u':'))) {
            return colonRefusal();
        }
    }

    if (QString refusal = FolderPathRefusal(path, QString(), syntax); !refusal.isEmpty())
        return refusal;
    // A "." element, or an element ending in a dot, before a separator. ".." never gets here.
    if (path.contains(QString(QChar(u'.')) + s)) {
        qCDebug(lcValidation) << "相対パスはNG";
        return RelativeElement(fieldName, path);
    }
    if (!syntax.IsAbsolute(path)) {
        qCDebug(lcValidation) << "絶対パスではありません。";
        return NotAbsolute(fieldName, path);
    }
    qCDebug(lcValidation) << "==========IsValidPathName E==========";
    return {};
}
