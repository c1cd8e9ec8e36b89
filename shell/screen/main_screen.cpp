#include "shell/screen/main_screen.h"

#include <algorithm>

#include "shell/screen/screen_state.h"
#include "song/patterns.h"

namespace kestrune {

main_screen::impl::impl(program& prog, transport* shared_transport)
    : p(prog),
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
    // The mixer's own, shown while it is; then the editors', shown while one is up.
    for (const mixer_button_place& m : mixer.buttons())
        buttons.push_back({.command = m.command, .text = m.text, .place = m.place, .visible = mixer_shown()});
    editor_first = buttons.size();
    for (const editor_button& b : editor_buttons())
        buttons.push_back({.command = b.command, .text = b.text, .place = eg.place(b.q),
                           .visible = editor_up() && button_shown(b, p.editor.kind)});
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
    cells.push_back(
        {rgn::position, -1, {pos.left, pos.top - g.height * 3 / 4, pos.right, pos.top}, {}});

    for (int r : {rgn::mode_line, rgn::master_mute, rgn::step_length, rgn::step_pre_start,
                  rgn::step_transpose, rgn::pattern_number, rgn::pattern_name})
        single(r);
    column(rgn::track_numbers, visible_tracks);
    for (int r : {rgn::step_bar, rgn::step_pattern, rgn::step_name}) column(r, song_rows);
    for (int r : {rgn::track_number, rgn::mute, rgn::transpose, rgn::track_name, rgn::loop,
                  rgn::delay, rgn::compress, rgn::velocity, rgn::quantize, rgn::port, rgn::channel})
        column(r, visible_tracks);
    cells.push_back({rgn::track_pane, -1, hidden_data_cell(g), {}});
    for (screen_cell& s : cells) s.shown = view(s.region, s.row);
    forget_sources();
}

bool main_screen::impl::on_screen(const screen_cell& s) const {
    if (tree.is_hidden(s.region)) return false;
    return main_view() || tree.place(rgn::transport_panel).intersects(s.place);
}

void main_screen::impl::refresh_cells() {
    forget_sources();
    compare_cells();
}

void main_screen::impl::compare_cells() {
    for (screen_cell& s : cells) {
        if (!on_screen(s)) continue;
        cell_view now = view(s.region, s.row);
        if (now == s.shown) continue;
        s.shown = std::move(now);
        dirty.push_back(s.place);
    }
}

bool main_screen::impl::cells_may_have_changed() {
    if (p.running() || p.recording() || !main_view() || dragging || thru_level > 0 ||
        std::any_of(std::begin(track_level), std::end(track_level), [](int w) { return w > 0; })) {
        forget_sources();
        return true;
    }
    cell_sources& s = now_sources;
    auto take = [&s](const void* from, std::size_t bytes) {
        const auto* b = static_cast<const unsigned char*>(from);
        s.model.insert(s.model.end(), b, b + bytes);
    };
    s.model.clear();
    take(&p.d, sizeof p.d);
    take(&p.pattern(p.d.current_pattern), sizeof(pattern_entry));
    take(&p.step(-1), sizeof(song_step) * (song_list_entries + 1));
    s.changes = p.changes;
    s.buttons = t.buttons;
    s.pending_position = t.pending_position;
    s.pending_set = t.pending_position_set;
    s.shown_tempo = t.shown_tempo;
    s.song_tempo = p.app.song_tempo;
    s.edit_grid = p.app.edit_grid;
    s.simple_bars = p.app.simple_bardisplay;
    s.clock_shown = p.app.clock_field_on;
    s.first_visible = first_visible;
    if (s == shown_sources) return false;
    std::swap(shown_sources, now_sources);
    return true;
}

main_screen::main_screen(program& p) : m_(std::make_unique<impl>(p, nullptr)) {}

main_screen::main_screen(program& p, transport& shared) : m_(std::make_unique<impl>(p, &shared)) {}

main_screen::~main_screen() = default;

void main_screen::layout(int zoom_index, const font_metrics& system_font) {
    impl& m = *m_;
    m.zoom = std::clamp(zoom_index, 0, zoom_rows - 1);
    m.g = make_cells(m.zoom, system_font);
    build_main_tree(m.tree, m.g);
    m.tree.hide(rgn::time, !m.p.app.clock_field_on);
    m.mixer.layout(m.g.width, m.g.height);
    m.eg = {m.g.width, m.g.height, m.g.list_font_shortfall};
    m.grid.layout(m.eg);
    m.place_buttons();
    m.place_editor();
    m.build_cells();
    m.mark_all_dirty();
}

int main_screen::zoom_index() const {
    return m_->zoom;
}
int main_screen::client_width() const {
    return m_->client().right;
}
int main_screen::client_height() const {
    return m_->client().bottom;
}
int main_screen::cell_width() const {
    return m_->g.width;
}
int main_screen::cell_height() const {
    return m_->g.height;
}
int main_screen::font_height(font_kind f) const {
    return font_height_of(m_->g, f);
}
font_spec main_screen::font(font_kind f) const {
    return font_spec_of(m_->g, f);
}

void main_screen::set_list_font_height(int pixels) {
    m_->g.list_font_shortfall = std::max(0, m_->g.height - pixels);
    m_->eg.list_font_shortfall = m_->g.list_font_shortfall;
    m_->mark_all_dirty();
}

int main_screen::header_at(int x, int y) const {
    const impl& m = *m_;
    if (!m.main_view()) return -1;
    const int header_top = m.tree.place(rgn::track_pane).top;
    if (y >= header_top && y < header_top + m.g.height)
        for (int r : {rgn::track_number, rgn::mute, rgn::transpose, rgn::loop, rgn::delay,
                      rgn::compress, rgn::velocity, rgn::quantize, rgn::port, rgn::channel}) {
            const rect f = m.tree.place(r);
            if (x >= f.left && x < f.right) return r;
        }
    // The song list's labels stand above its columns.
    for (int r : {rgn::step_bar, rgn::step_pattern, rgn::step_name}) {
        const rect f = m.tree.place(r);
        if (x >= f.left && x < f.right && y >= f.top - font_height_of(m.g, font_kind::small) && y < f.top)
            return r;
    }
    return -1;
}

const std::vector<child_button>& main_screen::buttons() const {
    return m_->buttons;
}
rect main_screen::scroll_bar_place() const {
    return scroll_bar_rect(m_->g);
}
bool main_screen::scroll_bar_shown() const {
    return m_->main_view();
}
int main_screen::scroll_value() const {
    return m_->first_visible;
}

void main_screen::scroll_to(int first_visible_track) {
    m_->first_visible = std::clamp(first_visible_track, 0, max_first_visible_track);
    m_->refresh_cells();
}

mixer_view& main_screen::mixer() {
    return m_->mixer;
}

void main_screen::set_patch_names(const patch_tables* patches, const patch_name_flags* shown) {
    m_->list.set_names(patches, shown);
}

const region_tree& main_screen::regions() const {
    return m_->tree;
}
transport& main_screen::transport_state() {
    return m_->t;
}

void main_screen::paint(canvas& c, const rect& clip) {
    impl& m = *m_;
    if (m.tree.empty()) return;
    c.fill_rect(clip, colour_role::window);
    m.tree.paint(c, clip);
    if (m.editor_up()) m.list.paint(c, clip, m.p, m.eg);
    if (m.grid_up()) m.grid.paint(c, clip);
    for (screen_cell& s : m.cells) {
        if (!s.place.intersects(clip) || !m.on_screen(s)) continue;
        // A paint shows the model as it stands, even before the tick has seen a change.
        s.shown = m.view(s.region, s.row);
        m.paint_cell(c, s);
    }
    m.forget_sources();  // the cells were brought up to date outside the tick's comparison
    // Labels last: the track header shares its row with the pattern fields.
    m.paint_labels(c, clip);
    if (m.dragging && m.drag_line().intersects(clip))
        c.fill_rect(m.drag_line(), colour_role::highlight);
    if (m.mixer_shown()) m.mixer.paint(c, clip);
}

void main_screen::impl::refresh_buttons() {
    const bool pressed[main_button_count] = {false,
                                             mixer_open(p),
                                             p.editor.kind == editor_kind::event_list && !main_view(),
                                             grid_up(),
                                             p.d.cycle_on != 0,
                                             p.d.punch_on != 0,
                                             p.app.solo_on,
                                             p.d.signature_track_on != 0,
                                             p.d.tempo_track_on != 0};
    // Transport buttons lit as their state stands.
    tree.set_lit(rgn::play, t.buttons.play);
    tree.set_lit(rgn::stop, t.buttons.stop);
    tree.set_lit(rgn::pause, t.buttons.pause);
    tree.set_lit(rgn::record, p.d.recording != 0);
    tree.set_lit(rgn::drop_in, p.d.recording != 0);
    tree.set_lit(rgn::rewind, t.buttons.rewind);
    tree.set_lit(rgn::forward, t.buttons.forward);
    tree.set_lit(rgn::mode_line, p.d.song_mode != 0);
    const bool time_shown = p.app.clock_field_on;
    if (tree.is_hidden(rgn::time) == time_shown) {
        tree.hide(rgn::time, !time_shown);
        dirty.push_back(tree.place(rgn::time));
        dirty.push_back(buttons.front().place);
        place_buttons();
        buttons_changed = true;
    }
    for (int i = 0; i < main_button_count; ++i) {
        child_button& b = buttons[static_cast<std::size_t>(i)];
        if (b.pressed != pressed[i]) {
            b.pressed = pressed[i];
            buttons_changed = true;
        }
    }
    for (std::size_t i = main_button_count; i < editor_first; ++i)
        if (buttons[i].visible != mixer_shown()) {
            buttons[i].visible = mixer_shown();
            buttons_changed = true;
        }
}

void main_screen::impl::follow_engine() {
    dll_data& d = p.d;
    // Another pattern plays: the track list goes with it, unless a take runs or the parallel
    // pattern is up in song mode.
    const int playing = shared_load(d.play_pattern);
    if (playing != no_pattern_change) {
        shared_store(d.play_pattern, no_pattern_change);
        if (!p.recording() && !(d.song_mode && d.parallel_selected) && playing != d.current_pattern)
            select_pattern(p, std::clamp(playing, 0, parallel_pattern), true);
    }
    // A song cleared or loaded shows its track list from the top.
    if (p.changes.song != shown_song) {
        shown_song = p.changes.song;
        first_visible = 0;
    }
    // The mixer closed during a take, or with one waiting to be stored: the track list shows the
    // take's pattern again, with the track it goes into.
    if (shown_mixer && !mixer_open(p) && (p.recording() || d.take_has_data)) {
        if (d.record_pattern != d.current_pattern) select_pattern(p, d.record_pattern, true);
        make_visible(d.current_track);
    }
    shown_mixer = mixer_open(p);
    // One editor may give way to another with no main view between: its buttons change too.
    const bool up = main_view();
    if (up != shown_main_view || p.editor.kind != shown_editor) {
        shown_main_view = up;
        shown_editor = p.editor.kind;
        show_editor(editor_up());
        mixer.redraw_all();
        mark_all_dirty();
    }
}

void main_screen::mouse_down(int x, int y, int button, key_mods mods, std::int64_t ms) {
    // The press acts on the next tick, from its latch if the button is already up by then.
    if (m_->in_mixer(x, y))
        m_->mixer.mouse_down(x, y, button, mods, ms);
    else if (m_->in_grid(x, y))
        m_->grid.mouse_down(x, y, button, mods);
    else
        m_->begin_press(x, y, button, mods, ms);
}

void main_screen::mouse_up(int x, int y, int button, std::int64_t) {
    m_->mixer.mouse_up(button);
    if (m_->grid.busy()) {
        m_->grid.mouse_up(button);
        return;
    }
    m_->end_press(x, y, button);
}

void main_screen::mouse_move(int x, int y, key_mods mods, std::int64_t) {
    impl& m = *m_;
    m.last_mods = mods;
    if (m.mixer_shown()) m.mixer.mouse_move(x, y, mods);
    if (m.grid.busy()) m.grid.mouse_move(x, y, mods);
    if (!m.dragging) return;
    m.dirty.push_back(m.drag_line());
    m.drag_y = y;
    // Past the list's top or bottom the list scrolls by one.
    const rect rows = m.tree.place(rgn::track_number);
    if (y < rows.top && m.first_visible > 0) --m.first_visible;
    if (y >= rows.bottom && m.first_visible < max_first_visible_track) ++m.first_visible;
    m.dirty.push_back(m.drag_line());
    m.refresh_cells();
}

void main_screen::double_click(int x, int y, int button, key_mods mods, std::int64_t ms) {
    impl& m = *m_;
    if (m.in_mixer(x, y)) {
        m.mixer.double_click(x, y, button);
        return;
    }
    if (m.in_grid(x, y)) {
        if (!m.grid.double_click(x, y, button)) m.grid.mouse_down(x, y, button, mods);
        return;
    }
    const screen_region* hit = m.tree.find_region_at_point(x, y);
    if (!hit) return;
    const int region = hit->number;
    const bool name =
        region == rgn::track_name || region == rgn::pattern_name || region == rgn::step_name;
    if (button != left_button || (!name && !m.takes_double_click(region))) {
        // Elsewhere the second click of a pair is a click like the first.
        mouse_down(x, y, button, mods, ms);
        return;
    }
    m.press.region = 0;
    m.double_click_at(region, m.row_at(region, y));
    m.refresh_cells();
}

void main_screen::wheel(int x, int y, int steps) {
    impl& m = *m_;
    if (steps == 0) return;
    if (m.grid_up() && m.grid.area().contains(x, y)) {
        m.grid.wheel(x, y, steps);
        return;
    }
    if (m.editor_up() && m.tree.place(rgn::work_area).contains(x, y)) {
        m.editor_wheel(steps);
        return;
    }
    if (!m.main_view()) return;
    const screen_region* hit = m.tree.find_region_at_point(x, y);
    if (!hit) return;
    const int region = hit->number;
    const bool away = steps > 0;
    if (region == rgn::step_pattern || region == rgn::step_bar || region == rgn::step_name) {
        m.move_step(away ? -1 : 1, false);
    } else if (region == rgn::track_numbers || m.tree.place(rgn::track_pane).contains(x, y)) {
        m.move_track(away ? -1 : 1);
    }
    m.refresh_cells();
}

bool main_screen::key_down(const key_event& k) {
    impl& m = *m_;
    const bool used = m.editor_key(k) || m.key(k);
    if (used) m.refresh_cells();
    return used;
}

void main_screen::key_up(const key_event& k) {
    if (k.code == key_code::left) m_->rewind_key = false;
    if (k.code == key_code::right) m_->forward_key = false;
}

void main_screen::tick(std::int64_t ms) {
    impl& m = *m_;
    if (m.tree.empty()) return;
    m.run_press(ms);
    const bool held = m.mouse.any_held();
    m.t.buttons.rewind = m.rewind_key || (held && m.press.region == rgn::rewind);
    m.t.buttons.forward = m.forward_key || (held && m.press.region == rgn::forward);
    m.t.tick(held || m.mixer.buttons_down(), !m.main_view());
    m.follow_engine();
    if (m.mixer_shown()) {
        m.mixer.tick(ms);
        for (const rect& r : m.mixer.take_dirty()) m.dirty.push_back(r);
    }
    m.update_activity();
    m.refresh_buttons();
    // The buttons' enabled states follow the model too.
    const bool moved = m.cells_may_have_changed();
    if (moved) {
        m.compare_cells();
        m.buttons_changed = true;
    }
    m.refresh_editor(ms);
    m.resting = !moved && !held && !m.mixer.buttons_down() && m.dirty.empty() && !m.popup;
}

bool main_screen::at_rest() const {
    return m_->resting;
}

void main_screen::set_double_click_time(int ms) {
    m_->double_click_ms = std::max(1, ms);
    m_->mixer.set_double_click_time(m_->double_click_ms);
}
void main_screen::set_allow_double_clicks(bool on) {
    m_->allow_double_clicks = on;
}
void main_screen::set_recording_actions(recording_actions actions) {
    m_->recording = std::move(actions);
}

std::optional<quantize_popup_request> main_screen::take_quantize_popup() {
    std::optional<quantize_popup_request> r;
    r.swap(m_->popup);
    return r;
}

bool main_screen::take_buttons_changed() {
    const bool changed = m_->buttons_changed;
    m_->buttons_changed = false;
    return changed;
}

std::vector<rect> main_screen::take_dirty() {
    std::vector<rect> out;
    out.swap(m_->dirty);
    return out;
}

}  // namespace kestrune
