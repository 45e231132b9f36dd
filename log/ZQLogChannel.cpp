#include "log/ZQLogManager.h"
#include "log/ZQLogManager_p.h"

#include "platform/Plist.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMetaType>
#include <QTemporaryFile>

#include <stdio.h>
#include <sys/prctl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

// Writes the lines as an XML property-list array: a temporary file in the same
// folder, renamed over the old one, so a reader sees the old file or the new
// one, never a part. Unlike configuration files, logs are not synced to disk
// on every write: a sync per line would cost milliseconds.
bool writeLinesAtomically(const QString& path, const QStringList& lines, QString* error) {
    const QByteArray bytes =
        platform::Plist::serialize(QVariant(lines), platform::Plist::Format::Xml, error);
    if (bytes.isEmpty()) {
        return false;
    }
    QDir().mkpath(QFileInfo(path).absolutePath());
    QTemporaryFile file(path + QStringLiteral(".XXXXXX"));
    file.setAutoRemove(false);
    if (!file.open()) {
        *error = QStringLiteral("%1: %2").arg(path, file.errorString());
        return false;
    }
    const QString temporary = file.fileName();
    const bool written = file.write(bytes) == bytes.size() && file.flush();
    file.close();
    if (!written || ::rename(QFile::encodeName(temporary).constData(),
                             QFile::encodeName(path).constData()) != 0) {
        *error = QStringLiteral("%1: %2").arg(
            path, written ? QString::fromLocal8Bit(std::strerror(errno)) : file.errorString());
        QFile::remove(temporary);
        return false;
    }
    return true;
}

}  // namespace

ZQLogManager::Channel::Channel(ZQLogManager* owner, Kind kind, QString filePath)
    : _owner(owner), _kind(kind), _filePath(std::move(filePath)) {
    _worker = std::thread([this] { run(); });
}

ZQLogManager::Channel::~Channel() {
    {
        std::lock_guard lock(_mutex);
        _stopping = true;
    }
    _wake.notify_one();
    _worker.join();
}

void ZQLogManager::Channel::submit(QString text, QString thread) {
    bool wake = false;
    {
        std::lock_guard lock(_mutex);
        // The time is taken in queue order, so the lines' times never go back.
        _queue.push_back({QDateTime::currentMSecsSinceEpoch(), std::move(text), std::move(thread)});
        ++_submitted;
        wake = _workerWaiting;
    }
    if (wake) {
        _wake.notify_one();
    }
}

void ZQLogManager::Channel::waitIdle() {
    std::unique_lock lock(_mutex);
    const quint64 target = _submitted;
    _idle.wait(lock, [&] { return _completed >= target; });
}

bool ZQLogManager::Channel::waitIdleUntil(std::chrono::steady_clock::time_point deadline) {
    std::unique_lock lock(_mutex);
    const quint64 target = _submitted;
    return _idle.wait_until(lock, deadline, [&] { return _completed >= target; });
}

QStringList ZQLogManager::Channel::content() {
    waitIdle();
    std::lock_guard lock(_contentMutex);
    return _content;
}

void ZQLogManager::Channel::run() {
    ::prctl(PR_SET_NAME, _kind == Kind::RunLog ? "vesko-runlog" : "vesko-perflog", 0, 0, 0);
    loadExistingFile();
    std::unique_lock lock(_mutex);
    ++_completed;  // the load counts as the first job
    _idle.notify_all();
    for (;;) {
        _workerWaiting = true;
        _wake.wait(lock, [&] { return _stopping || !_queue.empty(); });
        _workerWaiting = false;
        if (_queue.empty()) {
            break;  // stopping, and everything is written
        }
        std::deque<Entry> batch;
        batch.swap(_queue);
        lock.unlock();
        write(batch);
        lock.lock();
        _completed += batch.size();
        _idle.notify_all();
    }
}

void ZQLogManager::Channel::loadExistingFile() {
    if (!QFileInfo::exists(_filePath)) {
        return;
    }
    QString error;
    const std::optional<QVariantList> lines = platform::Plist::readArray(_filePath, &error);
    if (!lines) {
        const QString aside = QStringLiteral("%1.unreadable-%2")
                                  .arg(_filePath)
                                  .arg(QDateTime::currentMSecsSinceEpoch());
        qCWarning(lcLog) << "log file unreadable, moved to" << aside << ":" << error;
        QFile::rename(_filePath, aside);
        return;
    }
    std::lock_guard lock(_contentMutex);
    _content.reserve(lines->size());
    for (const QVariant& line : *lines) {
        _content.append(line.metaType().id() == QMetaType::QString ? line.toString()
                                                                   : descriptionOf(line));
    }
}

void ZQLogManager::Channel::write(const std::deque<Entry>& batch) {
    bool fileExists = QFileInfo::exists(_filePath);
    std::lock_guard lock(_contentMutex);
    for (const Entry& entry : batch) {
        const Config* config = _owner->config();
        if (fileExists && _content.size() > config->maxCount) {
            if (_kind == Kind::RunLog && config->saveType == 2) {
                writeTimeStampedCopy();
            }
            _content.clear();
        }
        _content.append(QStringLiteral("%1 : %2 (%3)")
                            .arg(formatLocalTime(entry.msecs), entry.text, entry.thread));
        fileExists = true;
    }
    QString error;
    if (!writeLinesAtomically(_filePath, _content, &error)) {
        qCWarning(lcLog) << "cannot write the log file:" << error;
    }
}

void ZQLogManager::Channel::writeTimeStampedCopy() {
    qint64 stamp = std::max(QDateTime::currentMSecsSinceEpoch(), _lastCopyMsecs + 1);
    QString path;
    for (;;) {
        path = QStringLiteral("%1/macime_%2_%3.log")
                   .arg(_owner->_logFolder, _owner->_processName, formatLocalTime(stamp));
        if (!QFileInfo::exists(path)) {
            break;
        }
        ++stamp;
    }
    _lastCopyMsecs = stamp;
    QString error;
    if (!writeLinesAtomically(path, _content, &error)) {
        qCWarning(lcLog) << "cannot write the log copy:" << error;
    }
}
