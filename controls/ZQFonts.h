#pragma once

#include <QFont>
#include <QString>

// Fonts of the application's windows. Sizes are in points, where one point is
// one device-independent pixel (the unit of every frame), so a 12-point font
// is 12 pixels tall at device pixel ratio 1 and 24 at ratio 2.
namespace zq::controls {

// The font named as in the window descriptions ("PingFangSC-Regular",
// "PingFangSC-Medium", "PingFangSC-Light", "PingFangSC-Semibold", or a plain
// family name) at `size` points. When the named family is missing, the CJK
// sans-serif face of the same weight is used, then the system font of that
// weight.
QFont namedFont(const QString& name, qreal size);
// The system font at `size` points (the "system message font" too).
QFont systemFont(qreal size);
QFont boldSystemFont(qreal size);
// The named font, or `fallback` when the named family is not installed.
QFont namedFontOr(const QString& name, qreal size, const QFont& fallback);

// The font's ascender and descender in points (descender as a positive depth).
qreal fontAscender(const QFont& font);
qreal fontDescender(const QFont& font);
// The default line height of a font as a text layout gives it.
qreal defaultLineHeight(const QFont& font);

}  // namespace zq::controls
