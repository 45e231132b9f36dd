#include "pages/widgets/ZQAccessibilityView.h"

ZQAccessibilityView::ZQAccessibilityView(QWidget* parent) : ZQCustomContentView(parent) {
    updateBackgroundColor(Qt::white, kCornerRadius);
}
