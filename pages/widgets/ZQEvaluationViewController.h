#pragma once

#include "controls/ZQCustomBgView.h"
#include "controls/ZQCustomButton.h"
#include "controls/ZQCustomTextScrollView.h"
#include "pages/widgets/ZQEvalutionStarView.h"

#include <QLabel>
#include <QObject>
#include <QPointer>

#include <array>

class ZQCustomProgress;
class ZQEvaluationModel;

// The evaluation page of the About window: the score overview (average and
// one bar per star count), the rating stars, the comment box and the submit
// button, with a back button to the About page. Its behaviour is
// ZQEvaluationModel's; this class binds the controls to it and shows its
// alerts as window-modal message boxes.
class ZQEvaluationViewController : public QObject {
    Q_OBJECT

public:
    explicit ZQEvaluationViewController(QWidget* parent);
    ~ZQEvaluationViewController() override;

    QWidget* view() const;
    ZQEvaluationModel* model() const { return _model; }

    // Set-up with the default overview.
    void awakeFromNib();
    void goBack();
    void commitEvaluation();

    // Controls, for tests.
    QLabel* scoreLabel() const { return _scoreLabel; }
    ZQCustomProgress* bar(int stars) const { return _bars.at(stars - 1); }
    ZQEvalutionStarView* starView() const { return _starView; }
    ZQCustomTextScrollView* textScrollView() const { return _textScrollView; }
    QLabel* countWarnText() const { return _countWarnText; }
    ZQCustomButton* backBtn() const { return _backBtn; }
    ZQCustomButton* commitBtn() const { return _commitBtn; }

signals:
    void switchToAboutView();

private:
    void buildView(QWidget* parent);
    void showScore();
    void clearEvaluation();
    void showAlertWithText(const QString& text);

    ZQEvaluationModel* _model;
    QPointer<ZQCustomBgView> _view;
    QPointer<ZQCustomButton> _backBtn;
    QPointer<QLabel> _scoreLabel;
    std::array<ZQCustomProgress*, 5> _bars{};
    QPointer<ZQCustomTextScrollView> _textScrollView;
    QPointer<ZQEvalutionStarView> _starView;
    QPointer<QLabel> _countWarnText;
    QPointer<ZQCustomButton> _commitBtn;
};
