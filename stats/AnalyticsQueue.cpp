#include "stats/AnalyticsQueue.h"

#include "platform/FileRead.h"
#include "stats/ClaimOwner.h"
#include "stats/StatsLog.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QStringList>
#include <QVariant>

#include <atomic>
#include <limits>

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
    QString notAFile;
    if (QFileInfo::exists(path) &&
        !platform::isReadableRegularFile(path, std::numeric_limits<qint64>::max(), &notAFile)) {
        // Something that is no database file in the queue's place: kept for
        // inspection, and a new queue is started.
        const QString aside =
            path + QStringLiteral(".unreadable-") +
            QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMddHHmmsszzz"));
        qCWarning(lcStats) << "analytics queue not opened:" << notAFile << "; moved to" << aside;
        if (!QFile::rename(path, aside)) {
            _error = notAFile;
            return false;
        }
    }
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
                                              " claimed_until INTEGER NOT NULL DEFAULT 0)")) &&
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
                             const QByteArray& body, int capacity, int* dropped, Sender sender) {
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
        insert.prepare(QStringLiteral(
            "INSERT INTO events(id, realtime, created_ms, body, claimed_until, reporter_pid,"
            " reporter_start, reporter_scope) VALUES(?, ?, ?, ?, 0, ?, ?, ?)"));
        const ClaimOwner reporter =
            sender == Sender::ThisProcess ? ClaimOwner::current() : ClaimOwner();
        insert.addBindValue(id);
        insert.addBindValue(realTime ? 1 : 0);
        insert.addBindValue(createdMs);
        insert.addBindValue(body);
        insert.addBindValue(reporter.pid);
        insert.addBindValue(reporter.startTicks);
        insert.addBindValue(reporter.scope);
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

namespace {

// Columns added since the first version of the queue: who reported an event
// and who holds its claim (0 and '': nobody known).
const char* const kAddedColumns[] = {
    "reporter_pid INTEGER NOT NULL DEFAULT 0", "reporter_start INTEGER NOT NULL DEFAULT 0",
    "reporter_scope TEXT NOT NULL DEFAULT ''", "owner_pid INTEGER NOT NULL DEFAULT 0",
    "owner_start INTEGER NOT NULL DEFAULT 0",  "owner_scope TEXT NOT NULL DEFAULT ''",
    "owner_until INTEGER NOT NULL DEFAULT 0",
};

}  // namespace

bool AnalyticsQueue::migrate(QSqlDatabase& db, QSqlError* failure) {
    const auto missingColumns = [&db] {
        QStringList present;
        QSqlQuery info(db);
        if (info.exec(QStringLiteral("PRAGMA table_info(events)"))) {
            while (info.next()) {
                present << info.value(1).toString();
            }
        }
        QStringList missing;
        for (const char* column : kAddedColumns) {
            const QString definition = QLatin1String(column);
            if (!present.contains(definition.section(u' ', 0, 0))) {
                missing << definition;
            }
        }
        return missing;
    };
    if (missingColumns().isEmpty()) {
        return true;
    }
    // Looked at again inside the write transaction: another process may be
    // adding them at the same moment.
    Transaction transaction(db);
    if (!transaction.active()) {
        *failure = transaction.error();
        return false;
    }
    for (const QString& column : missingColumns()) {
        QSqlQuery alter(db);
        if (!alter.exec(QStringLiteral("ALTER TABLE events ADD COLUMN ") + column)) {
            *failure = alter.lastError();
            return false;
        }
    }
    if (!transaction.commit()) {
        *failure = transaction.error();
        return false;
    }
    return true;
}

namespace {

// Processes named in the queue's `prefix`_pid, _start and _scope columns
// that have ended, found among the rows matching `where` (one bound value).
QList<ClaimOwner> endedProcesses(QSqlDatabase& db, const QString& prefix, const QString& where,
                                 qint64 value) {
    QList<ClaimOwner> ended;
    QSqlQuery query(db);
    query.prepare(QStringLiteral("SELECT DISTINCT %1_pid, %1_start, %1_scope FROM events"
                                 " WHERE %1_pid > 0 AND %2")
                      .arg(prefix, where));
    query.addBindValue(value);
    if (!query.exec()) {
        return ended;
    }
    while (query.next()) {
        const ClaimOwner process{query.value(0).toLongLong(), query.value(1).toLongLong(),
                                 query.value(2).toString()};
        if (process.state() == ClaimOwner::State::Gone) {
            ended << process;
        }
    }
    return ended;
}

// Runs `statement` once per process, its pid, start and scope bound after `value`.
int forEachProcess(QSqlDatabase& db, const QString& statement, qint64 value,
                   const QList<ClaimOwner>& processes) {
    int changed = 0;
    for (const ClaimOwner& process : processes) {
        QSqlQuery query(db);
        query.prepare(statement);
        query.addBindValue(value);
        query.addBindValue(process.pid);
        query.addBindValue(process.startTicks);
        query.addBindValue(process.scope);
        if (query.exec()) {
            changed += query.numRowsAffected();
        }
    }
    return changed;
}

// The condition of a claim or count of `selection`, with its bound values.
QString selectionClause(const AnalyticsQueue::Selection& selection, QVariantList* values) {
    const ClaimOwner& self = ClaimOwner::current();
    *values << (selection.realTime ? 1 : 0) << (selection.normal ? 1 : 0) << selection.normalUpToSeq
            << (selection.anyReporter ? 1 : 0) << self.scope << self.pid << self.startTicks;
    return QStringLiteral(
        "((realtime = 1 AND ?) OR (realtime = 0 AND ? AND seq <= ?))"
        " AND (? OR reporter_pid = 0 OR reporter_scope != ?"
        " OR (reporter_pid = ? AND reporter_start = ?))");
}

}  // namespace

void AnalyticsQueue::takeOverFromEndedProcesses(QSqlDatabase& db, qint64 nowMs) {
    // A claim names its owner only while it is the claim the owner made: a
    // client of an older version renews a lease without naming itself, and
    // then the lease alone decides.
    const QList<ClaimOwner> owners =
        endedProcesses(db, QStringLiteral("owner"),
                       QStringLiteral("claimed_until > ? AND owner_until = claimed_until"), nowMs);
    const int voided = forEachProcess(
        db,
        QStringLiteral("UPDATE events SET claimed_until = 0, owner_pid = 0, owner_start = 0,"
                       " owner_scope = '', owner_until = 0 WHERE claimed_until > ?"
                       " AND owner_pid = ? AND owner_start = ? AND owner_scope = ?"
                       " AND owner_until = claimed_until"),
        nowMs, owners);
    // Events whose reporter ended are anyone's from now on.
    const QList<ClaimOwner> reporters =
        endedProcesses(db, QStringLiteral("reporter"), QStringLiteral("claimed_until <= ?"), nowMs);
    const int adopted = forEachProcess(
        db,
        QStringLiteral("UPDATE events SET reporter_pid = 0, reporter_start = 0,"
                       " reporter_scope = '' WHERE claimed_until <= ? AND reporter_pid = ?"
                       " AND reporter_start = ? AND reporter_scope = ?"),
        nowMs, reporters);
    if (voided > 0 || adopted > 0) {
        qCInfo(lcStats) << "analytics events of processes that have ended:" << voided
                        << "claims given back," << adopted << "events open to any sender";
    }
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
    takeOverFromEndedProcesses(db, nowMs);
    {
        QVariantList values{nowMs};
        const QString condition = selectionClause(selection, &values);
        QSqlQuery select(db);
        select.prepare(QStringLiteral("SELECT seq, id, realtime, created_ms, body FROM events"
                                      " WHERE claimed_until <= ? AND %1"
                                      " ORDER BY realtime DESC, seq LIMIT ?")
                           .arg(condition));
        for (const QVariant& value : std::as_const(values)) {
            select.addBindValue(value);
        }
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
        // What was taken over from ended processes stays so.
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

int AnalyticsQueue::claimableCount(const Selection& selection, qint64 nowMs) {
    if (!_open) {
        return -1;
    }
    QVariantList values{nowMs};
    const QString condition = selectionClause(selection, &values);
    QSqlQuery query(QSqlDatabase::database(_connection, false));
    query.prepare(QStringLiteral("SELECT COUNT(*) FROM events WHERE claimed_until <= ? AND %1")
                      .arg(condition));
    for (const QVariant& value : std::as_const(values)) {
        query.addBindValue(value);
    }
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

bool AnalyticsQueue::holdsEventsOfOtherProcesses() {
    const ClaimOwner& self = ClaimOwner::current();
    if (!_open || self.pid <= 0) {
        return false;
    }
    QSqlQuery query(QSqlDatabase::database(_connection, false));
    query.prepare(QStringLiteral(
        "SELECT EXISTS(SELECT 1 FROM events WHERE reporter_pid > 0 AND reporter_scope = ?"
        " AND NOT (reporter_pid = ? AND reporter_start = ?))"));
    query.addBindValue(self.scope);
    query.addBindValue(self.pid);
    query.addBindValue(self.startTicks);
    return query.exec() && query.next() && query.value(0).toBool();
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
