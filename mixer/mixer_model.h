// The mixer as a live control surface: 16 strips of one port at a time, written into the rows of
// the shared block that the engine compares and sends. Nothing here writes into a track.
#pragma once

#include <cstdint>

#include "core/keys.h"
#include "core/program.h"

namespace kestrune {

// The six controls of a strip in the order of their rows in `mixer_port`.
enum class mixer_control : std::uint8_t { fader, pan, reverb, chorus, program, bank };
inline constexpr int mixer_control_count = 6;
inline constexpr int mixer_channels = 16;
inline constexpr int mixer_ports = 4;
inline constexpr std::int16_t fader_default = 100;
inline constexpr std::int16_t control_centre = 64;  // pan's middle, and what Ctrl sets
inline constexpr int group_offset_limit = 127;
inline constexpr std::int64_t lamp_ms = 250;

struct control_rows {
    std::int16_t* play;
    std::int16_t* view;
    std::int16_t* sent;
};
control_rows rows_of(mixer_port& m, mixer_control k);
std::int16_t view_of(const mixer_port& m, mixer_control k, int channel);
int control_high(mixer_control k);

bool mixer_open(const program& p);
mixer_port& shown_mixer(program& p);
const mixer_port& shown_mixer(const program& p);

// A value field of a strip set by the mouse or typed in: held to its range, written into play
// and view, and sent on the next quiet tick (pan and the fader are sent at once).
void set_mixer_value(program& p, mixer_control k, int channel, int value);
// One click on a value field: the button code (1 up, 2 down, 3 both) and the keys held.
int stepped_mixer_value(program& p, mixer_control k, int value, int code, key_mods mods);

// The fader drag: its start, then one turn with the value under the mouse.
void begin_fader_drag(program& p);
void drag_fader(program& p, int channel, int value, key_mods mods);
// The pan dial by angle: the value for the mouse's offset from the dial's centre (screen
// coordinates, y down); -1 at the centre itself.
int pan_at(int dx, int dy);
void set_pan(program& p, int channel, int value);

// The switches. Solo is exclusive unless `add` (Ctrl or the right button).
void toggle_solo(program& p, int channel, bool add);
void toggle_mute(program& p, int channel);
void toggle_group(program& p, int channel);

void show_mixer_port(program& p, int port);
void choose_snapshot(program& p, int slot);
void store_snapshot(program& p);
void recall_snapshot(program& p);

// The mixer's 25 ms work while it shows: pending sends (not while a button is down), lamps, and
// the view rows following what the engine played.
void mixer_timer(program& p, bool buttons_down, std::int64_t now_ms);

// The view rows follow the play rows; a user's move writes both. What went out is the engine's
// to know: a move marks its sent row as never sent, so the engine sends it.
void open_mixer(program& p);
void close_mixer(program& p);

}  // namespace kestrune
