#include "controls/ZQButtonAccessible.h"

#include "controls/ZQCustomButton.h"

#include <QAccessibleWidget>

namespace zq::controls {

namespace {

class ZQButtonAccessible : public QAccessibleWidget {
public:
    explicit ZQButtonAccessible(ZQCustomButton* button)
        : QAccessibleWidget(button, button->accessibleRole()) {}

    QAccessible::Role role() const override { return button()->accessibleRole(); }

    QString text(QAccessible::Text t) const override {
        QString text = QAccessibleWidget::text(t);
        if (t == QAccessible::Name && text.isEmpty()) {
            text = button()->accessibleTitle();
        }
        return text;
    }

    QAccessible::State state() const override {
        QAccessible::State state = QAccessibleWidget::state();
        if (button()->isAccessibleCheckable()) {
            state.checkable = true;
            state.checked = button()->isAccessibleChecked();
        }
        state.pressed = button()->btnState() == ZQCustomButton::StatePressed;
        return state;
    }

    QStringList actionNames() const override {
        QStringList names;
        if (button()->isEnabled()) {
            names << pressAction();
            if (button()->isAccessibleCheckable()) {
                names << toggleAction();
            }
        }
        return names + QAccessibleWidget::actionNames();
    }

    void doAction(const QString& actionName) override {
        if (!button()->isEnabled()) {
            return;
        }
        if (actionName == pressAction() ||
            (actionName == toggleAction() && button()->isAccessibleCheckable())) {
            button()->activate();
            return;
        }
        QAccessibleWidget::doAction(actionName);
    }

private:
    ZQCustomButton* button() const { return static_cast<ZQCustomButton*>(object()); }
};

QAccessibleInterface* buttonFactory(const QString& className, QObject* object) {
    if (className == QLatin1String("ZQCustomButton") && object && object->isWidgetType()) {
        if (auto* button = qobject_cast<ZQCustomButton*>(object)) {
            return new ZQButtonAccessible(button);
        }
    }
    return nullptr;
}

}  // namespace

void installButtonAccessibility() {
    static const bool installed = [] {
        QAccessible::installFactory(buttonFactory);
        return true;
    }();
    Q_UNUSED(installed);
}

}  // namespace zq::controls
