#include "controls/ZQImage.h"

#include "controls/ControlsLog.h"
#include "platform/FileRead.h"

#include <QFile>
#include <QHash>
#include <QIconEngine>
#include <QImageReader>
#include <QMutex>
#include <QMutexLocker>
#include <QPaintDevice>
#include <QPainter>
#include <QSvgRenderer>

#include <cmath>

Q_LOGGING_CATEGORY(lcControls, "vesko.controls")

struct ZQImage::Data {
    QString name;
    std::shared_ptr<QSvgRenderer> svg;  // vector image
    QImage raster;                      // raster image
    QSizeF size;                        // points

    // Rasterised copies of a vector image at its own size, by ratio × 100.
    mutable QMutex cacheMutex;
    mutable QHash<int, QImage> rasterCache;
};

namespace {

std::shared_ptr<ZQImage::Data> loadData(const QString& path, const QString& name) {
    const std::optional<QByteArray> read = platform::readFile(path, platform::ReadLimit::kPicture);
    if (!read) {
        return nullptr;
    }
    const QByteArray& bytes = *read;
    auto data = std::make_shared<ZQImage::Data>();
    data->name = name;
    const QByteArray head = bytes.left(512).trimmed();
    if (head.startsWith("<?xml") || head.startsWith("<svg") || head.contains("<svg")) {
        auto renderer = std::make_shared<QSvgRenderer>(bytes);
        if (!renderer->isValid()) {
            return nullptr;
        }
        renderer->setAspectRatioMode(Qt::IgnoreAspectRatio);
        data->svg = renderer;
        QSizeF size = renderer->viewBoxF().size();
        const QSize declared = renderer->defaultSize();
        if (declared.isValid() && !declared.isEmpty()) {
            size = QSizeF(declared);
        }
        data->size = size;
        return size.isEmpty() ? nullptr : data;
    }
    QImage image;
    if (!image.loadFromData(bytes)) {
        return nullptr;
    }
    data->raster = image;
    data->size = QSizeF(image.size()) / image.devicePixelRatio();
    return data;
}

qreal ratioOf(const QPainter* painter) {
    const QPaintDevice* device = painter ? painter->device() : nullptr;
    const qreal ratio = device ? device->devicePixelRatio() : 1.0;
    return ratio > 0 ? ratio : 1.0;
}

// Renders the image of `data` at `size` points for `ratio`.
QImage render(const ZQImage::Data& data, QSizeF size, qreal ratio) {
    const QSize pixels(std::max(1, int(std::ceil(size.width() * ratio - 1e-6))),
                       std::max(1, int(std::ceil(size.height() * ratio - 1e-6))));
    QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    image.setDevicePixelRatio(ratio);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    if (data.svg) {
        data.svg->render(&painter, QRectF(QPointF(0, 0), size));
    } else {
        // A raster picture enlarged by a whole factor (a ratio-1 picture on a
        // ratio-2 screen) repeats its pixels, so its edges stay sharp.
        const qreal factor = image.width() / qreal(data.raster.width());
        const bool whole = std::abs(factor - std::round(factor)) < 1e-9 &&
                           std::abs(image.height() / qreal(data.raster.height()) - factor) < 1e-9;
        painter.setRenderHint(QPainter::SmoothPixmapTransform, !whole);
        painter.drawImage(QRectF(QPointF(0, 0), size), data.raster);
    }
    return image;
}

// The image at its own size for `ratio`, cached for vector images.
QImage ownSizeRaster(const ZQImage::Data& data, qreal ratio) {
    if (!data.svg && std::abs(data.raster.devicePixelRatio() - ratio) < 1e-6) {
        return data.raster;
    }
    const int key = int(std::lround(ratio * 100));
    QMutexLocker lock(&data.cacheMutex);
    auto it = data.rasterCache.constFind(key);
    if (it != data.rasterCache.constEnd()) {
        return *it;
    }
    QImage image = render(data, data.size, ratio);
    data.rasterCache.insert(key, image);
    return image;
}

class ImageIconEngine : public QIconEngine {
public:
    explicit ImageIconEngine(ZQImage image) : _image(std::move(image)) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State) override {
        _image.draw(painter, QRectF(rect), mode == QIcon::Disabled ? 0.4 : 1.0);
    }
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        return scaledPixmap(size, mode, state, 1.0);
    }
    QPixmap scaledPixmap(const QSize& size, QIcon::Mode mode, QIcon::State, qreal scale) override {
        QImage image = _image.toImage(scale, QSizeF(size));
        if (mode == QIcon::Disabled) {
            QImage faded(image.size(), QImage::Format_ARGB32_Premultiplied);
            faded.fill(Qt::transparent);
            QPainter painter(&faded);
            painter.setOpacity(0.4);
            painter.drawImage(0, 0, image);
            painter.end();
            faded.setDevicePixelRatio(image.devicePixelRatio());
            image = faded;
        }
        return QPixmap::fromImage(image);
    }
    QSize actualSize(const QSize& size, QIcon::Mode, QIcon::State) override {
        const QSizeF own = _image.size();
        return own.scaled(QSizeF(size), Qt::KeepAspectRatio).toSize();
    }
    QIconEngine* clone() const override { return new ImageIconEngine(_image); }
    QString key() const override { return QStringLiteral("ZQImage"); }
    QList<QSize> availableSizes(QIcon::Mode, QIcon::State) override {
        return {_image.size().toSize()};
    }

private:
    ZQImage _image;
};

}  // namespace

ZQImage ZQImage::named(const QString& name) {
    static QMutex mutex;
    static QHash<QString, std::shared_ptr<const Data>> cache;
    QString base = name;
    for (const char* ext : {".svg", ".png", ".jpg", ".jpeg", ".tiff", ".pdf"}) {
        if (base.endsWith(QLatin1String(ext), Qt::CaseInsensitive)) {
            base.chop(int(qstrlen(ext)));
            break;
        }
    }
    if (base.isEmpty()) {
        return {};
    }
    QMutexLocker lock(&mutex);
    auto it = cache.constFind(base);
    if (it != cache.constEnd()) {
        ZQImage image;
        image._d = *it;
        return image;
    }
    std::shared_ptr<Data> data = loadData(QStringLiteral(":/images/") + base, base);
    if (!data) {
        qCWarning(lcControls) << "no image named" << base;
        return {};
    }
    cache.insert(base, data);
    ZQImage image;
    image._d = data;
    return image;
}

ZQImage ZQImage::fromFile(const QString& path) {
    ZQImage image;
    image._d = loadData(path, QString());
    if (!image._d) {
        qCWarning(lcControls) << "cannot read an image from" << path;
    }
    return image;
}

ZQImage ZQImage::fromImage(const QImage& source) {
    if (source.isNull()) {
        return {};
    }
    auto data = std::make_shared<Data>();
    data->raster = source.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    data->size = QSizeF(source.size()) / source.devicePixelRatio();
    ZQImage image;
    image._d = data;
    return image;
}

QString ZQImage::name() const {
    return _d ? _d->name : QString();
}

QSizeF ZQImage::size() const {
    return _d ? _d->size : QSizeF();
}

bool ZQImage::isVector() const {
    return _d && _d->svg;
}

void ZQImage::draw(QPainter* painter, const QRectF& target, qreal opacity) const {
    if (!_d || !painter || target.isEmpty()) {
        return;
    }
    painter->save();
    painter->setOpacity(painter->opacity() * opacity);
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setRenderHint(QPainter::SmoothPixmapTransform);
    if (_d->svg) {
        _d->svg->render(painter, target);
    } else {
        painter->drawImage(target, _d->raster);
    }
    painter->restore();
}

void ZQImage::draw(QPainter* painter, const QRectF& target, const QRectF& source) const {
    if (!_d || !painter || target.isEmpty() || source.isEmpty()) {
        return;
    }
    const qreal ratio = ratioOf(painter);
    const QImage raster = ownSizeRaster(*_d, ratio);
    const qreal sourceRatio = raster.devicePixelRatio();
    const QRectF sourcePixels(source.x() * sourceRatio, source.y() * sourceRatio,
                              source.width() * sourceRatio, source.height() * sourceRatio);
    painter->save();
    painter->setRenderHint(QPainter::SmoothPixmapTransform);
    painter->drawImage(target, raster, sourcePixels);
    painter->restore();
}

void ZQImage::drawAt(QPainter* painter, const QPointF& topLeft) const {
    draw(painter, QRectF(topLeft, size()));
}

QImage ZQImage::toImage(qreal devicePixelRatio, QSizeF size) const {
    if (!_d) {
        return {};
    }
    if (devicePixelRatio <= 0) {
        devicePixelRatio = 1.0;
    }
    if (size.isEmpty()) {
        return ownSizeRaster(*_d, devicePixelRatio);
    }
    return render(*_d, size, devicePixelRatio);
}

QPixmap ZQImage::toPixmap(qreal devicePixelRatio, QSizeF size) const {
    return QPixmap::fromImage(toImage(devicePixelRatio, size));
}

QIcon ZQImage::toIcon() const {
    if (!_d) {
        return {};
    }
    return QIcon(new ImageIconEngine(*this));
}
