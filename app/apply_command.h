// `kestrune-tool apply`: runs a command of the program on a file, through the command table, with
// its dialog's fields set from the command line, and saves the result.
#pragma once

#include <string>
#include <vector>

#include "core/program.h"

namespace kestrune {

using apply_loader = bool (*)(program&, const std::string&);

// apply INPUT OUTPUT COMMAND [--pattern P] [--track T] [--locators L R] [--answer yes|no]
// [FIELD=VALUE ...], or apply --list. Returns the exit status.
int apply_command(const std::vector<std::string>& args, apply_loader load);

// A locator given as ticks or as bar.beat.unit.tick; -1 when unreadable.
std::int32_t locator_position(const program& p, const std::string& text);

}  // namespace kestrune
