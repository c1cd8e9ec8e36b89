// The tick grid: bars, beats and ticks through the signature list, tempo, and their texts.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/program.h"

namespace kestrune {

struct bars_beats_ticks {
    std::int32_t bars;
    std::int32_t beats;
    std::int32_t ticks;
};

bars_beats_ticks split_ticks(std::int32_t t, int numerator, int denominator);
// The beat of a denominator as a dialog gives it; 0 and below read as a whole note.
inline int ticks_per_beat_of(int denominator) {
    return time_signature{1, denominator > 0 ? denominator : 1}.beat_ticks();
}

// The last signature record at or before p, or the first record if that lies after p.
ref32 signature_at(const event_store& s, ref32 first, std::int32_t p);
// The signature in force at `position`; `at_position` counts a record at the position itself.
time_signature signature_in_force(const program& p, std::int32_t position, bool at_position = true);
// The first tempo record at or after p; *tempo gets the tempo in force before it (12000 if none).
ref32 tempo_at(const program& p, std::int32_t position, std::int32_t* tempo);
std::int32_t tempo_increment_for(std::int32_t tempo);
void set_tempo_increment(dll_data& d, std::int32_t tempo);

// The 13-character position text.
std::string position_text(const program& p, std::int32_t position);
// A length counted from `start`, with nothing subtracted and counts from 0.
std::string length_text(const program& p, std::int32_t length, std::int32_t start);
// The bar field alone, 4 characters.
std::string bar_text(const program& p, std::int32_t position);
// Bar, beat, groove unit and tick of a position, 1-based as shown.
struct position_fields {
    std::int32_t bar, beat, unit, tick;
};
position_fields position_split(const program& p, std::int32_t position);

// "120.00": whole part 3 wide, two decimals.
std::string tempo_text(std::int32_t tempo);
// One number of the signature, two cells.
std::string signature_cell_text(int value);

// The real-time clock text for position p, or nothing on the call that is skipped.
std::optional<std::string> clock_text(program& p, std::int32_t position);
// Milliseconds from 3072 to p along the tempo in force.
std::int64_t position_to_ms(const program& p, std::int32_t position);
std::string format_clock(std::int64_t ms);

}  // namespace kestrune
