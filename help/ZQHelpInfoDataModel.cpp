#include "help/ZQHelpInfoDataModel.h"

#include "platform/Values.h"

namespace {

// A present value in its text form; an absent key or a JSON null leaves the
// field empty.
QString textField(const QVariantMap& dictionary, const QString& key) {
    const QVariant value = dictionary.value(key);
    return platform::isAbsentOrNull(value) ? QString() : platform::textForm(value);
}

}  // namespace

ZQHelpInfoDataModel::ZQHelpInfoDataModel(const QVariantMap& dictionary)
    : dataType(platform::integerValue(dictionary.value(QStringLiteral("type")))),
      helpId(textField(dictionary, QStringLiteral("id"))),
      titleText(textField(dictionary, QStringLiteral("title"))),
      briefText(textField(dictionary, QStringLiteral("brief"))),
      detailText(textField(dictionary, QStringLiteral("detail"))),
      imageUrl(textField(dictionary, QStringLiteral("image"))),
      imageSuffix(imageSuffixForUrl(imageUrl)) {}

std::optional<QString> ZQHelpInfoDataModel::imageSuffixForUrl(const QString& imageUrl) {
    if (imageUrl.size() < 5) {
        return std::nullopt;
    }
    const QString last = imageUrl.right(4);
    if (last == u".jpg" || last == u".png" || last == u".gif") {
        return last;
    }
    return std::nullopt;
}

bool ZQHelpInfoDataModel::hasRequiredFieldsForLayout() const {
    const bool picture = !imageUrl.isEmpty() && imageSuffix.has_value() && !imageSuffix->isEmpty();
    switch (dataType) {
        case 1:
            return !titleText.isEmpty() && !briefText.isEmpty() && !detailText.isEmpty() && picture;
        case 2:
            return !titleText.isEmpty() && !briefText.isEmpty() && picture;
        case 3:
            return !titleText.isEmpty() && !detailText.isEmpty() && picture;
        default:
            return false;
    }
}
