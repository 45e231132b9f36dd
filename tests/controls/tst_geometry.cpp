// Frames measured from the lower left, placed children following their
// parent, and the compiled-in images.

#include <QDir>
#include <QFileInfo>
#include <QPainter>
#include <QtTest>

#include "controls/ZQGeometry.h"
#include "controls/ZQImage.h"

using zq::controls::Autoresizing;
using zq::controls::AutoresizingMask;

class TestGeometry : public QObject {
    Q_OBJECT

private slots:
    void conversion() {
        // Half points: the whole-pixel rectangle rounds each edge.
        const QRectF frame(0.5, 0.5, 10, 10.5);
        QCOMPARE(zq::controls::toTopLeft(frame, 30), QRectF(0.5, 19, 10, 10.5));
        QCOMPARE(zq::controls::toTopLeftRect(frame, 30), QRect(1, 19, 10, 11));
        QCOMPARE(zq::controls::toBottomLeft(QRectF(0.5, 19, 10, 10.5), 30), frame);
        QCOMPARE(zq::controls::topLeftOfItem(frame.topLeft(), frame.height(), 30),
                 QPointF(0.5, 19));
    }

    void placedChildFollowsItsParent_data() {
        QTest::addColumn<uint>("mask");
        QTest::addColumn<QRectF>("after");  // frame after the parent goes 200×100 → 300×160
        QTest::newRow("fixed: keeps its distance to the bottom") << 0u << QRectF(10, 20, 50, 30);
        QTest::newRow("width sizable")
            << uint(Autoresizing::WidthSizable) << QRectF(10, 20, 150, 30);
        QTest::newRow("height sizable")
            << uint(Autoresizing::HeightSizable) << QRectF(10, 20, 50, 90);
        QTest::newRow("bottom margin flexible: stays at the top")
            << uint(Autoresizing::MinYMargin) << QRectF(10, 80, 50, 30);
        QTest::newRow("both horizontal margins: centred share")
            << uint(Autoresizing::MinXMargin | Autoresizing::MaxXMargin)
            << QRectF(10 + 100.0 * 10 / 150, 20, 50, 30);
    }

    void placedChildFollowsItsParent() {
        QFETCH(uint, mask);
        QFETCH(QRectF, after);
        QWidget parent;
        parent.resize(200, 100);
        auto* child = new QWidget(&parent);
        zq::controls::placeAt(child, QRectF(10, 20, 50, 30), AutoresizingMask::fromInt(int(mask)));
        QCOMPARE(child->geometry(), QRect(10, 50, 50, 30));
        parent.show();
        QVERIFY(QTest::qWaitForWindowExposed(&parent));
        parent.resize(300, 160);
        QTRY_COMPARE(zq::controls::frameOf(child), after);
        QCOMPARE(child->geometry(), zq::controls::toTopLeftRect(after, 160));
        // Back to the first size: back to the first frame.
        parent.resize(200, 100);
        QTRY_COMPARE(child->geometry(), QRect(10, 50, 50, 30));
    }

    void frameSizeAndOriginKeepTheOtherHalf() {
        QWidget parent;
        parent.resize(200, 100);
        auto* child = new QWidget(&parent);
        zq::controls::placeAt(child, 10, 20, 50, 30);
        zq::controls::setFrameSize(child, QSizeF(80, 40));
        QCOMPARE(zq::controls::frameOf(child), QRectF(10, 20, 80, 40));
        QCOMPARE(child->geometry(), QRect(10, 40, 80, 40));
        zq::controls::setFrameOrigin(child, QPointF(0, 0));
        QCOMPARE(zq::controls::frameOf(child), QRectF(0, 0, 80, 40));
        QCOMPARE(child->geometry(), QRect(0, 60, 80, 40));
        // Moved by other means: the frame is read back from the geometry.
        child->setGeometry(5, 10, 20, 20);
        QCOMPARE(zq::controls::frameOf(child), QRectF(5, 70, 20, 20));
    }

    // Every compiled-in image, by its name without the suffix.
    void everyNamedImageIsThere_data() {
        QTest::addColumn<QString>("name");
        const QStringList files = QDir(":/images").entryList(QDir::Files);
        QVERIFY(files.size() > 10);
        for (const QString& file : files) {
            QTest::newRow(qPrintable(file)) << QFileInfo(file).completeBaseName();
        }
    }

    void everyNamedImageIsThere() {
        QFETCH(QString, name);
        const ZQImage image = ZQImage::named(name);
        QVERIFY(!image.isNull());
        QVERIFY(image.isVector());
        QVERIFY(image.size().width() >= 12 && image.size().height() >= 12);
        QCOMPARE(ZQImage::named(name + ".svg"), image);  // one shared copy
        // Something is drawn, and the icon form renders too.
        const QImage pixels = image.toImage(2.0);
        QCOMPARE(pixels.size(), (image.size() * 2).toSize());
        int opaque = 0;
        for (int y = 0; y < pixels.height(); y += 2) {
            for (int x = 0; x < pixels.width(); x += 2) {
                opaque += qAlpha(pixels.pixel(x, y)) > 0 ? 1 : 0;
            }
        }
        QVERIFY(opaque > 0);
        QVERIFY(!image.toIcon().pixmap(QSize(16, 16)).isNull());
    }

    void unknownImagesAreNull() {
        QVERIFY(ZQImage::named("no_such_image").isNull());
        QVERIFY(ZQImage::named(QString()).isNull());
        QVERIFY(ZQImage::fromFile("/nonexistent/x.svg").isNull());
        // A file that is not an image.
        QTemporaryFile junk;
        QVERIFY(junk.open());
        junk.write("<svg this is not valid");
        junk.close();
        QVERIFY(ZQImage::fromFile(junk.fileName()).isNull());
        // Drawing a null image draws nothing and does not crash.
        QImage canvas(10, 10, QImage::Format_ARGB32_Premultiplied);
        canvas.fill(Qt::white);
        QPainter painter(&canvas);
        ZQImage().draw(&painter, QRectF(0, 0, 10, 10));
        painter.end();
        QCOMPARE(QColor::fromRgba(canvas.pixel(5, 5)), QColor(Qt::white));
    }
};

QTEST_MAIN(TestGeometry)
#include "tst_geometry.moc"
