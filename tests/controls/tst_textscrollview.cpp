// The comment box: the 300-unit cut that never splits a character, the
// warning, the placeholder and the focus colours of its frame.

#include "controls/ZQCustomTextScrollView.h"
#include "platform/Translations.h"

#include <QLabel>
#include <QLineEdit>
#include <QTextCursor>
#include <QtTest>

namespace {

const QString kA(1, QLatin1Char('a'));
const QString kEmoji = "😀";         // a surrogate pair
const QString kAccent = "e\u0301";  // e and a combining accent

}  // namespace

class TestTextScrollView : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { QVERIFY(platform::installTranslations(qApp)); }

    void cut_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("kept");
        QTest::newRow("300 units stay") << kA.repeated(300) << 300;
        QTest::newRow("301 units: cut at 300") << kA.repeated(301) << 300;
        QTest::newRow("pair across the limit: cut before it") << kA.repeated(299) + kEmoji << 299;
        QTest::newRow("pair ending at the limit stays") << kA.repeated(298) + kEmoji + kA << 300;
        QTest::newRow("accent across the limit") << kA.repeated(299) + kAccent << 299;
        QTest::newRow("pair and accent across the limit: the pair stays whole")
            << kA.repeated(298) + kEmoji + "\u0301" << 298;
        QTest::newRow("empty") << QString() << 0;
    }
    void cut() {
        QFETCH(QString, text);
        QFETCH(int, kept);
        QCOMPARE(zq::controls::cutToTextLimit(text, 300), text.left(kept));
    }

    void typing() {
        QWidget window;
        ZQCustomTextScrollView box(&window);
        QLabel warning(&window);
        warning.hide();
        box.setCountWarnText(&warning);
        box.resize(310, 62);
        QLineEdit other(&window);
        window.show();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        other.setFocus();
        QTRY_VERIFY(other.hasFocus());
        QVERIFY(box.textView()->showsPlaceholder());
        QCOMPARE(box.textView()->placeholder(), "评价[选填]");
        QCOMPARE(box.strokeColor(), QColor(232, 232, 232));

        box.textView()->setFocus();
        QTRY_VERIFY(box.textView()->hasFocus());
        QVERIFY(!box.textView()->showsPlaceholder());
        QCOMPARE(box.strokeColor(), QColor(255, 100, 44));

        box.setTextViewString(kA.repeated(298));
        box.textView()->moveCursor(QTextCursor::End);
        QTest::keyClicks(box.textView(), "bcd");
        QCOMPARE(box.textViewString(), kA.repeated(298) + "bc");
        QVERIFY(warning.isVisibleTo(&window));
        QTest::keyClick(box.textView(), Qt::Key_Backspace);
        QCOMPARE(box.textViewString().size(), 299);
        QVERIFY(!warning.isVisibleTo(&window));

        other.setFocus();
        QTRY_VERIFY(!box.isActive());
        box.setTextViewString(QString());
        QVERIFY(box.textView()->showsPlaceholder());
    }
};

QTEST_MAIN(TestTextScrollView)
#include "tst_textscrollview.moc"
