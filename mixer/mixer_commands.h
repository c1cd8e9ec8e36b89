// The mixer's commands for the command table: the Mixer button (open or close), the buttons of
// the open mixer and the program pop-ups' items.
#pragma once

#include "core/command_table.h"

namespace kestrune {

void add_mixer_commands(command_table& table);

// Define Mixer Control's field: the controller's name, "Control --" for one without a name.
std::string fader_control_text(int controller);

}  // namespace kestrune
