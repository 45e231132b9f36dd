#include "help/widgets/ZQFeedbackWindowController.h"

#include "controls/ZQCustomBgView.h"
#include "controls/ZQCustomButton.h"
#include "controls/ZQFonts.h"
#include "controls/ZQGeometry.h"
#include "help/ZQHelpListInfoDataManager.h"
#include "help/models/ZQHelpGeometry.h"
#include "help/widgets/ZQFeedbackButtonsView.h"
#include "help/widgets/ZQHelpInfoListWindowController.h"
#include "help/widgets/ZQImageShowWindow.h"
#include "platform/Configuration.h"
#include "platform/Workspace.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QFileDialog>
#include <QGraphicsDropShadowEffect>
#include <QKeyEvent>
#include <QLabel>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QStandardPaths>
#include <QTimer>
#include <QUrl>

#include <utility>

using zq::controls::placeAt;

// The top-level window: saves the draft when it closes, and starts the help
// list's request once it has been painted.
class ZQFeedbackWindow : public QWidget {
public:
    ZQFeedbackWindow(std::function<void()> closing, std::function<void()> firstPainted)
        : _closing(std::move(closing)), _firstPainted(std::move(firstPainted)) {}

protected:
    void closeEvent(QCloseEvent* event) override {
        _closing();
        QWidget::closeEvent(event);
    }
    void paintEvent(QPaintEvent* event) override {
        QWidget::paintEvent(event);
        if (_firstPainted) {
            QTimer::singleShot(0, this, std::exchange(_firstPainted, nullptr));
        }
    }

private:
    std::function<void()> _closing;
    std::function<void()> _firstPainted;
};

namespace {

const QColor kOrange(255, 100, 44);
const QColor kText(0x33, 0x33, 0x33);

ZQCustomButton* makeButton(QWidget* parent, const QString& title, bool primary) {
    auto* button = new ZQCustomButton(parent);
    const QFont font = zq::controls::namedFont(QStringLiteral("PingFangSC-Regular"), 13);
    if (primary) {
        button->setBgColorForNormal(kOrange, QColor(255, 120, 71), QColor(229, 82, 28), 4);
        button->setTitle(title, Qt::white, Qt::white, Qt::white, font);
    } else {
        button->setBgColorForNormal(Qt::white, QColor(255, 237, 229), QColor(255, 226, 214), 4);
        button->setBgStrokeColorForNormal(kOrange, kOrange, kOrange, 4);
        button->setTitle(title, kOrange, kOrange, kOrange, font);
    }
    button->setIsHandCursor(true);
    return button;
}

QPlainTextEdit* makeField(QWidget* parent, const QString& placeholder) {
    auto* field = new QPlainTextEdit(parent);
    field->setPlaceholderText(placeholder);
    field->setAccessibleName(placeholder);
    field->setTabChangesFocus(false);
    field->setFont(zq::controls::namedFont(QStringLiteral("PingFangSC-Regular"), 13));
    field->setStyleSheet(
        QStringLiteral("QPlainTextEdit { border: 1px solid rgb(184, 184, 184); border-radius: 4px;"
                       " background: white; color: #222222; }"
                       "QPlainTextEdit:focus { border-color: rgb(255, 100, 44); }"));
    return field;
}

QLabel* makeLabel(QWidget* parent, const QString& text, qreal size, const QColor& color) {
    auto* label = new QLabel(text, parent);
    label->setTextFormat(Qt::PlainText);
    label->setFont(zq::controls::namedFont(QStringLiteral("PingFangSC-Regular"), size));
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, color);
    label->setPalette(palette);
    return label;
}

// Shows `text` in the field unless it shows it already (the cursor goes to
// the end), without telling the model about it again.
void showText(QPlainTextEdit* field, const QString& text) {
    if (field->toPlainText() == text) {
        return;
    }
    const QSignalBlocker blocker(field);
    field->setPlainText(text);
    field->moveCursor(QTextCursor::End);
}

}  // namespace

ZQFeedbackWindowController::ZQFeedbackWindowController(std::optional<ZQFeedbackDraft> draft)
    : _model(new ZQFeedbackFormModel(std::move(draft), this)) {
    _model->setUi(this);
    windowDidLoad();
}

ZQFeedbackWindowController::~ZQFeedbackWindowController() {
    _model->setUi(nullptr);
    disconnect(_model, nullptr, this, nullptr);
    delete mWindow;
}

QWidget* ZQFeedbackWindowController::window() const {
    return mWindow;
}

void ZQFeedbackWindowController::windowDidLoad() {
    ZQHelpListInfoDataManager::checkUserHelpInfoFile();
    mWindow = new ZQFeedbackWindow([this] { windowWillClose(); }, [this] { firstPainted(); });
    mWindow->setObjectName(QStringLiteral("ZQFeedbackWindowController"));
    mWindow->setFixedSize(kWindowWidth, kWindowHeight);
    mWindow->setAutoFillBackground(true);
    QPalette palette = mWindow->palette();
    palette.setColor(QPalette::Window, Qt::white);
    mWindow->setPalette(palette);
    connect(qApp, &QCoreApplication::aboutToQuit, this, [this] { _model->flushDraft(); });

    buildContactInfoView();
    buildHelpInfoView();
    buildFeedbackView();
    buildTitleBar();

    _helpInfoWindowController = new ZQHelpInfoListWindowController(this);
    // Keyboard order: the title bar, the view shown, the e-mail address.
    QWidget::setTabOrder(backBtn, forwardBtn);
    QWidget::setTabOrder(forwardBtn, feedbackBtn);
    QWidget::setTabOrder(feedbackBtn, texProblemDescription);
    QWidget::setTabOrder(texProblemDescription, uploadBtn);
    QWidget::setTabOrder(uploadBtn, buttonsView);
    QWidget::setTabOrder(buttonsView, contactInfoText);
    QWidget::setTabOrder(contactInfoText, commitBtn);
    QWidget::setTabOrder(commitBtn, feedbackEmailButton);

    _model->restoreDraft();
    applyTexts();
    showHelpInfoViewView();
}

void ZQFeedbackWindowController::buildTitleBar() {
    titleView = new ZQCustomBgView(mWindow);
    titleView->setBgColor(QColor(248, 248, 248, qRound(0.9 * 255)), 7, 7, 3);
    auto* shadow = new QGraphicsDropShadowEffect(titleView);
    shadow->setColor(QColor(0, 0, 0, qRound(0.1 * 255)));
    shadow->setBlurRadius(6);
    shadow->setOffset(0, 1);
    titleView->setGraphicsEffect(shadow);
    placeAt(titleView, 0, kWindowHeight - 44, kWindowWidth, 44);

    const auto arrow = [this](const QString& name, const QString& accessibleName) {
        auto* button = new ZQCustomButton(titleView);
        button->setBgImageForNormal(ZQImage::named(name + QStringLiteral("_normal")),
                                    ZQImage::named(name + QStringLiteral("_hover")),
                                    ZQImage::named(name + QStringLiteral("_click")),
                                    ZQImage::named(name + QStringLiteral("_disable")));
        button->setAccessibleName(accessibleName);
        button->setEnabled(false);
        return button;
    };
    //% "返回"
    backBtn = arrow(QStringLiteral("back_btn"), qtTrId("zq-feedback-back"));
    placeAt(backBtn, 12, 10, 24, 24);
    backBtn->addTarget(this, &ZQFeedbackWindowController::goBack);
    //% "前进"
    forwardBtn = arrow(QStringLiteral("forward_btn"), qtTrId("zq-feedback-forward"));
    placeAt(forwardBtn, 44, 10, 24, 24);
    forwardBtn->addTarget(this, &ZQFeedbackWindowController::goForward);

    titleTextField = makeLabel(titleView, QString(), 14, QColor(0x22, 0x22, 0x22));
    titleTextField->setFont(zq::controls::namedFont(QStringLiteral("PingFangSC-Medium"), 14));
    titleTextField->setAlignment(Qt::AlignCenter);
    placeAt(titleTextField, 100, 12, kWindowWidth - 200, 20);
}

void ZQFeedbackWindowController::buildHelpInfoView() {
    helpInfoView = new QWidget(mWindow);
    placeAt(helpInfoView, 0, 36, kWindowWidth, 396);
    helpListArea = new QWidget(helpInfoView);
    placeAt(helpListArea, 0, 44, kWindowWidth, ZQHelpInfoListWindowController::kHeight);
    //% "没有找到答案？告诉我们您遇到的问题"
    placeAt(makeLabel(helpInfoView, qtTrId("zq-feedback-help-hint"), 12, QColor(0x88, 0x88, 0x88)),
            20, 14, 400, 18);
    //% "意见反馈"
    feedbackBtn = makeButton(helpInfoView, qtTrId("zq-feedback-button"), false);
    placeAt(feedbackBtn, kWindowWidth - 120, 8, 100, 28);
    feedbackBtn->addTarget(this, &ZQFeedbackWindowController::feedbackBtnAction);
}

void ZQFeedbackWindowController::buildFeedbackView() {
    feedbackView = new QWidget(mWindow);
    placeAt(feedbackView, 0, 36, kWindowWidth, 396);

    //% "问题描述"
    placeAt(makeLabel(feedbackView, qtTrId("zq-feedback-description-label"), 13, kText), 20, 378,
            200, 18);
    //% "已达到300字上限"
    countWarnText = makeLabel(feedbackView, qtTrId("zq-feedback-count-warning"), 12, kOrange);
    countWarnText->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    placeAt(countWarnText, kWindowWidth - 220, 378, 200, 18);

    //% "请详细描述您遇到的问题（10至300字）"
    texProblemDescription = makeField(feedbackView, qtTrId("zq-feedback-description"));
    placeAt(texProblemDescription, 20, 176, kWindowWidth - 40, 198);
    //% "联系方式（QQ、邮箱或手机，选填）"
    contactInfoText = makeField(feedbackView, qtTrId("zq-feedback-contact"));
    contactInfoText->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    contactInfoText->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    for (QPlainTextEdit* field : {texProblemDescription, contactInfoText}) {
        field->installEventFilter(this);
    }

    buttonsView = new ZQFeedbackButtonsView(_model, feedbackView);
    placeAt(buttonsView, 15, 147, kWindowWidth - 30, 20);
    connect(buttonsView, &ZQFeedbackButtonsView::updateViewOfNoPic, this,
            &ZQFeedbackWindowController::updateContactInfoTextPos);

    //% "添加图片"
    uploadBtn = makeButton(feedbackView, qtTrId("zq-feedback-add-pictures"), false);
    placeAt(uploadBtn, 20, 40, 100, 32);
    uploadBtn->addTarget(_model, &ZQFeedbackFormModel::uploadPicture);
    //% "最多3张图片，共1MB以内（png、jpg、gif、tiff）"
    placeAt(
        makeLabel(feedbackView, qtTrId("zq-feedback-picture-hint"), 12, QColor(0x99, 0x99, 0x99)),
        130, 47, 320, 18);
    //% "提交"
    commitBtn = makeButton(feedbackView, qtTrId("zq-feedback-commit"), true);
    placeAt(commitBtn, kWindowWidth - 120, 40, 100, 32);
    commitBtn->addTarget(_model, &ZQFeedbackFormModel::commitFeedback);

    connect(texProblemDescription, &QPlainTextEdit::textChanged, this, [this] {
        showText(texProblemDescription,
                 _model->setDescription(texProblemDescription->toPlainText()));
    });
    connect(contactInfoText, &QPlainTextEdit::textChanged, this, [this] {
        showText(contactInfoText, _model->setContact(contactInfoText->toPlainText()));
    });
    connect(_model, &ZQFeedbackFormModel::textsChanged, this,
            &ZQFeedbackWindowController::applyTexts);
    connect(_model, &ZQFeedbackFormModel::countWarnVisibleChanged, countWarnText,
            &QWidget::setVisible);
    connect(_model, &ZQFeedbackFormModel::picturesChanged, this,
            &ZQFeedbackWindowController::updateContactInfoTextPos);
}

void ZQFeedbackWindowController::buildContactInfoView() {
    contactInfoView = new QWidget(mWindow);
    placeAt(contactInfoView, 0, 0, kWindowWidth, 36);
    contactInfoView->setAutoFillBackground(true);
    QPalette palette = contactInfoView->palette();
    palette.setColor(QPalette::Window, QColor(248, 248, 248));
    contactInfoView->setPalette(palette);
    //% "您也可以发送邮件至"
    QLabel* label = makeLabel(contactInfoView, qtTrId("zq-feedback-mail-hint"), 12, kText);
    label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    placeAt(label, 20, 9, 200, 18);
    const QString address = platform::Configuration::supportEmail();
    feedbackEmailButton = new ZQCustomButton(contactInfoView);
    feedbackEmailButton->setText(address);
    feedbackEmailButton->setFont(zq::controls::namedFont(QStringLiteral("PingFangSC-Regular"), 12));
    feedbackEmailButton->setTitleAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    feedbackEmailButton->setTitHoverUndLineWithTitColor(QColor(34, 34, 1), kOrange);
    //% "发送邮件至 %1"
    feedbackEmailButton->setAccessibleName(qtTrId("zq-feedback-mail-button").arg(address));
    placeAt(feedbackEmailButton, 226, 8, 300, 20);
    feedbackEmailButton->addTarget(this, &ZQFeedbackWindowController::openFeedbackEmail);
}

void ZQFeedbackWindowController::firstPainted() {
    // The list asks the service only after the window has been painted.
    _helpInfoWindowController->embedIn(helpListArea);
    _helpInfoWindowController->setTabAnchor(forwardBtn);
    _helpInfoWindowController->updateContentView();
}

void ZQFeedbackWindowController::applyTexts() {
    showText(texProblemDescription, _model->description());
    showText(contactInfoText, _model->contact());
    countWarnText->setVisible(_model->countWarnVisible());
    updateContactInfoTextPos();
}

void ZQFeedbackWindowController::updateContactInfoTextPos() {
    const bool hasPictures = !_model->pictures().isEmpty();
    placeAt(contactInfoText, 20, zq::help::geometry::contactFieldY(hasPictures), kWindowWidth - 40,
            28);
    buttonsView->setVisible(hasPictures);
}

void ZQFeedbackWindowController::setTitle(const QString& title) {
    titleTextField->setText(title);
    mWindow->setWindowTitle(title);
}

void ZQFeedbackWindowController::showHelpInfoViewView() {
    helpInfoView->show();
    feedbackView->hide();
    //% "帮助与反馈"
    setTitle(qtTrId("zq-feedback-title-help"));
}

void ZQFeedbackWindowController::showFeedbackView() {
    helpInfoView->hide();
    feedbackView->show();
    //% "意见反馈"
    setTitle(qtTrId("zq-feedback-title-form"));
    texProblemDescription->setFocus();
}

void ZQFeedbackWindowController::feedbackBtnAction() {
    goForward();
}

void ZQFeedbackWindowController::goForward() {
    backBtn->setEnabled(true);
    forwardBtn->setEnabled(false);
    showFeedbackView();
}

void ZQFeedbackWindowController::goBack() {
    backBtn->setEnabled(false);
    forwardBtn->setEnabled(true);
    showHelpInfoViewView();
}

QString ZQFeedbackWindowController::feedbackEmailAddress() {
    return QStringLiteral("mailto:") + platform::Configuration::supportEmail();
}

void ZQFeedbackWindowController::openFeedbackEmail() {
    platform::Workspace::openUrl(QUrl(feedbackEmailAddress()), this);
}

void ZQFeedbackWindowController::chooseFiles(std::function<void(const QStringList&)> chosen) {
    //% "上传图片"
    auto* panel =
        new QFileDialog(mWindow, qtTrId("zq-feedback-file-panel"),
                        QStandardPaths::writableLocation(QStandardPaths::DownloadLocation));
    panel->setObjectName(QStringLiteral("filePanel"));
    panel->setFileMode(QFileDialog::ExistingFiles);
    //% "图片"
    panel->setNameFilter(qtTrId("zq-feedback-file-types") +
                         QStringLiteral(" (*.tiff *.png *.gif *.jpg *.TIFF *.PNG *.GIF *.JPG)"));
    panel->setWindowModality(Qt::WindowModal);
    panel->setAttribute(Qt::WA_DeleteOnClose);
    connect(panel, &QFileDialog::filesSelected, this, [chosen](const QStringList& files) {
        if (!files.isEmpty()) {
            chosen(files);
        }
    });
    panel->open();
}

void ZQFeedbackWindowController::showAlert(const ZQFeedbackAlert& alert,
                                           std::function<void()> dismissed) {
    auto* box = new QMessageBox(mWindow);
    box->setObjectName(QStringLiteral("alert"));
    //% "Vesko输入法"
    box->setWindowTitle(qtTrId("zq-feedback-alert-title"));
    box->setIconPixmap(
        ZQImage::named(QStringLiteral("alert_logo")).toPixmap(box->devicePixelRatio()));
    if (alert.asTitle) {
        box->setText(alert.text);
    } else {
        box->setInformativeText(alert.text);
    }
    //% "好的"
    box->addButton(qtTrId("zq-feedback-alert-ok"), QMessageBox::AcceptRole);
    box->setWindowModality(Qt::WindowModal);
    box->setAttribute(Qt::WA_DeleteOnClose);
    connect(box, &QMessageBox::finished, this, [dismissed] { dismissed(); });
    box->open();
}

bool ZQFeedbackWindowController::eventFilter(QObject* watched, QEvent* event) {
    // In the text fields Tab inserts a tab; Ctrl+Tab and Shift+Tab leave them.
    if (event->type() == QEvent::KeyPress) {
        auto* key = static_cast<QKeyEvent*>(event);
        const bool ctrlTab = key->key() == Qt::Key_Tab && (key->modifiers() & Qt::ControlModifier);
        if (ctrlTab || key->key() == Qt::Key_Backtab) {
            auto* field = static_cast<QWidget*>(watched);
            QWidget* next = key->key() == Qt::Key_Backtab ? field->previousInFocusChain()
                                                          : field->nextInFocusChain();
            while (next && next != field &&
                   (!next->isVisible() || !next->isEnabled() ||
                    !(next->focusPolicy() & Qt::TabFocus))) {
                next = key->key() == Qt::Key_Backtab ? next->previousInFocusChain()
                                                     : next->nextInFocusChain();
            }
            if (next) {
                next->setFocus(key->key() == Qt::Key_Backtab ? Qt::BacktabFocusReason
                                                             : Qt::TabFocusReason);
            }
            return true;
        }
    }
    return QObject::eventFilter(watched, event);
}

void ZQFeedbackWindowController::windowWillClose() {
    _model->flushDraft();
    // A viewer left open would keep the process running.
    ZQImageShowWindow::sharedInstance()->closeWindow();
}
