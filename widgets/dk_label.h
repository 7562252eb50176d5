#pragma once

#include <QLabel>
#include <QPoint>

class QEnterEvent;
class QEvent;
class QMouseEvent;

// A label that acts as a link: underlined red text, an optional pointing hand
// and a click signal whose receiver may swallow the release.
class DK_Label : public QLabel
{
    Q_OBJECT

public:
    explicit DK_Label(QWidget* parent = nullptr);

    void SetHandCursor(bool on);
    bool HandCursor() const { return handCursor; }

signals:
    // The receiver's result decides whether the release still reaches QLabel:
    // true ends the event here, false (or no receiver) passes it on.
    bool clicked(QPoint pos, bool rightClick = false);

protected:
    void mouseReleaseEvent(QMouseEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    bool handCursor = false;
};
