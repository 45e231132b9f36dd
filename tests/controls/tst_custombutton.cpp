// The custom button: looks per pointer event, actions, links, toggles and
// enabled-state images.

#include <QAccessible>
#include <QAccessibleActionInterface>
#include <QSignalSpy>
#include <QtTest>

#include "ControlsTestSupport.h"
#include "controls/ZQCustomButton.h"
#include "platform/Workspace.h"

namespace {

ZQImage solid(const QColor& color, QSize size = QSize(10, 10)) {
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(color);
    return ZQImage::fromImage(image);
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

    // Steps: e(nter), p(ress), r(elease), l(eave); the look after each step,
    // and for the layers with a value per look, the value it shows.
    void looksFollowThePointer_data() {
        QTest::addColumn<QString>("setup");
        QTest::addColumn<QString>("steps");
        QTest::addColumn<QString>("looks");
        const auto row = [](const char* name, const char* setup, const char* steps,
                            const char* looks) {
            QTest::newRow(name) << QString::fromLatin1(setup) << QString::fromLatin1(steps)
                                << QString::fromLatin1(looks);
        };
        row("background image", "bgImage", "eprl", "1210");
        row("background colour and border", "bgColor", "eprl", "1210");
        row("button image", "image", "eprl", "1210");
        row("icon", "icon", "eprl", "1210");
        row("title colour", "title", "eprl", "1210");
        row("normal colour only: a push button, no hover", "normalColor", "eprl", "0200");
        row("toggle pressed twice returns to look 0", "toggle", "prpr", "2200");
        row("disabled ignores the pointer", "disabled", "eprl", "0000");
    }

    void looksFollowThePointer() {
        QFETCH(QString, setup);
        QFETCH(QString, steps);
        QFETCH(QString, looks);
        const ZQImage images[] = {solid(Qt::red), solid(Qt::green), solid(Qt::blue)};
        const QColor colors[] = {QColor(10, 10, 10), QColor(20, 20, 20), QColor(30, 30, 30)};
        // What the layer under test shows; null when the row checks looks only.
        std::function<QVariant()> shown;
        if (setup == QLatin1String("bgImage")) {
            button_->setBgImageForNormal(images[0], images[1], images[2]);
            shown = [this]() { return QVariant::fromValue(button_->bgImage()); };
        } else if (setup == QLatin1String("bgColor")) {
            button_->setBgColorForNormal(colors[0], colors[1], colors[2], 4);
            button_->setBgStrokeColorForNormal(colors[0], colors[1], colors[2], 4);
            // The border follows the same looks as the fill.
            shown = [this]() {
                return button_->bgStrokeColor() == button_->bgColor() ? QVariant(button_->bgColor())
                                                                      : QVariant();
            };
        } else if (setup == QLatin1String("image")) {
            button_->setImageForNormal(images[0], images[1], images[2]);
            shown = [this]() { return QVariant::fromValue(button_->buttonImage()); };
        } else if (setup == QLatin1String("icon")) {
            button_->setIconImageForNormal(images[0], images[1], images[2], QPointF(2, 3));
            shown = [this]() { return QVariant::fromValue(button_->iconImage()); };
        } else if (setup == QLatin1String("title")) {
            button_->setTitle("t", colors[0], colors[1], colors[2], QPointF(0, 0), button_->font());
            shown = [this]() { return QVariant(button_->drawnTitleColor()); };
        } else if (setup == QLatin1String("normalColor")) {
            button_->setBgColorForNormal(colors[0], QColor(), Qt::blue);
        } else if (setup == QLatin1String("toggle")) {
            button_->setIconImageForNormalOn(images[0], images[1], images[2], solid(Qt::yellow),
                                             QPointF(0, 0));
        } else if (setup == QLatin1String("disabled")) {
            button_->setBgColorForNormal(colors[0], colors[1], colors[2]);
            button_->setEnabled(false);
        }
        const bool colours = setup == QLatin1String("bgColor") || setup == QLatin1String("title");
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
            const int look = looks.at(i).digitValue();
            const QString where = QStringLiteral("step %1 (%2)").arg(i).arg(steps.at(i));
            QVERIFY2(button_->btnState() == look,
                     qPrintable(where + QStringLiteral(": look %1").arg(button_->btnState())));
            if (shown) {
                const QVariant value = shown();
                QVERIFY2(colours ? value.value<QColor>() == colors[look]
                                 : value.value<ZQImage>() == images[look],
                         qPrintable(where));
            }
        }
    }

    // How a user presses a button: the pointer, the keyboard, a screen reader's
    // "Press" action, QAbstractButton::click(). Each runs the action once, on the
    // next turn of the event loop (not from inside the press); a disabled button
    // runs nothing.
    void everyWayOfPressingRunsTheAction_data() {
        QTest::addColumn<QString>("how");
        QTest::addColumn<bool>("enabled");
        for (const char* how : {"mouse", "space", "return", "accessible press", "click"}) {
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
        QCOMPARE(button_->iconImage(), onN);
        QCOMPARE(button_->titleString(), "开");
        QCOMPARE(button_->drawnTitleColor(), QColor(Qt::white));
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

        // A hover-tracking background with a disabled image.
        auto* other = new ZQCustomButton(QRectF(0, 0, 30, 30), window_);
        const ZQImage n = solid(Qt::red), dis = solid(Qt::darkGray);
        other->setBgImageForNormal(n, solid(Qt::green), solid(Qt::blue), dis);
        other->setDisableState();
        QVERIFY(!other->isEnabled());
        QCOMPARE(other->bgImage(), dis);
        other->setEnabled(true);
        QCOMPARE(other->bgImage(), n);
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
