#include "help/models/ZQHelpGeometry.h"

namespace zq::help::geometry {

namespace {

// The parts of an open row by layout; an unknown layout has none.
struct ContentLayout {
    bool brief;
    bool detail;
    QRectF detailFrame;
    QPointF pictureCentre;
    QRectF placeholder;
};

const ContentLayout* contentLayout(qint64 dataType) {
    static const ContentLayout layouts[] = {
        {true, true, {309, 32, 242, 190}, {157, 128}, {23, 12, 270, 230}},
        {true, false, {}, {283, 127}, {128, 12, 270, 230}},
        {false, true, {306, 44, 230, 190}, {155, 141}, {20, 26, 270, 230}},
    };
    return dataType >= 1 && dataType <= 3 ? &layouts[dataType - 1] : nullptr;
}

}  // namespace

CellLayout cellLayout(qreal width, bool expanded, qint64 dataType) {
    CellLayout layout;
    layout.titleLabel = QRectF(12, 10.5, width - 24, 16);
    if (!expanded) {
        layout.cell = QRectF(0, 0, width, kCollapsedRowHeight);
        layout.titleStrip = QRectF(0, 1, width, 36);
        layout.dividingLine = QRectF(0, 0, width, 1);
        return layout;
    }
    layout.cell = QRectF(0, 0, width, kExpandedRowHeight);
    layout.titleStrip = QRectF(0, 284, width, 36);
    layout.dividingLine = QRectF(0, 283, width, 1);
    layout.contentVisible = true;
    layout.content = QRectF(0, 0, width, 283);
    if (const ContentLayout* parts = contentLayout(dataType)) {
        layout.briefVisible = parts->brief;
        if (parts->brief) {
            layout.brief = QRectF(22, 254, width - 44, 16);
        }
        layout.detailVisible = parts->detail;
        layout.detail = parts->detailFrame;
        layout.pictureVisible = true;
        layout.placeholder = parts->placeholder;
    }
    return layout;
}

QRectF pictureFrame(const QSizeF& size, qint64 dataType) {
    qreal w = size.width();
    qreal h = size.height();
    if (w > 0 && h > 0) {
        const qreal r = h / w;
        if (r > 0.85) {
            if (h >= 230) {
                h = 230;
                w = 230 / r;
            }
        } else if (w >= 270) {
            w = 270;
            h = r * 270;
        }
    } else {
        w = h = 0;
    }
    const ContentLayout* parts = contentLayout(dataType);
    const QPointF centre = parts ? parts->pictureCentre : QPointF(0, 0);
    return QRectF(centre.x() - w / 2, centre.y() - h / 2, w, h);
}

ViewerLayout viewerLayout(const QSizeF& picture, const QSizeF& screen) {
    qreal w = picture.width();
    qreal h = picture.height();
    const qreal W = screen.width();
    const qreal H = screen.height();
    if (W < w) {
        w = W - 60;
    }
    if (H < h) {
        h = H - 50;
    }
    ViewerLayout layout;
    layout.window = QRectF((W - w) / 2 - 6, (H - h - 44) / 2, w + 8, h + 44);
    layout.background = QRectF(0, 0, w + 8, h + 44);
    layout.closeButton = QRectF(13, h + 17, 14, 14);
    layout.picture = QRectF(4, 4, w, h);
    return layout;
}

QString chipTitle(const QString& fileName, const std::function<qreal(const QString&)>& width) {
    if (fileName.size() < 7 || width(fileName) <= 90) {
        return fileName;
    }
    const QString ellipsis = QStringLiteral("...");
    qsizetype n = 6;
    for (; n < fileName.size(); ++n) {
        if (width(fileName.left(n) + ellipsis) >= 88) {
            break;
        }
    }
    if (n >= fileName.size()) {
        n = fileName.size() - 1;
    }
    return fileName.left(n) + ellipsis;
}

QList<QRectF> chipFrames(const QList<qreal>& titleWidths) {
    QList<QRectF> frames;
    qreal x = 5;
    for (const qreal titleWidth : titleWidths) {
        frames.append(QRectF(x, 0, titleWidth + 40, 20));
        x += titleWidth + 40 + 5;
    }
    return frames;
}

QPointF chipDeleteIconOrigin(const QRectF& chip) {
    return QPointF(chip.width() - 24, 2);
}

qreal contactFieldY(bool hasPictures) {
    return hasPictures ? 115 : 143;
}

}  // namespace zq::help::geometry
