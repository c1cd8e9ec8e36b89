// The song model's part of start-up, and what the engine posts for the UI thread.
#pragma once

#include "core/program.h"

namespace kestrune {

// Starts the engine and formats the song. Shows the start-up message and returns the error
// number when the engine refuses.
int start_program(program& p);
// After the engine has built the pool: the default tempo and signature chains, the pattern and
// song list defaults and the enable arrays.
bool format_song(program& p);
// Acts on what the engine posted for the UI thread: a locate, an error number.
void handle_engine_messages(program& p);

}  // namespace kestrune
