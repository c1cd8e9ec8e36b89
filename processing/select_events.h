// The selecting pass of Delete and Keep Events: a condition on an event's type, channel, two value
// ranges, a note's length and its position, and a new chain of what it leaves.
//
//     event_condition c{.mode = select_mode::keep, .type = event_type::control,
//                       .channel_low = 3, .channel_high = 3};
//     if (!filter_events(g, c, from, to)) ...   // too little memory: the track is as it was
//
// Delete drops what matches in [from, to) and copies the rest; Keep copies what matches there and
// drops everything else. Notes travel whole: a note-off is copied only with its note-on, so an
// orphan note-off is gone after either. Outside [from, to) Delete copies only notes and events of
// status 0xA0..0xEF: system exclusive and text events there go too.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "processing/track_edit.h"

namespace kestrune {

enum class select_mode : std::uint8_t { remove, keep, transform };

// The event types of the condition, in their list's order.
namespace event_type {
inline constexpr int all = 0;
inline constexpr int all_channel = 1;
inline constexpr int note_off = 2;
inline constexpr int note = 3;
inline constexpr int poly_pressure = 4;
inline constexpr int control = 5;
inline constexpr int program = 6;
inline constexpr int channel_pressure = 7;
inline constexpr int pitch_wheel = 8;
inline constexpr int text = 9;
inline constexpr int sysex = 10;
inline constexpr int count = 11;
}  // namespace event_type

inline constexpr std::array<const char*, event_type::count> event_type_texts = {
    "All Events", "All Chan Events", "Note Off", "Note",       "P-Press", "Control",
    "Program",    "C-Press",         "PitchWh",  "Text Event", "Sys Ex"};

struct status_range {
    std::uint8_t low, high;
};
status_range status_range_of(int type);

enum class length_test : std::uint8_t { ignore, shorter, longer };

struct event_condition {
    select_mode mode = select_mode::remove;
    int type = event_type::all;
    int channel_low = 0, channel_high = 15;
    int data1_low = 0, data1_high = 127;
    int data2_low = 0, data2_high = 127;
    length_test length_mode = length_test::ignore;
    std::int32_t length = 0;
    // Statuses wider than the type's own, its data tests kept (remix by key: a Note over 0x90..0xEF).
    std::optional<status_range> statuses{};
};

// Whether an event's status, channel and value bytes meet the condition (its position aside).
bool meets_condition(const event_condition& c, const midi_event& ev);

// The filter pass (Delete or Keep by c.mode) over the track of a begun guard: the new chain takes
// the old one's place; the name stays and `mute` is cleared. False, with the track as it was,
// when the pool cannot hold the new chain beside the old (its blocks + 3).
bool filter_events(track_edit& g, const event_condition& c, std::int32_t from, std::int32_t to);

}  // namespace kestrune
