#include "mainwindow/screenfit.h"

QPoint FitFrameOnScreens(const QRect& frame, const QList<QRect>& availableGeometries)
{
    if (availableGeometries.isEmpty())
        return frame.topLeft();

    qint64 bestArea = 0;
    QRect target = availableGeometries.first();
    for (const QRect& geometry : availableGeometries) {
        const QRect overlap = geometry.intersected(frame);
        const qint64 area = overlap.isEmpty() ? 0 : qint64(overlap.width()) * overlap.height();
        if (area > bestArea) {
            bestArea = area;
            target = geometry;
        }
    }

    QRect moved = frame;
    if (moved.right() > target.right())
        moved.moveRight(target.right());
    if (moved.bottom() > target.bottom())
        moved.moveBottom(target.bottom());
    if (moved.left() < target.left())
        moved.moveLeft(target.left());
    if (moved.top() < target.top())
        moved.moveTop(target.top());
    return moved.topLeft();
}
