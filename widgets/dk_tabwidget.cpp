#include "widgets/dk_tabwidget.h"

#include "widgets/dk_tabbar.h"

#include <QDebug>
#include <QMouseEvent>

DK_TabWidget::DK_TabWidget(QWidget* parent)
    : QTabWidget(parent)
{
    setTabBar(new DK_TabBar(this));
    connect(this, &QTabWidget::tabBarClicked, this, &DK_TabWidget::checkTabBarClickedButton);
}

void DK_TabWidget::checkTabBarClickedButton(int index)
{
    qDebug() << "right";
    tabClickPending = true;
    clickedTabIndex = index;
}

void DK_TabWidget::mousePressEvent(QMouseEvent* event)
{
    // The tab bar has already reported the index; right and middle presses
    // are passed on to us by QTabBar, which is where the button becomes known.
    if (tabClickPending) {
        switch (event->button()) {
        case Qt::RightButton:
            qDebug() << "right";
            emit tabBarRightClicked(clickedTabIndex);
            break;
        case Qt::LeftButton:
            emit tabBarLeftClicked(clickedTabIndex);
            break;
        case Qt::MiddleButton:
            emit tabBarWheelClicked(clickedTabIndex);
            break;
        default:
            break;
        }
        tabClickPending = false;
    }
    QTabWidget::mousePressEvent(event);
}
