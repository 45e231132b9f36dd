#include "Gallery.h"

#include <QCoreApplication>
#include <QDir>
#include <QEnterEvent>
#include <QImage>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>

#include <cmath>

#include "controls/ZQAlertWindow.h"
#include "controls/ZQCustomBgView.h"
#include "controls/ZQCustomButton.h"
#include "controls/ZQCustomContentView.h"
#include "controls/ZQCustomProgress.h"
#include "controls/ZQCustomSwitchButton.h"
#include "controls/ZQDrawingUtils.h"
#include "controls/ZQFonts.h"
#include "controls/ZQGeometry.h"
#include "controls/ZQGradientColorView.h"
#include "controls/ZQImage.h"
#include "controls/ZQWindowButtonView.h"

using zq::controls::namedFont;
using zq::controls::placeAt;

namespace {

const QColor kOrange(255, 100, 44);
const QColor kOrangeLight(255, 120, 71);
const QColor kOrangeDark(229, 82, 28);
const QColor kInk(42, 43, 44);

// A sample's frame: a plain background the control sits on.
class Frame : public QWidget {
public:
    Frame(QSize size, QColor background) : _background(background) { resize(size); }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.fillRect(rect(), _background);
    }

private:
    QColor _background;
};

// Puts a control in a look as the pointer would.
void enter(QWidget* w) {
    const QPointF local(w->width() / 2.0, w->height() / 2.0);
    QEnterEvent event(local, local, local);
    QCoreApplication::sendEvent(w, &event);
}

void press(QWidget* w) {
    const QPointF local(w->width() / 2.0, w->height() / 2.0);
    QMouseEvent event(QEvent::MouseButtonPress, local, local, local, Qt::LeftButton, Qt::LeftButton,
                      Qt::NoModifier);
    QCoreApplication::sendEvent(w, &event);
}

void apply(QWidget* w, const QString& state) {
    if (state == QLatin1String("hover")) {
        enter(w);
    } else if (state == QLatin1String("pressed")) {
        enter(w);
        press(w);
    } else if (state == QLatin1String("disabled")) {
        w->setEnabled(false);
    }
}

QFont font(qreal size) {
    return namedFont(QStringLiteral("PingFangSC-Regular"), size);
}

// ---- buttons ------------------------------------------------------------------

QWidget* colourButton(const QString& state, bool confirm) {
    auto* frame = new Frame(QSize(150, 60), QColor(233, 233, 233));
    auto* button = new ZQCustomButton(QRectF(21, 16, 108, 28), frame);
    if (confirm) {
        button->setTitle(QStringLiteral("确认"), Qt::white, QColor(255, 255, 255, 254), Qt::white,
                         font(13));
        button->setBgColorForNormal(QColor(255, 120, 71), QColor(255, 138, 95), kOrangeDark, 6);
    } else {
        button->setTitle(QStringLiteral("取消"), QColor(64, 64, 64), QColor(34, 34, 34),
                         QColor(34, 34, 34), font(13));
        button->setBgColorForNormal(QColor(195, 196, 197), QColor(205, 206, 207),
                                    QColor(182, 183, 184), 6);
    }
    apply(button, state);
    return frame;
}

QWidget* borderButton(const QString& state) {
    auto* frame = new Frame(QSize(150, 60), Qt::white);
    auto* button = new ZQCustomButton(QRectF(21, 16, 108, 28), frame);
    button->setTitle(QStringLiteral("检查更新"), kInk, kOrange, kOrangeDark, font(13));
    button->setBgColorForNormal(Qt::white, QColor(255, 246, 242), QColor(255, 237, 229), 14);
    button->setBgStrokeColorForNormal(QColor(195, 196, 197), kOrange, kOrangeDark, 14);
    apply(button, state);
    return frame;
}

QWidget* linkButton(const QString& state) {
    auto* frame = new Frame(QSize(150, 40), Qt::white);
    auto* button = new ZQCustomButton(QRectF(25, 10, 100, 20), frame);
    button->setText(QStringLiteral("用户协议"));
    button->setFont(font(12));
    button->setTitHoverUndLineWithTitColor(QColor(102, 102, 102), kOrange);
    apply(button, state);
    return frame;
}

QWidget* imageButton(const QString& state, const QString& base, bool withDisable) {
    auto* frame = new Frame(QSize(60, 48), Qt::white);
    auto* button = new ZQCustomButton(QRectF(18, 12, 24, 24), frame);
    if (withDisable) {
        button->setBgImageForNormal(
            ZQImage::named(base + "_normal"), ZQImage::named(base + "_hover"),
            ZQImage::named(base + "_click"), ZQImage::named(base + "_disable"));
    } else {
        button->resize(16, 16);
        placeAt(button, 22, 16, 16, 16);
        button->setImageForNormal(ZQImage::named(QStringLiteral("closeNormal")),
                                  ZQImage::named(QStringLiteral("closeHover")),
                                  ZQImage::named(QStringLiteral("closeActive")));
    }
    apply(button, state);
    return frame;
}

QWidget* ninePartButton(const QString& state) {
    auto* frame = new Frame(QSize(280, 64), Qt::white);
    auto* button = new ZQCustomButton(QRectF(20, 14, 240, 36), frame);
    button->setBgImageForNormal(ZQImage::named(QStringLiteral("access_normal")),
                                ZQImage::named(QStringLiteral("access_hover")),
                                ZQImage::named(QStringLiteral("access_click")),
                                QRectF(20, 10, 160, 20));
    button->setTitle(QStringLiteral("前往授权"), Qt::white, QColor(255, 255, 254), Qt::white,
                     font(13));
    apply(button, state);
    return frame;
}

QWidget* chipButton(const QString& state) {
    auto* frame = new Frame(QSize(140, 40), Qt::white);
    const QString title = QStringLiteral("截图.png");
    const qreal width = QFontMetricsF(font(12)).horizontalAdvance(title) + 40;
    auto* chip = new ZQCustomButton(QRectF(10, 10, width, 20), frame);
    chip->setBgColorForNormal(QColor(34, 34, 34, 26), QColor(34, 34, 34, 26),
                              QColor(34, 34, 34, 26), 5);
    chip->setTitleWithPosX(title, QColor(102, 102, 102), QColor(34, 34, 34), QColor(34, 34, 34), 8,
                           font(12));
    chip->setIconImageForNormal(ZQImage::named(QStringLiteral("clear_btn_normal")),
                                ZQImage::named(QStringLiteral("clear_btn_hover")),
                                ZQImage::named(QStringLiteral("clear_btn_click")),
                                QPointF(width - 24, 2));
    chip->setImagePosition(state == QLatin1String("normal") ? ZQCustomButton::NoImage
                                                            : ZQCustomButton::ImageRight);
    apply(chip, state);
    return frame;
}

QWidget* toggleButton(const QString& state) {
    auto* frame = new Frame(QSize(150, 40), Qt::white);
    auto* button = new ZQCustomButton(QRectF(15, 8, 120, 24), frame);
    button->setFont(font(12));
    button->setIconImageForNormalOn(ZQImage::named(QStringLiteral("button_check_on")),
                                    ZQImage::named(QStringLiteral("button_check_on")),
                                    ZQImage::named(QStringLiteral("button_check_off")),
                                    ZQImage::named(QStringLiteral("button_check_off")),
                                    QPointF(0, 3));
    button->setTitle(QString(), QPointF(26, 4), font(12), kInk);
    button->setStateOnTitle(QStringLiteral("已开启"), kOrange, kOrangeDark);
    button->setStateOffTitle(QStringLiteral("已关闭"), kInk, QColor(102, 102, 102));
    button->updateSubTitle(QString(), 12, 0);
    button->setIsSelect(state == QLatin1String("on"));
    return frame;
}

// ---- switches -------------------------------------------------------------------

QWidget* checkSwitch(const QString& state) {
    auto* frame = new Frame(QSize(200, 44), Qt::white);
    auto* button = new ZQCustomSwitchButton(QRectF(10, 8, 180, 28), frame);
    button->setCheckBoxWithMargin(4, 0);
    button->setBtnTitle(QStringLiteral("开启协助调试模式"), font(13), kInk, kOrange, 1,
                        {28, 4, 0, 0});
    button->setBgColorOFFNormal(QColor(), QColor(255, 246, 242), QColor(), QColor(), 6);
    button->setCheckBoxState(state == QLatin1String("on"));
    if (state == QLatin1String("hover")) {
        enter(button);
    }
    return frame;
}

QWidget* radioSwitch(const QString& state) {
    auto* frame = new Frame(QSize(200, 44), Qt::white);
    auto* button = new ZQCustomSwitchButton(QRectF(10, 8, 180, 28), frame);
    const ZQCustomSwitchButton::Margin margin{6, 0, 0, 5};
    button->setBtnIconOFF(ZQImage::named(QStringLiteral("button_check_off")),
                          ZQImage::named(QStringLiteral("button_check_on")), margin);
    button->setBtnTitle(QStringLiteral("关闭协助调试模式"), font(13), kInk, kOrange, 1,
                        {30, 4, 0, 0});
    button->setBgColorOFFNormal(QColor(), QColor(245, 245, 245), QColor(), QColor(255, 237, 229),
                                6);
    button->setBgColorNormal(QColor(), QColor(255, 237, 229), 6);
    button->setIsSwitchON(state == QLatin1String("on"));
    if (state == QLatin1String("hover")) {
        enter(button);
    }
    return frame;
}

// ---- window chrome -------------------------------------------------------------

QWidget* windowButtons(const QString& state, bool closeOnly) {
    auto* frame = new Frame(QSize(80, 28), QColor(246, 246, 246));
    ZQWindowButtonView* strip =
        closeOnly ? ZQWindowButtonView::initCloseButtonViewWithFrame(QRectF(4, 6, 60, 16), frame)
                  : new ZQWindowButtonView(QRectF(4, 6, 60, 16), frame);
    if (state == QLatin1String("hover")) {
        enter(strip);
    }
    return frame;
}

QWidget* contentView(const QString&) {
    auto* frame = new Frame(QSize(180, 110), QColor(120, 120, 120));
    auto* view = new ZQCustomContentView(frame);
    placeAt(view, 10, 10, 160, 90);
    view->updateBackgroundColor(Qt::white, 10);
    return frame;
}

QWidget* bgView(const QString& state) {
    auto* frame = new Frame(QSize(180, 100), QColor(233, 233, 233));
    auto* view = new ZQCustomBgView(QRectF(15, 15, 150, 70), frame);
    if (state == QLatin1String("rounded")) {
        view->setBgColor(Qt::white, 10, 10);
    } else if (state == QLatin1String("mask-5-left")) {
        view->setBgColor(kOrange, 14, 14, 5);
    } else if (state == QLatin1String("mask-10-right")) {
        view->setBgColor(kOrange, 14, 14, 10);
    } else if (state == QLatin1String("mask-3-top")) {
        view->setBgColor(QColor(248, 248, 248, 230), 7, 7, 3);
    } else if (state == QLatin1String("gradient")) {
        view->setBgGradient(QColor(255, 237, 229), Qt::white);
        view->setBgStrokeColor(QColor(255, 210, 192), 0, 0);
    } else if (state == QLatin1String("image")) {
        view->setBgImage(ZQImage::named(QStringLiteral("about_view_bg")));
    } else if (state.startsWith(QLatin1String("tristate"))) {
        view->setBgColor(Qt::white, 6, 6);
        view->setBgStrokeColorForNormal(QColor(195, 196, 197), kOrange, kOrangeDark, 6);
        if (state.endsWith(QLatin1String("hover"))) {
            enter(view);
        } else if (state.endsWith(QLatin1String("pressed"))) {
            enter(view);
            press(view);
        }
    } else if (state.startsWith(QLatin1String("focus"))) {
        view->setBgColor(Qt::white, 6, 6);
        view->setBgStrokeColorForActive(kOrange, QColor(195, 196, 197), 6);
        view->updateBgStrokeColorWithActive(state.endsWith(QLatin1String("active")) &&
                                            !state.endsWith(QLatin1String("inactive")));
    } else if (state == QLatin1String("backdrop")) {
        view->addVisualEffectView();
        auto* label = new QLabel(QStringLiteral("模糊背景"), view);
        label->setFont(font(13));
        placeAt(label, 10, 25, 130, 20);
    }
    return frame;
}

QWidget* progress(const QString& state) {
    auto* frame = new Frame(QSize(200, 30), Qt::white);
    auto* bar = new ZQCustomProgress(QRectF(10, 11, 180, 8), frame);
    bar->setCornerRadius(4);
    if (state == QLatin1String("gradient-70")) {
        bar->setBgColor(QColor(240, 240, 240), kOrangeLight, kOrange, 4);
        bar->setPresent(70);
    } else {
        bar->setBgColor(QColor(240, 240, 240), kOrange);
        bar->setPresent(state.toInt());
    }
    return frame;
}

QWidget* gradientView(const QString& state) {
    auto* frame = new Frame(QSize(180, 50), Qt::white);
    auto* view = new ZQGradientColorView(frame);
    placeAt(view, 10, 15, 160, 20);
    if (state == QLatin1String("plain")) {
        view->setColor(kOrange, 10);
    } else {
        view->setGradientColorStart(QColor(255, 170, 120), kOrange, 10);
    }
    return frame;
}

QWidget* textField(const QString&) {
    auto* frame = new Frame(QSize(200, 44), Qt::white);
    auto* border = new ZQCustomBgView(QRectF(10, 8, 180, 28), frame);
    border->setBgStrokeColor(QColor(195, 196, 197), 4, 4);
    auto* field = new ZQCustomTextField(QStringLiteral("请留下您的联系方式"), border);
    field->setFont(font(12));
    field->setTextColor(kInk);
    placeAt(field, 8, 0, 164, 28);
    return frame;
}

QWidget* ninePart(const QString& state) {
    // The nine-part drawing of a background picture at three widths.
    class NinePart : public QWidget {
    public:
        explicit NinePart(qreal width) : _width(width) { resize(int(width) + 20, 56); }

    protected:
        void paintEvent(QPaintEvent*) override {
            QPainter painter(this);
            painter.fillRect(rect(), Qt::white);
            ZQDrawingUtils::draw9PatchImage(&painter,
                                            ZQImage::named(QStringLiteral("access_normal")),
                                            QRectF(20, 10, 160, 20), QRectF(10, 10, _width, 36));
        }

    private:
        qreal _width;
    };
    return new NinePart(state.toDouble());
}

// ---- alert ------------------------------------------------------------------------

// The alert over a page, both rendered into one picture.
class AlertSample : public QLabel {
public:
    explicit AlertSample(QSize pageSize) {
        auto* page = new QWidget;
        page->setAttribute(Qt::WA_TranslucentBackground);
        page->resize(pageSize);
        auto* background =
            new ZQCustomBgView(QRectF(0, 0, pageSize.width(), pageSize.height()), page);
        background->setBgImage(ZQImage::named(QStringLiteral("about_view_bg")));
        auto* logo = new QLabel(background);
        logo->setPixmap(ZQImage::named(QStringLiteral("alert_logo")).toPixmap(2));
        placeAt(logo, (pageSize.width() - 64) / 2.0, pageSize.height() - 110, 64, 64);
        ZQAlertWindow alert;
        alert.showInWindow(page, QStringLiteral("是否进入协助调试模式？"),
                           QStringLiteral("协助调试模式开启后，我们将在4小时内收集上传Vesko输入法的"
                                          "核心按键日志和相关数据，并开启性能监测，以便于排查产品"
                                          "问题。如您当前使用Vesko输入法无异常，不建议开启。"),
                           [](bool) {});
        alert.resize(pageSize);
        QImage image(pageSize * 2, QImage::Format_ARGB32_Premultiplied);
        image.setDevicePixelRatio(2);
        image.fill(Qt::transparent);
        page->render(&image);
        QPainter painter(&image);
        alert.render(&painter, QPoint(), QRegion(), QWidget::DrawChildren);
        painter.end();
        alert.hideAlertView();
        delete page;
        setPixmap(QPixmap::fromImage(image));
        resize(pageSize);
    }
};

// ---- images --------------------------------------------------------------------

QWidget* imageSample(const QString& name) {
    const ZQImage image = ZQImage::named(name);
    const QSizeF size = image.isNull() ? QSizeF(40, 40) : image.size();
    const bool dark = name == QLatin1String("magnifier");
    auto* frame =
        new Frame(QSize(int(std::ceil(size.width())) + 16, int(std::ceil(size.height())) + 16),
                  dark ? QColor(200, 200, 200) : QColor(250, 250, 250));
    auto* label = new QWidget(frame);
    label->setGeometry(8, 8, int(std::ceil(size.width())), int(std::ceil(size.height())));
    class ImageView : public QWidget {
    public:
        ImageView(ZQImage image, QWidget* parent) : QWidget(parent), _image(std::move(image)) {}

    protected:
        void paintEvent(QPaintEvent*) override {
            QPainter painter(this);
            if (_image.isNull()) {
                painter.fillRect(rect(), Qt::red);  // a missing image shows up at once
                return;
            }
            _image.draw(&painter, QRectF(rect()));
        }

    private:
        ZQImage _image;
    };
    auto* view = new ImageView(image, frame);
    view->setGeometry(label->geometry());
    delete label;
    return frame;
}

// Every image compiled into the application, in the order of its resource file.
QStringList imageNames() {
    return QDir(QStringLiteral(":/images")).entryList(QDir::Files, QDir::Unsorted);
}

}  // namespace

QList<GalleryItem> galleryItems() {
    QList<GalleryItem> items;
    auto add = [&](const QString& section, const QString& name, const QStringList& states,
                   std::function<QWidget*(const QString&)> make) {
        for (const QString& state : states) {
            items.append({section, name, state, [make, state]() { return make(state); }});
        }
    };
    const QStringList looks = {"normal", "hover", "pressed", "disabled"};
    add("buttons", "button-confirm", looks, [](const QString& s) { return colourButton(s, true); });
    add("buttons", "button-cancel", looks, [](const QString& s) { return colourButton(s, false); });
    add("buttons", "button-border", looks, borderButton);
    add("buttons", "button-link", {"normal", "hover"}, linkButton);
    add("buttons", "button-close", {"normal", "hover", "pressed"},
        [](const QString& s) { return imageButton(s, QString(), false); });
    add("buttons", "button-back", looks,
        [](const QString& s) { return imageButton(s, QStringLiteral("back_btn"), true); });
    add("buttons", "button-forward", looks,
        [](const QString& s) { return imageButton(s, QStringLiteral("forward_btn"), true); });
    add("buttons", "button-ninepart", {"normal", "hover", "pressed"}, ninePartButton);
    add("buttons", "button-chip", {"normal", "hover", "pressed"}, chipButton);
    add("buttons", "button-toggle", {"off", "on"}, toggleButton);
    add("switches", "switch-checkbox", {"off", "hover", "on"}, checkSwitch);
    add("switches", "switch-icon", {"off", "hover", "on"}, radioSwitch);
    add("window chrome", "window-buttons", {"normal", "hover"},
        [](const QString& s) { return windowButtons(s, false); });
    add("window chrome", "window-close-only", {"normal", "hover"},
        [](const QString& s) { return windowButtons(s, true); });
    add("window chrome", "content-view", {"normal"}, contentView);
    add("backgrounds", "bg-view",
        {"rounded", "mask-5-left", "mask-10-right", "mask-3-top", "gradient", "image",
         "tristate-normal", "tristate-hover", "tristate-pressed", "focus-inactive", "focus-active",
         "backdrop"},
        bgView);
    add("progress", "progress", {"0", "50", "100", "gradient-70"}, progress);
    add("progress", "gradient-view", {"plain", "gradient"}, gradientView);
    add("text", "text-field", {"normal"}, textField);
    add("drawing", "nine-part", {"60", "200", "320"}, ninePart);
    add("alert", "alert", {"about-page", "small-page"}, [](const QString& s) -> QWidget* {
        return new AlertSample(s == QLatin1String("about-page") ? QSize(390, 287)
                                                                : QSize(390, 240));
    });
    for (const QString& name : imageNames()) {
        items.append({QStringLiteral("images"), QStringLiteral("image-") + name,
                      QStringLiteral("own-size"), [name]() { return imageSample(name); }});
    }
    return items;
}

bool writeSamplePng(QWidget* sample, const QString& path, qreal ratio) {
    const QSize pixels(int(std::ceil(sample->width() * ratio)),
                       int(std::ceil(sample->height() * ratio)));
    QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::transparent);
    sample->render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
    return image.save(path, "PNG");
}
