// The commands of undo, quantize and recording in the command table, and their dialogs' fields.
#pragma once

#include <vector>

#include "core/program.h"
#include "shell/command_fields.h"
#include "shell/command_ids.h"
#include "shell/command_table.h"
#include "shell/main_screen.h"

namespace kestrune {

// Undo (menu and button), Freeze Quantize, Quantize Settings, Internal Recording and the Qua
// pop-up's values.
void add_processing_commands(command_table& table, program& p);

class recorder;
// Internal Recording, run by the recorder that stores the window's takes.
void add_recording_commands(command_table& table, program& p, recorder& rec);

// The main screen's Record button and keys, Drop In and key B, run by that recorder.
recording_actions recorder_actions(recorder& rec);

// Quantize Settings, Quantize (the Qua value of the track shown, with the settings), Dequantize
// (its "NO") and Freeze Quantize, as apply names them.
std::vector<field_command> processing_field_commands(program& p);

// The Qua pop-up's command for grid value n (0 "NO").
constexpr int quantize_popup_id(int n) {
    return cmd::quantize_popup_first + n;
}

}  // namespace kestrune
