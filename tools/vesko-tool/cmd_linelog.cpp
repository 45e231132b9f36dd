// vesko-tool linelog: appends a line to a line log of the temporary log folder.

#include "log/ZQLogFileWriters.h"
#include "tools/vesko-tool/Command.h"

#include <QDBusConnection>
#include <QDBusMessage>

namespace {

using vesko::tool::usageError;
using vesko::tool::wantsHelp;

const char kUsage[] =
    "usage: vesko-tool linelog append TEXT [--file NAME]\n"
    "\n"
    "Appends TEXT as the next numbered line of the line log (the temporary log\n"
    "folder's NAME, default \"macime_vesko-tool.log\"): an XML property-list array\n"
    "that starts again at line 1 once it holds 501 lines. The line is also posted\n"
    "as the distributed notification \"kZQShowImeLog\" {\"log\": line}.\n";

int runLineLog(const QStringList& args) {
    if (wantsHelp(args, kUsage)) {
        return 0;
    }
    QStringList rest = args;
    QString file;
    const qsizetype at = rest.indexOf(QStringLiteral("--file"));
    if (at >= 0) {
        if (at + 1 >= rest.size()) {
            return usageError(QStringLiteral("--file needs a NAME"), kUsage);
        }
        file = rest.at(at + 1);
        rest.remove(at, 2);
    }
    if (rest.size() != 2 || rest.at(0) != u"append") {
        return usageError(QStringLiteral("expected append TEXT"), kUsage);
    }
    RecordLogToFile(file, rest.at(1));
    // A round trip to the bus daemon after the post: the daemon handles one
    // connection's messages in order, so the notification has gone out.
    const QDBusMessage getId = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetId"));
    QDBusConnection::sessionBus().call(getId, QDBus::Block, 5000);
    return 0;
}

const vesko::tool::ToolCommand kCommand{"linelog", "append a line to a line log", kUsage,
                                        &runLineLog};

}  // namespace
