#include "editors/grid/grid_view.h"

#include <algorithm>
#include <array>

#include "core/midi_names.h"
#include "editors/list/event_list.h"
#include "song/event_store.h"
#include "song/mouse_model.h"
#include "song/field_text.h"
#include "song/position.h"

namespace kestrune {

namespace {

constexpr int keyboard_keys = 128;
constexpr int bar_text_cells = 5;
constexpr int lane_cells = 12;
// How far back the drawing looks for notes that began above the window, in zoom units.
constexpr std::int32_t look_back_per_zoom = ticks_per_whole;

bool black_key(int key) {
    const int k = key % 12;
    return k == 1 || k == 3 || k == 6 || k == 8 || k == 10;
}

std::int32_t floor_div(std::int32_t a, std::int32_t b) {
    return a >= 0 ? a / b : -((-a + b - 1) / b);
}

// The gap a beat or step line keeps below the last line drawn, in rows.
int line_gap(std::int32_t row_ticks) {
    return row_ticks < 12 ? 0 : row_ticks < 32 ? 1 : 2;
}

std::string lane_title(int lane_kind) {
    const char* name = controller_name(lane_kind);
    std::string text = lane_kind >= 0 ? std::to_string(lane_kind) + " " : std::string();
    if (name) text += name;
    return text;
}

const field_spec zoom_y_spec{.label = "Zoom", .low = grid_zoom_y_min, .high = grid_zoom_y_max, .entry_length = 2};
const field_spec zoom_x_spec{.label = "Zoom", .low = grid_zoom_x_min, .high = grid_zoom_x_max, .entry_length = 2};
// A controller by its number, the other kinds by their names.
const field_spec lane_spec{.label = "Lane", .low = lane::lowest, .high = lane::highest, .entry_length = 8,
                           .named = {{lane::velocity, "Velocity"}, {lane::poly_pressure, "P-Press"},
                                     {lane::program_change, "Program"}, {lane::channel_pressure, "C-Press"},
                                     {lane::pitch_wheel, "PitchWh"}}};

colour_role lane_colour(int lane_kind) {
    switch (lane_kind) {
        case lane::velocity: return colour_role::note_row;
        case lane::program_change: return colour_role::program_row;
        case lane::poly_pressure:
        case lane::channel_pressure: return colour_role::pressure_row;
        case lane::pitch_wheel: return colour_role::wheel_row;
        default: return colour_role::control_row;
    }
}

}  // namespace

void grid_view::layout(const editor_geometry& g) {
    g_ = g;
    const int w = g.cell_width, h = g.cell_height;
    const rect list = g.region(erg::list);
    const rect frame = g.region(erg::frame);
    // The list's header and its one row stand in its last two rows; the grid above them.
    area_ = {list.left, frame.top + 2, list.right, list.top + (list_rows - 2) * h};
    lane_ = {area_.right - lane_cells * w, area_.top + h, area_.right - 2, area_.bottom};
    lane_title_ = {lane_.left, area_.top, lane_.right, area_.top + h};
    notes_ = {area_.left + bar_text_cells * w, area_.top + h, lane_.left - w / 2, area_.bottom};
    keys_ = {notes_.left, area_.top, notes_.right, notes_.top};
    bars_ = {area_.left, notes_.top, notes_.left, notes_.bottom};
    // The zooms in the buttons' column, beside their label.
    zoom_label_ = g.place({248, 62, 262, 68});
    zoom_y_field_ = g.place({262, 62, 280, 68});
    zoom_x_field_ = g.place({282, 62, 300, 68});
    shown_ = {};
}

bool grid_view::takes(int x, int y) const {
    return area_.contains(x, y) || zoom_y_field_.contains(x, y) || zoom_x_field_.contains(x, y);
}

grid_point grid_view::point(int x, int y) const {
    const grid_state& gs = p_.editor.grid;
    const int key = floor_div(x - notes_.left, key_width()) + gs.first_key;
    const std::int32_t tick = (y - notes_.top) * row_ticks() + gs.first_tick;
    return {std::max(0, tick), std::clamp(key, 0, keyboard_keys - 1)};
}

int grid_view::y_of(std::int32_t tick) const {
    return notes_.top + floor_div(tick - p_.editor.grid.first_tick, row_ticks());
}

rect grid_view::note_rect(int key, std::int32_t from, std::int32_t to) const {
    const int x = x_of(key);
    const int top = std::max(notes_.top, y_of(from));
    const int bottom = std::min(notes_.bottom, std::max(y_of(to), y_of(from) + 2));
    return {x + 1, top, x + key_width() - 1, bottom};
}

void grid_view::clamp_view() {
    grid_state& gs = p_.editor.grid;
    gs.first_key = std::clamp(gs.first_key, 0, std::max(0, keyboard_keys - keys_shown()));
    gs.first_tick = std::clamp(gs.first_tick, 0, last_position);
}

void grid_view::frame_track() {
    grid_state& gs = p_.editor.grid;
    const ref32 first = edited_first(p_);
    int low = keyboard_keys, high = -1;
    std::int32_t start = song_start;
    if (first != null_ref) {
        const event_store s = p_.store();
        bool found = false;
        for (ref32 e = first; is_event_status(s.status(e)); e = s.next_event(e)) {
            const midi_event& m = s.at(e);
            if (!m.is_note_on()) continue;
            if (!found) start = m.position();
            found = true;
            low = std::min<int>(low, m.data1());
            high = std::max<int>(high, m.data1());
        }
    }
    const int middle = high < 0 ? 60 : (low + high) / 2;
    gs.first_key = middle - keys_shown() / 2;
    gs.first_tick = start - start % (ticks_per_whole / 4);
    clamp_view();
}

grid_view::shown_state grid_view::now() const {
    const grid_state& gs = p_.editor.grid;
    const editor_state& ed = p_.editor;
    return {.tracks = p_.changes.tracks, .marks = gs.marks, .moves = ed.moves,
            .first_tick = gs.first_tick, .first_key = gs.first_key,
            .zoom_y = p_.song.grid_zoom_y, .zoom_x = p_.song.grid_zoom_x, .lane = p_.song.grid_lane,
            .edit_grid = p_.app.edit_grid, .hide_groove = gs.hide_groove, .snap = p_.song.snap_to_grid != 0,
            .drag = gesture_.kind(), .shift = gesture_.shift(), .pointer = gesture_.pointer(),
            .length = gesture_.length(), .cursor = ed.cursor};
}

std::vector<rect> grid_view::refresh() {
    std::vector<rect> dirty;
    if (p_.editor.kind != editor_kind::grid) {
        was_open_ = false;
        return dirty;
    }
    if (!was_open_) {
        was_open_ = true;
        frame_track();
        shown_ = {};
    }
    gesture_.hear_moved_key(p_);
    scroll_at_edge();
    // The cursor event moved elsewhere (the list's keys, the song position): the grid goes along.
    const editor_state& ed = p_.editor;
    if (ed.moves != shown_.moves && ed.cursor != null_ref && is_event_status(p_.store().status(ed.cursor))) {
        const std::int32_t at = p_.store().position(ed.cursor);
        if (at < ed.grid.first_tick || at >= last_tick())
            p_.editor.grid.first_tick = at - notes_.height() / 4 * row_ticks();
    }
    clamp_view();
    const shown_state n = now();
    if (n == shown_) return dirty;
    shown_ = n;
    dirty.push_back(area_);
    dirty.push_back({zoom_label_.left, zoom_label_.top, zoom_x_field_.right, zoom_x_field_.bottom});
    return dirty;
}

void grid_view::paint(canvas& c, const rect& clip) {
    if (p_.editor.kind != editor_kind::grid) return;
    clamp_view();
    if (area_.intersects(clip)) {
        c.fill_rect(area_, colour_role::panel);
        c.fill_rect(notes_, colour_role::field);
        for (int k = 0; k < keys_shown(); ++k) {
            const int key = p_.editor.grid.first_key + k;
            if (key < keyboard_keys && black_key(key))
                c.fill_rect({x_of(key), notes_.top, x_of(key) + key_width(), notes_.bottom}, colour_role::window);
        }
        paint_lines(c);
        paint_notes(c);
        paint_keys(c);
        paint_lane(c);
        paint_drag(c);
        c.frame_rect(notes_, colour_role::shadow);
    }
    paint_zoom(c);
}

void grid_view::paint_lines(canvas& c) const {
    const event_store s = p_.store();
    const ref32 list = p_.d.active_signature.first;
    const std::int32_t z = row_ticks();
    const int gap = line_gap(z);
    const std::int32_t from = p_.editor.grid.first_tick, to = last_tick();
    const auto line = [&](std::int32_t t, colour_role r) {
        const int y = y_of(t);
        c.line(notes_.left, y, notes_.right - 1, y, r);
    };
    // The signature in force at a tick: its position and its bar; before the first one, its own.
    const auto signature = [&](std::int32_t t) {
        const midi_event& sig = s.at(signature_at(s, list, t));
        const bool real = is_event_status(sig.status());
        return std::pair{real ? sig.position() : song_start,
                         time_signature{real ? std::max(1, int{sig.data1()}) : 4, real ? std::max(1, int{sig.data2()}) : 4}};
    };
    auto [sig_at, sig] = signature(from);
    std::int32_t bar_start = sig_at + floor_div(from - sig_at, sig.bar_ticks()) * sig.bar_ticks();
    int last_y = -1;
    while (bar_start < to) {
        const time_signature ts = signature(bar_start).second;
        const std::int32_t bar = ts.bar_ticks();
        // The next signature ends this bar early.
        std::int32_t next = bar_start + bar;
        const ref32 after = s.find_after_position(list, bar_start);
        if (is_event_status(s.status(after)) && s.position(after) < next) next = s.position(after);
        if (bar_start >= from) {
            line(bar_start, colour_role::text);
            last_y = y_of(bar_start);
            // Room for the bar's text: its bar is long enough and it ends above the list's header.
            if (next - bar_start >= z * g_.cell_height && last_y + g_.cell_height <= bars_.bottom)
                c.text({bars_.left, last_y, bars_.right - 2, last_y + g_.cell_height}, bar_text(p_, bar_start),
                       font_kind::small, colour_role::dim_text, text_align::right);
        }
        const std::int32_t beat = ts.beat_ticks();
        const std::int32_t step = p_.editor.grid.hide_groove ? beat : std::min<std::int32_t>(beat, p_.app.edit_grid);
        for (std::int32_t t = bar_start + step; t < next && t < to; t += step) {
            if (t < from) continue;
            const bool on_beat = (t - bar_start) % beat == 0;
            if (!on_beat && p_.editor.grid.hide_groove) continue;
            const int y = y_of(t);
            if (y <= last_y + gap) continue;
            line(t, on_beat ? colour_role::shadow : colour_role::light);
            last_y = y;
        }
        bar_start = next;
    }
}

void grid_view::paint_notes(canvas& c) const {
    const ref32 first = edited_first(p_);
    if (first == null_ref) return;
    const event_store s = p_.store();
    const grid_state& gs = p_.editor.grid;
    const std::int32_t from = gs.first_tick, to = last_tick();
    const std::int32_t back = look_back_per_zoom * row_ticks();
    const int keys = keys_shown();
    for (ref32 e = s.find_at_position(first, std::max(0, from - back), no_loop);
         is_event_status(s.status(e)) && s.position(e) < to; e = s.next_event(e)) {
        const midi_event& on = s.at(e);
        if (!on.is_note_on() || on.data1() < gs.first_key || on.data1() >= gs.first_key + keys) continue;
        const grid_note n = note_of(p_, e);
        const std::int32_t end = n.off != null_ref ? s.position(n.off) : to;
        if (end < from) continue;
        const rect r = note_rect(on.data1(), on.position(), end);
        const bool selected = is_selected(p_, n);
        c.fill_rect(r, selected ? colour_role::highlight : colour_role::note_row);
        if (e == p_.editor.cursor) c.frame_rect(r, colour_role::text);
    }
}

void grid_view::paint_keys(canvas& c) const {
    const grid_state& gs = p_.editor.grid;
    for (int k = 0; k < keys_shown(); ++k) {
        const int key = gs.first_key + k;
        if (key >= keyboard_keys || key % 12 != 0) continue;
        const int x = x_of(key);
        c.text({x, keys_.top, x + g_.cell_width * 4, keys_.bottom}, note_name(key), font_kind::small,
               colour_role::dim_text);
    }
    c.fill_rect(lane_title_, colour_role::field);
    c.text(lane_title_, lane_title(p_.song.grid_lane), font_kind::small, colour_role::field_text, text_align::centre);
}

void grid_view::paint_lane(canvas& c) const {
    c.fill_rect(lane_, colour_role::field);
    c.frame_rect(lane_, colour_role::shadow);
    const ref32 first = edited_first(p_);
    if (first == null_ref) return;
    const event_store s = p_.store();
    const int kind = p_.song.grid_lane;
    const colour_role ink = lane_colour(kind);
    const int bar_height = std::clamp(g_.cell_height / 6, 2, 4);
    for (ref32 e = s.find_at_position(first, p_.editor.grid.first_tick, no_loop);
         is_event_status(s.status(e)) && s.position(e) < last_tick(); e = s.next_event(e)) {
        const midi_event& m = s.at(e);
        if (!in_lane(kind, m)) continue;
        const int y = std::min(y_of(m.position()), lane_.bottom - bar_height);
        const int width = (lane_value(kind, m) + 1) * (lane_.width() - 2) / 128;
        c.fill_rect({lane_.left + 1, y, lane_.left + 1 + width, y + bar_height}, ink);
    }
}

void grid_view::paint_drag(canvas& c) const {
    const grid_gesture& gg = gesture_;
    const event_store s = p_.store();
    switch (gg.kind()) {
        case grid_drag::move: {
            const group_shift by = gg.shift();
            const std::int32_t back = look_back_per_zoom * row_ticks();
            for (const grid_note& n : selected_notes(p_, std::max(0, p_.editor.grid.first_tick - back), last_tick())) {
                const int key = s.at(n.on).data1() + by.keys;
                c.frame_rect(note_rect(key, s.position(n.on) + by.ticks, s.position(n.off) + by.ticks),
                             colour_role::text);
            }
            break;
        }
        case grid_drag::band: {
            const grid_point a = gg.anchor(), b = gg.pointer();
            const rect r{x_of(std::min(a.key, b.key)), y_of(std::min(a.tick, b.tick)),
                         x_of(std::max(a.key, b.key) + 1), y_of(std::max(a.tick, b.tick))};
            c.frame_rect(r, colour_role::text);
            break;
        }
        case grid_drag::length: {
            const grid_point a = gg.anchor();
            const ref32 on = p_.editor.cursor;
            if (on == null_ref || gg.length() <= 0) break;
            const std::int32_t start = s.position(on);
            c.frame_rect(note_rect(s.at(on).data1(), start, start + dragged_length(p_, gg.length())),
                         colour_role::text);
            (void)a;
            break;
        }
        default:
            break;
    }
    const std::string label = gg.label(p_);
    if (!label.empty()) {
        c.fill_rect(keys_, colour_role::highlight);
        c.text(keys_, label, font_kind::small, colour_role::highlight_text, text_align::centre);
    }
}

void grid_view::paint_zoom(canvas& c) const {
    c.text(zoom_label_, "Zoom", font_kind::small, colour_role::dim_text);
    const std::array<std::pair<rect, int>, 2> fields = {
        std::pair{zoom_y_field_, int{p_.song.grid_zoom_y}}, std::pair{zoom_x_field_, int{p_.song.grid_zoom_x}}};
    for (const auto& [r, v] : fields) {
        c.fill_rect(r, colour_role::field);
        c.frame_rect(r, colour_role::shadow);
        c.text(r, std::to_string(v), font_kind::list, colour_role::field_text, text_align::right);
    }
}

std::optional<grid_view::view_field> grid_view::field_at(int x, int y) {
    if (zoom_y_field_.contains(x, y)) return view_field{zoom_y_field_, zoom_y_spec, p_.song.grid_zoom_y};
    if (zoom_x_field_.contains(x, y)) return view_field{zoom_x_field_, zoom_x_spec, p_.song.grid_zoom_x};
    if (lane_title_.contains(x, y)) return view_field{lane_title_, lane_spec, p_.song.grid_lane};
    return std::nullopt;
}

bool grid_view::step_field(int x, int y, int button) {
    const std::optional<view_field> f = field_at(x, y);
    if (!f) return false;
    const int up = button == p_.song.increase_button ? 1 : -1;
    f->value = static_cast<std::int16_t>(held_to_range(f->shape, f->value + up));
    return true;
}

bool grid_view::double_click(int x, int y, int button) {
    const std::optional<view_field> f = field_at(x, y);
    if (button != left_button || !f) return false;
    const rect& r = f->place;
    const auto typed = p_.screen.edit_in_place(r.left, r.top, r.width(), r.height(),
                                               field_text(p_, f->shape, f->value), f->shape.entry_length);
    if (typed)
        if (const auto v = parse_field(p_, f->shape, *typed, f->value)) f->value = static_cast<std::int16_t>(*v);
    return true;
}

void grid_view::mouse_down(int x, int y, int button, key_mods mods) {
    if (gesture_.busy()) {
        ++held_;  // the second button joins the drag
        return;
    }
    held_ = 0;
    if (step_field(x, y, button)) return;
    const std::int32_t z = row_ticks();
    set_move_window();
    pointer_x_ = x;
    pointer_y_ = y;
    pointer_mods_ = mods;
    if (lane_.contains(x, y)) {
        on_lane_ = true;
        held_ = 1;
        gesture_.press_lane(p_, lane_value_at(p_.song.grid_lane, x, lane_.left, lane_.right, mods.ctrl),
                            point(notes_.left, y).tick, button, mods, z);
    } else if (notes_.contains(x, y)) {
        on_lane_ = false;
        held_ = 1;
        gesture_.press(p_, point(x, y), button, mods, z);
    }
}

void grid_view::set_move_window() {
    const std::int32_t screen = notes_.height() * row_ticks();
    gesture_.set_window(p_.editor.grid.first_tick - 4 * screen, last_tick() + 4 * screen);
}

void grid_view::scroll_at_edge() {
    // A twentieth of the screen, or a key, per tick.
    constexpr int edge_scroll_parts = 20;
    const grid_drag k = gesture_.kind();
    if (on_lane_ || (k != grid_drag::move && k != grid_drag::length && k != grid_drag::band)) return;
    grid_state& gs = p_.editor.grid;
    const std::int32_t was_tick = gs.first_tick;
    const int was_key = gs.first_key;
    const std::int32_t step = std::max(1, notes_.height() / edge_scroll_parts) * row_ticks();
    if (pointer_y_ < notes_.top) gs.first_tick -= step;
    if (pointer_y_ >= notes_.bottom) gs.first_tick += step;
    if (k != grid_drag::length && pointer_x_ < notes_.left) --gs.first_key;
    if (k != grid_drag::length && pointer_x_ >= notes_.right) ++gs.first_key;
    clamp_view();
    if (gs.first_tick == was_tick && gs.first_key == was_key) return;
    set_move_window();
    gesture_.move(p_, point(pointer_x_, pointer_y_), pointer_mods_, held_ >= 2);
}

void grid_view::mouse_move(int x, int y, key_mods mods) {
    if (!gesture_.busy()) return;
    pointer_x_ = x;
    pointer_y_ = y;
    pointer_mods_ = mods;
    if (on_lane_) {
        gesture_.move_lane(p_, lane_value_at(p_.song.grid_lane, x, lane_.left, lane_.right, mods.ctrl),
                           point(notes_.left, y).tick, mods);
        return;
    }
    gesture_.move(p_, point(x, y), mods, held_ >= 2);
}

void grid_view::mouse_up(int) {
    if (held_ > 0) --held_;
    if (held_ == 0 && gesture_.busy()) gesture_.release(p_);
}

void grid_view::wheel(int x, int y, int steps) {
    grid_state& gs = p_.editor.grid;
    if (keys_.contains(x, y)) {
        gs.first_key -= steps * 12;
    } else {
        gs.first_tick -= steps * (notes_.height() / 4) * row_ticks();
    }
    clamp_view();
}

}  // namespace kestrune
