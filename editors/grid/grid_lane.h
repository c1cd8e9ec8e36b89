// The value lane beside the notes: one value per event of the lane's kind (note velocity, a
// controller, program, pressure or pitch wheel), drawn by the mouse row by row.
#pragma once

#include <cstdint>

#include "core/program.h"

namespace kestrune {

// `grid_lane`'s values below the controllers.
namespace lane {
inline constexpr int velocity = -5;
inline constexpr int poly_pressure = -4;
inline constexpr int program_change = -3;
inline constexpr int channel_pressure = -2;
inline constexpr int pitch_wheel = -1;
inline constexpr int lowest = velocity;
inline constexpr int highest = 127;
}  // namespace lane

// The lane's events: whether e is one, and the byte that holds its value.
bool in_lane(int lane_kind, const midi_event& e);
std::uint8_t lane_value(int lane_kind, const midi_event& e);
// The value at x on a lane from `left` to `right`: 0 at the left edge (1 for velocities), 127
// at the right; 64 with Ctrl.
int lane_value_at(int lane_kind, int x, int left, int right, bool ctrl);

enum class lane_stroke : std::uint8_t {
    set,            // every event of the lane in the rows gets the value
    set_or_insert,  // and one is made in an empty row (not for velocities)
    erase,          // every event of the lane in the rows goes
};
// One position of the mouse on the lane: the rows from `from` up to `to` (left out).
void stroke_lane(program& p, std::int32_t from, std::int32_t to, int value, lane_stroke how);

}  // namespace kestrune
