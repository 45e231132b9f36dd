#include "utility/Utility.h"

#include "UtilityTestSupport.h"

#include <QDateTime>
#include <QTemporaryDir>

#include <memory>

using namespace testsupport;

namespace {

QString orderName(std::strong_ordering order) {
    if (order == std::strong_ordering::less) {
        return "lower";
    }
    if (order == std::strong_ordering::greater) {
        return "higher";
    }
    return "equal";
}

}  // namespace

class TestSystemInfo : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> _system;

    QString systemFile(const QString& relative) const { return _system->path() + relative; }

    bool writeSystemVersion(const QVariantMap& values) {
        return platform::Plist::writeFile(
            systemFile("/System/Library/CoreServices/SystemVersion.plist"), values);
    }

    bool writeProcessInfoTool(const QByteArray& script) {
        const QString path = zq::utility::processInfoToolPath();
        if (!writeBytes(path, "#!/bin/sh\n" + script + "\n")) {
            return false;
        }
        return QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }

private slots:
    void initTestCase() { QVERIFY(enableUtilityRunLog()); }

    void init() {
        _system = std::make_unique<QTemporaryDir>(QString::fromLocal8Bit(qgetenv("ZQ_TEST_ROOT")) +
                                                  "/systemXXXXXX");
        QVERIFY(_system->isValid());
        qputenv("VESKO_SYSTEM_ROOT", QFile::encodeName(_system->path()));
        QFile::remove(infoPlistFixturePath());
        QFile::remove(zq::utility::processInfoToolPath());
        zq::utility::resetProcessCachesForTesting();
    }

    void compareVersions_data() {
        QTest::addColumn<QString>("a");
        QTest::addColumn<QString>("b");
        QTest::addColumn<QString>("order");
        const auto row = [](const char* name, const QString& a, const QString& b,
                            const QString& order) { QTest::newRow(name) << a << b << order; };
        row("10 above 9 in a field", "6.10.0", "6.9.2", "higher");
        row("shorter equal prefix", "13", "13.0", "lower");
        row("leading zeros", "1.02", "1.2", "equal");
        row("longer than any integer", "99999999999999999999", "100000000000000000000", "lower");
        row("letter above digit", "a", "1", "higher");
        row("non-ascii by code", "1.中", "1.a", "higher");
    }

    void compareVersions() {
        QFETCH(QString, a);
        QFETCH(QString, b);
        QFETCH(QString, order);
        QCOMPARE(orderName(zq::utility::compareVersions(a, b)), order);
        // The mirror comparison gives the opposite outcome.
        const QString mirrored = order == u"lower"    ? "higher"
                                 : order == u"higher" ? "lower"
                                                      : order;
        QCOMPARE(orderName(zq::utility::compareVersions(b, a)), mirrored);
    }

    void systemVersionTests_data() {
        QTest::addColumn<QString>("system");  // "" : unreadable
        QTest::addColumn<bool>("atLeast");  // true: LargerThanOrEqualTo, false: LowerThanOrEqualTo
        QTest::addColumn<QString>("version");
        QTest::addColumn<bool>("result");
        QTest::newRow("10.13.6 >= 10.13") << "10.13.6" << true << "10.13" << true;
        QTest::newRow("10.13.6 <= 10.13") << "10.13.6" << false << "10.13" << false;
        QTest::newRow("10.13.6 >= 10.14") << "10.13.6" << true << "10.14" << false;
        QTest::newRow("10.13.6 <= 10.13.6") << "10.13.6" << false << "10.13.6" << true;
        QTest::newRow("unreadable >= anything") << "" << true << "99" << true;
        QTest::newRow("unreadable <= anything") << "" << false << "0" << true;
    }

    void systemVersionTests() {
        QFETCH(QString, system);
        QFETCH(bool, atLeast);
        QFETCH(QString, version);
        QFETCH(bool, result);
        if (!system.isEmpty()) {
            QVERIFY(writeSystemVersion({{"ProductVersion", system}}));
        }
        const qsizetype mark = runLogMark();
        const bool answer = atLeast ? isCurrentSystemVersionLargerThanOrEqualTo(version)
                                    : isCurrentSystemVersionLowerThanOrEqualTo(version);
        QCOMPARE(answer, result);
        const QString function = atLeast ? "isCurrentSystemVersionLargerThanOrEqualTo"
                                         : "isCurrentSystemVersionLowerThanOrEqualTo";
        QCOMPARE(runLogSince(mark),
                 QStringList{function + (result ? " # : return yes" : " # : return no")});
    }

    void systemVersionSources_data() {
        QTest::addColumn<QByteArray>("plist");      // null: none
        QTest::addColumn<QByteArray>("osRelease");  // null: none
        QTest::addColumn<bool>("osReleaseInUsrLib");
        QTest::addColumn<QString>("product");  // "" : none
        QTest::addColumn<QString>("platform");
        const auto row = [](const char* name, const QByteArray& plist, const char* osRelease,
                            bool inUsrLib, const QString& product, const QString& platform) {
            QTest::newRow(name) << plist << QByteArray(osRelease) << inUsrLib << product
                                << platform;
        };
        const QByteArray mac = platform::Plist::serialize(
            QVariantMap{{"ProductVersion", "14.5"}, {"ProductBuildVersion", "23F79"}});
        const QByteArray none;
        row("os-release without build", none, "NAME=\"Debian GNU/Linux\"\nVERSION_ID=\"12\"\n",
            false, "12", "12()");
        row("os-release with build", none, "VERSION_ID=22.04\nBUILD_ID=rolling\n", false, "22.04",
            "22.04(rolling)");
        row("file wins over os-release", mac, "VERSION_ID=12\n", false, "14.5", "14.5(23F79)");
        row("truncated file, os-release used", mac.left(mac.size() / 2), "VERSION_ID=12\n", false,
            "12", "12()");
        row("file without product version",
            platform::Plist::serialize(QVariantMap{{"ProductBuildVersion", "23F79"}}),
            "VERSION_ID=12\n", false, "", "");
        row("os-release without version id", none, "ID=arch\nBUILD_ID=rolling\n", false, "", "");
        row("os-release only in /usr/lib", none, "VERSION_ID='39'\n", true, "39", "39()");
    }

    void systemVersionSources() {
        QFETCH(QByteArray, plist);
        QFETCH(QByteArray, osRelease);
        QFETCH(bool, osReleaseInUsrLib);
        QFETCH(QString, product);
        QFETCH(QString, platform);
        if (!plist.isNull()) {
            QVERIFY(
                writeBytes(systemFile("/System/Library/CoreServices/SystemVersion.plist"), plist));
        }
        if (!osRelease.isNull()) {
            QVERIFY(writeBytes(
                systemFile(osReleaseInUsrLib ? "/usr/lib/os-release" : "/etc/os-release"),
                osRelease));
        }
        QCOMPARE(GetSystemVersion().value_or(QString()), product);
        QCOMPARE(GetSystemVersion().has_value(), !product.isEmpty());
        const qsizetype mark = runLogMark();
        QCOMPARE(GetPlatformVersion().value_or(QString()), platform);
        QCOMPARE(runLogSince(mark),
                 QStringList{QStringLiteral("GetPlatformVersion # : fullVersion = %1")
                                 .arg(platform.isEmpty() ? "(null)" : platform)});
    }

    // An absent system version is looked up again; once found it stays, while
    // the platform version is read afresh.
    void systemVersionIsCachedOncePlatformVersionIsNot() {
        QVERIFY(!GetSystemVersion());
        QVERIFY(writeSystemVersion({{"ProductVersion", "14.5"}, {"ProductBuildVersion", "23F79"}}));
        QCOMPARE(GetSystemVersion(), std::optional<QString>("14.5"));
        QVERIFY(
            writeSystemVersion({{"ProductVersion", "15.0"}, {"ProductBuildVersion", "24A335"}}));
        QCOMPARE(GetSystemVersion(), std::optional<QString>("14.5"));
        QCOMPARE(GetPlatformVersion(), std::optional<QString>("15.0(24A335)"));
    }

    void osRelease_data() {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("value");  // "<absent>" when missing
        const auto row = [](const char* name, const char* content, const QString& key,
                            const QString& value) {
            QTest::newRow(name) << QByteArray(content) << key << value;
        };
        row("double quotes", "PRETTY_NAME=\"Debian 12\"\n", "PRETTY_NAME", "Debian 12");
        row("single quotes", "VERSION_ID='12.1'", "VERSION_ID", "12.1");
        row("escapes", "NAME=\"say \\\"hi\\\" \\\\o/\"", "NAME", "say \"hi\" \\o/");
        row("comment and blank", "# VERSION_ID=1\n\n  \nID=x\n", "VERSION_ID", "<absent>");
        row("no equals sign", "VERSION_ID\n", "VERSION_ID", "<absent>");
        row("crlf", "VERSION_ID=\"12\"\r\n", "VERSION_ID", "12");
        row("unbalanced quote kept", "VERSION_ID=\"12", "VERSION_ID", "\"12");
    }

    void osRelease() {
        QFETCH(QByteArray, content);
        QFETCH(QString, key);
        QFETCH(QString, value);
        const QVariantMap values = zq::utility::parseOsRelease(content);
        QCOMPARE(values.contains(key) ? values.value(key).toString() : "<absent>", value);
    }

    void needUpdate_data() {
        QTest::addColumn<QString>("installed");  // "" : no info dictionary
        QTest::addColumn<QString>("remote");
        QTest::addColumn<bool>("result");
        QTest::addColumn<QString>("entry");
        const auto row = [](const char* name, const QString& installed, const QString& remote,
                            bool result, const QString& entry) {
            QTest::newRow(name) << installed << remote << result << entry;
        };
        row("newer remote, blanks trimmed", "6.9.2", " 6.10.0\n", true, "return 1");
        row("same after trimming", "6.10.0", "\t6.10.0\r\n", false, "return 0");
        row("older remote", "6.10.1", "6.10.0", false, "return -1");
        row("longer remote", "6.10", "6.10.0", true, "return 1");
        row("not installed", "", "6.10.0", false, "return 0");
    }

    void needUpdate() {
        QFETCH(QString, installed);
        QFETCH(QString, remote);
        QFETCH(bool, result);
        QFETCH(QString, entry);
        if (!installed.isEmpty()) {
            QVERIFY(writeInfoPlist({{"CFBundleFullVersion", installed}}));
        }
        const qsizetype mark = runLogMark();
        QCOMPARE(VeskoInputNeedUpdate(remote), result);
        const QStringList entries = runLogSince(mark);
        QVERIFY(!entries.isEmpty());
        QCOMPARE(entries.last(), "VeskoInputNeedUpdate # : " + entry);
    }

    void infoDictionaryCaching() {
        QVERIFY(!GetInputMethodVersion());
        QVERIFY(!GetInfoDictionary());
        // Nothing was cached: a file that appears later is picked up.
        QVERIFY(writeInfoPlist({{"CFBundleFullVersion", "6.9.2"},
                                {"CFBundleInfoDictionaryVersion", "6.0"},
                                {"ZQBuildDate", "2025-04-16"}}));
        QCOMPARE(GetInputMethodVersion(), std::optional<QString>("6.9.2"));
        QCOMPARE(GetInputMethodCoreVersion(), std::optional<QString>("6.0"));
        QCOMPARE(GetInputMethodBuildDate(), std::optional<QString>("2025-04-16"));
        // Once read, the values stay; only the fresh read sees a new file.
        QVERIFY(writeInfoPlist({{"CFBundleFullVersion", "7.0"}}));
        QCOMPARE(GetInputMethodVersion(), std::optional<QString>("6.9.2"));
        QCOMPARE(GetInputMethodBuildDate(), std::optional<QString>("2025-04-16"));
        const qsizetype mark = runLogMark();
        QCOMPARE(GetCurrentInputMethodVersion(), std::optional<QString>("7.0"));
        GetInputMethodCoreVersion();
        GetInputMethodBuildDate();
        GetInfoDictionary();
        QCOMPARE(runLogSince(mark),
                 (QStringList{"GetCurrentInputMethodVersion # : fullVersion = 7.0",
                              "GetInputMethodCoreVersion # : coreVersion = 6.0",
                              "GetInputMethodBuildDate # : buildDate = 2025-04-16",
                              "GetInfoDictionary # : beg"}));
    }

    void infoDictionaryOfTheWrongShape_data() {
        QTest::addColumn<QByteArray>("file");
        const QByteArray binary = platform::Plist::serialize(
            QVariantMap{{"CFBundleFullVersion", "6.9.2"}, {"ZQVersionForPreviewTest", true}},
            platform::Plist::Format::Binary);
        QTest::newRow("array") << platform::Plist::serialize(QVariantList{"6.9.2"});
        QTest::newRow("truncated binary") << binary.left(binary.size() - 3);
        QTest::newRow("version of another type")
            << platform::Plist::serialize(QVariantMap{{"CFBundleFullVersion", QVariantList{6, 9}}});
    }

    void infoDictionaryOfTheWrongShape() {
        QFETCH(QByteArray, file);
        QVERIFY(writeBytes(infoPlistFixturePath(), file));
        QVERIFY(!GetInputMethodVersion());
        QVERIFY(!GetCurrentInputMethodVersion());
        QVERIFY(!ZQInputMethodIsPreviewTestVersion());
        QVERIFY(!ZQInputMethodIsInternalTestVersion());
        QCOMPARE(GetQuDao(), "0000");
        QVERIFY(!VeskoInputNeedUpdate("99"));
    }

    void testVersionFlags_data() {
        QTest::addColumn<QVariant>("value");  // null: absent
        QTest::addColumn<bool>("flag");
        QTest::newRow("absent") << QVariant() << false;
        QTest::newRow("true") << QVariant(true) << true;
        QTest::newRow("YES") << QVariant("YES") << true;
        QTest::newRow("zero text") << QVariant("0") << false;
        QTest::newRow("dictionary") << QVariant(QVariantMap{{"a", true}}) << false;
    }

    void testVersionFlags() {
        QFETCH(QVariant, value);
        QFETCH(bool, flag);
        QVariantMap info{{"CFBundleFullVersion", "1.0"}};
        if (value.isValid()) {
            info.insert("ZQVersionForPreviewTest", value);
            info.insert("ZQVersionForInternalTest", value);
        }
        QVERIFY(writeInfoPlist(info));
        QCOMPARE(ZQInputMethodIsPreviewTestVersion(), flag);
        QCOMPARE(ZQInputMethodIsInternalTestVersion(), flag);
    }

    void hardwareStrings_data() {
        QTest::addColumn<QByteArray>("raw");
        QTest::addColumn<QString>("text");
        QTest::newRow("dmi line") << QByteArray("Precision 5570\n") << "Precision 5570";
        QTest::newRow("device tree") << QByteArray("Raspberry Pi 4 Model B Rev 1.4\0", 31)
                                     << "Raspberry Pi 4 Model B Rev 1.4";
        QTest::newRow("127 bytes fit") << QByteArray(127, 'm') << QString(127, u'm');
        QTest::newRow("128 bytes do not") << QByteArray(128, 'm') << "Unknown";
        QTest::newRow("127 bytes and a line end") << QByteArray(127, 'm') + '\n'
                                                  << QString(127, u'm');
        QTest::newRow("empty") << QByteArray() << "Unknown";
        QTest::newRow("blanks") << QByteArray("   \n") << "Unknown";
        QTest::newRow("not ascii") << QByteArray("Modèle\n") << "Unknown";
        QTest::newRow("inner nul") << QByteArray("ab\0cd", 5) << "Unknown";
    }

    void hardwareStrings() {
        QFETCH(QByteArray, raw);
        QFETCH(QString, text);
        QCOMPARE(zq::utility::hardwareStringFromBytes(raw), text);
    }

    void hardwareModelSources_data() {
        QTest::addColumn<QByteArray>("productName");  // null: no file
        QTest::addColumn<QByteArray>("deviceTree");   // null: no file
        QTest::addColumn<QString>("model");
        QTest::newRow("device tree")
            << QByteArray() << QByteArray("Pine64 Board\0", 13) << "Pine64 Board";
        QTest::newRow("dmi first") << QByteArray("PC\n") << QByteArray("Board") << "PC";
        QTest::newRow("none") << QByteArray() << QByteArray() << "Unknown";
    }

    void hardwareModelSources() {
        QFETCH(QByteArray, productName);
        QFETCH(QByteArray, deviceTree);
        QFETCH(QString, model);
        if (!productName.isNull()) {
            QVERIFY(writeBytes(systemFile("/sys/class/dmi/id/product_name"), productName));
        }
        if (!deviceTree.isNull()) {
            QVERIFY(writeBytes(systemFile("/proc/device-tree/model"), deviceTree));
        }
        QCOMPARE(GetHardwareModel(), model);
        // Kept either way, "Unknown" included.
        QVERIFY(writeBytes(systemFile("/sys/class/dmi/id/product_name"), "Changed\n"));
        QCOMPARE(GetHardwareModel(), model);
    }

    void cpuRamStatesFromTheTool() {
        qsizetype mark = runLogMark();
        QCOMPARE(GetCpuRamStates(), QString());
        QCOMPARE(runLogSince(mark), QStringList{"GetCpuRamStates # : cpuState is null"});

        // Standard error is read; standard output is not. The tool is told "g".
        QVERIFY(writeProcessInfoTool(
            "echo 'out=1&out=2'\n[ \"$1\" = g ] && [ $# -eq 1 ] && echo 'cpu=12&mem=34' >&2"));
        mark = runLogMark();
        QCOMPARE(GetCpuRamStates(), "&mem=34\n");
        QCOMPARE(runLogSince(mark), QStringList{"GetCpuRamStates # : cpuState = &mem=34\n"});

        // Nothing from the first ampersand on, and a failing tool: no states.
        QVERIFY(writeProcessInfoTool("echo cpu=12 >&2; exit 3"));
        QCOMPARE(GetCpuRamStates(), QString());
    }

    void bootTimeText_data() {
        QTest::addColumn<QByteArray>("stat");
        QTest::addColumn<double>("seconds");
        QTest::newRow("btime line")
            << QByteArray("cpu 1 2 3\nbtime 1712345678\nprocesses 9\n") << 1712345678.0;
        QTest::newRow("missing") << QByteArray("cpu 1 2 3\n") << 0.0;
        QTest::newRow("garbage") << QByteArray("btime soon\n") << 0.0;
    }

    void bootTimeText() {
        QFETCH(QByteArray, stat);
        QFETCH(double, seconds);
        QCOMPARE(zq::utility::bootTimeFromProcStat(stat), seconds);
    }

    void bootTimeOfThisMachine() {
        const double boot = GetSystemBootTime();
        QVERIFY(boot > 0.0);
        QVERIFY(boot <= QDateTime::currentSecsSinceEpoch());
        QCOMPARE(boot, std::floor(boot));
    }

    void fileSize() {
        QVERIFY(writeBytes(QString::fromLocal8Bit(qgetenv("HOME")) + "/five.bin", "12345"));
        qsizetype mark = runLogMark();
        QCOMPARE(GetFileSize("~/five.bin"), std::optional<qint64>(5));
        QCOMPARE(runLogSince(mark), QStringList{"GetFileSize # : size = 5"});
        mark = runLogMark();
        QVERIFY(!GetFileSize("~/missing.bin"));
        QCOMPARE(runLogSince(mark), QStringList{"GetFileSize # : size = nil"});
    }
};

QTEST_GUILESS_MAIN(TestSystemInfo)
#include "tst_systeminfo.moc"
