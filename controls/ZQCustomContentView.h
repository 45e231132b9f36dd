#pragma once

#include <QColor>
#include <QWidget>

// A window's content: a filled rounded rectangle under its subviews. Starts
// with the window background colour of the palette and corner radius 7.
class ZQCustomContentView : public QWidget {
    Q_OBJECT

public:
    explicit ZQCustomContentView(QWidget* parent = nullptr);

    void updateBackgroundColor(const QColor& color, qreal cornerRadius);
    QColor backColor() const { return _backColor; }
    qreal cornerRadius() const { return _cornerRadius; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QColor _backColor;
    qreal _cornerRadius = 7;
};
