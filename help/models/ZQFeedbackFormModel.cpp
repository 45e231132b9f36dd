#include "help/models/ZQFeedbackFormModel.h"

#include "help/ZQHelpListInfoDataManager.h"
#include "help/ZipArchive.h"
#include "utility/DeviceIdentity.h"
#include "utility/ZQSiblingApps.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPointer>

namespace {

// Seconds from 1970-01-01 to 2001-01-01, UTC: the reference date of the
// archive names.
constexpr qint64 kReferenceDateMSecs = 978307200000LL;
constexpr int kDraftQuietMs = 500;

}  // namespace

ZQFeedbackFormModel::ZQFeedbackFormModel(std::optional<ZQFeedbackDraft> draft, QObject* parent)
    : QObject(parent),
      _clock([] { return QDateTime::currentDateTimeUtc(); }),
      _draft(std::move(draft)),
      _draftDebounce(std::make_unique<ZQTimerDebounce>(kDraftQuietMs)) {}

ZQFeedbackFormModel::~ZQFeedbackFormModel() = default;

void ZQFeedbackFormModel::setDraftDebounce(std::unique_ptr<ZQDebounce> debounce) {
    _draftDebounce = std::move(debounce);
}

// --- texts ------------------------------------------------------------------

QString ZQFeedbackFormModel::cutText(const QString& text, int limit) {
    if (text.size() <= limit) {
        return text;
    }
    // The last unit kept must not be the first half of a pair.
    const bool splitsPair =
        limit > 0 && text.at(limit - 1).isHighSurrogate() && text.at(limit).isLowSurrogate();
    return text.left(splitsPair ? limit - 1 : limit);
}

QString ZQFeedbackFormModel::setDescription(const QString& text) {
    return limitField(text, _description);
}

QString ZQFeedbackFormModel::setContact(const QString& text) {
    return limitField(text, _contact);
}

QString ZQFeedbackFormModel::limitField(const QString& text, QString& field) {
    const bool over = text.size() > kMaxTextLength;
    field = over ? cutText(text, kMaxTextLength) : text;
    setCountWarnVisible(over);
    draftChanged();
    return field;
}

void ZQFeedbackFormModel::setCountWarnVisible(bool visible) {
    if (_countWarnVisible != visible) {
        _countWarnVisible = visible;
        emit countWarnVisibleChanged(visible);
    }
}

// --- pictures -----------------------------------------------------------------

QStringList ZQFeedbackFormModel::arrPathOfPicts() const {
    QStringList paths;
    for (const Picture& picture : _pictures) {
        paths.append(picture.path);
    }
    return paths;
}

void ZQFeedbackFormModel::uploadPicture() {
    if (!_ui) {
        return;
    }
    _ui->chooseFiles([self = QPointer<ZQFeedbackFormModel>(this)](const QStringList& files) {
        if (self) {
            self->checkFiles(files);
        }
    });
}

bool ZQFeedbackFormModel::checkFiles(const QStringList& files) {
    if (_pictures.size() + files.size() > kMaxPictures) {
        //% "上传失败，最多可上传3张图片"
        alert(qtTrId("zq-feedback-too-many-pictures"), true);
        return false;
    }
    qint64 total = _iSizeOfCurrAllPics;
    QList<Picture> batch;
    for (const QString& file : files) {
        const qint64 size = QFileInfo(file).size();
        if (size + total > kMaxTotalPictureBytes) {
            //% "上传失败，仅支持上传1MB以下的图片文件"
            alert(qtTrId("zq-feedback-pictures-too-large"), false);
            return false;
        }
        total += size;
        batch.append({file, size});
    }
    _iSizeOfCurrAllPics = total;
    _pictures.append(batch);
    if (batch.isEmpty()) {
        return false;
    }
    emit picturesChanged();
    draftChanged();
    return true;
}

void ZQFeedbackFormModel::deleteButton(int index) {
    if (index < 0 || index >= _pictures.size()) {
        return;
    }
    // The size counted when the picture was attached, so that the total stays
    // the sum of what is attached even when a file changed since.
    _iSizeOfCurrAllPics -= _pictures.takeAt(index).size;
    emit picturesChanged();
    draftChanged();
}

void ZQFeedbackFormModel::refreshButtons() {
    _pictures.clear();
    _iSizeOfCurrAllPics = 0;
    emit picturesChanged();
    draftChanged();
}

// --- submission ---------------------------------------------------------------

QString ZQFeedbackFormModel::archiveName(const std::optional<QString>& deviceId,
                                         const QDateTime& now) {
    const double seconds = double(now.toMSecsSinceEpoch() - kReferenceDateMSecs) / 1000.0;
    return QStringLiteral("zipOfFeedback_%1_%2.zip")
        .arg(deviceId.value_or(QStringLiteral("(null)")), QString::asprintf("%0.0f", seconds));
}

QString ZQFeedbackFormModel::archiveEntryName(int position, const QString& path) {
    return QString::asprintf("pic_%.3d.", position) + QFileInfo(path).suffix();
}

void ZQFeedbackFormModel::alert(const QString& text, bool asTitle,
                                std::function<void()> dismissed) {
    if (_ui) {
        _ui->showAlert(
            {text, asTitle}, dismissed ? std::move(dismissed) : [] {});
    }
}

void ZQFeedbackFormModel::showNetworkErrorAlert() {
    //% "网络异常，请检查网络后重新提交"
    alert(qtTrId("zq-feedback-network-error"), false);
}

bool ZQFeedbackFormModel::checkInput() {
    if (_description.size() < kMinDescriptionLength) {
        //% "字数不足%1个，请详细描述您的问题"
        alert(qtTrId("zq-feedback-too-short").arg(kMinDescriptionLength), true);
        return false;
    }
    if (_description.size() > kMaxTextLength) {
        //% "字数过多，请将您的内容精简到%1字以内"
        alert(qtTrId("zq-feedback-too-long").arg(kMaxTextLength), true);
        return false;
    }
    return true;
}

void ZQFeedbackFormModel::commitFeedback() {
    clickCommitFeedbackStatistics();
    if (!checkInput()) {
        return;
    }
    const QString name = archiveName(GetUUID(), _clock());
    if (!zipFileOfPicts(name)) {
        return;
    }
    const bool hasAttachment = !_pictures.isEmpty();
    const QString attachName = hasAttachment ? name : QString();
    const QString archive = hasAttachment ? _currentZipPath.value_or(QString()) : QString();
    ZQHelpListInfoDataManager::submitUserFeedbackInfoWithReason(
        -1, _description, _contact, hasAttachment, attachName, this,
        [](const zq::net::OptionalError&, bool) {});
    ZQHelpListInfoDataManager::submitNewFeedbackWithDetail(
        _description, _contact, hasAttachment, attachName, archive, this,
        [this, archive](const zq::net::OptionalError& error, bool success,
                        const std::optional<QString>& message) {
            if (error) {
                showNetworkErrorAlert();
            } else if (success) {
                if (!archive.isEmpty()) {
                    QFile::remove(archive);
                }
                _draftDebounce->cancel();
                if (_draft) {
                    _draft->remove();
                }
                //% "提交成功"
                alert(qtTrId("zq-feedback-success"), true, [self = QPointer(this)] {
                    if (self) {
                        self->updateControls();
                    }
                });
            } else if (message && !message->isEmpty()) {
                alert(*message, false);
            }
            emit submissionFinished(!error && success);
        });
}

bool ZQFeedbackFormModel::zipFileOfPicts(const QString& name) {
    if (_pictures.isEmpty()) {
        return true;
    }
    const QString path = QDir(QDir::tempPath()).filePath(name);
    ZipArchive zip;
    if (!zip.CreateZipFile2(path)) {
        showNetworkErrorAlert();
        zip.CloseZipFile2();
        return false;
    }
    for (int k = 0; k < _pictures.size(); ++k) {
        const QString& picture = _pictures.at(k).path;
        if (!zip.addFileToZip(picture, archiveEntryName(k + 1, picture))) {
            showNetworkErrorAlert();
            zip.CloseZipFile2();
            QFile::remove(path);
            return false;
        }
    }
    zip.CloseZipFile2();
    const bool uploaded = uploadDictFile(path);
    _currentZipPath = path;
    return uploaded;
}

bool ZQFeedbackFormModel::uploadDictFile(const QString& path) {
    return ZQHelpListInfoDataManager::uploadFeedbackFileWithPath(
        path, [this](const std::optional<QString>& error, bool) {
            if (error && !error->isEmpty()) {
                showNetworkErrorAlert();
            }
        });
}

void ZQFeedbackFormModel::updateControls() {
    _description.clear();
    _contact.clear();
    setCountWarnVisible(false);
    emit textsChanged();
    refreshButtons();
}

// --- draft --------------------------------------------------------------------

void ZQFeedbackFormModel::draftChanged() {
    if (_draft && !_restoring) {
        _draftDebounce->start([this] { saveDraft(); });
    }
}

void ZQFeedbackFormModel::saveDraft() {
    if (_draft) {
        _draft->save({_description, _contact, arrPathOfPicts()});
    }
}

void ZQFeedbackFormModel::flushDraft() {
    if (_draftDebounce->isPending()) {
        _draftDebounce->cancel();
        saveDraft();
    }
}

void ZQFeedbackFormModel::restoreDraft() {
    if (!_draft) {
        return;
    }
    const std::optional<ZQFeedbackDraftContent> content = _draft->load();
    if (!content) {
        return;
    }
    _restoring = true;
    _description = cutText(content->description, kMaxTextLength);
    _contact = cutText(content->contact, kMaxTextLength);
    _pictures.clear();
    _iSizeOfCurrAllPics = 0;
    for (const QString& path : content->pictures) {
        const QFileInfo file(path);
        if (file.isFile() && _pictures.size() < kMaxPictures &&
            _iSizeOfCurrAllPics + file.size() <= kMaxTotalPictureBytes) {
            _pictures.append({path, file.size()});
            _iSizeOfCurrAllPics += file.size();
        }
    }
    _restoring = false;
    emit textsChanged();
    emit picturesChanged();
}
