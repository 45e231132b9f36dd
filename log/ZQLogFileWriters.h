#pragma once

#include <QString>

// Four writers of whole log artefacts that the input method's processes
// share, beside the run log (they do not consult its configuration and
// always write). One process-wide lock ("RecordLogToFile") serialises all
// four; any thread may call them. A text or content given as a null string
// (none) makes a call do nothing at all. Write failures are ignored.
//
//   RecordLogToFile               <temp log folder>/<fileName>, or macime_<process>.log:
//                                 an XML property-list array of numbered lines; a
//                                 file of 501 lines or more is emptied before the next
//                                 line; each line is also posted as "kZQShowImeLog"
//                                 {"log": line} on the distributed centre, once per call
//   RecordCrashLogToFile          <user data folder>/crash/VeskoServices_<yyyy-MM-dd-HHmmss>.log
//   RecordStrackLogToFile         <user data folder>/Perf/perf_<version>_<yyyyMMddHHmmss>.crash
//   RecordStrackLogAndDateToFile  <user data folder>/Perf/perf_<version>_<yyyyMMddHHmmss>.log
//
// Times are local. The reports are UTF-8 text written atomically (a reader
// sees the earlier file or the new one, never a part).

void RecordLogToFile(const QString& fileName, const QString& content);
void RecordCrashLogToFile(const QString& text);
void RecordStrackLogToFile(const QString& stackText);
void RecordStrackLogAndDateToFile(const QString& stackText, qint64 blockTimeCount,
                                  const QString& runLoopActivity);

namespace zq::log {

inline constexpr const char* kShowImeLogNotification = "kZQShowImeLog";
// A line log holding more lines than this is emptied before the next line.
inline constexpr int kLineLogLimit = 500;

// This process's name (the executable's short name) and bundle identifier
// ("com.vesko." followed by the process name).
QString currentProcessName();
QString currentBundleIdentifier();

// The texts of the two reports, for given facts.
struct ReportFacts {
    QString uuid;           // the device identifier, "(null)" when none
    QString hardwareModel;  // GetHardwareModel()
    QString identifier;     // this process's bundle identifier
    QString version;        // the input method's version, "(null)" when none
    bool touchBar = false;  // the touch-bar agent runs
};
QString stackReport(const ReportFacts& facts, const QString& stackText);
// `perfLines`: the input method's performance log, empty when none.
QString stallReport(const ReportFacts& facts, const QString& stackText, qint64 blockTimeCount,
                    const QString& runLoopActivity, const QStringList& perfLines);

}  // namespace zq::log
