#pragma once

// Helpers shared by the crypto tests: running other implementations (the
// openssl command line, Python) as child processes, and test data paths.

#include <QByteArray>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QString>
#include <QStringList>

namespace cryptotest {

struct ProcessResult {
    bool started = false;
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

// Runs a program to completion (bounded by `timeoutMs`), feeding `input` on
// standard input.
inline ProcessResult run(const QString& program, const QStringList& arguments,
                         const QByteArray& input = {}, int timeoutMs = 60000) {
    ProcessResult result;
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForStarted(timeoutMs)) {
        return result;
    }
    result.started = true;
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished(5000);
        return result;
    }
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    return result;
}

// `length` bytes from a generator seeded with `seed`.
inline QByteArray pseudoRandom(int length, quint32 seed) {
    QRandomGenerator generator(seed);
    QByteArray data(length, Qt::Uninitialized);
    for (int i = 0; i < length; ++i) {
        data[i] = char(generator.bounded(256));
    }
    return data;
}

inline QByteArray readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline bool writeAll(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
           file.write(bytes) == bytes.size();
}

inline QString openssl() {
    return QStandardPaths::findExecutable(QStringLiteral("openssl"));
}
inline QString python() {
    return QStandardPaths::findExecutable(QStringLiteral("python3"));
}

// Runs a Python snippet with `input` on standard input.
inline ProcessResult runPython(const QString& code, const QByteArray& input = {}) {
    return run(python(), {QStringLiteral("-c"), code}, input);
}

inline QString sourcePath(const QString& relative) {
    return QStringLiteral(ZQ_SOURCE_DIR "/") + relative;
}

inline QString dataPath(const QString& name) {
    return sourcePath(QStringLiteral("tests/data/crypto/") + name);
}

inline QString devPrivateKeyPath() {
    return sourcePath(QStringLiteral("tools/devkeys/dev_rsa_private.pem"));
}

}  // namespace cryptotest
