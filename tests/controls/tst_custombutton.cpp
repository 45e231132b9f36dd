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
        _window = new QWidget;
        _window->resize(200, 100);
        _button = new ZQCustomButton(QRectF(20, 20, 100, 40), _window);
        _window->show();
        QVERIFY(QTest::qWaitForWindowExposed(_window));
        _events.clear();
        platform::Workspace::setUrlOpener([this](const QUrl& url) {
            _events << "open " + url.toString();
            return true;
        });
        connect(_button, &ZQCustomButton::action, this, [this](ZQCustomButton* sender) {
            QCOMPARE(sender, _button);
            _events << "action";
        });
    }

    void cleanup() {
        platform::Workspace::setUrlOpener({});
        delete _window;
        _window = nullptr;
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
            _button->setBgImageForNormal(images[0], images[1], images[2]);
            shown = [this]() { return QVariant::fromValue(_button->bgImage()); };
        } else if (setup == QLatin1String("bgColor")) {
            _button->setBgColorForNormal(colors[0], colors[1], colors[2], 4);
            _button->setBgStrokeColorForNormal(colors[0], colors[1], colors[2], 4);
            // The border follows the same looks as the fill.
            shown = [this]() {
                return _button->bgStrokeColor() == _button->bgColor() ? QVariant(_button->bgColor())
                                                                      : QVariant();
            };
        } else if (setup == QLatin1String("image")) {
            _button->setImageForNormal(images[0], images[1], images[2]);
            shown = [this]() { return QVariant::fromValue(_button->buttonImage()); };
        } else if (setup == QLatin1String("icon")) {
            _button->setIconImageForNormal(images[0], images[1], images[2], QPointF(2, 3));
            shown = [this]() { return QVariant::fromValue(_button->iconImage()); };
        } else if (setup == QLatin1String("title")) {
            _button->setTitle("t", colors[0], colors[1], colors[2], QPointF(0, 0), _button->font());
            shown = [this]() { return QVariant(_button->drawnTitleColor()); };
        } else if (setup == QLatin1String("normalColor")) {
            _button->setBgColorForNormal(colors[0], QColor(), Qt::blue);
        } else if (setup == QLatin1String("toggle")) {
            _button->setIconImageForNormalOn(images[0], images[1], images[2], solid(Qt::yellow),
                                             QPointF(0, 0));
        } else if (setup == QLatin1String("disabled")) {
            _button->setBgColorForNormal(colors[0], colors[1], colors[2]);
            _button->setEnabled(false);
        }
        const bool colours = setup == QLatin1String("bgColor") || setup == QLatin1String("title");
        const QPoint inside(50, 20);
        QTest::mouseMove(_window, QPoint(5, 5));
        for (int i = 0; i < steps.size(); ++i) {
            switch (steps.at(i).toLatin1()) {
                case 'e':
                    QTest::mouseMove(_button, inside);
                    break;
                case 'p':
                    QTest::mousePress(_button, Qt::LeftButton, {}, inside);
                    break;
                case 'r':
                    QTest::mouseRelease(_button, Qt::LeftButton, {}, inside);
                    break;
                case 'l':
                    QTest::mouseMove(_window, QPoint(190, 90));
                    break;
            }
            const int look = looks.at(i).digitValue();
            const QString where = QStringLiteral("step %1 (%2)").arg(i).arg(steps.at(i));
            QVERIFY2(_button->btnState() == look,
                     qPrintable(where + QStringLiteral(": look %1").arg(_button->btnState())));
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
        _button->setTitle("稍后提醒", Qt::black, Qt::black, Qt::black, QFont());
        _button->setEnabled(enabled);
        QSignalSpy clicked(_button, &QAbstractButton::clicked);
        QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(_button);
        QVERIFY(accessible);
        QCOMPARE(accessible->role(), QAccessible::Button);
        QCOMPARE(accessible->text(QAccessible::Name), "稍后提醒");

        _button->setFocus(Qt::TabFocusReason);
        if (how == QLatin1String("mouse")) {
            QTest::mouseClick(_button, Qt::LeftButton, {}, QPoint(10, 10));
        } else if (how == QLatin1String("space")) {
            QTest::keyClick(_button, Qt::Key_Space);
        } else if (how == QLatin1String("return")) {
            QTest::keyClick(_button, Qt::Key_Return);
        } else if (how == QLatin1String("accessible press")) {
            QAccessibleActionInterface* actions = accessible->actionInterface();
            QVERIFY(actions);
            QCOMPARE(actions->actionNames().contains(QAccessibleActionInterface::pressAction()),
                     enabled);
            actions->doAction(QAccessibleActionInterface::pressAction());
        } else {
            _button->click();
        }
        QVERIFY(_events.isEmpty());
        QVERIFY(!_button->hasClicked());
        const QStringList expected = enabled ? QStringList{"action"} : QStringList{};
        QTRY_COMPARE(_events, expected);
        // Nothing more arrives later: one action, one clicked, per press.
        QTest::qWait(0);
        QCoreApplication::processEvents();
        QCOMPARE(_events, expected);
        QCOMPARE(clicked.count(), enabled ? 1 : 0);
    }

    void dragAndReleaseOutsideSendNothing() {
        // The owner marks the press as a drag: no action, and the mark is cleared.
        QTest::mousePress(_button, Qt::LeftButton, {}, QPoint(10, 10));
        QVERIFY(_button->hasClicked());
        _button->setIsDragging(true);
        QTest::mouseRelease(_button, Qt::LeftButton, {}, QPoint(12, 12));
        QVERIFY(!_button->isDragging());
        // Released away from the button: given up.
        QTest::mousePress(_button, Qt::LeftButton, {}, QPoint(10, 10));
        QTest::mouseRelease(_button, Qt::LeftButton, {}, QPoint(150, 10));
        QCOMPARE(_button->btnState(), int(ZQCustomButton::StateNormal));
        QTest::qWait(0);
        QCoreApplication::processEvents();
        QVERIFY(_events.isEmpty());
        // The next plain click is sent.
        QTest::mouseClick(_button, Qt::LeftButton, {}, QPoint(10, 10));
        QTRY_COMPARE(_events, QStringList{"action"});
    }

    void linkOpensItsAddressThenSendsItsAction() {
        _button->setText("官网");
        _button->setTheUrlString("http://127.0.0.1:8731/about");
        QCOMPARE(_button->titleColor(), QColor(Qt::blue));
        QVERIFY(_button->isHandCursor());
        QCOMPARE(_button->cursor().shape(), Qt::PointingHandCursor);
        QCOMPARE(_button->btnTitStyle(), int(ZQCustomButton::TitUnderlineOnHover));
        QVERIFY(!_button->isTitleUnderlined());
        QTest::mouseMove(_button, QPoint(10, 10));
        QVERIFY(_button->isTitleUnderlined());
        QTest::mouseClick(_button, Qt::LeftButton, {}, QPoint(10, 10));
        QVERIFY(_events.isEmpty());  // the click never waits for the opener
        QTRY_COMPARE(_events, (QStringList{"open http://127.0.0.1:8731/about", "action"}));
        QTest::mouseMove(_window, QPoint(190, 95));
        QVERIFY(!_button->isTitleUnderlined());
    }

    void toggleIconsAndTitles() {
        const ZQImage onN = solid(Qt::red), onC = solid(Qt::darkRed), offN = solid(Qt::blue),
                      offC = solid(Qt::darkBlue);
        _button->setIconImageForNormalOn(onN, onC, offN, offC, QPointF(4, 5));
        _button->setStateOnTitle("开", Qt::white, Qt::gray);
        _button->setStateOffTitle("关", Qt::black, Qt::darkGray);
        QCOMPARE(_button->buttonStyle(), int(ZQCustomButton::StyleToggle));

        _button->setIsSelect(true);
        QCOMPARE(_button->iconImage(), onN);
        QCOMPARE(_button->titleString(), "开");
        QCOMPARE(_button->drawnTitleColor(), QColor(Qt::white));
        QTest::mousePress(_button, Qt::LeftButton, {}, QPoint(10, 10));
        QCOMPARE(_button->iconImage(), onC);
        QTest::mouseRelease(_button, Qt::LeftButton, {}, QPoint(10, 10));
        QCOMPARE(_button->iconImage(), onC);  // a toggle keeps its look
        QVERIFY(_button->isSelect());         // and the owner decides the state
        QTRY_COMPARE(_events.size(), 1);

        _button->setIsSelect(false);
        QCOMPARE(_button->iconImage(), offN);
        QCOMPARE(_button->titleString(), "关");
        QCOMPARE(_button->drawnTitleColor(), QColor(Qt::black));
        // A state without a normal icon shows no icon.
        _button->setIconImageForNormalOn(ZQImage(), onC, offN, offC, QPointF(4, 5));
        _button->setIsSelect(true);
        QVERIFY(_button->iconImage().isNull());
    }

    void enabledStateImages() {
        const ZQImage enable = solid(Qt::green), disable = solid(Qt::gray);
        _button->setEnableImage(enable, disable);
        QCOMPARE(_button->buttonImage(), enable);
        _button->setEnabled(false);
        QCOMPARE(_button->buttonImage(), disable);

        // A hover-tracking background with a disabled image.
        auto* other = new ZQCustomButton(QRectF(0, 0, 30, 30), _window);
        const ZQImage n = solid(Qt::red), dis = solid(Qt::darkGray);
        other->setBgImageForNormal(n, solid(Qt::green), solid(Qt::blue), dis);
        other->setDisableState();
        QVERIFY(!other->isEnabled());
        QCOMPARE(other->bgImage(), dis);
        other->setEnabled(true);
        QCOMPARE(other->bgImage(), n);
    }

    void underlinesOnlyWhileHovered() {
        _button->setText("link");
        _button->setTitHoverUndLineWithTitColor(QColor(0, 0, 0), QColor(255, 0, 0));
        const QImage before = controls_test::render(_button, 1.0, Qt::white);
        QTest::mouseMove(_button, QPoint(10, 10));
        const QImage hovered = controls_test::render(_button, 1.0, Qt::white);
        // Underlined in the hover colour.
        bool red = false;
        for (int y = 0; y < hovered.height() && !red; ++y) {
            for (int x = 0; x < hovered.width() && !red; ++x) {
                const QColor c = QColor::fromRgba(hovered.pixel(x, y));
                red = c.red() > 200 && c.green() < 60 && c.blue() < 60;
            }
        }
        QVERIFY(red);
        QTest::mouseMove(_window, QPoint(195, 95));
        QCOMPARE(controls_test::render(_button, 1.0, Qt::white), before);
    }

private:
    QWidget* _window = nullptr;
    ZQCustomButton* _button = nullptr;
    QStringList _events;
};

QTEST_MAIN(TestCustomButton)
#include "tst_custombutton.moc"
