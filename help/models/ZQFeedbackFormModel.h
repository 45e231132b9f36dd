#pragma once

#include "help/models/ZQFeedbackDraft.h"

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

// An alert of the feedback form (always with the "alert_logo" icon).
struct ZQFeedbackAlert {
    QString text;
    // The text is the alert's title (the description's length, the picture
    // count, success); otherwise its informative text (the pictures' size,
    // network failures, the server's own message).
    bool asTitle = true;
    bool operator==(const ZQFeedbackAlert&) const = default;
};

// What the form asks of its window: the file panel and the alerts. The
// window answers with its dialogs; tests answer themselves.
class ZQFeedbackFormUi {
public:
    virtual ~ZQFeedbackFormUi() = default;
    // Offers the picture files; `chosen` runs with the files when the user
    // confirms, never on cancel.
    virtual void chooseFiles(std::function<void(const QStringList& files)> chosen) = 0;
    // Shows an alert; `dismissed` runs when the user has closed it.
    virtual void showAlert(const ZQFeedbackAlert& alert, std::function<void()> dismissed) = 0;
};

// The feedback form without widgets: the description and contact texts with
// their limit, the attached pictures with their limits, the submission (zip
// archive, upload, old-style report, report) and the draft.
//
// Limits: a description of 10 to 300 UTF-16 units; at most 3 pictures; at
// most 1,048,576 bytes of pictures in total (exactly that is accepted).
// Main thread only.
class ZQFeedbackFormModel : public QObject {
    Q_OBJECT
public:
    static constexpr int kMinDescriptionLength = 10;
    static constexpr int kMaxTextLength = 300;
    static constexpr int kMaxPictures = 3;
    static constexpr qint64 kMaxTotalPictureBytes = 1048576;

    struct Picture {
        QString path;
        qint64 size = 0;
    };

    // `ui` may be set later (setUi); `draft` none keeps no draft.
    explicit ZQFeedbackFormModel(std::optional<ZQFeedbackDraft> draft = ZQFeedbackDraft(),
                                 QObject* parent = nullptr);
    ~ZQFeedbackFormModel() override;

    void setUi(ZQFeedbackFormUi* ui) { _ui = ui; }
    // Test seams: the time that names the archive, and the draft's debounce.
    void setClock(std::function<QDateTime()> clock) { _clock = std::move(clock); }
    void setDraftDebounce(std::unique_ptr<ZQDebounce> debounce);

    // --- the texts ----------------------------------------------------------
    QString description() const { return _description; }
    QString contact() const { return _contact; }
    // The user changed a field. A text above 300 units is cut back to 300
    // (299 when the cut would split a surrogate pair) and the warning shows;
    // texts within the limit hide it. Returns the text the field must show.
    QString setDescription(const QString& text);
    QString setContact(const QString& text);
    bool countWarnVisible() const { return _countWarnVisible; }

    // --- pictures -----------------------------------------------------------
    const QList<Picture>& pictures() const { return _pictures; }
    QStringList arrPathOfPicts() const;
    qint64 totalPictureBytes() const { return _iSizeOfCurrAllPics; }
    // The file panel, then checkFiles() on the chosen files.
    void uploadPicture();
    // Accepts a batch of files whole or refuses it whole (with its alert):
    // true when the batch was accepted and not empty.
    bool checkFiles(const QStringList& files);
    // Removes the picture at `index` and frees its size.
    void deleteButton(int index);
    // Removes every picture.
    void refreshButtons();

    // --- submission ---------------------------------------------------------
    // Validates, builds and uploads the archive, sends both reports; the
    // outcome arrives as an alert.
    void commitFeedback();
    // "zipOfFeedback_<device identifier>_<seconds since 2001-01-01 UTC>.zip"
    static QString archiveName(const std::optional<QString>& deviceId, const QDateTime& now);
    // "pic_<3-digit position>.<the file's extension>", position from 1.
    static QString archiveEntryName(int position, const QString& path);
    // The archive of the last submission that had pictures (none before).
    std::optional<QString> currentZipPath() const { return _currentZipPath; }
    // Empties both fields, hides the warning and removes every picture.
    void updateControls();

    // --- draft --------------------------------------------------------------
    // Fills the form from the saved draft (pictures that are gone or no longer
    // fit the limits are left out, silently).
    void restoreDraft();
    // Writes a pending draft change at once (the window is closing).
    void flushDraft();

    // A text cut to `limit` UTF-16 units without splitting a surrogate pair.
    static QString cutText(const QString& text, int limit);

signals:
    // The model changed the texts itself (cut, restored, cleared): the fields
    // show description() and contact() again.
    void textsChanged();
    void countWarnVisibleChanged(bool visible);
    // Pictures were added or removed.
    void picturesChanged();
    // A submission ended: the report arrived (true) or did not (false).
    void submissionFinished(bool success);

private:
    QString limitField(const QString& text, QString& field);
    void setCountWarnVisible(bool visible);
    void alert(const QString& text, bool asTitle, std::function<void()> dismissed = {});
    void showNetworkErrorAlert();
    bool checkInput();
    bool zipFileOfPicts(const QString& name);
    bool uploadDictFile(const QString& path);
    void draftChanged();
    void saveDraft();

    ZQFeedbackFormUi* _ui = nullptr;
    std::function<QDateTime()> _clock;
    QString _description;
    QString _contact;
    bool _countWarnVisible = false;
    QList<Picture> _pictures;
    qint64 _iSizeOfCurrAllPics = 0;
    std::optional<QString> _currentZipPath;
    std::optional<ZQFeedbackDraft> _draft;
    std::unique_ptr<ZQDebounce> _draftDebounce;
    bool _restoring = false;
};
