// The help list service and its cache, against the reference web service on
// loopback: both requests, the version rule, the layouts, the cache file, the
// pictures and the seed, and every error text under injected faults.

#include "help/ZQHelpListInfoDataManager.h"
#include "platform/Plist.h"
#include "tests/help/HelpTestSupport.h"
#include "tests/support/RefService.h"

#include <QBuffer>
#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using helptest::argsOf;
using helptest::readFile;
using helptest::settle;
using helptest::writeFile;

namespace {

constexpr int kWaitMs = 30000;

struct Outcome {
    bool upToDate = false;
    bool expandFirst = false;
    std::optional<QString> version;
    std::optional<ZQHelpInfoDataList> list;
    std::optional<QString> error;
    bool mainThread = false;
};

enum class Kind { Wall, Plain };

void request(Kind kind, const std::optional<QString>& version, QObject* context,
             QList<Outcome>* calls) {
    auto record = [calls](bool upToDate, bool expandFirst, const std::optional<QString>& v,
                          const std::optional<ZQHelpInfoDataList>& list,
                          const std::optional<QString>& error) {
        calls->append({upToDate, expandFirst, v, list, error, helptest::onMainThread()});
    };
    if (kind == Kind::Wall) {
        ZQHelpListInfoDataManager::requestHelpListInfoByEncrytWallWithVersion(version, context,
                                                                              record);
    } else {
        ZQHelpListInfoDataManager::requestHelpListInfoWithVersion(version, context, record);
    }
}

// What the local read delivered (it completes before it returns).
struct LocalRead {
    int calls = 0;
    bool expand = false;
    std::optional<QString> version;
    std::optional<ZQHelpInfoDataList> list;
    std::optional<QString> error;
};

LocalRead readLocal() {
    LocalRead r;
    ZQHelpListInfoDataManager::getHelpListInfoFromLocalPlist(
        [&r](bool expand, const std::optional<QString>& version,
             const std::optional<ZQHelpInfoDataList>& list, const std::optional<QString>& error) {
            r = {r.calls + 1, expand, version, list, error};
        });
    return r;
}

QByteArray pngBytes(int w, int h) {
    QImage image(w, h, QImage::Format_RGB32);
    image.fill(Qt::darkCyan);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

QJsonObject entry(const QJsonValue& id, const QJsonValue& type, const QString& image,
                  bool brief = true, bool detail = true) {
    QJsonObject e{{"id", id}, {"type", type}, {"title", "标题"}, {"image", image}};
    if (brief) {
        e.insert("brief", "简答");
    }
    if (detail) {
        e.insert("detail", "详细说明");
    }
    return e;
}

QStringList idsOf(const ZQHelpInfoDataList& list) {
    QStringList ids;
    for (const ZQHelpInfoDataModel& m : list) {
        ids << m.helpId;
    }
    return ids;
}

}  // namespace

Q_DECLARE_METATYPE(Kind)

class TestHelpList : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QVERIFY(helptest::prepareMachine());
        QVERIFY2(_service.start(), qPrintable(_service.errorString()));
    }

    void init() {
        QVERIFY(_service.clearFaults());
        QVERIFY(_service.resetHelpList());
        QDir(cacheFolder()).removeRecursively();
        QFile::remove(cacheFolder());
    }

    void cleanupTestCase() { _service.stop(); }

    // --- requests ---------------------------------------------------------------

    // The plain GET: the common fields and the held version as they are, and
    // no field the service does not ask for. (The wall's query: tst_helplistmodel.)
    void plainRequestCarriesTheCommonFields() {
        const qint64 mark = _service.mark();
        QList<Outcome> calls;
        request(Kind::Plain, QStringLiteral("v 7"), nullptr, &calls);
        QTRY_COMPARE_WITH_TIMEOUT(calls.size(), 1, kWaitMs);
        QVERIFY(calls[0].mainThread);
        const QJsonArray entries = _service.entries("/mac_feed_tpl", mark);
        QCOMPARE(entries.size(), 1);
        const QJsonObject e = entries[0].toObject();
        QCOMPARE(e.value("method").toString(), QString("GET"));
        QCOMPARE(argsOf(e.value("args").toArray()),
                 (QMap<QString, QString>{{"h", helptest::kDeviceId},
                                         {"v", helptest::kImVersion},
                                         {"r", helptest::kChannel},
                                         {"os", helptest::kSystemVersion},
                                         {"hv", "v 7"}}));
        QCOMPARE(e.value("body").toObject().value("len").toInt(), 0);
        for (const auto& [name, value] : helptest::headersOf(e)) {
            QVERIFY2(!QStringList({"Cache-Control", "Pragma", "Content-Length"})
                          .contains(name, Qt::CaseInsensitive),
                     qPrintable(name + ": " + value));
        }
    }

    // The rule both requests share: newer only when the served version's integer
    // value is above the held one's.
    void versionRule_data() {
        QTest::addColumn<QVariant>("served");
        QTest::addColumn<QVariant>("held");
        QTest::addColumn<bool>("newer");
        QTest::addColumn<QString>("versionText");
        QTest::newRow("same version") << QVariant(3) << QVariant("3") << false << "";
        QTest::newRow("one above") << QVariant(4) << QVariant("3") << true << "4";
        QTest::newRow("10 is above 9") << QVariant("10") << QVariant("9") << true << "10";
        QTest::newRow("non-numeric served") << QVariant("abc") << QVariant("0") << false << "";
        QTest::newRow("fraction compares by its integer")
            << QVariant(3.9) << QVariant("3") << false << "";
    }

    void versionRule() {
        QFETCH(QVariant, served);
        QFETCH(QVariant, held);
        QFETCH(bool, newer);
        QFETCH(QString, versionText);
        const QVariantMap entry{{"id", 7},      {"type", 1},     {"title", "t"},
                                {"brief", "b"}, {"detail", "d"}, {"image", "http://h/p.png"}};
        const QVariantMap answer{
            {"version", served}, {"expandFirst", true}, {"helplist", QVariantList{entry}}};
        const auto read = ZQHelpListInfoDataManager::readHelpListAnswer(answer, held.toString());
        QCOMPARE(read.newer, newer);
        if (newer) {
            QCOMPARE(read.version, versionText);
            QVERIFY(read.expandFirst);
            QCOMPARE(idsOf(read.accepted), QStringList{"7"});
            QCOMPARE(read.stored.size(), 1);
        } else {
            QVERIFY(!read.expandFirst);
            QVERIFY(read.accepted.isEmpty());
            QVERIFY(read.stored.isEmpty());
        }
    }

    // Through the wall; an entry read back from the cache equals the one delivered.
    void newerListIsFilteredAndCached() {
        QVERIFY(writeFile(cacheFolder() + "/helpinfo_9.png", "picture"));
        const QString png = "{base}/static/help/helpinfo_1.png";
        QJsonObject kept{{"id", 8},         {"type", 2},    {"title", "只有标题和简答"},
                         {"brief", "简答"}, {"image", png}, {"extra", "dropped"}};
        const QJsonArray list{entry(1, 1, png),
                              entry("two", "3", png, false, true),
                              entry(3, 4, png),                          // unknown layout
                              entry(4, 1, "{base}/static/help/x.jpeg"),  // no suffix
                              entry(5, 1, "{base}/static/help/x.PNG"),   // no suffix
                              entry(6, 1, png, true, false),             // detail missing
                              QJsonValue(17),                            // not an entry
                              kept,
                              entry(9, 2, png, false, true),  // type 2 needs a brief
                              QJsonObject{{"id", 10}, {"type", 3}, {"detail", "d"}, {"image", png}},
                              entry(11, 1, ".png"),    // only the suffix
                              entry(12, 1, "a.gif")};  // the shortest address with a suffix
        QVERIFY(_service.setHelpList({{"version", 5}, {"expandFirst", "yes"}, {"helplist", list}}));
        QList<Outcome> calls;
        request(Kind::Wall, std::nullopt, nullptr, &calls);
        QTRY_COMPARE_WITH_TIMEOUT(calls.size(), 1, kWaitMs);
        const Outcome& o = calls[0];
        QCOMPARE(o.error, std::nullopt);
        QVERIFY(!o.upToDate);
        QVERIFY(o.expandFirst);
        QCOMPARE(o.version, std::optional<QString>("5"));
        QCOMPARE(idsOf(*o.list), (QStringList{"1", "two", "8", "12"}));
        QCOMPARE(o.list->at(0).imageUrl, _service.baseUrl() + "/static/help/helpinfo_1.png");
        QCOMPARE(o.list->at(1).dataType, qint64(3));

        // The cache keeps every entry (in answer order, as text), exactly three
        // root keys, and is an XML property list.
        const QByteArray raw = readFile(cacheFile());
        QVERIFY(raw.startsWith("<?xml"));
        const std::optional<QVariantMap> cached = platform::Plist::readDictionary(cacheFile());
        QVERIFY(cached.has_value());
        QCOMPARE(cached->keys(), (QStringList{"expandFirst", "helplist", "version"}));
        QCOMPARE(cached->value("expandFirst"), QVariant("yes"));
        QCOMPARE(cached->value("version"), QVariant("5"));
        const QVariantList stored = cached->value("helplist").toList();
        QCOMPARE(stored.size(), 11);
        QCOMPARE(stored[0].toMap().value("id"), QVariant("1"));
        QCOMPARE(stored[0].toMap().value("type"), QVariant("1"));
        QCOMPARE(stored[1].toMap().keys(), (QStringList{"detail", "id", "image", "title", "type"}));
        QCOMPARE(stored[6].toMap().keys(), (QStringList{"brief", "id", "image", "title", "type"}));
        QCOMPARE(stored[6].toMap().value("type"), QVariant("2"));
        QVERIFY(!QFileInfo::exists(cacheFolder() + "/helpinfo_9.png"));
        const LocalRead local = readLocal();
        QVERIFY(local.list.has_value() && !local.list->isEmpty());
        QCOMPARE(local.list->at(0), o.list->at(0));
    }

    void faults_data() {
        QTest::addColumn<Kind>("kind");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QVariantMap>("options");
        QTest::addColumn<QString>("error");  // empty: a newer list arrives
        const auto row = [](const char* name, Kind kind, const char* path, const char* fault,
                            const QVariantMap& options, const char* error) {
            QTest::newRow(name) << kind << QString(path) << QString(fault) << options
                                << QString(error);
        };
        const char* tpl = "/mac_feed_tpl";
        row("wall: status 503 is not examined", Kind::Wall, tpl, "status", {{"status", 503}}, "");
        row("wall: empty body", Kind::Wall, "/q", "empty", {}, "failed to decrypt data");
        row("wall: truncated body", Kind::Wall, "/q", "truncate", {}, "network error");
        row("wall: not JSON", Kind::Wall, tpl, "answer", {{"body", "<html>oops</html>"}},
            "Parse json error");
        row("wall: JSON array", Kind::Wall, tpl, "answer", {{"body", "[1, 2]"}},
            "request failed: unacceptable content-type");
        row("wall: empty payload", Kind::Wall, tpl, "answer", {{"body", ""}}, "no data");
        row("plain: empty body", Kind::Plain, tpl, "empty", {}, "no data");
        row("plain: garbage", Kind::Plain, tpl, "garbage", {}, "no data");
        row("plain: closed mid-answer", Kind::Plain, tpl, "close", {}, "network error");
    }

    void faults() {
        QFETCH(Kind, kind);
        QFETCH(QString, path);
        QFETCH(QString, fault);
        QFETCH(QVariantMap, options);
        QFETCH(QString, error);
        QVERIFY(_service.setFault(path, fault, options));
        QVERIFY(writeFile(cacheFile(), "previous cache"));
        QList<Outcome> calls;
        request(kind, QStringLiteral("1"), nullptr, &calls);
        QTRY_COMPARE_WITH_TIMEOUT(calls.size(), 1, kWaitMs);
        settle();
        QCOMPARE(calls.size(), 1);
        const Outcome& o = calls[0];
        QVERIFY(o.mainThread);
        if (error.isEmpty()) {
            QCOMPARE(o.error, std::nullopt);
            QVERIFY(!o.upToDate);
            QCOMPARE(o.version, std::optional<QString>("3"));
            QCOMPARE(o.list->size(), servedEntryCount());
        } else {
            QCOMPARE(o.error, std::optional<QString>(error));
            QVERIFY(!o.upToDate);
            QVERIFY(!o.expandFirst);
            QCOMPARE(o.version, std::nullopt);
            QVERIFY(!o.list.has_value());
            QCOMPARE(readFile(cacheFile()), QByteArray("previous cache"));
        }
    }

    void timeoutIsTwentySeconds_data() {
        QTest::addColumn<Kind>("kind");
        QTest::addColumn<int>("delayMs");
        QTest::addColumn<QString>("error");
        // An answer that waits longer than 20 seconds is a transport error; one
        // that waits 15 seconds still arrives.
        QTest::newRow("wall, 25 s") << Kind::Wall << 25000 << "network error";
        QTest::newRow("plain, 15 s") << Kind::Plain << 15000 << "";
    }

    void timeoutIsTwentySeconds() {
        QFETCH(Kind, kind);
        QFETCH(int, delayMs);
        QFETCH(QString, error);
        QVERIFY(_service.setFault("/mac_feed_tpl", "delay", {{"ms", delayMs}, {"count", 1}}));
        QList<Outcome> calls;
        request(kind, std::nullopt, nullptr, &calls);
        QTRY_COMPARE_WITH_TIMEOUT(calls.size(), 1, 60000);
        QCOMPARE(calls[0].error.value_or(QString()), error);
    }

    void destroyedContextGetsNoCompletion() {
        QVERIFY(_service.setFault("/mac_feed_tpl", "delay", {{"ms", 300}}));
        QList<Outcome> abandoned;
        auto* context = new QObject;
        request(Kind::Wall, std::nullopt, context, &abandoned);
        request(Kind::Plain, std::nullopt, context, &abandoned);
        delete context;
        QList<Outcome> later;
        QObject alive;
        request(Kind::Plain, std::nullopt, &alive, &later);
        QTRY_COMPARE_WITH_TIMEOUT(later.size(), 1, kWaitMs);
        settle();
        QCOMPARE(abandoned.size(), 0);
    }

    // --- the cache --------------------------------------------------------------

    void localReadFiltersBySuffixOnly() {
        const QVariantList list{
            QVariantMap{{"id", "1"}, {"type", "4"}, {"title", "t"}, {"image", "http://h/a.png"}},
            QVariantMap{{"id", "2"}, {"type", "1"}, {"title", "t"}, {"image", "http://h/a.jpeg"}},
            QVariant("not an entry"),
            QVariantMap{{"id", "3"}, {"type", "2"}, {"image", "http://h/c.gif"}}};
        QVERIFY(platform::Plist::writeFile(
            cacheFile(),
            QVariantMap{{"expandFirst", " +0001"}, {"version", "7"}, {"helplist", list}}));
        const LocalRead local = readLocal();
        QCOMPARE(local.calls, 1);
        QVERIFY(local.expand);
        QCOMPARE(local.version, std::optional<QString>("7"));
        QCOMPARE(local.error, std::nullopt);
        QCOMPARE(idsOf(*local.list), (QStringList{"1", "3"}));
    }

    void localReadOfBrokenCache_data() {
        QTest::addColumn<QByteArray>("content");  // null: no file
        QTest::newRow("no cache") << QByteArray();
        QTest::newRow("truncated")
            << platform::Plist::serialize(QVariantMap{{"version", "3"}}).left(60);
    }

    void localReadOfBrokenCache() {
        QFETCH(QByteArray, content);
        QVERIFY(content.isNull() || writeFile(cacheFile(), content));
        const LocalRead local = readLocal();
        QCOMPARE(local.calls, 1);
        QCOMPARE(local.error, std::optional<QString>("no data"));
        QVERIFY(!local.expand);
        QCOMPARE(local.version, std::nullopt);
        QVERIFY(!local.list.has_value());
        QCOMPARE(QFile::exists(cacheFile()), !content.isNull());
        QCOMPARE(readFile(cacheFile()), content);
    }

    void cacheReplacementClearsPictures() {
        QVERIFY(writeFile(cacheFolder() + "/helpinfo_1.png", "old picture"));
        QVERIFY(writeFile(cacheFolder() + "/nested/deeper/file", "old"));
        QVERIFY(writeFile(cacheFolder() + "/.hidden", "old"));
        ZQHelpListInfoDataManager::writeHelpInfoToPlistFileWithExpandValue(
            QVariantMap{{"version", 2}, {"expandFirst", true}}, QVariantList{});
        QVERIFY(QFileInfo::exists(cacheFolder() + "/helpinfo_1.png"));  // empty list: nothing
        ZQHelpListInfoDataManager::writeHelpInfoToPlistFileWithExpandValue(
            std::nullopt, QVariantList{QVariantMap{{"id", "1"}}});
        QVERIFY(QFileInfo::exists(cacheFolder() + "/helpinfo_1.png"));  // no answer: nothing

        ZQHelpListInfoDataManager::writeHelpInfoToPlistFileWithExpandValue(
            QVariantMap{{"version", 2}, {"expandFirst", true}, {"other", 1}},
            QVariantList{QVariantMap{{"id", "1"}}});
        QCOMPARE(
            QDir(cacheFolder()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
            QStringList{"helpInfo.plist"});
        QCOMPARE(*platform::Plist::readDictionary(cacheFile()),
                 (QVariantMap{{"version", "2"},
                              {"expandFirst", "1"},
                              {"helplist", QVariantList{QVariantMap{{"id", "1"}}}}}));
    }

    void cacheFolderThatIsAFileIsKept() {
        QVERIFY(writeFile(cacheFolder(), "a file where the folder should be"));
        QList<Outcome> calls;
        request(Kind::Plain, std::nullopt, nullptr, &calls);
        QTRY_COMPARE_WITH_TIMEOUT(calls.size(), 1, kWaitMs);
        // The list still arrives; the write fails silently; nothing is lost.
        QCOMPARE(calls[0].error, std::nullopt);
        QCOMPARE(calls[0].list->size(), servedEntryCount());
        QCOMPARE(readFile(cacheFolder()), QByteArray("a file where the folder should be"));
    }

    // --- pictures ---------------------------------------------------------------

    void percentEncoding_data() {
        QTest::addColumn<QString>("address");
        QTest::addColumn<QByteArray>("encoded");
        QTest::newRow("percent again")
            << "http://h/a%20b.png" << QByteArray("http://h/a%2520b.png");
        QTest::newRow("hash") << "http://h/a#b" << QByteArray("http://h/a%23b");
        QTest::newRow("chinese") << QString::fromUtf8("http://h/图.png")
                                 << QByteArray("http://h/%E5%9B%BE.png");
        QTest::newRow("kept marks") << "!$&'()*+,-./:;=?@_~" << QByteArray("!$&'()*+,-./:;=?@_~");
        QTest::newRow("escaped marks")
            << "\"<>[]\\^`{|}" << QByteArray("%22%3C%3E%5B%5D%5C%5E%60%7B%7C%7D");
    }

    void percentEncoding() {
        QFETCH(QString, address);
        QFETCH(QByteArray, encoded);
        QCOMPARE(ZQHelpListInfoDataManager::percentEncodedPictureAddress(address), encoded);
    }

    void downloadImageAnswers_data() {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QVariantMap>("options");
        QTest::addColumn<bool>("transportError");
        QTest::addColumn<bool>("decoded");
        QTest::newRow("not found page") << "answer"
                                        << QVariantMap{{"status", 404},
                                                       {"body", "<html>not here</html>"},
                                                       {"content_type", "text/html"}}
                                        << false << false;
        QTest::newRow("closed") << "close" << QVariantMap{} << true << false;
        QTest::newRow("picture with status 500")
            << "answer"
            << QVariantMap{{"status", 500},
                           {"body_base64", QString::fromLatin1(pngBytes(4, 3).toBase64())},
                           {"content_type", "image/png"}}
            << false << true;
    }

    void downloadImageAnswers() {
        QFETCH(QString, fault);
        QFETCH(QVariantMap, options);
        QFETCH(bool, transportError);
        QFETCH(bool, decoded);
        QVERIFY(_service.setFault("/static/help/helpinfo_3.png", fault, options));
        QList<std::tuple<std::optional<QString>, QByteArray, QImage>> calls;
        ZQHelpListInfoDataManager::downloadImageWithUrl(
            _service.url("/static/help/helpinfo_3.png"), nullptr,
            [&](const std::optional<QString>& error, const QByteArray& data, const QImage& image) {
                calls.append({error, data, image});
            });
        QTRY_COMPARE_WITH_TIMEOUT(calls.size(), 1, kWaitMs);
        settle();
        QCOMPARE(calls.size(), 1);
        const auto& [error, data, image] = calls[0];
        QCOMPARE(error.has_value(), transportError);
        if (transportError) {
            QVERIFY(!error->isEmpty());
            QVERIFY(data.isNull());
        }
        QCOMPARE(!image.isNull(), decoded);
    }

    void pictureCacheStoresByContentType() {
        // An address ending in ".jpg" whose bytes are PNG: stored under ".png",
        // looked up under ".jpg", so it is fetched again each time it is shown.
        QVERIFY(QDir().mkpath(cacheFolder()));
        const QByteArray png = pngBytes(6, 5);
        QVERIFY(_service.setFault(
            "/static/help/mislabelled.jpg", "answer",
            {{"body_base64", QString::fromLatin1(png.toBase64())}, {"content_type", "image/png"}}));
        ZQHelpInfoDataModel model(QVariantMap{
            {"id", "31"}, {"type", 2}, {"image", _service.url("/static/help/mislabelled.jpg")}});
        QCOMPARE(model.imageSuffix, std::optional<QString>(".jpg"));
        const qint64 mark = _service.mark();
        QList<QImage> shown;
        ZQHelpListInfoDataManager::loadPictureForEntry(
            model, nullptr, [&](const QImage& image) { shown << image; });
        QTRY_COMPARE_WITH_TIMEOUT(shown.size(), 1, kWaitMs);
        QCOMPARE(shown[0].size(), QSize(6, 5));
        QTRY_COMPARE_WITH_TIMEOUT(readFile(cacheFolder() + "/helpinfo_31.png"), png, kWaitMs);
        QVERIFY(!QFileInfo::exists(cacheFolder() + "/helpinfo_31.jpg"));
        ZQHelpListInfoDataManager::loadPictureForEntry(
            model, nullptr, [&](const QImage& image) { shown << image; });
        QTRY_COMPARE_WITH_TIMEOUT(shown.size(), 2, kWaitMs);
        QCOMPARE(_service.journal(mark).size(), 2);
    }

    void cachedPictureIsNotDownloaded() {
        const QByteArray png = pngBytes(3, 2);
        QVERIFY(writeFile(cacheFolder() + "/helpinfo_5.png", png));
        ZQHelpInfoDataModel model(QVariantMap{
            {"id", 5}, {"type", 2}, {"image", _service.url("/static/help/helpinfo_1.png")}});
        const qint64 mark = _service.mark();
        QList<QImage> shown;
        ZQHelpListInfoDataManager::loadPictureForEntry(
            model, nullptr, [&](const QImage& image) { shown << image; });
        QCOMPARE(shown.size(), 1);  // at once, from the cache
        QCOMPARE(shown[0].size(), QSize(3, 2));
        settle();
        QCOMPARE(_service.journal(mark).size(), 0);
    }

    void pictureIsNotStoredWithoutCacheFolder() {
        ZQHelpInfoDataModel model(QVariantMap{
            {"id", 6}, {"type", 2}, {"image", _service.url("/static/help/helpinfo_1.png")}});
        QList<QImage> shown;
        ZQHelpListInfoDataManager::loadPictureForEntry(
            model, nullptr, [&](const QImage& image) { shown << image; });
        QTRY_COMPARE_WITH_TIMEOUT(shown.size(), 1, kWaitMs);
        settle();
        // Creating the folder here would stop the seed from ever filling it.
        QVERIFY(!QFileInfo::exists(cacheFolder()));
    }

    // --- the seed ---------------------------------------------------------------

    void seedFillsMissingCache() {
        ZQHelpListInfoDataManager::checkUserHelpInfoFile();
        QCOMPARE(readFile(cacheFile()), readFile(":/help/helpInfo.plist"));
        const LocalRead local = readLocal();
        QCOMPARE(local.error, std::nullopt);
        QVERIFY(local.expand);
        QCOMPARE(local.version, std::optional<QString>("1"));
        QCOMPARE(local.list->size(), 4);
        QSet<qint64> layouts;
        for (const ZQHelpInfoDataModel& e : *local.list) {
            // Every seed entry is one the service would also accept, and its
            // picture is found in the cache without a download.
            QVERIFY2(e.hasRequiredFieldsForLayout(), qPrintable(e.helpId));
            layouts.insert(e.dataType);
            const QString picture =
                ZQHelpListInfoDataManager::pictureCachePath(e.helpId, e.imageSuffix);
            QVERIFY2(!QImage(picture).isNull(), qPrintable(picture));
            QVERIFY(QFileInfo(picture).isWritable());
        }
        QCOMPARE(layouts, (QSet<qint64>{1, 2, 3}));
    }

    void seedLeavesExistingCache() {
        QVERIFY(QDir().mkpath(cacheFolder()));
        ZQHelpListInfoDataManager::checkUserHelpInfoFile();
        QCOMPARE(QDir(cacheFolder()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
                 QStringList());
    }

private:
    QString cacheFolder() const { return ZQHelpListInfoDataManager::helpInfoFolderPath(); }
    QString cacheFile() const { return ZQHelpListInfoDataManager::helpInfoPlistPath(); }
    // Entries of the service's built-in list (all of them acceptable).
    qsizetype servedEntryCount() {
        const qsizetype n =
            _service.control("GET", "/__control/helplist").value("helplist").toArray().size();
        return n > 0 ? n : -1;
    }
    zq::test::RefService _service;
};

QTEST_GUILESS_MAIN(TestHelpList)
#include "tst_helplist.moc"
