#pragma once

#include <QStringList>
#include <QTextCursor>
#include <QTextEdit>

// Appends each line as a paragraph of its own, always as plain text: QTextEdit::append would
// take a file name that happens to look like markup for rich text.
inline void AppendPlainLines(QTextEdit* edit, const QStringList& lines)
{
    QTextCursor cursor(edit->document());
    cursor.movePosition(QTextCursor::End);
    for (const QString& line : lines) {
        if (!edit->document()->isEmpty())
            cursor.insertBlock();
        cursor.insertText(line);
    }
}
