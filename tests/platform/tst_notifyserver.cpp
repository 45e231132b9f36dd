// The client of the input method's notify server ("VESKO_NOTIFY_SERVER"):
// with no server its failures are swallowed at once; with a small server
// registered on the private bus the calls arrive; a server that never answers
// cannot hold the caller longer than the bound.

#include "utility/ZQSiblingApps.h"

#include "tests/platform/PlatformTestSupport.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QSemaphore>
#include <QTest>
#include <QThread>

#include <atomic>

namespace {

constexpr const char* kServerConnection = "notify-server";

// A stand-in for the input method's server: counts the two click
// statistics, answers one query, and leaves one query unanswered.
class NotifyServer : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.vesko.NotifyVeskoInputProtocol")

public:
    std::atomic<int> feedbackClicks{0};
    std::atomic<int> evaluationClicks{0};
    std::atomic<int> heldCalls{0};
    QList<QDBusMessage> held;  // touched on the server's thread only

public slots:
    void clickCommitFeedbackStatistics() { ++feedbackClicks; }
    void clickCommitEvalutionStatistics() { ++evaluationClicks; }
    QDBusVariant getUserDictNum() { return QDBusVariant(qint64(4096)); }
    QDBusVariant getFirstResultWithPy(const QDBusVariant& py, const QDBusVariant& hanzi) {
        return QDBusVariant(py.variant().toString() + u'|' + hanzi.variant().toString());
    }
    // Takes the call and never answers it.
    void getCloudStateData(const QDBusMessage& message) {
        message.setDelayedReply(true);
        held.append(message);
        ++heldCalls;
    }
    // Answers a call that was held (the server thread's own message loop).
    void releaseHeld() {
        for (const QDBusMessage& message : std::as_const(held)) {
            QDBusConnection::connectToBus(QDBusConnection::SessionBus,
                                          QString::fromLatin1(kServerConnection))
                .send(message.createReply(QVariant::fromValue(QDBusVariant("late"))));
        }
        held.clear();
    }
};

// The server on its own connection and thread, so that a caller blocked on
// the main thread does not hold it up.
class ServerHarness {
public:
    ServerHarness() {
        _thread.start();
        _server.moveToThread(&_thread);
        _bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus,
                                             QString::fromLatin1(kServerConnection));
    }
    ~ServerHarness() {
        stop();
        // Hand the server back to this thread (only its own thread may) before
        // that thread ends.
        QThread* here = QThread::currentThread();
        QMetaObject::invokeMethod(
            &_server, [this, here] { _server.moveToThread(here); }, Qt::BlockingQueuedConnection);
        _thread.quit();
        _thread.wait();
    }
    bool start() {
        return _bus.isConnected() &&
               _bus.registerObject("/", &_server, QDBusConnection::ExportAllSlots) &&
               _bus.registerService("com.vesko.NotifyServer");
    }
    void stop() {
        if (_bus.isConnected()) {
            _bus.unregisterService("com.vesko.NotifyServer");
            _bus.unregisterObject("/");
        }
    }
    NotifyServer& server() { return _server; }

private:
    QThread _thread;
    NotifyServer _server;
    QDBusConnection _bus{QString()};
};

}  // namespace

class TestNotifyServer : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QVERIFY2(QDBusConnection::sessionBus().isConnected(), "the test runs on a private bus");
    }

    void cleanupTestCase() {
        QDBusConnection::disconnectFromBus(QString::fromLatin1(kServerConnection));
    }

    void withoutServer() {
        QVERIFY(!ZQNotifyVeskoInputProxy::isServerRunning(QDBusConnection::sessionBus()));
        QCOMPARE(getVeskoInputServerDistantObject(), nullptr);
        clickCommitFeedbackStatistics();
        clickCommitEvalutionStatistics();
        // A direct client: the bus answers at once that nobody owns the name.
        const ZQNotifyVeskoInputProxy proxy(QDBusConnection::sessionBus());
        QVERIFY(!proxy.call(QStringLiteral("getUserDictNum")).has_value());
        QCOMPARE(getVeskoInputServerDistantObject(), nullptr);
    }

    void withServer() {
        ServerHarness harness;
        QVERIFY(harness.start());
        ZQNotifyVeskoInputProxy* proxy = getVeskoInputServerDistantObject();
        QVERIFY2(proxy, "the lookup is repeated once the server runs");
        QCOMPARE(getVeskoInputServerDistantObject(), proxy);  // kept

        clickCommitFeedbackStatistics();
        clickCommitEvalutionStatistics();
        clickCommitEvalutionStatistics();
        QTRY_COMPARE(harness.server().feedbackClicks.load(), 1);
        QTRY_COMPARE(harness.server().evaluationClicks.load(), 2);

        const std::optional<QVariantList> count = proxy->call("getUserDictNum");
        QVERIFY(count.has_value());
        QCOMPARE(count->size(), 1);
        QCOMPARE(count->constFirst().toLongLong(), qint64(4096));

        const std::optional<QVariantList> first = proxy->call(
            "getFirstResultWithPy",
            {QVariant::fromValue(QDBusVariant("zhong")), QVariant::fromValue(QDBusVariant("中"))});
        QVERIFY(first.has_value());
        QCOMPARE(first->constFirst().toString(), QStringLiteral("zhong|中"));

        // Declared by the protocol but not served: a swallowed error reply.
        QVERIFY(!proxy->call(QStringLiteral("sysDictVersion")).has_value());
        // Not part of the protocol: never sent.
        QVERIFY(!proxy->respondsToOperation(QStringLiteral("deleteEverything")));
        QVERIFY(!proxy->send(QStringLiteral("deleteEverything")));
        QVERIFY(!proxy->call(QStringLiteral("deleteEverything")).has_value());
    }

    void sendDoesNotWaitForTheServer() {
        // The server's thread is held still, so it can answer nothing. The two
        // sends run on a worker; they return although no answer can come (a
        // waiting call would sit out D-Bus's 25-second default).
        ServerHarness harness;
        QVERIFY(harness.start());
        ZQNotifyVeskoInputProxy* proxy = getVeskoInputServerDistantObject();
        QVERIFY(proxy);
        QSemaphore frozen;
        QSemaphore thaw;
        QMetaObject::invokeMethod(&harness.server(), [&frozen, &thaw] {
            frozen.release();
            thaw.acquire();
        });
        QVERIFY(frozen.tryAcquire(1, 10000));

        bool sent = false;
        QThread* caller = QThread::create([proxy, &sent] {
            sent = proxy->send("getCloudStateData") && proxy->send("clickCommitFeedbackStatistics");
        });
        caller->start();
        const bool returned = caller->wait(10000);
        thaw.release();
        if (!returned) {
            caller->wait();
        }
        delete caller;
        QVERIFY2(returned, "send() returned while the server could not answer");
        QVERIFY(sent);
        QTRY_COMPARE(harness.server().heldCalls.load(), 1);
        QTRY_COMPARE(harness.server().feedbackClicks.load(), 1);
        QMetaObject::invokeMethod(&harness.server(), &NotifyServer::releaseHeld,
                                  Qt::QueuedConnection);
    }

    void boundedRoundTrips() {
        ServerHarness harness;
        QVERIFY(harness.start());
        const ZQNotifyVeskoInputProxy proxy(QDBusConnection::sessionBus());
        // The server takes the call and never answers: the round trip ends with
        // the bound, as a swallowed failure.
        QVERIFY(!proxy.call(QStringLiteral("getCloudStateData"), {}, 300).has_value());
        QCOMPARE(harness.server().heldCalls.load(), 1);
        // The client still works afterwards.
        QVERIFY(proxy.call(QStringLiteral("getUserDictNum"), {}, 5000).has_value());
        QMetaObject::invokeMethod(&harness.server(), &NotifyServer::releaseHeld,
                                  Qt::QueuedConnection);
    }

    void serverGoneAfterTheLookup() {
        ZQNotifyVeskoInputProxy* proxy = nullptr;
        {
            ServerHarness harness;
            QVERIFY(harness.start());
            proxy = getVeskoInputServerDistantObject();
            QVERIFY(proxy);
        }
        // The kept client outlives the server; its calls fail quietly.
        QCOMPARE(getVeskoInputServerDistantObject(), proxy);
        clickCommitFeedbackStatistics();
        QVERIFY(!proxy->call(QStringLiteral("getUserDictNum")).has_value());

        // A new server under the same name is reached through the same client.
        ServerHarness again;
        QVERIFY(again.start());
        clickCommitFeedbackStatistics();
        QTRY_COMPARE(again.server().feedbackClicks.load(), 1);
    }
};

QTEST_GUILESS_MAIN(TestNotifyServer)
#include "tst_notifyserver.moc"
