#include "help/models/ZQHelpListModel.h"

#include "help/ZQHelpListInfoDataManager.h"
#include "help/models/ZQHelpGeometry.h"

ZQHelpListModel::ZQHelpListModel(QObject* parent) : QObject(parent) {}

void ZQHelpListModel::initHelpInfoData() {
    _localHpInfoDataArray.clear();
    _helpInfoDataArray.clear();
    _currentSelectedRow = -1;
    getHelpInfoFromLocal();
}

void ZQHelpListModel::getHelpInfoFromLocal() {
    if (!_localHpInfoDataArray.isEmpty()) {
        return;
    }
    ZQHelpListInfoDataManager::getHelpListInfoFromLocalPlist(
        [this](bool expandFirst, const std::optional<QString>& version,
               const std::optional<ZQHelpInfoDataList>& list, const std::optional<QString>& error) {
            if (!error && list && !list->isEmpty()) {
                _expandFirstRow = expandFirst;
                _helpVersion = version;
                _localHpInfoDataArray.append(*list);
            }
        });
}

void ZQHelpListModel::requestHelpInfoByEncryptedWall() {
    _helpInfoDataArray = _localHpInfoDataArray;
    _currentSelectedRow = -1;
    ZQHelpListInfoDataManager::requestHelpListInfoByEncrytWallWithVersion(
        _helpVersion, this,
        [this](bool upToDate, bool expandFirst, const std::optional<QString>& version,
               const std::optional<ZQHelpInfoDataList>& list, const std::optional<QString>& error) {
            if (upToDate) {
                refreshTableView();
            } else if (error) {
                // Only a failed wall request falls back to the plain one.
                normalRequestHelpInfo();
            } else {
                takeNewList(version, list.value_or(ZQHelpInfoDataList()), expandFirst);
                refreshTableView();
            }
        });
}

void ZQHelpListModel::normalRequestHelpInfo() {
    ZQHelpListInfoDataManager::requestHelpListInfoWithVersion(
        _helpVersion, this,
        [this](bool upToDate, bool expandFirst, const std::optional<QString>& version,
               const std::optional<ZQHelpInfoDataList>& list, const std::optional<QString>& error) {
            if (!upToDate && !error) {
                takeNewList(version, list.value_or(ZQHelpInfoDataList()), expandFirst);
            }
            refreshTableView();
        });
}

void ZQHelpListModel::takeNewList(const std::optional<QString>& version,
                                  const ZQHelpInfoDataList& list, bool expandFirst) {
    // An empty newer list leaves the rows shown now.
    if (list.isEmpty()) {
        return;
    }
    _helpVersion = version;
    _helpInfoDataArray = list;
    _localHpInfoDataArray = list;
    _expandFirstRow = expandFirst;
}

void ZQHelpListModel::refreshTableView() {
    if (_expandFirstRow) {
        _currentSelectedRow = 0;
    }
    emit reloaded(0);
}

void ZQHelpListModel::clickTitleOfRow(int row) {
    if (row < 0 || row >= rowCount()) {
        return;
    }
    _currentSelectedRow = _currentSelectedRow == row ? -1 : row;
    emit reloaded(_currentSelectedRow);
}

qreal ZQHelpListModel::heightOfRow(int row) const {
    return zq::help::geometry::rowHeight(row == _currentSelectedRow);
}
