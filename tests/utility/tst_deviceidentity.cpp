#include "utility/Utility.h"

#include "UtilityTestSupport.h"

#include <QTemporaryDir>

#include <memory>

using namespace testsupport;

namespace {

const QByteArray kMachineId("8c2b5f0e4d1a4b7c9e3f2a1b0c9d8e7f\n");
const QString kIdentifier = "8C2B5F0E4D1A4B7C9E3F2A1B0C9D8E7F";
const QString kRawUUID = "8C2B5F0E-4D1A-4B7C-9E3F-2A1B0C9D8E7F";

}  // namespace

class TestDeviceIdentity : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> _system;

    QString machineIdPath() const { return _system->path() + "/etc/machine-id"; }
    QString uuidFilePath() const {
        return QString::fromLocal8Bit(qgetenv("XDG_DATA_HOME")) +
               "/Vesko/InputMethod/VeskoPY/.uuid.dat";
    }

private slots:
    void initTestCase() { QVERIFY(enableUtilityRunLog()); }

    void init() {
        _system = std::make_unique<QTemporaryDir>(QString::fromLocal8Bit(qgetenv("ZQ_TEST_ROOT")) +
                                                  "/systemXXXXXX");
        QVERIFY(_system->isValid());
        qputenv("VESKO_SYSTEM_ROOT", QFile::encodeName(_system->path()));
        QFile::remove(uuidFilePath());
        QFile::remove(infoPlistFixturePath());
        zq::utility::resetProcessCachesForTesting();
    }

    void registryOutput_data() {
        QTest::addColumn<QString>("output");
        QTest::addColumn<QString>("raw");         // "" : none
        QTest::addColumn<QString>("identifier");  // "" : none
        const QString line = "    \"IOPlatformUUID\" = \"8C2B5F0E-4D1A-4B7C-9E3F-2A1B0C9D8E7F\"";
        QTest::newRow("registry listing") << QStringLiteral(
                                                 "+-o Mac  <class IOPlatformExpertDevice>\n  {\n"
                                                 "    \"IOPlatformSerialNumber\" = \"C02XX\"\n") +
                                                 line + "\n  }\n"
                                          << kRawUUID << kIdentifier;
        QTest::newRow("one character after the value") << line + u'"' << kRawUUID << kIdentifier;
        // The value fits, but nothing follows it: only the raw reading takes it.
        QTest::newRow("ends right after the value") << line.chopped(1) << kRawUUID << "";
        QTest::newRow("value cut short") << line.chopped(2) << QString() << QString();
        QTest::newRow("no key") << "\"IOPlatformSerialNumber\" = \"C02XX\"\n"
                                << QString() << QString();
        QTest::newRow("first occurrence counts")
            << "\"IOPlatformUUID\" = \"11111111-2222-3333-4444-555555555555\"\n" + line + u'\n'
            << "11111111-2222-3333-4444-555555555555"
            << "11111111222233334444555555555555";
    }

    void registryOutput() {
        QFETCH(QString, output);
        QFETCH(QString, raw);
        QFETCH(QString, identifier);
        QCOMPARE(zq::utility::platformUUIDFromRegistryOutput(output).value_or(QString()), raw);
        QCOMPARE(zq::utility::deviceIdentifierFromRegistryOutput(output).value_or(QString()),
                 identifier);
    }

    void machineId_data() {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("raw");  // "" : none
        QTest::newRow("systemd file") << kMachineId << kRawUUID;
        QTest::newRow("surrounding blanks")
            << QByteArray("  8c2b5f0e4d1a4b7c9e3f2a1b0c9d8e7f \n") << kRawUUID;
        QTest::newRow("31 digits") << QByteArray("8c2b5f0e4d1a4b7c9e3f2a1b0c9d8e7\n") << "";
        QTest::newRow("33 digits") << QByteArray("8c2b5f0e4d1a4b7c9e3f2a1b0c9d8e7f0\n") << "";
        QTest::newRow("not hexadecimal") << QByteArray("8c2b5f0e4d1a4b7c9e3f2a1b0c9d8e7g\n") << "";
        QTest::newRow("all zeros") << QByteArray(32, '0') << "";
        QTest::newRow("empty") << QByteArray() << "";
    }

    void machineId() {
        QFETCH(QByteArray, content);
        QFETCH(QString, raw);
        QCOMPARE(zq::utility::platformUUIDFromMachineId(content).value_or(QString()), raw);
    }

    void unusableFilesCountAsMissing_data() {
        QTest::addColumn<QByteArray>("file");
        const QByteArray binary = platform::Plist::serialize(QVariantMap{{"uuid", "ABC"}},
                                                             platform::Plist::Format::Binary);
        QTest::newRow("array") << platform::Plist::serialize(QVariantList{"ABC"});
        QTest::newRow("truncated binary") << binary.left(binary.size() - 4);
        QTest::newRow("no uuid key") << platform::Plist::serialize(QVariantMap{{"id", "ABC"}});
        QTest::newRow("uuid a number") << platform::Plist::serialize(QVariantMap{{"uuid", 7}});
        QTest::newRow("uuid empty") << platform::Plist::serialize(QVariantMap{{"uuid", ""}});
    }

    void unusableFilesCountAsMissing() {
        QFETCH(QByteArray, file);
        QVERIFY(writeBytes(uuidFilePath(), file));
        QVERIFY(writeBytes(machineIdPath(), kMachineId));
        QVERIFY(!getUUIDFromLocalFile());
        QCOMPARE(GetUUID(), std::optional<QString>(kIdentifier));
        // GetUUID leaves the file as it was.
        QCOMPARE(readBytes(uuidFilePath()), file);
    }

    void noIdentifierIsInvented() {
        qsizetype mark = runLogMark();
        QVERIFY(!GetUUID());
        QVERIFY(!GetUUIDSource());
        QStringList entries = runLogSince(mark);
        QCOMPARE(entries.mid(1),
                 (QStringList{"GetUUIDSource # : beg", "GetUUIDSource # : uuid = (null)"}));
        // Absent values are not kept: the next call looks again.
        QVERIFY(writeBytes(machineIdPath(), kMachineId));
        QCOMPARE(GetUUID(), std::optional<QString>(kIdentifier));
        QVERIFY(!QFileInfo::exists(uuidFilePath()));  // never written by GetUUID
        mark = runLogMark();
        QCOMPARE(GetUUIDSource(), std::optional<QString>(kRawUUID));
        QCOMPARE(runLogSince(mark),
                 (QStringList{"GetUUIDSource # : beg", "GetUUIDSource # : uuid = " + kRawUUID}));
    }

    void renewingReplacesAStaleFile() {
        QVERIFY(writeBytes(machineIdPath(), kMachineId));
        QVERIFY(platform::Plist::writeFile(uuidFilePath(), QVariantMap{{"uuid", "STALE"}}));
        // The file's value is trusted as it is; the raw identifier always comes
        // from the machine.
        QCOMPARE(GetUUID(), std::optional<QString>("STALE"));
        QCOMPARE(getUUIDFromLocalFile(), std::optional<QString>("STALE"));
        QCOMPARE(GetUUIDSource(), std::optional<QString>(kRawUUID));
        setUUIDToLocalFile();
        QCOMPARE(platform::Plist::readDictionary(uuidFilePath()),
                 std::optional<QVariantMap>(QVariantMap{{"uuid", kIdentifier}}));
        QCOMPARE(GetUUID(), std::optional<QString>(kIdentifier));
    }

    void renewingWithoutAMachineIdentifier() {
        QVERIFY(platform::Plist::writeFile(uuidFilePath(), QVariantMap{{"uuid", "STALE"}}));
        setUUIDToLocalFile();
        QVERIFY(!QFileInfo::exists(uuidFilePath()));
        QVERIFY(!GetUUID());
    }

    void channel_data() {
        QTest::addColumn<QVariant>("value");  // null: absent
        QTest::addColumn<QString>("channel");
        QTest::newRow("absent") << QVariant() << "0000";
        QTest::newRow("leading zeros kept") << QVariant("0042") << "0042";
        QTest::newRow("number") << QVariant(qint64(77)) << "77";
        QTest::newRow("wrong type") << QVariant(QVariantList{1}) << "0000";
    }

    void channel() {
        QFETCH(QVariant, value);
        QFETCH(QString, channel);
        QVariantMap info{{"CFBundleFullVersion", "1.0"}};
        if (value.isValid()) {
            info.insert("ZQQuDao", value);
        }
        QVERIFY(writeInfoPlist(info));
        QCOMPARE(GetQuDao(), channel);
    }

    void channelDefaultIsKept() {
        QCOMPARE(GetQuDao(), "0000");
        QVERIFY(writeInfoPlist({{"ZQQuDao", "1234"}}));
        QCOMPARE(GetQuDao(), "0000");
        QCOMPARE(GetInfoDictionary()->value("ZQQuDao").toString(), "1234");
    }
};

QTEST_GUILESS_MAIN(TestDeviceIdentity)
#include "tst_deviceidentity.moc"
