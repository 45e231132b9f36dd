// Closes top-level windows the way a window manager's close button does: by
// sending WM_DELETE_WINDOW to every window whose title (_NET_WM_NAME, else
// WM_NAME) is exactly the one given. Prints how many windows it asked.
//   zq-xclose TITLE
// Exit status: 0 when at least one window was asked, 1 when none has the
// title, 2 when the X server cannot be reached.

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

std::string utf8Title(Display* display, Window window) {
    const Atom netWmName = XInternAtom(display, "_NET_WM_NAME", False);
    const Atom utf8 = XInternAtom(display, "UTF8_STRING", False);
    Atom type = None;
    int format = 0;
    unsigned long count = 0;
    unsigned long after = 0;
    unsigned char* data = nullptr;
    std::string title;
    if (XGetWindowProperty(display, window, netWmName, 0, 4096, False, utf8, &type, &format, &count,
                           &after, &data) == Success &&
        data) {
        title.assign(reinterpret_cast<const char*>(data), count);
        XFree(data);
        return title;
    }
    char* name = nullptr;
    if (XFetchName(display, window, &name) && name) {
        title = name;
        XFree(name);
    }
    return title;
}

void collect(Display* display, Window window, std::vector<Window>* all) {
    Window root = 0;
    Window parent = 0;
    Window* children = nullptr;
    unsigned int count = 0;
    if (!XQueryTree(display, window, &root, &parent, &children, &count)) {
        return;
    }
    for (unsigned int i = 0; i < count; ++i) {
        all->push_back(children[i]);
        collect(display, children[i], all);
    }
    if (children) {
        XFree(children);
    }
}

// Other clients' windows come and go while the tree is walked: a request
// about one that is gone fails with BadWindow, which Xlib's default handler
// turns into an exit. Such a window is simply skipped.
int ignoreError(Display*, XErrorEvent*) {
    return 0;
}

}  // namespace

int main(int argc, char* argv[]) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: zq-xclose TITLE\n");
        return 2;
    }
    Display* display = XOpenDisplay(nullptr);
    if (!display) {
        std::fprintf(stderr, "zq-xclose: cannot open the display\n");
        return 2;
    }
    XSetErrorHandler(ignoreError);
    const Atom protocols = XInternAtom(display, "WM_PROTOCOLS", False);
    const Atom deleteWindow = XInternAtom(display, "WM_DELETE_WINDOW", False);
    std::vector<Window> windows;
    collect(display, DefaultRootWindow(display), &windows);
    int asked = 0;
    for (Window window : windows) {
        if (utf8Title(display, window) != argv[1]) {
            continue;
        }
        XEvent event;
        std::memset(&event, 0, sizeof event);
        event.xclient.type = ClientMessage;
        event.xclient.window = window;
        event.xclient.message_type = protocols;
        event.xclient.format = 32;
        event.xclient.data.l[0] = static_cast<long>(deleteWindow);
        event.xclient.data.l[1] = CurrentTime;
        XSendEvent(display, window, False, NoEventMask, &event);
        ++asked;
    }
    XSync(display, False);
    XCloseDisplay(display);
    std::printf("%d\n", asked);
    return asked > 0 ? 0 : 1;
}
