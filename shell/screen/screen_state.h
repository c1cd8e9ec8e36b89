// The main screen's inner state, shared by its files: painting (screen_views), the mouse
// (mouse_editing), value fields (screen_fields), keys (screen_keys), names typed in place
// (typed_names) and the track drag (track_drag).
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/field.h"
#include "core/program.h"
#include "editors/frame/editor_frame.h"
#include "editors/grid/grid_view.h"
#include "editors/list/list_fields.h"
#include "realtime/transport.h"
#include "shell/screen/main_layout.h"
#include "shell/screen/main_screen.h"
#include "mixer/mixer_view.h"
#include "song/mouse_model.h"
#include "shell/screen/region_tree.h"

namespace kestrune {

inline constexpr const char* msg_signature_track_active =
    "The Time Signature Track is active!\nChange value in the Time Signature Editor.";

// The engine's activity mailboxes hold this when there is nothing to draw.
inline constexpr std::uint8_t activity_none = 0xFF;

// What one cell of the screen shows; painting draws it and the tick compares it.
struct cell_view {
    std::string text;
    text_align align = text_align::right;
    font_kind font = font_kind::list;
    bool inverted = false;
    int icon = 0;  // a transport icon, 0 for none
    int bar = -1;  // an activity bar's width in pixels, -1 for none
    bool bar_peak = false;
    bool bar_off = false;  // the note-off marker colour
    bool operator==(const cell_view&) const = default;
};

// A value field of the screen: its descriptor, its value in a row, the one way to set it, and a
// refusal of its own (which says why, when it says anything; true when refused).
struct screen_field {
    field_spec shape{};
    std::function<std::int32_t(int row)> get{};
    std::function<void(int row, std::int32_t)> set{};
    std::function<bool(int row)> refused{};
    std::int32_t span_from = song_start;  // where a length is laid out
    bool bars_only = false;               // a click steps whole bars wherever it lands
};

// One watched cell: a region, the row within it (0 for single fields) and its place.
struct screen_cell {
    int region = 0;
    int row = 0;
    rect place;
    cell_view shown;
};

}  // namespace kestrune

namespace kestrune {

struct main_screen::impl {
    impl(program& prog, transport* shared_transport);

    program& p;
    std::unique_ptr<transport> own_transport;
    transport& t;

    region_tree tree;
    cell_grid g;
    int zoom = -1;
    std::vector<child_button> buttons;  // the main window's, the mixer's, then the editors'
    std::size_t editor_first = 0;       // where the editors' buttons begin
    int first_visible = 0;
    std::vector<screen_cell> cells;
    std::vector<rect> dirty;

    // Activity bar levels in pixels: 32 tracks and the thru field.
    int track_level[tracks_per_pattern] = {};
    bool track_off_marker[tracks_per_pattern] = {};
    bool track_peak[tracks_per_pattern] = {};
    int thru_level = 0;

    // Layout.
    void build_cells();
    void place_buttons();
    rect client() const;

    // What each cell shows (screen_views.cpp).
    cell_view view(int region, int row);
    cell_view pane_view(int region, int row);
    cell_view track_view(int region, int row);
    std::int32_t shown_position() const;
    void paint_cell(canvas& c, const screen_cell& s) const;
    void paint_labels(canvas& c, const rect& clip) const;
    void update_activity();
    // Compares every cell with what it shows and collects the changed places.
    void refresh_cells();
    // Shown at all: not hidden, and in the transport panel while an editor has the window.
    bool on_screen(const screen_cell& s) const;
    void mark_all_dirty() { dirty.assign(1, client()); }

    bool main_view() const { return p.d.main_screen != 0; }
    mixer_view mixer{p};
    bool mixer_shown() const { return !main_view() && mixer_open(p); }
    bool in_mixer(int x, int y) const { return mixer_shown() && mixer.frame().contains(x, y); }
    bool shown_main_view = true;
    editor_kind shown_editor = editor_kind::none;  // whose buttons are up
    bool shown_mixer = false;
    std::uint32_t shown_song = p.changes.song;  // the song the track list was scrolled for
    static constexpr int no_pattern_change = 0xFF;
    // What the engine reports between ticks: the pattern it now plays, and the open panes.
    void follow_engine();

    // Input.
    struct press_state {
        int region = 0;  // 0: no press
        int row = 0;
        int x = 0;
        int y = 0;
        key_mods mods;
        std::int64_t down_ms = 0;
    };
    mouse_model mouse;
    press_state press;
    key_mods last_mods;
    bool wait_release =
        false;  // a single action ran or a message showed: nothing until all buttons rise
    int double_click_ms = default_double_click_ms;
    bool allow_double_clicks = true;
    bool dragging = false;
    int drag_source = 0;
    int drag_y = 0;
    bool rewind_key = false;
    bool forward_key = false;
    std::optional<quantize_popup_request> popup;
    bool buttons_changed = false;
    recording_actions recording;

    void begin_press(int x, int y, int button, key_mods mods, std::int64_t ms);
    void end_press(int x, int y, int button);
    void run_press(std::int64_t ms);
    void act(int code);
    bool takes_double_click(int region) const;
    bool single_action(int region) const;
    // Shows the message; the press then waits for the buttons to rise.
    void refuse(const char* text);
    // A value of the song changed by hand: counted for the closing question.
    void edited() { ++p.changes.values; }
    // Fields that move through the song or its view without changing it.
    static bool views_only(int region) {
        return region == rgn::position || region == rgn::left_locator || region == rgn::right_locator ||
               region == rgn::groove || region == rgn::pattern_number;
    }
    bool refuse_while_recording();
    int row_at(int region, int y) const;
    // The value fields (screen_fields.cpp): a click steps one, a double click types into it.
    screen_field field_of(int region);
    screen_field transport_field(int region);
    screen_field song_field(int region);
    screen_field signature_field(bool numerator);
    midi_event* signature_shown();
    bool signature_refused();
    bool click_field(int region, int row, int code, key_mods mods);
    bool type_into_field(int region, int row);
    void set_row_pattern(int step, int pattern);
    void move_step_start(int step, std::int32_t to);
    // The rest of a click: buttons, toggles, the song list's own.
    void act_transport(int region, int code);
    void act_track(int region, int track);
    void act_song(int region, int row, int code);
    void move_step(int delta, bool with_locators);
    void toggle_mute(int track);
    void move_track(int delta);
    void make_visible(int track);
    void drop_track(int x, int y, key_mods mods);
    bool copy_track(int pattern, int source, int target);
    // The key table's keys: those that repeat while held, the named keys, letters and digits.
    bool key(const key_event& k);
    bool repeating_key(const key_event& k);
    bool named_key(const key_event& k);
    bool letter_key(const key_event& k);
    // The keypad's + and -: the tempo by one beat per minute.
    void tempo_key(int step, bool repeat);
    void double_click_at(int region, int row);
    void edit_track_name(int track);
    void edit_pattern_name();
    void edit_step_name(int step);
    void edit_signature(int region);
    void refresh_buttons();
    rect drag_line() const;

    // The editor in the work area (editor_pane.cpp): its regions and buttons at the layout, the
    // switch between it and the panes, its rows on each tick, its clicks and keys.
    editor_geometry eg;
    list_painter list;
    grid_view grid{p};
    bool grid_up() const { return editor_up() && p.editor.kind == editor_kind::grid; }
    // The grid takes the mouse over itself, and for the rest of a gesture begun there.
    bool in_grid(int x, int y) const { return grid_up() && (grid.busy() || grid.takes(x, y)); }
    bool list_was_running = false;
    bool editor_up() const { return p.editor.open() && !main_view(); }
    void place_editor();
    void show_editor(bool up);
    void refresh_editor(std::int64_t ms);
    void act_editor(int region, int row, int code);
    bool editor_key(const key_event& k);
    void editor_wheel(int steps);
    screen_field list_field_of(int region);
};

}  // namespace kestrune
