#pragma once

#include <QList>
#include <QPointF>
#include <QRectF>
#include <QSizeF>
#include <QString>

#include <functional>

// The measures of the help list and the feedback form, as plain functions.
// Every frame is (x, y, width, height) in points measured from the LOWER-LEFT
// corner of its parent, as the windows place their controls
// (zq::controls::placeAt).
namespace zq::help::geometry {

inline constexpr qreal kCollapsedRowHeight = 37;
inline constexpr qreal kExpandedRowHeight = 320;
// The title label turns this orange under the pointer and in an open row.
inline constexpr int kHoverRed = 245, kHoverGreen = 94, kHoverBlue = 36;

// Where the parts of a help row go, for a list `width` wide.
struct CellLayout {
    QRectF cell;          // the whole row (its height is the row height)
    QRectF titleStrip;    // the clickable strip holding the title
    QRectF titleLabel;    // inside the strip
    QRectF dividingLine;  // 1 point, grey 228/255
    bool contentVisible = false;
    QRectF content;  // grey 247/255, inside the cell
    // Inside the content area; shown by the entry's layout (`dataType`).
    bool briefVisible = false;
    QRectF brief;
    bool detailVisible = false;
    QRectF detail;
    bool pictureVisible = false;
    // The loading picture's frame; a real picture is placed by pictureFrame().
    QRectF placeholder;
};

// The row of an entry of layout `dataType`, open or closed. An entry of an
// unknown layout shows its title strip only.
CellLayout cellLayout(qreal width, bool expanded, qint64 dataType);

// Row height of a row, open (320) or closed (37).
inline qreal rowHeight(bool expanded) {
    return expanded ? kExpandedRowHeight : kCollapsedRowHeight;
}

// Where a picture of `size` goes in the content area of an entry of layout
// `dataType`: a tall picture (height / width above 0.85) at most 230 high, a
// wide one at most 270 wide, centred on the layout's picture centre ((0, 0)
// for an unknown layout). An empty size gives an empty frame at the centre.
QRectF pictureFrame(const QSizeF& size, qint64 dataType);

// The picture viewer showing a picture of `picture` size on a screen of
// `screen` size: a picture larger than the screen in one direction is made
// 60 narrower or 50 lower than the screen there.
struct ViewerLayout {
    QRectF window;  // on the screen, from its lower left
    QRectF background;
    QRectF closeButton;
    QRectF picture;
};
ViewerLayout viewerLayout(const QSizeF& picture, const QSizeF& screen);

// The title of a picture chip: the file name, or, when it has 7 or more
// characters and is wider than 90 points, its first n characters and "..."
// for the smallest n from 6 on whose width reaches 88 points (n = length - 1
// when none does). `width` measures a text in the chips' font.
QString chipTitle(const QString& fileName, const std::function<qreal(const QString&)>& width);

// The chips' frames in their row, for their titles' widths: 5 points apart
// (the first at x 5), each 40 wider than its title, 20 high.
QList<QRectF> chipFrames(const QList<qreal>& titleWidths);
// Where a chip's delete icon goes, inside the chip.
QPointF chipDeleteIconOrigin(const QRectF& chip);

// The contact field's y: 115 while pictures are attached, 143 without.
qreal contactFieldY(bool hasPictures);

}  // namespace zq::help::geometry
