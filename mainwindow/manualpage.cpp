#include "mainwindow/manualpage.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDesktopServices>
#include <QFileInfo>

namespace {
QString ManualFilePath()
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/manual/index.html");
}
} // namespace

QUrl ManualPageUrl(const QString& anchor)
{
    QUrl url = QUrl::fromLocalFile(ManualFilePath());
    if (!anchor.isEmpty())
        url.setFragment(anchor);
    return url;
}

bool OpenManualPage(const QString& anchor)
{
    // The desktop would accept a missing file and show its own error page; we say it plainly.
    if (!QFileInfo::exists(ManualFilePath())) {
        qDebug() << "manual missing :" << ManualFilePath();
        return false;
    }
    return QDesktopServices::openUrl(ManualPageUrl(anchor));
}
