#include "help/widgets/ZQFeedbackButtonsView.h"

#include "controls/ZQCustomButton.h"
#include "controls/ZQFonts.h"
#include "controls/ZQGeometry.h"
#include "help/models/ZQFeedbackFormModel.h"
#include "help/models/ZQHelpGeometry.h"

#include <QEvent>
#include <QFileInfo>
#include <QFontMetricsF>

namespace geometry = zq::help::geometry;

ZQFeedbackButtonsView::ZQFeedbackButtonsView(ZQFeedbackFormModel* model, QWidget* parent)
    : QWidget(parent), _model(model) {
    connect(model, &ZQFeedbackFormModel::picturesChanged, this,
            &ZQFeedbackButtonsView::refreshButtons);
}

void ZQFeedbackButtonsView::refreshButtons() {
    qDeleteAll(_arrButtonsOfPicts);
    _arrButtonsOfPicts.clear();
    const QFont font = zq::controls::namedFontOr(QStringLiteral("PingFangSC-Regular"), 13,
                                                 zq::controls::systemFont(13));
    const QFontMetricsF metrics(font);
    const auto width = [&metrics](const QString& text) { return metrics.horizontalAdvance(text); };
    QStringList titles;
    QList<qreal> widths;
    for (const ZQFeedbackFormModel::Picture& picture : _model->pictures()) {
        titles.append(geometry::chipTitle(QFileInfo(picture.path).fileName(), width));
        widths.append(width(titles.last()));
    }
    const QList<QRectF> frames = geometry::chipFrames(widths);
    const QColor grey34(34, 34, 34);
    // The chips follow this view in the keyboard order.
    QWidget* previous = this;
    for (int i = 0; i < frames.size(); ++i) {
        auto* chip = new ZQCustomButton(frames.at(i), this);
        QColor background = grey34;
        background.setAlphaF(0.1f);
        chip->setBgColorForNormal(background, background, background, 5);
        chip->setTitleWithPosX(titles.at(i), QColor(102, 102, 102), grey34, grey34, 8, font);
        chip->setIconImageForNormal(ZQImage::named(QStringLiteral("clear_btn_normal")),
                                    ZQImage::named(QStringLiteral("clear_btn_hover")),
                                    ZQImage::named(QStringLiteral("clear_btn_click")),
                                    geometry::chipDeleteIconOrigin(frames.at(i)));
        chip->setImagePosition(ZQCustomButton::NoImage);
        chip->setAccessibleName(QFileInfo(_model->pictures().at(i).path).fileName());
        //% "删除这张图片"
        chip->setAccessibleDescription(qtTrId("zq-feedback-chip-delete"));
        chip->installEventFilter(this);
        chip->addTarget(this, &ZQFeedbackButtonsView::deleteButton);
        chip->show();
        QWidget::setTabOrder(previous, chip);
        previous = chip;
        _arrButtonsOfPicts.append(chip);
    }
    if (_arrButtonsOfPicts.isEmpty()) {
        emit updateViewOfNoPic();
    }
}

bool ZQFeedbackButtonsView::eventFilter(QObject* watched, QEvent* event) {
    auto* chip = qobject_cast<ZQCustomButton*>(watched);
    if (chip && _arrButtonsOfPicts.contains(chip)) {
        switch (event->type()) {
            case QEvent::Enter:
            case QEvent::FocusIn:
                _btnLastLocated = chip;
                chip->setImagePosition(ZQCustomButton::ImageRight);
                break;
            case QEvent::Leave:
                chip->setImagePosition(chip->hasFocus() ? ZQCustomButton::ImageRight
                                                        : ZQCustomButton::NoImage);
                break;
            case QEvent::FocusOut:
                chip->setImagePosition(chip->underMouse() ? ZQCustomButton::ImageRight
                                                          : ZQCustomButton::NoImage);
                break;
            default:
                break;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void ZQFeedbackButtonsView::deleteButton(ZQCustomButton* button) {
    const int index = int(_arrButtonsOfPicts.indexOf(button));
    if (index >= 0) {
        // The chips are rebuilt (picturesChanged); this one goes later.
        _arrButtonsOfPicts.removeAt(index);
        button->hide();
        button->deleteLater();
        _model->deleteButton(index);
    }
}
