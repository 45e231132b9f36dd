#!/usr/bin/python3
"""Drives the application's windows from outside, as a screen reader does:
through the accessibility bus (AT-SPI), with Debian's pyatspi.

As a module:   import atspi_tool as at; w = at.window("Vesko输入法更新"); at.press(w, "稍后提醒")
As a command:  atspi_tool.py wait-window TITLE
               atspi_tool.py find TITLE NAME [ROLE]   (waits until it shows)
               atspi_tool.py press TITLE NAME [ROLE]
               atspi_tool.py text TITLE NAME [ROLE]
               atspi_tool.py set-text TITLE NAME VALUE
               atspi_tool.py names TITLE          (role and name of every node, one a line)
               atspi_tool.py states TITLE NAME    (the node's states)
Every wait is a poll with a bound (ZQ_ATSPI_TIMEOUT seconds, default 20); a
failure prints its reason and exits with status 1.
"""
import os
import sys
import time

import pyatspi

APP_NAME = os.environ.get("ZQ_ATSPI_APP", "ZQAssistPanel")
TIMEOUT = float(os.environ.get("ZQ_ATSPI_TIMEOUT", "20"))


class Failure(Exception):
    pass


def poll(what, probe, timeout=TIMEOUT):
    """Calls probe() until it returns something true; that value, or Failure."""
    deadline = time.monotonic() + timeout
    last = None
    while True:
        try:
            value = probe()
            if value:
                return value
        except Exception as error:  # a node can go away while it is read
            last = error
        if time.monotonic() > deadline:
            raise Failure("timed out waiting for %s%s" % (what, " (%s)" % last if last else ""))
        time.sleep(0.05)


def applications():
    desktop = pyatspi.Registry.getDesktop(0)
    return [app for app in desktop if app is not None and app.name == APP_NAME]


def walk(node, depth=0, limit=40):
    if node is None or depth > limit:
        return
    yield node
    for i in range(node.childCount):
        try:
            child = node.getChildAtIndex(i)
        except Exception:
            continue
        yield from walk(child, depth + 1, limit)


def role_name(node):
    return node.getRoleName()


def window(title, timeout=TIMEOUT):
    """The application's top-level window with that title (showing)."""
    def probe():
        for app in applications():
            for i in range(app.childCount):
                frame = app.getChildAtIndex(i)
                if frame is not None and frame.name == title and \
                        frame.getState().contains(pyatspi.STATE_SHOWING):
                    return frame
        return None
    return poll("a window titled %r" % title, probe, timeout)


def no_window(title, timeout=TIMEOUT):
    def probe():
        for app in applications():
            for i in range(app.childCount):
                frame = app.getChildAtIndex(i)
                if frame is not None and frame.name == title and \
                        frame.getState().contains(pyatspi.STATE_SHOWING):
                    return False
        return True
    poll("the window %r to close" % title, probe, timeout)


def find(root, name, role=None, showing=True, timeout=TIMEOUT):
    """The first node below root with that accessible name (and role name)."""
    def probe():
        for node in walk(root):
            if node.name != name or (role and role_name(node) != role):
                continue
            if showing and not node.getState().contains(pyatspi.STATE_SHOWING):
                continue
            return node
        return None
    return poll("%s %r" % (role or "a node", name), probe, timeout)


def find_all(root, role=None):
    return [n for n in walk(root) if role is None or role_name(n) == role]


def action(node, name):
    actions = node.queryAction()
    for i in range(actions.nActions):
        if actions.getName(i) == name:
            return actions.doAction(i)
    raise Failure("%r has no %r action (it has %s)" % (
        node.name, name, [actions.getName(i) for i in range(actions.nActions)]))


def press(root, name, role=None):
    node = find(root, name, role)
    action(node, "Press")
    return node


def text(node):
    """The node's text: its text interface, else its name."""
    try:
        t = node.queryText()
        return t.getText(0, t.characterCount)
    except NotImplementedError:
        return node.name


def set_text(node, value):
    node.queryEditableText().setTextContents(value)


def states(node):
    return sorted(pyatspi.stateToString(s) for s in node.getState().getStates())


def main(argv):
    if len(argv) < 3:
        print(__doc__, file=sys.stderr)
        return 2
    command, title = argv[1], argv[2]
    try:
        if command == "wait-window":
            window(title)
        elif command == "wait-no-window":
            no_window(title)
        elif command == "find":
            find(window(title), argv[3], argv[4] if len(argv) > 4 else None)
        elif command == "press":
            press(window(title), argv[3], argv[4] if len(argv) > 4 else None)
        elif command == "text":
            print(text(find(window(title), argv[3], argv[4] if len(argv) > 4 else None)))
        elif command == "set-text":
            set_text(find(window(title), argv[3]), argv[4])
        elif command == "names":
            for node in walk(window(title)):
                print("%s\t%s" % (role_name(node), node.name))
        elif command == "states":
            print(" ".join(states(find(window(title), argv[3]))))
        else:
            print("unknown command %r" % command, file=sys.stderr)
            return 2
    except Failure as failure:
        print("atspi_tool: %s" % failure, file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
