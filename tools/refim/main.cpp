// VeskoService: the reference input-method service. It stands in for the
// input method's side of the messages the assist panel's About, evaluation
// and debug-mode pages exchange with it (docs/refim.md).

#include "tools/refim/Journal.h"
#include "tools/refim/RefInputMethod.h"
#include "utility/ZQSiblingApps.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDBusConnection>
#include <QSocketNotifier>
#include <QTextStream>

#include <sys/socket.h>
#include <unistd.h>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstring>
#include <optional>

namespace {

using zq::refim::Answer;
using zq::refim::Options;

const char kDescription[] =
    "The reference input-method service: answers the assist panel's update check,\n"
    "installs the offered version into the installed Info.plist, records the\n"
    "debug-mode period in the cloud statistics store, and serves the notify server\n"
    "com.vesko.NotifyServer, on the D-Bus session bus.\n"
    "Prints \"ready com.vesko.NotifyServer NAME\" (NAME: its unique bus name) once\n"
    "it is on the bus. SIGTERM and SIGINT end it with status 0; bad options give\n"
    "status 2, a bus it cannot use status 1.";

constexpr double kMaxInstallSeconds = 86400;

void err(const QString& message) {
    QTextStream(stderr) << "VeskoService: " << message << "\n";
}

std::optional<Answer> answerNamed(const QString& text) {
    if (text == u"ok") {
        return Answer::Ok;
    }
    if (text == u"fail") {
        return Answer::Fail;
    }
    if (text == u"silent") {
        return Answer::Silent;
    }
    return std::nullopt;
}

// The options, or nullopt after an error message.
std::optional<Options> parseOptions(const QCoreApplication& app) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QString::fromUtf8(kDescription));
    parser.addHelpOption();
    const QCommandLineOption remoteVersion(
        QStringLiteral("remote-version"),
        QStringLiteral("The version the update check offers and the installation installs "
                       "(default %1, the newest version the reference web service announces).")
            .arg(QStringLiteral(ZQ_REFIM_DEFAULT_REMOTE_VERSION)),
        QStringLiteral("V"), QStringLiteral(ZQ_REFIM_DEFAULT_REMOTE_VERSION));
    const QCommandLineOption installSeconds(
        QStringLiteral("install-seconds"),
        QStringLiteral("How long an installation takes, in seconds; fractions allowed "
                       "(default 3)."),
        QStringLiteral("N"), QStringLiteral("3"));
    const QCommandLineOption check(
        QStringLiteral("check"),
        QStringLiteral("How the update check is answered: ok (the version), fail (an answer "
                       "without payload), silent (no answer). Default ok."),
        QStringLiteral("ok|fail|silent"), QStringLiteral("ok"));
    const QCommandLineOption install(
        QStringLiteral("install"),
        QStringLiteral("How an installation ends: ok (Info.plist rewritten, result \"1\"), fail "
                       "(result \"0\", nothing written), silent (no answer). Default ok."),
        QStringLiteral("ok|fail|silent"), QStringLiteral("ok"));
    const QCommandLineOption journal(
        QStringLiteral("journal"),
        QStringLiteral("Append one JSON line per notification received or posted, per notify-"
                       "server call and per value written to FILE."),
        QStringLiteral("FILE"));
    parser.addOptions({remoteVersion, installSeconds, check, install, journal});

    if (!parser.parse(app.arguments())) {
        err(parser.errorText());
        return std::nullopt;
    }
    if (parser.isSet(QStringLiteral("help"))) {
        parser.showHelp(0);
    }
    if (!parser.positionalArguments().isEmpty()) {
        err(QStringLiteral("unexpected argument '%1'").arg(parser.positionalArguments().first()));
        return std::nullopt;
    }
    Options options;
    options.remoteVersion = parser.value(remoteVersion).trimmed();
    if (options.remoteVersion.isEmpty()) {
        err(QStringLiteral("--remote-version needs a version"));
        return std::nullopt;
    }
    bool ok = false;
    options.installSeconds = parser.value(installSeconds).toDouble(&ok);
    if (!ok || !std::isfinite(options.installSeconds) || options.installSeconds < 0 ||
        options.installSeconds > kMaxInstallSeconds) {
        err(QStringLiteral("--install-seconds needs a number of seconds from 0 to %1, not '%2'")
                .arg(kMaxInstallSeconds)
                .arg(parser.value(installSeconds)));
        return std::nullopt;
    }
    const std::optional<Answer> checkAnswer = answerNamed(parser.value(check));
    const std::optional<Answer> installAnswer = answerNamed(parser.value(install));
    if (!checkAnswer || !installAnswer) {
        err(QStringLiteral("--check and --install take ok, fail or silent"));
        return std::nullopt;
    }
    options.check = *checkAnswer;
    options.install = *installAnswer;
    options.journalPath = parser.value(journal);
    return options;
}

int signalPipe[2] = {-1, -1};

void onTerminationSignal(int) {
    const int saved = errno;
    const char byte = 1;
    [[maybe_unused]] const ssize_t written = ::write(signalPipe[1], &byte, 1);
    errno = saved;
}

// SIGINT and SIGTERM end the event loop through a socket it watches; the
// handler itself only writes one byte.
bool installTerminationHandlers(QObject* context) {
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, signalPipe) != 0) {
        return false;
    }
    auto* notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, context);
    QObject::connect(notifier, &QSocketNotifier::activated, context, [notifier] {
        notifier->setEnabled(false);
        QCoreApplication::exit(0);
    });
    struct sigaction action = {};
    action.sa_handler = onTerminationSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    return ::sigaction(SIGINT, &action, nullptr) == 0 &&
           ::sigaction(SIGTERM, &action, nullptr) == 0;
}

}  // namespace

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("VeskoService"));
    const std::optional<Options> options = parseOptions(app);
    if (!options) {
        return 2;
    }
    QObject context;
    if (!installTerminationHandlers(&context)) {
        err(QStringLiteral("cannot handle signals: ") + QString::fromLocal8Bit(strerror(errno)));
        return 1;
    }
    zq::refim::Journal journal;
    QString error;
    if (!journal.open(options->journalPath, &error)) {
        err(error);
        return 2;
    }
    const QDBusConnection bus = QDBusConnection::sessionBus();
    zq::refim::RefInputMethod service(*options, &journal, bus);
    if (!service.start(&error)) {
        err(error);
        return 1;
    }
    QTextStream(stdout) << "ready " << ZQNotifyVeskoInputProxy::kService << ' ' << bus.baseService()
                        << Qt::endl;
    return QCoreApplication::exec();
}
