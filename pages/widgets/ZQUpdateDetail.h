#pragma once

#include "app/host/ZQPageController.h"
#include "controls/ZQCustomButton.h"
#include "pages/models/ZQUpdateDetailModel.h"

#include <QLabel>
#include <QObject>
#include <QPointer>
#include <QUrl>

class ChangeLogView;
class QWidget;
class ZQAssistConfig;
class ZQUpdateDetailWindow;

// The update detail window: what changed in a new version (the change-log
// page of the web host, or the offline page), the installed version, and for
// a downloaded package the buttons to install it, ignore this version or be
// reminded later. Opened through the page name "ZQUpdateDetail"; created once
// and kept. Its behaviour lives in ZQUpdateDetailModel; this class only binds
// the controls to it.
//
// The window paints its headline, versions and buttons first; the change-log
// view (and with it the web engine) is made after that first paint.
class ZQUpdateDetail : public QObject, public ZQPageController {
    Q_OBJECT
public:
    // `config` defaults to the shared store.
    explicit ZQUpdateDetail(ZQAssistConfig* config = nullptr);
    ~ZQUpdateDetail() override;

    QWidget* window() const override;
    void loadRequestReceived(const QVariantMap& payload) override;

    ZQUpdateDetailModel* model() const { return _model; }

    // The controls, for tests.
    ChangeLogView* webView() const { return _webView; }
    ZQCustomButton* updateBtn() const { return _updateBtn; }
    ZQCustomButton* promptLaterBtn() const { return _promptLaterBtn; }
    ZQCustomButton* ignoreThisBtn() const { return _ignoreThisBtn; }
    ZQCustomButton* okBtn() const { return _okBtn; }
    QLabel* sloganString() const { return _sloganString; }
    QLabel* localVerString() const { return _localVerString; }

    static constexpr int kWindowWidth = 600;
    static constexpr int kWindowHeight = 480;

signals:
    // The change-log view has been made (the web view, or the local viewer).
    void webViewAttached();

private:
    void buildWindow();
    void attachWebView();
    void applyState();
    void applyWindowLevel(int level);
    void loadPage(const QUrl& url);

    ZQUpdateDetailModel* _model;
    ZQUpdateDetailWindow* mWindow = nullptr;
    QPointer<QWidget> _webArea;
    ChangeLogView* _webView = nullptr;
    QUrl _pendingUrl;
    QPointer<ZQCustomButton> _updateBtn;
    QPointer<ZQCustomButton> _promptLaterBtn;
    QPointer<ZQCustomButton> _ignoreThisBtn;
    QPointer<ZQCustomButton> _okBtn;
    QPointer<QLabel> _sloganString;
    QPointer<QLabel> _localVerString;
};
