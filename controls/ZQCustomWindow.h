#pragma once

#include <QPoint>
#include <QPointer>
#include <QSize>
#include <QWidget>

// A borderless, translucent top-level window that moves when its background
// is dragged: a press that no child takes (plain views, labels, background
// views) starts a move. The window draws nothing itself; its content view,
// which always fills it, does.
class ZQCustomWindow : public QWidget {
    Q_OBJECT

public:
    explicit ZQCustomWindow(QWidget* parent = nullptr);
    // A window whose content is `contentSize` points.
    explicit ZQCustomWindow(const QSize& contentSize, QWidget* parent = nullptr);
    ~ZQCustomWindow() override;

    // The view that fills the window (a plain transparent view until
    // replaced). Place the page's controls in it with zq::controls::placeAt.
    QWidget* contentView() const { return _contentView; }
    // Replaces the content view; the window takes ownership and deletes the
    // previous one.
    void setContentView(QWidget* view);

    // Sets the content size (points), keeping the window's top-left corner.
    // The content view takes the size at once, also while the window is
    // hidden, so size the window this way before placing controls.
    void setContentSize(const QSize& size);

    void setMovableByWindowBackground(bool movable) { _movable = movable; }
    bool isMovableByWindowBackground() const { return _movable; }

protected:
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    void setup();

    QPointer<QWidget> _contentView;
    bool _movable = true;
    bool _moving = false;
    QPoint _pressGlobal;
    QPoint _pressWindowPos;
};
