#pragma once

#include <QPointer>
#include <QRectF>
#include <QWidget>

class QAbstractButton;

// Implemented by the owner of a ZQWindowButtonView that wants to handle the
// close button itself (instead of the window being closed).
class ZQWindowButtonViewDelegate {
public:
    virtual ~ZQWindowButtonViewDelegate() = default;
    virtual void didCloseWindow() = 0;
};

// The strip of window buttons of a borderless window: a drawn close button at
// x 7 and (unless close-only) a minimise button at x 27, both at y 0 from the
// strip's lower left. The buttons show their symbols while the pointer is
// anywhere over the strip.
class ZQWindowButtonView : public QWidget {
    Q_OBJECT

public:
    enum ButtonType { TypeCloseAndMinimise = 0, TypeCloseOnly = 1, TypeAll = 2 };

    // Close and minimise buttons.
    explicit ZQWindowButtonView(QWidget* parent = nullptr);
    ZQWindowButtonView(const QRectF& frame, QWidget* parent);
    // Close button only, placed at `frame` (points from the parent's lower left).
    static ZQWindowButtonView* initCloseButtonViewWithFrame(const QRectF& frame, QWidget* parent);

    // The delegate is held weakly; it is asked through ZQWindowButtonViewDelegate
    // when it implements that interface.
    void setDelegate(QObject* delegate) { _delegate = delegate; }
    QObject* delegate() const { return _delegate; }

    int btnType() const { return _btnType; }
    bool mouseInside() const { return _mouseInside; }
    QAbstractButton* closeButton() const { return _closeButton; }
    QAbstractButton* miniButton() const { return _miniButton; }

    // The size of one drawn window button, in points.
    static QSize buttonSize();

public slots:
    void closeAction();
    void miniAction();

protected:
    ZQWindowButtonView(int btnType, QWidget* parent);
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void commonInitialize();
    void setMouseInside(bool inside);
    void layoutButtons();

    bool _mouseInside = false;
    QPointer<QObject> _delegate;
    int _btnType = TypeCloseAndMinimise;
    QAbstractButton* _closeButton = nullptr;
    QAbstractButton* _miniButton = nullptr;
};
