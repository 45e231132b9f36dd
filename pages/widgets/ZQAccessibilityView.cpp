#include "pages/widgets/ZQAccessibilityView.h"

ZQAccessibilityView::ZQAccessibilityView(QWidget* parent) : ZQCustomContentView(parent) {
    updateBackgroundColor(Qt::white, kCornerRadius);
}

// The meta-object here, not among the library's others: only modules using the class pull it in.
#include "moc_ZQAccessibilityView.cpp"
