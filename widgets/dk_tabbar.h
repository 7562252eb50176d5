#pragma once

#include <QSize>
#include <QTabBar>

class QEvent;

class DK_TabWidget;

// Tabs as wide as their text plus room for icon and padding, squeezed in
// proportion when they would not fit the tab widget's width.
class DK_TabBar : public QTabBar
{
    Q_OBJECT

public:
    explicit DK_TabBar(DK_TabWidget* parent = nullptr);

    static constexpr int kTabHeight = 32;
    static constexpr int kTabExtraWidth = 74;

protected:
    QSize tabSizeHint(int index) const override;
    // Watches the tab widget: its width feeds the size hints, but QTabBar only
    // lays its tabs out again when the tabs or the bar itself change.
    bool eventFilter(QObject* watched, QEvent* event) override;
};
