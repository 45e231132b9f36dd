#include "pages/widgets/ZQEvalutionStarView.h"

#include "pages/models/ZQEvaluationModel.h"

#include <QAccessible>
#include <QAccessibleValueInterface>
#include <QAccessibleWidget>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>

namespace {

class StarViewAccessible : public QAccessibleWidget, public QAccessibleValueInterface {
public:
    explicit StarViewAccessible(ZQEvalutionStarView* view)
        : QAccessibleWidget(view, QAccessible::Slider) {}
    void* interface_cast(QAccessible::InterfaceType type) override {
        return type == QAccessible::ValueInterface ? static_cast<QAccessibleValueInterface*>(this)
                                                   : QAccessibleWidget::interface_cast(type);
    }
    QString text(QAccessible::Text t) const override {
        if (t == QAccessible::Value) {
            //% "%n 颗星"
            return qtTrId("zq-evaluation-stars", view()->selectIndex());
        }
        return QAccessibleWidget::text(t);
    }
    QVariant currentValue() const override { return view()->selectIndex(); }
    void setCurrentValue(const QVariant& value) override { view()->setSelectIndex(value.toInt()); }
    QVariant maximumValue() const override { return ZQEvaluationModel::kStarCount; }
    QVariant minimumValue() const override { return 0; }
    QVariant minimumStepSize() const override { return 1; }

private:
    ZQEvalutionStarView* view() const { return static_cast<ZQEvalutionStarView*>(object()); }
};

QAccessibleInterface* starViewFactory(const QString& className, QObject* object) {
    if (className == QLatin1String("ZQEvalutionStarView") && object && object->isWidgetType()) {
        return new StarViewAccessible(static_cast<ZQEvalutionStarView*>(object));
    }
    return nullptr;
}

}  // namespace

ZQEvalutionStarView::ZQEvalutionStarView(ZQEvaluationModel* model, QWidget* parent)
    : QWidget(parent),
      _model(model),
      _imageNormal(ZQImage::named(QStringLiteral("evaluation_star_normal"))),
      _imageSelect(ZQImage::named(QStringLiteral("evaluation_star_select"))) {
    static const bool accessible = [] {
        QAccessible::installFactory(starViewFactory);
        return true;
    }();
    Q_UNUSED(accessible);
    setFocusPolicy(Qt::StrongFocus);
    //% "评分"
    setAccessibleName(qtTrId("zq-evaluation-rating"));
    for (int i = 0; i < ZQEvaluationModel::kStarCount; ++i) {
        _starImages.append(_imageNormal);
    }
    connect(_model, &ZQEvaluationModel::selectIndexChanged, this, [this](int index) {
        updateViewWithSelectIndex(index);
        QAccessibleValueChangeEvent changed(this, index);
        QAccessible::updateAccessibility(&changed);
    });
    updateViewWithSelectIndex(_model->selectIndex());
}

int ZQEvalutionStarView::selectIndex() const {
    return _model->selectIndex();
}

void ZQEvalutionStarView::setSelectIndex(int index) {
    _model->setSelectIndex(index);
}

void ZQEvalutionStarView::updateViewWithSelectIndex(int n) {
    for (int i = 0; i < _starImages.size(); ++i) {
        _starImages[i] = i < n ? _imageSelect : _imageNormal;
    }
    update();
}

void ZQEvalutionStarView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal w = ZQEvaluationModel::kStarWidth;
    const qreal h = ZQEvaluationModel::kStarHeight;
    for (int i = 0; i < _starImages.size(); ++i) {
        // Each square star image sits in the middle of its 22 × 26 frame.
        const qreal x = i * (w + ZQEvaluationModel::kStarSpacing);
        _starImages[i].draw(&painter, QRectF(x, (h - w) / 2, w, w));
    }
    if (hasFocus() && _keyboardFocus) {
        painter.setPen(QPen(QColor(255, 100, 44, 140), 1, Qt::DotLine));
        painter.drawRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5));
    }
}

void ZQEvalutionStarView::focusInEvent(QFocusEvent* event) {
    // The focus ring shows for the keyboard only.
    _keyboardFocus = event->reason() == Qt::TabFocusReason ||
                     event->reason() == Qt::BacktabFocusReason ||
                     event->reason() == Qt::ShortcutFocusReason;
    QWidget::focusInEvent(event);
}

void ZQEvalutionStarView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        event->ignore();
        return;
    }
    // The stars' frames are measured from the view's lower left.
    const QPointF pos = event->position();
    _model->starViewReleasedAt(QPointF(pos.x(), height() - pos.y()));
}

void ZQEvalutionStarView::keyPressEvent(QKeyEvent* event) {
    const int index = selectIndex();
    switch (event->key()) {
        case Qt::Key_Left:
        case Qt::Key_Down:
            setSelectIndex(index - 1);
            return;
        case Qt::Key_Right:
        case Qt::Key_Up:
            setSelectIndex(index + 1);
            return;
        case Qt::Key_Home:
            setSelectIndex(0);
            return;
        case Qt::Key_End:
            setSelectIndex(ZQEvaluationModel::kStarCount);
            return;
        default:
            break;
    }
    if (event->key() >= Qt::Key_0 && event->key() <= Qt::Key_5) {
        setSelectIndex(event->key() - Qt::Key_0);
        return;
    }
    QWidget::keyPressEvent(event);
}

// The meta-object code in this file's own object, so that a module linking
// another page does not pull this one in.
#include "moc_ZQEvalutionStarView.cpp"
