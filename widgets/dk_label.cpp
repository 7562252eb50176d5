#include "widgets/dk_label.h"

#include <QCursor>
#include <QEnterEvent>
#include <QFont>
#include <QMouseEvent>

DK_Label::DK_Label(QWidget* parent)
    : QLabel(parent)
{
    QFont f = font();
    f.setUnderline(true);
    setFont(f);
    setStyleSheet(QStringLiteral("QLabel {   color: rgb(255,0,0);}"));
}

void DK_Label::SetHandCursor(bool on)
{
    handCursor = on;
}

void DK_Label::mouseReleaseEvent(QMouseEvent* event)
{
    // A signal with a result returns the last direct receiver's value and a
    // default-constructed one (false) when nobody listens.
    const bool handled = emit clicked(event->position().toPoint(),
                                      event->button() == Qt::RightButton);
    if (!handled)
        QLabel::mouseReleaseEvent(event);
}

void DK_Label::enterEvent(QEnterEvent* event)
{
    if (handCursor)
        setCursor(Qt::PointingHandCursor);
    QLabel::enterEvent(event);
}

void DK_Label::leaveEvent(QEvent* event)
{
    if (handCursor)
        setCursor(Qt::ArrowCursor);
    QLabel::leaveEvent(event);
}
