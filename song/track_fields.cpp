#include "song/track_fields.h"

#include <algorithm>
#include <array>

#include "song/patterns.h"

namespace kestrune {

namespace {

constexpr int widest_denominator = 32;

const std::array<field_spec, 7> shapes = {{
    {.label = "Trsp", .low = -60, .high = 60, .neutral = 0, .shift_step = 12, .entry_length = 4},
    {.label = "Loop", .low = 0, .high = max_loop_beats(widest_denominator), .neutral = 0,
     .entry_length = 4},
    {.label = "Del", .low = -99, .high = 127, .neutral = 0, .entry_length = 4},
    {.label = "Comp", .low = -1, .high = 5, .neutral = 0, .entry_length = 4},
    {.label = "Vel", .low = -99, .high = 127, .neutral = 0, .entry_length = 4},
    {.label = "Cha", .kind = field_kind::channel, .low = 0, .high = 16, .entry_length = 4},
    {.label = "Port", .kind = field_kind::choice, .low = 0, .high = 3,
     .choices = {"A", "B", "C", "D"}, .entry_length = 1},
}};

// What reaches the track itself, the take's tracks and the empty tracks of its number.
struct reach {
    bool take = true;
    bool empty_tracks = false;
};

template <class Set>
void set_parameter(program& p, int pattern, int track, reach r, Set set) {
    set(p.slot(pattern, track));
    reseat_playing_track(p, pattern, track);
    // An empty track follows the last setting made for its number.
    if (r.empty_tracks)
        for (int pat = 0; pat <= parallel_pattern; ++pat)
            if (!p.slot(pat, track).in_use) set(p.slot(pat, track));
    if (r.take && p.recording() && p.d.cycle_recording) {
        for (int t = 0; t < tracks_per_pattern; ++t) set(p.slot(take_pattern, t));
        p.wait_request(p.d.all_notes_off_request);
    }
    if (track == p.d.current_track && pattern == p.d.current_pattern) copy_thru_fields(p);
}

}  // namespace

const field_spec& track_field(track_column c) { return shapes[static_cast<std::size_t>(c)]; }

std::int32_t track_value(const program& p, int pattern, int track, track_column c) {
    const track_slot& s = p.slot(pattern, track);
    switch (c) {
    case track_column::transpose: return s.transpose;
    case track_column::loop: return beats_from_loop_length(s.loop_length, denominator_at_pattern_start(p));
    case track_column::delay: return s.delay;
    case track_column::compress: return s.compress;
    case track_column::velocity: return s.velocity;
    case track_column::channel: return s.channel;
    case track_column::port: return s.port;
    }
    return 0;
}

void set_track_value(program& p, int pattern, int track, track_column c, std::int32_t v) {
    v = held_to_range(track_field(c), v);
    const auto i8 = static_cast<std::int8_t>(v);
    const auto u8 = static_cast<std::uint8_t>(v);
    switch (c) {
    case track_column::transpose:
        return set_parameter(p, pattern, track, {}, [i8](track_slot& s) { s.transpose = i8; });
    case track_column::loop:
        return set_track_loop_beats(p, pattern, track, v);
    case track_column::delay:
        return set_parameter(p, pattern, track, {.take = false}, [i8](track_slot& s) { s.delay = i8; });
    case track_column::compress:
        return set_parameter(p, pattern, track, {}, [i8](track_slot& s) { s.compress = i8; });
    case track_column::velocity:
        return set_parameter(p, pattern, track, {}, [i8](track_slot& s) { s.velocity = i8; });
    case track_column::channel:
        return set_parameter(p, pattern, track, {.empty_tracks = true}, [u8](track_slot& s) { s.channel = u8; });
    case track_column::port:
        return set_parameter(p, pattern, track, {.empty_tracks = true}, [u8](track_slot& s) { s.port = u8; });
    }
}

void set_track_channel(program& p, int pattern, int track, int channel) {
    set_track_value(p, pattern, track, track_column::channel, channel);
}

void set_track_port(program& p, int pattern, int track, int port) {
    set_track_value(p, pattern, track, track_column::port, port);
}

void set_track_loop_beats(program& p, int pattern, int track, int beats) {
    const int den = denominator_at_pattern_start(p);
    beats = std::clamp(beats, 0, max_loop_beats(den));
    set_parameter(p, pattern, track, {.take = false},
                  [loop = loop_length_from_beats(beats, den)](track_slot& s) { s.loop_length = loop; });
}

}  // namespace kestrune
