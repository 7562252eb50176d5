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
    // What QFileInfo::isRelative() answers on Windows: a path that starts with a separator
    // (a UNC path, or the root of the current drive, "\Images\") or that has a colon as its
    // second character is not relative. A drive without its root ("C:Images") is refused by
    // the drive-letter rule before this test is reached.
    if (path.isEmpty())
        return false;
    if (path[0] == u'\\' || path[0] == u'/')
        return true;
    return path.size() >= 2 && path[1] == u':';
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
