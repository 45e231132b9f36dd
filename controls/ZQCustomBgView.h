#pragma once

#include <QColor>
#include <QLinearGradient>
#include <QPointer>
#include <QRectF>
#include <QWidget>

#include <optional>

#include "controls/ZQImage.h"

// A background view: an image, a colour with chosen rounded corners, a
// top-to-bottom gradient, and a border that can follow the pointer (tristate)
// or the focus of its owner (activity). A press on it moves a
// ZQCustomWindow (it leaves the press to its window).
class ZQCustomBgView : public QWidget {
    Q_OBJECT

public:
    // Corner mask: which corners are rounded (0 and 15 both mean all four).
    enum Corner {
        CornerTopLeft = 1,
        CornerTopRight = 2,
        CornerBottomLeft = 4,
        CornerBottomRight = 8
    };
    enum TristateState { TristateNormal = 0, TristateHover = 1, TristatePressed = 2 };
    enum ActivityState { ActivityNone = 0, ActivityInactive = 1, ActivityActive = 2 };

    explicit ZQCustomBgView(QWidget* parent = nullptr);
    // Placed at `frame` (points from the parent's lower left).
    ZQCustomBgView(const QRectF& frame, QWidget* parent);
    ~ZQCustomBgView() override;

    void setBgImage(const ZQImage& image);
    void setBgColor(const QColor& color, qreal xRadius, qreal yRadius);
    void setBgColor(const QColor& color, qreal xRadius, qreal yRadius, int cornerType);
    void setBgStrokeColor(const QColor& color, qreal xRadius, qreal yRadius);
    // Top-to-bottom gradient: `top` at the top edge, `bottom` at the bottom.
    void setBgGradient(const QColor& top, const QColor& bottom);
    // A gradient with more stops (0 = top, 1 = bottom).
    void setBgGradientStops(const QGradientStops& stops);

    // Tristate border (pointer): three colours, both radii = radius.
    void setBgStrokeColorForNormal(const QColor& normal, const QColor& hover, const QColor& click,
                                   qreal radius);
    // Focus border colours and radius; updateBgStrokeColorWithActive picks one.
    void setBgStrokeColorForActive(const QColor& active, const QColor& inactive, qreal radius);
    void updateBgStrokeColorWithActive(bool active);

    // A blurred backdrop behind the existing subviews. Linux desktops offer no
    // behind-window blur to applications, so this is a translucent light
    // fill with corner radius 5, which keeps the content legible.
    QWidget* addVisualEffectView();

    ZQImage bgImage() const { return _bgImage; }
    QColor bgColor() const { return _bgColor; }
    QColor bgStrokeColor() const { return _bgStrokeColor; }
    qreal xRadius() const { return _xRadius; }
    qreal yRadius() const { return _yRadius; }
    int cornerType() const { return _cornerType; }
    bool isTristateBg() const { return _isTristateBg; }
    int tristateBgState() const { return _tristateBgState; }
    int activityBgState() const { return _activityBgState; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    void setup();
    void fillWithCornerMask(QPainter& painter, const QRectF& bounds);

    bool _isTristateBg = false;
    int _tristateBgState = TristateNormal;
    QColor _bgStrokeColorNormal, _bgStrokeColorHover, _bgStrokeColorClick;
    int _activityBgState = ActivityNone;
    QColor _bgStrokeColorInactive, _bgStrokeColorActive;
    ZQImage _bgImage;
    std::optional<QGradientStops> _bgGradientY;
    QColor _bgColor;
    QColor _bgStrokeColor;
    qreal _xRadius = 0, _yRadius = 0;
    int _cornerType = 0;
    QPointer<QWidget> _effectView;
};
