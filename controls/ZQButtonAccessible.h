#pragma once

namespace zq::controls {

// Installs, once per process, the accessibility interface of ZQCustomButton
// and its subclasses: the role the button was given (push button, check box,
// radio button), its title as its name, its checked state, and a "Press"
// action (and "Toggle" for a checkable button) that runs the same click as
// the pointer. Screen readers and automation reach the buttons through it
// over AT-SPI.
void installButtonAccessibility();

}  // namespace zq::controls
