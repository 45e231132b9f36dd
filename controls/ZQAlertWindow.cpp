#include "controls/ZQAlertWindow.h"

#include <QAbstractTextDocumentLayout>
#include <QCoreApplication>
#include <QEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPointer>
#include <QTextBlock>
#include <QTextBlockFormat>
#include <QTextCursor>
#include <QTextDocument>
#include <QThread>
#include <QWindow>

#include "controls/ZQCustomButton.h"
#include "controls/ZQFonts.h"
#include "controls/ZQGeometry.h"

namespace {

const QColor kTextColor(42, 43, 44);

// The dimming layer over the whole parent window.
class BackView : public QWidget {
public:
    explicit BackView(QWidget* parent) : QWidget(parent) {
        setObjectName(QStringLiteral("backView"));
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        QPainterPath path;
        path.addRoundedRect(QRectF(rect()), 10, 10);
        painter.fillPath(path, QColor(0, 0, 0, int(0.3 * 255 + 0.5)));
    }
};

// The light box: grey 233 with a 0.5-point border, corner radius 8.
class BoxView : public QWidget {
public:
    explicit BoxView(QWidget* parent) : QWidget(parent) {
        setObjectName(QStringLiteral("contentView"));
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const QRectF outline = QRectF(rect()).adjusted(0.25, 0.25, -0.25, -0.25);
        painter.setPen(QPen(QColor(195, 196, 196), 0.5));
        painter.setBrush(QColor(233, 233, 233));
        painter.drawRoundedRect(outline, 8, 8);
    }
};

// The body text: justified, with a fixed line height.
class DetailLabel : public QWidget {
public:
    explicit DetailLabel(QWidget* parent) : QWidget(parent) {
        setObjectName(QStringLiteral("detailLabel"));
        setAttribute(Qt::WA_TransparentForMouseEvents);
        _document.setDocumentMargin(0);
    }

    void setText(const QString& text, const QFont& font, const QColor& color, qreal lineHeight) {
        _text = text;
        _document.clear();
        _document.setDefaultFont(font);
        _document.setPlainText(text);
        QTextCursor cursor(&_document);
        cursor.select(QTextCursor::Document);
        QTextBlockFormat block;
        block.setAlignment(Qt::AlignJustify);
        block.setLineHeight(lineHeight, QTextBlockFormat::FixedHeight);
        cursor.mergeBlockFormat(block);
        QTextCharFormat chars;
        chars.setForeground(color);
        chars.setFont(font);
        cursor.mergeCharFormat(chars);
        _document.setTextWidth(width());
        update();
    }
    QString text() const { return _text; }

protected:
    void resizeEvent(QResizeEvent*) override { _document.setTextWidth(width()); }
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::TextAntialiasing);
        painter.setClipRect(rect());
        _document.drawContents(&painter, QRectF(rect()));
    }

private:
    QTextDocument _document;
    QString _text;
};

QPointer<ZQAlertWindow> gSharedAlert;

void deleteSharedAlert() {
    delete gSharedAlert.data();
}

}  // namespace

ZQAlertWindow* ZQAlertWindow::sharedInstance() {
    Q_ASSERT_X(QThread::currentThread() == qApp->thread(), "ZQAlertWindow::sharedInstance",
               "main thread only");
    static bool registered = false;
    if (!gSharedAlert) {
        gSharedAlert = new ZQAlertWindow();
        if (!registered) {
            // Windows must go before the application object does.
            qAddPostRoutine(deleteSharedAlert);
            registered = true;
        }
    }
    return gSharedAlert;
}

ZQAlertWindow::ZQAlertWindow() : QWidget(nullptr) {
    setWindowFlags(Qt::Tool | Qt::FramelessWindowHint);
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_NoSystemBackground);
    setObjectName(QStringLiteral("ZQAlertWindow"));

    _backView = new BackView(this);

    _contentView = new BoxView(this);
    zq::controls::placeAt(_contentView, 65, 35, 260, 182);

    _titleLabel = new QLabel(_contentView);
    _titleLabel->setTextFormat(Qt::PlainText);
    _titleLabel->setObjectName(QStringLiteral("titleLabel"));
    _titleLabel->setFont(zq::controls::namedFontOr(QStringLiteral("PingFangSC-Medium"), 14,
                                                   zq::controls::boldSystemFont(14)));
    QPalette titlePalette = _titleLabel->palette();
    titlePalette.setColor(QPalette::WindowText, kTextColor);
    _titleLabel->setPalette(titlePalette);
    _titleLabel->setAlignment(Qt::AlignCenter);
    _titleLabel->setTextInteractionFlags(Qt::NoTextInteraction);
    _titleLabel->setAttribute(Qt::WA_TranslucentBackground);
    zq::controls::placeAt(_titleLabel, 40, 149, 180, 22);

    _detailLabel = new DetailLabel(_contentView);
    zq::controls::placeAt(_detailLabel, 15, 56, 230, 85);

    const QFont buttonFont = zq::controls::namedFont(QStringLiteral("PingFangSC-Regular"), 13);
    _cancelButton = new ZQCustomButton(QRectF(17, 16, 108, 28), _contentView);
    _cancelButton->setObjectName(QStringLiteral("cancelButton"));
    //% "取消"
    const QString cancelTitle = qtTrId("zq-alert-cancel");
    const QColor cancelColor(64, 64, 64);
    _cancelButton->setTitle(cancelTitle, cancelColor, QColor(), cancelColor, buttonFont);
    _cancelButton->setBgColorForNormal(QColor(195, 196, 197), QColor(), QColor(182, 183, 184), 6);
    _cancelButton->setFocusPolicy(Qt::NoFocus);
    _cancelButton->addTarget(this, [this]() { clickCancel(); });

    _confirmButton = new ZQCustomButton(QRectF(135, 16, 108, 28), _contentView);
    _confirmButton->setObjectName(QStringLiteral("confirmButton"));
    //% "确认"
    const QString confirmTitle = qtTrId("zq-alert-confirm");
    _confirmButton->setTitle(confirmTitle, QColor(Qt::white), QColor(), QColor(Qt::white),
                             buttonFont);
    _confirmButton->setBgColorForNormal(QColor(255, 120, 71), QColor(), QColor(235, 100, 52), 6);
    _confirmButton->setFocusPolicy(Qt::NoFocus);
    _confirmButton->addTarget(this, [this]() { clickActionYES(); });

    resize(390, 252);
}

ZQAlertWindow::~ZQAlertWindow() {
    if (_parentWindow) {
        _parentWindow->removeEventFilter(this);
    }
}

QString ZQAlertWindow::detailText() const {
    return static_cast<DetailLabel*>(_detailLabel)->text();
}

void ZQAlertWindow::showInWindow(QWidget* parent, const QString& title, const QString& alertText,
                                 Completion completion) {
    // 1. The pending completion is replaced, never called.
    _completionHandler = std::move(completion);
    ++_showCount;

    QWidget* parentWindow = parent ? parent->window() : nullptr;
    if (_parentWindow != parentWindow) {
        if (_parentWindow) {
            _parentWindow->removeEventFilter(this);
        }
        _parentWindow = parentWindow;
        if (parentWindow) {
            parentWindow->installEventFilter(this);
        }
    }

    // 3-4. Texts.
    _titleLabel->setText(title);
    const QFont detailFont = zq::controls::namedFontOr(QStringLiteral("PingFangSC-Light"), 12,
                                                       zq::controls::systemFont(12));
    static_cast<DetailLabel*>(_detailLabel)->setText(alertText, detailFont, kTextColor, 17);

    // 2, 5. Over the parent window, one level above it.
    followParent();
    if (parentWindow) {
        if (!windowHandle()) {
            create();
        }
        if (windowHandle() && parentWindow->windowHandle()) {
            windowHandle()->setTransientParent(parentWindow->windowHandle());
        }
    }
    show();
    raise();
    activateWindow();
}

void ZQAlertWindow::followParent() {
    if (!_parentWindow) {
        _backView->setGeometry(QRect(QPoint(0, 0), size()));
        return;
    }
    const QRect frame = _parentWindow->geometry();
    setGeometry(frame);
    // The back view keeps its origin and takes the parent's size.
    _backView->setGeometry(QRect(_backView->pos(), frame.size()));
}

void ZQAlertWindow::clickCancel() {
    Completion completion = std::move(_completionHandler);
    _completionHandler = nullptr;
    const quint64 showing = _showCount;
    if (completion) {
        completion(false);
    }
    // A completion that showed the alert again keeps it on screen.
    if (showing == _showCount) {
        hideAlertView();
    }
}

void ZQAlertWindow::clickActionYES() {
    Completion completion = std::move(_completionHandler);
    _completionHandler = nullptr;
    const quint64 showing = _showCount;
    if (completion) {
        completion(true);
    }
    // A completion that showed the alert again keeps it on screen.
    if (showing == _showCount) {
        hideAlertView();
    }
}

void ZQAlertWindow::hideAlertView() {
    _completionHandler = nullptr;
    hide();
}

bool ZQAlertWindow::eventFilter(QObject* watched, QEvent* event) {
    if (watched == _parentWindow && isVisible()) {
        switch (event->type()) {
            case QEvent::Move:
            case QEvent::Resize:
                followParent();
                break;
            case QEvent::Hide:
            case QEvent::Close:
                // The page went away: nobody is left to answer.
                hideAlertView();
                break;
            default:
                break;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void ZQAlertWindow::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
        case Qt::Key_Escape:
            clickCancel();
            return;
        case Qt::Key_Return:
        case Qt::Key_Enter:
            clickActionYES();
            return;
        default:
            QWidget::keyPressEvent(event);
    }
}

// Dragging the background moves the page window and the alert with it.
void ZQAlertWindow::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) {
        QWidget* target = _parentWindow ? _parentWindow.data() : this;
        _pressOffset = event->globalPosition().toPoint() - target->pos();
        event->accept();
        return;
    }
    QWidget::mousePressEvent(event);
}

void ZQAlertWindow::mouseMoveEvent(QMouseEvent* event) {
    if (event->buttons() & Qt::LeftButton) {
        QWidget* target = _parentWindow ? _parentWindow.data() : this;
        target->move(event->globalPosition().toPoint() - _pressOffset);
        event->accept();
        return;
    }
    QWidget::mouseMoveEvent(event);
}
