#include "widgets/dk_tabbar.h"

#include "widgets/dk_tabwidget.h"

#include <QFontMetrics>
#include <QResizeEvent>

DK_TabBar::DK_TabBar(DK_TabWidget* parent)
    : QTabBar(parent)
{
    if (parent != nullptr)
        parent->installEventFilter(this);
}

bool DK_TabBar::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == parentWidget() && event->type() == QEvent::Resize) {
        const auto* resize = static_cast<QResizeEvent*>(event);
        if (resize->size().width() != resize->oldSize().width()) {
            // A font change is QTabBar's own cue to forget its measured tabs
            // and lay them out again; the widths here depend on the same kind
            // of outside measure.
            QEvent relayout(QEvent::FontChange);
            changeEvent(&relayout);
        }
    }
    return QTabBar::eventFilter(watched, event);
}

QSize DK_TabBar::tabSizeHint(int index) const
{
    const int count = this->count();
    if (index < 0 || index >= count)
        return QTabBar::tabSizeHint(index);

    // The available room is the tab widget's width, not the bar's own: the bar
    // is laid out from these hints, so its width would feed back into them.
    const QWidget* host = parentWidget();
    const qint64 available = host != nullptr ? host->width() : width();

    const QFontMetrics metrics(font());
    QList<qint64> widths;
    widths.reserve(count);
    qint64 total = 0;
    for (int i = 0; i < count; ++i) {
        const qint64 w = metrics.horizontalAdvance(tabText(i)) + kTabExtraWidth;
        widths.append(w);
        total += w;
    }

    if (total <= available)
        return QSize(int(widths[index]), kTabHeight);

    qint64 result = available * widths[index] / total;
    if (index == count - 1) {
        // Integer division loses a few pixels per tab; the last tab takes them
        // so the row ends flush with the widget's edge.
        qint64 used = 0;
        for (const qint64 w : widths)
            used += available * w / total;
        const qint64 lost = available - used;
        if (lost > 0)
            result += lost;
    }
    return QSize(int(result), kTabHeight);
}
