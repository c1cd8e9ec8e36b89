// Keys by their place on the keyboard, whatever the layout: Ctrl+L is the same key on a QWERTY,
// AZERTY or Cyrillic keyboard.
#pragma once

#include "shell/screen/main_screen.h"

class QKeyEvent;

namespace kestrune {

key_event to_key_event(const QKeyEvent& e);

}  // namespace kestrune
