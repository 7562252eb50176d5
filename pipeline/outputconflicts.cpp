#include "pipeline/outputconflicts.h"

#include <QFileInfo>
#include <QHash>
#include <QList>

void FindNameConflicts(const QStringList &files, qsizetype start, QStringList *conflicts)
{
    // Grouping by base name gives the same groups, in the same order, as comparing every
    // entry with every later one, without the quadratic cost on folders of many thousand files.
    QHash<QString, QList<qsizetype>> groups;
    QList<QString> order;
    for (qsizetype i = start; i < files.size(); ++i) {
        const QString key = QFileInfo(files.at(i)).completeBaseName().toCaseFolded();
        auto it = groups.find(key);
        if (it == groups.end()) {
            order.append(key);
            groups.insert(key, {i});
        } else {
            it->append(i);
        }
    }
    for (const QString &key : order) {
        const QList<qsizetype> &members = groups[key];
        if (members.size() < 2)
            continue;
        for (qsizetype index : members) {
            if (!conflicts->contains(files.at(index)))
                conflicts->append(files.at(index));
        }
    }
}
