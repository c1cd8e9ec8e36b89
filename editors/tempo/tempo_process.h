// "Process Tempo Track": every tempo of the list changed by a percentage, or the tempo changes
// between two positions set along a ramp from a start tempo to an end tempo.
#pragma once

#include <cstdint>

#include "core/command.h"
#include "core/program.h"

namespace kestrune {

// The percentages that keep every tempo of the list within 1 to 999 beats.
struct percent_limits {
    std::int32_t lower;  // -99..0
    std::int32_t upper;  // 0..999
};
percent_limits tempo_percent_limits(const program& p);

// Every tempo grows by `percent` of itself, hundredths kept, held to 1.00..999.99.
void scale_tempo_list(program& p, std::int32_t percent);

// The tempos at positions from `from` up to, not including, `to` set on the line from
// `start_tempo` to `end_tempo` (whole beats); none is added. Nothing when `from` is not below `to`.
struct tempo_ramp {
    std::int32_t start_tempo, from, end_tempo, to;
};
void ramp_tempo_list(program& p, const tempo_ramp& r);

command_record process_tempo_command();

}  // namespace kestrune
