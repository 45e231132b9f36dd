#include "controls/ZQDrawingUtils.h"

#include <QEvent>
#include <QFontMetricsF>
#include <QPaintDevice>
#include <QPainter>

#include <cmath>

#include "controls/ZQFonts.h"

namespace {

// A part from coordinates growing upwards (origin at the lower left of an
// area `height` tall) to top-left coordinates.
QRectF flipped(const QRectF& part, qreal height) {
    return {part.x(), height - part.y() - part.height(), part.width(), part.height()};
}

bool hasArea(const QRectF& r) {
    return r.width() > 0 && r.height() > 0;
}

void drawPart(QPainter* painter, const QImage& raster, const QRectF& source, const QRectF& target,
              int hStyle, int vStyle) {
    const qreal ratio = raster.devicePixelRatio();
    const QRectF sourcePixels(source.x() * ratio, source.y() * ratio, source.width() * ratio,
                              source.height() * ratio);
    const bool tileH = hStyle == ZQDrawingUtils::Tile && target.width() > source.width();
    const bool tileV = vStyle == ZQDrawingUtils::Tile && target.height() > source.height();
    // A part on whole pixels is cut out first, so smooth scaling never
    // blends in the pixels of the neighbouring parts.
    const QRect whole = sourcePixels.toRect();
    const bool onWholePixels = QRectF(whole) == sourcePixels;
    const QImage partImage = onWholePixels ? raster.copy(whole) : QImage();
    if (!tileH && !tileV) {
        if (onWholePixels) {
            painter->drawImage(target, partImage);
        } else {
            painter->drawImage(target, raster, sourcePixels);
        }
        return;
    }
    // One tile: the source stretched along the axes that do not tile.
    const QSizeF tileSize(tileH ? source.width() : target.width(),
                          tileV ? source.height() : target.height());
    QImage tile(QSize(std::max(1, int(std::ceil(tileSize.width() * ratio))),
                      std::max(1, int(std::ceil(tileSize.height() * ratio)))),
                QImage::Format_ARGB32_Premultiplied);
    tile.fill(Qt::transparent);
    {
        QPainter tilePainter(&tile);
        tilePainter.setRenderHint(QPainter::SmoothPixmapTransform);
        if (onWholePixels) {
            tilePainter.drawImage(QRectF(QPointF(0, 0), QSizeF(tile.size())), partImage);
        } else {
            tilePainter.drawImage(QRectF(QPointF(0, 0), QSizeF(tile.size())), raster, sourcePixels);
        }
    }
    tile.setDevicePixelRatio(ratio);
    painter->save();
    painter->setClipRect(target, Qt::IntersectClip);
    painter->drawTiledPixmap(target, QPixmap::fromImage(tile));
    painter->restore();
}

}  // namespace

QRectF ZQDrawingUtils::fittedCenterRect(const QRectF& center, const QSizeF& imageSize) {
    qreal cx = std::max<qreal>(0, center.x());
    qreal cy = std::max<qreal>(0, center.y());
    qreal cw = std::max<qreal>(0, center.width());
    qreal ch = std::max<qreal>(0, center.height());
    const qreal w = imageSize.width();
    const qreal h = imageSize.height();
    if (cx + cw > w) {
        if (cx < w) {
            cw = w - cx;
        } else {
            return {0, 0, w, h};
        }
    }
    if (cy + ch > h) {
        if (cy < h) {
            ch = h - cy;
        } else {
            return {0, 0, w, h};
        }
    }
    return {cx, cy, cw, ch};
}

bool ZQDrawingUtils::rectsOf9PartWithCenterRect(const QRectF& center, const QRectF& outer,
                                                Parts* outRects) {
    Parts parts{};
    if (center.x() + center.width() > outer.width() ||
        center.y() + center.height() > outer.height()) {
        if (outRects) {
            *outRects = parts;
        }
        return false;
    }
    const float x0 = float(outer.x());
    const float x1 = x0 + float(center.x());
    const float x2 = x1 + float(center.width());
    const float x3 = x0 + float(outer.width());
    const float y0 = float(outer.y());
    const float y1 = y0 + float(center.y());
    const float y2 = y1 + float(center.height());
    const float y3 = y0 + float(outer.height());
    const float xs[4] = {x0, x1, x2, x3};
    const float ys[4] = {y0, y1, y2, y3};
    for (int row = 0; row < 3; ++row) {
        for (int col = 0; col < 3; ++col) {
            parts[size_t(row * 3 + col)] =
                QRectF(qreal(xs[col]), qreal(ys[row]), qreal(xs[col + 1] - xs[col]),
                       qreal(ys[row + 1] - ys[row]));
        }
    }
    if (outRects) {
        *outRects = parts;
    }
    return true;
}

ZQDrawingUtils::Parts ZQDrawingUtils::destinationParts(const QRectF& c, const QSizeF& imageSize,
                                                       const QSizeF& destSize, qreal resize) {
    const qreal left = std::ceil(c.x() * resize);
    const qreal bottom = std::ceil(c.y() * resize);
    const qreal right = std::ceil((imageSize.width() - c.x() - c.width()) * resize);
    const qreal top = std::ceil((imageSize.height() - c.y() - c.height()) * resize);
    const QRectF destCenter(left, bottom, destSize.width() - left - right,
                            destSize.height() - bottom - top);
    Parts parts{};
    rectsOf9PartWithCenterRect(destCenter, QRectF(QPointF(0, 0), destSize), &parts);
    return parts;
}

void ZQDrawingUtils::draw9PatchImage(QPainter* painter, const ZQImage& image,
                                     const QRectF& centerRect, const QRectF& destRect) {
    draw9PatchImage(painter, image, centerRect, destRect, Stretch, Stretch, 1.0);
}

void ZQDrawingUtils::draw9PatchImage(QPainter* painter, const ZQImage& image,
                                     const QRectF& centerRect, const QRectF& destRect, int hStyle,
                                     int vStyle, qreal resize) {
    if (!painter || image.isNull() || !hasArea(destRect)) {
        return;
    }
    const QSizeF imageSize = image.size();
    const QRectF center = fittedCenterRect(centerRect, imageSize);
    if (center.width() <= 0 || center.height() <= 0) {
        image.draw(painter, destRect);
        return;
    }
    Parts sourceParts{};
    rectsOf9PartWithCenterRect(center, QRectF(QPointF(0, 0), imageSize), &sourceParts);
    const Parts destParts = destinationParts(center, imageSize, destRect.size(), resize);

    // The parts are put together in an image of the destination's size first,
    // so that neighbouring parts meet without seams, then drawn in one go.
    const QPaintDevice* device = painter->device();
    const qreal ratio = device && device->devicePixelRatio() > 0 ? device->devicePixelRatio() : 1;
    const QImage raster = image.toImage(ratio);
    QImage offscreen(QSize(std::max(1, int(std::ceil(destRect.width() * ratio - 1e-6))),
                           std::max(1, int(std::ceil(destRect.height() * ratio - 1e-6)))),
                     QImage::Format_ARGB32_Premultiplied);
    offscreen.setDevicePixelRatio(ratio);
    offscreen.fill(Qt::transparent);
    {
        QPainter partsPainter(&offscreen);
        partsPainter.setRenderHint(QPainter::SmoothPixmapTransform);
        partsPainter.setCompositionMode(QPainter::CompositionMode_SourceOver);
        for (size_t i = 0; i < sourceParts.size(); ++i) {
            if (!hasArea(sourceParts[i]) || !hasArea(destParts[i])) {
                continue;
            }
            const QRectF source = flipped(sourceParts[i], imageSize.height());
            const QRectF target = flipped(destParts[i], destRect.height());
            const int col = int(i % 3);
            const int row = int(i / 3);
            drawPart(&partsPainter, raster, source, target, col == 1 ? hStyle : Stretch,
                     row == 1 ? vStyle : Stretch);
        }
    }
    painter->save();
    painter->setCompositionMode(QPainter::CompositionMode_SourceOver);
    painter->setOpacity(1.0);
    painter->drawImage(QRectF(destRect.topLeft(), QSizeF(offscreen.size()) / ratio), offscreen);
    painter->restore();
}

// ---- ZQCustomFieldCell ------------------------------------------------------

ZQCustomFieldCell::ZQCustomFieldCell(const QFont& font) : _font(font) {}

void ZQCustomFieldCell::setFont(const QFont& font) {
    _font = font;
    _lineHeight = 0;
}

int ZQCustomFieldCell::verticalInset(qreal frameHeight) {
    if (_lineHeight <= 0) {
        _lineHeight = zq::controls::defaultLineHeight(_font);
    }
    const qreal ascender = zq::controls::fontAscender(_font);
    const qreal descender = std::abs(zq::controls::fontDescender(_font));
    const qreal offset = std::floor((frameHeight - std::ceil(_lineHeight)) / 2) -
                         (_lineHeight - (ascender + descender)) / 2;
    return int(std::trunc(offset));
}

QRectF ZQCustomFieldCell::adjustedFrameToVerticallyCenterText(const QRectF& frame) {
    const int inset = verticalInset(frame.height());
    return frame.adjusted(0, inset, 0, -inset);
}

// ---- ZQCustomTextField ------------------------------------------------------

ZQCustomTextField::ZQCustomTextField(QWidget* parent) : QLineEdit(parent) {
    setup();
}

ZQCustomTextField::ZQCustomTextField(const QString& text, QWidget* parent)
    : QLineEdit(text, parent) {
    setup();
}

void ZQCustomTextField::setup() {
    setFrame(false);
    setDrawsBackground(false);
    _cell.setFont(font());
    applyInset();
}

void ZQCustomTextField::setDrawsBackground(bool draws) {
    QPalette p = palette();
    if (!draws) {
        p.setColor(QPalette::Base, Qt::transparent);
    } else {
        p.setColor(QPalette::Base, QPalette().color(QPalette::Base));
    }
    setPalette(p);
    setAttribute(Qt::WA_TranslucentBackground, !draws);
}

void ZQCustomTextField::setTextColor(const QColor& color) {
    QPalette p = palette();
    p.setColor(QPalette::Text, color);
    setPalette(p);
}

void ZQCustomTextField::applyInset() {
    // A field lower than one line keeps its whole height for the text.
    const int inset = std::max(0, _cell.verticalInset(height()));
    QMargins m = textMargins();
    m.setTop(inset);
    m.setBottom(inset);
    setTextMargins(m);
}

void ZQCustomTextField::resizeEvent(QResizeEvent* event) {
    applyInset();
    QLineEdit::resizeEvent(event);
}

void ZQCustomTextField::changeEvent(QEvent* event) {
    if (event->type() == QEvent::FontChange) {
        _cell.setFont(font());
        applyInset();
    }
    QLineEdit::changeEvent(event);
}
