#include "pages/widgets/ZQEvaluationViewController.h"

#include "controls/ZQCustomBgView.h"
#include "controls/ZQCustomButton.h"
#include "controls/ZQCustomProgress.h"
#include "controls/ZQCustomTextScrollView.h"
#include "controls/ZQFonts.h"
#include "controls/ZQGeometry.h"
#include "pages/models/ZQEvaluationModel.h"
#include "pages/widgets/ZQEvalutionStarView.h"

#include <QMessageBox>
#include <QPushButton>

namespace {

const QColor kText(42, 43, 44);
const QColor kGrey(146, 146, 146);
const QColor kOrange(255, 100, 44);

QLabel* makeLabel(QWidget* parent, const QString& text, const QString& font, qreal size,
                  const QColor& color, Qt::Alignment alignment, const QRectF& frame) {
    auto* label = new QLabel(text, parent);
    label->setTextFormat(Qt::PlainText);
    label->setFont(zq::controls::namedFont(font, size));
    label->setStyleSheet(QStringLiteral("color: %1;").arg(color.name()));
    label->setAlignment(alignment);
    zq::controls::placeAt(label, frame);
    return label;
}

}  // namespace

ZQEvaluationViewController::ZQEvaluationViewController(QWidget* parent)
    : _model(new ZQEvaluationModel(this)) {
    buildView(parent);
    connect(_model, &ZQEvaluationModel::scoreChanged, this, &ZQEvaluationViewController::showScore);
    connect(_model, &ZQEvaluationModel::alertRequested, this,
            &ZQEvaluationViewController::showAlertWithText);
    connect(_model, &ZQEvaluationModel::evaluationCleared, this,
            &ZQEvaluationViewController::clearEvaluation);
    connect(_model, &ZQEvaluationModel::submittingChanged, this,
            [this](bool submitting) { _commitBtn->setEnabled(!submitting); });
}

ZQEvaluationViewController::~ZQEvaluationViewController() = default;

QWidget* ZQEvaluationViewController::view() const {
    return _view;
}

void ZQEvaluationViewController::buildView(QWidget* parent) {
    _view = new ZQCustomBgView(QRectF(0, 0, 390, 287), parent);
    _view->setObjectName(QStringLiteral("ZQEvaluationViewController"));
    _view->setBgImage(ZQImage::named(QStringLiteral("evaluation_view_bg")));

    _backBtn = new ZQCustomButton(QRectF(16, 237, 24, 24), _view);
    _backBtn->setBgImageForNormal(ZQImage::named(QStringLiteral("back_btn_normal")),
                                  ZQImage::named(QStringLiteral("back_btn_hover")),
                                  ZQImage::named(QStringLiteral("back_btn_click")),
                                  ZQImage::named(QStringLiteral("back_btn_disable")));
    _backBtn->setEnabled(true);
    //% "返回"
    _backBtn->setAccessibleName(qtTrId("zq-evaluation-back"));
    _backBtn->addTarget(this, &ZQEvaluationViewController::goBack);

    //% "评价Vesko输入法"
    makeLabel(_view, qtTrId("zq-evaluation-title"), QStringLiteral("PingFangSC-Medium"), 15, kText,
              Qt::AlignCenter, {0, 239, 390, 24});

    _scoreLabel = makeLabel(_view, {}, QStringLiteral("PingFangSC-Medium"), 36, kOrange,
                            Qt::AlignCenter, {40, 181, 110, 44});
    _scoreLabel->setObjectName(QStringLiteral("scoreLabel"));
    //% "综合评分"
    makeLabel(_view, qtTrId("zq-evaluation-average"), QStringLiteral("PingFangSC-Regular"), 11,
              kGrey, Qt::AlignCenter, {40, 165, 110, 16});

    const QColor barColor =
        QColor::fromRgbF(0.6901960784313725f, 0.6862745098039216f, 0.6941176470588235f);
    QColor track = barColor;
    track.setAlphaF(0.2f);
    for (int stars = 5; stars >= 1; --stars) {
        const qreal top = 60 + (5 - stars) * 14;
        //% "%1星"
        QLabel* label = makeLabel(_view, qtTrId("zq-evaluation-star-count").arg(stars),
                                  QStringLiteral("PingFangSC-Regular"), 11, kGrey,
                                  Qt::AlignRight | Qt::AlignVCenter, {166, 287 - top - 14, 28, 14});
        auto* bar = new ZQCustomProgress(QRectF(200, 287 - (top + 5) - 4, 150, 4), _view);
        bar->setBgColor(track, barColor);
        bar->setCornerRadius(1);
        bar->setMaxValue(100);
        bar->setAccessibleName(label->text());
        _bars[stars - 1] = bar;
    }

    _starView = new ZQEvalutionStarView(_model, _view);
    zq::controls::placeAt(_starView, 128, 127, 134, 26);

    _textScrollView = new ZQCustomTextScrollView(_view);
    zq::controls::placeAt(_textScrollView, 40, 55, 310, 62);

    //% "最多可输入300字"
    _countWarnText = makeLabel(_view, qtTrId("zq-evaluation-count-warning"),
                               QStringLiteral("PingFangSC-Regular"), 11, kOrange,
                               Qt::AlignRight | Qt::AlignVCenter, {40, 39, 310, 14});
    _countWarnText->hide();
    _textScrollView->setCountWarnText(_countWarnText);

    _commitBtn = new ZQCustomButton(QRectF(135, 13, 120, 30), _view);
    _commitBtn->setBgColorForNormal(kOrange, QColor(255, 120, 71), QColor(229, 82, 28), 6);
    //% "提交评价"
    _commitBtn->setTitle(qtTrId("zq-evaluation-commit"), Qt::white, Qt::white, Qt::white,
                         zq::controls::namedFont(QStringLiteral("PingFangSC-Medium"), 14));
    _commitBtn->setIsHandCursor(true);
    _commitBtn->addTarget(this, &ZQEvaluationViewController::commitEvaluation);

    QWidget::setTabOrder(_starView, _textScrollView->textView());
    QWidget::setTabOrder(_textScrollView->textView(), _commitBtn);
    QWidget::setTabOrder(_commitBtn, _backBtn);
}

void ZQEvaluationViewController::awakeFromNib() {
    _model->setUp();
}

void ZQEvaluationViewController::showScore() {
    _scoreLabel->setText(_model->scoreText());
    for (int stars = 1; stars <= ZQEvaluationModel::kStarCount; ++stars) {
        _bars[stars - 1]->setPresent(_model->barValue(stars));
    }
}

void ZQEvaluationViewController::goBack() {
    emit switchToAboutView();
    _textScrollView->updateBgStrokeColorWithActive(false);
}

void ZQEvaluationViewController::commitEvaluation() {
    _model->commitEvaluation(_textScrollView->textViewString());
}

void ZQEvaluationViewController::clearEvaluation() {
    _textScrollView->setTextViewString(QString());
    _countWarnText->hide();
}

void ZQEvaluationViewController::showAlertWithText(const QString& text) {
    auto* box = new QMessageBox(_view->window());
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(Qt::WindowModal);
    //% "Vesko输入法"
    box->setWindowTitle(qtTrId("zq-about-product-name"));
    box->setIconPixmap(ZQImage::named(QStringLiteral("alert_logo"))
                           .toPixmap(_view->devicePixelRatioF(), QSizeF(48, 48)));
    box->setText(text);
    //% "好"
    box->addButton(qtTrId("zq-evaluation-alert-ok"), QMessageBox::AcceptRole);
    box->open();
}

// The meta-object code in this file's own object, so that a module linking
// another page does not pull this one in.
#include "moc_ZQEvaluationViewController.cpp"
