#pragma once

// The three recently-used lists offered by the folder and stamp boxes of every page.

#include <QString>
#include <QStringList>

namespace RecentLimits {
inline constexpr int kMaxEntries = 20;
}

struct RecentFolders
{
    QStringList inputHistory;   // most recent first
    QStringList outputHistory;  // most recent first
    QStringList stampHistory;   // most recent first

    bool operator==(const RecentFolders &) const = default;
};

// Puts text at the front of a history: every entry equal to it ignoring letter case goes,
// then entries beyond maximum are dropped from the end. An empty text leaves the list as it is.
void AddRecent(QStringList &list, const QString &text, int maximum = RecentLimits::kMaxEntries);
