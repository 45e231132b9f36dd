#include "stats/AnalyticsQueue.h"

#include "stats/ClaimOwner.h"
#include "stats/StatsLog.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QStringList>
#include <QVariant>

#include <atomic>

namespace zq::stats {
namespace {

// SQLite's primary result codes for a damaged file and for a file that is not
// a database; the Qt driver reports them as the native error code.
bool isUnreadableDatabase(const QSqlError& error) {
    const QString code = error.nativeErrorCode();
    return code == u"11" || code == u"26";
}

QString seqList(const QList<qint64>& seqs) {
    QStringList parts;
    parts.reserve(seqs.size());
    for (qint64 seq : seqs) {
        parts << QString::number(seq);
    }
    return parts.join(u',');
}

QString nextConnectionName() {
    static std::atomic<quint64> counter{0};
    return QStringLiteral("zq.analytics.%1").arg(++counter);
}

// Ends a transaction on every path: rolls back unless committed.
class Transaction {
public:
    explicit Transaction(QSqlDatabase db) : _db(std::move(db)) {
        QSqlQuery begin(_db);
        _active = begin.exec(QStringLiteral("BEGIN IMMEDIATE"));
        if (!_active) {
            _error = begin.lastError();
        }
    }
    ~Transaction() {
        if (_active) {
            QSqlQuery(_db).exec(QStringLiteral("ROLLBACK"));
        }
    }
    bool active() const { return _active; }
    const QSqlError& error() const { return _error; }
    bool commit() {
        QSqlQuery query(_db);
        if (!query.exec(QStringLiteral("COMMIT"))) {
            _error = query.lastError();
            return false;
        }
        _active = false;
        return true;
    }

private:
    QSqlDatabase _db;
    bool _active = false;
    QSqlError _error;
};

}  // namespace

AnalyticsQueue::AnalyticsQueue(const QString& folder, Durability durability)
    : _folder(folder), _durability(durability), _connection(nextConnectionName()) {
    QDir().mkpath(_folder);
    _open = openDatabase();
    if (!_open && !_error.isEmpty()) {
        qCWarning(lcStats) << "analytics queue unavailable:" << _error;
    }
}

AnalyticsQueue::~AnalyticsQueue() {
    closeDatabase();
}

QString AnalyticsQueue::databasePath(const QString& folder) {
    QString base = folder;
    while (base.size() > 1 && base.endsWith(u'/')) {
        base.chop(1);
    }
    return base + QStringLiteral("/events.sqlite");
}

bool AnalyticsQueue::openDatabase() {
    const QString path = databasePath(_folder);
    for (int attempt = 0; attempt < 2; ++attempt) {
        QSqlError failure;
        {
            QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), _connection);
            db.setDatabaseName(path);
            db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=10000"));
            if (!db.open()) {
                failure = db.lastError();
            } else {
                QSqlQuery query(db);
                const bool ok =
                    query.exec(QStringLiteral("PRAGMA journal_mode=WAL")) &&
                    query.exec(_durability == Durability::Synced
                                   ? QStringLiteral("PRAGMA synchronous=FULL")
                                   : QStringLiteral("PRAGMA synchronous=NORMAL")) &&
                    query.exec(QStringLiteral("CREATE TABLE IF NOT EXISTS events("
                                              " seq INTEGER PRIMARY KEY AUTOINCREMENT,"
                                              " id TEXT NOT NULL UNIQUE,"
                                              " realtime INTEGER NOT NULL,"
                                              " created_ms INTEGER NOT NULL,"
                                              " body BLOB NOT NULL,"
                                              " claimed_until INTEGER NOT NULL DEFAULT 0,"
                                              " owner_pid INTEGER NOT NULL DEFAULT 0,"
                                              " owner_start INTEGER NOT NULL DEFAULT 0,"
                                              " owner_scope TEXT NOT NULL DEFAULT '',"
                                              " owner_until INTEGER NOT NULL DEFAULT 0)")) &&
                    query.exec(QStringLiteral("CREATE INDEX IF NOT EXISTS events_pending"
                                              " ON events(realtime, claimed_until, seq)"));
                failure = query.lastError();
                if (ok && migrate(db, &failure)) {
                    return true;
                }
            }
            db.close();
        }
        QSqlDatabase::removeDatabase(_connection);
        setError(QStringLiteral("open ") + path, failure);
        if (attempt > 0 || !isUnreadableDatabase(failure)) {
            break;
        }
        // Keep the unreadable file for inspection and start a new queue.
        const QString aside =
            path + QStringLiteral(".unreadable-") +
            QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMddHHmmsszzz"));
        qCWarning(lcStats) << "analytics queue" << path << "is unreadable (" << failure.text()
                           << "); moved to" << aside;
        if (!QFile::rename(path, aside)) {
            break;
        }
        QFile::rename(path + QStringLiteral("-wal"), aside + QStringLiteral("-wal"));
        QFile::remove(path + QStringLiteral("-shm"));
    }
    return false;
}

void AnalyticsQueue::closeDatabase() {
    if (!QSqlDatabase::contains(_connection)) {
        return;
    }
    {
        QSqlDatabase db = QSqlDatabase::database(_connection, false);
        db.close();
    }
    QSqlDatabase::removeDatabase(_connection);
    _open = false;
}

bool AnalyticsQueue::setError(const QString& what, const QSqlError& error) {
    _error = what + QStringLiteral(": ") + error.text();
    return false;
}

bool AnalyticsQueue::enqueue(const QString& id, bool realTime, qint64 createdMs,
                             const QByteArray& body, int capacity, int* dropped) {
    if (dropped) {
        *dropped = 0;
    }
    if (!_open) {
        return false;
    }
    QSqlDatabase db = QSqlDatabase::database(_connection, false);
    Transaction transaction(db);
    if (!transaction.active()) {
        return setError(QStringLiteral("begin"), transaction.error());
    }
    {
        QSqlQuery insert(db);
        insert.prepare(
            QStringLiteral("INSERT INTO events(id, realtime, created_ms, body, claimed_until)"
                           " VALUES(?, ?, ?, ?, 0)"));
        insert.addBindValue(id);
        insert.addBindValue(realTime ? 1 : 0);
        insert.addBindValue(createdMs);
        insert.addBindValue(body);
        if (!insert.exec()) {
            return setError(QStringLiteral("insert"), insert.lastError());
        }
    }
    if (capacity > 0) {
        QSqlQuery count(db);
        if (!count.exec(QStringLiteral("SELECT COUNT(*) FROM events")) || !count.next()) {
            return setError(QStringLiteral("count"), count.lastError());
        }
        const qint64 excess = count.value(0).toLongLong() - capacity;
        count.finish();
        if (excess > 0) {
            QSqlQuery trim(db);
            trim.prepare(
                QStringLiteral("DELETE FROM events WHERE seq IN"
                               " (SELECT seq FROM events ORDER BY seq LIMIT ?)"));
            trim.addBindValue(excess);
            if (!trim.exec()) {
                return setError(QStringLiteral("trim"), trim.lastError());
            }
            if (dropped) {
                *dropped = static_cast<int>(excess);
            }
        }
    }
    if (!transaction.commit()) {
        return setError(QStringLiteral("commit"), transaction.error());
    }
    return true;
}

bool AnalyticsQueue::migrate(QSqlDatabase& db, QSqlError* failure) {
    // Queues made before claims named their owner lack the owner columns.
    // Checked again inside the write transaction: another process may be
    // adding them at the same moment.
    const auto hasOwner = [&db] {
        QSqlQuery info(db);
        if (!info.exec(QStringLiteral("PRAGMA table_info(events)"))) {
            return false;
        }
        while (info.next()) {
            if (info.value(1).toString() == u"owner_until") {
                return true;
            }
        }
        return false;
    };
    if (hasOwner()) {
        return true;
    }
    Transaction transaction(db);
    if (!transaction.active()) {
        *failure = transaction.error();
        return false;
    }
    if (!hasOwner()) {
        QSqlQuery alter(db);
        for (const char* column :
             {"owner_pid INTEGER NOT NULL DEFAULT 0", "owner_start INTEGER NOT NULL DEFAULT 0",
              "owner_scope TEXT NOT NULL DEFAULT ''", "owner_until INTEGER NOT NULL DEFAULT 0"}) {
            if (!alter.exec(QStringLiteral("ALTER TABLE events ADD COLUMN ") +
                            QLatin1String(column))) {
                *failure = alter.lastError();
                return false;
            }
        }
    }
    if (!transaction.commit()) {
        *failure = transaction.error();
        return false;
    }
    return true;
}

int AnalyticsQueue::voidClaimsOfEndedOwners(QSqlDatabase& db, qint64 nowMs) {
    // An owner is known only while its claim is the one it made: a client of
    // an older version renews the lease without naming itself, and then the
    // lease alone decides.
    QSqlQuery owners(db);
    owners.prepare(QStringLiteral(
        "SELECT DISTINCT owner_pid, owner_start, owner_scope FROM events"
        " WHERE claimed_until > ? AND owner_pid > 0 AND owner_until = claimed_until"));
    owners.addBindValue(nowMs);
    if (!owners.exec()) {
        return 0;
    }
    QList<ClaimOwner> ended;
    while (owners.next()) {
        const ClaimOwner owner{owners.value(0).toLongLong(), owners.value(1).toLongLong(),
                               owners.value(2).toString()};
        if (owner.state() == ClaimOwner::State::Gone) {
            ended << owner;
        }
    }
    owners.finish();
    int voided = 0;
    for (const ClaimOwner& owner : std::as_const(ended)) {
        QSqlQuery update(db);
        update.prepare(QStringLiteral(
            "UPDATE events SET claimed_until = 0, owner_pid = 0, owner_start = 0,"
            " owner_scope = '', owner_until = 0 WHERE claimed_until > ? AND owner_pid = ?"
            " AND owner_start = ? AND owner_scope = ? AND owner_until = claimed_until"));
        update.addBindValue(nowMs);
        update.addBindValue(owner.pid);
        update.addBindValue(owner.startTicks);
        update.addBindValue(owner.scope);
        if (update.exec()) {
            voided += update.numRowsAffected();
            qCInfo(lcStats) << "took back" << update.numRowsAffected()
                            << "analytics events claimed by process" << owner.pid
                            << ", which no longer runs";
        }
    }
    return voided;
}

QList<QueuedEvent> AnalyticsQueue::claim(const Selection& selection, int limit, qint64 nowMs,
                                         qint64 leaseUntilMs) {
    QList<QueuedEvent> claimed;
    if (!_open || limit <= 0 || (!selection.realTime && !selection.normal)) {
        return claimed;
    }
    QSqlDatabase db = QSqlDatabase::database(_connection, false);
    Transaction transaction(db);
    if (!transaction.active()) {
        setError(QStringLiteral("begin"), transaction.error());
        return claimed;
    }
    voidClaimsOfEndedOwners(db, nowMs);
    {
        QSqlQuery select(db);
        select.prepare(QStringLiteral(
            "SELECT seq, id, realtime, created_ms, body FROM events WHERE claimed_until <= ?"
            " AND ((realtime = 1 AND ?) OR (realtime = 0 AND ? AND seq <= ?))"
            " ORDER BY realtime DESC, seq LIMIT ?"));
        select.addBindValue(nowMs);
        select.addBindValue(selection.realTime ? 1 : 0);
        select.addBindValue(selection.normal ? 1 : 0);
        select.addBindValue(selection.normalUpToSeq);
        select.addBindValue(limit);
        if (!select.exec()) {
            setError(QStringLiteral("claim"), select.lastError());
            return {};
        }
        while (select.next()) {
            QueuedEvent event;
            event.seq = select.value(0).toLongLong();
            event.id = select.value(1).toString();
            event.realTime = select.value(2).toInt() != 0;
            event.createdMs = select.value(3).toLongLong();
            event.body = select.value(4).toByteArray();
            claimed << event;
        }
    }
    if (claimed.isEmpty()) {
        // Claims of ended owners were given back: keep that.
        transaction.commit();
        return claimed;
    }
    QList<qint64> seqs;
    for (const QueuedEvent& event : std::as_const(claimed)) {
        seqs << event.seq;
    }
    const ClaimOwner& self = ClaimOwner::current();
    QSqlQuery update(db);
    update.prepare(QStringLiteral("UPDATE events SET claimed_until = ?, owner_pid = ?,"
                                  " owner_start = ?, owner_scope = ?, owner_until = ?"
                                  " WHERE seq IN (%1)")
                       .arg(seqList(seqs)));
    update.addBindValue(leaseUntilMs);
    update.addBindValue(self.pid);
    update.addBindValue(self.startTicks);
    update.addBindValue(self.scope);
    update.addBindValue(leaseUntilMs);
    if (!update.exec()) {
        setError(QStringLiteral("claim"), update.lastError());
        return {};
    }
    if (!transaction.commit()) {
        setError(QStringLiteral("commit"), transaction.error());
        return {};
    }
    return claimed;
}

bool AnalyticsQueue::remove(const QList<qint64>& seqs) {
    if (!_open) {
        return false;
    }
    if (seqs.isEmpty()) {
        return true;
    }
    return exec(QStringLiteral("DELETE FROM events WHERE seq IN (%1)").arg(seqList(seqs)));
}

bool AnalyticsQueue::release(const QList<qint64>& seqs) {
    if (!_open) {
        return false;
    }
    if (seqs.isEmpty()) {
        return true;
    }
    // Only claims that are still this process's own: after a lease ran out,
    // the events may belong to another process's claim by now.
    const ClaimOwner& self = ClaimOwner::current();
    QSqlQuery query(QSqlDatabase::database(_connection, false));
    query.prepare(QStringLiteral("UPDATE events SET claimed_until = 0, owner_pid = 0,"
                                 " owner_start = 0, owner_scope = '', owner_until = 0"
                                 " WHERE seq IN (%1) AND owner_pid = ? AND owner_start = ?"
                                 " AND owner_scope = ? AND owner_until = claimed_until")
                      .arg(seqList(seqs)));
    query.addBindValue(self.pid);
    query.addBindValue(self.startTicks);
    query.addBindValue(self.scope);
    if (!query.exec()) {
        return setError(QStringLiteral("release"), query.lastError());
    }
    return true;
}

qint64 AnalyticsQueue::lastSeq() {
    if (!_open) {
        return 0;
    }
    QSqlQuery query(QSqlDatabase::database(_connection, false));
    if (!query.exec(QStringLiteral("SELECT COALESCE(MAX(seq), 0) FROM events")) || !query.next()) {
        setError(QStringLiteral("last"), query.lastError());
        return 0;
    }
    return query.value(0).toLongLong();
}

bool AnalyticsQueue::exec(const QString& statement) {
    QSqlQuery query(QSqlDatabase::database(_connection, false));
    if (!query.exec(statement)) {
        return setError(statement.section(u' ', 0, 0), query.lastError());
    }
    return true;
}

int AnalyticsQueue::count() {
    if (!_open) {
        return -1;
    }
    QSqlQuery query(QSqlDatabase::database(_connection, false));
    if (!query.exec(QStringLiteral("SELECT COUNT(*) FROM events")) || !query.next()) {
        setError(QStringLiteral("count"), query.lastError());
        return -1;
    }
    return query.value(0).toInt();
}

int AnalyticsQueue::claimableCount(bool realTime, qint64 nowMs) {
    if (!_open) {
        return -1;
    }
    QSqlQuery query(QSqlDatabase::database(_connection, false));
    query.prepare(
        QStringLiteral("SELECT COUNT(*) FROM events WHERE realtime = ? AND claimed_until <= ?"));
    query.addBindValue(realTime ? 1 : 0);
    query.addBindValue(nowMs);
    if (!query.exec() || !query.next()) {
        setError(QStringLiteral("count"), query.lastError());
        return -1;
    }
    return query.value(0).toInt();
}

std::optional<qint64> AnalyticsQueue::nextLeaseExpiry(qint64 nowMs) {
    if (!_open) {
        return std::nullopt;
    }
    QSqlQuery query(QSqlDatabase::database(_connection, false));
    query.prepare(QStringLiteral("SELECT MIN(claimed_until) FROM events WHERE claimed_until > ?"));
    query.addBindValue(nowMs);
    if (!query.exec() || !query.next() || query.value(0).isNull()) {
        return std::nullopt;
    }
    return query.value(0).toLongLong();
}

QList<QueuedEvent> AnalyticsQueue::events(int limit) {
    QList<QueuedEvent> result;
    if (!_open) {
        return result;
    }
    QSqlQuery query(QSqlDatabase::database(_connection, false));
    query.prepare(QStringLiteral(
        "SELECT seq, id, realtime, created_ms, body FROM events ORDER BY seq LIMIT ?"));
    query.addBindValue(limit);
    if (!query.exec()) {
        setError(QStringLiteral("list"), query.lastError());
        return result;
    }
    while (query.next()) {
        QueuedEvent event;
        event.seq = query.value(0).toLongLong();
        event.id = query.value(1).toString();
        event.realTime = query.value(2).toInt() != 0;
        event.createdMs = query.value(3).toLongLong();
        event.body = query.value(4).toByteArray();
        result << event;
    }
    return result;
}

int AnalyticsQueue::clear() {
    if (!_open) {
        return -1;
    }
    QSqlQuery query(QSqlDatabase::database(_connection, false));
    if (!query.exec(QStringLiteral("DELETE FROM events"))) {
        setError(QStringLiteral("clear"), query.lastError());
        return -1;
    }
    return query.numRowsAffected();
}

}  // namespace zq::stats
