#pragma once

#include <QObject>
#include <QPointF>
#include <QString>
#include <QVariant>

#include <array>
#include <optional>

// The behaviour of the evaluation page, without widgets: the rating (0 to 5
// lit stars), the published score overview with its acceptance rules, and
// the submission of a rating with its comment. ZQEvaluationViewController
// binds its controls to it. Main thread only.
class ZQEvaluationModel : public QObject {
    Q_OBJECT

public:
    static constexpr int kStarCount = 5;
    // The stars' frames: 22 × 26 points at x = 0, 28, 56, 84, 112, y = 0.
    static constexpr qreal kStarWidth = 22;
    static constexpr qreal kStarHeight = 26;
    static constexpr qreal kStarSpacing = 6;

    explicit ZQEvaluationModel(QObject* parent = nullptr);

    // Set-up: the default overview.
    void setUp();
    // Asks the service for the published overview (once per page); a
    // complete answer replaces what is shown.
    void getScoringOverview();

    // The rating.
    int selectIndex() const { return _selectIndex; }
    // Sets the number of lit stars (clamped to 0 to 5).
    void setSelectIndex(int index);
    // A release of the mouse at `point` (points from the star view's lower
    // left): the hit star and those before it light up; elsewhere nothing changes.
    void starViewReleasedAt(const QPointF& point);
    // The 0-based star whose frame contains `point`, or -1: none for (0, 0)
    // exactly, or outside every frame (the gaps between the stars included).
    static int imageViewIndexWithPoint(const QPointF& point);

    // The overview on show.
    float scoreAverage() const { return _scoreAverage; }
    float starRatio(int stars) const;  // 1 to 5
    // "%.1f" of the average.
    QString scoreText() const;
    // The bar of `stars`: its percentage without the fraction.
    int barValue(int stars) const;
    // Takes an overview when it is a dictionary with "avg" and "ratio", and
    // "ratio" a dictionary of at least five entries with the keys "1" to "5",
    // each a number (or the text of one); otherwise nothing changes. True
    // when taken.
    bool updateViewWithScoreDict(const QVariant& data);

    // Submits the rating with `comment` (possibly empty). Without a rating:
    // only the alert. While a submission is under way, nothing.
    void commitEvaluation(const QString& comment);
    bool isSubmitting() const { return _submitting; }

    // Alert texts.
    static QString noStarText();
    static QString successText();
    static QString failureText();

signals:
    void selectIndexChanged(int index);
    void scoreChanged();
    void submittingChanged(bool submitting);
    // Show an informational alert with `text`.
    void alertRequested(const QString& text);
    // The form should be emptied (no star, empty comment, no count warning).
    void evaluationCleared();

private:
    void clearEvaluation();

    int _selectIndex = 0;
    float _scoreAverage = 4.8f;
    std::array<float, kStarCount> _ratios{0, 0, 5, 15, 80};  // 1 to 5 stars
    bool _submitting = false;
};
