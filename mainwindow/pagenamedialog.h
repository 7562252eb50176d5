#pragma once

// The rules a page name must meet, and the dialog that asks for one until it does.

#include <QString>
#include <QStringList>

class QWidget;

// One entry of the name dialog, judged. name is the entry as it would be kept: line breaks
// removed, surrounding blanks trimmed and, when too long, cut to the longest allowed (so the
// dialog can offer it again). refusal is empty when the name is accepted, else the message.
struct PageNameCheck
{
    QString name;
    QString refusal;
};

// takenNames: the names of the other pages; a name equal to one of them (letter case counts)
// is refused.
PageNameCheck CheckPageName(const QString& entered, const QStringList& takenNames);

// Shows the modal name dialog, parent's child, until the entry passes CheckPageName (each
// refusal in the standard warning box) or the user cancels. name is the starting text and is
// replaced only when the dialog is accepted.
bool AskPageName(QWidget* parent, QString& name, const QStringList& takenNames, const QString& okText,
                 const QString& cancelText);
