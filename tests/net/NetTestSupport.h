#pragma once

// Helpers shared by the networking tests: recording completions, waiting for
// them with a bound, and reading the reference service's journal.

#include "net/NetTypes.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonObject>
#include <QThread>
#include <QTimer>
#include <QtTest>

#include <atomic>
#include <memory>

namespace zq::test {

// What one completion handler received, and how often it was called.
struct Outcome {
    std::atomic<int> calls{0};
    QByteArray data;
    QVariant object;
    zq::net::OptionalResponse response;
    zq::net::OptionalError error;
    bool onMainThread = false;
    QThread* thread = nullptr;

    void record() {
        thread = QThread::currentThread();
        onMainThread = thread == QCoreApplication::instance()->thread();
        ++calls;
    }
    int status() const { return response ? response->statusCode : -1; }
    QString domain() const { return error ? error->domain : QString(); }
    qint64 code() const { return error ? error->code : -12345; }
};
using OutcomePtr = std::shared_ptr<Outcome>;

// Completion handlers that fill an Outcome, one per handler shape: (data,
// response, error), (object, error), (response, data, error), the client
// layer's (response, object, error) and the synchronous POST's (data, error).
inline auto dataRecorder(const OutcomePtr& outcome) {
    return [outcome](const QByteArray& data, const zq::net::OptionalResponse& response,
                     const zq::net::OptionalError& error) {
        outcome->data = data;
        outcome->response = response;
        outcome->error = error;
        outcome->record();
    };
}
inline auto objectRecorder(const OutcomePtr& outcome) {
    return [outcome](const QVariant& object, const zq::net::OptionalError& error) {
        outcome->object = object;
        outcome->error = error;
        outcome->record();
    };
}
inline auto uploadRecorder(const OutcomePtr& outcome) {
    return [outcome](const zq::net::OptionalResponse& response, const QByteArray& data,
                     const zq::net::OptionalError& error) {
        outcome->data = data;
        outcome->response = response;
        outcome->error = error;
        outcome->record();
    };
}
inline auto syncRecorder(const OutcomePtr& outcome) {
    return [outcome](const QByteArray& data, const zq::net::OptionalError& error) {
        outcome->data = data;
        outcome->error = error;
        outcome->record();
    };
}
inline auto taskRecorder(const OutcomePtr& outcome) {
    return [outcome](const zq::net::OptionalResponse& response, const QVariant& object,
                     const zq::net::OptionalError& error) {
        outcome->response = response;
        outcome->object = object;
        outcome->error = error;
        outcome->record();
    };
}

// Delivers every event queued for the main thread up to now: a marker posted
// behind them arrives only after they all ran. Used to show that no second
// completion is queued behind the first.
inline bool drainMainQueue(int timeoutMs = 5000) {
    bool arrived = false;
    QMetaObject::invokeMethod(
        QCoreApplication::instance(), [&arrived] { arrived = true; }, Qt::QueuedConnection);
    QDeadlineTimer deadline(timeoutMs);
    while (!arrived && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    return arrived;
}

// Header value from a journal entry's received header list ([[name, value], ...]).
inline QString journalHeader(const QJsonObject& entry, const QString& name) {
    for (const QJsonValue& pair : entry.value(QStringLiteral("headers")).toArray()) {
        const QJsonArray nameValue = pair.toArray();
        if (nameValue.at(0).toString().compare(name, Qt::CaseInsensitive) == 0)
            return nameValue.at(1).toString();
    }
    return QString();
}

// The values of the named headers of a journal entry, in the order asked.
inline QStringList journalHeaders(const QJsonObject& entry, const QStringList& names) {
    QStringList values;
    for (const QString& name : names)
        values.append(journalHeader(entry, name));
    return values;
}

// Names of the headers of a journal entry, in the order received.
inline QStringList journalHeaderNames(const QJsonObject& entry) {
    QStringList names;
    for (const QJsonValue& pair : entry.value(QStringLiteral("headers")).toArray())
        names.append(pair.toArray().at(0).toString());
    return names;
}

// The received body of a journal entry (or the decrypted "p" of a wall entry).
inline QByteArray journalBody(const QJsonObject& field) {
    return QByteArray::fromBase64(field.value(QStringLiteral("base64")).toString().toLatin1());
}

// The request body a journal entry received, and its length as the service counted it.
inline QByteArray sentBody(const QJsonObject& entry) {
    return journalBody(entry.value(QStringLiteral("body")).toObject());
}
inline QString sentLength(const QJsonObject& entry) {
    return QString::number(entry.value(QStringLiteral("body")).toObject().value("len").toInt());
}

}  // namespace zq::test
