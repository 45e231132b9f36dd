#include "controls/ZQCustomTextScrollView.h"

#include "controls/ZQFonts.h"

#include <QAbstractTextDocumentLayout>
#include <QLabel>
#include <QPainter>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextBoundaryFinder>
#include <QTextCursor>

#include <utility>

namespace zq::controls {

QString cutToTextLimit(const QString& text, int limit) {
    if (limit < 0 || text.size() <= limit) {
        return text;
    }
    int cut = limit;
    if (cut > 0) {
        QTextBoundaryFinder graphemes(QTextBoundaryFinder::Grapheme, text);
        graphemes.setPosition(cut);
        if (!graphemes.isAtBoundary()) {
            cut -= 1;  // the sequence holding unit limit - 1 goes on past the limit
        }
        if (cut > 0 && text.at(cut - 1).isHighSurrogate() && text.at(cut).isLowSurrogate()) {
            cut -= 1;  // never leave half of a pair
        }
    }
    return text.left(cut);
}

}  // namespace zq::controls

namespace {

constexpr qreal kInset = 8;
constexpr qreal kLineSpacing = 2;

}  // namespace

ZQCustomTextView::ZQCustomTextView(QWidget* parent) : QTextEdit(parent) {
    setFrameShape(QFrame::NoFrame);
    setAcceptRichText(false);
    setLineWrapMode(QTextEdit::WidgetWidth);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setTextInteractionFlags(Qt::TextEditorInteraction);
    setTabChangesFocus(true);
    document()->setDocumentMargin(kInset);
    setFont(zq::controls::namedFont(QStringLiteral("PingFangSC-Regular"), 13));
    // No background of its own; black text.
    viewport()->setAutoFillBackground(false);
    setAttribute(Qt::WA_TranslucentBackground);
    QPalette p = palette();
    p.setColor(QPalette::Base, Qt::transparent);
    p.setColor(QPalette::Text, Qt::black);
    setPalette(p);
}

void ZQCustomTextView::setPlaceholder(const QString& placeholder) {
    _placeholder = placeholder;
    viewport()->update();
}

bool ZQCustomTextView::showsPlaceholder() const {
    return !_placeholder.isEmpty() && document()->isEmpty() && !hasFocus();
}

void ZQCustomTextView::paintEvent(QPaintEvent* event) {
    QTextEdit::paintEvent(event);
    if (!showsPlaceholder()) {
        return;
    }
    QPainter painter(viewport());
    painter.setFont(font());
    painter.setPen(QColor(0xA0, 0xA0, 0xA0));
    const QFontMetricsF metrics(font());
    painter.drawText(QPointF(kInset, kInset + metrics.ascent()), _placeholder);
}

void ZQCustomTextView::focusInEvent(QFocusEvent* event) {
    QTextEdit::focusInEvent(event);
    viewport()->update();
    emit beFirstRes(true);
}

void ZQCustomTextView::focusOutEvent(QFocusEvent* event) {
    QTextEdit::focusOutEvent(event);
    viewport()->update();
    emit beFirstRes(false);
}

const QColor ZQCustomTextScrollView::kActiveColor(255, 100, 44);
const QColor ZQCustomTextScrollView::kInactiveColor(232, 232, 232);

ZQCustomTextScrollView::ZQCustomTextScrollView(QWidget* parent)
    : QWidget(parent), _textView(new ZQCustomTextView(this)) {
    //% "评价[选填]"
    _textView->setPlaceholder(qtTrId("zq-evaluation-placeholder"));
    _textView->setAccessibleName(_textView->placeholder());
    setFocusProxy(_textView);
    applyLineSpacing();
    connect(_textView, &ZQCustomTextView::beFirstRes, this,
            &ZQCustomTextScrollView::updateBgStrokeColorWithActive);
    connect(_textView, &QTextEdit::textChanged, this, &ZQCustomTextScrollView::textDidChange);
}

void ZQCustomTextScrollView::setCountWarnText(QLabel* label) {
    _countWarnText = label;
}

QString ZQCustomTextScrollView::textViewString() const {
    return _textView->toPlainText();
}

void ZQCustomTextScrollView::setTextViewString(const QString& text) {
    _textView->setPlainText(text);
    applyLineSpacing();
}

void ZQCustomTextScrollView::updateBgStrokeColorWithActive(bool active) {
    if (_active != active) {
        _active = active;
        update();
    }
}

void ZQCustomTextScrollView::applyLineSpacing() {
    QTextCursor cursor(_textView->document());
    cursor.select(QTextCursor::Document);
    QTextBlockFormat format;
    format.setLineHeight(kLineSpacing, QTextBlockFormat::LineDistanceHeight);
    const bool wasCutting = std::exchange(_cutting, true);
    cursor.mergeBlockFormat(format);
    _cutting = wasCutting;
    // The spacing is no edit of the user's.
    _textView->document()->clearUndoRedoStacks();
}

void ZQCustomTextScrollView::textDidChange() {
    if (_cutting) {
        return;
    }
    const QString text = _textView->toPlainText();
    if (text.size() <= kTextLimit) {
        if (_countWarnText) {
            _countWarnText->hide();
        }
        return;
    }
    // The change made it too long: the text becomes the proposed text cut at the limit.
    _cutting = true;
    _textView->setPlainText(zq::controls::cutToTextLimit(text, kTextLimit));
    _cutting = false;
    applyLineSpacing();
    _textView->moveCursor(QTextCursor::End);
    if (_countWarnText) {
        _countWarnText->show();
    }
}

void ZQCustomTextScrollView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(strokeColor(), 1));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 6, 6);
}

void ZQCustomTextScrollView::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    // Inside the 1-point frame.
    _textView->setGeometry(rect().adjusted(1, 1, -1, -1));
}
