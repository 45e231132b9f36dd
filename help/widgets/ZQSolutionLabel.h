#pragma once

#include <QColor>
#include <QLabel>

// A label of the help list: its text wraps at any character and the last
// line that fits is cut with an ellipsis. A label that responds to the
// pointer (the title of a closed row) turns orange under it.
class ZQSolutionLabel : public QLabel {
    Q_OBJECT
public:
    explicit ZQSolutionLabel(QWidget* parent = nullptr);

    void setResponseMouseHoverState(bool respond);
    bool responseMouseHoverState() const { return _responseMouseHoverState; }
    void setTextColor(const QColor& color);
    // Extra space between lines, in points.
    void setLineSpacing(qreal spacing);
    // The colour the text is drawn in now.
    QColor currentTextColor() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    bool _responseMouseHoverState = false;
    bool _hovered = false;
    QColor _textColor = Qt::black;
    qreal _lineSpacing = 0;
};
