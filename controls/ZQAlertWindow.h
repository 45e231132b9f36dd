#pragma once

#include <QPointer>
#include <QString>
#include <QWidget>

#include <functional>

class QLabel;
class ZQCustomButton;

// The application's confirmation box: a borderless window laid exactly over a
// page's window, dimming it, with a light box (title, text, "取消" and "确认")
// at (65, 35) from the window's lower left. It answers once through the
// completion: true for "确认", false for "取消".
class ZQAlertWindow : public QWidget {
    Q_OBJECT

public:
    using Completion = std::function<void(bool)>;

    // The process's instance, created on first use (main thread only). It is
    // deleted when the application object goes away.
    static ZQAlertWindow* sharedInstance();

    // Tests and tools may make their own.
    ZQAlertWindow();
    ~ZQAlertWindow() override;

    // Keeps `completion` (an earlier pending one is dropped without being
    // called), lays the window over `parent`'s window and shows it in front.
    void showInWindow(QWidget* parent, const QString& title, const QString& alertText,
                      Completion completion);

    void clickCancel();     // completion(false), then hide
    void clickActionYES();  // completion(true), then hide
    void hideAlertView();   // drops the completion and hides

    bool hasPendingCompletion() const { return static_cast<bool>(_completionHandler); }
    QWidget* backView() const { return _backView; }
    QWidget* contentView() const { return _contentView; }
    QLabel* titleLabel() const { return _titleLabel; }
    QWidget* detailLabel() const { return _detailLabel; }
    QString detailText() const;
    ZQCustomButton* cancelButton() const { return _cancelButton; }
    ZQCustomButton* confirmButton() const { return _confirmButton; }
    QWidget* parentWindow() const { return _parentWindow; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;

private:
    void followParent();

    QWidget* _backView = nullptr;
    QWidget* _contentView = nullptr;
    QLabel* _titleLabel = nullptr;
    QWidget* _detailLabel = nullptr;
    ZQCustomButton* _cancelButton = nullptr;
    ZQCustomButton* _confirmButton = nullptr;
    Completion _completionHandler;
    QPointer<QWidget> _parentWindow;
    QPoint _pressOffset;
    quint64 _showCount = 0;
};
