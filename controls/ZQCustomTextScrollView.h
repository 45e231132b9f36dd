#pragma once

#include <QColor>
#include <QPointer>
#include <QString>
#include <QTextEdit>
#include <QWidget>

class QLabel;

namespace zq::controls {

// The text limit of the comment box: `text` unchanged when it has at most
// `limit` UTF-16 units; otherwise cut at `limit` units, or one unit earlier
// when the character sequence (grapheme) holding unit limit - 1 goes on past
// the limit, and one more when that would leave half a surrogate pair at the
// end. So a character made of a surrogate pair is never split.
QString cutToTextLimit(const QString& text, int limit);

}  // namespace zq::controls

// The editable text of the comment box: plain text (no links, no rich
// text), black, wrapped to the width, growing downwards, with an inset of
// (8, 8), and a grey placeholder at (8, 8) while it is empty and has no
// keyboard focus.
class ZQCustomTextView : public QTextEdit {
    Q_OBJECT

public:
    explicit ZQCustomTextView(QWidget* parent = nullptr);

    void setPlaceholder(const QString& placeholder);
    QString placeholder() const { return _placeholder; }
    // Whether the placeholder is drawn now.
    bool showsPlaceholder() const;

signals:
    // The view became the first responder (took the keyboard focus) / lost it.
    void beFirstRes(bool focused);

protected:
    void paintEvent(QPaintEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    QString _placeholder;
};

// The comment box: a ZQCustomTextView filling a frame drawn as a 1-point
// rounded rectangle (radius 6), orange while the text has the focus and
// light grey otherwise. It keeps the text at 300 units or fewer: input that
// would make it longer is cut (cutToTextLimit) and the count warning shows;
// any other change hides it.
class ZQCustomTextScrollView : public QWidget {
    Q_OBJECT

public:
    static constexpr int kTextLimit = 300;
    static const QColor kActiveColor;    // (255, 100, 44)
    static const QColor kInactiveColor;  // grey 232

    explicit ZQCustomTextScrollView(QWidget* parent = nullptr);

    ZQCustomTextView* textView() const { return _textView; }
    // The warning shown when input is cut (not owned).
    void setCountWarnText(QLabel* label);
    // The text, empty when there is none.
    QString textViewString() const;
    void setTextViewString(const QString& text);
    // Draws the frame in the active or the inactive colour.
    void updateBgStrokeColorWithActive(bool active);
    bool isActive() const { return _active; }
    QColor strokeColor() const { return _active ? kActiveColor : kInactiveColor; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void textDidChange();
    void applyLineSpacing();

    ZQCustomTextView* _textView;
    QPointer<QLabel> _countWarnText;
    bool _active = false;
    bool _cutting = false;
};
