#include "validation/folderchecks.h"

#include "validation/pathrules.h"
#include "validation/validationlog.h"
#include "validation/validationtext.h"

#include <QDir>
#include <QFileInfo>

namespace {

// The folder as the file system is asked about it. Without the trailing separator a file
// given as a folder is found as the file it is, instead of as a missing entry; a root
// ("/", "C:/") keeps its separator.
QFileInfo Probe(const QString& canonicalPath)
{
    return QFileInfo(QDir::cleanPath(canonicalPath));
}

} // namespace

FolderCheckResult CheckFolderPath(FolderRole role, const QString& text, const PathSyntax& syntax)
{
    using namespace ValidationText;
    const bool input = role == FolderRole::Input;
    const QString field = input ? InputFolderField() : OutputFolderField();
    qCDebug(lcValidation).noquote() << (input ? "==========CheckInputFolderPath S=========="
                                              : "==========CheckOutputFolderPath S==========");
    qCDebug(lcValidation) << (input ? "inputPath :" : "outputPath :") << text;

    FolderCheckResult result{text, {}};
    if (text.size() > kMaxFolderPathLength) {
        result.refusal = TextTooLong(field, text);
        return result;
    }

    ChangePathDelimiter(result.path, syntax);
    QString canonical = result.path.trimmed();
    qCDebug(lcValidation) << (input ? "trimmedInputPath :" : "trimmedOutputPath :") << canonical;
    if (canonical.isEmpty()) {
        result.refusal = FolderNotGiven(field);
        return result;
    }
    if (!canonical.endsWith(syntax.separator))
        canonical += syntax.separator;

    if (QString refusal = PathNameRefusal(canonical, field, syntax); !refusal.isEmpty()) {
        result.refusal = refusal;
        return result;
    }

    if (input) {
        const QFileInfo info = Probe(canonical);
        if (!info.exists()) {
            result.refusal = FolderMissing(field, canonical);
            return result;
        }
        if (!info.isDir()) {
            result.refusal = InputNotFolder(field);
            return result;
        }
    } else {
        qCDebug(lcValidation) << "createDir :" << canonical;
        // An existing folder is left as it is; whether creation worked is read off the disk below.
        QDir().mkpath(canonical);
        const QFileInfo info = Probe(canonical);
        if (!info.exists()) {
            result.refusal = OutputNotCreated(field);
            return result;
        }
        if (!info.isDir()) {
            result.refusal = OutputNotFolder(field);
            return result;
        }
    }

    // The appended separator can carry a text of exactly the limit over it.
    if (canonical.size() > kMaxFolderPathLength) {
        result.refusal = CanonicalPathTooLong(field, canonical);
        return result;
    }

    result.path = canonical;
    qCDebug(lcValidation) << "問題なし";
    qCDebug(lcValidation).noquote() << (input ? "==========CheckInputFolderPath E=========="
                                              : "==========CheckOutputFolderPath E==========");
    return result;
}
