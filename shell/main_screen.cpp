#include "shell/main_screen.h"

#include <algorithm>

#include "shell/screen_state.h"

namespace kestrune {

main_screen::impl::impl(program& prog, command_table& table, transport* shared_transport)
    : p(prog),
      commands(table),
      own_transport(shared_transport ? nullptr : std::make_unique<transport>(prog)),
      t(shared_transport ? *shared_transport : *own_transport) {
    // The window opens on the song and track panes.
    shared_store(p.d.main_screen, 1);
}

rect main_screen::impl::client() const {
    return {0, 0, scroll_bar_rect(g).right, tree.place(rgn::transport_panel).bottom + 1};
}

void main_screen::impl::place_buttons() {
    button_place places[main_button_count];
    place_main_buttons(g, p.app.clock_field_on, places);
    buttons.resize(main_button_count);
    for (int i = 0; i < main_button_count; ++i) {
        child_button& b = buttons[static_cast<std::size_t>(i)];
        b.command = places[i].command;
        b.text = places[i].text;
        b.place = places[i].place;
    }
}

void main_screen::impl::build_cells() {
    cells.clear();
    auto single = [&](int region) { cells.push_back({region, 0, tree.place(region), {}}); };
    auto column = [&](int region, int rows) {
        const rect col = tree.place(region);
        for (int r = 0; r < rows; ++r) cells.push_back({region, r, row_of(col, r, g.height), {}});
    };
    for (int r : {rgn::position, rgn::left_locator, rgn::right_locator, rgn::time, rgn::numerator,
                  rgn::denominator, rgn::groove, rgn::tempo, rgn::midi_thru, rgn::play, rgn::stop,
                  rgn::record, rgn::forward, rgn::rewind, rgn::pause, rgn::drop_in})
        single(r);
    // The position label carries the denominator and the groove.
    const rect pos = tree.place(rgn::position);
    cells.push_back({rgn::position, -1, {pos.left, pos.top - g.height * 3 / 4, pos.right, pos.top}, {}});

    for (int r : {rgn::mode_line, rgn::master_mute, rgn::step_length, rgn::step_pre_start,
                  rgn::step_transpose, rgn::pattern_number, rgn::pattern_name})
        single(r);
    column(rgn::track_numbers, visible_tracks);
    for (int r : {rgn::step_bar, rgn::step_pattern, rgn::step_name}) column(r, song_rows);
    for (int r : {rgn::track_number, rgn::mute, rgn::transpose, rgn::track_name, rgn::loop, rgn::delay,
                  rgn::compress, rgn::velocity, rgn::quantize, rgn::port, rgn::channel})
        column(r, visible_tracks);
    cells.push_back({rgn::track_pane, -1, hidden_data_cell(g), {}});
    for (screen_cell& s : cells) s.shown = view(s.region, s.row);
}

void main_screen::impl::refresh_cells() {
    for (screen_cell& s : cells) {
        cell_view now = view(s.region, s.row);
        if (now == s.shown) continue;
        s.shown = std::move(now);
        dirty.push_back(s.place);
    }
}

main_screen::main_screen(program& p, command_table& commands)
    : m_(std::make_unique<impl>(p, commands, nullptr)) {}

main_screen::main_screen(program& p, command_table& commands, transport& shared)
    : m_(std::make_unique<impl>(p, commands, &shared)) {}

main_screen::~main_screen() = default;

void main_screen::layout(int zoom_index, const font_metrics& system_font) {
    impl& m = *m_;
    m.zoom = std::clamp(zoom_index, 0, zoom_rows - 1);
    m.g = make_cells(m.zoom, system_font);
    build_main_tree(m.tree, m.g);
    m.tree.hide(rgn::time, !m.p.app.clock_field_on);
    m.place_buttons();
    m.build_cells();
    m.mark_all_dirty();
}

int main_screen::zoom_index() const { return m_->zoom; }
int main_screen::client_width() const { return m_->client().right; }
int main_screen::client_height() const { return m_->client().bottom; }
int main_screen::cell_width() const { return m_->g.width; }
int main_screen::cell_height() const { return m_->g.height; }
int main_screen::font_height(font_kind f) const { return font_height_of(m_->g, f); }

const std::vector<child_button>& main_screen::buttons() const { return m_->buttons; }
rect main_screen::scroll_bar_place() const { return scroll_bar_rect(m_->g); }
int main_screen::scroll_value() const { return m_->first_visible; }

void main_screen::scroll_to(int first_visible_track) {
    m_->first_visible = std::clamp(first_visible_track, 0, max_first_visible_track);
    m_->refresh_cells();
}

const region_tree& main_screen::regions() const { return m_->tree; }
transport& main_screen::transport_state() { return m_->t; }

void main_screen::paint(canvas& c, const rect& clip) {
    impl& m = *m_;
    if (m.tree.empty()) return;
    m.tree.paint(c, clip);
    m.paint_labels(c, clip);
    for (const screen_cell& s : m.cells) {
        if (!s.place.intersects(clip) || m.tree.is_hidden(s.region)) continue;
        if (!m.main_view() && !m.tree.place(rgn::transport_panel).intersects(s.place)) continue;
        m.paint_cell(c, s);
    }
}

void main_screen::mouse_down(int, int, int, key_mods, std::int64_t) {}
void main_screen::mouse_up(int, int, int, std::int64_t) {}
void main_screen::mouse_move(int, int, key_mods, std::int64_t) {}
void main_screen::double_click(int, int, int, key_mods, std::int64_t) {}
void main_screen::wheel(int, int, int) {}
bool main_screen::key_down(const key_event&) { return false; }
void main_screen::key_up(const key_event&) {}

void main_screen::tick(std::int64_t) {
    impl& m = *m_;
    if (m.tree.empty()) return;
    m.update_activity();
    m.refresh_cells();
}

std::vector<rect> main_screen::take_dirty() {
    std::vector<rect> out;
    out.swap(m_->dirty);
    return out;
}

}  // namespace kestrune
