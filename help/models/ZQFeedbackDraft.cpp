#include "help/models/ZQFeedbackDraft.h"

#include "help/models/HelpModelsLog.h"
#include "log/ZQLogManager.h"
#include "platform/Plist.h"
#include "utility/ProductLocations.h"

#include <QFile>
#include <QFileInfo>
#include <QTimer>
#include <QVariantMap>

namespace {

const QString kDescription = QStringLiteral("description");
const QString kContact = QStringLiteral("contact");
const QString kPictures = QStringLiteral("pictures");

bool isText(const QVariant& value) {
    return !value.isValid() || value.metaType().id() == QMetaType::QString;
}

// The draft a dictionary holds, or none when a value has the wrong type.
std::optional<ZQFeedbackDraftContent> contentOf(const QVariantMap& map) {
    const QVariant description = map.value(kDescription);
    const QVariant contact = map.value(kContact);
    const QVariant pictures = map.value(kPictures);
    if (!isText(description) || !isText(contact)) {
        return std::nullopt;
    }
    ZQFeedbackDraftContent content{description.toString(), contact.toString(), {}};
    if (pictures.isValid()) {
        if (pictures.metaType().id() != QMetaType::QVariantList) {
            return std::nullopt;
        }
        const QVariantList list = pictures.toList();
        for (const QVariant& path : list) {
            if (path.metaType().id() != QMetaType::QString) {
                return std::nullopt;
            }
            content.pictures.append(path.toString());
        }
    }
    return content;
}

}  // namespace

ZQFeedbackDraft::ZQFeedbackDraft(QString path)
    : _path(path.isEmpty() ? defaultPath() : std::move(path)) {}

QString ZQFeedbackDraft::defaultPath() {
    return ZQGetUserLibAppSupportFolder() + QStringLiteral("/feedbackDraft.plist");
}

std::optional<ZQFeedbackDraftContent> ZQFeedbackDraft::load() const {
    if (!QFileInfo::exists(_path)) {
        return std::nullopt;
    }
    QString error;
    const std::optional<QVariantMap> map = platform::Plist::readDictionary(_path, &error);
    std::optional<ZQFeedbackDraftContent> content;
    if (map) {
        content = contentOf(*map);
    }
    if (!content) {
        const QString aside = _path + QStringLiteral(".unreadable");
        QFile::remove(aside);
        const bool moved = QFile::rename(_path, aside);
        const QString message =
            QStringLiteral("feedback draft unreadable (%1), %2 %3")
                .arg(error.isEmpty() ? QStringLiteral("unexpected values") : error,
                     moved ? QStringLiteral("set aside as")
                           : QStringLiteral("could not be moved to"),
                     aside);
        qCWarning(lcHelpModels).noquote() << message;
        ZQ_RUN_LOG(ZQLogType::Utility, message);
    }
    return content;
}

bool ZQFeedbackDraft::save(const ZQFeedbackDraftContent& content) const {
    if (content.isEmpty()) {
        remove();
        return true;
    }
    const QVariantMap map{{kDescription, content.description},
                          {kContact, content.contact},
                          {kPictures, QVariant(content.pictures).toList()}};
    QString error;
    if (!platform::Plist::writeFile(_path, map, platform::Plist::Format::Xml, &error)) {
        qCWarning(lcHelpModels) << "feedback draft not saved:" << error;
        return false;
    }
    return true;
}

void ZQFeedbackDraft::remove() const {
    QFile::remove(_path);
}

ZQTimerDebounce::ZQTimerDebounce(int quietMs) : _timer(std::make_unique<QTimer>()) {
    _timer->setSingleShot(true);
    _timer->setInterval(quietMs);
    QObject::connect(_timer.get(), &QTimer::timeout, _timer.get(), [this] {
        if (auto job = std::exchange(_job, nullptr)) {
            job();
        }
    });
}

ZQTimerDebounce::~ZQTimerDebounce() = default;

void ZQTimerDebounce::start(std::function<void()> job) {
    _job = std::move(job);
    _timer->start();
}

void ZQTimerDebounce::cancel() {
    _timer->stop();
    _job = nullptr;
}

bool ZQTimerDebounce::isPending() const {
    return _timer->isActive();
}
