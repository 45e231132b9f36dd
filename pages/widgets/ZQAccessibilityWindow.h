#pragma once

#include "controls/ZQCustomWindow.h"

#include <QSize>

class ZQAccessibilityView;

// The permission guidance window: no title bar, transparent outside its
// rounded white content, moved by dragging its background, kept above
// normal and floating windows, and able to take the keyboard focus.
class ZQAccessibilityWindow : public ZQCustomWindow {
    Q_OBJECT

public:
    explicit ZQAccessibilityWindow(const QSize& contentSize, QWidget* parent = nullptr);

    ZQAccessibilityView* accessibilityView() const { return _view; }

    // Sets the height, keeping the window's lower-left corner where it is
    // (the window grows or shrinks at its top edge).
    void setHeightKeepingOrigin(int height);
    // Moves the window to the right edge of the visible area of its screen,
    // keeping its height and vertical place.
    void moveToRightEdgeOfScreen();

signals:
    // The window has been painted for the first time (emitted on a later turn).
    void firstPainted();
    void hidden();

protected:
    void paintEvent(QPaintEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    ZQAccessibilityView* _view;
    bool _painted = false;
};
