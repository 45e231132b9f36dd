#pragma once

#include <QFlags>
#include <QPointF>
#include <QRect>
#include <QRectF>
#include <QSizeF>

class QWidget;

// Frames in this application are written as (x, y, width, height) in points,
// measured from the LOWER-LEFT corner of the parent (y grows upwards), the
// way the window descriptions give them. Qt measures from the top-left. Every
// control and page converts through the helpers below, so that page code keeps
// the numbers of its window description as they stand.
//
//   zq::controls::placeAt(button, 65, 35, 260, 182);   // from the lower left
//
// A child placed with placeAt() keeps its distance to the parent's BOTTOM edge
// when the parent is resized (the default behaviour of an unflipped view with
// no autoresizing); pass AutoresizingMask flags for other behaviours.
namespace zq::controls {

// How a placed child follows its parent's resizing. The values are those of
// the window descriptions' autoresizing masks, so they can be copied as they
// stand. Flexible margins and sizes share the change in proportion, as usual.
enum class Autoresizing : unsigned {
    None = 0,
    MinXMargin = 1,      // left margin flexible
    WidthSizable = 2,    // width follows the parent
    MaxXMargin = 4,      // right margin flexible
    MinYMargin = 8,      // bottom margin flexible
    HeightSizable = 16,  // height follows the parent
    MaxYMargin = 32,     // top margin flexible
};
Q_DECLARE_FLAGS(AutoresizingMask, Autoresizing)
Q_DECLARE_OPERATORS_FOR_FLAGS(AutoresizingMask)

// A frame measured from the lower left of a parent `parentHeight` tall, in
// Qt's top-left coordinates (and back: the conversion is its own inverse).
QRectF toTopLeft(const QRectF& bottomLeftFrame, qreal parentHeight);
QRectF toBottomLeft(const QRectF& topLeftRect, qreal parentHeight);
// Integer form for widget geometry: rounds each edge to the nearest pixel.
QRect toTopLeftRect(const QRectF& bottomLeftFrame, int parentHeight);
// A point (x, y from the bottom) in top-left coordinates.
QPointF toTopLeft(const QPointF& bottomLeftPoint, qreal parentHeight);
// The top-left position of an item `itemHeight` tall whose lower-left origin
// is `bottomLeftOrigin` (for icons and titles drawn at an origin).
QPointF topLeftOfItem(const QPointF& bottomLeftOrigin, qreal itemHeight, qreal parentHeight);

// Places `child` in its parent widget at `frame` (from the lower left) and
// keeps it there as the parent resizes, following `mask`. Calling it again
// replaces the frame. A widget with no parent takes only the frame's size.
void placeAt(QWidget* child, const QRectF& frame, AutoresizingMask mask = Autoresizing::None);
void placeAt(QWidget* child, qreal x, qreal y, qreal width, qreal height,
             AutoresizingMask mask = Autoresizing::None);

// The child's current frame measured from its parent's lower left (its
// geometry when it has no parent).
QRectF frameOf(const QWidget* child);

// Changes only the size of a placed child, keeping its lower-left origin
// (as setting a frame's size does in the window descriptions).
void setFrameSize(QWidget* child, const QSizeF& size);
// Changes only the lower-left origin of a placed child.
void setFrameOrigin(QWidget* child, const QPointF& bottomLeftOrigin);

}  // namespace zq::controls
