#include "controls/ZQCustomSwitchButton.h"

#include <QCheckBox>
#include <QEnterEvent>
#include <QFontMetricsF>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

#include "controls/ZQGeometry.h"

namespace {

// The check box of the check-box variant: the application's own check
// images, no title.
class ImageCheckBox : public QCheckBox {
public:
    explicit ImageCheckBox(QWidget* parent) : QCheckBox(parent) {
        setFocusPolicy(Qt::NoFocus);
        setObjectName(QStringLiteral("checkBox"));
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const ZQImage image = ZQImage::named(isChecked() ? QStringLiteral("button_check_on")
                                                         : QStringLiteral("button_check_off"));
        if (!image.isNull()) {
            image.draw(&painter, QRectF(rect()), isEnabled() ? 1.0 : 0.5);
            return;
        }
        // Without the compiled-in images: a drawn box and tick.
        const QRectF box = QRectF(rect()).adjusted(1.5, 1.5, -1.5, -1.5);
        painter.setPen(QPen(isChecked() ? QColor(255, 100, 44) : QColor(178, 178, 178), 1));
        painter.setBrush(isChecked() ? QColor(255, 100, 44) : QColor(Qt::white));
        painter.drawRoundedRect(box, 3, 3);
        if (isChecked()) {
            painter.setPen(QPen(Qt::white, 1.8, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
            const QPointF points[] = {{box.left() + box.width() * 0.25, box.center().y()},
                                      {box.left() + box.width() * 0.45, box.bottom() - 4},
                                      {box.right() - 3.5, box.top() + 4}};
            painter.drawPolyline(points, 3);
        }
    }
    bool hitButton(const QPoint& pos) const override { return rect().contains(pos); }
};

}  // namespace

ZQCustomSwitchButton::ZQCustomSwitchButton(QWidget* parent) : ZQCustomButton(parent) {
    setAccessibleRole(QAccessible::CheckBox);
}

ZQCustomSwitchButton::ZQCustomSwitchButton(const QRectF& frame, QWidget* parent)
    : ZQCustomButton(frame, parent) {
    setAccessibleRole(QAccessible::CheckBox);
}

ZQCustomSwitchButton::~ZQCustomSwitchButton() = default;

// ---- configuration -------------------------------------------------------------

void ZQCustomSwitchButton::setBtnIconOFF(const ZQImage& iconOff, const ZQImage& iconOn,
                                         const Margin& margin) {
    _iconImgOFF = iconOff;
    _iconImgON = iconOn;
    _iconMargin = margin;
    update();
}

void ZQCustomSwitchButton::setBtnIconON(const ZQImage& iconOn, const Margin& margin) {
    _iconImgON = iconOn;
    _iconMarginON = margin;
    _iconMargin = margin;
    update();
}

void ZQCustomSwitchButton::setBtnIconOFFNormal(const ZQImage& normal, const ZQImage& hover,
                                               const ZQImage& click, const Margin& margin) {
    _iconImgOFFNormal = normal;
    _iconImgOFFHover = hover;
    _iconImgOFFClick = click;
    _iconMarginOFF = margin;
    update();
}

void ZQCustomSwitchButton::setBtnIconONNormal(const ZQImage& normal, const ZQImage& hover,
                                              const ZQImage& click, const Margin& margin) {
    _iconImgONNormal = normal;
    _iconImgONHover = hover;
    _iconImgONClick = click;
    _iconMarginON = margin;
    update();
}

void ZQCustomSwitchButton::setBgColor(const QColor& color, qreal radius) {
    _bgColorOFF = color;
    _radius = radius;
    update();
}

void ZQCustomSwitchButton::setBgColor(const QColor& color, const QColor& strokeColor,
                                      qreal radius) {
    _bgColorOFF = color;
    _bgSColorOFF = strokeColor;
    _radius = radius;
    update();
}

void ZQCustomSwitchButton::setBgColorNormal(const QColor& off, const QColor& select, qreal radius) {
    if (off.isValid()) {
        _bgColorOFF = off;
    }
    if (select.isValid()) {
        _bgColorSelect = select;
    }
    _radius = radius;
    update();
}

void ZQCustomSwitchButton::setBgColorOFFNormal(const QColor& normal, const QColor& hover,
                                               const QColor& click, const QColor& on,
                                               qreal radius) {
    _bgColorOFFNormal = normal;
    _bgColorOFFHover = hover;
    _bgColorOFFClick = click;
    _bgColorSelect = on;
    _radius = radius;
    update();
}

void ZQCustomSwitchButton::setBgStrokeColorOFFNormal(const QColor& normal, const QColor& hover,
                                                     const QColor& click, const QColor& on,
                                                     qreal radius) {
    _bgSColorOFFNormal = normal;
    _bgSColorOFFHover = hover;
    _bgSColorOFFClick = click;
    _bgSColorSelect = on;
    _radius = radius;
    update();
}

void ZQCustomSwitchButton::setBtnTitle(const QString& title, const QFont& font, const QColor& color,
                                       int type, const Margin& margin) {
    ZQCustomBtnTitle record;
    record.title = title;
    record.font = font;
    record.color = color;
    record.type = type;
    record.margin = margin;
    _titles.append(record);
    update();
}

void ZQCustomSwitchButton::setBtnTitle(const QString& title, const QFont& font,
                                       const QColor& colorOff, const QColor& colorOn, int type,
                                       const Margin& margin) {
    setText(QString());
    _titleOFF = ZQCustomBtnTitle{title, font, colorOff, type, margin};
    _titleON = ZQCustomBtnTitle{title, font, colorOn, type, margin};
    update();
}

void ZQCustomSwitchButton::clearBtnTitle() {
    _titles.clear();
    update();
}

void ZQCustomSwitchButton::setCheckBoxWithMargin(qreal left, qreal top) {
    if (!_checkBox) {
        _checkBox = new ImageCheckBox(this);
        _checkBox->setText(QString());
        connect(_checkBox, &QCheckBox::clicked, this, &ZQCustomSwitchButton::mouseDownCheckBox);
    }
    _checkBoxLeft = left;
    _checkBoxTop = top;
    _checkBox->setChecked(false);
    layoutCheckBox();
    _checkBox->show();
}

void ZQCustomSwitchButton::layoutCheckBox() {
    if (!_checkBox) {
        return;
    }
    const qreal side = 18;
    const qreal y = (height() - _checkBoxTop - side) / 2;
    _checkBox->setGeometry(
        zq::controls::toTopLeftRect(QRectF(_checkBoxLeft, y, side, side), height()));
}

void ZQCustomSwitchButton::resizeEvent(QResizeEvent* event) {
    ZQCustomButton::resizeEvent(event);
    layoutCheckBox();
}

void ZQCustomSwitchButton::setCheckBoxState(bool on) {
    setIsSwitchON(on);
    if (_checkBox) {
        _checkBox->setChecked(on);
    }
}

qreal ZQCustomSwitchButton::sizeUpdateWithTitle(const QString& title, qreal minWidth,
                                                qreal maxWidth) {
    _titleON.title = title;
    _titleOFF.title = title;
    const QFontMetricsF metrics(_titleON.font);
    qreal width = metrics.horizontalAdvance(title) + _titleON.margin[0] + _titleON.margin[1];
    if (width < minWidth) {
        width = minWidth;
    } else if (width > maxWidth) {
        width = maxWidth;
    }
    if (!_iconImgON.isNull()) {
        _iconMargin[0] = float(width - _iconMargin[1] - _iconImgON.size().width());
    }
    update();
    return width;
}

void ZQCustomSwitchButton::setIsSwitchON(bool on) {
    if (!on) {
        setBgColorForNormal(_bgColorOFFNormal, _bgColorOFFHover, _bgColorSelect, _radius);
        setBgStrokeColorForNormal(_bgSColorOFFNormal, _bgSColorOFFHover, _bgSColorOFFClick,
                                  _radius);
        setIconImageForNormal(_iconImgOFFNormal, _iconImgOFFHover, _iconImgOFFClick,
                              QPointF(_iconMarginOFF[0], _iconMarginOFF[3]));
    } else {
        if (!_iconImgONNormal.isNull()) {
            setIconImageForNormal(_iconImgONNormal, _iconImgONHover, _iconImgONClick,
                                  QPointF(_iconMarginON[0], _iconMarginON[3]));
        } else {
            _iconImgNormal = ZQImage();
            _iconImgHover = ZQImage();
            _iconImgClick = ZQImage();
            _iconImg = ZQImage();
        }
        _bgColorNormal = _bgColorHover = _bgColorClick = _bgColor = QColor();
        _bgStrokeColorNormal = _bgStrokeColorHover = _bgStrokeColorClick = _bgStrokeColor =
            QColor();
    }
    _isSwitchON = on;
    // The look that matches where the pointer is.
    resetButtonWithState(_buttonStyle == StyleHover && underMouse() ? StateHover : StateNormal);
    update();
}

// ---- pointer --------------------------------------------------------------------------

void ZQCustomSwitchButton::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        event->ignore();
        return;
    }
    event->accept();
    if (_isSwitchON) {
        // An "on" switch shows no pressed look; its release still counts.
        _hasClicked = true;
        return;
    }
    basePress();
}

void ZQCustomSwitchButton::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        event->ignore();
        return;
    }
    event->accept();
    if (_isDragging) {
        _isDragging = false;
        _hasClicked = false;
        return;
    }
    if (!_hasClicked) {
        return;
    }
    if (!rect().contains(event->position().toPoint())) {
        _hasClicked = false;
        if (!_isSwitchON && _buttonStyle != StyleToggle) {
            resetButtonWithState(StateNormal);
        }
        return;
    }
    activate();
}

void ZQCustomSwitchButton::activate() {
    if (!isEnabled()) {
        return;
    }
    baseRelease(false);
    if (_checkBox) {
        setIsSwitchON(!_isSwitchON);
        _checkBox->setChecked(_isSwitchON);
    }
    update();
    sendActionLater();
}

QString ZQCustomSwitchButton::accessibleTitle() const {
    const QString title = (_isSwitchON ? _titleON : _titleOFF).title;
    if (!title.isEmpty()) {
        return title;
    }
    for (const ZQCustomBtnTitle& record : _titles) {
        if (!record.title.isEmpty()) {
            return record.title;
        }
    }
    return ZQCustomButton::accessibleTitle();
}

void ZQCustomSwitchButton::mouseDownCheckBox(bool checked) {
    setIsSwitchON(checked);
    sendActionLater();
}

void ZQCustomSwitchButton::tellHover(bool hover) {
    if (auto* delegate = dynamic_cast<ZQCustomSwitchButtonHoverDelegate*>(_hoverDelegate.data())) {
        delegate->customSwithchButtonIsHover(hover, this);
    }
}

void ZQCustomSwitchButton::enterEvent(QEnterEvent* event) {
    ZQCustomButton::enterEvent(event);
    tellHover(true);
}

void ZQCustomSwitchButton::leaveEvent(QEvent* event) {
    ZQCustomButton::leaveEvent(event);
    tellHover(false);
}

// ---- drawing ---------------------------------------------------------------------------

void ZQCustomSwitchButton::drawTitleRecord(QPainter& painter, const ZQCustomBtnTitle& record) {
    if (record.title.isEmpty()) {
        return;
    }
    const QFontMetricsF metrics(record.font);
    const qreal left = record.margin[0];
    const qreal available = std::max<qreal>(0, width() - record.margin[0] - record.margin[1]);
    QString text = record.title;
    if (record.type != 1 && record.type != 3) {
        text = metrics.elidedText(text, Qt::ElideRight, available);
    }
    // The glyph box (ascender to descender) centred vertically.
    const qreal top = (height() - (metrics.ascent() + metrics.descent())) / 2;
    painter.save();
    painter.setFont(record.font);
    painter.setPen(record.color.isValid() ? record.color : QColor(Qt::black));
    painter.setClipRect(QRectF(left, 0, available, height()));
    painter.drawText(QPointF(left, top + metrics.ascent()), text);
    painter.restore();
}

void ZQCustomSwitchButton::paintEvent(QPaintEvent* event) {
    ZQCustomButton::paintEvent(event);

    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);
    const QRectF bounds(rect());
    const QColor& background = _isSwitchON ? _bgColorSelect : _bgColorOFF;
    const QColor& border = _isSwitchON ? _bgSColorSelect : _bgSColorOFF;
    const ZQCustomBtnTitle& title = _isSwitchON ? _titleON : _titleOFF;
    const ZQImage& icon = _isSwitchON ? _iconImgON : _iconImgOFF;

    if (background.isValid()) {
        QPainterPath path;
        path.addRoundedRect(bounds, _radius, _radius);
        painter.fillPath(path, background);
    }
    if (border.isValid()) {
        painter.save();
        painter.setPen(QPen(border, 1));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(QRectF(0.5, 0.5, bounds.width() - 1, bounds.height() - 1), _radius,
                                _radius);
        painter.restore();
    }
    drawTitleRecord(painter, title);
    if (!icon.isNull()) {
        icon.drawAt(&painter, zq::controls::topLeftOfItem(QPointF(_iconMargin[0], _iconMargin[3]),
                                                          icon.size().height(), bounds.height()));
    }
    for (const ZQCustomBtnTitle& record : _titles) {
        drawTitleRecord(painter, record);
    }
    drawFocusRing(painter);
}
