// Hooks the track processing into the program: the undo copy is given back when the song is
// cleared or loaded, and recording reaches undo, quantize and the range delete through hooks.
#pragma once

#include "core/program.h"

namespace kestrune {

void install_processing_hooks(program& p);

}  // namespace kestrune
