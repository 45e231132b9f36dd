#pragma once

#include "app/ZQPageController.h"
#include "pages/ZQUpdateDetailModel.h"

#include "controls/ZQCustomButton.h"

#include <QLabel>
#include <QPointer>
#include <QWebEngineView>
#include <QWidget>

class ZQAssistConfig;
namespace platform {
class DistributedNotificationCenter;
}

class ZQUpdateDetailWindow;

// The update detail window: what changed in a new version (the change-log
// page of the web host, or the offline page), the installed version, and for
// a downloaded package the buttons to install it, ignore this version or be
// reminded later. Opened through the page name "ZQUpdateDetail"; created once
// and kept. Its behaviour lives in ZQUpdateDetailModel; this class only binds
// the controls to it.
class ZQUpdateDetail : public QObject, public ZQPageController {
    Q_OBJECT
public:
    // `config` defaults to the shared store, `center` to the session-bus centre.
    explicit ZQUpdateDetail(ZQAssistConfig* config = nullptr,
                            platform::DistributedNotificationCenter* center = nullptr);
    ~ZQUpdateDetail() override;

    QWidget* window() const override;
    void showWindow() override;

    ZQUpdateDetailModel* model() const { return m_model; }

    // The controls, for tests.
    QWebEngineView* webView() const { return webView_; }
    ZQCustomButton* updateBtn() const { return updateBtn_; }
    ZQCustomButton* promptLaterBtn() const { return promptLaterBtn_; }
    ZQCustomButton* ignoreThisBtn() const { return ignoreThisBtn_; }
    ZQCustomButton* okBtn() const { return okBtn_; }
    QLabel* sloganString() const { return sloganString_; }
    QLabel* localVerString() const { return localVerString_; }

    static constexpr int kWindowWidth = 600;
    static constexpr int kWindowHeight = 480;

private:
    void buildWindow();
    void applyState();
    void applyWindowLevel(int level);
    void loadPage(const QUrl& url);
    void centerWindow();

    ZQUpdateDetailModel* m_model;
    QPointer<QWebEngineView> webView_;
    QPointer<ZQCustomButton> updateBtn_;
    QPointer<ZQCustomButton> promptLaterBtn_;
    QPointer<ZQCustomButton> ignoreThisBtn_;
    QPointer<ZQCustomButton> okBtn_;
    QPointer<QLabel> sloganString_;
    QPointer<QLabel> localVerString_;
    ZQUpdateDetailWindow* mWindow = nullptr;
};
