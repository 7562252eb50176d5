#pragma once

#include <QChar>
#include <QStringView>

// The path syntax that the rules judge a path by. The program always uses Native();
// Windows() lets the Windows forms (drive letters, UNC, backslashes) be exercised on any
// platform, so the rules behave the same wherever they are built.
struct PathSyntax
{
    using AbsoluteTest = bool (*)(QStringView path);

    QChar separator;
    AbsoluteTest isAbsolute = nullptr;

    bool IsAbsolute(QStringView path) const { return isAbsolute != nullptr && isAbsolute(path); }

    // QDir::separator() and !QFileInfo::isRelative() of the running platform.
    static PathSyntax Native();
    // Backslash; absolute as QFileInfo judges it on Windows: the path begins with a separator
    // ("\\server\", "\Images\") or its second character is a colon.
    static PathSyntax Windows();
};
