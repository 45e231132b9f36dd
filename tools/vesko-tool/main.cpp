#include "tools/vesko-tool/Command.h"

#include "platform/Translations.h"

#include <QCoreApplication>
#include <QFile>

#include <cstdio>
#include <map>
#include <string>

namespace vesko::tool {
namespace {

struct Entry {
    QString summary;
    QString usage;
    RunFunction run;
};

std::map<QString, Entry>& registry() {
    static std::map<QString, Entry> commands;
    return commands;
}

}  // namespace

ToolCommand::ToolCommand(const char* name, const char* summary, const char* usage,
                         RunFunction run) {
    registry()[QString::fromUtf8(name)] = {QString::fromUtf8(summary), QString::fromUtf8(usage),
                                           std::move(run)};
}

QTextStream& out() {
    static QTextStream stream(stdout);
    return stream;
}

QTextStream& err() {
    static QTextStream stream(stderr);
    return stream;
}

bool wantsHelp(const QStringList& args, const char* usage) {
    if (!args.isEmpty() && (args.first() == u"--help" || args.first() == u"-h")) {
        out() << usage;
        out().flush();
        return true;
    }
    return false;
}

int usageError(const QString& message, const char* usage) {
    err() << "vesko-tool: " << message << '\n';
    if (usage) {
        err() << usage;
    }
    err().flush();
    return 2;
}

int fail(const QString& message) {
    err() << "vesko-tool: " << message << '\n';
    err().flush();
    return 1;
}

QByteArray readStdin() {
    QFile in;
    if (!in.open(stdin, QIODevice::ReadOnly)) {
        return {};
    }
    return in.readAll();
}

}  // namespace vesko::tool

namespace {

void printTopUsage(QTextStream& stream) {
    stream << "usage: vesko-tool COMMAND [ARGS...]\n\n"
              "Diagnostics for the Vesko input method's shared client code.\n\ncommands:\n";
    for (const auto& [name, entry] : vesko::tool::registry()) {
        stream << "  " << name.leftJustified(14) << entry.summary << '\n';
    }
    stream << "\n'vesko-tool COMMAND --help' describes one command.\n";
    stream.flush();
}

}  // namespace

int main(int argc, char* argv[]) {
    // The arguments are the tool's own; the application object gets only the
    // program's path, so that none of them (a page parameter such as
    // "-qmljsdebugger=...") is taken by Qt as an option of its own.
    QStringList args;
    for (int i = 1; i < argc; ++i) {
        args << QString::fromLocal8Bit(argv[i]);
    }
    static int qtArgc = 1;
    static char* qtArgv[] = {argv[0], nullptr};
    QCoreApplication app(qtArgc, qtArgv);
    QCoreApplication::setApplicationName(QStringLiteral("vesko-tool"));
    platform::installTranslations(&app);
    if (args.isEmpty()) {
        printTopUsage(vesko::tool::err());
        return 2;
    }
    const QString name = args.takeFirst();
    if (name == u"--help" || name == u"-h") {
        printTopUsage(vesko::tool::out());
        return 0;
    }
    const auto it = vesko::tool::registry().find(name);
    if (it == vesko::tool::registry().end()) {
        vesko::tool::err() << "vesko-tool: unknown command '" << name << "'\n";
        printTopUsage(vesko::tool::err());
        return 2;
    }
    return it->second.run(args);
}
