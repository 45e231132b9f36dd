// Draws the pictures of the seed help list (helpinfo_<id>.png in this folder)
// with Qt's painter. Not part of the build: run it again after changing a
// picture, then commit the PNG files.
//
//   g++ -std=c++20 -fPIC $(pkg-config --cflags Qt6Gui) resources/help/render_pictures.cpp \
//       $(pkg-config --libs Qt6Gui) -o /tmp/render_pictures
//   QT_QPA_PLATFORM=offscreen /tmp/render_pictures resources/help
//
// Each picture is 540 x 460 pixels: the help window shows it at 270 x 230.

#include <QFont>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPainterPath>

#include <cstdio>
#include <functional>

namespace {

constexpr int kWidth = 540;
constexpr int kHeight = 460;
const QColor kAccent(245, 94, 36);
const QColor kInk(51, 51, 51);
const QColor kPaper(250, 250, 250);
const QColor kLine(210, 210, 214);

QFont font(int pixels, bool bold = false) {
    QFont f(QStringLiteral("Noto Sans CJK SC"));
    f.setPixelSize(pixels);
    f.setBold(bold);
    return f;
}

void key(QPainter& p, const QRectF& r, const QString& label, bool pressed = false) {
    QPainterPath path;
    path.addRoundedRect(r, 12, 12);
    p.setPen(QPen(pressed ? kAccent : QColor(170, 170, 176), 3));
    p.setBrush(pressed ? QColor(255, 236, 226) : Qt::white);
    p.drawPath(path);
    p.setPen(pressed ? kAccent : kInk);
    p.setFont(font(int(r.height() * 0.34), true));
    p.drawText(r, Qt::AlignCenter, label);
}

void window(QPainter& p, const QRectF& r, const QString& title) {
    QPainterPath path;
    path.addRoundedRect(r, 14, 14);
    p.setPen(QPen(kLine, 2));
    p.setBrush(Qt::white);
    p.drawPath(path);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(240, 240, 242));
    p.drawRoundedRect(QRectF(r.left() + 1, r.top() + 1, r.width() - 2, 44), 13, 13);
    p.drawRect(QRectF(r.left() + 1, r.top() + 24, r.width() - 2, 21));
    p.setPen(kInk);
    p.setFont(font(20, true));
    p.drawText(QRectF(r.left(), r.top(), r.width(), 46), Qt::AlignCenter, title);
}

void caption(QPainter& p, const QString& text) {
    p.setPen(kInk);
    p.setFont(font(24));
    p.drawText(QRectF(20, kHeight - 70, kWidth - 40, 50), Qt::AlignCenter, text);
}

// 1: adding the input method to the desktop's input sources.
void enableInputMethod(QPainter& p) {
    window(p, QRectF(40, 30, 460, 320), QStringLiteral("键盘 · 输入源"));
    const QStringList rows = {QStringLiteral("英语（美国）"), QStringLiteral("Vesko输入法")};
    for (int i = 0; i < rows.size(); ++i) {
        const QRectF row(70, 100 + i * 62, 400, 50);
        p.setPen(QPen(i == 1 ? kAccent : kLine, 2));
        p.setBrush(i == 1 ? QColor(255, 241, 234) : kPaper);
        p.drawRoundedRect(row, 8, 8);
        p.setPen(i == 1 ? kAccent : kInk);
        p.setFont(font(22, i == 1));
        p.drawText(row.adjusted(20, 0, 0, 0), Qt::AlignVCenter | Qt::AlignLeft, rows[i]);
    }
    key(p, QRectF(70, 236, 56, 50), QStringLiteral("+"), true);
    p.setPen(kInk);
    p.setFont(font(20));
    p.drawText(QRectF(140, 236, 330, 50), Qt::AlignVCenter | Qt::AlignLeft,
               QStringLiteral("添加输入源"));
    caption(p, QStringLiteral("添加后按 Ctrl+空格 切换"));
}

// 2: Shift switches between Chinese and English.
void shiftSwitch(QPainter& p) {
    key(p, QRectF(150, 70, 240, 110), QStringLiteral("Shift"), true);
    const QRectF left(60, 230, 170, 90);
    const QRectF right(310, 230, 170, 90);
    for (const auto& [rect, text] :
         {std::pair{left, QStringLiteral("中")}, std::pair{right, QStringLiteral("英")}}) {
        p.setPen(QPen(kLine, 3));
        p.setBrush(kPaper);
        p.drawRoundedRect(rect, 16, 16);
        p.setPen(kInk);
        p.setFont(font(48, true));
        p.drawText(rect, Qt::AlignCenter, text);
    }
    p.setPen(QPen(kAccent, 5, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(QPointF(240, 262), QPointF(300, 262));
    p.drawLine(QPointF(300, 288), QPointF(240, 288));
    p.drawLine(QPointF(288, 250), QPointF(300, 262));
    p.drawLine(QPointF(252, 300), QPointF(240, 288));
    caption(p, QStringLiteral("单击 Shift 切换中英文"));
}

// 3: the candidate window beside the text cursor.
void candidateWindow(QPainter& p) {
    window(p, QRectF(30, 30, 480, 330), QStringLiteral("文本编辑器"));
    p.setPen(kInk);
    p.setFont(font(26));
    p.drawText(QPointF(60, 130), QStringLiteral("今天天气"));
    p.setPen(QPen(kAccent, 3));
    p.drawLine(QPointF(170, 104), QPointF(170, 136));
    const QRectF popup(170, 150, 310, 110);
    p.setPen(QPen(kLine, 2));
    p.setBrush(Qt::white);
    p.drawRoundedRect(popup, 10, 10);
    p.setPen(kAccent);
    p.setFont(font(22));
    p.drawText(QRectF(185, 156, 280, 36), Qt::AlignVCenter | Qt::AlignLeft,
               QStringLiteral("hen hao"));
    p.setPen(kInk);
    p.drawText(QRectF(185, 200, 290, 44), Qt::AlignVCenter | Qt::AlignLeft,
               QStringLiteral("1.很好 2.狠好 3.很"));
    caption(p, QStringLiteral("候选窗口应紧跟光标"));
}

// 4: the feedback form with an attached picture.
void feedbackForm(QPainter& p) {
    window(p, QRectF(40, 25, 460, 335), QStringLiteral("意见反馈"));
    const QRectF text(70, 90, 400, 120);
    p.setPen(QPen(QColor(184, 184, 184), 2));
    p.setBrush(Qt::white);
    p.drawRoundedRect(text, 6, 6);
    p.setPen(QColor(150, 150, 150));
    p.setFont(font(20));
    p.drawText(text.adjusted(14, 10, -14, -10), Qt::AlignLeft | Qt::AlignTop | Qt::TextWordWrap,
               QStringLiteral("请描述您遇到的问题……"));
    const QRectF chip(70, 225, 150, 36);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(34, 34, 34, 26));
    p.drawRoundedRect(chip, 10, 10);
    p.setPen(QColor(102, 102, 102));
    p.setFont(font(18));
    p.drawText(chip, Qt::AlignCenter, QStringLiteral("截图.png"));
    const QRectF submit(350, 290, 120, 46);
    p.setPen(Qt::NoPen);
    p.setBrush(kAccent);
    p.drawRoundedRect(submit, 8, 8);
    p.setPen(Qt::white);
    p.setFont(font(20, true));
    p.drawText(submit, Qt::AlignCenter, QStringLiteral("提交"));
    caption(p, QStringLiteral("描述问题，附上截图"));
}

}  // namespace

int main(int argc, char* argv[]) {
    QGuiApplication app(argc, argv);
    const QString folder = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral(".");
    const std::pair<int, std::function<void(QPainter&)>> pictures[] = {
        {1, enableInputMethod}, {2, shiftSwitch}, {3, candidateWindow}, {4, feedbackForm}};
    for (const auto& [id, draw] : pictures) {
        QImage image(kWidth, kHeight, QImage::Format_RGB32);
        image.fill(QColor(247, 247, 247));
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setRenderHint(QPainter::TextAntialiasing);
        draw(painter);
        painter.end();
        const QString path = QStringLiteral("%1/helpinfo_%2.png").arg(folder).arg(id);
        if (!image.save(path, "PNG")) {
            std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
            return 1;
        }
    }
    return 0;
}
