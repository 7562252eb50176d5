#include "mainwindow/runhistories.h"

namespace {

void PushPage(RecentFolders& histories, const RunPageFolders& page)
{
    // AddRecent leaves a list alone for an empty text.
    AddRecent(histories.inputHistory, page.input, RecentLimits::kMaxEntries);
    AddRecent(histories.outputHistory, page.output, RecentLimits::kMaxEntries);
    AddRecent(histories.stampHistory, page.stamp, RecentLimits::kMaxEntries);
}

} // namespace

bool AnyPageChecked(const QList<RunPageFolders>& tabs)
{
    for (const RunPageFolders& tab : tabs)
        if (tab.checked)
            return true;
    return false;
}

void PushRunFolders(RecentFolders& histories, const QList<RunPageFolders>& tabs, int currentIndex)
{
    if (AnyPageChecked(tabs)) {
        for (qsizetype i = tabs.size() - 1; i >= 0; --i)
            if (tabs.at(i).checked && tabs.at(i).exists)
                PushPage(histories, tabs.at(i));
        return;
    }
    if (currentIndex >= 0 && currentIndex < tabs.size() && tabs.at(currentIndex).exists)
        PushPage(histories, tabs.at(currentIndex));
}
