// How a click steps a value: by one (ten with both buttons), along the series of note values, or
// by the part of a position field under the pointer; and the limiter of a held button's repeats.
#pragma once

#include <cstdint>

#include "core/program.h"

namespace kestrune {

// The mouse code of the buttons held: left + 2 * right.
inline constexpr int no_buttons = 0;
inline constexpr int both_buttons = 3;
inline constexpr int mouse_code(bool left, bool right) { return (left ? 1 : 0) + (right ? 2 : 0); }

// The preference "Simple Bardisplay": positions are shown and entered without the groove unit.
inline bool hide_position_grid(const program& p) { return p.app.simple_bardisplay; }

// Which way the last single step went; both buttons follow it. Kept in app_state.
enum class step_direction : std::int8_t { none = 0, up = 1, down = -1 };

// What the code does: +1 for the increase button, -1 for the decrease button, ±10 for both in the
// last direction (nothing before a direction was used), else 0. A single step remembers its way.
std::int32_t step_amount(program& p, int code);
std::int32_t change_value(program& p, std::int32_t value, int code);

// The series of note values 1, 2, 3, 4, 6, 8, 12, ... 192, one step up or down.
std::int32_t series_step(std::int32_t value, bool up);
// One series step by the code (both buttons do nothing), clamped to low..high.
std::int32_t change_series_value(program& p, std::int32_t value, int code, std::int32_t low,
                                 std::int32_t high);
// An entry rounded down into the series: a power of two p or p + p/2 (1 for less than 1).
std::int32_t round_into_series(std::int32_t value);
// An entry rounded down to a power of two (1 for less than 1).
std::int32_t round_to_power_of_two(std::int32_t value);

// The signature of a signature record (a damaged one reads as 4/4).
time_signature signature_of_record(const program& p, ref32 record);

// Where on a position field the pointer lies: the field's right edge and a character's width in
// pixels, and how many characters at the right step single ticks.
struct position_pointer {
    int x = 0;
    int right_edge = 0;
    int char_width = 1;
    int tick_chars = 3;
};
inline constexpr int dialog_tick_chars = 3;       // a dialog's position field
inline constexpr int main_window_tick_chars = 4;  // the main window's, with its trailing cell

// The ticks of one step at `position`: a tick, the groove unit, a beat or a bar of the signature
// in force (going up an event at the position counts, going down it does not).
std::int32_t position_step(const program& p, std::int32_t position, const position_pointer& at,
                           bool up);
// The position after a click with `code`: one step, ten with both buttons; not clamped.
std::int32_t step_position(program& p, std::int32_t position, int code, const position_pointer& at);

// A held button acts on the first tick at once, then not until 101 ms have passed since it,
// then on every tick.
class repeat_limiter {
public:
    static constexpr std::int64_t hold_ms = 101;
    bool allow(int code, std::int64_t now_ms);
    void reset() { count_ = 0; }

private:
    int count_ = 0;
    std::int64_t first_ms_ = 0;
};

}  // namespace kestrune
