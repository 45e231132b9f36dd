#include "utility/ZQSiblingApps.h"
#include "utility/ZQSiblingApps_p.h"

#include "platform/Workspace.h"
#include "utility/ProductLocations.h"
#include "utility/SystemInfo.h"

#include <array>
#include <functional>

using zq::utility::detail::str;

namespace {

// Index 1 to 14 of the process table; entry 0 is unused.
constexpr std::array<const char*, 15> kProcessTable = {
    nullptr,
    "/MacOS/VeskoInput",
    "/VeskoService",
    "/Library/Input Methods/VeskoInput.app/Contents/VeskoPreference.app/Contents/MacOS/"
    "VeskoPreference",
    "/Library/Input Methods/VeskoInput.app/Contents/ZQAssistPanel.app/Contents/MacOS/ZQAssistPanel",
    "/Library/Input Methods/VeskoInput.app/Contents/ZQEmojiPanelTool.app/Contents/MacOS/"
    "ZQEmojiPanelTool",
    "/System/Library/CoreServices/ControlStrip.app/Contents/MacOS/TouchBarAgent",
    "/Library/Input Methods/VeskoInput.app/Contents/ZQPicFaceTool.app/Contents/MacOS/ZQPicFaceTool",
    "/Library/Input Methods/VeskoInput.app/Contents/ZQInputStatPanel.app/Contents/MacOS/"
    "ZQInputStatPanel",
    "/Library/Input Methods/VeskoInput.app/Contents/VeskoTaskManager.app/Contents/MacOS/"
    "VeskoTaskManager",
    "/System Preferences.app/Contents/MacOS/System Preferences",
    "/usr/libexec/pboard",
    "/System/Library/CoreServices/TextInputMenuAgent.app/Contents/MacOS/TextInputMenuAgent",
    "/Library/Input Methods/VeskoInput.app/Contents/VeskoLauncher",
    "/Library/Input Methods/VeskoInput.app/Contents/VeskoTextRecognition",
};

constexpr qint64 kTouchBarAgentIndex = 6;
constexpr const char* kTouchBarServer = "TouchBarServer";

bool listShows(const QString& processListText, qint64 index,
               const std::function<bool()>& touchBarServerCounts) {
    const QString text = zq::utility::processSearchText(index);
    if (text.isEmpty()) {
        return false;
    }
    if (processListText.contains(text)) {
        return true;
    }
    return index == kTouchBarAgentIndex && touchBarServerCounts() &&
           processListText.contains(str(kTouchBarServer));
}

}  // namespace

// ---------------------------------------------------------------------------
// Process table

namespace zq::utility {

QString processTableText(qint64 index) {
    if (index < 1 || index >= qint64(kProcessTable.size())) {
        return {};
    }
    return str(kProcessTable[size_t(index)]);
}

QString processSearchText(qint64 index) {
    const QString text = processTableText(index);
    if (text.startsWith(str(kDesignBundleRoot))) {
        return expandProductPath(text);
    }
    return text;
}

bool processListShows(const QString& processListText, qint64 index, bool touchBarServerCounts) {
    return listShows(processListText, index,
                     [touchBarServerCounts] { return touchBarServerCounts; });
}

}  // namespace zq::utility

bool isVeskoProcessExist(qint64 index) {
    if (zq::utility::processTableText(index).isNull()) {
        return false;
    }
    const QStringList commandLines = platform::ProcessList::commandLines();
    if (commandLines.isEmpty()) {
        return false;  // no process list to read
    }
    return listShows(commandLines.join(QLatin1Char('\n')), index, [] {
        return isCurrentSystemVersionLargerThanOrEqualTo(QStringLiteral("10.13"));
    });
}
