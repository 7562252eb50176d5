#include "widgets/dk_textcombox.h"

#include <QChildEvent>
#include <QDebug>
#include <QDragEnterEvent>
#include <QDragMoveEvent>
#include <QDropEvent>
#include <QMimeData>

DK_TextCombox::DK_TextCombox(QWidget* parent)
    : QComboBox(parent)
{
    setAcceptDrops(true);
}

void DK_TextCombox::showPopup()
{
    emit popupAboutToShow();
    QComboBox::showPopup();
}

bool DK_TextCombox::event(QEvent* event)
{
    // The line edit of an editable box is a child that accepts drops on its own; every child's
    // drag events are taken here before it sees them.
    if (event->type() == QEvent::ChildAdded) {
        QObject* child = static_cast<QChildEvent*>(event)->child();
        if (child->isWidgetType())
            child->installEventFilter(this);
    }
    return QComboBox::event(event);
}

bool DK_TextCombox::eventFilter(QObject* watched, QEvent* event)
{
    if (watched->parent() == this) {
        switch (event->type()) {
        case QEvent::DragEnter:
            dragEnterEvent(static_cast<QDragEnterEvent*>(event));
            return true;
        case QEvent::DragMove:
            dragMoveEvent(static_cast<QDragMoveEvent*>(event));
            return true;
        case QEvent::DragLeave:
            return true;
        case QEvent::Drop:
            dropEvent(static_cast<QDropEvent*>(event));
            return true;
        default:
            break;
        }
    }
    return QComboBox::eventFilter(watched, event);
}

void DK_TextCombox::AcceptDrag(QDropEvent* event)
{
    // Leaving the event ignored is what refuses the drag; the proposed action
    // (copy, move, link) is the source's business.
    if (isDrop)
        event->accept();
}

void DK_TextCombox::dragEnterEvent(QDragEnterEvent* event)
{
    AcceptDrag(event);
}

void DK_TextCombox::dragMoveEvent(QDragMoveEvent* event)
{
    AcceptDrag(event);
}

void DK_TextCombox::dropEvent(QDropEvent* event)
{
    qDebug() << "==========DK_LineEdit S==========";
    qDebug() << "lineEditにdropEventが発生";
    qDebug() << "isDrop is" << isDrop;
    if (!isDrop)
        return;
    if (event == nullptr) {
        qDebug() << "event is nullptr";
        return;
    }
    const QMimeData* mime = event->mimeData();
    if (mime == nullptr) {
        qDebug() << "mimeData in event is nullptr";
        return;
    }
    const QList<QUrl> urls = mime->urls();
    qDebug() << "dropしたitemのリストを表示します。";
    qDebug() << urls;

    // The receiver checks the paths and decides what the box shows; the base
    // class would paste the raw text, so it is deliberately not called.
    emit singalMimeDataUrls(this, urls);

    qDebug() << "lineEditに表示するテキストを表示します。";
    qDebug() << currentText();
    qDebug() << "==========DK_LineEdit E==========";
}
