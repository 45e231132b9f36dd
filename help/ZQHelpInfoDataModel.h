#pragma once

#include <QList>
#include <QString>
#include <QVariant>
#include <QVariantMap>

#include <optional>

// One help entry: a question with a short answer, a longer explanation and a
// picture, as the help list service publishes it and the help cache keeps it.
class ZQHelpInfoDataModel {
public:
    ZQHelpInfoDataModel() = default;
    // initWithDictionary: fills the first six fields from "type", "id",
    // "title", "brief", "detail" and "image" (a missing key, or a JSON null,
    // leaves the field empty; other values are taken in their text form, and
    // "type" as the integer value of whatever is stored), then derives
    // imageSuffix.
    explicit ZQHelpInfoDataModel(const QVariantMap& dictionary);

    // Entry layout: 1 (title, brief, detail, picture), 2 (title, brief,
    // picture), 3 (title, detail, picture); anything else shows nothing.
    qint64 dataType = 0;
    QString helpId;
    QString titleText;
    QString briefText;
    QString detailText;
    QString imageUrl;
    // ".jpg", ".png" or ".gif" when imageUrl (at least 5 characters) ends in
    // one of them, compared case-sensitively; none otherwise.
    std::optional<QString> imageSuffix;

    // True when the fields the entry's layout needs are all non-empty: the
    // test an entry from the web service must pass to be shown.
    bool hasRequiredFieldsForLayout() const;

    // The suffix rule on its own.
    static std::optional<QString> imageSuffixForUrl(const QString& imageUrl);

    bool operator==(const ZQHelpInfoDataModel&) const = default;
};

using ZQHelpInfoDataList = QList<ZQHelpInfoDataModel>;

Q_DECLARE_METATYPE(ZQHelpInfoDataModel)
