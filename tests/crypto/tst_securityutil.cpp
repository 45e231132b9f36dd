// Keyed archives (checked with Python's plistlib and against an archive
// written by the other desktop system's own archiver) and the encrypted
// dictionary files of ZQSecurityUtil.

#include "TestSupport.h"

#include "crypto/AES.h"
#include "crypto/Base64.h"
#include "crypto/KeyedArchive.h"
#include "crypto/ZQSecurityUtil.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QPoint>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace zq::crypto;
using cryptotest::readAll;
using cryptotest::writeAll;
using KeyedArchive::AllowedClasses;

namespace {

QVariantMap sampleStore() {
    return {
        {QStringLiteral("version"), QStringLiteral("3.2.1")},
        {QStringLiteral("count"), qint64(42)},
        {QStringLiteral("negative"), qint64(-7)},
        {QStringLiteral("big"), qint64(1) << 40},
        {QStringLiteral("ratio"), 0.25},
        {QStringLiteral("enabled"), true},
        {QStringLiteral("disabled"), false},
        {QStringLiteral("名字"), QStringLiteral("输入法")},
        {QStringLiteral("empty"), QString(QStringLiteral(""))},
        {QStringLiteral("nested"),
         QVariantMap{{QStringLiteral("inner"), QStringLiteral("value")},
                     {QStringLiteral("deeper"), QVariantMap{{QStringLiteral("n"), qint64(1)}}},
                     {QStringLiteral("same"), QStringLiteral("3.2.1")}}},
        {QStringLiteral("emptyDict"), QVariantMap()},
    };
}

// Python that resolves a keyed archive with nothing but plistlib and checks
// the object table's shape; prints the root as JSON.
const char kPlistlibResolver[] = R"PY(
import sys, json, plistlib
data = sys.stdin.buffer.read()
assert data.startswith(b'bplist00'), 'not a binary property list'
archive = plistlib.loads(data)
assert archive['$archiver'] == 'NSKeyedArchiver'
assert archive['$version'] == 100000
objects = archive['$objects']
assert objects[0] == '$null'
root = archive['$top']['root']
assert isinstance(root, plistlib.UID)
def resolve(uid):
    assert isinstance(uid, plistlib.UID), uid
    obj = objects[uid.data]
    if isinstance(obj, dict):
        cls = objects[obj['$class'].data]
        assert cls['$classes'][-1] == 'NSObject'
        assert cls['$classname'] == cls['$classes'][0]
        if cls['$classname'] == 'NSMutableDictionary':
            assert cls['$classes'] == ['NSMutableDictionary', 'NSDictionary', 'NSObject']
            keys = [resolve(k) for k in obj['NS.keys']]
            assert all(isinstance(k, str) for k in keys)
            return {k: resolve(v) for k, v in zip(keys, obj['NS.objects'])}
        if cls['$classname'] == 'NSMutableArray':
            return [resolve(v) for v in obj['NS.objects']]
        if cls['$classname'] == 'NSDate':
            return {'date': obj['NS.time']}
        raise AssertionError('unexpected class ' + cls['$classname'])
    if isinstance(obj, bytes):
        return {'data': obj.hex()}
    return obj
print(json.dumps(resolve(root), sort_keys=True))
)PY";

QVariant jsonOf(const QByteArray& text) {
    return QJsonDocument::fromJson(text).toVariant();
}

}  // namespace

class TestSecurityUtil : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> _dir;
    QString file(const char* name) const { return _dir->filePath(QString::fromLatin1(name)); }

private slots:
    void init() { _dir = std::make_unique<QTemporaryDir>(); }

    void archiveRoundTrip_data() {
        QTest::addColumn<QVariant>("value");
        QTest::newRow("array with everything") << QVariant(
            QVariantList{QStringLiteral("s"), qint64(1), 2.5, true, QByteArray("\x00\x01", 2),
                         QDateTime::fromMSecsSinceEpoch(1700000000123, Qt::UTC), QVariantList{},
                         QVariantMap{{QStringLiteral("k"), QVariantList{qint64(3)}}}});
        QTest::newRow("extreme integers")
            << QVariant(QVariantMap{{QStringLiteral("min"), std::numeric_limits<qint64>::min()},
                                    {QStringLiteral("max"), std::numeric_limits<qint64>::max()},
                                    {QStringLiteral("zero"), qint64(0)}});
    }

    void archiveRoundTrip() {
        QFETCH(QVariant, value);
        QString error;
        const QByteArray archive = KeyedArchive::archive(value, &error);
        QVERIFY2(!archive.isNull(), qPrintable(error));
        const auto back =
            KeyedArchive::unarchive(archive, AllowedClasses::AllPropertyListTypes, &error);
        QVERIFY2(back.has_value(), qPrintable(error));
        QCOMPARE(*back, value);
    }

    void archiveParsesWithPlistlib() {
        // The store itself is resolved the same way in encryptedFileFormat.
        const QVariant value(QVariantList{qint64(-1), QByteArray("\xab\xcd"),
                                          QDateTime::fromSecsSinceEpoch(978307200 + 60, Qt::UTC)});
        const auto result = cryptotest::runPython(QString::fromLatin1(kPlistlibResolver),
                                                  KeyedArchive::archive(value));
        QVERIFY2(result.started, "python3 is required for this cross-check");
        QVERIFY2(result.exitCode == 0, result.err.constData());
        QCOMPARE(jsonOf(result.out), jsonOf(R"([-1, {"data": "abcd"}, {"date": 60.0}])"));
    }

    void archiveRefusesValuesWithoutForm_data() {
        QTest::addColumn<QVariant>("value");
        QTest::newRow("point") << QVariant(QVariantMap{{QStringLiteral("p"), QPoint(1, 2)}});
        QTest::newRow("null value") << QVariant(QVariantMap{{QStringLiteral("n"), QVariant()}});
        QTest::newRow("string with a zero character") << QVariant(
            QVariantMap{{QStringLiteral("z"), QString(QStringLiteral("a")) + QChar(u'\0')}});
        QTest::newRow("unsigned beyond signed range")
            << QVariant(QVariantMap{{QStringLiteral("u"), quint64(1) << 63}});
        QTest::newRow("nothing") << QVariant();
    }

    void archiveRefusesValuesWithoutForm() {
        QFETCH(QVariant, value);
        QString error;
        QVERIFY(KeyedArchive::archive(value, &error).isNull());
        QVERIFY(!error.isEmpty());
    }

    void systemArchiverFixtureReadsBack() {
        // Written by the other desktop system's own keyed archiver (see
        // tests/data/README): {"int": 1, "string": "string", "array": [true,
        // "Hello, World!", 42]} under the top-level key "$0", in XML form.
        const QByteArray bytes =
            readAll(cryptotest::dataPath(QStringLiteral("system_archiver_dict.xml")));
        QVERIFY(!bytes.isEmpty());
        QString error;
        const auto value = KeyedArchive::unarchiveTopObject(
            bytes, QStringLiteral("$0"), AllowedClasses::AllPropertyListTypes, &error);
        QVERIFY2(value.has_value(), qPrintable(error));
        const QVariantMap expected{
            {QStringLiteral("int"), qint64(1)},
            {QStringLiteral("string"), QStringLiteral("string")},
            {QStringLiteral("array"),
             QVariantList{true, QStringLiteral("Hello, World!"), qint64(42)}}};
        QCOMPARE(*value, QVariant(expected));
    }

    void unarchiveRejectsMalformed_data() {
        QTest::addColumn<QByteArray>("xml");
        auto archive = [](const QByteArray& objects,
                          const QByteArray& top =
                              "<key>root</key><dict><key>CF$UID</key><integer>1</integer></dict>") {
            return "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict>"
                   "<key>$archiver</key><string>NSKeyedArchiver</string><key>$version</"
                   "key><integer>100000</integer>"
                   "<key>$top</key><dict>" +
                   top + "</dict><key>$objects</key><array><string>$null</string>" + objects +
                   "</array></dict></plist>";
        };
        const QByteArray dictClass =
            "<dict><key>$classname</key><string>NSDictionary</string><key>$classes</"
            "key><array><string>NSDictionary</string><string>NSObject</string></array></dict>";
        auto uid = [](int n) {
            return "<dict><key>CF$UID</key><integer>" + QByteArray::number(n) + "</integer></dict>";
        };
        // A dictionary of class 2 with key 3 and the given objects, then its class and `rest`.
        auto dictionary = [&](const QByteArray& objects, const QByteArray& rest) {
            return archive("<dict><key>$class</key>" + uid(2) + "<key>NS.keys</key><array>" +
                           uid(3) + "</array><key>NS.objects</key>" + objects + "</dict>" +
                           dictClass + rest);
        };
        QTest::newRow("not a property list") << QByteArray("garbage");
        QTest::newRow("wrong archiver")
            << QByteArray(archive("<string>x</string>")).replace("NSKeyedArchiver", "Other");
        QTest::newRow("no root") << archive("<string>x</string>", "<key>other</key>" + uid(1));
        QTest::newRow("root out of range")
            << archive("<string>x</string>", "<key>root</key>" + uid(9));
        QTest::newRow("root is $null") << archive("<string>x</string>", "<key>root</key>" + uid(0));
        QTest::newRow("self-referencing dictionary")
            << dictionary("<array>" + uid(1) + "</array>", "<string>k</string>");
        QTest::newRow("key that is not a string")
            << dictionary("<array>" + uid(3) + "</array>", "<integer>5</integer>");
        QTest::newRow("keys and objects of different counts")
            << dictionary("<array/>", "<string>k</string>");
        QTest::newRow("unknown class")
            << archive("<dict><key>$class</key>" + uid(2) +
                       "</dict><dict><key>$classname</key><string>NSColor</string>"
                       "<key>$classes</key><array><string>NSColor</string></array></dict>");
        QTest::newRow("object without class") << archive("<dict><key>NS.keys</key><array/></dict>");
    }

    void unarchiveRejectsMalformed() {
        QFETCH(QByteArray, xml);
        QString error;
        QVERIFY(!KeyedArchive::unarchive(xml, AllowedClasses::AllPropertyListTypes, &error)
                     .has_value());
        QVERIFY(!error.isEmpty());
    }

    void allowedClasses_data() {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<bool>("allowed");
        QTest::newRow("dictionaries, strings, numbers") << QVariant(sampleStore()) << true;
        QTest::newRow("array inside")
            << QVariant(QVariantMap{{QStringLiteral("a"), QVariantList{qint64(1)}}}) << false;
        QTest::newRow("date deep inside")
            << QVariant(QVariantMap{
                   {QStringLiteral("n"),
                    QVariantMap{{QStringLiteral("d"), QDateTime::currentDateTimeUtc()}}}})
            << false;
        QTest::newRow("data inside")
            << QVariant(QVariantMap{{QStringLiteral("b"), QByteArray("x")}}) << false;
    }

    void allowedClasses() {
        QFETCH(QVariant, value);
        QFETCH(bool, allowed);
        const QByteArray archive = KeyedArchive::archive(value);
        QVERIFY(!archive.isNull());
        QCOMPARE(KeyedArchive::unarchive(archive, AllowedClasses::DictionariesStringsNumbers)
                     .has_value(),
                 allowed);
        QVERIFY(KeyedArchive::unarchive(archive, AllowedClasses::AllPropertyListTypes).has_value());
    }

    void encryptedFileFormat() {
        const QString path = file("Vesko/InputMethod/accs.dat");  // folders are created
        QVERIFY(ZQSecurityUtil::writeDict(sampleStore(), path));
        const QByteArray text = readAll(path);
        // One line of Base64, no line breaks.
        QVERIFY(!text.contains('\n'));
        QVERIFY(!text.contains('\r'));
        QVERIFY(QByteArray::fromBase64(text, QByteArray::AbortOnBase64DecodingErrors).size() > 0);
        // The openssl command line decrypts it with the default key and IV into a
        // binary keyed archive that plistlib resolves.
        const auto decrypted = cryptotest::run(
            cryptotest::openssl(),
            {"enc", "-d", "-aes-256-cbc", "-K",
             QString::fromLatin1(QByteArray("p4r7t2w9k1m6q3z8x5c0v7b2n9h4j6l1").toHex()), "-iv",
             QString::fromLatin1(QByteArray("hzqowmrtyfdkc5bn").toHex())},
            QByteArray::fromBase64(text));
        QCOMPARE(decrypted.exitCode, 0);
        QVERIFY(decrypted.out.startsWith("bplist00"));
        const auto resolved =
            cryptotest::runPython(QString::fromLatin1(kPlistlibResolver), decrypted.out);
        QVERIFY2(resolved.exitCode == 0, resolved.err.constData());
        QCOMPARE(jsonOf(resolved.out), jsonOf(QJsonDocument::fromVariant(sampleStore()).toJson()));
    }

    void unreadableFilesGiveNothing_data() {
        QTest::addColumn<QByteArray>("contents");  // null: no file at all
        QTest::newRow("missing file") << QByteArray();
        QTest::newRow("empty file") << QByteArray("");
        QTest::newRow("invalid UTF-8") << QByteArray("\xff\xfe\xfd\xfc");
        QTest::newRow("plain property list array") << QByteArray(
            "<?xml version=\"1.0\"?><plist "
            "version=\"1.0\"><array><string>a</string></array></plist>");
        const QByteArray archive =
            KeyedArchive::archive(QVariantMap{{QStringLiteral("k"), QStringLiteral("v")}});
        const QByteArray otherKey(32, 'z');
        QTest::newRow("encrypted under another key")
            << base64EncodedString(AES256EncryptWithKey(archive, otherKey.constData(), 32, nullptr))
                   .toUtf8();
        QTest::newRow("encrypted archive of a string, not a dictionary")
            << base64EncodedString(AES256EncryptWithKey(KeyedArchive::archive(QStringLiteral("s")),
                                                        nullptr, 32, nullptr))
                   .toUtf8();
        // Found by fuzzing: the property-list library aborted the process on
        // dictionary keys holding a zero character.
        for (const char* seed : {"key_with_zero.bplist", "key_with_zero_utf16.bplist",
                                 "key_with_zero_reference.plist"}) {
            const QByteArray bytes = readAll(
                cryptotest::dataPath(QStringLiteral("fuzz/aes_file/") + QLatin1String(seed)));
            QVERIFY(!bytes.isEmpty());
            QTest::newRow(seed) << bytes;
        }
    }

    void unreadableFilesGiveNothing() {
        QFETCH(QByteArray, contents);
        const QString path = file("store.dat");
        if (!contents.isNull()) {
            QVERIFY(writeAll(path, contents));
        }
        QVERIFY(!ZQSecurityUtil::dictionaryWithContentsOfAESFile(path).has_value());
        // Nothing was migrated or rewritten.
        if (!contents.isNull()) {
            QCOMPARE(readAll(path), contents);
        }
    }

    void failedWriteLeavesOldFile() {
        const QString path = file("pub.dat");
        QVERIFY(ZQSecurityUtil::writeDict(sampleStore(), path));
        const QByteArray before = readAll(path);
        // A value that cannot be archived: nothing is written.
        QVERIFY(!ZQSecurityUtil::writeDict({{QStringLiteral("p"), QPoint(1, 1)}}, path));
        QCOMPARE(readAll(path), before);
        // A path whose folder is a file.
        const QString blocked = file(("pub.dat/inner.dat"));
        QVERIFY(!ZQSecurityUtil::writeDict(sampleStore(), blocked));
        QCOMPARE(readAll(path), before);
        // A path that is a folder.
        QVERIFY(QDir(_dir->path()).mkdir(QStringLiteral("folder")));
        QVERIFY(!ZQSecurityUtil::writeDict(sampleStore(), file(("folder"))));
        QCOMPARE(QDir(_dir->path()).entryList(QDir::Files), QStringList{QStringLiteral("pub.dat")});
        QCOMPARE(ZQSecurityUtil::dictionaryWithContentsOfAESFile(path),
                 std::optional<QVariantMap>(sampleStore()));
    }
};

QTEST_GUILESS_MAIN(TestSecurityUtil)
#include "tst_securityutil.moc"
