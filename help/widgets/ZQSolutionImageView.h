#pragma once

#include <QAbstractButton>
#include <QImage>

class QPainter;

// The picture of an open help row: drawn scaled down into its frame, keeping
// its proportions; the "magnifier" cursor over it. A click (pointer,
// keyboard, screen reader) asks for the picture viewer.
class ZQSolutionImageView : public QAbstractButton {
    Q_OBJECT
public:
    explicit ZQSolutionImageView(QWidget* parent = nullptr);

    void setImage(const QImage& image);
    QImage image() const { return _image; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    QImage _image;
};

// Draws `image` scaled down (never up) to fit `target`, centred, keeping its
// proportions: how the help pictures and the viewer show a picture.
void zqDrawPictureFitting(QPainter& painter, const QImage& image, const QRectF& target);
