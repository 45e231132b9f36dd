#include "controls/ZQCustomButton.h"

#include <QEnterEvent>
#include <QFocusEvent>
#include <QFontMetricsF>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPen>
#include <QTimer>
#include <QUrl>

#include "controls/ZQButtonAccessible.h"
#include "controls/ZQDrawingUtils.h"
#include "controls/ZQFonts.h"
#include "controls/ZQGeometry.h"
#include "platform/Workspace.h"

namespace {

// The look's value; a look without one of its own shows the normal look's
// value, and a layer with no per-look values at all keeps what it shows.
template <typename T>
T valueForLook(int state, const T& normal, const T& hover, const T& click, const T& current,
               bool (*isSet)(const T&)) {
    if (!isSet(normal) && !isSet(hover) && !isSet(click)) {
        return current;
    }
    const T& look = state == ZQCustomButton::StateHover     ? hover
                    : state == ZQCustomButton::StatePressed ? click
                                                            : normal;
    return isSet(look) ? look : normal;
}

bool imageSet(const ZQImage& image) {
    return !image.isNull();
}

bool colorSet(const QColor& color) {
    return color.isValid();
}

}  // namespace

ZQCustomButton::ZQCustomButton(QWidget* parent) : QAbstractButton(parent) {
    setup();
}

ZQCustomButton::ZQCustomButton(const QRectF& frame, QWidget* parent) : QAbstractButton(parent) {
    setup();
    zq::controls::placeAt(this, frame);
}

ZQCustomButton::~ZQCustomButton() = default;

void ZQCustomButton::setup() {
    // Borderless: nothing is drawn but the layers. Clicking does not take the
    // keyboard focus away from text fields.
    setFocusPolicy(Qt::TabFocus);
    setAttribute(Qt::WA_Hover, false);
    zq::controls::installButtonAccessibility();
    // QAbstractButton::click() (code, and assistive technology through Qt's
    // own interfaces) runs the button's click; its own `clicked` does not.
    connect(this, &QAbstractButton::clicked, this, [this] {
        if (!_sendingClicked) {
            _clickedSent = true;  // the action follows; `clicked` has been sent
            activate();
            _clickedSent = false;
        }
    });
    _btnState = StateNormal;
    _btnBgStyle = BgNone;
    _isHandCursor = false;
    _buttonStyle = StylePush;
    _btnTitStyle = TitPlain;
    _bgRadius = 0;
    _titleOffsetX = 0;
    _titleOffsetY = 0;
    _titleFont = font();
    _titleAttrColor = QColor();
}

// ---- background ---------------------------------------------------------------

void ZQCustomButton::setBgImg(const ZQImage& image) {
    _btnBgStyle = BgImage;
    if (!image.isNull()) {
        _bgImage = image;
    }
    update();
}

void ZQCustomButton::setBgImageForNormal(const ZQImage& normal, const ZQImage& hover,
                                         const ZQImage& click) {
    _btnBgStyle = BgImage;
    _bgImgNormal = normal;
    _bgImgHover = hover;
    _bgImgclick = click;
    _bgImage = normal;
    if (!hover.isNull()) {
        _buttonStyle = StyleHover;
        resetCursorRects();
    }
    update();
}

void ZQCustomButton::setBgImageForNormal(const ZQImage& normal, const ZQImage& hover,
                                         const ZQImage& click, const ZQImage& disable) {
    _bgImgDisable = disable;
    setBgImageForNormal(normal, hover, click);
    if (!isEnabled() && !disable.isNull()) {
        _bgImage = disable;
        update();
    }
}

void ZQCustomButton::setBgImageForNormal(const ZQImage& normal, const ZQImage& hover,
                                         const ZQImage& click, const QRectF& stretchRect) {
    setBgImageForNormal(normal, hover, click);
    _drawBg9Patch = true;
    _bgStretchCenter = stretchRect;
    update();
}

void ZQCustomButton::setBgColorForNormal(const QColor& normal, const QColor& hover,
                                         const QColor& click) {
    _btnBgStyle = BgColor;
    _bgColorNormal = normal;
    _bgColorHover = hover;
    _bgColorClick = click;
    _bgColor = normal;
    if (hover.isValid()) {
        _buttonStyle = StyleHover;
        resetCursorRects();
    }
    update();
}

void ZQCustomButton::setBgColorForNormal(const QColor& normal, const QColor& hover,
                                         const QColor& click, qreal radius) {
    _bgRadius = radius;
    setBgColorForNormal(normal, hover, click);
}

void ZQCustomButton::setBgStrokeColorForNormal(const QColor& normal, const QColor& hover,
                                               const QColor& click, qreal radius) {
    _btnBgStyle = BgColor;
    _bgStrokeColorNormal = normal;
    _bgStrokeColorHover = hover;
    _bgStrokeColorClick = click;
    _bgStrokeRadius = radius;
    _bgStrokeColor = normal;
}

// ---- foreground image and icon -----------------------------------------------

void ZQCustomButton::setImageForNormal(const ZQImage& normal, const ZQImage& hover,
                                       const ZQImage& click) {
    _btnImgStyle = ImgButtonImage;
    _imgNormal = normal;
    _imgHover = hover;
    _imgClick = click;
    _buttonImage = normal;
    if (!hover.isNull()) {
        _buttonStyle = StyleHover;
        resetCursorRects();
    }
    update();
}

void ZQCustomButton::setIconImage(const ZQImage& icon, const QPointF& pos) {
    _iconImg = icon;
    _iconOrign = pos;
    update();
}

void ZQCustomButton::setIconImageForNormal(const ZQImage& normal, const ZQImage& hover,
                                           const ZQImage& click, const QPointF& pos) {
    _btnImgStyle = ImgIcon;
    _iconImgNormal = normal;
    _iconImgHover = hover;
    _iconImgClick = click;
    _iconImg = normal;
    _iconOrign = pos;
    if (!hover.isNull()) {
        _buttonStyle = StyleHover;
        resetCursorRects();
    }
    update();
}

void ZQCustomButton::setIconImageForNormalOn(const ZQImage& normalOn, const ZQImage& clickOn,
                                             const ZQImage& normalOff, const ZQImage& clickOff,
                                             const QPointF& pos) {
    _buttonStyle = StyleToggle;
    _btnImgStyle = ImgIcon;
    _iconImgOnNormal = normalOn;
    _iconImgOnClick = clickOn;
    _iconImgOffNormal = normalOff;
    _iconImgOffClick = clickOff;
    _iconOrign = pos;
}

void ZQCustomButton::setEnableImage(const ZQImage& enable, const ZQImage& disable) {
    _btnImgStyle = ImgNone;
    _isEnableImg = true;
    _imgEnable = enable;
    _imgDisable = disable;
    _buttonImage = isEnabled() ? enable : disable;
    update();
}

// ---- drawn title -----------------------------------------------------------------

void ZQCustomButton::setTitle(const QString& title, const QPointF& pos, const QFont& font,
                              const QColor& color) {
    setText(QString());
    _titleString = title;
    _titlePos = pos;
    _isTitleXCenter = false;
    _isTitleYCenter = false;
    _titleFont = font;
    _titleAttrColor = color;
    update();
}

void ZQCustomButton::setTitle(const QString& title, const QColor& normal, const QColor& hover,
                              const QColor& click, const QPointF& pos, const QFont& font) {
    _titleColorNormal = normal;
    if (hover.isValid() && hover != _titleColorHover) {
        _titleColorHover = hover;
        _buttonStyle = StyleHover;
        _btnTitStyle = TitColorPerLook;
        resetCursorRects();
    }
    _titleColorClick = click;
    setTitle(title, pos, font, normal);
}

void ZQCustomButton::setTitle(const QString& title, const QColor& normal, const QColor& hover,
                              const QColor& click, const QFont& font) {
    setTitle(title, normal, hover, click, QPointF(0, 0), font);
    _isTitleXCenter = true;
    _isTitleYCenter = true;
    update();
}

void ZQCustomButton::setTitleWithPosX(const QString& title, const QColor& normal,
                                      const QColor& hover, const QColor& click, qreal x,
                                      const QFont& font) {
    setTitle(title, normal, hover, click, QPointF(x, 0), font);
    _isTitleYCenter = true;
    update();
}

void ZQCustomButton::setTitleWithPosY(const QString& title, const QColor& normal,
                                      const QColor& hover, const QColor& click, qreal y,
                                      const QFont& font) {
    setTitle(title, normal, hover, click, QPointF(0, y), font);
    _isTitleXCenter = true;
    update();
}

void ZQCustomButton::setStateOnTitle(const QString& title, const QColor& normal,
                                     const QColor& click) {
    _titleStrON = title;
    _titleColorOnNormal = normal;
    _titleColorOnClick = click;
    _isTitleXCenter = true;
    _isTitleYCenter = true;
}

void ZQCustomButton::setStateOffTitle(const QString& title, const QColor& normal,
                                      const QColor& click) {
    _titleStrOFF = title;
    _titleColorOffNormal = normal;
    _titleColorOffClick = click;
    _isTitleXCenter = true;
    _isTitleYCenter = true;
}

void ZQCustomButton::updateSubTitle(const QString& title, qreal offsetX, qreal offsetY) {
    _titleString = title;
    _titleOffsetX = offsetX;
    _titleOffsetY = offsetY;
    update();
}

void ZQCustomButton::updateSubTitle(const QString& title) {
    updateSubTitle(title, 0, 0);
}

// ---- own title, links ------------------------------------------------------------

void ZQCustomButton::setTitleColor(const QColor& color) {
    _titleColor = color;
    updateButtonTitle(false);
}

void ZQCustomButton::setTitHoverUndLine() {
    setTitHoverUndLineWithTitColor(QColor(Qt::blue));
}

void ZQCustomButton::setTitHoverUndLineWithTitColor(const QColor& color) {
    _titleColor = color;
    _btnTitStyle = TitUnderlineOnHover;
    _buttonStyle = StyleHover;
    _isHandCursor = true;
    updateButtonTitle(false);
    resetCursorRects();
}

void ZQCustomButton::setTitHoverUndLineWithTitColor(const QColor& color, const QColor& hoverColor) {
    _titleHoverColor = hoverColor;
    setTitHoverUndLineWithTitColor(color);
}

void ZQCustomButton::setTheUrlString(const QString& url) {
    _urlString = url;
    setTitHoverUndLine();
}

void ZQCustomButton::setButtonText(const QString& text, qreal fontSize) {
    setText(text);
    setFont(zq::controls::namedFontOr(QStringLiteral("PingFangSC-Regular"), fontSize,
                                      zq::controls::systemFont(fontSize)));
    _titleColor = QColor(Qt::white);
    _titleAlignment = Qt::AlignCenter;
    updateButtonTitle(false);
}

void ZQCustomButton::setImagePosition(ImagePosition position) {
    _imagePosition = position;
    update();
}

void ZQCustomButton::setTitleAlignment(Qt::Alignment alignment) {
    _titleAlignment = alignment;
    update();
}

void ZQCustomButton::updateButtonTitle(bool underline) {
    _titleUnderlined = underline;
    update();
}

// ---- states ------------------------------------------------------------------------

void ZQCustomButton::setIsSelect(bool select) {
    _isSelect = select;
    const ZQImage& normalIcon = select ? _iconImgOnNormal : _iconImgOffNormal;
    const ZQImage& clickIcon = select ? _iconImgOnClick : _iconImgOffClick;
    if (!normalIcon.isNull()) {
        _iconImgNormal = normalIcon;
        _iconImg = normalIcon;
    } else {
        _btnImgStyle = ImgNone;
        _iconImg = ZQImage();
    }
    if (!clickIcon.isNull()) {
        _iconImgClick = clickIcon;
        _btnImgStyle = ImgIcon;
    }
    const QString& title = select ? _titleStrON : _titleStrOFF;
    if (!title.isNull()) {
        _titleString = title;
    }
    const QColor& normalColor = select ? _titleColorOnNormal : _titleColorOffNormal;
    const QColor& clickColor = select ? _titleColorOnClick : _titleColorOffClick;
    if (normalColor.isValid()) {
        _titleColorNormal = normalColor;
        _titleAttrColor = normalColor;
    }
    if (clickColor.isValid()) {
        _titleColorClick = clickColor;
        _isTitleState = true;
    }
    update();
}

void ZQCustomButton::setIsDragging(bool dragging) {
    _isDragging = dragging;
}

void ZQCustomButton::setIsHandCursor(bool hand) {
    _isHandCursor = hand;
    resetCursorRects();
}

void ZQCustomButton::setDisableState() {
    setEnabled(false);
    resetButtonWithState(StateNormal);
}

void ZQCustomButton::setNormalState() {
    resetButtonWithState(StateNormal);
}

void ZQCustomButton::updateTitleColor(const QColor& color) {
    _titleColorNormal = color;
    _titleAttrColor = color;
    update();
}

void ZQCustomButton::updateBgColor(const QColor& color, bool enable) {
    _bgColorNormal = color;
    _bgColor = color;
    setEnabled(enable);
    update();
}

void ZQCustomButton::updateTitleColor(const QColor& color, const ZQImage& normalIcon,
                                      bool enabled) {
    _titleColorNormal = color;
    _titleAttrColor = color;
    _iconImgNormal = normalIcon;
    _iconImg = normalIcon;
    setEnabled(enabled);
    update();
}

void ZQCustomButton::resetButtonWithState(int state) {
    _btnState = state;
    if (_btnBgStyle == BgImage) {
        // A disabled button with a disabled image keeps showing it.
        if (!isEnabled() && !_bgImgDisable.isNull()) {
            _bgImage = _bgImgDisable;
        } else {
            _bgImage =
                valueForLook(state, _bgImgNormal, _bgImgHover, _bgImgclick, _bgImage, imageSet);
        }
    } else if (_btnBgStyle == BgColor) {
        _bgColor =
            valueForLook(state, _bgColorNormal, _bgColorHover, _bgColorClick, _bgColor, colorSet);
        _bgStrokeColor = valueForLook(state, _bgStrokeColorNormal, _bgStrokeColorHover,
                                      _bgStrokeColorClick, _bgStrokeColor, colorSet);
    }
    if (_btnImgStyle == ImgButtonImage) {
        _buttonImage =
            valueForLook(state, _imgNormal, _imgHover, _imgClick, _buttonImage, imageSet);
    } else if (_btnImgStyle == ImgIcon) {
        _iconImg =
            valueForLook(state, _iconImgNormal, _iconImgHover, _iconImgClick, _iconImg, imageSet);
    }
    if (_btnTitStyle == TitUnderlineOnHover) {
        updateButtonTitle(state != StateNormal);
    } else if (_btnTitStyle == TitColorPerLook) {
        _titleAttrColor = valueForLook(state, _titleColorNormal, _titleColorHover, _titleColorClick,
                                       _titleAttrColor, colorSet);
    }
    update();
}

void ZQCustomButton::resetCursorRects() {
    if (_isHandCursor) {
        setCursor(Qt::PointingHandCursor);
    } else {
        unsetCursor();
    }
}

// ---- pointer -------------------------------------------------------------------------

void ZQCustomButton::basePress() {
    _hasClicked = true;
    switch (_buttonStyle) {
        case StyleToggle:
            resetButtonWithState(_btnState != StatePressed ? StatePressed : StateNormal);
            break;
        default:
            resetButtonWithState(StatePressed);
            break;
    }
}

void ZQCustomButton::baseRelease(bool sendAction) {
    _hasClicked = false;
    switch (_buttonStyle) {
        case StylePush:
            resetButtonWithState(StateNormal);
            break;
        case StyleHover:
            resetButtonWithState(StateHover);
            break;
        default:
            break;  // a toggle keeps its look
    }
    if (!sendAction) {
        return;
    }
    if (!_urlString.isEmpty()) {
        // The desktop's handler opens the address on a later turn of the
        // event loop; the click never waits for it.
        platform::Workspace::openUrl(QUrl(_urlString), this);
    }
    sendActionLater();
}

void ZQCustomButton::sendActionLater() {
    const bool sendClicked = !_clickedSent;
    QTimer::singleShot(0, this, [this, sendClicked]() {
        emit action(this);
        if (sendClicked) {
            _sendingClicked = true;
            emit clicked(_isSelect);
            _sendingClicked = false;
        }
    });
}

void ZQCustomButton::performClick() {
    if (!isEnabled()) {
        return;
    }
    baseRelease(true);
}

void ZQCustomButton::activate() {
    performClick();
}

QString ZQCustomButton::accessibleTitle() const {
    if (!_titleString.isEmpty()) {
        return _titleString;
    }
    if (_isTitleState) {
        return _isSelect ? _titleStrON : _titleStrOFF;
    }
    return text();
}

void ZQCustomButton::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        event->ignore();
        return;
    }
    event->accept();
    basePress();
}

void ZQCustomButton::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        event->ignore();
        return;
    }
    event->accept();
    if (_isDragging) {
        QAbstractButton::mouseReleaseEvent(event);
        _isDragging = false;
        return;
    }
    if (!_hasClicked) {
        return;
    }
    if (!rect().contains(event->position().toPoint())) {
        // Released away from the button: the press is given up.
        _hasClicked = false;
        if (_buttonStyle != StyleToggle) {
            resetButtonWithState(StateNormal);
        }
        return;
    }
    baseRelease(true);
}

void ZQCustomButton::mouseMoveEvent(QMouseEvent* event) {
    event->accept();
}

void ZQCustomButton::enterEvent(QEnterEvent* event) {
    QAbstractButton::enterEvent(event);
    if (isEnabled() && _buttonStyle == StyleHover) {
        resetButtonWithState(StateHover);
    }
}

void ZQCustomButton::leaveEvent(QEvent* event) {
    QAbstractButton::leaveEvent(event);
    if (_buttonStyle != StyleHover) {
        return;
    }
    if (!isEnabled() && !_bgImgDisable.isNull()) {
        return;  // keeps the disabled look
    }
    if (isEnabled()) {
        resetButtonWithState(StateNormal);
    }
}

void ZQCustomButton::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
        case Qt::Key_Space:
            // Pressed look while the key is down; the click on release.
            event->accept();
            if (!event->isAutoRepeat() && isEnabled()) {
                basePress();
            }
            return;
        case Qt::Key_Return:
        case Qt::Key_Enter:
        case Qt::Key_Select:
            event->accept();
            if (!event->isAutoRepeat() && isEnabled()) {
                activate();
            }
            return;
        default:
            QAbstractButton::keyPressEvent(event);
    }
}

void ZQCustomButton::keyReleaseEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Space) {
        event->accept();
        if (!event->isAutoRepeat() && _hasClicked) {
            _hasClicked = false;
            activate();
        }
        return;
    }
    QAbstractButton::keyReleaseEvent(event);
}

void ZQCustomButton::focusInEvent(QFocusEvent* event) {
    QAbstractButton::focusInEvent(event);
    _keyboardFocus = event->reason() == Qt::TabFocusReason ||
                     event->reason() == Qt::BacktabFocusReason ||
                     event->reason() == Qt::ShortcutFocusReason;
    update();
}

void ZQCustomButton::focusOutEvent(QFocusEvent* event) {
    QAbstractButton::focusOutEvent(event);
    _keyboardFocus = false;
    update();
}

void ZQCustomButton::drawFocusRing(QPainter& painter) {
    if (!_keyboardFocus || !hasFocus()) {
        return;
    }
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(255, 100, 44), 2));
    painter.setBrush(Qt::NoBrush);
    const qreal radius = qMax<qreal>(_bgRadius, 3);
    painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), radius, radius);
    painter.restore();
}

void ZQCustomButton::changeEvent(QEvent* event) {
    if (event->type() == QEvent::EnabledChange) {
        if (_isEnableImg) {
            _buttonImage = isEnabled() ? _imgEnable : _imgDisable;
        } else if (_buttonStyle == StyleHover && !_bgImgDisable.isNull()) {
            _bgImage = isEnabled() ? _bgImgNormal : _bgImgDisable;
        }
        update();
    } else if (event->type() == QEvent::FontChange) {
        update();
    }
    QAbstractButton::changeEvent(event);
}

// ---- drawing -------------------------------------------------------------------------

QSize ZQCustomButton::sizeHint() const {
    QSizeF size(0, 0);
    if (!_buttonImage.isNull()) {
        size = _buttonImage.size();
    }
    if (!text().isEmpty()) {
        const QFontMetricsF metrics(font());
        size.setWidth(size.width() + metrics.horizontalAdvance(text()) + 8);
        size.setHeight(std::max(size.height(), metrics.height() + 4));
    }
    if (!_titleString.isEmpty()) {
        const QFontMetricsF metrics(_titleFont);
        size.setWidth(std::max(size.width(), metrics.horizontalAdvance(_titleString) + 8));
        size.setHeight(std::max(size.height(), metrics.height() + 4));
    }
    return size.toSize().expandedTo(QSize(1, 1));
}

void ZQCustomButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);
    drawCustomLayers(painter);
    drawOwnTitleAndImage(painter);
    drawFocusRing(painter);
}

void ZQCustomButton::drawCustomLayers(QPainter& painter) {
    const QRectF bounds(rect());
    // 1. Background.
    if (_btnBgStyle == BgImage && !_bgImage.isNull()) {
        painter.save();
        if (_drawBg9Patch) {
            ZQDrawingUtils::draw9PatchImage(&painter, _bgImage, _bgStretchCenter, bounds);
        } else {
            _bgImage.draw(&painter, bounds);
        }
        painter.restore();
    } else if (_btnBgStyle == BgColor && _bgColor.isValid()) {
        if (_bgRadius > 0) {
            QPainterPath path;
            path.addRoundedRect(bounds, _bgRadius, _bgRadius);
            painter.fillPath(path, _bgColor);
        } else {
            painter.fillRect(bounds, _bgColor);
        }
    }
    // 2. Border.
    if (_bgStrokeColor.isValid()) {
        painter.save();
        painter.setPen(QPen(_bgStrokeColor, 1));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(QRectF(0.5, 0.5, bounds.width() - 1, bounds.height() - 1),
                                _bgStrokeRadius, _bgStrokeRadius);
        painter.restore();
    }
    // 3. Icon, in its own size, its origin measured from the lower left.
    if (!_iconImg.isNull() && _imagePosition != NoImage) {
        _iconImg.drawAt(&painter, zq::controls::topLeftOfItem(_iconOrign, _iconImg.size().height(),
                                                              bounds.height()));
    }
    // 4. Drawn title.
    if (!_titleString.isEmpty()) {
        const QFontMetricsF metrics(_titleFont);
        const qreal textWidth = metrics.horizontalAdvance(_titleString);
        const qreal ascent = metrics.ascent();
        const qreal descent = metrics.descent();
        const qreal textHeight = ascent + descent;
        qreal x = _titlePos.x();
        if (_isTitleXCenter) {
            x = (bounds.width() - textWidth) / 2 + _titleOffsetX;
        }
        // Top of the text box in top-left coordinates.
        qreal top = bounds.height() - _titlePos.y() - textHeight;
        if (_isTitleYCenter) {
            // The glyph box (ascender to descender) is centred on the bounds'
            // centre; the offset moves it up, as in lower-left frames.
            top = (bounds.height() - textHeight) / 2 - _titleOffsetY;
        }
        painter.save();
        painter.setFont(_titleFont);
        painter.setPen(_titleAttrColor.isValid() ? _titleAttrColor : QColor(Qt::black));
        painter.drawText(QPointF(x, top + ascent), _titleString);
        painter.restore();
    }
}

void ZQCustomButton::drawOwnTitleAndImage(QPainter& painter) {
    const QRectF bounds(rect());
    const bool hasImage = !_buttonImage.isNull() && _imagePosition != NoImage;
    const QString title = _imagePosition == ImageOnly && hasImage ? QString() : text();
    const QFontMetricsF metrics(font());
    const qreal titleWidth = title.isEmpty() ? 0 : metrics.horizontalAdvance(title);
    const QSizeF imageSize = hasImage ? _buttonImage.size() : QSizeF();
    const qreal gap = hasImage && !title.isEmpty() ? 4 : 0;

    qreal imageX = (bounds.width() - imageSize.width()) / 2;
    QRectF titleRect = bounds;
    if (hasImage && !title.isEmpty() && _imagePosition != ImageOverlaps) {
        const qreal total = imageSize.width() + gap + titleWidth;
        const qreal start = (bounds.width() - total) / 2;
        if (_imagePosition == ImageRight) {
            titleRect = QRectF(start, 0, titleWidth, bounds.height());
            imageX = start + titleWidth + gap;
        } else {
            imageX = start;
            titleRect = QRectF(start + imageSize.width() + gap, 0, titleWidth, bounds.height());
        }
    }
    if (hasImage) {
        const qreal imageY = (bounds.height() - imageSize.height()) / 2;
        _buttonImage.draw(&painter, QRectF(QPointF(imageX, imageY), imageSize),
                          isEnabled() || _isEnableImg ? 1.0 : 0.5);
    }
    if (!title.isEmpty()) {
        QFont titleFont = font();
        titleFont.setUnderline(_titleUnderlined);
        QColor color = _titleColor.isValid() ? _titleColor : palette().color(QPalette::ButtonText);
        if (_titleUnderlined && _titleHoverColor.isValid()) {
            color = _titleHoverColor;
        }
        if (!isEnabled()) {
            color.setAlphaF(color.alphaF() * 0.5f);
        }
        painter.save();
        painter.setFont(titleFont);
        painter.setPen(color);
        painter.drawText(titleRect, int(_titleAlignment) | Qt::TextSingleLine, title);
        painter.restore();
    }
}
