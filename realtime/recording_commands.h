// The recorder's commands for the command table.
#pragma once

#include "core/command.h"
#include "realtime/recording.h"

namespace kestrune {

// Internal Recording: whether it is on and from which port, applied on OK; refused during a
// take, in cycle and with punch.
command_record internal_recording_command(recorder& rec);

}  // namespace kestrune
