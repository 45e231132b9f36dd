#include "help/widgets/ZQHelpTableViewCellView.h"

#include "controls/ZQFonts.h"
#include "controls/ZQGeometry.h"
#include "controls/ZQImage.h"
#include "help/ZQHelpListInfoDataManager.h"
#include "help/models/ZQHelpGeometry.h"
#include "help/widgets/ZQHelpTitleBackgroundView.h"
#include "help/widgets/ZQSolutionImageView.h"
#include "help/widgets/ZQSolutionLabel.h"

#include <QPointer>

using zq::controls::placeAt;
namespace geometry = zq::help::geometry;

namespace {

QWidget* filledView(QWidget* parent, int grey) {
    auto* view = new QWidget(parent);
    view->setAutoFillBackground(true);
    QPalette palette = view->palette();
    palette.setColor(QPalette::Window, QColor(grey, grey, grey));
    view->setPalette(palette);
    return view;
}

}  // namespace

ZQHelpTableViewCellView::ZQHelpTableViewCellView(QWidget* parent) : QWidget(parent) {
    _contentView = filledView(this, 247);
    _dividingLineView = filledView(this, 228);
    _titleBackgroundView = new ZQHelpTitleBackgroundView(this);
    _titleLabel = new ZQSolutionLabel(_titleBackgroundView);
    _titleLabel->setFont(zq::controls::systemFont(12));

    _briefLabel = new ZQSolutionLabel(_contentView);
    _briefLabel->setFont(zq::controls::systemFont(11));
    _detailLabel = new ZQSolutionLabel(_contentView);
    _detailLabel->setFont(zq::controls::systemFont(12));
    _detailLabel->setLineSpacing(8);
    _detailImageView = new ZQSolutionImageView(_contentView);

    connect(_titleBackgroundView, &QAbstractButton::clicked, this,
            [this] { emit clickTitleBackgroundView(this); });
    connect(_detailImageView, &QAbstractButton::clicked, this,
            [this] { emit clickSolutionImageView(_detailImageView->image()); });
}

void ZQHelpTableViewCellView::setHelpInfoData(const ZQHelpInfoDataModel& helpInfoData) {
    if (_hasData && helpInfoData == _helpInfoData) {
        return;
    }
    _hasData = true;
    _helpInfoData = helpInfoData;
    _titleLabel->setText(helpInfoData.titleText);
    _titleBackgroundView->setAccessibleName(helpInfoData.titleText);
    _briefLabel->setText(helpInfoData.briefText);
    _detailLabel->setText(helpInfoData.detailText);

    showPlaceHolderImageWithType(helpInfoData.dataType);
    // A picture still on its way belongs to the entry shown before: it is
    // cached under that entry's name, but no longer shown here.
    const quint64 request = ++_pictureRequest;
    ZQHelpListInfoDataManager::loadPictureForEntry(helpInfoData, this,
                                                   [this, request](const QImage& image) {
                                                       if (request == _pictureRequest) {
                                                           showPicture(image);
                                                       }
                                                   });
}

void ZQHelpTableViewCellView::showPlaceHolderImageWithType(qint64 type) {
    _showsPicture = false;
    const ZQImage loading = ZQImage::named(QStringLiteral("helpImageLoading"));
    _detailImageView->setImage(loading.toImage(devicePixelRatio()));
    const geometry::CellLayout layout = geometry::cellLayout(width(), true, type);
    if (layout.pictureVisible) {
        placeAt(_detailImageView, layout.placeholder);
    }
}

void ZQHelpTableViewCellView::showPicture(const QImage& image) {
    _showsPicture = true;
    _detailImageView->setImage(image);
    updateImageViewWithSize(image.deviceIndependentSize(), _helpInfoData.dataType);
}

void ZQHelpTableViewCellView::updateImageViewWithSize(const QSizeF& size, qint64 type) {
    placeAt(_detailImageView, geometry::pictureFrame(size, type));
}

void ZQHelpTableViewCellView::updateCellViewFrame(qreal width, bool expand) {
    _expanded = expand;
    const geometry::CellLayout layout = geometry::cellLayout(width, expand, _helpInfoData.dataType);
    resize(layout.cell.size().toSize());
    placeAt(_titleBackgroundView, layout.titleStrip);
    placeAt(_titleLabel, layout.titleLabel);
    placeAt(_dividingLineView, layout.dividingLine);
    _titleBackgroundView->setChecked(expand);
    _titleLabel->setResponseMouseHoverState(!expand);
    _titleLabel->setTextColor(
        expand ? QColor(geometry::kHoverRed, geometry::kHoverGreen, geometry::kHoverBlue)
               : QColor(Qt::black));
    _contentView->setVisible(layout.contentVisible);
    if (!layout.contentVisible) {
        return;
    }
    placeAt(_contentView, layout.content);
    _briefLabel->setVisible(layout.briefVisible);
    placeAt(_briefLabel, layout.brief);
    _detailLabel->setVisible(layout.detailVisible);
    placeAt(_detailLabel, layout.detail);
    _detailImageView->setVisible(layout.pictureVisible);
    if (_showsPicture) {
        updateImageViewWithSize(_detailImageView->image().deviceIndependentSize(),
                                _helpInfoData.dataType);
    } else if (layout.pictureVisible) {
        placeAt(_detailImageView, layout.placeholder);
    }
}
