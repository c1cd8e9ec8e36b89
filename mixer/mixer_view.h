// The mixer on screen: 16 strips in place of the main window's panes, painted through a canvas,
// with the mouse rules of each control. It follows the model by comparing what it shows on the
// 25 ms tick; the window that hosts it forwards input and repaints what it reports.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "core/canvas.h"
#include "core/keys.h"
#include "mixer/mixer_model.h"
#include "mixer/program_menus.h"
#include "song/mouse_model.h"

namespace kestrune {

namespace mixer_layout {

// Places in quarters of a cell: strip 0 starts at 4 w, a strip is 4.5 w wide.
inline constexpr int strip_start_q = 16;
inline constexpr int strip_width_q = 18;
inline constexpr int frame_width_q = 320;
inline constexpr int frame_height_q = 80;

// The top of each row, in quarter rows.
inline constexpr int pan_top = 1;
inline constexpr int reverb_top = 11;
inline constexpr int chorus_top = 15;
inline constexpr int fader_top = 19;
inline constexpr int fader_height = 28;
inline constexpr int solo_top = 46;
inline constexpr int mute_top = 50;
inline constexpr int group_top = 54;
inline constexpr int bank_top = 58;
inline constexpr int program_tops[2] = {63, 68};  // even channels above, odd below
inline constexpr int bottom_row = 75;

}  // namespace mixer_layout

enum class mixer_part : std::uint8_t {
    none, pan, reverb, chorus, fader, solo, mute, group, bank, program, port, snapshot
};
struct mixer_hit {
    mixer_part part = mixer_part::none;
    int channel = 0;
};
// Reverb, chorus, bank, program, port and snapshot: a click steps them, a double click types.
bool is_value_field(mixer_part p);
mixer_control control_of(mixer_part p);

// What the window knows of each port's patch names.
struct mixer_names {
    std::array<const program_names*, mixer_ports> names{};
    std::array<const std::int32_t*, mixer_ports> gm{};  // the General MIDI flag
    const std::array<std::array<std::int16_t, mixer_channels>, mixer_ports>* shown = nullptr;
};

struct program_popup_request {
    int x = 0;
    int y = 0;
    program_popup menu;
};

// The five buttons of the bottom row, right to left: OK, Help, Store, Recall, Define...
struct mixer_button_place {
    int command;
    const char* text;
    rect place;
};
inline constexpr int mixer_button_count = 5;

class mixer_view {
public:
    explicit mixer_view(program& p);

    // Cells of the window's layout: w the width unit, h the height unit.
    void layout(int cell_width, int cell_height);
    rect frame() const;
    std::array<mixer_button_place, mixer_button_count> buttons() const;
    void set_names(const mixer_names& n) { names_ = n; }
    void set_double_click_time(int ms) { double_click_ms_ = ms; }

    // Where a control of a strip lies (the channel does not matter for port and snapshot).
    rect place(mixer_part part, int channel) const;
    mixer_hit hit(int x, int y) const;
    // Whether a double click there opens the entry box.
    bool takes_double_click(const mixer_hit& h) const;

    void paint(canvas& c, const rect& clip);
    void mouse_down(int x, int y, int button, key_mods mods, std::int64_t ms);
    void mouse_up(int button);
    void mouse_move(int x, int y, key_mods mods);
    void double_click(int x, int y, int button);
    // The mouse's repeats, the mixer's timer and what changed on screen.
    void tick(std::int64_t ms);
    bool buttons_down() const { return !mouse_.idle() || drag_ != mixer_part::none; }

    // Everything again, as when the view opens.
    void redraw_all();
    std::vector<rect> take_dirty();
    std::optional<program_popup_request> take_popup();

private:
    struct strip_shown {
        std::array<std::int16_t, mixer_control_count> value{};
        bool solo = false, mute = false, group = false, lamp = false;
        std::string program_text;
        rect knob{};  // where the knob was painted; empty when not painted since the layout
        bool operator==(const strip_shown& o) const = default;
    };

    int xq(int quarters) const { return quarters * w_ / 4; }
    int yq(int quarters) const { return quarters * h_ / 4; }
    rect knob_rect(int channel, int value) const;
    // A strip's column, from the dial down to its program field, which reaches into its neighbours.
    rect strip_place(int channel) const;
    strip_shown shown_now(int channel) const;
    std::string program_text(int channel, int value) const;
    bool names_shown(int channel) const;
    bool gm_port(int port) const {
        const std::int32_t* gm = names_.gm[static_cast<std::size_t>(port)];
        return gm && *gm;
    }

    void paint_labels(canvas& c, const rect& clip) const;
    void paint_strip(canvas& c, const rect& clip, int channel);
    void paint_value(canvas& c, const rect& r, const std::string& text, text_align a) const;
    void paint_dial(canvas& c, int channel, int value) const;
    void paint_fader(canvas& c, int channel, const strip_shown& s);
    void paint_switch(canvas& c, const rect& r, bool on) const;

    void click(const mixer_hit& h, int button, key_mods mods);
    void step(const mixer_hit& h, int code, key_mods mods);
    void type_into(const mixer_hit& h);
    void drag_to(int x, int y, key_mods mods);
    void refresh();

    program& p_;
    int w_ = 8;
    int h_ = 16;
    mixer_names names_;
    int double_click_ms_ = default_double_click_ms;
    mouse_model mouse_;
    mixer_hit press_;
    key_mods press_mods_;
    mixer_part drag_ = mixer_part::none;
    int drag_channel_ = 0;
    std::array<strip_shown, mixer_channels> shown_{};
    int shown_port_ = -1;
    int shown_snapshot_ = -1;
    int shown_controller_ = -1;
    std::vector<rect> dirty_;
    std::optional<program_popup_request> popup_;
};

}  // namespace kestrune
