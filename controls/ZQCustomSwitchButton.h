#pragma once

#include <QList>
#include <QPointer>

#include <array>

#include "controls/ZQCustomButton.h"

class QCheckBox;
class ZQCustomSwitchButton;

// Implemented by an owner that wants to know when the pointer enters or
// leaves a switch button.
class ZQCustomSwitchButtonHoverDelegate {
public:
    virtual ~ZQCustomSwitchButtonHoverDelegate() = default;
    virtual void customSwithchButtonIsHover(bool isHover, ZQCustomSwitchButton* button) = 0;
};

// An on/off button (check box or radio style) with an icon per state,
// per-state background and border colours and one or more titles.
//
// Two variants: with a check box (setCheckBoxWithMargin), a click flips the
// state and then sends the action; with icons only, a click sends the action
// with the state unchanged, and the owner sets the new state.
//
// Icon origins (`margin` arguments) are four numbers; the icon's lower-left
// origin is (first, fourth), in points from the control's lower left.
class ZQCustomSwitchButton : public ZQCustomButton {
    Q_OBJECT

public:
    using Margin = std::array<float, 4>;

    explicit ZQCustomSwitchButton(QWidget* parent = nullptr);
    ZQCustomSwitchButton(const QRectF& frame, QWidget* parent);
    ~ZQCustomSwitchButton() override;

    // Held weakly; told through ZQCustomSwitchButtonHoverDelegate when it
    // implements that interface.
    void setHoverDelegate(QObject* delegate) { _hoverDelegate = delegate; }

    void setBtnIconOFF(const ZQImage& iconOff, const ZQImage& iconOn, const Margin& margin);
    void setBtnIconON(const ZQImage& iconOn, const Margin& margin);
    void setBtnIconOFFNormal(const ZQImage& normal, const ZQImage& hover, const ZQImage& click,
                             const Margin& margin);
    void setBtnIconONNormal(const ZQImage& normal, const ZQImage& hover, const ZQImage& click,
                            const Margin& margin);

    void setBgColor(const QColor& color, qreal radius);
    void setBgColor(const QColor& color, const QColor& strokeColor, qreal radius);
    void setBgColorNormal(const QColor& off, const QColor& select, qreal radius);
    void setBgColorOFFNormal(const QColor& normal, const QColor& hover, const QColor& click,
                             const QColor& on, qreal radius);
    void setBgStrokeColorOFFNormal(const QColor& normal, const QColor& hover, const QColor& click,
                                   const QColor& on, qreal radius);

    // Appends a title drawn in both states.
    void setBtnTitle(const QString& title, const QFont& font, const QColor& color, int type,
                     const Margin& margin);
    // The state titles: the same text in an off and an on colour.
    void setBtnTitle(const QString& title, const QFont& font, const QColor& colorOff,
                     const QColor& colorOn, int type, const Margin& margin);
    void clearBtnTitle();

    // Adds an 18 × 18 check box at `left`, vertically centred in the height
    // below the `top` margin; a click on it sets the state and sends the
    // action.
    void setCheckBoxWithMargin(qreal left, qreal top);
    void setCheckBoxState(bool on);
    QCheckBox* checkBox() const { return _checkBox; }

    // Puts `title` in both state titles and returns the fitting width: the
    // title's width plus the on title's margins, kept between the bounds.
    qreal sizeUpdateWithTitle(const QString& title, qreal minWidth, qreal maxWidth);

    void setIsSwitchON(bool on);
    bool isSwitchON() const { return _isSwitchON; }

    // A switch reads as a check box (or, where its owner says so, a radio button).
    void activate() override;
    QString accessibleTitle() const override;
    bool isAccessibleCheckable() const override { return true; }
    bool isAccessibleChecked() const override { return _isSwitchON; }

    const QList<ZQCustomBtnTitle>& titles() const { return _titles; }
    ZQCustomBtnTitle titleON() const { return _titleON; }
    ZQCustomBtnTitle titleOFF() const { return _titleOFF; }
    Margin iconMargin() const { return _iconMargin; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void mouseDownCheckBox(bool checked);
    void drawTitleRecord(QPainter& painter, const ZQCustomBtnTitle& record);
    void layoutCheckBox();
    void tellHover(bool hover);

    bool _isSwitchON = false;
    QPointer<QObject> _hoverDelegate;
    QCheckBox* _checkBox = nullptr;
    qreal _checkBoxLeft = 0, _checkBoxTop = 0;
    qreal _radius = 0;
    QList<ZQCustomBtnTitle> _titles;
    ZQCustomBtnTitle _titleOFF, _titleON;
    QColor _bgColorOFF, _bgColorSelect;
    QColor _bgColorOFFNormal, _bgColorOFFHover, _bgColorOFFClick;
    QColor _bgSColorOFF, _bgSColorSelect;
    QColor _bgSColorOFFNormal, _bgSColorOFFHover, _bgSColorOFFClick;
    ZQImage _iconImgON, _iconImgOFF;
    ZQImage _iconImgOFFNormal, _iconImgOFFHover, _iconImgOFFClick;
    ZQImage _iconImgONNormal, _iconImgONHover, _iconImgONClick;
    Margin _iconMargin{0, 0, 0, 0}, _iconMarginOFF{0, 0, 0, 0}, _iconMarginON{0, 0, 0, 0};
};
