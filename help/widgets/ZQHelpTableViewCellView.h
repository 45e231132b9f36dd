#pragma once

#include "help/ZQHelpInfoDataModel.h"

#include <QImage>
#include <QWidget>

class QSizeF;
class ZQHelpTitleBackgroundView;
class ZQSolutionImageView;
class ZQSolutionLabel;

// One row of the help list: the title strip, and while the row is open the
// grey content area with the brief answer, the explanation and the picture,
// laid out by the entry's layout (`dataType`). The picture comes from the
// picture cache or is downloaded (and cached under the entry that asked for
// it); until then the "helpImageLoading" picture stands in. A picture that
// arrives after the row was given another entry is not shown.
class ZQHelpTableViewCellView : public QWidget {
    Q_OBJECT
public:
    explicit ZQHelpTableViewCellView(QWidget* parent = nullptr);

    void setHelpInfoData(const ZQHelpInfoDataModel& helpInfoData);
    const ZQHelpInfoDataModel& helpInfoData() const { return _helpInfoData; }
    // Sizes the row for a list `width` wide and lays out its parts, open or closed.
    void updateCellViewFrame(qreal width, bool expand);
    void showPlaceHolderImageWithType(qint64 type);
    void updateImageViewWithSize(const QSizeF& size, qint64 type);

    bool isExpanded() const { return _expanded; }
    ZQHelpTitleBackgroundView* titleBackgroundView() const { return _titleBackgroundView; }
    ZQSolutionLabel* titleLabel() const { return _titleLabel; }
    ZQSolutionImageView* detailImageView() const { return _detailImageView; }

signals:
    // The cell's delegate (the list) opens or closes the row, and shows pictures.
    void clickTitleBackgroundView(ZQHelpTableViewCellView* cell);
    void clickSolutionImageView(const QImage& image);

private:
    void showPicture(const QImage& image);

    ZQHelpInfoDataModel _helpInfoData;
    bool _hasData = false;
    bool _expanded = false;
    bool _showsPicture = false;
    quint64 _pictureRequest = 0;
    ZQHelpTitleBackgroundView* _titleBackgroundView;
    ZQSolutionLabel* _titleLabel;
    QWidget* _dividingLineView;
    QWidget* _contentView;
    ZQSolutionLabel* _briefLabel;
    ZQSolutionLabel* _detailLabel;
    ZQSolutionImageView* _detailImageView;
};
