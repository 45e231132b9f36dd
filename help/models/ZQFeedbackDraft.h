#pragma once

#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

class QTimer;

// What the user has typed into the feedback form and the pictures attached,
// kept on disk so that a window closed by mistake (the process ends with its
// last window) does not lose a long description.
struct ZQFeedbackDraftContent {
    QString description;
    QString contact;
    QStringList pictures;

    bool isEmpty() const {
        return description.isEmpty() && contact.isEmpty() && pictures.isEmpty();
    }
    bool operator==(const ZQFeedbackDraftContent&) const = default;
};

// The draft file: a property-list dictionary ("description", "contact",
// "pictures") in the IM user folder, written whole and atomically. An empty
// draft is no file. A file that cannot be read as a draft is renamed aside
// (".unreadable" appended, replacing an older one) with a run-log message, so
// that the next save starts afresh and nothing the user had is deleted.
class ZQFeedbackDraft {
public:
    // `path` defaults to defaultPath().
    explicit ZQFeedbackDraft(QString path = {});

    // <IM user folder>/feedbackDraft.plist
    static QString defaultPath();
    QString path() const { return _path; }

    // The saved draft; none when there is no file or it was unreadable.
    std::optional<ZQFeedbackDraftContent> load() const;
    // Writes the draft (removes the file for an empty one). False when the
    // file could not be written; the previous file is then left as it was.
    bool save(const ZQFeedbackDraftContent& content) const;
    void remove() const;

private:
    QString _path;
};

// Runs a job once after a quiet period; starting it again restarts the wait.
// The form saves its draft through one, so that typing writes the file only
// when the user pauses. Tests give the form one they fire themselves.
class ZQDebounce {
public:
    virtual ~ZQDebounce() = default;
    virtual void start(std::function<void()> job) = 0;
    virtual void cancel() = 0;
    virtual bool isPending() const = 0;
};

// The debounce of the running application: a single-shot QTimer.
class ZQTimerDebounce : public ZQDebounce {
public:
    explicit ZQTimerDebounce(int quietMs);
    ~ZQTimerDebounce() override;
    void start(std::function<void()> job) override;
    void cancel() override;
    bool isPending() const override;

private:
    std::unique_ptr<QTimer> _timer;
    std::function<void()> _job;
};
