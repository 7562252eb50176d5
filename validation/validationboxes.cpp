// The rule functions as the rest of the application calls them: native path syntax, and a
// refusal shown in the standard warning box.

#include "validation/folderchecks.h"
#include "validation/namerules.h"
#include "validation/pathrules.h"
#include "validation/warningbox.h"

namespace {

bool AcceptOrWarn(QWidget* parent, const QString& refusal)
{
    if (refusal.isEmpty())
        return true;
    ShowWarningBox(parent, refusal);
    return false;
}

bool CheckFolderPathWithBox(QWidget* parent, QString& path, FolderRole role)
{
    const FolderCheckResult result = CheckFolderPath(role, path, PathSyntax::Native());
    path = result.path;
    return AcceptOrWarn(parent, result.refusal);
}

} // namespace

bool IsValidPathName(QWidget* parent, const QString& path, const QString& fieldName)
{
    return AcceptOrWarn(parent, PathNameRefusal(path, fieldName, PathSyntax::Native()));
}

bool UnusableFolderPath(QWidget* parent, const QString& path, const QString& secondPath)
{
    return AcceptOrWarn(parent, FolderPathRefusal(path, secondPath, PathSyntax::Native()));
}

bool UnusableFileName(QWidget* parent, const QString& fileName)
{
    return AcceptOrWarn(parent, FileNameRefusal(fileName, PathSyntax::Native()));
}

bool CheckInputFolderPath(QWidget* parent, QString& inputPath)
{
    return CheckFolderPathWithBox(parent, inputPath, FolderRole::Input);
}

bool CheckOutputFolderPath(QWidget* parent, QString& outputPath)
{
    return CheckFolderPathWithBox(parent, outputPath, FolderRole::Output);
}
