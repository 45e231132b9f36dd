#pragma once

#include "controls/ZQImage.h"

#include <QList>
#include <QWidget>

class ZQEvaluationModel;

// The five rating stars, 22 × 26 points each with 6 between. Only a release
// of the mouse button changes the rating: the star under the pointer and
// those before it light up (a click on a lit star lowers the rating to it);
// the gaps change nothing. For the keyboard and assistive technology it is a
// slider from 0 to 5: Left/Down and Right/Up step, Home and End, the digits
// 0 to 5; screen readers read and set its value.
class ZQEvalutionStarView : public QWidget {
    Q_OBJECT

public:
    ZQEvalutionStarView(ZQEvaluationModel* model, QWidget* parent);

    int selectIndex() const;
    void setSelectIndex(int index);
    // Star i shows the lit image when i < n, the unlit one otherwise.
    void updateViewWithSelectIndex(int n);
    // The image star `i` shows.
    ZQImage starImage(int i) const { return _starImages.value(i); }

protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;

private:
    ZQEvaluationModel* _model;
    ZQImage _imageNormal;
    ZQImage _imageSelect;
    QList<ZQImage> _starImages;
    bool _keyboardFocus = false;
};
