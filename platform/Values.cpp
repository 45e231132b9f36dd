#include "platform/Values.h"

#include <QDateTime>
#include <QLocale>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>

#include <cmath>
#include <limits>

namespace platform {
namespace {

QString indented(const QString& text, int level) {
    const QString pad(4 * level, u' ');
    return pad + text;
}

QString describe(const QVariant& value, int level) {
    if (!value.isValid()) {
        return QStringLiteral("(null)");
    }
    switch (value.metaType().id()) {
        case QMetaType::Nullptr:
            return QStringLiteral("<null>");
        case QMetaType::Bool:
            return value.toBool() ? QStringLiteral("1") : QStringLiteral("0");
        case QMetaType::Int:
        case QMetaType::Long:
        case QMetaType::LongLong:
        case QMetaType::Short:
        case QMetaType::Char:
        case QMetaType::SChar:
            return QString::number(value.toLongLong());
        case QMetaType::UInt:
        case QMetaType::ULong:
        case QMetaType::ULongLong:
        case QMetaType::UShort:
        case QMetaType::UChar:
            return QString::number(value.toULongLong());
        case QMetaType::Double:
        case QMetaType::Float:
            return QString::number(value.toDouble(), 'g', QLocale::FloatingPointShortest);
        case QMetaType::QString:
            return value.toString();
        case QMetaType::QByteArray: {
            const QByteArray hex = value.toByteArray().toHex();
            QStringList groups;
            for (qsizetype i = 0; i < hex.size(); i += 8) {
                groups << QString::fromLatin1(hex.mid(i, 8));
            }
            return u'<' + groups.join(u' ') + u'>';
        }
        case QMetaType::QDateTime:
            return value.toDateTime().toUTC().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss +0000"));
        case QMetaType::QVariantList:
        case QMetaType::QStringList: {
            const QVariantList list = value.toList();
            QString out = QStringLiteral("(\n");
            for (qsizetype i = 0; i < list.size(); ++i) {
                out += indented(describe(list[i], level + 1), level + 1);
                out += i + 1 < list.size() ? QStringLiteral(",\n") : QStringLiteral("\n");
            }
            return out + indented(QStringLiteral(")"), level);
        }
        case QMetaType::QVariantMap: {
            const QVariantMap map = value.toMap();
            QString out = QStringLiteral("{\n");
            for (auto it = map.cbegin(); it != map.cend(); ++it) {
                out += indented(it.key() + QStringLiteral(" = ") + describe(it.value(), level + 1) +
                                    QStringLiteral(";\n"),
                                level + 1);
            }
            return out + indented(QStringLiteral("}"), level);
        }
        default:
            return value.toString();
    }
}

}  // namespace

QString textForm(const QVariant& value) {
    return describe(value, 0);
}

qint64 integerValueOfText(const QString& text) {
    qsizetype i = 0;
    const qsizetype n = text.size();
    while (i < n && text[i].isSpace()) {
        ++i;
    }
    bool negative = false;
    if (i < n && (text[i] == u'+' || text[i] == u'-')) {
        negative = text[i] == u'-';
        ++i;
    }
    // Accumulate as a negative number, whose range is the larger one.
    constexpr qint64 kMin = std::numeric_limits<qint64>::min();
    constexpr qint64 kMax = std::numeric_limits<qint64>::max();
    qint64 value = 0;
    bool overflow = false;
    for (; i < n && text[i] >= u'0' && text[i] <= u'9'; ++i) {
        const int digit = text[i].unicode() - u'0';
        if (overflow) {
            continue;
        }
        if (value < (kMin + digit) / 10) {
            overflow = true;
            continue;
        }
        value = value * 10 - digit;
    }
    if (overflow) {
        return negative ? kMin : kMax;
    }
    if (negative) {
        return value;
    }
    return value == kMin ? kMax : -value;
}

qint64 integerValue(const QVariant& value) {
    if (isAbsentOrNull(value)) {
        return 0;
    }
    switch (value.metaType().id()) {
        case QMetaType::Bool:
            return value.toBool() ? 1 : 0;
        case QMetaType::Double:
        case QMetaType::Float: {
            const double d = value.toDouble();
            if (std::isnan(d)) {
                return 0;
            }
            if (d >= 9223372036854775807.0) {
                return std::numeric_limits<qint64>::max();
            }
            if (d <= -9223372036854775808.0) {
                return std::numeric_limits<qint64>::min();
            }
            return qint64(d);
        }
        case QMetaType::QString:
            return integerValueOfText(value.toString());
        case QMetaType::QByteArray:
        case QMetaType::QVariantList:
        case QMetaType::QVariantMap:
        case QMetaType::QStringList:
            return 0;
        case QMetaType::ULongLong:
        case QMetaType::ULong:
            return value.toULongLong() > quint64(std::numeric_limits<qint64>::max())
                       ? std::numeric_limits<qint64>::max()
                       : qint64(value.toULongLong());
        default: {
            bool ok = false;
            const qint64 v = value.toLongLong(&ok);
            return ok ? v : 0;
        }
    }
}

bool boolValueOfText(const QString& text) {
    qsizetype i = 0;
    const qsizetype n = text.size();
    while (i < n && text[i].isSpace()) {
        ++i;
    }
    if (i < n && (text[i] == u'+' || text[i] == u'-')) {
        ++i;
    }
    while (i < n && text[i] == u'0') {
        ++i;
    }
    if (i >= n) {
        return false;
    }
    const QChar c = text[i];
    return c == u'Y' || c == u'y' || c == u'T' || c == u't' || (c >= u'1' && c <= u'9');
}

bool boolValue(const QVariant& value) {
    if (isAbsentOrNull(value)) {
        return false;
    }
    switch (value.metaType().id()) {
        case QMetaType::Bool:
            return value.toBool();
        case QMetaType::Double:
        case QMetaType::Float:
            return value.toDouble() != 0.0;
        case QMetaType::QString:
            return boolValueOfText(value.toString());
        case QMetaType::QByteArray:
        case QMetaType::QVariantList:
        case QMetaType::QVariantMap:
        case QMetaType::QStringList:
            return false;
        default:
            return integerValue(value) != 0;
    }
}

bool isAbsentOrNull(const QVariant& value) {
    return !value.isValid() || value.metaType().id() == QMetaType::Nullptr;
}

namespace {

// Numbers of a property list: integers, reals and booleans.
bool isNumber(const QVariant& value) {
    switch (value.metaType().id()) {
        case QMetaType::Bool:
        case QMetaType::Int:
        case QMetaType::UInt:
        case QMetaType::Long:
        case QMetaType::ULong:
        case QMetaType::LongLong:
        case QMetaType::ULongLong:
        case QMetaType::Short:
        case QMetaType::UShort:
        case QMetaType::Double:
        case QMetaType::Float:
            return true;
        default:
            return false;
    }
}

}  // namespace

std::optional<qint64> numberValue(const QVariant& value) {
    return isNumber(value) ? std::optional<qint64>(integerValue(value)) : std::nullopt;
}

std::optional<QString> scalarText(const QVariant& value) {
    if (value.metaType().id() == QMetaType::QString) {
        return value.toString();
    }
    if (isNumber(value) || value.metaType().id() == QMetaType::QDateTime) {
        return textForm(value);
    }
    return std::nullopt;
}

}  // namespace platform
