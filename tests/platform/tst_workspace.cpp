// The process list, launching a bundle's executable with arguments, and
// opening addresses without blocking the caller.

#include "platform/Workspace.h"
#include "tests/platform/PlatformTestSupport.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QUuid>

#include <algorithm>

using namespace platform;

namespace {

bool listed(const QString& text) {
    const QStringList lines = ProcessList::commandLines();
    return std::any_of(lines.cbegin(), lines.cend(),
                       [&text](const QString& line) { return line.contains(text); });
}

}  // namespace

class TestWorkspace : public QObject {
    Q_OBJECT

private slots:
    void cleanup() { Workspace::setUrlOpener({}); }

    void processListSeesAChildAndItsEnd() {
        const QString marker = QStringLiteral("zq-marker %1 with spaces")
                                   .arg(QUuid::createUuid().toString(QUuid::Id128));
        QVERIFY(!listed(marker));
        {
            zq::test::MarkerProcess child(marker);
            QVERIFY(child.isStarted());
            // Arguments are joined by single spaces.
            QVERIFY(listed(QStringLiteral("/bin/sh -c read line ") + marker));
            child.stop();
        }
        QVERIFY(!listed(marker));
    }

    void launchPassesArguments_data() {
        QTest::addColumn<QString>("bundleName");
        QTest::addColumn<QStringList>("arguments");

        QTest::newRow("no arguments") << "Tool.app" << QStringList{};
        QTest::newRow("spaces, quotes and an empty argument")
            << "Tool.app" << QStringList{"-/tmp/a b/Vesko 6.pkg", "", "it's \"quoted\"", "$HOME"};
        QTest::newRow("Chinese and a second hyphen") << "Tool.app" << QStringList{"-中文", "--x"};
        QTest::newRow("bundle path with a trailing slash") << "Tool.app/" << QStringList{"-1"};
        QTest::newRow("bundle folder with a space") << "My Tool.app" << QStringList{"-1", "-2"};
    }

    void launchPassesArguments() {
        QFETCH(QString, bundleName);
        QFETCH(QStringList, arguments);

        QTemporaryDir dir;
        QString bundle = dir.filePath(bundleName);
        const QString cleanBundle = QDir::cleanPath(bundle);
        QVERIFY(zq::test::makeRecordingBundle(cleanBundle));
        QCOMPARE(Workspace::executableForBundle(bundle), zq::test::bundleExecutable(cleanBundle));

        QString error;
        QVERIFY2(Workspace::launchApplication(bundle, arguments, &error), qPrintable(error));
        QTRY_VERIFY(zq::test::recordedArguments(cleanBundle).has_value());
        QCOMPARE(*zq::test::recordedArguments(cleanBundle), arguments);
    }

    void launchRefusesWhatCannotRun_data() {
        QTest::addColumn<QString>("kind");
        QTest::newRow("no bundle") << "missing";
        QTest::newRow("bundle without its executable") << "empty";
        QTest::newRow("executable without the execute right") << "noexec";
        QTest::newRow("executable is a folder") << "folder";
    }

    void launchRefusesWhatCannotRun() {
        QFETCH(QString, kind);
        QTemporaryDir dir;
        const QString bundle = dir.filePath("Broken.app");
        const QString executable = zq::test::bundleExecutable(bundle);
        if (kind == u"empty") {
            QVERIFY(QDir().mkpath(bundle + QStringLiteral("/Contents/MacOS")));
        } else if (kind == u"noexec") {
            QVERIFY(zq::test::makeRecordingBundle(bundle));
            QVERIFY(QFile::setPermissions(executable, QFile::ReadOwner | QFile::WriteOwner));
        } else if (kind == u"folder") {
            QVERIFY(QDir().mkpath(executable));
        }
        QString error;
        QVERIFY(!Workspace::launchApplication(bundle, {QStringLiteral("-ZQAbout")}, &error));
        QVERIFY2(error.contains(executable), qPrintable(error));
    }

    void openUrlReturnsBeforeTheHandlerRuns() {
        QList<QUrl> opened;
        QList<QThread*> handlerThreads;
        Workspace::setUrlOpener([&](const QUrl& url) {
            opened.append(url);
            handlerThreads.append(QThread::currentThread());
            return url.scheme() == u"https";
        });
        QObject context;
        QList<bool> outcomes;
        QList<QThread*> doneThreads;
        const auto done = [&](bool ok) {
            outcomes.append(ok);
            doneThreads.append(QThread::currentThread());
        };
        Workspace::openUrl(QUrl("https://vesko.example/a"), &context, done);
        Workspace::openUrl(QUrl("nohandler:x"), &context, done);
        Workspace::openUrl(QUrl("https://vesko.example/b"));  // no context, no completion
        QVERIFY2(opened.isEmpty(), "the handler runs on a later turn of the event loop");
        QVERIFY(outcomes.isEmpty());

        QTRY_COMPARE(opened.size(), 3);
        QCOMPARE(opened, (QList<QUrl>{QUrl(QStringLiteral("https://vesko.example/a")),
                                      QUrl("nohandler:x"), QUrl("https://vesko.example/b")}));
        QCOMPARE(outcomes, (QList<bool>{true, false}));
        for (QThread* thread : std::as_const(doneThreads) + handlerThreads) {
            QCOMPARE(thread, QCoreApplication::instance()->thread());
        }
    }

    void openUrlSkipsTheCompletionOfADestroyedContext() {
        Workspace::setUrlOpener([](const QUrl&) { return true; });
        int completions = 0;
        {
            QObject context;
            Workspace::openUrl(QUrl("https://vesko.example/gone"), &context,
                               [&](bool) { ++completions; });
        }
        QObject survivor;
        bool survivorDone = false;
        Workspace::openUrl(QUrl("https://vesko.example/kept"), &survivor,
                           [&](bool) { survivorDone = true; });
        QTRY_VERIFY(survivorDone);
        QCOMPARE(completions, 0);
    }
};

QTEST_GUILESS_MAIN(TestWorkspace)
#include "tst_workspace.moc"
