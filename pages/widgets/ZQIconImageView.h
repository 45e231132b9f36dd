#pragma once

#include "controls/ZQImage.h"

#include <QElapsedTimer>
#include <QPoint>
#include <QWidget>

// The product icon of the About page. It tells of double clicks: a release of
// the mouse button whose click count is exactly 2 (a third click in the same
// run counts 3 and does nothing). Return or Enter while it has the keyboard
// focus counts as a double click, so the offer is reachable without a mouse.
class ZQIconImageView : public QWidget {
    Q_OBJECT

public:
    explicit ZQIconImageView(QWidget* parent = nullptr);

    void setImage(const ZQImage& image);
    ZQImage image() const { return _image; }
    // The click count of the last release.
    int clickCount() const { return _clickCount; }

signals:
    void iconImageViewDoubleClick();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    ZQImage _image;
    int _clickCount = 0;
    QElapsedTimer _lastPress;
    QPoint _lastPressPos;
};
