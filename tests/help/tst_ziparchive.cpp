// ZipArchive against a zip implementation that is not ours: archives we write
// are read back by Python's zipfile and by unzip -t; archives Python writes
// (including hostile and broken ones) are read by us.

#include "help/ZipArchive.h"
#include "tests/help/HelpTestSupport.h"
#include "tests/help/ZipTestSupport.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

using helptest::readFile;
using helptest::writeFile;

namespace {

class RecordingDelegate : public ZipArchiveDelegate {
public:
    enum class Answer { Yes, No };
    explicit RecordingDelegate(Answer answer = Answer::Yes) : _answer(answer) {}
    void ErrorMessage(const QString& message) override { messages << message; }
    bool OverWriteOperation(const QString& path) override {
        asked << path;
        return _answer == Answer::Yes;
    }
    QStringList messages;
    QStringList asked;

private:
    Answer _answer;
};

// An archive to read, with a recording delegate.
struct Reader {
    RecordingDelegate delegate;
    ZipArchive zip;
    Reader() { zip.setDelegate(&delegate); }
};

// A delegate that answers nothing: the base class's defaults.
class SilentDelegate : public ZipArchiveDelegate {};

void setModified(const QString& path, const QDateTime& when) {
    QFile f(path);
    QVERIFY(f.open(QIODevice::ReadWrite));
    QVERIFY(f.setFileTime(when, QFileDevice::FileModificationTime));
}

// Bytes that do not compress to nothing, so deflate has real work.
QByteArray sampleBytes(int size, int seed) {
    QByteArray out(size, '\0');
    quint32 x = quint32(seed) * 2654435761u + 1;
    for (int i = 0; i < size; ++i) {
        x = x * 1103515245u + 12345u;
        out[i] = char((x >> 16) & 0x3F);
    }
    return out;
}

}  // namespace

class TestZipArchive : public QObject {
    Q_OBJECT

private slots:
    void init() {
        _dir = std::make_unique<QTemporaryDir>();
        QVERIFY(_dir->isValid());
    }

    void entryTimesFollowTheSourceFiles_data() {
        QTest::addColumn<QDateTime>("modified");
        QTest::addColumn<QString>("expected");  // Python's date_time, local time (UTC here)
        QTest::newRow("odd second rounds down")
            << QDateTime(QDate(2023, 12, 31), QTime(23, 59, 59), Qt::UTC) << "2023-12-31 23:59:58";
        QTest::newRow("before 1980 is clamped")
            << QDateTime(QDate(1975, 6, 1), QTime(12, 0, 0), Qt::UTC) << "1980-01-01 00:00:00";
    }

    void entryTimesFollowTheSourceFiles() {
        QFETCH(QDateTime, modified);
        QFETCH(QString, expected);
        QVERIFY(writeFile(path("src.bin"), "payload"));
        setModified(path("src.bin"), modified);
        ZipArchive zip;
        QVERIFY(zip.CreateZipFile2(path("t.zip")));
        QVERIFY(zip.addFileToZip(path("src.bin"), "src.bin"));
        QVERIFY(zip.CloseZipFile2());
        const QJsonArray infos = entriesOf("t.zip");
        QCOMPARE(infos.size(), 1);
        QCOMPARE(infos[0].toObject().value("date_time").toString(), expected);
    }

    // A missing source gives an empty entry; a folder, which has no bytes to
    // add, gives none.
    void missingAndUnreadableSources() {
        QVERIFY(QDir().mkpath(path("folder")));
        QVERIFY(writeFile(path("ok.txt"), "ok"));
        ZipArchive zip;
        QVERIFY(zip.CreateZipFile2(path("m.zip")));
        QVERIFY(zip.addFileToZip(path("does-not-exist.png"), "pic_001.png"));
        QVERIFY(!zip.addFileToZip(path("folder"), "folder.png"));
        QVERIFY(zip.addFileToZip(path("ok.txt"), "ok.txt"));
        QVERIFY(zip.CloseZipFile2());
        const QJsonArray infos = entriesOf("m.zip");
        QCOMPARE(infos.size(), 2);
        QCOMPARE(infos[0].toObject().value("name").toString(), QString("pic_001.png"));
        QCOMPARE(infos[0].toObject().value("file_size").toInt(), 0);
        QCOMPARE(infos[1].toObject().value("name").toString(), QString("ok.txt"));
    }

    void createReplacesExistingFileAndFailsWithoutFolder() {
        QVERIFY(writeFile(path("r.zip"), QByteArray(5000, 'Z')));
        QVERIFY(writeFile(path("s.txt"), "small"));
        ZipArchive zip;
        QVERIFY(zip.CreateZipFile2(path("r.zip")));
        QVERIFY(zip.addFileToZip(path("s.txt"), "s.txt"));
        QVERIFY(zip.CloseZipFile2());
        QVERIFY(QFileInfo(path("r.zip")).size() < 5000);
        QCOMPARE(entriesOf("r.zip").size(), 1);

        QVERIFY(!zip.CreateZipFile2(path("no/such/folder/r.zip")));
        QVERIFY(!zip.addFileToZip(path("s.txt"), "s.txt"));
        QVERIFY(!zip.CloseZipFile2());
    }

    void passwordEncryptsEntries() {
        const QByteArray secret = sampleBytes(3000, 7);
        QVERIFY(writeFile(path("p.bin"), secret));
        ZipArchive zip;
        QVERIFY(zip.CreateZipFile2(path("p.zip"), "s3cret!"));
        QVERIFY(zip.addFileToZip(path("p.bin"), "p.bin"));
        QVERIFY(zip.CloseZipFile2());

        const QJsonObject entry = entriesOf("p.zip", "s3cret!").at(0).toObject();
        QCOMPARE(entry.value("flag_bits").toInt() & 1, 1);
        QCOMPARE(QByteArray::fromBase64(entry.value("data").toString().toLatin1()), secret);
        QVERIFY(zipsupport::pythonListing(path("p.zip"), "wrong").contains("error"));

        // The password is cleared on close: the next archive is not encrypted.
        QVERIFY(zip.CreateZipFile2(path("plain.zip")));
        QVERIFY(zip.addFileToZip(path("p.bin"), "p.bin"));
        QVERIFY(zip.CloseZipFile2());
        const QJsonObject plain = entriesOf("plain.zip").at(0).toObject();
        QCOMPARE(plain.value("flag_bits").toInt() & 0x0801, 0);  // neither encrypted nor UTF-8
        QCOMPARE(plain.value("compress_type").toInt(), 8);
        QCOMPARE(QByteArray::fromBase64(plain.value("data").toString().toLatin1()), secret);
    }

    void nonAsciiPasswordRefusesEntry() {
        QVERIFY(writeFile(path("n.bin"), "data"));
        ZipArchive zip;
        QVERIFY(zip.CreateZipFile2(path("n.zip"), QString::fromUtf8("密码")));
        QVERIFY(!zip.addFileToZip(path("n.bin"), "n.bin"));
        QVERIFY(zip.CloseZipFile2());
        QCOMPARE(entriesOf("n.zip").size(), 0);
    }

    void destructorClosesOpenArchive() {
        QVERIFY(writeFile(path("d.txt"), "d"));
        {
            ZipArchive zip;
            QVERIFY(zip.CreateZipFile2(path("d.zip")));
            QVERIFY(zip.addFileToZip(path("d.txt"), "d.txt"));
        }
        QCOMPARE(zipsupport::pythonListing(path("d.zip")).value("testzip").toString(), QString());
        QVERIFY(zipsupport::unzipTestPasses(path("d.zip")));
    }

    void extractsArchiveWrittenByPython() {
        zipsupport::PythonZip source;
        source.add("a\\b.txt", "backslashed");
        source.add("dir/", "");
        source.add("dir/sub/c.txt", "deep");
        source.add(QString::fromUtf8("图片/说明.txt"), "unicode name");
        QVERIFY(source.write(path("py.zip")));

        Reader r;
        QVERIFY(r.zip.UnzipOpenFile(path("py.zip")));
        QVERIFY(r.zip.UnzipFileTo(path("out"), false));
        QVERIFY(r.zip.UnzipCloseFile());
        QCOMPARE(r.delegate.messages, QStringList());
        QCOMPARE(readFile(path("out/a/b.txt")), QByteArray("backslashed"));
        QVERIFY(QFileInfo(path("out/dir")).isDir());
        QCOMPARE(readFile(path("out/dir/sub/c.txt")), QByteArray("deep"));
        QCOMPARE(readFile(path(QString::fromUtf8("out/图片/说明.txt"))),
                 QByteArray("unicode name"));
        // The entry's time (written by Python as 2020-02-29 10:20:30) becomes the
        // file's modification time.
        QCOMPARE(QFileInfo(path("out/dir/sub/c.txt")).lastModified().toUTC(),
                 QDateTime(QDate(2020, 2, 29), QTime(10, 20, 30), Qt::UTC));
    }

    void overwriteRules_data() {
        QTest::addColumn<bool>("overWrite");
        QTest::addColumn<int>("delegateKind");  // 0 none, 1 silent, 2 answers yes, 3 answers no
        QTest::addColumn<bool>("expectReplaced");
        QTest::addColumn<bool>("expectAsked");
        QTest::newRow("flag set, delegate says no") << true << 3 << true << false;
        QTest::newRow("flag off, no delegate") << false << 0 << true << false;
        QTest::newRow("flag off, delegate does not answer") << false << 1 << true << false;
        QTest::newRow("flag off, delegate says yes") << false << 2 << true << true;
        QTest::newRow("flag off, delegate says no") << false << 3 << false << true;
    }

    void overwriteRules() {
        QFETCH(bool, overWrite);
        QFETCH(int, delegateKind);
        QFETCH(bool, expectReplaced);
        QFETCH(bool, expectAsked);
        zipsupport::PythonZip source;
        source.add("keep.txt", "from archive");
        source.add("new.txt", "fresh");
        QVERIFY(source.write(path("o.zip")));
        QVERIFY(writeFile(path("out/keep.txt"), "already here"));

        RecordingDelegate yes(RecordingDelegate::Answer::Yes);
        RecordingDelegate no(RecordingDelegate::Answer::No);
        SilentDelegate silent;
        ZipArchive zip;
        if (delegateKind == 1) {
            zip.setDelegate(&silent);
        } else if (delegateKind == 2) {
            zip.setDelegate(&yes);
        } else if (delegateKind == 3) {
            zip.setDelegate(&no);
        }
        QVERIFY(zip.UnzipOpenFile(path("o.zip")));
        QVERIFY(zip.UnzipFileTo(path("out"), overWrite));
        QCOMPARE(readFile(path("out/keep.txt")),
                 expectReplaced ? QByteArray("from archive") : QByteArray("already here"));
        QCOMPARE(readFile(path("out/new.txt")), QByteArray("fresh"));
        const QStringList asked = yes.asked + no.asked;
        QCOMPARE(asked, expectAsked ? QStringList{path("out/keep.txt")} : QStringList());
    }

    void unsafeNamesAreNotExtracted_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("escapesTo");  // relative to the temporary folder
        const auto row = [](const char* name, const QString& entry, const char* escapesTo) {
            QTest::newRow(name) << entry << QString(escapesTo);
        };
        row("parent inside", "a/../../evil.txt", "evil.txt");
        row("backslash parent", "..\\..\\evil.txt", "../evil.txt");
        // "{tmp}" stands for this case's temporary folder, made after the rows.
        row("absolute", "{tmp}/abs/evil.txt", "abs/evil.txt");
        row("absolute backslash", "\\{tmp}\\abs2\\evil.txt", "abs2/evil.txt");
        row("parent folder entry", "../evildir/", "evildir");
        row("bare parent", "..", "");
    }

    void unsafeNamesAreNotExtracted() {
        QFETCH(QString, name);
        QFETCH(QString, escapesTo);
        QString tmp = _dir->path();
        if (name.startsWith(u'\\')) {
            tmp = tmp.mid(1).replace(u'/', u'\\');
        }
        zipsupport::PythonZip source;
        source.add("before.txt", "1");
        source.add(name.replace(QStringLiteral("{tmp}"), tmp), "escaped");
        source.add("after.txt", "2");
        QVERIFY(source.write(path("slip.zip")));

        Reader r;
        QVERIFY(r.zip.UnzipOpenFile(path("slip.zip")));
        QVERIFY(QDir().mkpath(path("target/inner")));
        QVERIFY(r.zip.UnzipFileTo(path("target/inner"), true));
        QCOMPARE(readFile(path("target/inner/before.txt")), QByteArray("1"));
        QCOMPARE(readFile(path("target/inner/after.txt")), QByteArray("2"));
        if (!escapesTo.isEmpty()) {
            QVERIFY(!QFileInfo::exists(path(escapesTo)));
            QVERIFY(!QFileInfo::exists(path("target/" + escapesTo)));
        }
        QCOMPARE(r.delegate.messages.size(), 1);
        QVERIFY(r.delegate.messages[0].contains("outside the target folder"));
    }

    void symlinkedFolderDoesNotLeadOutside() {
        QVERIFY(QDir().mkpath(path("outside")));
        QVERIFY(QDir().mkpath(path("target")));
        QVERIFY(QFile::link(path("outside"), path("target/link")));
        zipsupport::PythonZip source;
        source.add("link/new/evil.txt", "escaped");
        source.add("link/evil2.txt", "escaped");
        source.add("ok.txt", "ok");
        QVERIFY(source.write(path("l.zip")));
        Reader r;
        QVERIFY(r.zip.UnzipOpenFile(path("l.zip")));
        QVERIFY(r.zip.UnzipFileTo(path("target"), true));
        QVERIFY(!QFileInfo::exists(path("outside/new")));
        QVERIFY(!QFileInfo::exists(path("outside/evil2.txt")));
        QCOMPARE(readFile(path("target/ok.txt")), QByteArray("ok"));
        QCOMPARE(r.delegate.messages.size(), 2);
    }

    void symlinkedFileIsNotFollowed() {
        QVERIFY(writeFile(path("precious.txt"), "precious"));
        QVERIFY(QDir().mkpath(path("target")));
        QVERIFY(QFile::link(path("precious.txt"), path("target/x.txt")));
        zipsupport::PythonZip source;
        source.add("x.txt", "overwritten");
        QVERIFY(source.write(path("f.zip")));
        Reader r;
        QVERIFY(r.zip.UnzipOpenFile(path("f.zip")));
        QVERIFY(r.zip.UnzipFileTo(path("target"), true));
        QCOMPARE(readFile(path("precious.txt")), QByteArray("precious"));
        QCOMPARE(r.delegate.messages.size(), 1);
    }

    void brokenArchives_data() {
        QTest::addColumn<QString>("damage");
        QTest::addColumn<bool>("opens");
        QTest::addColumn<bool>("result");
        QTest::addColumn<QStringList>("messages");
        QTest::newRow("not a zip") << "garbage" << false << false << QStringList();
        QTest::newRow("bad central record")
            << "central-signature" << true << false << QStringList{"Failed", "Error occurs"};
        QTest::newRow("bad local header")
            << "local-signature" << true << false << QStringList{"Error occurs"};
        QTest::newRow("corrupt deflate data")
            << "data" << true << true << QStringList{"Failed to reading zip file"};
        QTest::newRow("wrong crc")
            << "crc" << true << true << QStringList{"Failed to reading zip file"};
    }

    void brokenArchives() {
        QFETCH(QString, damage);
        QFETCH(bool, opens);
        QFETCH(bool, result);
        QFETCH(QStringList, messages);
        QVERIFY(zipsupport::writeDamagedArchive(path("b.zip"), damage));
        QVERIFY(writeFile(path("out/victim.txt"), "kept"));
        Reader r;
        QCOMPARE(r.zip.UnzipOpenFile(path("b.zip")), opens);
        QCOMPARE(r.zip.UnzipFileTo(path("out"), true), result);
        if (opens) {
            QCOMPARE(r.delegate.messages, messages);
        } else {
            // Nothing open: the walk cannot start.
            QCOMPARE(r.delegate.messages, (QStringList{"Failed", "Error occurs"}));
        }
        // A broken entry never replaces the file already there.
        QCOMPARE(readFile(path("out/victim.txt")), QByteArray("kept"));
        QVERIFY(r.zip.UnzipCloseFile());
        QVERIFY(r.zip.UnzipCloseFile());  // nothing open: still true
    }

    void onlyRegularFilesAreOpened() {
        // A FIFO would block a reader that opened it; a folder is no archive.
        QCOMPARE(::mkfifo(QFile::encodeName(path("fifo.zip")).constData(), 0600), 0);
        QVERIFY(QDir().mkpath(path("folder.zip")));
        // (A FIFO that was opened would hang here until the test's watchdog.)
        for (const char* name : {"fifo.zip", "folder.zip"}) {
            Reader r;
            QVERIFY2(!r.zip.UnzipOpenFile(path(name)), name);
        }
    }

    void readsInfoZipEncryptedArchive_data() {
        QTest::addColumn<QString>("password");
        QTest::addColumn<bool>("readable");
        QTest::newRow("right password") << "Secret-42" << true;
        QTest::newRow("wrong password") << "secret-42" << false;
    }

    void readsInfoZipEncryptedArchive() {
        QFETCH(QString, password);
        QFETCH(bool, readable);
        const QByteArray big = QByteArray("compressible line of text\n").repeated(400);
        QVERIFY(writeFile(path("src/big.txt"), big));
        QVERIFY(writeFile(path("src/tiny.txt"), "hi"));
        QVERIFY(zipsupport::writeInfoZipEncrypted(path("iz.zip"), path("src"),
                                                  {"big.txt", "tiny.txt"}, "Secret-42"));
        Reader r;
        QVERIFY(r.zip.UnzipOpenFile(path("iz.zip"), password));
        const bool extracted = r.zip.UnzipFileTo(path("out"), true);
        if (readable) {
            QVERIFY(extracted);
            QCOMPARE(r.delegate.messages, QStringList());
            QCOMPARE(readFile(path("out/big.txt")), big);
            QCOMPARE(readFile(path("out/tiny.txt")), QByteArray("hi"));
        } else {
            // Never the plain bytes: the wrong key either fails the open or the
            // entry's check.
            QVERIFY(!r.delegate.messages.isEmpty());
            QVERIFY(readFile(path("out/big.txt")) != big);
        }
    }

    void unzipToDictSkipsFoldersAndHiddenNames() {
        zipsupport::PythonZip source;
        source.add("top.txt", "top");
        source.add("dir/", "");
        source.add("dir/.hidden", "h");
        source.add("dir\\win.txt", "w");
        // Entries that span several of the reader's windows, with headers
        // and the central directory beyond the first.
        source.add("dir/inner.bin", sampleBytes(200000, 3));
        source.add("last.bin", sampleBytes(90001, 4));
        QVERIFY(source.write(path("d.zip")));
        QVERIFY(QFileInfo(path("d.zip")).size() > 3 * 64 * 1024);
        Reader r;
        QVERIFY(r.zip.UnzipOpenFile(path("d.zip")));
        const QVariantMap dict = r.zip.UnzipToDict();
        QCOMPARE(dict.keys(),
                 (QStringList{"dir/inner.bin", "dir\\win.txt", "last.bin", "top.txt"}));
        QCOMPARE(dict.value("dir/inner.bin").toByteArray(), sampleBytes(200000, 3));
        QCOMPARE(dict.value("last.bin").toByteArray(), sampleBytes(90001, 4));
        QCOMPARE(r.delegate.messages, QStringList());
    }

    void unzipToDictReportsBrokenEntries() {
        QVERIFY(zipsupport::writeDamagedArchive(path("e.zip"), "central-signature"));
        Reader r;
        QVERIFY(r.zip.UnzipOpenFile(path("e.zip")));
        QVERIFY(r.zip.UnzipToDict().isEmpty());
        QCOMPARE(r.delegate.messages,
                 (QStringList{QString::fromUtf8("出错了"), QString::fromUtf8("不能打开该压缩包")}));
    }

private:
    QString path(const QString& name) const { return _dir->filePath(name); }
    // The entries of an archive as Python's zipfile reads them.
    QJsonArray entriesOf(const QString& name, const QString& password = {}) const {
        return zipsupport::pythonListing(path(name), password).value("entries").toArray();
    }
    std::unique_ptr<QTemporaryDir> _dir;
};

QTEST_GUILESS_MAIN(TestZipArchive)
#include "tst_ziparchive.moc"
