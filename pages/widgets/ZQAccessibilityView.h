#pragma once

#include "controls/ZQCustomContentView.h"

// The content of the permission guidance window: a white rounded rectangle
// (corner radius 10) under the window's controls.
class ZQAccessibilityView : public ZQCustomContentView {
    Q_OBJECT

public:
    static constexpr qreal kCornerRadius = 10;

    explicit ZQAccessibilityView(QWidget* parent = nullptr);
};
