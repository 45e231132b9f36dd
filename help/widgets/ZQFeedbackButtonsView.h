#pragma once

#include <QList>
#include <QPointer>
#include <QWidget>

class ZQCustomButton;
class ZQFeedbackFormModel;

// The attached pictures of the feedback form, as a row of chips: each chip
// shows the picture's file name (shortened when long) and, while the pointer
// is over it or it has the keyboard focus, a delete icon. A click on a chip
// (or Space on a focused chip) removes the picture. The chips read as push
// buttons named by their file names.
class ZQFeedbackButtonsView : public QWidget {
    Q_OBJECT
public:
    ZQFeedbackButtonsView(ZQFeedbackFormModel* model, QWidget* parent = nullptr);

    // Rebuilds the chips from the model's pictures.
    void refreshButtons();
    QList<ZQCustomButton*> buttons() const { return _arrButtonsOfPicts; }

signals:
    // No picture is attached (any more): the form places its contact field.
    void updateViewOfNoPic();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void deleteButton(ZQCustomButton* button);

    ZQFeedbackFormModel* _model;
    QList<ZQCustomButton*> _arrButtonsOfPicts;
    QPointer<ZQCustomButton> _btnLastLocated;
};
