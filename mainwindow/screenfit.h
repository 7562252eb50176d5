#pragma once

#include <QList>
#include <QPoint>
#include <QRect>

// Where a window frame must go so that it lies on a screen: the screen it overlaps most (the
// first on a tie, the first screen when it overlaps none), with its right and bottom edges pulled
// in first and its left and top edges after, so a frame larger than the screen keeps its
// top-left corner visible. Returns the frame's new top-left corner.
QPoint FitFrameOnScreens(const QRect& frame, const QList<QRect>& availableGeometries);
