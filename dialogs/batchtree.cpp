#include "dialogs/batchtree.h"

Qt::CheckState RootCheckState(int checkedChildren, int childCount)
{
    if (checkedChildren >= childCount)
        return Qt::Checked;
    return checkedChildren > 0 ? Qt::PartiallyChecked : Qt::Unchecked;
}

Qt::CheckState RootToggleTarget(int checkedChildren)
{
    return checkedChildren > 0 ? Qt::Unchecked : Qt::Checked;
}

Qt::CheckState ToggledState(Qt::CheckState state)
{
    return state == Qt::Checked ? Qt::Unchecked : Qt::Checked;
}

HitZone HitZoneAt(const QRect& entryRect, int indicatorWidth, const QPoint& p)
{
    if (p.y() < entryRect.top() || p.y() > entryRect.bottom())
        return HitZone::None;
    if (p.x() < entryRect.left())
        return HitZone::Indent;
    // A little beyond the indicator still counts: the box is small and sits in a margin.
    const int checkRight = entryRect.left() + indicatorWidth + 8;
    if (p.x() < checkRight)
        return HitZone::CheckBox;
    if (p.x() <= entryRect.right())
        return HitZone::Text;
    return HitZone::None;
}
