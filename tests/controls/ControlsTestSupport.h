#pragma once

#include <QColor>
#include <QImage>
#include <QPainter>
#include <QPointF>
#include <QWidget>

#include <cmath>

// Rendering helpers for the control tests: widgets are rendered into images
// at a fixed device pixel ratio and their colours are read at named points
// given in points (device-independent pixels).
namespace controls_test {

inline QImage render(QWidget* widget, qreal ratio = 1.0, QColor background = Qt::transparent) {
    const QSize pixels(int(std::ceil(widget->width() * ratio)),
                       int(std::ceil(widget->height() * ratio)));
    QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(background);
    widget->render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
    return image;
}

// The colour of the device pixel covering the point (x, y) in points,
// measured from the top left.
inline QColor at(const QImage& image, qreal x, qreal y) {
    const qreal ratio = image.devicePixelRatio();
    return QColor::fromRgba(image.pixel(int(std::floor(x * ratio)), int(std::floor(y * ratio))));
}

// Same, with y measured from the bottom of an image `height` points tall.
inline QColor atFromBottom(const QImage& image, qreal x, qreal yFromBottom) {
    const qreal height = image.height() / image.devicePixelRatio();
    return at(image, x, height - yFromBottom - 1e-3);
}

inline bool near(const QColor& a, const QColor& b, int tolerance = 3) {
    return std::abs(a.red() - b.red()) <= tolerance &&
           std::abs(a.green() - b.green()) <= tolerance &&
           std::abs(a.blue() - b.blue()) <= tolerance &&
           std::abs(a.alpha() - b.alpha()) <= tolerance;
}

inline QString describe(const QColor& c) {
    return QStringLiteral("rgba(%1,%2,%3,%4)")
        .arg(c.red())
        .arg(c.green())
        .arg(c.blue())
        .arg(c.alpha());
}

}  // namespace controls_test

#define COMPARE_COLOR(actual, expected)                                                            \
    do {                                                                                           \
        const QColor a_ = (actual);                                                                \
        const QColor e_ = (expected);                                                              \
        if (!controls_test::near(a_, e_)) {                                                        \
            QFAIL(qPrintable(QStringLiteral("colour %1, expected %2")                              \
                                 .arg(controls_test::describe(a_), controls_test::describe(e_)))); \
        }                                                                                          \
    } while (false)
