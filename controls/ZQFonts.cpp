#include "controls/ZQFonts.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QHash>
#include <QStringList>

#include <cmath>

namespace zq::controls {

namespace {

struct FontName {
    QString family;
    QFont::Weight weight = QFont::Normal;
};

// "PingFangSC-Medium" → family "PingFang SC", weight Medium.
FontName parseName(const QString& name) {
    static const QHash<QString, QFont::Weight> weights = {
        {QStringLiteral("Ultralight"), QFont::ExtraLight},
        {QStringLiteral("Thin"), QFont::Thin},
        {QStringLiteral("Light"), QFont::Light},
        {QStringLiteral("Regular"), QFont::Normal},
        {QStringLiteral("Medium"), QFont::Medium},
        {QStringLiteral("Semibold"), QFont::DemiBold},
        {QStringLiteral("Bold"), QFont::Bold},
    };
    FontName result;
    QString family = name;
    const int dash = name.lastIndexOf(QLatin1Char('-'));
    if (dash > 0) {
        const QString style = name.mid(dash + 1);
        auto it = weights.constFind(style);
        if (it != weights.constEnd()) {
            result.weight = *it;
            family = name.left(dash);
        }
    }
    if (family == QLatin1String("PingFangSC")) {
        family = QStringLiteral("PingFang SC");
    }
    result.family = family;
    return result;
}

// Whether a family of exactly that name is installed. The installed
// families are listed once; QFontDatabase::hasFamily would also resolve
// the name through fontconfig's substitution rules, which costs more than
// everything else a page does before its first paint.
bool hasFamily(const QString& family) {
    static const QStringList installed = QFontDatabase::families();
    return installed.contains(family, Qt::CaseInsensitive);
}

void setSize(QFont* font, qreal size) {
    // One point is one device-independent pixel.
    font->setPixelSize(std::max(1, int(std::lround(size))));
}

QFont make(const QString& family, QFont::Weight weight, qreal size) {
    QFont font(family);
    font.setWeight(weight);
    setSize(&font, size);
    font.setStyleStrategy(QFont::PreferAntialias);
    return font;
}

const QString kCjkFamily = QStringLiteral("Noto Sans CJK SC");

}  // namespace

QFont namedFontOr(const QString& name, qreal size, const QFont& fallback) {
    const FontName parsed = parseName(name);
    if (hasFamily(parsed.family)) {
        return make(parsed.family, parsed.weight, size);
    }
    QFont font = fallback;
    setSize(&font, size);
    return font;
}

QFont namedFont(const QString& name, qreal size) {
    const FontName parsed = parseName(name);
    if (hasFamily(parsed.family)) {
        return make(parsed.family, parsed.weight, size);
    }
    if (parsed.family.startsWith(QLatin1String("PingFang")) && hasFamily(kCjkFamily)) {
        return make(kCjkFamily, parsed.weight, size);
    }
    QFont font = systemFont(size);
    font.setWeight(parsed.weight);
    return font;
}

QFont systemFont(qreal size) {
    // The application's UI is Chinese: the CJK face when installed, so that
    // Latin and Chinese characters share one design.
    QFont font = hasFamily(kCjkFamily) ? QFont(kCjkFamily) : QGuiApplication::font();
    font.setWeight(QFont::Normal);
    setSize(&font, size);
    return font;
}

QFont boldSystemFont(qreal size) {
    QFont font = systemFont(size);
    font.setWeight(QFont::Bold);
    return font;
}

qreal fontAscender(const QFont& font) {
    return QFontMetricsF(font).ascent();
}

qreal fontDescender(const QFont& font) {
    return QFontMetricsF(font).descent();
}

qreal defaultLineHeight(const QFont& font) {
    return QFontMetricsF(font).lineSpacing();
}

}  // namespace zq::controls
