#pragma once

#include <QString>
#include <QVariant>

namespace zq::stats {

// The integer a stored count stands for, as the input method's processes read
// it: a real is truncated, text is read as its leading decimal number (after
// blanks and a sign), anything else counts as its integer value or 0.
inline qint64 integerValue(const QVariant& value) {
    switch (value.typeId()) {
        case QMetaType::Double:
        case QMetaType::Float:
            return static_cast<qint64>(value.toDouble());
        case QMetaType::QString: {
            const QString text = value.toString().trimmed();
            qsizetype end = 0;
            if (end < text.size() && (text[end] == u'-' || text[end] == u'+')) {
                ++end;
            }
            while (end < text.size() && text[end] >= u'0' && text[end] <= u'9') {
                ++end;
            }
            return text.left(end).toLongLong();
        }
        default:
            return value.toLongLong();
    }
}

}  // namespace zq::stats
