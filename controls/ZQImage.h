#pragma once

#include <QIcon>
#include <QImage>
#include <QMetaType>
#include <QPixmap>
#include <QRectF>
#include <QSizeF>
#include <QString>

#include <memory>

class QPainter;

// An image of the application: a vector drawing compiled in as a resource
// (":/images/<name>") or a raster picture, with its size in points. Vector
// images are drawn from their outlines at the painter's device pixel ratio,
// so they stay crisp at ratio 1 and 2. Copies share the same data; the null
// image stands for "no image".
class ZQImage {
public:
    ZQImage() = default;

    // The compiled-in image of that name (file name without extension), or a
    // null image when there is none.
    static ZQImage named(const QString& name);
    // An image file (SVG or any raster format Qt reads); null when unreadable.
    static ZQImage fromFile(const QString& path);
    // A raster picture; its device pixel ratio gives its size in points.
    static ZQImage fromImage(const QImage& image);

    bool isNull() const { return !_d; }
    explicit operator bool() const { return !isNull(); }
    // The compiled-in name, or empty.
    QString name() const;
    // Size in points (the drawing's own width and height).
    QSizeF size() const;
    bool isVector() const;

    // Draws the whole image scaled into `target` (painter coordinates).
    void draw(QPainter* painter, const QRectF& target, qreal opacity = 1.0) const;
    // Draws the part `source` of the image (in points, top-left origin) scaled
    // into `target`.
    void draw(QPainter* painter, const QRectF& target, const QRectF& source) const;
    // Draws the image in its own size with its top-left corner at `topLeft`.
    void drawAt(QPainter* painter, const QPointF& topLeft) const;

    // The image rendered at its own size (or `size` points) for a device pixel
    // ratio; the result carries that ratio.
    QImage toImage(qreal devicePixelRatio = 1.0, QSizeF size = {}) const;
    QPixmap toPixmap(qreal devicePixelRatio = 1.0, QSizeF size = {}) const;
    // An icon that renders sharply at every size and ratio.
    QIcon toIcon() const;

    // Same source (same resource or same shared picture).
    bool operator==(const ZQImage& other) const { return _d == other._d; }
    bool operator!=(const ZQImage& other) const { return _d != other._d; }

    struct Data;

private:
    std::shared_ptr<const Data> _d;
};

Q_DECLARE_METATYPE(ZQImage)
