#pragma once

#include <QTreeWidget>

class QMouseEvent;

// A tree that offers its mouse releases, double clicks and moves to handlers first; a handler
// that returns true consumes the event, so the view's own handling never sees it.
// Handlers must be connected directly (same thread) for their results to come back.
class MyTreeWidget : public QTreeWidget
{
    Q_OBJECT

public:
    explicit MyTreeWidget(QWidget* parent = nullptr);

signals:
    // Positions are in viewport coordinates. Without a handler each yields false.
    bool leftClicked(const QPoint& pos);
    bool rightClicked(const QPoint& pos);
    bool leftDoubleClicked(const QPoint& pos);
    bool signalMouseMoveEvent(QMouseEvent* event);

protected:
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
};
