#pragma once

class QWidget;

// What the shell and the pages do with page windows.
namespace zq::pagehost {

// Centres the window's frame on the available area of its screen (the
// primary screen when it has none yet).
void centerOnScreen(QWidget* window);
// Brings the window to the front and gives it the keyboard focus, taking it
// from other applications.
void bringToFront(QWidget* window);
// Whether any ordinary top-level window of the process is visible (pop-ups,
// tool tips and foreign windows do not count).
bool hasVisibleWindow();

}  // namespace zq::pagehost
