#include "song/value_step.h"

#include <algorithm>

#include "song/event_store.h"
#include "song/position.h"

namespace kestrune {

namespace {

constexpr std::int32_t ten_steps = 10;
constexpr std::int32_t default_edit_grid = 48;

step_direction last_direction(const program& p) {
    return static_cast<step_direction>(p.app.last_step_direction);
}

}  // namespace

std::int32_t step_amount(program& p, int code) {
    if (code == p.song.increase_button) {
        p.app.last_step_direction = static_cast<std::int8_t>(step_direction::up);
        return 1;
    }
    if (code == p.song.decrease_button) {
        p.app.last_step_direction = static_cast<std::int8_t>(step_direction::down);
        return -1;
    }
    if (code == both_buttons) return ten_steps * static_cast<std::int32_t>(last_direction(p));
    return 0;
}

std::int32_t change_value(program& p, std::int32_t value, int code) {
    return value + step_amount(p, code);
}

std::int32_t series_step(std::int32_t value, bool up) {
    if (up) {
        if (value <= 1) return 2;
        return value % 3 == 0 ? value + value / 3 : value + value / 2;
    }
    if (value <= 2) return 1;
    return value % 3 == 0 ? value - value / 3 : value - value / 4;
}

std::int32_t change_series_value(program& p, std::int32_t value, int code, std::int32_t low,
                                 std::int32_t high) {
    if (code == p.song.increase_button)
        value = series_step(value, true);
    else if (code == p.song.decrease_button)
        value = series_step(value, false);
    return std::clamp(value, low, std::max(low, high));
}

std::int32_t round_to_power_of_two(std::int32_t value) {
    std::int32_t p2 = 1;
    while (p2 <= value / 2) p2 *= 2;
    return p2;
}

std::int32_t round_into_series(std::int32_t value) {
    const std::int32_t p2 = round_to_power_of_two(value);
    return p2 >= 2 && value >= p2 + p2 / 2 ? p2 + p2 / 2 : p2;
}

time_signature signature_of_record(const program& p, ref32 record) {
    const event_store s = p.store();
    if (!is_event_status(s.status(record))) return {};
    return signature_of(s.at(record));
}

std::int32_t position_step(const program& p, std::int32_t position, const position_pointer& at,
                           bool up) {
    const int w = std::max(1, at.char_width);
    const int from_right = at.right_edge - at.x;
    const bool simple = hide_position_grid(p);
    const int tick_part = at.tick_chars + (simple ? 3 : 0);
    if (from_right < tick_part * w) return 1;
    if (!simple && from_right < (at.tick_chars + 3) * w)
        return p.app.edit_grid > 0 ? p.app.edit_grid : default_edit_grid;
    const time_signature g = signature_in_force(p, position, up);
    if (from_right < (at.tick_chars + 6) * w) return g.beat_ticks();
    return g.bar_ticks();
}

std::int32_t step_position(program& p, std::int32_t position, int code, const position_pointer& at) {
    const std::int32_t amount = step_amount(p, code);
    if (amount == 0) return position;
    return position + amount * position_step(p, position, at, amount > 0);
}

bool repeat_limiter::allow(int code, std::int64_t now_ms) {
    if (code == no_buttons) {
        count_ = 0;
        return false;
    }
    if (count_ == 0) {
        count_ = 1;
        first_ms_ = now_ms;
        return true;
    }
    count_ = 2;
    return now_ms - first_ms_ >= hold_ms;
}

}  // namespace kestrune
