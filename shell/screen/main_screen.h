// The main window as the platform drives it: layout at a zoom, painting through a canvas, input
// by region, and the 25 ms tick. Toolkit-free; the Qt widget in platform/ only forwards.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/canvas.h"
#include "core/keys.h"
#include "core/midi_names.h"
#include "files/patch_names.h"
#include "song/mouse_model.h"

namespace kestrune {

class program;
class transport;
class region_tree;
class mixer_view;

// How the platform makes one of the three fonts: pixel height and average width, weight
// (400 normal, 700 bold) and whether the font is of fixed pitch.
struct font_spec {
    int height = 0;
    int width = 0;
    int weight = 400;
    bool fixed_pitch = false;
};

// One of the main window's child buttons ("Undo", "Mixer", ...): the platform makes a push button
// at `place`, shows it pressed while `pressed`, and runs `command` through the table on a click.
struct child_button {
    int command = 0;
    std::string text;
    rect place;
    bool pressed = false;
    bool visible = true;
};

// The Qua column asks for the quantize pop-up of one track; its items are the choices of the
// command cmd::quantize_popup.
struct quantize_popup_request {
    int track = 0;
    int value = 0;  // the track's quantize value now: its choice's index
    int x = 0;
    int y = 0;
};

// Takes start through the recorder that the session keeps beside the transport; until these are
// set, Record, Drop In and their keys do nothing.
struct recording_actions {
    std::function<void(int mode)> record;     // 1 replace, 2 overdub: Record, keypad * and /
    std::function<void(bool shift)> drop_in;  // "Drop In" and Space; Shift for an instant punch
    std::function<void()> mute_last_pass;     // key B during a cycle take
};

// A row of the zoom table.
struct zoom_row {
    const char* menu_text;
    int width_delta;
    int height_delta;
    int window_width;
    int window_height;
};
inline constexpr int zoom_rows = 8;
extern const zoom_row zoom_table[zoom_rows];

class main_screen {
public:
    explicit main_screen(program& p);
    // With the transport the menus and keys share; the first form keeps one of its own.
    main_screen(program& p, transport& shared);
    ~main_screen();
    main_screen(const main_screen&) = delete;
    main_screen& operator=(const main_screen&) = delete;

    // Lays the screen out for a zoom row with cells measured from the system font.
    void layout(int zoom_index, const font_metrics& system_font);
    int zoom_index() const;
    // The client area the regions need (region 2's bottom, the scroll bar's right edge).
    int client_width() const;
    int client_height() const;
    // Cell units of the current layout.
    int cell_width() const;
    int cell_height() const;
    // Pixel heights of the three fonts (small, normal, list) for the platform to make them.
    int font_height(font_kind f) const;
    font_spec font(font_kind f) const;
    // The list font's real pixel height, told after each layout once the fonts are made: value
    // texts sit lower by what it falls short of the cell.
    void set_list_font_height(int pixels);

    const std::vector<child_button>& buttons() const;
    // The track list's scroll bar: place, and the first visible track (0..16).
    rect scroll_bar_place() const;
    bool scroll_bar_shown() const;
    int scroll_value() const;
    void scroll_to(int first_visible_track);

    void paint(canvas& c, const rect& clip);

    // Input; `ms` is the program clock's time of the event.
    void mouse_down(int x, int y, int button, key_mods mods, std::int64_t ms);
    void mouse_up(int x, int y, int button, std::int64_t ms);
    void mouse_move(int x, int y, key_mods mods, std::int64_t ms);
    void double_click(int x, int y, int button, key_mods mods, std::int64_t ms);
    void wheel(int x, int y, int steps);  // steps > 0: away from the user
    // The key table's keys that no command's shortcut claims; true when the key was one.
    bool key_down(const key_event& k);
    void key_up(const key_event& k);

    // The 25 ms tick: held buttons, the transport's own tick (the platform runs no other), the
    // engine's reports and what changed on the screen. The platform reads scroll_value() after
    // it, since keys and the name drag scroll the list.
    void tick(std::int64_t ms);
    // The rectangles that need a repaint since the last call; an empty list when nothing changed.
    std::vector<rect> take_dirty();
    // True when the last tick found nothing moving: stopped, the track list shown, no button
    // held, no bar falling, nothing to repaint and the model as the cells show it. The platform
    // may then tick more slowly until input comes.
    bool at_rest() const;

    // The system's double-click time and the setting "Allow Double Clicks".
    void set_double_click_time(int ms);
    void set_allow_double_clicks(bool on);
    void set_recording_actions(recording_actions actions);
    // A pending quantize popup, once; the platform shows it and runs the chosen item's command.
    std::optional<quantize_popup_request> take_quantize_popup();
    // True once after the child buttons' pressed states or places changed, or the model moved
    // (their enabled states follow it).
    bool take_buttons_changed();

    // The column whose header (the track list's or the song list's) is at a point: its region
    // number, -1 for none.
    int header_at(int x, int y) const;

    // The mixer, shown in place of the panes while it is open.
    mixer_view& mixer();
    // The patch names the event list shows on program rows.
    void set_patch_names(const patch_tables* patches, const patch_name_flags* shown);

    // The region tree of the current layout, and the transport the screen drives.
    const region_tree& regions() const;
    transport& transport_state();

private:
    struct impl;
    std::unique_ptr<impl> m_;
};

}  // namespace kestrune
