#include "pages/models/ZQEvaluationModel.h"

#include "pages/models/PageModelsLog.h"
#include "pages/models/ZQAboutServices.h"

#include <QRectF>
#include <QRegularExpression>
#include <QVariantMap>

#include <cmath>
#include <cstdio>

namespace {

// A score value as a float: numbers as they are, text by its leading number
// (none: 0), as the service's numbers may come as text. Anything else, and a
// value that is not finite, is no score.
std::optional<float> floatValue(const QVariant& value) {
    switch (value.typeId()) {
        case QMetaType::Int:
        case QMetaType::LongLong:
        case QMetaType::UInt:
        case QMetaType::ULongLong:
        case QMetaType::Double:
        case QMetaType::Float:
        case QMetaType::Bool: {
            const float f = value.toFloat();
            return std::isfinite(f) ? std::optional<float>(f) : std::nullopt;
        }
        case QMetaType::QString: {
            static const QRegularExpression leading(
                QStringLiteral("^\\s*[-+]?(\\d+\\.?\\d*|\\.\\d+)([eE][-+]?\\d+)?"));
            const QRegularExpressionMatch match = leading.match(value.toString());
            const float f = match.hasMatch() ? match.captured(0).trimmed().toFloat() : 0.0f;
            return std::isfinite(f) ? std::optional<float>(f) : std::nullopt;
        }
        default:
            return std::nullopt;
    }
}

}  // namespace

ZQEvaluationModel::ZQEvaluationModel(QObject* parent) : QObject(parent) {}

QString ZQEvaluationModel::noStarText() {
    //% "请先点亮星星，再提交"
    return qtTrId("zq-evaluation-no-star");
}

QString ZQEvaluationModel::successText() {
    //% "提交成功，感谢您的评分"
    return qtTrId("zq-evaluation-success");
}

QString ZQEvaluationModel::failureText() {
    //% "提交失败，请重试"
    return qtTrId("zq-evaluation-failure");
}

void ZQEvaluationModel::setUp() {
    _scoreAverage = 4.8f;
    _ratios = {0, 0, 5, 15, 80};
    emit scoreChanged();
}

void ZQEvaluationModel::setSelectIndex(int index) {
    index = std::clamp(index, 0, kStarCount);
    if (index != _selectIndex) {
        _selectIndex = index;
        emit selectIndexChanged(index);
    }
}

int ZQEvaluationModel::imageViewIndexWithPoint(const QPointF& point) {
    if (point == QPointF(0, 0)) {
        return -1;
    }
    for (int i = 0; i < kStarCount; ++i) {
        const qreal x = i * (kStarWidth + kStarSpacing);
        // Left and bottom edges belong to the frame, right and top do not.
        if (point.x() >= x && point.x() < x + kStarWidth && point.y() >= 0 &&
            point.y() < kStarHeight) {
            return i;
        }
    }
    return -1;
}

void ZQEvaluationModel::starViewReleasedAt(const QPointF& point) {
    const int index = imageViewIndexWithPoint(point);
    if (index >= 0) {
        setSelectIndex(index + 1);
    }
}

float ZQEvaluationModel::starRatio(int stars) const {
    return stars >= 1 && stars <= kStarCount ? _ratios[stars - 1] : 0.0f;
}

QString ZQEvaluationModel::scoreText() const {
    // The C library's rounding (half to even at an exact tie, as 4.25 → 4.2).
    char text[64];
    std::snprintf(text, sizeof text, "%.1f", double(_scoreAverage));
    return QString::fromLatin1(text);
}

int ZQEvaluationModel::barValue(int stars) const {
    // Dropping the fraction; a bar holds 0 to 100.
    return std::clamp(static_cast<int>(std::trunc(starRatio(stars))), 0, 100);
}

bool ZQEvaluationModel::updateViewWithScoreDict(const QVariant& data) {
    if (data.typeId() != QMetaType::QVariantMap) {
        return false;
    }
    const QVariantMap dict = data.toMap();
    const QVariant ratioValue = dict.value(QStringLiteral("ratio"));
    if (!dict.contains(QStringLiteral("avg")) || ratioValue.typeId() != QMetaType::QVariantMap) {
        return false;
    }
    const QVariantMap ratio = ratioValue.toMap();
    if (ratio.size() < kStarCount) {
        return false;
    }
    const std::optional<float> average = floatValue(dict.value(QStringLiteral("avg")));
    std::array<float, kStarCount> ratios{};
    for (int i = 0; i < kStarCount; ++i) {
        const QString key = QString::number(i + 1);
        const std::optional<float> value =
            ratio.contains(key) ? floatValue(ratio.value(key)) : std::nullopt;
        if (!value) {
            return false;
        }
        ratios[i] = *value;
    }
    if (!average) {
        return false;
    }
    _scoreAverage = *average;
    _ratios = ratios;
    emit scoreChanged();
    return true;
}

void ZQEvaluationModel::getScoringOverview() {
    if (ZQAboutServices* services = zq::pages::aboutServices()) {
        services->getScoringOverviewData(this, [this](const QVariant& data) {
            if (!updateViewWithScoreDict(data)) {
                qCInfo(lcPages) << "score overview not taken:" << data;
            }
        });
    }
}

void ZQEvaluationModel::commitEvaluation(const QString& comment) {
    if (_submitting) {
        return;
    }
    if (_selectIndex < 1) {
        emit alertRequested(noStarText());
        return;
    }
    ZQAboutServices* services = zq::pages::aboutServices();
    if (!services) {
        emit alertRequested(failureText());
        return;
    }
    _submitting = true;
    emit submittingChanged(true);
    services->submitUserEvaluation(comment, _selectIndex, this,
                                   [this](bool delivered, bool success) {
                                       _submitting = false;
                                       emit submittingChanged(false);
                                       if (delivered && success) {
                                           clearEvaluation();
                                           emit alertRequested(successText());
                                       } else {
                                           emit alertRequested(failureText());
                                       }
                                   });
}

void ZQEvaluationModel::clearEvaluation() {
    setSelectIndex(0);
    emit evaluationCleared();
}

// The meta-object code in this file's own object, so that a module linking
// another page does not pull this one in.
#include "moc_ZQEvaluationModel.cpp"
