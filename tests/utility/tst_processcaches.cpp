#include "utility/Utility.h"

#include "UtilityTestSupport.h"

#include <latch>
#include <thread>
#include <vector>

using namespace testsupport;

class TestProcessCaches : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QVERIFY(enableUtilityRunLog());
        const QString system = QString::fromLocal8Bit(qgetenv("ZQ_TEST_ROOT")) + "/system";
        qputenv("VESKO_SYSTEM_ROOT", QFile::encodeName(system));
        QVERIFY(writeBytes(system + "/etc/machine-id", "8c2b5f0e4d1a4b7c9e3f2a1b0c9d8e7f\n"));
        QVERIFY(writeBytes(system + "/etc/os-release", "VERSION_ID=\"12\"\n"));
        QVERIFY(writeBytes(system + "/sys/class/dmi/id/product_name", "Box\n"));
        QVERIFY(writeInfoPlist({{"CFBundleFullVersion", "6.9.2"}, {"ZQQuDao", "1234"}}));
    }

    void init() { zq::utility::resetProcessCachesForTesting(); }

    // Every utility's first use raced from many threads: each value is filled
    // once and every thread sees the same.
    void concurrentFirstUseOfTheUtilities() {
        constexpr int kThreads = 12;
        std::latch start(kThreads);
        std::vector<QStringList> results(kThreads);
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([&, t] {
                start.arrive_and_wait();
                results[t] = QStringList{ZQGetUserLibAppSupportFolder(),
                                         GetUserImPath(),
                                         GetAddressBookFilePath(),
                                         GetUUID().value_or(QString()),
                                         GetUUIDSource().value_or(QString()),
                                         GetQuDao(),
                                         GetInputMethodVersion().value_or(QString()),
                                         GetSystemVersion().value_or(QString()),
                                         GetHardwareModel(),
                                         GetHardwareArchitecture(),
                                         GetCpuArchitecture()};
            });
        }
        for (auto& thread : threads) {
            thread.join();
        }
        for (int t = 1; t < kThreads; ++t) {
            QCOMPARE(results[t], results[0]);
        }
        QCOMPARE(results[0].mid(3, 6), (QStringList{"8C2B5F0E4D1A4B7C9E3F2A1B0C9D8E7F",
                                                    "8C2B5F0E-4D1A-4B7C-9E3F-2A1B0C9D8E7F", "1234",
                                                    "6.9.2", "12", "Box"}));
        QVERIFY(!results[0].at(9).isEmpty() && results[0].at(9) != u"Unknown");
        for (const char* name :
             {"IMUserFolder", "IMUserPath", "AddressBookPath", "DeviceIdentifier", "PlatformUUID",
              "Channel", "InfoDictionary", "InputMethodVersion", "SystemVersion", "HardwareModel",
              "HardwareMachine", "CpuArchitecture"}) {
            QCOMPARE(zq::utility::processCacheFillCount(QString::fromLatin1(name)), 1);
        }
    }
};

QTEST_GUILESS_MAIN(TestProcessCaches)
#include "tst_processcaches.moc"
