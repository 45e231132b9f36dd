#pragma once

// Pieces shared by the process table, the openers and the notify server's
// client (not a public API).

#include <QDBusConnection>
#include <QString>

namespace zq::utility::detail {

inline QString str(const char* text) {
    return QString::fromUtf8(text);
}

// Whether `name` has an owner on `bus`, asked with a wait of at most timeoutMs.
bool nameHasOwner(const QDBusConnection& bus, const QString& name, int timeoutMs);

}  // namespace zq::utility::detail
