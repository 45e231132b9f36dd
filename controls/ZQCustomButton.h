#pragma once

#include <QAbstractButton>
#include <QAccessible>
#include <QColor>
#include <QFont>
#include <QPointF>
#include <QRectF>
#include <QString>

#include <array>

#include "controls/ZQImage.h"

// One title look: the text, its font and colour, how it is cut, its margins.
// `type` 1 and 3 draw the text whole; other values cut it at the end with an
// ellipsis when it is too wide. `margin` holds four numbers, of which the
// first two are the space before and after the text.
class ZQCustomBtnTitle {
public:
    QString title;
    QFont font;
    QColor color;
    int type = 0;
    std::array<float, 4> margin{0, 0, 0, 0};

    bool isEmpty() const { return title.isEmpty(); }
};

// The borderless button from which the pages build link buttons, image
// buttons and coloured buttons. Each layer (background image or colour,
// border, foreground image, icon, title) has up to three looks (normal,
// hover, pressed) that follow the pointer.
//
// Positions (`withPos`, icon origins, title origins) are in points from the
// button's LOWER-LEFT corner, like every frame of the application; an icon
// or title origin is the lower-left corner of what is drawn.
//
// Clicking: on release the button sends its action on the next turn of the
// event loop: the signal `action(this)`, followed by QAbstractButton's
// `clicked(isSelect())`. Connect to either, not to both. The keyboard (Space,
// Return and Enter on the focused button), assistive technology (the "Press"
// action) and QAbstractButton::click() run the same click as the pointer.
class ZQCustomButton : public QAbstractButton {
    Q_OBJECT

public:
    // Behaviours.
    enum ButtonStyle { StylePush = 0, StyleToggle = 1, StyleHover = 2 };
    // Looks.
    enum BtnState { StateNormal = 0, StateHover = 1, StatePressed = 2 };
    // Background layer.
    enum BgStyle { BgNone = 0, BgImage = 1, BgColor = 2 };
    // Foreground layer.
    enum ImgStyle { ImgNone = 0, ImgButtonImage = 1, ImgIcon = 2 };
    // Title layer.
    enum TitStyle { TitPlain = 0, TitColorPerLook = 1, TitUnderlineOnHover = 2 };
    // Where the button's own image goes relative to its own title. NoImage
    // also hides the icon layer.
    enum ImagePosition { NoImage, ImageOnly, ImageLeft, ImageRight, ImageOverlaps };

    explicit ZQCustomButton(QWidget* parent = nullptr);
    // Placed at `frame` (points from the parent's lower left).
    ZQCustomButton(const QRectF& frame, QWidget* parent);
    ~ZQCustomButton() override;

    // ---- background --------------------------------------------------------
    // Background image (an absent image keeps the current one).
    void setBgImg(const ZQImage& image);
    void setBgImageForNormal(const ZQImage& normal, const ZQImage& hover, const ZQImage& click);
    void setBgImageForNormal(const ZQImage& normal, const ZQImage& hover, const ZQImage& click,
                             const ZQImage& disable);
    // Nine-part background; `stretchRect` is the centre in the image's own
    // points, measured from its lower left.
    void setBgImageForNormal(const ZQImage& normal, const ZQImage& hover, const ZQImage& click,
                             const QRectF& stretchRect);
    // Invalid colours stand for "none".
    void setBgColorForNormal(const QColor& normal, const QColor& hover, const QColor& click);
    void setBgColorForNormal(const QColor& normal, const QColor& hover, const QColor& click,
                             qreal radius);
    // Border per look (does not redraw).
    void setBgStrokeColorForNormal(const QColor& normal, const QColor& hover, const QColor& click,
                                   qreal radius);

    // ---- foreground image and icon ----------------------------------------
    void setImageForNormal(const ZQImage& normal, const ZQImage& hover, const ZQImage& click);
    void setIconImage(const ZQImage& icon, const QPointF& pos);
    void setIconImageForNormal(const ZQImage& normal, const ZQImage& hover, const ZQImage& click,
                               const QPointF& pos);
    // Makes the button a toggle with icons for on and off (does not redraw).
    void setIconImageForNormalOn(const ZQImage& normalOn, const ZQImage& clickOn,
                                 const ZQImage& normalOff, const ZQImage& clickOff,
                                 const QPointF& pos);
    // Foreground image chosen by the enabled state.
    void setEnableImage(const ZQImage& enable, const ZQImage& disable);

    // ---- drawn title --------------------------------------------------------
    void setTitle(const QString& title, const QPointF& pos, const QFont& font, const QColor& color);
    void setTitle(const QString& title, const QColor& normal, const QColor& hover,
                  const QColor& click, const QPointF& pos, const QFont& font);
    // Centred on both axes.
    void setTitle(const QString& title, const QColor& normal, const QColor& hover,
                  const QColor& click, const QFont& font);
    // One coordinate given, the other axis centred.
    void setTitleWithPosX(const QString& title, const QColor& normal, const QColor& hover,
                          const QColor& click, qreal x, const QFont& font);
    void setTitleWithPosY(const QString& title, const QColor& normal, const QColor& hover,
                          const QColor& click, qreal y, const QFont& font);
    // Toggle titles (centred on both axes; no redraw).
    void setStateOnTitle(const QString& title, const QColor& normal, const QColor& click);
    void setStateOffTitle(const QString& title, const QColor& normal, const QColor& click);
    void updateSubTitle(const QString& title, qreal offsetX, qreal offsetY);
    void updateSubTitle(const QString& title);

    // ---- own (platform) title, links ---------------------------------------
    void setTitleColor(const QColor& color);
    void setTitHoverUndLine();  // blue
    void setTitHoverUndLineWithTitColor(const QColor& color);
    void setTitHoverUndLineWithTitColor(const QColor& color, const QColor& hoverColor);
    // Opens `url` on click (before sending the action); blue hover underline.
    void setTheUrlString(const QString& url);
    // Own title in "PingFangSC-Regular" (or the system font) at `fontSize`,
    // white, centred.
    void setButtonText(const QString& text, qreal fontSize);
    void setImagePosition(ImagePosition position);
    ImagePosition imagePosition() const { return _imagePosition; }
    void setTitleAlignment(Qt::Alignment alignment);

    // ---- action, states -----------------------------------------------------
    // Connects the button's action to `target` (like connect(button,
    // &ZQCustomButton::action, target, slot)).
    template <typename Target, typename Slot>
    QMetaObject::Connection addTarget(const Target* target, Slot slot) {
        return connect(this, &ZQCustomButton::action, target, slot);
    }
    void setIsSelect(bool select);
    bool isSelect() const { return _isSelect; }
    // The owner marks the current press as a drag: its release sends nothing.
    void setIsDragging(bool dragging);
    bool isDragging() const { return _isDragging; }
    void setIsHandCursor(bool hand);
    bool isHandCursor() const { return _isHandCursor; }
    void setDisableState();
    void setNormalState();
    void updateTitleColor(const QColor& color);
    void updateBgColor(const QColor& color, bool enable);
    void updateTitleColor(const QColor& color, const ZQImage& normalIcon, bool enabled);
    // Runs the click as a pointer release would (address, then action).
    void performClick();
    // Runs the click for the keyboard, assistive technology and click():
    // what a pointer click does (a switch flips as it would).
    virtual void activate();

    // ---- accessibility ------------------------------------------------------
    // How assistive technology presents the button (a push button unless set).
    void setAccessibleRole(QAccessible::Role role) { _accessibleRole = role; }
    QAccessible::Role accessibleRole() const { return _accessibleRole; }
    // The name read out when no accessible name is set: the drawn title.
    virtual QString accessibleTitle() const;
    // Whether the button reads as checkable, and as checked.
    virtual bool isAccessibleCheckable() const { return _buttonStyle == StyleToggle; }
    virtual bool isAccessibleChecked() const { return _isSelect; }

    // ---- state, for owners and tests ---------------------------------------
    int buttonStyle() const { return _buttonStyle; }
    int btnState() const { return _btnState; }
    int btnBgStyle() const { return _btnBgStyle; }
    int btnImgStyle() const { return _btnImgStyle; }
    int btnTitStyle() const { return _btnTitStyle; }
    bool hasClicked() const { return _hasClicked; }
    ZQImage bgImage() const { return _bgImage; }
    QColor bgColor() const { return _bgColor; }
    QColor bgStrokeColor() const { return _bgStrokeColor; }
    qreal bgRadius() const { return _bgRadius; }
    ZQImage buttonImage() const { return _buttonImage; }
    ZQImage iconImage() const { return _iconImg; }
    QPointF iconOrigin() const { return _iconOrign; }
    QString titleString() const { return _titleString; }
    QColor drawnTitleColor() const { return _titleAttrColor; }
    QFont titleFont() const { return _titleFont; }
    QColor titleColor() const { return _titleColor; }
    bool isTitleUnderlined() const { return _titleUnderlined; }
    QString urlString() const { return _urlString; }

    QSize sizeHint() const override;

signals:
    // The button's action, sent on the turn of the event loop after a click.
    void action(ZQCustomButton* sender);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void changeEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    // The focus ring, drawn while the focus came from the keyboard.
    void drawFocusRing(QPainter& painter);

    // Applies look `state` to every layer.
    void resetButtonWithState(int state);
    // Rebuilds the own title's attributes (underlined or not).
    void updateButtonTitle(bool underline);
    // Sends the action on the next turn of the event loop.
    void sendActionLater();
    void resetCursorRects();
    // The drawing of the custom layers, without the own title and image.
    void drawCustomLayers(QPainter& painter);
    void drawOwnTitleAndImage(QPainter& painter);

    // Subclasses (the switch button) reach the press and release handling.
    void basePress();
    void baseRelease(bool sendAction);

    int _buttonStyle = StylePush;
    int _btnState = StateNormal;
    bool _isHandCursor = false;
    bool _isSelect = false;
    int _btnBgStyle = BgNone;
    ZQImage _bgImage, _bgImgNormal, _bgImgHover, _bgImgclick;
    bool _drawBg9Patch = false;
    QRectF _bgStretchCenter;
    QColor _bgColor, _bgColorNormal, _bgColorHover, _bgColorClick;
    int _btnImgStyle = ImgNone;
    ZQImage _imgNormal, _imgHover, _imgClick;
    ZQImage _buttonImage;  // the button's own image
    bool _isEnableImg = false;
    ZQImage _imgEnable, _imgDisable;
    ZQImage _iconImg;
    QPointF _iconOrign;
    ZQImage _iconImgNormal, _iconImgHover, _iconImgClick;
    ZQImage _iconImgOnNormal, _iconImgOnClick, _iconImgOffNormal, _iconImgOffClick;
    int _btnTitStyle = TitPlain;
    QString _urlString;
    QColor _titleColor, _titleHoverColor;
    bool _isTitleState = false;
    QString _titleString, _titleStrON, _titleStrOFF;
    QPointF _titlePos;
    bool _isTitleXCenter = false, _isTitleYCenter = false;
    QFont _titleFont;
    qreal _titleOffsetX = 0, _titleOffsetY = 0;
    QColor _titleAttrColor;  // colour of the drawn title (with _titleFont)
    QColor _titleColorNormal, _titleColorHover, _titleColorClick;
    QColor _titleColorOnNormal, _titleColorOnClick, _titleColorOffNormal, _titleColorOffClick;
    bool _hasClicked = false;
    bool _isDragging = false;
    QColor _bgStrokeColor;
    ZQImage _bgImgDisable;
    qreal _bgRadius = 0;
    QColor _bgStrokeColorNormal, _bgStrokeColorHover, _bgStrokeColorClick;
    qreal _bgStrokeRadius = 0;
    // Own title attributes.
    bool _titleUnderlined = false;
    Qt::Alignment _titleAlignment = Qt::AlignCenter;
    ImagePosition _imagePosition = ImageOnly;

private:
    void setup();

    QAccessible::Role _accessibleRole = QAccessible::Button;
    bool _keyboardFocus = false;
    bool _sendingClicked = false;
    bool _clickedSent = false;
};
