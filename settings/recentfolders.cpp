#include "settings/recentfolders.h"

void AddRecent(QStringList &list, const QString &text, int maximum)
{
    if (text.isEmpty())
        return;
    list.removeIf([&text](const QString &entry) {
        return entry.compare(text, Qt::CaseInsensitive) == 0;
    });
    list.prepend(text);
    while (list.size() > qMax(0, maximum))
        list.removeLast();
}
