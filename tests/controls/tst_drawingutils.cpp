// Nine-part drawing and the vertically centred text field.

#include <QFontMetricsF>
#include <QPainter>
#include <QtTest>

#include "ControlsTestSupport.h"
#include "controls/ZQDrawingUtils.h"
#include "controls/ZQFonts.h"
#include "controls/ZQImage.h"

using controls_test::at;

namespace {

// A 30 × 30 picture made of nine 10 × 10 cells, each its own colour; cell
// (column, row) with row 0 at the TOP.
QColor cellColor(int column, int rowFromTop) {
    static const QColor colors[3][3] = {
        {QColor(255, 0, 0), QColor(0, 255, 0), QColor(0, 0, 255)},
        {QColor(255, 255, 0), QColor(0, 255, 255), QColor(255, 0, 255)},
        {QColor(128, 0, 0), QColor(0, 128, 0), QColor(0, 0, 128)},
    };
    return colors[rowFromTop][column];
}

ZQImage gridImage() {
    QImage image(30, 30, QImage::Format_ARGB32_Premultiplied);
    QPainter painter(&image);
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column) {
            painter.fillRect(column * 10, row * 10, 10, 10, cellColor(column, row));
        }
    }
    painter.end();
    return ZQImage::fromImage(image);
}

QImage drawNinePart(const QRectF& center, const QSizeF& dest, qreal ratio) {
    QImage out(QSize(int(dest.width() * ratio), int(dest.height() * ratio)),
               QImage::Format_ARGB32_Premultiplied);
    out.setDevicePixelRatio(ratio);
    out.fill(Qt::transparent);
    QPainter painter(&out);
    ZQDrawingUtils::draw9PatchImage(&painter, gridImage(), center, QRectF(QPointF(0, 0), dest));
    painter.end();
    return out;
}
}  // namespace

class TestDrawingUtils : public QObject {
    Q_OBJECT

private slots:
    void partRectsOnlyForACentreThatFits() {
        ZQDrawingUtils::Parts parts;
        parts.fill(QRectF(1, 1, 1, 1));
        // Touching the right edge still fits: the right column is empty.
        QVERIFY(ZQDrawingUtils::rectsOf9PartWithCenterRect(QRectF(10, 0, 20, 30),
                                                           QRectF(0, 0, 30, 30), &parts));
        QCOMPARE(parts[4], QRectF(10, 0, 20, 30));
        QCOMPARE(parts[8], QRectF(30, 30, 0, 0));
        // One over, to the right or the top: no parts at all.
        QVERIFY(!ZQDrawingUtils::rectsOf9PartWithCenterRect(QRectF(10, 10, 21, 10),
                                                            QRectF(0, 0, 30, 30), &parts));
        for (const QRectF& part : parts) {
            QCOMPARE(part, QRectF());
        }
        QVERIFY(!ZQDrawingUtils::rectsOf9PartWithCenterRect(QRectF(10, 10, 10, 21),
                                                            QRectF(0, 0, 30, 30), nullptr));
    }

    void fittedCenter_data() {
        QTest::addColumn<QRectF>("center");
        QTest::addColumn<QRectF>("fitted");
        const QRectF whole(0, 0, 30, 30);
        QTest::newRow("cut at the right edge") << QRectF(25, 5, 10, 10) << QRectF(25, 5, 5, 10);
        QTest::newRow("starts at the right edge") << QRectF(30, 5, 10, 10) << whole;
        QTest::newRow("cut at the top edge") << QRectF(5, 25, 10, 10) << QRectF(5, 25, 10, 5);
        QTest::newRow("starts at the top edge") << QRectF(5, 30, 10, 10) << whole;
        QTest::newRow("negative components become zero")
            << QRectF(-5, -3, -2, 10) << QRectF(0, 0, 0, 10);
    }

    void fittedCenter() {
        QFETCH(QRectF, center);
        QTEST(ZQDrawingUtils::fittedCenterRect(center, QSizeF(30, 30)), "fitted");
    }

    void ninePartPixels_data() {
        QTest::addColumn<qreal>("ratio");
        QTest::newRow("ratio 1") << 1.0;
        QTest::newRow("ratio 2") << 2.0;
    }

    void ninePartPixels() {
        QFETCH(qreal, ratio);
        // 30 × 30 with centre (10, 10, 10, 10) into 100 × 30: the corners keep
        // their 10 × 10 size, the middle column stretches from x 10 to x 90.
        const QImage out = drawNinePart(QRectF(10, 10, 10, 10), QSizeF(100, 30), ratio);
        COMPARE_COLOR(at(out, 9.6, 9.6), cellColor(0, 0));
        COMPARE_COLOR(at(out, 10.4, 0.5), cellColor(1, 0));
        COMPARE_COLOR(at(out, 89.6, 5), cellColor(1, 0));
        COMPARE_COLOR(at(out, 90.4, 5), cellColor(2, 0));
        COMPARE_COLOR(at(out, 50, 15), cellColor(1, 1));
        COMPARE_COLOR(at(out, 95, 15), cellColor(2, 1));
        COMPARE_COLOR(at(out, 5, 25), cellColor(0, 2));
        COMPARE_COLOR(at(out, 99.5, 29.5), cellColor(2, 2));
    }

    void wholeImageWhenCenterIsEmptyOrOutside_data() {
        QTest::addColumn<QRectF>("center");
        QTest::newRow("zero width") << QRectF(5, 5, 0, 10);
        QTest::newRow("starts outside") << QRectF(40, 5, 10, 10);
    }

    void wholeImageWhenCenterIsEmptyOrOutside() {
        QFETCH(QRectF, center);
        // The image is scaled over the whole 90 × 60 destination: each cell
        // becomes 30 × 20.
        const QImage out = drawNinePart(center, QSizeF(90, 60), 1.0);
        COMPARE_COLOR(at(out, 45, 10), cellColor(1, 0));
        COMPARE_COLOR(at(out, 75, 30), cellColor(2, 1));
        COMPARE_COLOR(at(out, 15, 50), cellColor(0, 2));
    }

    void drawsOverWhatIsBelow() {
        // A translucent picture is composited over the destination, not copied.
        QImage picture(30, 30, QImage::Format_ARGB32_Premultiplied);
        picture.fill(QColor(0, 0, 255, 128));
        QImage out(60, 30, QImage::Format_ARGB32_Premultiplied);
        out.fill(QColor(255, 0, 0));
        QPainter painter(&out);
        ZQDrawingUtils::draw9PatchImage(&painter, ZQImage::fromImage(picture),
                                        QRectF(10, 10, 10, 10), QRectF(0, 0, 60, 30));
        painter.end();
        const QColor c = at(out, 30, 15);
        QVERIFY2(c.red() > 100 && c.blue() > 100 && c.alpha() == 255,
                 qPrintable(controls_test::describe(c)));
        // And nothing is drawn for a null image.
        QImage untouched(10, 10, QImage::Format_ARGB32_Premultiplied);
        untouched.fill(Qt::white);
        QPainter p2(&untouched);
        ZQDrawingUtils::draw9PatchImage(&p2, ZQImage(), QRectF(1, 1, 1, 1), QRectF(0, 0, 10, 10));
        p2.end();
        COMPARE_COLOR(at(untouched, 5, 5), QColor(Qt::white));
    }

    void fieldCellCentresOneLine_data() {
        QTest::addColumn<qreal>("fontSize");
        QTest::addColumn<qreal>("frameHeight");
        QTest::newRow("13 in 23") << 13.0 << 23.0;
        QTest::newRow("20 in 14 (lower than a line)") << 20.0 << 14.0;
    }

    void fieldCellCentresOneLine() {
        QFETCH(qreal, fontSize);
        QFETCH(qreal, frameHeight);
        const QFont font = zq::controls::namedFont("PingFangSC-Regular", fontSize);
        ZQCustomFieldCell cell(font);
        QCOMPARE(cell.lineHeight(), 0.0);
        const QRectF frame(7, 3, 120, frameHeight);
        const QRectF adjusted = cell.adjustedFrameToVerticallyCenterText(frame);
        QVERIFY(cell.lineHeight() > 0);
        // Horizontal size unchanged, equal insets on top and bottom, whole points.
        QCOMPARE(adjusted.left(), frame.left());
        QCOMPARE(adjusted.width(), frame.width());
        QCOMPARE(adjusted.top() - frame.top(), frame.bottom() - adjusted.bottom());
        const qreal inset = adjusted.top() - frame.top();
        QCOMPARE(inset, std::trunc(inset));
        // What is left is one line high, give or take the rounding and the gap
        // between the line height and the glyph box.
        const QFontMetricsF metrics(font);
        const qreal slack =
            std::abs(cell.lineHeight() - (metrics.ascent() + metrics.descent())) + 2;
        QVERIFY2(std::abs(adjusted.height() - std::ceil(cell.lineHeight())) <= slack,
                 qPrintable(QStringLiteral("height %1, line %2")
                                .arg(adjusted.height())
                                .arg(cell.lineHeight())));
        if (frameHeight < cell.lineHeight()) {
            QVERIFY(adjusted.height() >= frame.height());
        }
    }
};

QTEST_MAIN(TestDrawingUtils)
#include "tst_drawingutils.moc"
