#pragma once

#include "app/host/ZQPageController.h"
#include "help/models/ZQFeedbackFormModel.h"

#include <QObject>
#include <QPointer>
#include <QString>

class QLabel;
class QPlainTextEdit;
class QWidget;
class ZQCustomBgView;
class ZQCustomButton;
class ZQFeedbackButtonsView;
class ZQFeedbackWindow;
class ZQHelpInfoListWindowController;

// The help-and-feedback window (page "ZQFeedbackWindowController"): a title
// bar with back and forward arrows, the help list (shown first), the feedback
// form, and a strip with the support e-mail address. The form's behaviour is
// ZQFeedbackFormModel; this class builds the window, binds the controls and
// answers the model's file panel and alerts with window-modal dialogs.
//
// Keyboard: Tab moves between the buttons, the list rows and the chips; in the
// two text fields Tab and Return insert a tab and a line break, and Ctrl+Tab
// (Shift+Tab backwards) leaves the field.
class ZQFeedbackWindowController : public QObject,
                                   public ZQPageController,
                                   public ZQFeedbackFormUi {
    Q_OBJECT
public:
    static constexpr int kWindowWidth = 580;
    static constexpr int kWindowHeight = 476;

    // `draft` none keeps no draft (tests); the default is the user's draft file.
    explicit ZQFeedbackWindowController(std::optional<ZQFeedbackDraft> draft = ZQFeedbackDraft());
    ~ZQFeedbackWindowController() override;

    QWidget* window() const override;

    ZQFeedbackFormModel* model() const { return _model; }
    ZQHelpInfoListWindowController* helpInfoWindowController() const {
        return _helpInfoWindowController;
    }

    // Navigation.
    void showHelpInfoViewView();
    void showFeedbackView();
    void feedbackBtnAction();
    void goForward();
    void goBack();
    void openFeedbackEmail();
    // "mailto:" and the support address of the deployment configuration.
    static QString feedbackEmailAddress();

    // ZQFeedbackFormUi: the file panel and the alerts, window-modal.
    void chooseFiles(std::function<void(const QStringList& files)> chosen) override;
    void showAlert(const ZQFeedbackAlert& alert, std::function<void()> dismissed) override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void windowDidLoad();
    void buildTitleBar();
    void buildHelpInfoView();
    void buildFeedbackView();
    void buildContactInfoView();
    void firstPainted();
    void applyTexts();
    void updateContactInfoTextPos();
    void setTitle(const QString& title);
    void windowWillClose();

    ZQFeedbackFormModel* _model;
    ZQFeedbackWindow* mWindow = nullptr;
    ZQHelpInfoListWindowController* _helpInfoWindowController = nullptr;
    ZQCustomBgView* titleView = nullptr;
    ZQCustomButton* backBtn = nullptr;
    ZQCustomButton* forwardBtn = nullptr;
    QLabel* titleTextField = nullptr;
    QWidget* helpInfoView = nullptr;
    QWidget* helpListArea = nullptr;
    ZQCustomButton* feedbackBtn = nullptr;
    QWidget* feedbackView = nullptr;
    QWidget* contactInfoView = nullptr;
    QPlainTextEdit* texProblemDescription = nullptr;
    QPlainTextEdit* contactInfoText = nullptr;
    QLabel* countWarnText = nullptr;
    ZQFeedbackButtonsView* buttonsView = nullptr;
    ZQCustomButton* uploadBtn = nullptr;
    ZQCustomButton* commitBtn = nullptr;
    ZQCustomButton* feedbackEmailButton = nullptr;
};
