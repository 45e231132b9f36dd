#pragma once

#include "help/ZQHelpInfoDataModel.h"

#include <QObject>
#include <QString>

#include <optional>

// The state of the help list, without widgets: which entries are shown, which
// row is open, and how the list is filled (the help cache first, then the web
// service through the encrypted wall, then the plain request only when the
// wall request failed). ZQHelpInfoListWindowController shows it.
//
// At most one row is open at a time. A request resets the open row; a
// refresh opens row 0 when the list asks for it ("expandFirst"). Failures are
// never shown: the list keeps what it has. Main thread only.
class ZQHelpListModel : public QObject {
    Q_OBJECT
public:
    explicit ZQHelpListModel(QObject* parent = nullptr);

    // Empties both lists, closes every row and reads the help cache.
    void initHelpInfoData();
    // Reads the help cache when nothing has been loaded yet.
    void getHelpInfoFromLocal();
    // Shows the loaded list and asks the service for a newer one.
    void requestHelpInfoByEncryptedWall();
    void normalRequestHelpInfo();
    // Opens row 0 when the list asks for it, then tells the view to reload.
    void refreshTableView();

    // A click on the title of `row`: the open row closes; any other row opens
    // (closing the one that was open).
    void clickTitleOfRow(int row);

    const ZQHelpInfoDataList& rows() const { return _helpInfoDataArray; }
    int rowCount() const { return int(_helpInfoDataArray.size()); }
    // -1 when no row is open.
    int currentSelectedRow() const { return _currentSelectedRow; }
    qreal heightOfRow(int row) const;
    std::optional<QString> helpVersion() const { return _helpVersion; }
    bool expandFirstRow() const { return _expandFirstRow; }

signals:
    // The rows, their heights or the open row changed: lay the list out again,
    // then bring `scrollRow` into view (none when -1).
    void reloaded(int scrollRow);

private:
    void takeNewList(const std::optional<QString>& version, const ZQHelpInfoDataList& list,
                     bool expandFirst);

    std::optional<QString> _helpVersion;
    ZQHelpInfoDataList _localHpInfoDataArray;
    ZQHelpInfoDataList _helpInfoDataArray;
    int _currentSelectedRow = -1;
    bool _expandFirstRow = false;
};
