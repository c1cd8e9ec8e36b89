#include "editors/grid/grid_gesture.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "editors/list/event_list.h"
#include "song/event_store.h"
#include "song/mouse_model.h"
#include "song/position.h"

namespace kestrune {

namespace {

constexpr std::uint8_t key_sound_velocity = 0x51;

}  // namespace

void grid_gesture::press(program& p, grid_point at, int button, key_mods mods, std::int32_t row_ticks) {
    at.key = std::clamp(at.key, 0, 127);
    at.tick = std::max(0, at.tick);
    row_ticks_ = std::max(1, row_ticks);
    anchor_ = pointer_ = at;
    shift_ = {};
    axis_ = drag_axis::open;
    free_axes_ = false;
    copy_ = false;
    length_ = 0;
    kind_ = grid_drag::none;
    const bool right = button == right_button;
    if (right && mods.shift && !mods.ctrl) {
        kind_ = grid_drag::erase;
        move(p, at, mods, false);
        return;
    }
    const grid_note hit = right && mods.ctrl ? grid_note{} : note_at(p, at, row_ticks_);
    if (!hit && right) {
        // The pencil, then a drag of the new note.
        clear_selection(p);
        const ref32 made = pencil_note(p, at, row_ticks_);
        if (made == null_ref) return;
        start_note_drag(p, note_of(p, made), at, true);
        return;
    }
    if (!hit) {
        if (!mods.shift) clear_selection(p);
        const short_event& ln = p.editor.last_note;
        hear_event(p, midi_event::make(static_cast<std::uint8_t>(0x90 | (ln.status & 0x0F)),
                                       static_cast<std::uint8_t>(at.key), key_sound_velocity, at.tick),
                   editor_state::heard_span::key);
        kind_ = grid_drag::band;
        toggle_ = mods.shift;
        return;
    }
    if (mods.shift) {
        toggle_selected(p, hit);
        return;
    }
    if (!is_selected(p, hit)) {
        clear_selection(p);
        toggle_selected(p, hit);
    }
    // The note sounds and its values become those of the next new note.
    const event_store s = p.store();
    const midi_event& on = s.at(hit.on);
    p.editor.last_note = {on.status(), on.data1(), on.data2()};
    if (hit.off != null_ref) p.editor.grid.last_length = std::max(1, s.position(hit.off) - on.position());
    set_cursor_event(p, hit.on);
    hear_row(p, hit.on, editor_state::heard_span::gesture);
    start_note_drag(p, hit, at, false);
}

void grid_gesture::start_note_drag(program& p, const grid_note& n, grid_point at, bool new_note) {
    note_ = n;
    const event_store s = p.store();
    note_start_ = s.position(n.on);
    kind_ = grid_drag::move;
    if (new_note || n.off == null_ref) return;
    // The note's last row and the row after it take its end; above them the note itself.
    const std::int32_t end = s.position(n.off);
    if (at.tick >= end - row_ticks_ && at.tick > note_start_ + row_ticks_) kind_ = grid_drag::length;
}

void grid_gesture::move(program& p, grid_point at, key_mods mods, bool both_buttons) {
    at.key = std::clamp(at.key, 0, 127);
    at.tick = std::clamp(at.tick, 0, last_position);
    pointer_ = at;
    switch (kind_) {
        case grid_drag::move:
            copy_ = mods.ctrl;
            follow(p, at, mods.ctrl || both_buttons);
            break;
        case grid_drag::length:
            length_ = std::max(1, at.tick - note_start_);
            break;
        case grid_drag::erase:
            if (const grid_note n = note_at(p, at, row_ticks_)) {
                clear_selection(p);
                erase_note(p, n);
            }
            break;
        default:
            break;
    }
}

void grid_gesture::follow(program& p, grid_point at, bool free_axes) {
    // Ctrl or the second button frees both axes; a change of either decides the axis anew.
    if (free_axes != free_axes_) {
        free_axes_ = free_axes;
        axis_ = drag_axis::open;
    }
    const std::int32_t dt = at.tick - anchor_.tick;
    const int dk = at.key - anchor_.key;
    if (free_axes_) {
        axis_ = drag_axis::both;
    } else if (axis_ == drag_axis::open) {
        if (dk != 0)
            axis_ = drag_axis::keys;
        else if (std::abs(dt) >= row_ticks_)
            axis_ = drag_axis::time;
    }
    group_shift want;
    if (axis_ == drag_axis::time || axis_ == drag_axis::both)
        want.ticks = snap_position(p, std::max(0, note_start_ + dt)) - note_start_;
    if (axis_ == drag_axis::keys || axis_ == drag_axis::both) want.keys = dk;
    const group_shift held = held_shift(p, want, window_from_, window_to_);
    if (held.keys != shift_.keys) hear_pending_ = true;
    shift_ = held;
}

void grid_gesture::hear_moved_key(program& p) {
    if (!hear_pending_ || kind_ != grid_drag::move || note_.on == null_ref) return;
    hear_pending_ = false;
    midi_event heard = p.store().at(note_.on);
    heard.set_data1(static_cast<std::uint8_t>(heard.data1() + shift_.keys));
    hear_event(p, heard, editor_state::heard_span::gesture);
}

void grid_gesture::press_lane(program& p, int value, std::int32_t tick, int button, key_mods mods,
                              std::int32_t row_ticks) {
    row_ticks_ = std::max(1, row_ticks);
    const bool right = button == right_button;
    stroke_ = right && mods.shift ? lane_stroke::erase
              : right             ? lane_stroke::set_or_insert
                                  : lane_stroke::set;
    kind_ = grid_drag::lane;
    lane_from_ = {std::max(0, tick), value};
    move_lane(p, value, tick, mods);
}

void grid_gesture::move_lane(program& p, int value, std::int32_t tick, key_mods) {
    if (kind_ != grid_drag::lane) return;
    tick = std::max(0, tick);
    // Every row from the last position to this one, with the values between, so that a quick
    // stroke misses no event; a move within one row sets it again.
    const std::int32_t dt = tick - lane_from_.tick;
    const int rows = static_cast<int>(std::abs(dt) / row_ticks_);
    for (int i = rows == 0 ? 0 : 1; i <= rows; ++i) {
        const std::int32_t row = i == rows ? tick : lane_from_.tick + (dt < 0 ? -i : i) * row_ticks_;
        const int v = rows == 0 ? value : lane_from_.value + (value - lane_from_.value) * i / rows;
        stroke_lane(p, row, row + row_ticks_, v, stroke_);
    }
    lane_from_ = {tick, value};
}

void grid_gesture::release(program& p) {
    switch (kind_) {
        case grid_drag::move:
            if (shift_ != group_shift{}) move_selected(p, shift_, copy_, note_.on);
            break;
        case grid_drag::length:
            if (length_ > 0) set_dragged_length(p, note_, length_);
            break;
        case grid_drag::band:
            select_band(p, anchor_, pointer_, toggle_);
            break;
        default:
            break;
    }
    // The key a click on an empty place sounds keeps its short while; a drag's note ends now.
    if (kind_ != grid_drag::band) end_heard_note(p);
    kind_ = grid_drag::none;
    shift_ = {};
    hear_pending_ = false;
}

std::string grid_gesture::label(const program& p) const {
    switch (kind_) {
        case grid_drag::move:
            if (axis_ == drag_axis::keys) {
                char text[16];
                std::snprintf(text, sizeof text, "Transp %5d", shift_.keys);
                return text;
            }
            return copy_ ? "  Copy  " : "  Move  ";
        case grid_drag::length:
            return length_ > 0 ? "New Note Length " + length_text(p, dragged_length(p, length_), note_start_)
                               : "New Note Length";
        default:
            return {};
    }
}

}  // namespace kestrune
