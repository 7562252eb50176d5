#include "validation/pathsyntax.h"

#include <QDir>
#include <QFileInfo>

namespace {

bool NativeIsAbsolute(QStringView path)
{
    return !QFileInfo(path.toString()).isRelative();
}

bool WindowsIsAbsolute(QStringView path)
{
    const auto isAsciiLetter = [](QChar ch) {
        const char16_t c = ch.unicode();
        return (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z');
    };
    // A drive letter without its root ("C:Images") is relative to that drive's current folder.
    if (path.size() >= 3 && isAsciiLetter(path[0]) && path[1] == u':' && path[2] == u'\\')
        return true;
    return path.startsWith(u"\\\\");
}

} // namespace

PathSyntax PathSyntax::Native()
{
    return PathSyntax{QDir::separator(), &NativeIsAbsolute};
}

PathSyntax PathSyntax::Windows()
{
    return PathSyntax{QChar(u'\\'), &WindowsIsAbsolute};
}
