#include "dialogs/busyguard.h"

#include <QDialog>
#include <QKeyEvent>

BusyGuard::BusyGuard(QDialog* dialog)
{
    dialog->installEventFilter(this);
}

bool BusyGuard::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::Close && !finished) {
        event->ignore();
        return true;
    }
    if (event->type() == QEvent::KeyPress && static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) {
        event->accept();
        return true;
    }
    return QObject::eventFilter(watched, event);
}
