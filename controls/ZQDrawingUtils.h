#pragma once

#include <QFont>
#include <QLineEdit>
#include <QRectF>

#include <array>

#include "controls/ZQImage.h"

class QPainter;

// Drawing helpers of the custom controls.
//
// Nine-part images: a centre rectangle C = (cx, cy, cw, ch) in the image's
// own points, measured from its LOWER-LEFT corner, divides the image into a
// 3 × 3 grid. Corners keep their size, edges stretch along their edge, the
// centre stretches both ways.
class ZQDrawingUtils {
public:
    // How an edge or the centre fills its destination along one axis.
    enum PartStyle { Stretch = 0, Tile = 1 };

    using Parts = std::array<QRectF, 9>;

    // Draws `image` into `destRect` (painter coordinates) in nine parts
    // around `centerRect`; the form with both styles Stretch and scale 1.
    static void draw9PatchImage(QPainter* painter, const ZQImage& image, const QRectF& centerRect,
                                const QRectF& destRect);
    // `resize` scales the fixed margins (corners) before they are rounded up.
    static void draw9PatchImage(QPainter* painter, const ZQImage& image, const QRectF& centerRect,
                                const QRectF& destRect, int hStyle, int vStyle, qreal resize);

    // The nine part rectangles of `outer` around `center` (relative to the
    // outer rectangle's origin). Coordinates grow upwards (y from the bottom):
    // parts are listed by row from the bottom row up and, within a row, from
    // left to right. All nine are zero when the centre does not fit. Grid
    // lines are computed in single precision. Returns false when zero.
    static bool rectsOf9PartWithCenterRect(const QRectF& center, const QRectF& outer,
                                           Parts* outRects);

    // The centre rectangle after the fitting rules (negative components to
    // 0, cut at the right or top edge, or the whole image when it starts
    // outside the image).
    static QRectF fittedCenterRect(const QRectF& center, const QSizeF& imageSize);

    // Destination parts for an image of `imageSize` with `centerRect`
    // (already fitted) drawn into a destination of `destSize`, in the same
    // bottom-up order and coordinates, relative to the destination's origin.
    static Parts destinationParts(const QRectF& centerRect, const QSizeF& imageSize,
                                  const QSizeF& destSize, qreal resize = 1.0);
};

// Centres one line of text vertically in a frame: the frame is inset on top
// and bottom by
//   floor((height − ceil(lineHeight)) / 2) − (lineHeight − (ascender + descender)) / 2
// truncated to a whole number, with the font's default line height.
class ZQCustomFieldCell {
public:
    explicit ZQCustomFieldCell(const QFont& font = QFont());

    void setFont(const QFont& font);
    QFont font() const { return _font; }
    // 0 until first computed.
    qreal lineHeight() const { return _lineHeight; }

    QRectF adjustedFrameToVerticallyCenterText(const QRectF& frame);
    // The vertical inset used (may be negative for frames lower than a line).
    int verticalInset(qreal frameHeight);

private:
    QFont _font;
    qreal _lineHeight = 0;
};

// A single-line text field (editable, or read-only as a label) whose text is
// drawn, edited and selected in the frame adjusted by ZQCustomFieldCell.
// No frame, transparent background unless setDrawsBackground(true).
class ZQCustomTextField : public QLineEdit {
    Q_OBJECT

public:
    explicit ZQCustomTextField(QWidget* parent = nullptr);
    ZQCustomTextField(const QString& text, QWidget* parent = nullptr);

    void setDrawsBackground(bool draws);
    void setTextColor(const QColor& color);

protected:
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void setup();
    void applyInset();

    ZQCustomFieldCell _cell;
};
