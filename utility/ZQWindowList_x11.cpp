// The X11 window list of IsInZhihuBrowser. libxcb is loaded when first asked
// for, so that no program links it for this helper alone.

#include "utility/UtilityLog.h"
#include "utility/ZQIMDataHelpers.h"

#include <QLibrary>
#include <QLoggingCategory>

#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>

namespace {

struct Xcb {
    decltype(&xcb_connect) connect = nullptr;
    decltype(&xcb_connection_has_error) hasError = nullptr;
    decltype(&xcb_disconnect) disconnect = nullptr;
    decltype(&xcb_get_setup) getSetup = nullptr;
    decltype(&xcb_setup_roots_iterator) rootsIterator = nullptr;
    decltype(&xcb_intern_atom) internAtom = nullptr;
    decltype(&xcb_intern_atom_reply) internAtomReply = nullptr;
    decltype(&xcb_get_property) getProperty = nullptr;
    decltype(&xcb_get_property_reply) getPropertyReply = nullptr;
    decltype(&xcb_get_property_value) propertyValue = nullptr;
    decltype(&xcb_get_property_value_length) propertyValueLength = nullptr;
    decltype(&xcb_get_window_attributes) getAttributes = nullptr;
    decltype(&xcb_get_window_attributes_reply) getAttributesReply = nullptr;
    bool loaded = false;
};

const Xcb& xcb() {
    static Xcb api;
    static std::once_flag once;
    std::call_once(once, [] {
        QLibrary library(QStringLiteral("xcb"), 1);
        if (!library.load()) {
            qCInfo(lcUtility) << "no libxcb:" << library.errorString();
            return;
        }
        bool ok = true;
        const auto resolve = [&library, &ok](auto& function, const char* name) {
            function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(
                library.resolve(name));
            ok = ok && function;
        };
        resolve(api.connect, "xcb_connect");
        resolve(api.hasError, "xcb_connection_has_error");
        resolve(api.disconnect, "xcb_disconnect");
        resolve(api.getSetup, "xcb_get_setup");
        resolve(api.rootsIterator, "xcb_setup_roots_iterator");
        resolve(api.internAtom, "xcb_intern_atom");
        resolve(api.internAtomReply, "xcb_intern_atom_reply");
        resolve(api.getProperty, "xcb_get_property");
        resolve(api.getPropertyReply, "xcb_get_property_reply");
        resolve(api.propertyValue, "xcb_get_property_value");
        resolve(api.propertyValueLength, "xcb_get_property_value_length");
        resolve(api.getAttributes, "xcb_get_window_attributes");
        resolve(api.getAttributesReply, "xcb_get_window_attributes_reply");
        api.loaded = ok;  // the library stays loaded for the process
    });
    return api;
}

struct FreeDeleter {
    void operator()(void* p) const { std::free(p); }
};
template <typename T>
using Reply = std::unique_ptr<T, FreeDeleter>;

class Display {
public:
    explicit Display(const Xcb& api) : _api(api) {
        int screen = 0;
        _connection = api.connect(nullptr, &screen);
        if (api.hasError(_connection)) {
            return;
        }
        xcb_screen_iterator_t it = api.rootsIterator(api.getSetup(_connection));
        for (int i = 0; i < screen && it.rem; ++i) {
            it.rem--;
            it.data++;
            it.index += int(sizeof(xcb_screen_t));
        }
        if (it.rem) {
            _root = it.data->root;
        }
    }
    ~Display() { _api.disconnect(_connection); }
    Display(const Display&) = delete;
    Display& operator=(const Display&) = delete;

    bool isOpen() const { return _root != XCB_NONE; }
    xcb_window_t root() const { return _root; }

    xcb_atom_t atom(const char* name) const {
        const Reply<xcb_intern_atom_reply_t> reply(_api.internAtomReply(
            _connection, _api.internAtom(_connection, 1, uint16_t(strlen(name)), name), nullptr));
        return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    }

    QByteArray property(xcb_window_t window, xcb_atom_t name, xcb_atom_t type) const {
        const Reply<xcb_get_property_reply_t> reply(_api.getPropertyReply(
            _connection, _api.getProperty(_connection, 0, window, name, type, 0, 1 << 20),
            nullptr));
        if (!reply || reply->type == XCB_ATOM_NONE) {
            return {};
        }
        return QByteArray(static_cast<const char*>(_api.propertyValue(reply.get())),
                          _api.propertyValueLength(reply.get()) * (reply->format / 8));
    }

    bool isViewable(xcb_window_t window) const {
        const Reply<xcb_get_window_attributes_reply_t> reply(
            _api.getAttributesReply(_connection, _api.getAttributes(_connection, window), nullptr));
        return reply && reply->map_state == XCB_MAP_STATE_VIEWABLE;
    }

private:
    const Xcb& _api;
    xcb_connection_t* _connection = nullptr;
    xcb_window_t _root = XCB_NONE;
};

}  // namespace

namespace zq::utility {

QList<WindowInfo> x11VisibleWindows() {
    QList<WindowInfo> windows;
    if (qEnvironmentVariableIsEmpty("DISPLAY")) {
        return windows;
    }
    const Xcb& api = xcb();
    if (!api.loaded) {
        return windows;
    }
    const Display display(api);
    if (!display.isOpen()) {
        return windows;
    }
    const xcb_atom_t clientList = display.atom("_NET_CLIENT_LIST");
    const xcb_atom_t netWmName = display.atom("_NET_WM_NAME");
    const xcb_atom_t utf8 = display.atom("UTF8_STRING");
    const QByteArray list = display.property(display.root(), clientList, XCB_ATOM_WINDOW);
    const auto* ids = reinterpret_cast<const xcb_window_t*>(list.constData());
    for (qsizetype i = 0; i < list.size() / qsizetype(sizeof(xcb_window_t)); ++i) {
        const xcb_window_t window = ids[i];
        if (!display.isViewable(window)) {
            continue;
        }
        // WM_CLASS is "instance\0class\0": the class names the application.
        const QList<QByteArray> wmClass =
            display.property(window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING).split('\0');
        WindowInfo info;
        info.owner = wmClass.size() > 1 ? QString::fromLocal8Bit(wmClass.at(1)) : QString();
        QByteArray title = display.property(window, netWmName, utf8);
        if (title.isEmpty()) {
            title = display.property(window, XCB_ATOM_WM_NAME, XCB_ATOM_ANY);
        }
        info.title = QString::fromUtf8(title);
        windows.append(info);
    }
    return windows;
}

}  // namespace zq::utility
