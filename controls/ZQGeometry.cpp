#include "controls/ZQGeometry.h"

#include <QEvent>
#include <QPointer>
#include <QVariant>
#include <QWidget>

#include <cmath>

namespace zq::controls {

namespace {

// Properties kept on a placed child.
constexpr char kFrameProperty[] = "_zqFrame";            // QRectF, from the lower left
constexpr char kMaskProperty[] = "_zqAutoresizing";      // uint
constexpr char kReferenceProperty[] = "_zqRefFrame";     // QRectF frame at placement
constexpr char kReferenceSizeProperty[] = "_zqRefSize";  // QSizeF parent size at placement
constexpr char kKeeperName[] = "_zqFrameKeeper";

// One axis of the autoresizing rule: the change of the parent's extent is
// shared among the flexible pieces in proportion to their extents (equally
// when they are all zero).
void resizeAxis(qreal origin, qreal extent, qreal parentExtent, qreal newParentExtent,
                bool minFlexible, bool sizeFlexible, bool maxFlexible, qreal* newOrigin,
                qreal* newExtent) {
    *newOrigin = origin;
    *newExtent = extent;
    const qreal delta = newParentExtent - parentExtent;
    if (delta == 0 || (!minFlexible && !sizeFlexible && !maxFlexible)) {
        return;
    }
    const qreal maxMargin = parentExtent - origin - extent;
    qreal weights[3] = {minFlexible ? origin : 0, sizeFlexible ? extent : 0,
                        maxFlexible ? maxMargin : 0};
    qreal total = weights[0] + weights[1] + weights[2];
    if (total <= 0) {
        const int count = int(minFlexible) + int(sizeFlexible) + int(maxFlexible);
        weights[0] = minFlexible ? 1 : 0;
        weights[1] = sizeFlexible ? 1 : 0;
        weights[2] = maxFlexible ? 1 : 0;
        total = count;
    }
    *newOrigin = origin + delta * weights[0] / total;
    *newExtent = std::max<qreal>(0, extent + delta * weights[1] / total);
}

QRectF resizedFrame(const QRectF& frame, const QSizeF& oldParent, const QSizeF& newParent,
                    AutoresizingMask mask) {
    qreal x, w, y, h;
    resizeAxis(frame.x(), frame.width(), oldParent.width(), newParent.width(),
               mask.testFlag(Autoresizing::MinXMargin), mask.testFlag(Autoresizing::WidthSizable),
               mask.testFlag(Autoresizing::MaxXMargin), &x, &w);
    // In frames measured from the bottom, the bottom margin is the "minimum"
    // margin and the top margin the "maximum" one.
    resizeAxis(frame.y(), frame.height(), oldParent.height(), newParent.height(),
               mask.testFlag(Autoresizing::MinYMargin), mask.testFlag(Autoresizing::HeightSizable),
               mask.testFlag(Autoresizing::MaxYMargin), &y, &h);
    return {x, y, w, h};
}

void applyFrame(QWidget* child) {
    QWidget* parent = child->parentWidget();
    const QRectF reference = child->property(kReferenceProperty).toRectF();
    const QSizeF referenceSize = child->property(kReferenceSizeProperty).toSizeF();
    const AutoresizingMask mask =
        AutoresizingMask::fromInt(int(child->property(kMaskProperty).toUInt()));
    QRectF frame = reference;
    if (parent && mask != Autoresizing::None) {
        frame = resizedFrame(reference, referenceSize, QSizeF(parent->size()), mask);
    }
    child->setProperty(kFrameProperty, frame);
    if (parent) {
        child->setGeometry(toTopLeftRect(frame, parent->height()));
    } else {
        child->resize(qRound(frame.width()), qRound(frame.height()));
    }
}

// Watches a parent widget and re-applies the frames of its placed children
// whenever it is resized.
class FrameKeeper : public QObject {
public:
    explicit FrameKeeper(QWidget* parent) : QObject(parent) {
        setObjectName(QLatin1String(kKeeperName));
        parent->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Resize && watched == parent()) {
            const auto children = static_cast<QWidget*>(watched)->findChildren<QWidget*>(
                QString(), Qt::FindDirectChildrenOnly);
            for (QWidget* child : children) {
                if (child->property(kReferenceProperty).isValid()) {
                    applyFrame(child);
                }
            }
        }
        return false;
    }
};

void ensureKeeper(QWidget* parent) {
    if (!parent->findChild<FrameKeeper*>(QLatin1String(kKeeperName), Qt::FindDirectChildrenOnly)) {
        new FrameKeeper(parent);
    }
}

}  // namespace

QRectF toTopLeft(const QRectF& bottomLeftFrame, qreal parentHeight) {
    return {bottomLeftFrame.x(), parentHeight - bottomLeftFrame.y() - bottomLeftFrame.height(),
            bottomLeftFrame.width(), bottomLeftFrame.height()};
}

QRectF toBottomLeft(const QRectF& topLeftRect, qreal parentHeight) {
    // The flip is its own inverse.
    return toTopLeft(topLeftRect, parentHeight);
}

QRect toTopLeftRect(const QRectF& bottomLeftFrame, int parentHeight) {
    const QRectF r = toTopLeft(bottomLeftFrame, parentHeight);
    const int left = int(std::lround(r.left()));
    const int top = int(std::lround(r.top()));
    const int right = int(std::lround(r.left() + r.width()));
    const int bottom = int(std::lround(r.top() + r.height()));
    return {left, top, right - left, bottom - top};
}

QPointF toTopLeft(const QPointF& bottomLeftPoint, qreal parentHeight) {
    return {bottomLeftPoint.x(), parentHeight - bottomLeftPoint.y()};
}

QPointF topLeftOfItem(const QPointF& bottomLeftOrigin, qreal itemHeight, qreal parentHeight) {
    return {bottomLeftOrigin.x(), parentHeight - bottomLeftOrigin.y() - itemHeight};
}

void placeAt(QWidget* child, const QRectF& frame, AutoresizingMask mask) {
    if (!child) {
        return;
    }
    QWidget* parent = child->parentWidget();
    child->setProperty(kReferenceProperty, frame);
    child->setProperty(kReferenceSizeProperty, parent ? QSizeF(parent->size()) : QSizeF());
    child->setProperty(kMaskProperty, uint(mask.toInt()));
    if (parent) {
        ensureKeeper(parent);
    }
    applyFrame(child);
}

void placeAt(QWidget* child, qreal x, qreal y, qreal width, qreal height, AutoresizingMask mask) {
    placeAt(child, QRectF(x, y, width, height), mask);
}

QRectF frameOf(const QWidget* child) {
    if (!child) {
        return {};
    }
    const QWidget* parent = child->parentWidget();
    if (!parent) {
        return QRectF(child->geometry());
    }
    const QVariant stored = child->property(kFrameProperty);
    if (stored.isValid()) {
        const QRectF frame = stored.toRectF();
        // Still valid unless someone moved the child by other means.
        if (toTopLeftRect(frame, parent->height()) == child->geometry()) {
            return frame;
        }
    }
    return toBottomLeft(QRectF(child->geometry()), parent->height());
}

void setFrameSize(QWidget* child, const QSizeF& size) {
    if (!child) {
        return;
    }
    const QRectF frame = frameOf(child);
    const auto mask = AutoresizingMask::fromInt(int(child->property(kMaskProperty).toUInt()));
    placeAt(child, QRectF(frame.topLeft(), size), mask);
}

void setFrameOrigin(QWidget* child, const QPointF& bottomLeftOrigin) {
    if (!child) {
        return;
    }
    const QRectF frame = frameOf(child);
    const auto mask = AutoresizingMask::fromInt(int(child->property(kMaskProperty).toUInt()));
    placeAt(child, QRectF(bottomLeftOrigin, frame.size()), mask);
}

}  // namespace zq::controls
