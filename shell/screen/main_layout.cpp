#include "shell/screen/main_layout.h"

#include <algorithm>

#include "core/command_ids.h"
#include "shell/screen/main_screen.h"

namespace kestrune {

const zoom_row zoom_table[zoom_rows] = {
    {"&1  325*265", -4, -8, 325, 283},  // 283, not 265: the window really is that tall
    {"&2  480*375", -2, -4, 480, 375},     {"&3  640*480", 0, 0, 640, 480},
    {"&4  800*600", 2, 4, 800, 600},       {"&5  1024*768", 5, 10, 1024, 768},
    {"&6  1152*864", 6, 13, 1152, 864},    {"&7  1280*1024", 8, 18, 1280, 1024},
    {"&8  1600*1200", 12, 24, 1600, 1200},
};

cell_grid make_cells(int zoom_index, const font_metrics& f) {
    const zoom_row& z = zoom_table[std::clamp(zoom_index, 0, zoom_rows - 1)];
    cell_grid g;
    g.width_delta = z.width_delta;
    g.height_delta = z.height_delta;
    g.width = std::max(2, f.average_char_width + 1 + z.width_delta);
    g.height = std::max(4, f.height + f.external_leading + z.height_delta);
    return g;
}

int icon_size_of(const cell_grid& g) {
    const int across = (g.width_delta + 8) * 32;
    const int down = ((g.height_delta + 16) * 32) / 16;
    if (across >= 512 && down >= 64) return 64;
    if (across >= 256 && down >= 32) return 32;
    return 16;
}

int font_height_of(const cell_grid& g, font_kind f) {
    return f == font_kind::small ? g.height * 3 / 4 : g.height;
}

font_spec font_spec_of(const cell_grid& g, font_kind f) {
    // w: the average character width with the zoom's delta, h: the cell height.
    const int w = g.width - 1;
    const int h = g.height;
    switch (f) {
        case font_kind::small:
            return {h * 3 / 4, w - w / 4 - 1, 400, false};
        case font_kind::normal:
            return {h, w, h == 20 ? 400 : 700, false};
        case font_kind::list:
            break;
    }
    return {h, w + 1, 700, true};
}

rect row_of(const rect& column, int row, int cell_height) {
    const int top = column.top + row * cell_height;
    return {column.left, top, column.right, top + cell_height};
}

rect hidden_data_cell(const cell_grid& g) {
    return {g.x(26), g.y(2), g.xq(26 * 4 + 14), g.y(3)};
}

rect scroll_bar_rect(const cell_grid& g) {
    const int w = std::min(2 * g.width, 20);
    return {g.x(76), g.y(3), g.x(76) + w, g.y(19)};
}

namespace {

// A row edge: quarters of a cell plus one of the fixed shifts.
enum class shift { none, plus_q, minus_q, plus_e };

struct region_geometry {
    int number;
    int parent;
    int left4, right4;  // columns in quarters
    int top4;
    shift top_shift;
    int bottom4;
    shift bottom_shift;
    region_shape shape;
    region_background background;
    bool framed;
    bool inset;
};

constexpr region_shape fr = region_shape::frame;
constexpr region_shape btn = region_shape::raised_button;
constexpr region_shape no = region_shape::none;
constexpr region_background pl = region_background::plain;
constexpr region_background pn = region_background::panel;

// Columns and rows of the main tree, in quarters of a cell. A field "1 high" at row r with
// shift s runs from r+s to r+1+s.
// clang-format off
constexpr region_geometry main_regions[] = {
    {rgn::transport_panel, rgn::root, 8, 304, 80, shift::plus_q, 108, shift::none, fr, pn, true, true},
    {rgn::position, rgn::transport_panel, 204, 256, 84, shift::plus_q, 88, shift::plus_q, no, pl, false, false},
    {rgn::left_locator, rgn::transport_panel, 88, 140, 84, shift::plus_q, 88, shift::plus_q, no, pl, false, false},
    {rgn::right_locator, rgn::transport_panel, 88, 140, 92, shift::plus_q, 96, shift::plus_q, no, pl, false, false},
    {rgn::time, rgn::transport_panel, 52, 84, 84, shift::plus_q, 88, shift::plus_q, no, pl, false, false},
    {rgn::signature, rgn::transport_panel, 204, 256, 92, shift::plus_q, 96, shift::plus_q, no, pl, false, false},
    {rgn::numerator, rgn::signature, 210, 220, 92, shift::plus_q, 96, shift::plus_q, no, pl, false, false},
    {rgn::denominator, rgn::signature, 222, 232, 92, shift::plus_q, 96, shift::plus_q, no, pl, false, false},
    {rgn::groove, rgn::signature, 240, 250, 92, shift::plus_q, 96, shift::plus_q, no, pl, false, false},
    {rgn::tempo, rgn::transport_panel, 266, 294, 84, shift::plus_q, 88, shift::plus_q, no, pl, false, false},
    {rgn::midi_thru, rgn::transport_panel, 266, 294, 92, shift::plus_q, 96, shift::plus_q, no, pl, false, false},
    {rgn::play, rgn::transport_panel, 164, 180, 92, shift::minus_q, 100, shift::minus_q, no, pl, false, false},
    {rgn::stop, rgn::transport_panel, 148, 164, 92, shift::minus_q, 100, shift::minus_q, no, pl, false, false},
    {rgn::record, rgn::transport_panel, 180, 196, 92, shift::minus_q, 100, shift::minus_q, no, pl, false, false},
    {rgn::forward, rgn::transport_panel, 180, 196, 84, shift::minus_q, 92, shift::minus_q, no, pl, false, false},
    {rgn::rewind, rgn::transport_panel, 148, 164, 84, shift::minus_q, 92, shift::minus_q, no, pl, false, false},
    {rgn::pause, rgn::transport_panel, 164, 180, 84, shift::minus_q, 92, shift::minus_q, no, pl, false, false},
    {rgn::drop_in, rgn::transport_panel, 156, 188, 100, shift::plus_e, 106, shift::plus_e, no, pl, false, false},
    {rgn::work_area, rgn::root, 8, 304, 8, shift::none, 76, shift::none, no, pl, false, false},
    {rgn::song_pane, rgn::work_area, 8, 100, 8, shift::none, 76, shift::none, no, pl, false, false},
    {rgn::mode_line, rgn::song_pane, 24, 76, 8, shift::none, 12, shift::none, no, pl, false, false},
    {rgn::track_numbers, rgn::song_pane, 92, 100, 12, shift::none, 76, shift::none, no, pl, false, false},
    {rgn::master_mute, rgn::song_pane, 92, 100, 8, shift::none, 12, shift::none, no, pl, false, false},
    {rgn::song_list, rgn::song_pane, 8, 88, 8, shift::none, 74, shift::none, fr, pl, true, false},
    {rgn::step_bar, rgn::song_list, 8, 28, 16, shift::none, 52, shift::none, no, pl, false, false},
    {rgn::step_pattern, rgn::song_list, 29, 40, 16, shift::none, 52, shift::none, no, pl, false, false},
    {rgn::step_name, rgn::song_list, 40, 88, 16, shift::none, 52, shift::none, no, pl, false, false},
    {rgn::step_length, rgn::song_list, 8, 60, 56, shift::none, 60, shift::none, no, pl, false, false},
    {rgn::step_pre_start, rgn::song_list, 8, 60, 68, shift::none, 72, shift::none, no, pl, false, false},
    {rgn::step_transpose, rgn::song_list, 68, 84, 56, shift::none, 60, shift::none, no, pl, false, false},
    {rgn::step_delete, rgn::song_list, 77, 87, 68, shift::none, 73, shift::none, btn, pl, false, false},
    {rgn::step_insert, rgn::song_list, 65, 75, 68, shift::none, 73, shift::none, btn, pl, false, false},
    {rgn::step_down, rgn::song_list, 65, 75, 62, shift::none, 67, shift::none, btn, pl, false, false},
    {rgn::step_up, rgn::song_list, 77, 87, 62, shift::none, 67, shift::none, btn, pl, false, false},
    {rgn::track_pane, rgn::work_area, 104, 304, 8, shift::none, 76, shift::none, fr, pl, true, false},
    {rgn::track_number, rgn::track_pane, 104, 116, 12, shift::none, 76, shift::none, no, pl, false, false},
    {rgn::mute, rgn::track_pane, 116, 132, 12, shift::none, 76, shift::none, no, pl, false, false},
    {rgn::transpose, rgn::track_pane, 134, 148, 12, shift::none, 76, shift::none, no, pl, false, false},
    {rgn::track_name, rgn::track_pane, 148, 200, 12, shift::none, 76, shift::none, no, pl, false, false},
    {rgn::loop, rgn::track_pane, 200, 216, 12, shift::none, 76, shift::none, no, pl, false, false},
    {rgn::delay, rgn::track_pane, 216, 232, 12, shift::none, 76, shift::none, no, pl, false, false},
    {rgn::compress, rgn::track_pane, 236, 248, 12, shift::none, 76, shift::none, no, pl, false, false},
    {rgn::velocity, rgn::track_pane, 248, 264, 12, shift::none, 76, shift::none, no, pl, false, false},
    {rgn::quantize, rgn::track_pane, 264, 280, 12, shift::none, 76, shift::none, no, pl, false, false},
    {rgn::port, rgn::track_pane, 280, 292, 12, shift::none, 76, shift::none, no, pl, false, false},
    {rgn::channel, rgn::track_pane, 292, 304, 12, shift::none, 76, shift::none, no, pl, false, false},
    // The pattern's name and number share the header row with the column labels: both stay
    // above the name column (10 and 2 characters with their padding) and leave "Loop" clear.
    {rgn::pattern_number, rgn::track_pane, 190, 200, 8, shift::none, 12, shift::none, no, pl, false, false},
    {rgn::pattern_name, rgn::track_pane, 148, 190, 8, shift::none, 12, shift::none, no, pl, false, false},
};
// clang-format on

int shifted(const cell_grid& g, int quarters, shift s) {
    const int y = quarters * g.height / 4;
    switch (s) {
        case shift::plus_q:
            return y + g.q();
        case shift::minus_q:
            return y - g.q();
        case shift::plus_e:
            return y + g.e();
        case shift::none:
            break;
    }
    return y;
}

}  // namespace

void build_main_tree(region_tree& t, const cell_grid& g) {
    t.clear();
    screen_region root;
    root.number = rgn::root;
    root.rectangle = {-32000, -32000, 32000, 32000};
    t.append(0, root);
    for (const region_geometry& m : main_regions) {
        screen_region r;
        r.number = m.number;
        r.shape = m.shape;
        r.background = m.background;
        r.framed = m.framed;
        r.rectangle = {g.xq(m.left4), shifted(g, m.top4, m.top_shift), g.xq(m.right4),
                       shifted(g, m.bottom4, m.bottom_shift)};
        if (m.inset) r.rectangle = r.rectangle.inset(1);
        t.append(m.parent, std::move(r));
    }
}

void place_main_buttons(const cell_grid& g, bool time_shown,
                        button_place (&out)[main_button_count]) {
    // One cell and a quarter high, in the panel's free corner left of the locators; "Undo"
    // shares the row of "Time" and makes room for it.
    const int h = g.height + g.q();
    const int row1 = g.y(21) + g.q();
    const int row2 = g.y(23) + g.q();
    const int row3 = g.y(25) + g.e();
    auto at = [&](int column, int top) { return rect{g.x(column), top, g.x(column + 5), top + h}; };
    const int undo_column = time_shown ? 8 : 12;
    out[0] = {cmd::undo, "Undo", {g.x(undo_column), row1, g.x(undo_column + 4), row1 + h}};
    out[1] = {cmd::mixer_button, "Mixer", at(2, row2)};
    out[2] = {cmd::event_button, "Event", at(7, row2)};
    out[3] = {cmd::grid_button, "Grid", at(12, row2)};
    out[4] = {cmd::cycle_button, "Cycle", at(17, row2)};
    out[5] = {cmd::punch_button, "Punch", at(2, row3)};
    out[6] = {cmd::solo_button, "Solo", at(7, row3)};
    out[7] = {cmd::signature_track_button, "Sign T", at(12, row3)};
    out[8] = {cmd::tempo_track_button, "Tempo T", at(17, row3)};
}

}  // namespace kestrune
