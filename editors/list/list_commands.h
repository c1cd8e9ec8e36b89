// The event list's commands: OK, Unlock, the row filters, Delete, Cue, Qua and Deq, Step Input,
// the inserts and Change Event, as records for the command table.
#pragma once

#include "core/command_table.h"

namespace kestrune {

class transport;

void add_list_commands(command_table& table);
// Cue plays from the highlighted event through the window's transport.
command_record cue_command(transport& t);

}  // namespace kestrune
