#pragma once

// Which folders a successful run adds to the three histories. Kept free of widgets so that the
// order rules can be checked without a window.

#include "settings/recentfolders.h"

#include <QList>
#include <QString>

// What one tab contributes: its check flag, whether it has a page at all, and the texts of its
// input, output and stamp boxes as they stood for the run.
struct RunPageFolders
{
    bool checked = false;
    bool exists = false;
    QString input;
    QString output;
    QString stamp;
};

// Pushes the folders of the pages that took part in a run to the front of the histories.
// In a batch (any tab checked) the checked pages are visited from the last tab to the first,
// so the first checked page ends up in front; otherwise only the current tab counts.
// Empty texts are never added; every list keeps at most RecentLimits::kMaxEntries entries.
void PushRunFolders(RecentFolders& histories, const QList<RunPageFolders>& tabs, int currentIndex);

// True when any tab is checked: a run then covers the checked pages, not the current one.
bool AnyPageChecked(const QList<RunPageFolders>& tabs);
