#pragma once

#include <QImage>
#include <QList>
#include <QObject>
#include <QPointer>

class QScrollArea;
class QWidget;
class ZQCustomButton;
class ZQHelpListModel;
class ZQHelpTableViewCellView;

// The help list: one column of help rows, at most one open, filled from the
// help cache and then from the web service (ZQHelpListModel). Its content is
// either embedded in the help-and-feedback window (embedIn) or shown as a
// sheet with a close button of its own (showSheetForWindow).
class ZQHelpInfoListWindowController : public QObject {
    Q_OBJECT
public:
    static constexpr int kWidth = 580;
    static constexpr int kHeight = 352;

    explicit ZQHelpInfoListWindowController(QObject* parent = nullptr);
    ~ZQHelpInfoListWindowController() override;

    ZQHelpListModel* model() const { return _model; }
    // The list's content: the list itself and its close button.
    QWidget* window() const { return _window; }

    // Reads the help cache into the list.
    void initHelpInfoData();
    // Puts the content into `view` (filling it).
    void embedIn(QWidget* view);
    // The rows come right after `anchor` in the keyboard order (a widget of
    // the same window).
    void setTabAnchor(QWidget* anchor) { _tabAnchor = anchor; }
    // Shows the loaded rows, hides the close button and asks the service for
    // a newer list.
    void updateContentView();
    // Shows the list as a window-modal sheet on `parent` and asks the service.
    void showSheetForWindow(QWidget* parent);
    void closeWindowAction();

    // The cell delegate's operations.
    void clickTitleLabelWithDataModel(ZQHelpTableViewCellView* cell);
    void clickDetaiImageViewWithImage(const QImage& image);

    QList<ZQHelpTableViewCellView*> cells() const { return _cells; }
    QScrollArea* helpInfoTableView() const { return _helpInfoTableView; }

signals:
    // The sheet was closed.
    void closeHelpInfoWindow();

private:
    void reloadData(int scrollRow);

    ZQHelpListModel* _model;
    QPointer<QWidget> _window;
    QPointer<QWidget> _tabAnchor;
    QScrollArea* _helpInfoTableView = nullptr;
    QWidget* _rowsView = nullptr;
    ZQCustomButton* _closeBtn = nullptr;
    QList<ZQHelpTableViewCellView*> _cells;
};
