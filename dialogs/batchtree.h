#pragma once

// The rules of the batch selection tree, free of widgets: which state the root shows, what
// a toggle of the root does, and which zone of an entry a click lands in.

#include <QPoint>
#include <QRect>
#include <Qt>

// All children checked (also when there are none): checked; some: partly; none: unchecked.
Qt::CheckState RootCheckState(int checkedChildren, int childCount);

// A toggle of the root's box checks every page when none is checked and clears them all
// otherwise. Returns the state every child (and the root) takes.
Qt::CheckState RootToggleTarget(int checkedChildren);

// A toggled entry: checked becomes unchecked; unchecked or partly checked becomes checked.
Qt::CheckState ToggledState(Qt::CheckState state);

// Where a click at p (viewport coordinates) lands relative to an entry's visual rectangle.
enum class HitZone {
    None,
    Indent,   // left of the entry: the indentation of a child
    CheckBox, // the indicator plus a little margin
    Text,     // the rest of the entry to the right
};
HitZone HitZoneAt(const QRect& entryRect, int indicatorWidth, const QPoint& p);
