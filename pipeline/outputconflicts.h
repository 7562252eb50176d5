#pragma once

// Input files of one folder that differ only in their extension would be written to the same
// output file once the output format changes the extension.

#include <QString>
#include <QStringList>

// Examines files[start..] and appends the conflicting entries to conflicts in groups: the
// first file of a base name, then the later files with the same base name (compared without
// regard to case), in list order. Entries already in conflicts are not listed again.
void FindNameConflicts(const QStringList &files, qsizetype start, QStringList *conflicts);
