#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <limits>
#include <optional>

class QSqlDatabase;
class QSqlError;

// The durable queue of analytics events: one SQLite database,
// "<analytics folder>/events.sqlite", shared by every process of the user
// that reports events.
//
// An event is on disk (the commit is synced, WAL with synchronous=FULL)
// before enqueue() returns, so a process killed at any later moment loses
// nothing.
//
// Who sends what: an event is its reporting process's to send while that
// process runs (so that a process waiting for the answer to its own event
// gets it); once the process has ended, or when it cannot be judged from here
// (ClaimOwner), the event is anyone's. A sender claims a batch for a lease
// before posting it; the claim names its owner too: a claim whose owner no
// longer runs is void at once and the next claim of any process takes the
// events back; a claim whose owner cannot be judged ends with its lease.
// Claims are made in one write transaction, so two running processes never
// hold the same event.
//
// A Qt SQL connection belongs to the thread that opened it: an AnalyticsQueue
// object is used only on the thread that created it. Several objects (threads,
// processes) may work on the same file at once.
namespace zq::stats {

struct QueuedEvent {
    qint64 seq = 0;  // insertion order
    QString id;      // the event's UUID
    bool realTime = false;
    qint64 createdMs = 0;
    QByteArray body;  // the event's JSON object as it will be sent
};

class AnalyticsQueue {
public:
    // Opens (creating when needed) the queue in `folder`. A file that is not a
    // database, or is damaged, is moved aside ("events.sqlite.unreadable-<time>")
    // and a new queue is started; nothing is deleted.
    //
    // `Durability::Synced` (the client's choice) syncs every commit to the
    // disk. `Durability::ProcessCrash` leaves that to SQLite's checkpoints: a
    // killed process still loses nothing, a crash of the whole system may lose
    // the last commits. It exists to measure what the sync costs.
    enum class Durability { Synced, ProcessCrash };
    explicit AnalyticsQueue(const QString& folder, Durability durability = Durability::Synced);
    ~AnalyticsQueue();
    AnalyticsQueue(const AnalyticsQueue&) = delete;
    AnalyticsQueue& operator=(const AnalyticsQueue&) = delete;

    static QString databasePath(const QString& folder);

    bool isOpen() const { return _open; }
    QString errorString() const { return _error; }

    // Adds an event and syncs it to disk. When the queue then holds more than
    // `capacity` events, the oldest ones are dropped (their number goes to
    // *dropped). False when the event could not be stored. `sender` says
    // whether the event waits for this process's sender while it runs.
    enum class Sender { ThisProcess, Anyone };
    bool enqueue(const QString& id, bool realTime, qint64 createdMs, const QByteArray& body,
                 int capacity, int* dropped = nullptr, Sender sender = Sender::ThisProcess);

    // Which events a claim may take: real-time ones, normal ones up to a
    // sequence number, or both (real-time first); those of this process and
    // of ended ones, or (`anyReporter`) also those of running processes.
    struct Selection {
        bool realTime = false;
        bool normal = false;
        qint64 normalUpToSeq = std::numeric_limits<qint64>::max();
        bool anyReporter = false;
    };
    static Selection realTimeOnly() { return {true, false}; }
    static Selection normalOnly() { return {false, true}; }
    static Selection everything() { return {true, true, std::numeric_limits<qint64>::max(), true}; }

    // Takes up to `limit` unclaimed events (oldest first within each kind)
    // and marks them claimed by this process until `leaseUntilMs`. Events
    // whose lease ended before `nowMs`, and events whose claiming process no
    // longer runs, count as unclaimed.
    QList<QueuedEvent> claim(const Selection& selection, int limit, qint64 nowMs,
                             qint64 leaseUntilMs);
    // Removes events (delivered or refused for good).
    bool remove(const QList<qint64>& seqs);
    // Gives claimed events back (a failed attempt).
    bool release(const QList<qint64>& seqs);
    // The highest sequence number in the queue (0 when it is empty).
    qint64 lastSeq();

    // Events in the queue, claimed or not; -1 on error.
    int count();
    // Unclaimed events that a claim of `selection` could take.
    int claimableCount(const Selection& selection, qint64 nowMs);
    // The earliest end of a lease still running at `nowMs`.
    std::optional<qint64> nextLeaseExpiry(qint64 nowMs);
    // Whether other processes of this scope, running or not yet found ended,
    // have events of their own queued.
    bool holdsEventsOfOtherProcesses();
    // Events in queue order, at most `limit` (all with -1).
    QList<QueuedEvent> events(int limit = -1);
    // Empties the queue; returns the number removed, or -1 on error.
    int clear();

private:
    bool openDatabase();
    void closeDatabase();
    bool exec(const QString& statement);
    bool setError(const QString& what, const QSqlError& error);
    bool migrate(QSqlDatabase& db, QSqlError* failure);
    void takeOverFromEndedProcesses(QSqlDatabase& db, qint64 nowMs);

    QString _folder;
    Durability _durability;
    QString _connection;
    QString _error;
    bool _open = false;
};

}  // namespace zq::stats
