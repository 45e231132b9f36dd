#pragma once

#include <QColor>
#include <QPointer>
#include <QRectF>
#include <QWidget>

class QVariantAnimation;
class ZQGradientColorView;

// A thin progress bar: a track over the whole control and a filled part from
// the left edge.
class ZQCustomProgress : public QWidget {
    Q_OBJECT

public:
    explicit ZQCustomProgress(QWidget* parent = nullptr);
    // Placed at `frame` (points from the parent's lower left).
    ZQCustomProgress(const QRectF& frame, QWidget* parent);
    ~ZQCustomProgress() override;

    void setMaxValue(float maxValue) { _maxValue = maxValue; }
    float maxValue() const { return _maxValue; }
    void setCornerRadius(qreal radius);
    qreal cornerRadius() const { return _cornerRadius; }

    // Track colour and fill colour.
    void setBgColor(const QColor& track, const QColor& left);
    // Track colour and corner radius; the fill is a gradient.
    void setBgColor(const QColor& track, const QColor& leftStart, const QColor& endColor,
                    qreal cornerRadius);

    // Filled width := value × width ÷ maxValue (not clamped).
    void setPresent(int value);
    // The last value given to setPresent (what assistive technology reads).
    int value() const { return _value; }
    // Filled width := percent × width ÷ 100, animated over `duration` seconds.
    void moveToValue(double percent, double duration);

    // The filled part's width in points (its current, animated value).
    qreal filledWidth() const;
    QColor trackColor() const { return _trackColor; }
    ZQGradientColorView* fillView() const { return _leftimgView; }
    // True while moveToValue is animating.
    bool isAnimating() const;

signals:
    void animationFinished();

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void setup();
    void setFillWidth(qreal width);

    float _maxValue = 100;
    int _value = 0;
    ZQGradientColorView* _leftimgView = nullptr;
    QColor _trackColor;
    qreal _cornerRadius = 1;
    qreal _fillWidth = 0;
    QPointer<QVariantAnimation> _animation;
};
