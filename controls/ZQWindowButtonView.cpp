#include "controls/ZQWindowButtonView.h"

#include <QAbstractButton>
#include <QApplication>
#include <QGuiApplication>
#include <QPainter>
#include <QPainterPath>
#include <QWindow>

#include "controls/ZQGeometry.h"

namespace {

// One drawn window button: a coloured disc that shows its symbol while the
// pointer is over the strip, darker while pressed.
class WindowButton : public QAbstractButton {
public:
    enum Kind { Close, Minimise };

    WindowButton(Kind kind, ZQWindowButtonView* strip) : QAbstractButton(strip), _kind(kind) {
        setFocusPolicy(Qt::NoFocus);
        setObjectName(kind == Close ? QStringLiteral("closeButton") : QStringLiteral("miniButton"));
        resize(ZQWindowButtonView::buttonSize());
    }

protected:
    void paintEvent(QPaintEvent*) override {
        auto* strip = static_cast<ZQWindowButtonView*>(parentWidget());
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const qreal diameter = 12;
        const QRectF disc((width() - diameter) / 2, (height() - diameter) / 2, diameter, diameter);
        QColor fill = _kind == Close ? QColor(255, 95, 87) : QColor(254, 188, 46);
        QColor rim = _kind == Close ? QColor(226, 70, 63) : QColor(223, 160, 35);
        QColor symbol = _kind == Close ? QColor(77, 0, 0) : QColor(153, 87, 0);
        if (isDown()) {
            fill = fill.darker(125);
        }
        painter.setPen(QPen(rim, 0.5));
        painter.setBrush(fill);
        painter.drawEllipse(disc.adjusted(0.25, 0.25, -0.25, -0.25));
        if (!strip->mouseInside()) {
            return;
        }
        painter.setPen(QPen(symbol, 1.2, Qt::SolidLine, Qt::RoundCap));
        const QPointF c = disc.center();
        if (_kind == Close) {
            const qreal r = 2.6;
            painter.drawLine(c + QPointF(-r, -r), c + QPointF(r, r));
            painter.drawLine(c + QPointF(-r, r), c + QPointF(r, -r));
        } else {
            const qreal r = 3.3;
            painter.drawLine(c + QPointF(-r, 0), c + QPointF(r, 0));
        }
    }

private:
    Kind _kind;
};

}  // namespace

ZQWindowButtonView::ZQWindowButtonView(QWidget* parent)
    : ZQWindowButtonView(TypeCloseAndMinimise, parent) {}

ZQWindowButtonView::ZQWindowButtonView(const QRectF& frame, QWidget* parent)
    : ZQWindowButtonView(TypeCloseAndMinimise, parent) {
    zq::controls::placeAt(this, frame);
}

ZQWindowButtonView::ZQWindowButtonView(int btnType, QWidget* parent) : QWidget(parent) {
    _btnType = btnType;
    commonInitialize();
}

ZQWindowButtonView* ZQWindowButtonView::initCloseButtonViewWithFrame(const QRectF& frame,
                                                                     QWidget* parent) {
    auto* view = new ZQWindowButtonView(TypeCloseOnly, parent);
    zq::controls::placeAt(view, frame);
    return view;
}

QSize ZQWindowButtonView::buttonSize() {
    return {14, 16};
}

void ZQWindowButtonView::commonInitialize() {
    setAttribute(Qt::WA_TranslucentBackground);
    _closeButton = new WindowButton(WindowButton::Close, this);
    connect(_closeButton, &QAbstractButton::clicked, this, &ZQWindowButtonView::closeAction);
    if (_btnType != TypeCloseOnly) {
        _miniButton = new WindowButton(WindowButton::Minimise, this);
        connect(_miniButton, &QAbstractButton::clicked, this, &ZQWindowButtonView::miniAction);
    }
    layoutButtons();

    connect(qApp, &QGuiApplication::applicationStateChanged, this,
            [this](Qt::ApplicationState state) {
                if (state == Qt::ApplicationActive) {
                    // Redraw once with the symbols and once without, so the
                    // buttons take the active window's look.
                    setMouseInside(true);
                    setMouseInside(false);
                } else {
                    setMouseInside(false);
                }
            });
    connect(qApp, &QGuiApplication::focusWindowChanged, this,
            [this](QWindow*) { setMouseInside(false); });
}

void ZQWindowButtonView::layoutButtons() {
    const QSize size = buttonSize();
    _closeButton->setGeometry(
        zq::controls::toTopLeftRect(QRectF(7, 0, size.width(), size.height()), height()));
    if (_miniButton) {
        _miniButton->setGeometry(
            zq::controls::toTopLeftRect(QRectF(27, 0, size.width(), size.height()), height()));
    }
}

void ZQWindowButtonView::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    layoutButtons();
}

void ZQWindowButtonView::setMouseInside(bool inside) {
    _mouseInside = inside;
    _closeButton->update();
    if (_miniButton) {
        _miniButton->update();
    }
}

void ZQWindowButtonView::enterEvent(QEnterEvent* event) {
    QWidget::enterEvent(event);
    setMouseInside(true);
}

void ZQWindowButtonView::leaveEvent(QEvent* event) {
    QWidget::leaveEvent(event);
    setMouseInside(false);
}

void ZQWindowButtonView::closeAction() {
    if (auto* delegate = dynamic_cast<ZQWindowButtonViewDelegate*>(_delegate.data())) {
        delegate->didCloseWindow();
        return;
    }
    if (QWidget* w = window()) {
        w->close();
    }
}

void ZQWindowButtonView::miniAction() {
    if (QWidget* w = window()) {
        w->showMinimized();
    }
}
