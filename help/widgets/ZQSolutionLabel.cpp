#include "help/widgets/ZQSolutionLabel.h"

#include "help/models/ZQHelpGeometry.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QTextLayout>

ZQSolutionLabel::ZQSolutionLabel(QWidget* parent) : QLabel(parent) {
    setTextFormat(Qt::PlainText);
}

void ZQSolutionLabel::setResponseMouseHoverState(bool respond) {
    _responseMouseHoverState = respond;
    update();
}

void ZQSolutionLabel::setTextColor(const QColor& color) {
    _textColor = color;
    update();
}

void ZQSolutionLabel::setLineSpacing(qreal spacing) {
    _lineSpacing = spacing;
    update();
}

QColor ZQSolutionLabel::currentTextColor() const {
    using namespace zq::help::geometry;
    return _responseMouseHoverState && _hovered ? QColor(kHoverRed, kHoverGreen, kHoverBlue)
                                                : _textColor;
}

void ZQSolutionLabel::paintEvent(QPaintEvent*) {
    const QString content = text();
    const QFontMetricsF metrics(font());
    const qreal width = this->width();
    QTextLayout layout(content, font());
    QTextOption option;
    // Chinese text breaks between any two characters, and so does a Latin
    // word here.
    option.setWrapMode(QTextOption::WrapAnywhere);
    layout.setTextOption(option);
    // Whole lines while they fit; the last one that fits ends with an
    // ellipsis when text is left over.
    int whole = 0;
    QString elided;
    qreal y = 0;
    layout.beginLayout();
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(width);
        line.setPosition(QPointF(0, y));
        const qreal next = y + line.height() + _lineSpacing;
        const bool lastThatFits = next + line.height() > height();
        if (lastThatFits && line.textStart() + line.textLength() < content.size()) {
            elided = metrics.elidedText(content.mid(line.textStart()).replace(u'\n', u' '),
                                        Qt::ElideRight, width);
            break;
        }
        ++whole;
        y = next;
        if (lastThatFits) {
            break;
        }
    }
    layout.endLayout();

    QPainter painter(this);
    painter.setPen(currentTextColor());
    painter.setFont(font());
    for (int i = 0; i < whole; ++i) {
        layout.lineAt(i).draw(&painter, QPointF());
    }
    if (!elided.isEmpty()) {
        painter.drawText(QPointF(0, y + metrics.ascent()), elided);
    }
}

void ZQSolutionLabel::enterEvent(QEnterEvent* event) {
    _hovered = true;
    update();
    QLabel::enterEvent(event);
}

void ZQSolutionLabel::leaveEvent(QEvent* event) {
    _hovered = false;
    update();
    QLabel::leaveEvent(event);
}
