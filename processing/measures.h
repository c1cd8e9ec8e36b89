// Insert Measures and Delete Measures: a gap opened between two positions, or what lies between
// them taken out and the gap closed, on the MIDI tracks and on the tempo and signature lists.
#pragma once

#include <cstdint>

#include "core/program.h"

namespace kestrune {

enum class measure_op : std::uint8_t { insert, remove };

// The tempo list: Delete drops the tempo events in [left, right); events at or after left move by
// right - left. False, nothing changed, on "Too many measures!" or too little memory.
bool shift_tempo_list(program& p, measure_op op, std::int32_t left, std::int32_t right);
// The signature list moves in whole bars of the signature in force at left; when that differs
// from right - left it says so and goes on. False as above.
bool shift_signature_list(program& p, measure_op op, std::int32_t left, std::int32_t right);

}  // namespace kestrune
