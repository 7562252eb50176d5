#include "validation/namerules.h"

#include "validation/validationlog.h"
#include "validation/validationtext.h"

#include <QFileInfo>

namespace {

// The entry of refused that equals element without regard to case, or an empty string.
QString RefusedEntry(const QString& element, const QStringList& refused)
{
    if (element.isEmpty())
        return {};
    const QString upper = element.toUpper();
    for (const QString& entry : refused) {
        if (upper == entry)
            return entry;
    }
    return {};
}

} // namespace

QStringList ReservedDeviceNames()
{
    QStringList names{QStringLiteral("AUX"), QStringLiteral("CON"), QStringLiteral("NUL"),
                      QStringLiteral("PRN")};
    for (int i = 0; i <= 9; ++i)
        names << QStringLiteral("COM%1").arg(i);
    for (int i = 0; i <= 9; ++i)
        names << QStringLiteral("LPT%1").arg(i);
    return names;
}

QString FolderPathRefusal(const QString& path, const QString& secondPath, const PathSyntax& syntax)
{
    qCDebug(lcValidation) << "-UnusableFolderPath-";
    // Empty elements (leading, trailing or doubled separators) are kept; they match nothing.
    const QStringList elements = path.split(syntax.separator, Qt::KeepEmptyParts);
    const QStringList secondElements = secondPath.split(syntax.separator, Qt::KeepEmptyParts);
    qCDebug(lcValidation) << elements;
    qCDebug(lcValidation) << secondElements;

    QStringList refused{QStringLiteral("..")};
    refused << ReservedDeviceNames();

    for (const QStringList* list : {&elements, &secondElements}) {
        for (const QString& element : *list) {
            const QString entry = RefusedEntry(element, refused);
            if (!entry.isEmpty())
                return ValidationText::ReservedFolderName(entry);
        }
    }
    return {};
}

QString FileNameRefusal(const QString& fileName, const PathSyntax& syntax)
{
    qCDebug(lcValidation) << "-UnusableFileName-";
    const QStringList elements = fileName.split(syntax.separator, Qt::KeepEmptyParts);
    qCDebug(lcValidation) << elements;
    if (elements.size() >= 2)
        return ValidationText::FilePathInFileName();

    // Everything before the last dot: "con.txt" is the device CON, "con.tar.gz" is not.
    const QString entry = RefusedEntry(QFileInfo(fileName).completeBaseName(), ReservedDeviceNames());
    if (!entry.isEmpty())
        return ValidationText::ReservedFileName(entry);
    return {};
}
