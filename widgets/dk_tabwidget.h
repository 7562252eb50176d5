#pragma once

#include <QTabWidget>

class QMouseEvent;

// A tab widget that tells which mouse button was pressed on a tab. The tab bar
// reports the tab index first (tabBarClicked); the button is only known when
// the press reaches this widget, so the index waits here until then.
class DK_TabWidget : public QTabWidget
{
    Q_OBJECT

public:
    explicit DK_TabWidget(QWidget* parent = nullptr);

signals:
    void tabBarRightClicked(int index);
    void tabBarWheelClicked(int index);
    void tabBarLeftClicked(int index);

public slots:
    void checkTabBarClickedButton(int index);

protected:
    void mousePressEvent(QMouseEvent* event) override;

private:
    bool tabClickPending = false;
    int clickedTabIndex = 0;
};
