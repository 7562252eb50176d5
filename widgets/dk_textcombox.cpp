#include "widgets/dk_textcombox.h"

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
