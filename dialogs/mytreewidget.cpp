#include "dialogs/mytreewidget.h"

#include <QMouseEvent>

MyTreeWidget::MyTreeWidget(QWidget* parent) : QTreeWidget(parent) {}

// A signal returning bool yields the last handler's result, or a default-constructed false
// when nobody listens, which leaves the event to the view.
void MyTreeWidget::mouseReleaseEvent(QMouseEvent* event)
{
    bool consumed = false;
    const QPoint pos = event->position().toPoint();
    if (event->button() == Qt::LeftButton)
        consumed = emit leftClicked(pos);
    else if (event->button() == Qt::RightButton)
        consumed = emit rightClicked(pos);
    if (!consumed)
        QTreeWidget::mouseReleaseEvent(event);
}

void MyTreeWidget::mouseDoubleClickEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton && emit leftDoubleClicked(event->position().toPoint()))
        return;
    QTreeWidget::mouseDoubleClickEvent(event);
}

void MyTreeWidget::mouseMoveEvent(QMouseEvent* event)
{
    if (emit signalMouseMoveEvent(event))
        return;
    QTreeWidget::mouseMoveEvent(event);
}
