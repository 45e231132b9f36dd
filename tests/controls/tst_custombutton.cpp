// The custom button: looks per pointer event, actions, links, toggles,
// enabled-state images and its drawing.

#include <QAccessible>
#include <QAccessibleActionInterface>
#include <QPainter>
#include <QSignalSpy>
#include <QtTest>

#include "ControlsTestSupport.h"
#include "controls/ZQCustomButton.h"
#include "controls/ZQFonts.h"
#include "controls/ZQGeometry.h"
#include "platform/Workspace.h"

using controls_test::at;

namespace {

ZQImage solid(const QColor& color, QSize size = QSize(10, 10)) {
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(color);
    return ZQImage::fromImage(image);
}

// The extent of the pixels that differ from `background`.
QRect inkBounds(const QImage& image, const QColor& background) {
    QRect bounds;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (!controls_test::near(QColor::fromRgba(image.pixel(x, y)), background, 40)) {
                bounds |= QRect(x, y, 1, 1);
            }
        }
    }
    return bounds;
}
}  // namespace

class TestCustomButton : public QObject {
    Q_OBJECT

private slots:
    void init() {
        window_ = new QWidget;
        window_->resize(200, 100);
        button_ = new ZQCustomButton(QRectF(20, 20, 100, 40), window_);
        window_->show();
        QVERIFY(QTest::qWaitForWindowExposed(window_));
        events_.clear();
        platform::Workspace::setUrlOpener([this](const QUrl& url) {
            events_ << "open " + url.toString();
            return true;
        });
        connect(button_, &ZQCustomButton::action, this, [this](ZQCustomButton* sender) {
            QCOMPARE(sender, button_);
            events_ << "action";
        });
    }

    void cleanup() {
        platform::Workspace::setUrlOpener({});
        delete window_;
        window_ = nullptr;
    }

    // Steps: e(nter), p(ress), r(elease), l(eave). Expected looks after each.
    void looksFollowThePointer_data() {
        QTest::addColumn<QString>("setup");
        QTest::addColumn<QString>("steps");
        QTest::addColumn<QString>("looks");
        const auto row = [](const char* name, const QString& setup, const QString& steps,
                            const QString& looks) {
            QTest::newRow(name) << setup << steps << looks;
        };
        row("push, normal image only: hovering changes nothing", "normalImage", "eprl", "0200");
        row("normal colour only: no hover tracking", "normalColor", "eprl", "0200");
        row("hover colour: tracking", "hoverColor", "eprl", "1210");
        row("hover image: tracking", "hoverImage", "eprl", "1210");
        row("toggle pressed twice returns to look 0", "toggle", "prpr", "2200");
        row("link", "link", "eprl", "1210");
        row("disabled ignores the pointer", "disabled", "eprl", "0000");
    }

    void looksFollowThePointer() {
        QFETCH(QString, setup);
        QFETCH(QString, steps);
        QFETCH(QString, looks);
        const QColor grey(200, 200, 200);
        if (setup == QLatin1String("normalImage")) {
            button_->setBgImageForNormal(solid(Qt::red), ZQImage(), solid(Qt::blue));
        } else if (setup == QLatin1String("normalColor")) {
            button_->setBgColorForNormal(grey, QColor(), Qt::blue);
        } else if (setup == QLatin1String("hoverColor")) {
            button_->setBgColorForNormal(grey, Qt::green, Qt::blue);
        } else if (setup == QLatin1String("hoverImage")) {
            button_->setImageForNormal(solid(Qt::red), solid(Qt::green), solid(Qt::blue));
        } else if (setup == QLatin1String("toggle")) {
            button_->setIconImageForNormalOn(solid(Qt::red), solid(Qt::green), solid(Qt::blue),
                                             solid(Qt::yellow), QPointF(0, 0));
        } else if (setup == QLatin1String("link")) {
            button_->setText("link");
            button_->setTitHoverUndLine();
        } else if (setup == QLatin1String("disabled")) {
            button_->setBgColorForNormal(grey, Qt::green, Qt::blue);
            button_->setEnabled(false);
        }
        const QPoint inside(50, 20);
        QTest::mouseMove(window_, QPoint(5, 5));
        for (int i = 0; i < steps.size(); ++i) {
            switch (steps.at(i).toLatin1()) {
                case 'e':
                    QTest::mouseMove(button_, inside);
                    break;
                case 'p':
                    QTest::mousePress(button_, Qt::LeftButton, {}, inside);
                    break;
                case 'r':
                    QTest::mouseRelease(button_, Qt::LeftButton, {}, inside);
                    break;
                case 'l':
                    QTest::mouseMove(window_, QPoint(190, 90));
                    break;
            }
            QVERIFY2(button_->btnState() == looks.at(i).digitValue(),
                     qPrintable(QStringLiteral("step %1 (%2): look %3")
                                    .arg(i)
                                    .arg(steps.at(i))
                                    .arg(button_->btnState())));
        }
    }

    void perLookValues_data() {
        QTest::addColumn<QString>("layer");
        QTest::newRow("background image") << "bgImage";
        QTest::newRow("background colour and border") << "bgColor";
        QTest::newRow("button image") << "image";
        QTest::newRow("icon") << "icon";
        QTest::newRow("title colour") << "title";
    }

    void perLookValues() {
        QFETCH(QString, layer);
        const ZQImage n = solid(Qt::red), h = solid(Qt::green), c = solid(Qt::blue);
        const QColor cn(10, 10, 10), ch(20, 20, 20), cc(30, 30, 30);
        std::function<QVariant()> shown;
        if (layer == QLatin1String("bgImage")) {
            button_->setBgImageForNormal(n, h, c);
            shown = [this]() { return QVariant::fromValue(button_->bgImage()); };
        } else if (layer == QLatin1String("bgColor")) {
            button_->setBgColorForNormal(cn, ch, cc, 4);
            button_->setBgStrokeColorForNormal(cn, ch, cc, 4);
            // The border follows the same looks as the fill.
            shown = [this]() {
                return button_->bgStrokeColor() == button_->bgColor() ? QVariant(button_->bgColor())
                                                                      : QVariant();
            };
        } else if (layer == QLatin1String("image")) {
            button_->setImageForNormal(n, h, c);
            shown = [this]() { return QVariant::fromValue(button_->buttonImage()); };
        } else if (layer == QLatin1String("icon")) {
            button_->setIconImageForNormal(n, h, c, QPointF(2, 3));
            shown = [this]() { return QVariant::fromValue(button_->iconImage()); };
        } else {
            button_->setTitle("t", cn, ch, cc, QPointF(0, 0), button_->font());
            shown = [this]() { return QVariant(button_->drawnTitleColor()); };
        }
        const bool colours = layer == QLatin1String("bgColor") || layer == QLatin1String("title");
        auto expect = [&](int look) {
            if (colours) {
                return QVariant(look == 0 ? cn : look == 1 ? ch : cc);
            }
            return QVariant::fromValue(look == 0 ? n : look == 1 ? h : c);
        };
        auto same = [&](const QVariant& a, const QVariant& b) {
            return colours ? a.value<QColor>() == b.value<QColor>()
                           : a.value<ZQImage>() == b.value<ZQImage>();
        };
        QCOMPARE(button_->buttonStyle(), int(ZQCustomButton::StyleHover));
        QVERIFY(same(shown(), expect(0)));
        QTest::mouseMove(button_, QPoint(10, 10));
        QVERIFY(same(shown(), expect(1)));
        QTest::mousePress(button_, Qt::LeftButton, {}, QPoint(10, 10));
        QVERIFY(same(shown(), expect(2)));
        QTest::mouseRelease(button_, Qt::LeftButton, {}, QPoint(10, 10));
        QVERIFY(same(shown(), expect(1)));
        QTest::mouseMove(window_, QPoint(190, 95));
        QVERIFY(same(shown(), expect(0)));
    }

    // How a user presses a button: the pointer, the keyboard, a screen reader's
    // "Press" action, QAbstractButton::click(). Each runs the action once, on the
    // next turn of the event loop (not from inside the press); a disabled button
    // runs nothing.
    void everyWayOfPressingRunsTheAction_data() {
        QTest::addColumn<QString>("how");
        QTest::addColumn<bool>("enabled");
        for (const char* how : {"mouse", "space", "return", "enter", "accessible press", "click"}) {
            QTest::newRow(how) << QString::fromLatin1(how) << true;
        }
        QTest::newRow("space, disabled") << "space" << false;
        QTest::newRow("accessible press, disabled") << "accessible press" << false;
    }

    void everyWayOfPressingRunsTheAction() {
        QFETCH(QString, how);
        QFETCH(bool, enabled);
        button_->setTitle("稍后提醒", Qt::black, Qt::black, Qt::black, QFont());
        button_->setEnabled(enabled);
        QSignalSpy clicked(button_, &QAbstractButton::clicked);
        QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(button_);
        QVERIFY(accessible);
        QCOMPARE(accessible->role(), QAccessible::Button);
        QCOMPARE(accessible->text(QAccessible::Name), "稍后提醒");

        button_->setFocus(Qt::TabFocusReason);
        if (how == QLatin1String("mouse")) {
            QTest::mouseClick(button_, Qt::LeftButton, {}, QPoint(10, 10));
        } else if (how == QLatin1String("space")) {
            QTest::keyClick(button_, Qt::Key_Space);
        } else if (how == QLatin1String("return")) {
            QTest::keyClick(button_, Qt::Key_Return);
        } else if (how == QLatin1String("enter")) {
            QTest::keyClick(button_, Qt::Key_Enter);
        } else if (how == QLatin1String("accessible press")) {
            QAccessibleActionInterface* actions = accessible->actionInterface();
            QVERIFY(actions);
            QCOMPARE(actions->actionNames().contains(QAccessibleActionInterface::pressAction()),
                     enabled);
            actions->doAction(QAccessibleActionInterface::pressAction());
        } else {
            button_->click();
        }
        QVERIFY(events_.isEmpty());
        QVERIFY(!button_->hasClicked());
        const QStringList expected = enabled ? QStringList{"action"} : QStringList{};
        QTRY_COMPARE(events_, expected);
        // Nothing more arrives later: one action, one clicked, per press.
        QTest::qWait(0);
        QCoreApplication::processEvents();
        QCOMPARE(events_, expected);
        QCOMPARE(clicked.count(), enabled ? 1 : 0);
    }

    void dragAndReleaseOutsideSendNothing() {
        // The owner marks the press as a drag: no action, and the mark is cleared.
        QTest::mousePress(button_, Qt::LeftButton, {}, QPoint(10, 10));
        QVERIFY(button_->hasClicked());
        button_->setIsDragging(true);
        QTest::mouseRelease(button_, Qt::LeftButton, {}, QPoint(12, 12));
        QVERIFY(!button_->isDragging());
        // Released away from the button: given up.
        QTest::mousePress(button_, Qt::LeftButton, {}, QPoint(10, 10));
        QTest::mouseRelease(button_, Qt::LeftButton, {}, QPoint(150, 10));
        QCOMPARE(button_->btnState(), int(ZQCustomButton::StateNormal));
        QTest::qWait(0);
        QCoreApplication::processEvents();
        QVERIFY(events_.isEmpty());
        // The next plain click is sent.
        QTest::mouseClick(button_, Qt::LeftButton, {}, QPoint(10, 10));
        QTRY_COMPARE(events_, QStringList{"action"});
    }

    void linkOpensItsAddressThenSendsItsAction() {
        button_->setText("官网");
        button_->setTheUrlString("http://127.0.0.1:8731/about");
        QCOMPARE(button_->titleColor(), QColor(Qt::blue));
        QVERIFY(button_->isHandCursor());
        QCOMPARE(button_->cursor().shape(), Qt::PointingHandCursor);
        QCOMPARE(button_->btnTitStyle(), int(ZQCustomButton::TitUnderlineOnHover));
        QVERIFY(!button_->isTitleUnderlined());
        QTest::mouseMove(button_, QPoint(10, 10));
        QVERIFY(button_->isTitleUnderlined());
        QTest::mouseClick(button_, Qt::LeftButton, {}, QPoint(10, 10));
        QVERIFY(events_.isEmpty());  // the click never waits for the opener
        QTRY_COMPARE(events_, (QStringList{"open http://127.0.0.1:8731/about", "action"}));
        QTest::mouseMove(window_, QPoint(190, 95));
        QVERIFY(!button_->isTitleUnderlined());
    }

    void toggleIconsAndTitles() {
        const ZQImage onN = solid(Qt::red), onC = solid(Qt::darkRed), offN = solid(Qt::blue),
                      offC = solid(Qt::darkBlue);
        button_->setIconImageForNormalOn(onN, onC, offN, offC, QPointF(4, 5));
        button_->setStateOnTitle("开", Qt::white, Qt::gray);
        button_->setStateOffTitle("关", Qt::black, Qt::darkGray);
        QCOMPARE(button_->buttonStyle(), int(ZQCustomButton::StyleToggle));

        button_->setIsSelect(true);
        QVERIFY(button_->isSelect());
        QCOMPARE(button_->iconImage(), onN);
        QCOMPARE(button_->titleString(), "开");
        QCOMPARE(button_->drawnTitleColor(), QColor(Qt::white));
        QCOMPARE(button_->iconOrigin(), QPointF(4, 5));
        QTest::mousePress(button_, Qt::LeftButton, {}, QPoint(10, 10));
        QCOMPARE(button_->iconImage(), onC);
        QTest::mouseRelease(button_, Qt::LeftButton, {}, QPoint(10, 10));
        QCOMPARE(button_->iconImage(), onC);  // a toggle keeps its look
        QVERIFY(button_->isSelect());         // and the owner decides the state
        QTRY_COMPARE(events_.size(), 1);

        button_->setIsSelect(false);
        QCOMPARE(button_->iconImage(), offN);
        QCOMPARE(button_->titleString(), "关");
        QCOMPARE(button_->drawnTitleColor(), QColor(Qt::black));
        // A state without a normal icon shows no icon.
        button_->setIconImageForNormalOn(ZQImage(), onC, offN, offC, QPointF(4, 5));
        button_->setIsSelect(true);
        QVERIFY(button_->iconImage().isNull());
    }

    void enabledStateImages() {
        const ZQImage enable = solid(Qt::green), disable = solid(Qt::gray);
        button_->setEnableImage(enable, disable);
        QCOMPARE(button_->buttonImage(), enable);
        button_->setEnabled(false);
        QCOMPARE(button_->buttonImage(), disable);
        button_->setEnabled(true);
        QCOMPARE(button_->buttonImage(), enable);

        // A hover-tracking background with a disabled image.
        auto* other = new ZQCustomButton(QRectF(0, 0, 30, 30), window_);
        const ZQImage n = solid(Qt::red), dis = solid(Qt::darkGray);
        other->setBgImageForNormal(n, solid(Qt::green), solid(Qt::blue), dis);
        QCOMPARE(other->bgImage(), n);
        other->setDisableState();
        QVERIFY(!other->isEnabled());
        QCOMPARE(other->bgImage(), dis);
        other->setEnabled(true);
        QCOMPARE(other->bgImage(), n);
    }

    void drawsBackgroundBorderAndIcon_data() {
        QTest::addColumn<qreal>("ratio");
        QTest::newRow("ratio 1") << 1.0;
        QTest::newRow("ratio 2") << 2.0;
    }

    void drawsBackgroundBorderAndIcon() {
        QFETCH(qreal, ratio);
        const QColor fill(255, 100, 44), line(10, 20, 30), icon(0, 200, 0);
        ZQCustomButton button;
        button.resize(100, 40);
        button.setBgColorForNormal(fill, QColor(), QColor(), 8);
        QImage image = controls_test::render(&button, ratio);
        // Rounded corners: the very corner is empty, the middle is filled.
        QCOMPARE(at(image, 0.2, 0.2).alpha(), 0);
        QCOMPARE(at(image, 99.8, 39.8).alpha(), 0);
        COMPARE_COLOR(at(image, 50, 20), fill);
        COMPARE_COLOR(at(image, 50, 0.2), fill);  // straight edges reach the bounds
        // Radius 0: a plain rectangle.
        button.setBgColorForNormal(fill, QColor(), QColor(), 0);
        image = controls_test::render(&button, ratio);
        COMPARE_COLOR(at(image, 0.2, 0.2), fill);

        // Border: a 1-point line centred half a point inside the bounds.
        button.setBgStrokeColorForNormal(line, QColor(), QColor(), 0);
        button.setIconImage(solid(icon, QSize(10, 10)), QPointF(5, 2));
        image = controls_test::render(&button, ratio);
        COMPARE_COLOR(at(image, 0.5, 20), line);
        COMPARE_COLOR(at(image, 99.5, 20), line);
        COMPARE_COLOR(at(image, 50, 0.5), line);
        COMPARE_COLOR(at(image, 50, 39.5), line);
        COMPARE_COLOR(at(image, 1.5, 20), fill);
        // Icon: origin (5, 2) from the lower left, 10 × 10.
        COMPARE_COLOR(controls_test::atFromBottom(image, 5.5, 2.5), icon);
        COMPARE_COLOR(controls_test::atFromBottom(image, 14.5, 11.5), icon);
        COMPARE_COLOR(controls_test::atFromBottom(image, 5.5, 12.5), fill);
        COMPARE_COLOR(controls_test::atFromBottom(image, 5.5, 1.5), fill);
        // Hidden with the image position "no image".
        button.setImagePosition(ZQCustomButton::NoImage);
        image = controls_test::render(&button, ratio);
        COMPARE_COLOR(controls_test::atFromBottom(image, 8, 5), fill);
    }

    void centresItsTitle_data() {
        QTest::addColumn<qreal>("ratio");
        QTest::addColumn<qreal>("offsetX");
        QTest::addColumn<qreal>("offsetY");
        QTest::newRow("centred") << 1.0 << 0.0 << 0.0;
        QTest::newRow("centred, ratio 2") << 2.0 << 0.0 << 0.0;
        QTest::newRow("offsets move right and up") << 1.0 << 12.0 << 5.0;
    }

    void centresItsTitle() {
        QFETCH(qreal, ratio);
        QFETCH(qreal, offsetX);
        QFETCH(qreal, offsetY);
        ZQCustomButton button;
        button.resize(160, 40);
        button.setBgColorForNormal(Qt::black, QColor(), QColor());
        const QFont font = zq::controls::namedFont("PingFangSC-Regular", 14);
        button.setTitle("确认删除", Qt::white, QColor(), Qt::white, font);
        button.updateSubTitle("确认删除", offsetX, offsetY);
        const QImage image = controls_test::render(&button, ratio);
        const QRect ink = inkBounds(image, Qt::black);
        QVERIFY(!ink.isEmpty());
        const qreal centreX = (ink.left() + ink.right() + 1) / 2.0 / ratio;
        const qreal centreY = (ink.top() + ink.bottom() + 1) / 2.0 / ratio;
        QVERIFY2(std::abs(centreX - (80 + offsetX)) <= 1.5, qPrintable(QString::number(centreX)));
        // Chinese glyphs sit in the middle of the glyph box: visually centred.
        QVERIFY2(std::abs(centreY - (20 - offsetY)) <= 2.0, qPrintable(QString::number(centreY)));

        // A title at an origin: its box starts there, measured from the lower left.
        button.setTitle("确认", QPointF(10, 4), font, Qt::white);
        const QRect placed = inkBounds(controls_test::render(&button, ratio), Qt::black);
        QVERIFY2(std::abs(placed.left() / ratio - 10) <= 2,
                 qPrintable(QString::number(placed.left())));
        QVERIFY(placed.bottom() / ratio <= 40 - 4 + 0.5);
        QVERIFY(placed.bottom() / ratio >= 40 - 4 - 8);
    }

    void underlinesOnlyWhileHovered() {
        button_->setText("link");
        button_->setTitHoverUndLineWithTitColor(QColor(0, 0, 0), QColor(255, 0, 0));
        const QImage before = controls_test::render(button_, 1.0, Qt::white);
        QTest::mouseMove(button_, QPoint(10, 10));
        const QImage hovered = controls_test::render(button_, 1.0, Qt::white);
        // Underlined in the hover colour.
        bool red = false;
        for (int y = 0; y < hovered.height() && !red; ++y) {
            for (int x = 0; x < hovered.width() && !red; ++x) {
                const QColor c = QColor::fromRgba(hovered.pixel(x, y));
                red = c.red() > 200 && c.green() < 60 && c.blue() < 60;
            }
        }
        QVERIFY(red);
        QTest::mouseMove(window_, QPoint(195, 95));
        QCOMPARE(controls_test::render(button_, 1.0, Qt::white), before);
    }

private:
    QWidget* window_ = nullptr;
    ZQCustomButton* button_ = nullptr;
    QStringList events_;
};

QTEST_MAIN(TestCustomButton)
#include "tst_custombutton.moc"
