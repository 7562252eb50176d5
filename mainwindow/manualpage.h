#pragma once

#include <QString>
#include <QUrl>

// The manual ships with the program (folder "manual" beside the executable), so it opens
// without a network. anchor names a section of the page, or is empty for the top.
QUrl ManualPageUrl(const QString& anchor = QString());

// Opens the manual in the desktop's default browser. False when the page is missing or the
// desktop refuses; the caller shows its own message.
bool OpenManualPage(const QString& anchor = QString());
