#include "editors/frame/editor_frame.h"

#include <algorithm>

#include "core/clip.h"
#include "core/command_ids.h"
#include "editors/grid/grid_notes.h"
#include "editors/list/event_list.h"
#include "editors/list/event_rows.h"
#include "services/help_pages.h"
#include "song/event_store.h"
#include "song/position.h"

namespace kestrune {

namespace {

// Button columns and rows right of the list, in quarter cells.
constexpr int col_a = 248, col_b = 276, button_w = 26;
constexpr int filter_left = 224, filter_w = 20;
constexpr quarter_rect at_a(int row) { return {col_a, 20 + 7 * row, col_a + button_w, 26 + 7 * row}; }
constexpr quarter_rect at_b(int row) { return {col_b, 20 + 7 * row, col_b + button_w, 26 + 7 * row}; }
// A button alone in its row takes both columns, so that its longer text fits at every zoom.
constexpr quarter_rect across(int row) { return {col_a, 20 + 7 * row, col_b + button_w, 26 + 7 * row}; }
constexpr quarter_rect filter_at(int row) {
    return {filter_left, 12 + 6 * row, filter_left + filter_w, 17 + 6 * row};
}

}  // namespace

const std::vector<editor_region>& editor_regions() {
    static const std::vector<editor_region> regions = {
        {erg::frame, 0, {8, 8, 304, 76}},
        {erg::list, erg::frame, {12, 12, 220, 76}},
        {erg::position, erg::list, {16, 12, 72, 76}},
        {erg::event, erg::list, {76, 12, 108, 76}},
        {erg::channel, erg::list, {108, 12, 120, 76}},
        {erg::data1, erg::list, {124, 12, 140, 76}},
        {erg::data2, erg::list, {140, 12, 156, 76}},
        {erg::length, erg::list, {160, 12, 216, 76}},
        {erg::row_up, erg::frame, {226, 48, 242, 56}},
        {erg::row_down, erg::frame, {226, 64, 242, 72}},
        {erg::step_position, erg::frame, {248, 12, 300, 16}},
    };
    return regions;
}

bool is_list_column(int region) { return region >= erg::position && region <= erg::length; }

const std::vector<editor_button>& editor_buttons() {
    using s = shown_in;
    static const std::vector<editor_button> buttons = {
        {cmd::editor_ok, "OK", at_a(0), s::all},
        {cmd::editor_context_help, "Help", at_b(0), s::all},
        {cmd::unlock, "Unlock", at_a(1), s::all},
        {cmd::editor_delete, "Delete", at_b(1), s::all},
        {cmd::cue, "Cue", at_a(2), s::all},
        {cmd::filter_first + 0, "on", filter_at(0), s::track_editors},
        {cmd::filter_first + 1, "off", filter_at(1), s::track_editors},
        {cmd::filter_first + 2, "prg", filter_at(2), s::track_editors},
        {cmd::filter_first + 3, "pw", filter_at(3), s::track_editors},
        {cmd::filter_first + 4, "aft", filter_at(4), s::track_editors},
        {cmd::filter_first + 5, "ctr", filter_at(5), s::track_editors},
        {cmd::quantize_note, "Qua", at_a(3), s::track_editors},
        {cmd::dequantize_note, "Deq", at_b(3), s::track_editors},
        {cmd::step_input, "Step Input", across(7), s::track_editors},
        {cmd::insert_note, "Insert Note", across(4), s::event_list},
        {cmd::insert_other, "Insert Other", across(5), s::event_list},
        {cmd::change_event, "Change Event", across(6), s::event_list},
        {cmd::snap_to_grid, "Snap", across(4), s::grid},
        {cmd::hide_groove, "Hide Groove", across(5), s::grid},
        {cmd::insert_other, "Insert Tempo", across(5), s::tempo_list},
        {cmd::insert_other, "Insert Sign", across(5), s::signature_list},
        {cmd::process_tempo, "Process...", across(6), s::tempo_list},
    };
    return buttons;
}

bool button_shown(const editor_button& b, editor_kind k) {
    switch (b.shown) {
        case shown_in::all: return k != editor_kind::none;
        case shown_in::track_editors: return k == editor_kind::event_list || k == editor_kind::grid;
        case shown_in::event_list: return k == editor_kind::event_list;
        case shown_in::grid: return k == editor_kind::grid;
        case shown_in::tempo_list: return k == editor_kind::tempo_list;
        case shown_in::signature_list: return k == editor_kind::signature_list;
    }
    return false;
}

bool button_pressed(const program& p, int command) {
    const row_filters& f = p.editor.filters;
    const bool filters[] = {f.on, f.off, f.prg, f.pw, f.aft, f.ctr};
    if (command >= cmd::filter_first && command <= cmd::filter_last)
        return filters[command - cmd::filter_first];
    if (command == cmd::snap_to_grid) return p.song.snap_to_grid != 0;
    if (command == cmd::hide_groove) return p.editor.grid.hide_groove;
    return command == cmd::step_input && p.d.step_input_on != 0;
}

rect editor_geometry::region(int number) const {
    for (const editor_region& r : editor_regions())
        if (r.number == number) return place(r.q);
    return {};
}

rect editor_geometry::row(int region_number, int r) const {
    const rect col = region(region_number);
    return {col.left, col.top + r * cell_height, col.right, col.top + (r + 1) * cell_height};
}

std::string_view editor_help_page(editor_kind kind) {
    switch (kind) {
        case editor_kind::grid: return help_page::grid_editor;
        case editor_kind::tempo_list:
        case editor_kind::signature_list: return help_page::tempo_signature_editors;
        default: return help_page::event_editor;
    }
}

void leave_editor(program& p) {
    if (!p.editor.open()) return;
    end_heard_note(p);
    // The grid's marks do not outlast it.
    if (p.editor.kind == editor_kind::grid) clear_selection(p);
    shared_store(p.d.step_input_on, std::uint8_t{0});
    p.editor.kind = editor_kind::none;
    ++p.editor.moves;
    shared_store(p.d.main_screen, std::int16_t{1});
}

namespace {

// A new note takes the channel the track plays on: its own channel when set, else that of its
// first note; a note clicked later takes over, as before.
void seed_note_channel(program& p) {
    const track_slot& slot = edited_slot(p);
    int channel = slot.channel;
    if (channel == channel_as_recorded) {
        const event_store s = p.store();
        ref32 e = edited_first(p);
        while (is_event_status(s.status(e)) && !s.at(e).is_note_on()) e = s.next_event(e);
        if (!is_event_status(s.status(e))) return;
        channel = s.at(e).status() & 0x0F;
    }
    short_event& ln = p.editor.last_note;
    ln.status = static_cast<std::uint8_t>((ln.status & 0xF0) | channel);
}

}  // namespace

outcome toggle_editor(program& p, editor_kind kind) {
    if (p.editor.kind == kind) {
        leave_editor(p);
        return outcome::done;
    }
    leave_editor(p);
    if (p.refuse_while_recording()) return outcome::refused;
    p.app.edit_pattern = p.d.current_pattern;
    p.d.song_start_step = p.d.current_step;
    // The tempo and signature lists always hold their chain; a track may have none.
    const bool list = kind == editor_kind::tempo_list || kind == editor_kind::signature_list;
    if (!list && !p.slot(p.app.edit_pattern, p.d.current_track).in_use) {
        p.message(msg_no_data);
        return outcome::refused;
    }
    // The editor takes the work area from the mixer; a refusal leaves the mixer as it was.
    p.app.mixer_port = -1;
    editor_state& ed = p.editor;
    ed.kind = kind;
    ed.position_follow = true;
    // The lists count in song time; a track's events in its pattern's.
    ed.step_offset = list ? 0 : p.step_offset(p.app.edit_pattern);
    p.app.editor_dirty = false;
    p.d.punch_on = 0;
    ed.tracks_seen = p.changes.tracks;
    if (!list) seed_note_channel(p);
    cursor_to_start(p);
    shared_store(p.d.main_screen, std::int16_t{0});
    return outcome::done;
}

namespace {

colour_role row_colour(int kind) {
    switch (kind) {
        case 0x80:
        case 0x90: return colour_role::note_row;
        case 0xB0: return colour_role::control_row;
        case 0xC0: return colour_role::program_row;
        case 0xA0:
        case 0xD0: return colour_role::pressure_row;
        case 0xE0: return colour_role::wheel_row;
        default: return colour_role::own_row;
    }
}

}  // namespace

std::vector<list_painter::row_view> list_painter::rows_of(const program& p) const {
    std::vector<row_view> rows(static_cast<std::size_t>(shown_rows(p)));
    const list_row_events events = list_rows_of(p);
    const track_slot& t = edited_slot(p);
    const row_context context{
        .track_channel = t.channel, .port = t.port, .patches = patches_, .show_patch_names = names_shown_};
    for (int r = 0; r < shown_rows(p); ++r) {
        row_view& v = rows[static_cast<std::size_t>(r)];
        v.highlight = r == p.editor.cursor_row;
        const ref32 e = events[static_cast<std::size_t>(r)];
        if (e == null_ref) continue;
        v.text = event_row_text(p, e, context);
        v.kind = p.store().status(e) & 0xF0;
    }
    return rows;
}

std::vector<rect> list_painter::refresh(const program& p, const editor_geometry& g) {
    std::vector<rect> dirty;
    std::vector<row_view> now = rows_of(p);
    const std::size_t n = now.size();
    const bool all = shown_.size() != n;
    const int top = first_shown_row(p);
    for (std::size_t r = 0; r < n; ++r)
        if (all || !(now[r] == shown_[r])) dirty.push_back(g.row(erg::list, top + static_cast<int>(r)));
    shown_ = std::move(now);
    std::string step = p.d.step_input_on ? position_text(p, p.d.step_position) : std::string();
    if (step != step_text_) {
        step_text_ = std::move(step);
        dirty.push_back(g.region(erg::step_position));
    }
    return dirty;
}

void list_painter::paint(canvas& c, const rect& clip, const program& p, const editor_geometry& g) {
    if (shown_.size() != static_cast<std::size_t>(shown_rows(p))) refresh(p, g);
    const int top = first_shown_row(p);
    const rect frame = g.region(erg::frame);
    if (!frame.intersects(clip)) return;
    // Only what meets the clip: a tick repaints a few rows at a time.
    const rect list = g.region(erg::list);
    const int list_top = list.top + top * g.cell_height;
    const rect header_strip{list.left, list_top - g.cell_height, frame.right, list_top};
    // The rows fill the list themselves: a repaint of rows alone paints nothing under them.
    if (!list.contains(clip.left, clip.top) || !list.contains(clip.right - 1, clip.bottom - 1)) {
        c.fill_rect(clipped(frame, clip), colour_role::panel);
        c.fill_rect(clipped(list, clip), colour_role::field);
        c.frame_rect(list, colour_role::shadow);
    }
    // One character to a cell: each column's piece of the text stands over its region.
    static constexpr std::size_t pieces[] = {0, 16, 24, 28, 32, 37, event_row_width};
    static constexpr int header_at[] = {2, 16, 24, 29, 33, 38};
    std::string_view header = header_strip.intersects(clip) ? list_header : "";
    for (int col : header_at) {
        if (header.empty()) break;
        header.remove_prefix(1);
        const std::size_t tab = header.find('\t');
        const int x = list.left + col * g.cell_width;
        c.text({x, list_top - g.cell_height, x + g.cell_width * 14, list_top}, header.substr(0, tab),
               font_kind::small, colour_role::dim_text, text_align::left);
        header.remove_prefix(tab == std::string_view::npos ? header.size() : tab);
    }
    for (int r = 0; r < shown_rows(p); ++r) {
        const rect place = g.row(erg::list, top + r);
        if (!place.intersects(clip)) continue;
        const row_view& v = shown_[static_cast<std::size_t>(r)];
        c.fill_rect(place, v.highlight ? colour_role::highlight : colour_role::field);
        if (v.text.empty()) continue;
        const colour_role ink = v.highlight ? colour_role::highlight_text : row_colour(v.kind);
        for (std::size_t i = 0; i + 1 < std::size(pieces); ++i) {
            const std::string_view piece = std::string_view(v.text).substr(pieces[i], pieces[i + 1] - pieces[i]);
            if (piece.find_first_not_of(' ') == std::string_view::npos) continue;
            const int left = list.left + static_cast<int>(pieces[i]) * g.cell_width;
            const int right = list.left + static_cast<int>(pieces[i + 1]) * g.cell_width;
            c.text({left, place.top + g.list_font_shortfall, right, place.bottom}, piece, font_kind::list, ink);
        }
    }
    if (g.region(erg::row_up).intersects(clip)) c.icon(g.region(erg::row_up), icon_row_up);
    if (g.region(erg::row_down).intersects(clip)) c.icon(g.region(erg::row_down), icon_row_down);
    if (!step_text_.empty() && g.region(erg::step_position).intersects(clip)) {
        const rect s = g.region(erg::step_position);
        c.fill_rect(s, colour_role::field);
        c.text(s, step_text_, font_kind::list, colour_role::field_text, text_align::right);
    }
}

}  // namespace kestrune
