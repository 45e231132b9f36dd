// The feedback form and the measures of the help window, without windows:
// the geometry rules, the text and picture limits, the submission against the
// reference web service on loopback (archive, upload, both reports, every
// alert), and the draft.

#include "help/ZipArchive.h"
#include "help/models/ZQFeedbackFormModel.h"
#include "help/models/ZQHelpGeometry.h"
#include "platform/Plist.h"
#include "platform/Translations.h"
#include "tests/help/HelpTestSupport.h"
#include "tests/support/RefService.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTest>

namespace geometry = zq::help::geometry;

namespace {

constexpr int kWaitMs = 30000;

// Answers the form's file panel and alerts as a user would.
struct RecordingUi : ZQFeedbackFormUi {
    QStringList nextFiles;
    QStringList alerts;  // "T:" title or "I:" informative, then the text
    std::function<void()> dismiss;
    void chooseFiles(std::function<void(const QStringList&)> chosen) override { chosen(nextFiles); }
    void showAlert(const ZQFeedbackAlert& alert, std::function<void()> dismissed) override {
        alerts.append((alert.asTitle ? "T:" : "I:") + alert.text);
        dismiss = std::move(dismissed);
    }
};

struct ManualDebounce : ZQDebounce {
    std::function<void()> job;
    void start(std::function<void()> j) override { job = std::move(j); }
    void cancel() override { job = nullptr; }
    bool isPending() const override { return bool(job); }
    void fire() {
        if (auto j = std::exchange(job, nullptr)) {
            j();
        }
    }
};

QString picture(const QString& name, qint64 size) {
    const QString path = QDir::tempPath() + "/pictures/" + name;
    QByteArray bytes(size, 'x');
    if (size > 0) {
        bytes[0] = char(0x89);
    }
    return helptest::writeFile(path, bytes) ? path : QString();
}

// Removes the pictures, the draft and the archives of earlier rows.
void cleanTemp() {
    const QDir temp(QDir::tempPath());
    QDir(temp.filePath("pictures")).removeRecursively();
    QDir(temp.filePath("draft")).removeRecursively();
    for (const QString& zip : temp.entryList({"zipOfFeedback_*"})) {
        QFile::remove(temp.filePath(zip));
    }
}

QString draftPath() {
    return QDir::tempPath() + "/draft/feedbackDraft.plist";
}

const QString kNetwork = QString::fromUtf8("I:网络异常，请检查网络后重新提交");

}  // namespace

class TestFeedbackForm : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() {
        QVERIFY(helptest::prepareMachine());
        QVERIFY(platform::installTranslations(QCoreApplication::instance()));
        QVERIFY2(_service.start(), qPrintable(_service.errorString()));
    }

    void pictureFrame_data() {
        QTest::addColumn<QSizeF>("size");
        QTest::addColumn<qint64>("type");
        QTest::addColumn<QRectF>("frame");
        QTest::newRow("wide, cut to 270") << QSizeF(600, 300) << 1LL << QRectF(22, 60.5, 270, 135);
        QTest::newRow("tall, cut to 230") << QSizeF(200, 400) << 1LL << QRectF(99.5, 13, 115, 230);
        QTest::newRow("small, kept") << QSizeF(100, 50) << 2LL << QRectF(233, 102, 100, 50);
        QTest::newRow("ratio 0.85 is wide")
            << QSizeF(400, 340) << 3LL << QRectF(20, 26.25, 270, 229.5);
        QTest::newRow("unknown layout") << QSizeF(100, 100) << 4LL << QRectF(-50, -50, 100, 100);
    }

    void pictureFrame() {
        QFETCH(QSizeF, size);
        QFETCH(qint64, type);
        QFETCH(QRectF, frame);
        QCOMPARE(geometry::pictureFrame(size, type), frame);
    }

    void chips_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("unitWidth");
        QTest::addColumn<QString>("title");
        QTest::newRow("short name") << "ab.png" << 20 << "ab.png";
        QTest::newRow("narrow enough") << "abcdefghi.png" << 6 << "abcdefghi.png";
        QTest::newRow("shortest reaching 88") << "abcdefghij.png" << 10 << "abcdef...";
        QTest::newRow("longer prefix") << "abcdefghij.png" << 7 << "abcdefghij...";
        QTest::newRow("none reaches 88") << "abcdefg" << 13 << "abcdef...";
    }

    void chips() {
        QFETCH(QString, name);
        QFETCH(int, unitWidth);
        QFETCH(QString, title);
        // Every character `unitWidth` points wide, except the ellipsis in the
        // last row, which makes no candidate reach 88.
        const auto width = [&](const QString& text) {
            return qreal(text.size() * unitWidth) -
                   (text.endsWith("...") && name == "abcdefg" ? 50 : 0);
        };
        QCOMPARE(geometry::chipTitle(name, width), title);
    }

    void textLimit_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("kept");
        QTest::addColumn<bool>("warning");
        const QString pair = QString::fromUtf8("\xF0\x9F\x98\x80");
        QTest::newRow("300 kept") << QString(300, 'a') << 300 << false;
        QTest::newRow("301 cut") << QString(301, 'a') << 300 << true;
        QTest::newRow("pair across the limit") << QString(299, 'a') + pair << 299 << true;
        QTest::newRow("pair ending at the limit") << QString(298, 'a') + pair << 300 << false;
        QTest::newRow("pair before the limit") << QString(298, 'a') + pair + "b" << 300 << true;
    }

    void textLimit() {
        QFETCH(QString, text);
        QFETCH(int, kept);
        QFETCH(bool, warning);
        ZQFeedbackFormModel form(std::nullopt);
        QCOMPARE(form.setDescription(text), text.left(kept));
        QCOMPARE(form.countWarnVisible(), warning);
        QCOMPARE(form.setContact(text), text.left(kept));
        QCOMPARE(form.setDescription("short"), QString("short"));
        QVERIFY(!form.countWarnVisible());
    }

    void pictureBatches_data() {
        // Steps: "+s1,s2" attaches a batch of files of those sizes, "-i" removes
        // the chip at i.
        QTest::addColumn<QStringList>("steps");
        QTest::addColumn<QStringList>("alerts");
        QTest::addColumn<int>("count");
        QTest::addColumn<qint64>("total");
        const QString three = QString::fromUtf8("T:上传失败，最多可上传3张图片");
        const QString size = QString::fromUtf8("I:上传失败，仅支持上传1MB以下的图片文件");
        QTest::newRow("three together too large")
            << QStringList{"+400000,400000,400000"} << QStringList{size} << 0 << 0LL;
        QTest::newRow("one at a time")
            << QStringList{"+400000", "+400000", "+400000"} << QStringList{size} << 2 << 800000LL;
        QTest::newRow("exactly 1 MiB")
            << QStringList{"+1048000", "+576"} << QStringList{} << 2 << 1048576LL;
        QTest::newRow("one byte more") << QStringList{"+1048577"} << QStringList{size} << 0 << 0LL;
        QTest::newRow("two and two")
            << QStringList{"+1,1", "+1,1"} << QStringList{three} << 2 << 2LL;
        QTest::newRow("four at once") << QStringList{"+1,1,1,1"} << QStringList{three} << 0 << 0LL;
        QTest::newRow("removal frees the size")
            << QStringList{"+600000", "+500000", "-0", "+500000"} << QStringList{size} << 1
            << 500000LL;
    }

    void pictureBatches() {
        QFETCH(QStringList, steps);
        QFETCH(QStringList, alerts);
        QFETCH(int, count);
        QFETCH(qint64, total);
        RecordingUi ui;
        ZQFeedbackFormModel form(std::nullopt);
        form.setUi(&ui);
        int file = 0;
        for (const QString& step : steps) {
            if (step.startsWith('-')) {
                form.deleteButton(step.mid(1).toInt());
                continue;
            }
            ui.nextFiles.clear();
            for (const QString& bytes : step.mid(1).split(',')) {
                ui.nextFiles.append(picture(QString("p%1.png").arg(file++), bytes.toLongLong()));
            }
            form.uploadPicture();
        }
        QCOMPARE(ui.alerts, alerts);
        QCOMPARE(form.pictures().size(), count);
        QCOMPARE(form.totalPictureBytes(), total);
    }

    void submission_data() {
        QTest::addColumn<QStringList>("pictures");
        QTest::addColumn<int>("length");
        QTest::addColumn<QString>("fault");  // "<endpoint> <fault JSON>", or "UploadHost"
        QTest::addColumn<QStringList>("alerts");
        QTest::addColumn<QStringList>("endpoints");  // in any order
        QTest::addColumn<bool>("archiveLeft");

        const QString ok = QString::fromUtf8("T:提交成功");
        const QStringList all{"/api/rec/file.php", "/lost.gif", "/macfb/v1/macfeedback"};
        const QStringList reports{"/lost.gif", "/macfb/v1/macfeedback"};
        QTest::newRow("two pictures")
            << QStringList{"a.png", "b.jpg"} << 10 << "" << QStringList{ok} << all << false;
        QTest::newRow("no pictures, no upload")
            << QStringList{} << 300 << "" << QStringList{ok} << reports << false;
        QTest::newRow("too short")
            << QStringList{"a.png"} << 9 << ""
            << QStringList{QString::fromUtf8("T:字数不足10个，请详细描述您的问题")} << QStringList{}
            << false;
        QTest::newRow("refused with a message")
            << QStringList{} << 20
            << R"(/macfb/v1/macfeedback {"fault":"answer","json":{"code":3,"msg":"请稍后再试"}})"
            << QStringList{QString::fromUtf8("I:请稍后再试")} << reports << false;
        QTest::newRow("refused without a message")
            << QStringList{} << 20
            << R"(/macfb/v1/macfeedback {"fault":"answer","json":{"code":3}})" << QStringList{}
            << reports << false;
        QTest::newRow("undecryptable answer")
            << QStringList{"a.png"} << 20 << R"(/macfb/v1/macfeedback {"fault":"garbage"})"
            << QStringList{kNetwork} << all << true;
        QTest::newRow("picture unreadable") << QStringList{"dir.png"} << 20 << ""
                                            << QStringList{kNetwork} << QStringList{} << false;
        QTest::newRow("upload cannot start") << QStringList{"a.png"} << 20 << "UploadHost"
                                             << QStringList{kNetwork} << QStringList{} << true;
    }

    void submission() {
        QFETCH(QStringList, pictures);
        QFETCH(int, length);
        QFETCH(QString, fault);
        QFETCH(QStringList, alerts);
        QFETCH(QStringList, endpoints);
        QFETCH(bool, archiveLeft);
        cleanTemp();
        QVERIFY(_service.clearFaults());
        _service.setConfigValue("Service/UploadHost",
                                fault == "UploadHost" ? "not an address" : _service.baseUrl());
        if (fault.startsWith('/')) {
            QVariantMap options =
                QJsonDocument::fromJson(fault.section(' ', 1).toUtf8()).toVariant().toMap();
            QVERIFY(_service.setFault(fault.section(' ', 0, 0), options.take("fault").toString(),
                                      options));
        }
        RecordingUi ui;
        ZQFeedbackFormModel form{ZQFeedbackDraft(draftPath())};
        auto* debounce = new ManualDebounce;
        form.setDraftDebounce(std::unique_ptr<ZQDebounce>(debounce));
        form.setUi(&ui);
        form.setClock([] { return QDateTime(QDate(2024, 5, 6), QTime(7, 8, 9, 600), Qt::UTC); });
        const QString description = QString(length, QChar(0x597D));
        form.setDescription(description);
        form.setContact("me@example.com");
        QByteArrayList contents;
        for (const QString& name : pictures) {
            ui.nextFiles = {picture(name, 100 + contents.size())};
            contents.append(helptest::readFile(ui.nextFiles.first()));
            form.uploadPicture();
            if (name == "dir.png") {  // attached, then replaced by a folder
                QVERIFY(QFile::remove(ui.nextFiles.first()) && QDir().mkpath(ui.nextFiles.first()));
            }
        }
        debounce->fire();

        const qint64 mark = _service.mark();
        QSignalSpy finished(&form, &ZQFeedbackFormModel::submissionFinished);
        form.commitFeedback();
        if (endpoints.contains("/macfb/v1/macfeedback")) {
            QVERIFY(finished.wait(kWaitMs));
        }
        QTRY_COMPARE_WITH_TIMEOUT(_service.journal(mark).size(), endpoints.size(), kWaitMs);
        helptest::settle();
        _service.setConfigValue("Service/UploadHost", _service.baseUrl());
        QCOMPARE(ui.alerts, alerts);
        QStringList seen;
        for (const QJsonValue& entry : _service.journal(mark)) {
            seen.append(entry.toObject().value("endpoint").toString());
        }
        seen.sort();
        QCOMPARE(seen, endpoints);

        // What the reports carried (a fault answers instead of the endpoint).
        if (endpoints.contains("/macfb/v1/macfeedback") && fault.isEmpty()) {
            const QJsonObject report =
                _service.entries("/macfb/v1/macfeedback", mark)[0].toObject();
            QMap<QString, QString> fields;
            for (const QJsonValue& p :
                 report.value("multipart").toObject().value("parts").toArray()) {
                fields.insert(p.toObject().value("name").toString(),
                              p.toObject().value("value").toString());
            }
            QCOMPARE(fields.value("detail"), description.left(300));
            QCOMPARE(fields.value("contact"), QString("me@example.com"));
            QCOMPARE(fields.value("isAtta"), QString(pictures.isEmpty() ? "0" : "1"));
            QCOMPARE(fields.value("attaName"),
                     pictures.isEmpty()
                         ? QString()
                         : "zipOfFeedback_" + helptest::kDeviceId + "_736672090.zip");
            const QJsonObject lost = _service.entries("/lost.gif", mark)[0].toObject();
            QCOMPARE(lost.value("endpoint_args").toObject().value("reason").toString(),
                     QString("-1"));
            if (!pictures.isEmpty()) {
                ZipArchive zip;
                QVERIFY(zip.UnzipOpenFile(report.value("stored").toArray()[0].toString()));
                const QVariantMap entries = zip.UnzipToDict();
                QCOMPARE(entries.keys(), (QStringList{"pic_001.png", "pic_002.jpg"}));
                QCOMPARE(entries.value("pic_001.png").toByteArray(), contents.at(0));
                QCOMPARE(entries.value("pic_002.jpg").toByteArray(), contents.at(1));
            }
        }
        // The archive of a successful report is deleted at once; a failed one's stays.
        QCOMPARE(QDir(QDir::tempPath()).entryList({"zipOfFeedback_*"}).size(), int(archiveLeft));
        const bool success = alerts.value(0) == QString::fromUtf8("T:提交成功");
        QCOMPARE(QFile::exists(draftPath()), !success);
        QCOMPARE(form.description(), description.left(300));
        if (success) {
            ui.dismiss();
            debounce->fire();
            QCOMPARE(form.description(), QString());
            QCOMPARE(form.contact(), QString());
            QCOMPARE(form.pictures().size(), 0);
            QVERIFY(!QFile::exists(draftPath()));
        } else {
            QCOMPARE(form.pictures().size(), pictures.size());
        }
    }

    void draft_data() {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<bool>("restored");
        QTest::addColumn<bool>("setAside");
        QTest::newRow("no draft") << QByteArray() << false << false;
        QTest::newRow("saved draft") << QByteArray("save") << true << false;
        QTest::newRow("not a property list") << QByteArray("\x00\xff garbage", 10) << false << true;
        QTest::newRow("a number as text")
            << platform::Plist::serialize(QVariantMap{{"description", 12}}) << false << true;
        QTest::newRow("pictures not a list")
            << platform::Plist::serialize(QVariantMap{{"pictures", "a.png"}}) << false << true;
    }

    void draft() {
        QFETCH(QByteArray, file);
        QFETCH(bool, restored);
        QFETCH(bool, setAside);
        cleanTemp();
        const QString kept = picture("kept.png", 10);
        const QString gone = picture("gone.png", 10);
        if (file == "save") {
            ZQFeedbackFormModel form{ZQFeedbackDraft(draftPath())};
            auto* debounce = new ManualDebounce;
            form.setDraftDebounce(std::unique_ptr<ZQDebounce>(debounce));
            RecordingUi ui;
            ui.nextFiles = {gone, kept};
            form.setUi(&ui);
            form.setDescription("draft text");
            form.uploadPicture();
            form.setContact("qq 1");
            QVERIFY(!QFile::exists(draftPath()));  // only once the user pauses
            debounce->fire();
            QVERIFY(QFile::remove(gone));
        } else if (!file.isEmpty()) {
            QVERIFY(helptest::writeFile(draftPath(), file));
        }
        ZQFeedbackFormModel form{ZQFeedbackDraft(draftPath())};
        form.restoreDraft();
        QCOMPARE(form.description(), restored ? QString("draft text") : QString());
        QCOMPARE(form.contact(), restored ? QString("qq 1") : QString());
        QCOMPARE(form.arrPathOfPicts(), restored ? QStringList{kept} : QStringList{});
        QCOMPARE(QFile::exists(draftPath()), restored);
        QCOMPARE(helptest::readFile(draftPath() + ".unreadable"), setAside ? file : QByteArray());
    }

private:
    zq::test::RefService _service;
};

QTEST_GUILESS_MAIN(TestFeedbackForm)
#include "tst_feedbackform.moc"
