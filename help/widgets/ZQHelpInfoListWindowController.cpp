#include "help/widgets/ZQHelpInfoListWindowController.h"

#include "controls/ZQCustomButton.h"
#include "controls/ZQGeometry.h"
#include "help/models/ZQHelpListModel.h"
#include "help/widgets/ZQHelpTableViewCellView.h"
#include "help/widgets/ZQHelpTitleBackgroundView.h"
#include "help/widgets/ZQImageShowWindow.h"
#include "help/widgets/ZQSolutionImageView.h"

#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>

ZQHelpInfoListWindowController::ZQHelpInfoListWindowController(QObject* parent)
    : QObject(parent), _model(new ZQHelpListModel(this)) {
    _window = new QWidget;
    _window->setObjectName(QStringLiteral("ZQHelpInfoListWindowController"));
    _window->resize(kWidth, kHeight);
    _window->setAutoFillBackground(true);
    QPalette palette = _window->palette();
    palette.setColor(QPalette::Window, Qt::white);
    _window->setPalette(palette);
    //% "帮助"
    _window->setWindowTitle(qtTrId("zq-help-list-title"));

    _helpInfoTableView = new QScrollArea(_window);
    _helpInfoTableView->setFrameShape(QFrame::NoFrame);
    _helpInfoTableView->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    _helpInfoTableView->setWidgetResizable(false);
    // The rows take the keyboard focus, not the area around them.
    _helpInfoTableView->setFocusPolicy(Qt::NoFocus);
    //% "帮助列表"
    _helpInfoTableView->setAccessibleName(qtTrId("zq-help-list-name"));
    _rowsView = new QWidget;
    _rowsView->setAutoFillBackground(false);
    _helpInfoTableView->setWidget(_rowsView);
    auto* layout = new QVBoxLayout(_window);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(_helpInfoTableView);

    _closeBtn = new ZQCustomButton(_window);
    _closeBtn->setImageForNormal(ZQImage::named(QStringLiteral("closeNormal")),
                                 ZQImage::named(QStringLiteral("closeHover")),
                                 ZQImage::named(QStringLiteral("closeActive")));
    //% "关闭"
    _closeBtn->setAccessibleName(qtTrId("zq-help-list-close"));
    zq::controls::placeAt(_closeBtn, kWidth - 28, kHeight - 28, 16, 16);
    _closeBtn->addTarget(this, &ZQHelpInfoListWindowController::closeWindowAction);

    connect(_model, &ZQHelpListModel::reloaded, this, &ZQHelpInfoListWindowController::reloadData);
    initHelpInfoData();
}

ZQHelpInfoListWindowController::~ZQHelpInfoListWindowController() {
    delete _window;
}

void ZQHelpInfoListWindowController::initHelpInfoData() {
    _model->initHelpInfoData();
}

void ZQHelpInfoListWindowController::embedIn(QWidget* view) {
    _window->setParent(view);
    _window->setGeometry(view->rect());
    _window->show();
}

void ZQHelpInfoListWindowController::updateContentView() {
    _model->requestHelpInfoByEncryptedWall();
    // The list shows its cached rows while the service is asked.
    reloadData(-1);
    _closeBtn->hide();
}

void ZQHelpInfoListWindowController::showSheetForWindow(QWidget* parent) {
    _model->requestHelpInfoByEncryptedWall();
    reloadData(-1);
    _window->setParent(parent, Qt::Sheet | Qt::FramelessWindowHint);
    _window->setWindowModality(Qt::WindowModal);
    _closeBtn->show();
    _closeBtn->raise();
    _window->show();
}

void ZQHelpInfoListWindowController::closeWindowAction() {
    _window->hide();
    emit closeHelpInfoWindow();
}

void ZQHelpInfoListWindowController::clickTitleLabelWithDataModel(ZQHelpTableViewCellView* cell) {
    _model->clickTitleOfRow(int(_cells.indexOf(cell)));
}

void ZQHelpInfoListWindowController::clickDetaiImageViewWithImage(const QImage& image) {
    ZQImageShowWindow::sharedInstance()->showImage(image, _window->window());
}

void ZQHelpInfoListWindowController::reloadData(int scrollRow) {
    const int rows = _model->rowCount();
    while (_cells.size() < rows) {
        auto* cell = new ZQHelpTableViewCellView(_rowsView);
        connect(cell, &ZQHelpTableViewCellView::clickTitleBackgroundView, this,
                &ZQHelpInfoListWindowController::clickTitleLabelWithDataModel);
        connect(cell, &ZQHelpTableViewCellView::clickSolutionImageView, this,
                &ZQHelpInfoListWindowController::clickDetaiImageViewWithImage);
        _cells.append(cell);
    }
    while (_cells.size() > rows) {
        delete _cells.takeLast();
    }
    qreal total = 0;
    for (int row = 0; row < rows; ++row) {
        total += _model->heightOfRow(row);
    }
    const bool scrolls = total > _helpInfoTableView->height();
    const int width =
        kWidth - (scrolls ? _helpInfoTableView->verticalScrollBar()->sizeHint().width() : 0);
    _rowsView->resize(width, int(total));
    int y = 0;
    // The rows follow the anchor in the keyboard order.
    QWidget* previous = _tabAnchor ? _tabAnchor.data() : _helpInfoTableView;
    for (int row = 0; row < rows; ++row) {
        ZQHelpTableViewCellView* cell = _cells.at(row);
        cell->setHelpInfoData(_model->rows().at(row));
        cell->updateCellViewFrame(width, row == _model->currentSelectedRow());
        cell->move(0, y);
        cell->show();
        y += int(_model->heightOfRow(row));
        // Tab goes down the list, through the picture of the open row.
        QList<QWidget*> chain{cell->titleBackgroundView()};
        if (cell->isExpanded()) {
            chain.append(cell->detailImageView());
        }
        for (QWidget* next : chain) {
            QWidget::setTabOrder(previous, next);
            previous = next;
        }
    }
    if (scrollRow >= 0 && scrollRow < rows) {
        _helpInfoTableView->ensureWidgetVisible(_cells.at(scrollRow), 0, 0);
    }
}
