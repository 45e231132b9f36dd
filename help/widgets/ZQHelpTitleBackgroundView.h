#pragma once

#include <QAbstractButton>

// The clickable strip of a help row that holds its title. Pointer,
// keyboard (Space, Return, Enter) and the screen reader's "Press" open or
// close the row (QAbstractButton::clicked). It reads as a toggle named by the
// row's title, checked while the row is open.
class ZQHelpTitleBackgroundView : public QAbstractButton {
    Q_OBJECT
public:
    explicit ZQHelpTitleBackgroundView(QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    // The row decides its open state; a click only asks.
    void nextCheckState() override {}
};
