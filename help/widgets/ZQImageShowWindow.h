#pragma once

#include "controls/ZQCustomWindow.h"

#include <QImage>
#include <QPointer>

class ZQCustomBgView;
class ZQCustomButton;

// The picture viewer of the help list: one per process, made on first use and
// only ever hidden. A borderless light window, moved by dragging anywhere in
// it, sized to the picture (at most the screen less a margin) and centred on
// the screen of the help window, above it. Escape or its close button hides it.
class ZQImageShowWindow : public ZQCustomWindow {
    Q_OBJECT
public:
    static ZQImageShowWindow* sharedInstance();

    // Shows `image` (sized against the screen `helpWindow` is on, the primary
    // screen without one) and brings the viewer to the front.
    void showImage(const QImage& image, QWidget* helpWindow = nullptr);
    void closeWindow();

    QImage image() const { return _image; }
    ZQCustomButton* closeButton() const { return _closeButton; }

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    ZQImageShowWindow();

    QImage _image;
    ZQCustomBgView* _backgroundView;
    QWidget* _contentImageView;
    ZQCustomButton* _closeButton;
};
