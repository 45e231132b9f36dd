// Distributed notifications between processes on a private session bus: the
// sender is gdbus, a separate process; the receiver is the centre under test.

#include "platform/DistributedNotificationCenter.h"
#include "tests/platform/PlatformTestSupport.h"

#include <QCoreApplication>
#include <QTest>
#include <QThread>

using platform::DistributedNotificationCenter;
using platform::NotificationCenter;

namespace {

struct Received {
    QString name;
    QVariantMap userInfo;
    QThread* thread = nullptr;
};

// Records every notification an observer sees.
class Recorder : public QObject {
public:
    void observe(DistributedNotificationCenter& center, const QString& name = {}) {
        center.addObserver(this, name, [this](const QString& n, const QVariantMap& userInfo) {
            received.append({n, userInfo, QThread::currentThread()});
        });
    }
    QStringList names() const {
        QStringList list;
        for (const Received& r : received) {
            list.append(r.name);
        }
        return list;
    }
    QList<Received> received;
};

// A unique notification name per use, so that nothing from an earlier case
// can be mistaken for the one a case waits for.
const QString kEmpty = "@a{sv} {}";

QString uniqueName(const char* stem) {
    static int counter = 0;
    return QStringLiteral("kZQTest%1_%2").arg(QLatin1String(stem)).arg(++counter);
}

}  // namespace

class TestDistributedNotifications : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY2(_bus.isConnected(), "the test runs on a private session bus"); }

    void payloadFromAnotherProcess_data() {
        QTest::addColumn<QString>("gvariant");
        QTest::addColumn<QVariant>("expected");  // invalid: the key is dropped

        // The four value types of the protocol survive exactly.
        QTest::newRow("string, Chinese") << "{'k': <'中文输入法'>}" << QVariant("中文输入法");
        QTest::newRow("int64 beyond double precision")
            << "{'k': <int64 -9007199254740993>}" << QVariant(qint64(-9007199254740993LL));
        QTest::newRow("double, integral value stays a double") << "{'k': <2.0>}" << QVariant(2.0);
        QTest::newRow("bool true") << "{'k': <true>}" << QVariant(true);

        // Values of other D-Bus types that foreign senders may use.
        QTest::newRow("int32 becomes int64") << "{'k': <int32 -7>}" << QVariant(qint64(-7));
        QTest::newRow("uint64 beyond int64 becomes text")
            << "{'k': <uint64 18446744073709551615>}" << QVariant("18446744073709551615");
        QTest::newRow("object path becomes text")
            << "{'k': <objectpath '/a/b'>}" << QVariant("/a/b");
        QTest::newRow("nested dictionary") << "{'k': <{'a': <'b'>, 'n': <int64 3>}>}"
                                           << QVariant(QVariantMap{{"a", "b"}, {"n", qint64(3)}});
        QTest::newRow("bytes are dropped") << "{'k': <b'abc'>}" << QVariant();
    }

    void payloadFromAnotherProcess() {
        QFETCH(QString, gvariant);
        QFETCH(QVariant, expected);

        DistributedNotificationCenter center(_bus);
        QVERIFY(center.isConnected());
        Recorder recorder;
        const QString name = uniqueName("Payload");
        recorder.observe(center, name);
        QVERIFY(zq::test::syncWithBus(_bus));

        // A second key that is always well-typed proves the payload arrived even
        // when the value under test is dropped.
        const QString payload = gvariant.chopped(1) + QStringLiteral(", 'witness': <'w'>}");
        QVERIFY(zq::test::emitWithGdbus(name, payload));
        QTRY_COMPARE(recorder.received.size(), 1);

        // Observers run on the main thread, whoever sent.
        QCOMPARE(recorder.received.constFirst().thread, QCoreApplication::instance()->thread());
        const QVariantMap userInfo = recorder.received.constFirst().userInfo;
        QCOMPARE(userInfo.value(QStringLiteral("witness")), QVariant(QStringLiteral("w")));
        if (!expected.isValid()) {
            QVERIFY2(!userInfo.contains(QStringLiteral("k")),
                     qPrintable(userInfo.value("k").typeName()));
            return;
        }
        const QVariant got = userInfo.value("k");
        QCOMPARE(zq::test::typedText(got), zq::test::typedText(expected));
        QCOMPARE(got, expected);
    }

    void missingPayloadIsEmptyMap() {
        DistributedNotificationCenter center(_bus);
        Recorder recorder;
        const QString bare = uniqueName("NoPayload");
        const QString empty = uniqueName("EmptyPayload");
        recorder.observe(center);
        QVERIFY(zq::test::syncWithBus(_bus));

        // The signal with the name alone, then one with an explicitly empty map.
        QVERIFY(zq::test::emitWithGdbus(bare, QString()));
        QVERIFY(zq::test::emitWithGdbus(empty, kEmpty));

        QTRY_VERIFY(recorder.names().contains(empty));
        QCOMPARE(recorder.names(), (QStringList{bare, empty}));
        QVERIFY(recorder.received.at(0).userInfo.isEmpty());
        QVERIFY(recorder.received.at(1).userInfo.isEmpty());
    }

    void suspensionHoldsAndResumesInOrder() {
        // Two centres on the same connection: `witness` is never suspended, so
        // once it has seen the closing marker the suspended centre has received
        // (and held) everything sent before it.
        DistributedNotificationCenter suspended(_bus);
        DistributedNotificationCenter witness(_bus);
        Recorder held;
        Recorder seen;
        held.observe(suspended);
        seen.observe(witness);
        QVERIFY(zq::test::syncWithBus(_bus));

        suspended.setSuspended(true);
        QVERIFY(suspended.isSuspended());
        QStringList sent;
        for (int i = 0; i < 3; ++i) {
            sent.append(uniqueName("Held"));
            QVERIFY(zq::test::emitWithGdbus(sent.constLast(),
                                            QStringLiteral("{'i': <int64 %1>}").arg(i)));
        }
        const QString marker = uniqueName("Marker");
        QVERIFY(zq::test::emitWithGdbus(marker, kEmpty));
        QTRY_VERIFY(seen.names().contains(marker));
        QVERIFY2(held.received.isEmpty(), "nothing is delivered while suspended");

        suspended.setSuspended(false);
        QTRY_COMPARE(held.names(), sent + QStringList{marker});
        for (int i = 0; i < 3; ++i) {
            QCOMPARE(held.received.at(i).userInfo.value(QStringLiteral("i")), QVariant(qint64(i)));
        }
        // After resuming, delivery is immediate again.
        const QString after = uniqueName("After");
        QVERIFY(zq::test::emitWithGdbus(after, kEmpty));
        QTRY_COMPARE(held.names().size(), 5);
        QCOMPARE(held.names().constLast(), after);
    }

    void observerGoesWithItsContext() {
        DistributedNotificationCenter center(_bus);
        const QString name = uniqueName("Context");
        int calls = 0;
        auto* context = new QObject;
        center.addObserver(context, name,
                           [&calls](const QString&, const QVariantMap&) { ++calls; });
        Recorder witness;
        witness.observe(center, name);
        QVERIFY(zq::test::syncWithBus(_bus));

        QVERIFY(zq::test::emitWithGdbus(name, kEmpty));
        QTRY_COMPARE(witness.received.size(), 1);
        QCOMPARE(calls, 1);

        delete context;
        QVERIFY(zq::test::emitWithGdbus(name, kEmpty));
        QTRY_COMPARE(witness.received.size(), 2);
        QCOMPARE(calls, 1);
    }

    void removeObserverByName() {
        DistributedNotificationCenter center(_bus);
        const QString first = uniqueName("First");
        const QString second = uniqueName("Second");
        QObject context;
        QStringList calls;
        const auto record = [&calls](const QString& name, const QVariantMap&) {
            calls.append(name);
        };
        center.addObserver(&context, first, record);
        center.addObserver(&context, second, record);
        Recorder witness;
        witness.observe(center);
        QVERIFY(zq::test::syncWithBus(_bus));

        center.removeObserver(&context, first);
        QVERIFY(zq::test::emitWithGdbus(first, kEmpty));
        QVERIFY(zq::test::emitWithGdbus(second, kEmpty));
        QTRY_COMPARE(witness.received.size(), 2);
        QCOMPARE(calls, QStringList{second});

        center.removeObserver(&context);
        QVERIFY(zq::test::emitWithGdbus(second, kEmpty));
        QTRY_COMPARE(witness.received.size(), 3);
        QCOMPARE(calls, QStringList{second});
    }

    void postedValuesReachAnotherConnection() {
        // The posting side: values of other Qt types go out as one of the four
        // protocol types. The receiver is a second connection to the bus.
        QDBusConnection other =
            QDBusConnection::connectToBus(QDBusConnection::SessionBus, "receiver");
        QVERIFY(other.isConnected());
        {
            DistributedNotificationCenter receiver(other);
            Recorder recorder;
            recorder.observe(receiver);
            QVERIFY(zq::test::syncWithBus(other));

            DistributedNotificationCenter sender(_bus);
            const QString name = uniqueName("Posted");
            QVERIFY(sender.post(name, {{QStringLiteral("s"), QStringLiteral("文本")},
                                       {"i", int(-3)},
                                       {"u", uint(7)},
                                       {"x", qint64(1) << 60},
                                       {"d", 0.25},
                                       {"f", 1.5f},
                                       {"b", true},
                                       {"bytes", QByteArray("raw")}}));
            QTRY_COMPARE(recorder.received.size(), 1);
            const QVariantMap got = recorder.received.constFirst().userInfo;
            const QVariantMap expected{
                {"s", "文本"}, {"i", qint64(-3)}, {"u", qint64(7)}, {"x", qint64(1) << 60},
                {"d", 0.25},   {"f", 1.5},        {"b", true},      {"bytes", "raw"}};
            QCOMPARE(zq::test::typedText(got), zq::test::typedText(expected));
            QCOMPARE(got, expected);
        }
        QDBusConnection::disconnectFromBus("receiver");
    }

    void inProcessCentre() {
        NotificationCenter* centre = NotificationCenter::defaultCenter();
        QCOMPARE(NotificationCenter::defaultCenter(), centre);
        QStringList calls;
        {
            QObject context;
            centre->addObserver(&context, "kZQLocal",
                                [&calls](const QString& name, const QVariantMap& userInfo) {
                                    calls.append(name + u'=' + userInfo.value("v").toString());
                                });
            centre->post("kZQOther", {{"v", 1}});
            centre->post("kZQLocal", {{"v", 2}});
            QCOMPARE(calls, QStringList{QStringLiteral("kZQLocal=2")});
        }
        centre->post("kZQLocal", {{"v", 3}});
        QCOMPARE(calls, QStringList{QStringLiteral("kZQLocal=2")});
    }

private:
    QDBusConnection _bus = QDBusConnection::sessionBus();
};

QTEST_GUILESS_MAIN(TestDistributedNotifications)
#include "tst_distributednotifications.moc"
