#pragma once

#include <QColor>
#include <QWidget>

// A rounded rectangle filled with one colour or with a left-to-right
// two-colour gradient (drawn only when both colours are set).
class ZQGradientColorView : public QWidget {
    Q_OBJECT

public:
    explicit ZQGradientColorView(QWidget* parent = nullptr);

    void setColor(const QColor& color, qreal cornerRadius);
    void setGradientColorStart(const QColor& start, const QColor& end, qreal cornerRadius);
    void setCornerRadius(qreal radius);

    bool isGradientColor() const { return _isGradientColor; }
    QColor leftColor() const { return _leftColor; }
    qreal radius() const { return _radius; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    bool _isGradientColor = false;
    QColor _leftColor, _startColor, _endColor;
    qreal _radius = 0;
};
