// Property-list files: bad input never crashes and never reads as a
// dictionary; every write is atomic, so a failed one leaves the earlier file.

#include "platform/FileRead.h"
#include "platform/Plist.h"
#include "platform/Values.h"
#include "tests/platform/PlatformTestSupport.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QPointF>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>

#include <linux/capability.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Plist = platform::Plist;

namespace {

QByteArray xmlDocument(const QByteArray& body) {
    return QByteArrayLiteral(
               "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
               "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
               "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
               "<plist version=\"1.0\">\n") +
           body + QByteArrayLiteral("\n</plist>\n");
}

QVariantMap sampleDictionary() {
    return {
        {"text", "中文 & <xml> \"quoted\""},
        {"empty", ""},
        {"max", qint64(std::numeric_limits<qint64>::max())},
        {"min", qint64(std::numeric_limits<qint64>::min())},
        {"real", 0.1},
        {"yes", true},
        {"no", false},
        {"data", QByteArray("\x00\x01\xff", 3)},
        {"date", QDateTime(QDate(2024, 2, 29), QTime(12, 34, 56), QTimeZone::utc())},
        {"list", QVariantList{qint64(1), "a", QVariantList{}, QVariantMap{}}},
        {"map", QVariantMap{{"nested", QVariantMap{{"k", qint64(-1)}}}}},
    };
}

QByteArray binarySample() {
    return Plist::serialize(sampleDictionary(), Plist::Format::Binary);
}

bool writeBytes(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
           file.write(bytes) == bytes.size();
}

QByteArray readBytes(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// While alive, the calling thread obeys file permissions even as root: the
// capabilities that bypass them are dropped from its effective set.
class PermissionsEnforced {
public:
    PermissionsEnforced() {
        if (::geteuid() != 0) {
            _active = true;
            return;
        }
        if (syscall(SYS_capget, &_header, _saved) != 0) {
            return;
        }
        __user_cap_data_struct reduced[2] = {_saved[0], _saved[1]};
        for (int cap : {CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH, CAP_FOWNER}) {
            reduced[cap / 32].effective &= ~(1u << (cap % 32));
        }
        _active = syscall(SYS_capset, &_header, reduced) == 0;
        _restore = _active;
    }
    ~PermissionsEnforced() {
        if (_restore) {
            syscall(SYS_capset, &_header, _saved);
        }
    }
    bool isActive() const { return _active; }

private:
    __user_cap_header_struct _header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct _saved[2] = {};
    bool _active = false;
    bool _restore = false;
};

}  // namespace

class TestPlist : public QObject {
    Q_OBJECT

private slots:
    void badInput_data() {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<bool>("isPropertyList");
        QTest::addColumn<int>("topLevelType");  // QMetaType id when it is one

        QTest::newRow("empty file") << QByteArray() << false << 0;
        QTest::newRow("garbage") << QByteArray("\x00\x01garbage\xff\xfe", 12) << false << 0;
        QTest::newRow("xml, cut in the middle")
            << xmlDocument("<dict><key>maxcount</key><integer>3</integer>").left(150) << false << 0;
        {
            // The trailer's offset-table position points far beyond the file.
            QByteArray corrupt = binarySample();
            for (int i = 1; i <= 8; ++i) {
                corrupt[corrupt.size() - i] = char(0x7f);
            }
            QTest::newRow("binary, offset table outside the file") << corrupt << false << 0;
        }
        {
            // The trailer claims more objects than the file holds.
            QByteArray corrupt = binarySample();
            for (int i = 17; i <= 24; ++i) {
                corrupt[corrupt.size() - i] = char(0x7f);
            }
            QTest::newRow("binary, object count beyond the file") << corrupt << false << 0;
        }
        {
            // libplist aborts the process on a dictionary key holding a zero
            // character; such lists must be refused before they reach it.
            QFile keyWithZero(QStringLiteral(
                ZQ_SOURCE_DIR "/tests/data/crypto/fuzz/aes_file/key_with_zero.bplist"));
            QVERIFY(keyWithZero.open(QIODevice::ReadOnly));
            QTest::newRow("binary, dictionary key with a zero character")
                << keyWithZero.readAll() << false << 0;
            QTest::newRow("xml, dictionary key with a zero character reference")
                << xmlDocument("<dict><key>a&#0;b</key><string>x</string></dict>") << false << 0;
        }
        QTest::newRow("xml array") << xmlDocument("<array><integer>29</integer></array>") << true
                                   << int(QMetaType::QVariantList);
    }

    void badInput() {
        QFETCH(QByteArray, content);
        QFETCH(bool, isPropertyList);
        QFETCH(int, topLevelType);

        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString path = dir.filePath("bad.plist");
        QVERIFY(writeBytes(path, content));

        QString error;
        const std::optional<QVariant> value = Plist::readFile(path, &error);
        QCOMPARE(value.has_value(), isPropertyList);
        if (value) {
            QCOMPARE(value->metaType().id(), topLevelType);
        } else {
            QVERIFY(!error.isEmpty());
        }

        error.clear();
        QVERIFY(!Plist::readDictionary(path, &error).has_value());
        QVERIFY2(!error.isEmpty(), "a refused file comes with a message");
        QVERIFY(!Plist::parse(content).has_value() || isPropertyList);
        QCOMPARE(readBytes(path), content);  // reading never touches the file
    }

    void everyTruncationOfABinaryListIsRefused() {
        const QByteArray whole = binarySample();
        QVERIFY(whole.startsWith("bplist00"));
        QVERIFY(Plist::parse(whole).has_value());
        for (qsizetype length = 0; length < whole.size(); ++length) {
            QString error;
            const std::optional<QVariant> value = Plist::parse(whole.left(length), &error);
            QVERIFY2(!value.has_value(),
                     qPrintable(QStringLiteral("prefix of %1 bytes").arg(length)));
            QVERIFY(!error.isEmpty());
        }
    }

    // Whatever is in a file's place, a reader neither hangs nor reads without
    // bound: only a regular file (links followed) up to the limit is read.
    void unreadablePaths_data() {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<bool>("readable");
        QTest::newRow("missing") << "missing" << false;
        QTest::newRow("folder") << "folder" << false;
        QTest::newRow("FIFO") << "fifo" << false;
        QTest::newRow("link to /dev/zero") << "zero" << false;
        QTest::newRow("larger than a property list may be") << "large" << false;
        QTest::newRow("link to a property list") << "link" << true;
    }

    void unreadablePaths() {
        QFETCH(QString, kind);
        QFETCH(bool, readable);
        QTemporaryDir dir;
        const QString path = dir.filePath("logConfig.plist");
        const QString good = dir.filePath("good.plist");
        QVERIFY(Plist::writeFile(good, QVariantMap{{"maxcount", qint64(3)}}));
        const QByteArray name = QFile::encodeName(path);
        if (kind == QLatin1String("folder")) {
            QVERIFY(QDir().mkpath(path));
        } else if (kind == QLatin1String("fifo")) {
            QCOMPARE(::mkfifo(name.constData(), 0600), 0);
        } else if (kind == QLatin1String("zero")) {
            QVERIFY(QFile::link(QStringLiteral("/dev/zero"), path));
        } else if (kind == QLatin1String("large")) {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            QVERIFY(file.resize(platform::ReadLimit::kPropertyList + 1));  // sparse
        } else if (kind == QLatin1String("link")) {
            QVERIFY(QFile::link(good, path));
        }
        QString error;
        const std::optional<QVariantMap> read = Plist::readDictionary(path, &error);
        QCOMPARE(read.has_value(), readable);
        if (readable) {
            QCOMPARE(read->value("maxcount"), QVariant(qint64(3)));
        } else {
            QVERIFY2(error.contains(path), qPrintable(error));
        }
    }

    // Logs that only grow are appended to only when they are regular files: a
    // FIFO nobody reads or a device in their place is refused at once.
    void appendOnlyToRegularFiles_data() {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QByteArray>("after");  // the file after two appends; empty: refused
        QTest::newRow("missing: created") << "missing" << QByteArray("ab");
        QTest::newRow("existing") << "file" << QByteArray("0ab");
        QTest::newRow("FIFO") << "fifo" << QByteArray();
        QTest::newRow("link to /dev/null") << "null" << QByteArray();
    }

    void appendOnlyToRegularFiles() {
        QFETCH(QString, kind);
        QFETCH(QByteArray, after);
        QTemporaryDir dir;
        const QString path = dir.filePath("sync.dat");
        if (kind == QLatin1String("file")) {
            QVERIFY(writeBytes(path, "0"));
        } else if (kind == QLatin1String("fifo")) {
            QCOMPARE(::mkfifo(QFile::encodeName(path).constData(), 0600), 0);
        } else if (kind == QLatin1String("null")) {
            QVERIFY(QFile::link(QStringLiteral("/dev/null"), path));
        }
        for (const char* piece : {"a", "b"}) {
            QFile file;
            QString error;
            const bool opened = platform::openRegularFileForAppend(file, path, {}, &error);
            QCOMPARE(opened, !after.isEmpty());
            if (!opened) {
                QVERIFY2(error.startsWith(path), qPrintable(error));
                return;
            }
            QCOMPARE(file.write(piece), 1);
        }
        QCOMPARE(readBytes(path), after);
    }

    void roundTrip_data() {
        QTest::addColumn<Plist::Format>("format");
        QTest::newRow("xml") << Plist::Format::Xml;
        QTest::newRow("binary") << Plist::Format::Binary;
    }

    void roundTrip() {
        QFETCH(Plist::Format, format);
        QTemporaryDir dir;
        const QString path = dir.filePath("a/b/round.plist");  // folders made as needed
        const QVariantMap written = sampleDictionary();
        QString error;
        QVERIFY2(Plist::writeFile(path, written, format, &error), qPrintable(error));
        QCOMPARE(readBytes(path).startsWith("bplist00"), format == Plist::Format::Binary);

        const std::optional<QVariantMap> read = Plist::readDictionary(path, &error);
        QVERIFY2(read.has_value(), qPrintable(error));
        QCOMPARE(*read, written);
        QCOMPARE(zq::test::typedText(*read), zq::test::typedText(written));
        QCOMPARE(QDir(dir.filePath("a/b")).entryList(QDir::Files | QDir::Hidden),
                 QStringList{"round.plist"});
    }

    void failedWriteKeepsTheEarlierFile_data() {
        QTest::addColumn<QString>("failure");
        QTest::newRow("read-only folder") << "readonly";
        QTest::newRow("unsigned integer beyond the signed range") << "uint64";
        QTest::newRow("nested value with no property-list form") << "nested";
        QTest::newRow("text with a zero character (it would come back cut)") << "zero";
    }

    void failedWriteKeepsTheEarlierFile() {
        QFETCH(QString, failure);
        QTemporaryDir dir;
        const QString folder = dir.filePath("config");
        QVERIFY(QDir().mkpath(folder));
        const QString path = folder + QStringLiteral("/logConfig.plist");
        QVERIFY(Plist::writeFile(path, QVariantMap{{QStringLiteral("maxcount"), qint64(500)}}));
        const QByteArray before = readBytes(path);
        QVERIFY(!before.isEmpty());

        QVariant value = QVariantMap{{"maxcount", qint64(3)}};
        if (failure == u"uint64") {
            value = QVariantMap{{"big", std::numeric_limits<quint64>::max()}};
        } else if (failure == u"nested") {
            value = QVariantMap{{"ok", qint64(1)}, {"list", QVariantList{QVariant(QPointF(1, 2))}}};
        } else if (failure == u"zero") {
            value = QVariantMap{{"title", QStringLiteral("a") + QChar(0) + u'b'}};
        }

        QString error;
        bool written = false;
        if (failure == u"readonly") {
            QVERIFY(QFile::setPermissions(folder, QFile::ReadOwner | QFile::ExeOwner));
            PermissionsEnforced enforced;
            if (!enforced.isActive()) {
                QFile::setPermissions(folder,
                                      QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
                QSKIP("this process cannot give up the right to ignore file permissions");
            }
            QFile probe(folder + QStringLiteral("/probe"));
            QVERIFY2(!probe.open(QIODevice::WriteOnly), "the folder refuses new files");
            written = Plist::writeFile(path, value, Plist::Format::Xml, &error);
        } else {
            written = Plist::writeFile(path, value, Plist::Format::Xml, &error);
        }
        QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);

        QVERIFY(!written);
        QVERIFY(!error.isEmpty());
        QCOMPARE(readBytes(path), before);
        QCOMPARE(QDir(folder).entryList(QDir::Files | QDir::Hidden),
                 QStringList{"logConfig.plist"});
    }

    void datesAgreeWithAnotherWriter() {
        // Written by Python's plistlib; dates before 2001 are where libplist's
        // seconds-and-microseconds hand-over loses the sign of the fraction.
        const auto dates =
            Plist::readArray(QStringLiteral(ZQ_SOURCE_DIR "/tests/data/platform/dates.bplist"));
        QVERIFY(dates.has_value());
        const QList<qint64> expected = {946684797812, 978307200500, 0, 1795348800125};
        QCOMPARE(dates->size(), expected.size());
        for (qsizetype i = 0; i < expected.size(); ++i) {
            QCOMPARE(dates->at(i).toDateTime().toMSecsSinceEpoch(), expected.at(i));
            // And they survive our own binary form.
            const auto again = Plist::parse(Plist::serialize(dates->at(i), Plist::Format::Binary));
            QVERIFY(again.has_value());
            QCOMPARE(again->toDateTime().toMSecsSinceEpoch(), expected.at(i));
        }
    }

    // Values read from property lists.

    void textForms_data() {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QString>("expected");
        QTest::newRow("absent") << QVariant() << "(null)";
        QTest::newRow("json null") << QVariant::fromValue(nullptr) << "<null>";
        QTest::newRow("whole double") << QVariant(3.0) << "3";
        QTest::newRow("list") << QVariant(QVariantList{1, "a"}) << "(\n    1,\n    a\n)";
        QTest::newRow("data") << QVariant(QByteArray("\x01\x02\x03\x04\x05", 5)) << "<01020304 05>";
        QTest::newRow("date") << QVariant(
                                     QDateTime(QDate(2026, 1, 2), QTime(3, 4, 5), QTimeZone::utc()))
                              << "2026-01-02 03:04:05 +0000";
    }

    void textForms() {
        QFETCH(QVariant, value);
        QFETCH(QString, expected);
        QCOMPARE(platform::textForm(value), expected);
    }

    void integerAndBooleanValues_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<qint64>("integer");
        QTest::addColumn<bool>("boolean");
        QTest::newRow("spaces and sign") << "  \t-17abc" << qint64(-17) << true;
        QTest::newRow("not a number") << "abc" << qint64(0) << false;
        QTest::newRow("zero") << "000" << qint64(0) << false;
        QTest::newRow("yes") << "yes" << qint64(0) << true;
        QTest::newRow("True") << "True" << qint64(0) << true;
        QTest::newRow("no") << "no" << qint64(0) << false;
        QTest::newRow("decimal") << "2.9" << qint64(2) << true;
        QTest::newRow("overflow") << "99999999999999999999" << std::numeric_limits<qint64>::max()
                                  << true;
        QTest::newRow("underflow")
            << "-99999999999999999999" << std::numeric_limits<qint64>::min() << true;
        QTest::newRow("minimum") << "-9223372036854775808" << std::numeric_limits<qint64>::min()
                                 << true;
    }

    void integerAndBooleanValues() {
        QFETCH(QString, text);
        QFETCH(qint64, integer);
        QFETCH(bool, boolean);
        QCOMPARE(platform::integerValueOfText(text), integer);
        QCOMPARE(platform::boolValueOfText(text), boolean);
    }

    // Which values count as scalars (text) and as numbers: texts are no numbers,
    // data and collections neither.
    void scalarsAndNumbers_data() {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QString>("text");   // "-" for none
        QTest::addColumn<qint64>("number");  // -1 for none
        QTest::newRow("text") << QVariant(QStringLiteral("12")) << "12" << qint64(-1);
        QTest::newRow("integer") << QVariant(12) << "12" << qint64(12);
        QTest::newRow("real") << QVariant(2.75) << "2.75" << qint64(2);
        QTest::newRow("boolean") << QVariant(true) << "1" << qint64(1);
        QTest::newRow("data") << QVariant(QByteArray("12")) << "-" << qint64(-1);
        QTest::newRow("absent") << QVariant() << "-" << qint64(-1);
    }

    void scalarsAndNumbers() {
        QFETCH(QVariant, value);
        QFETCH(QString, text);
        QFETCH(qint64, number);
        QCOMPARE(platform::scalarText(value).value_or(QStringLiteral("-")), text);
        QCOMPARE(platform::numberValue(value).value_or(-1), number);
    }
};

QTEST_GUILESS_MAIN(TestPlist)
#include "tst_plist.moc"
