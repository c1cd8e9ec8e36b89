// The transform pass of Transform Events: what a condition selects, rewritten in place.
#pragma once

#include <cstdint>

#include "processing/select_events.h"

namespace kestrune {

inline constexpr int no_change = -1;    // a result field that leaves its part as it was
inline constexpr int other_byte = -2;   // a data result that takes the other data byte

enum class process_op : std::uint8_t { add, subtract, percent };

// The Result and Process result sections.
struct event_result {
    int type = event_type::note;  // 1 (All Chan Events) keeps each event's type
    int channel = no_change;      // 0..15
    int data1 = no_change;        // 0..127, or other_byte
    int data2 = no_change;
    int amount1 = no_change;      // 0..999, applied to the first data byte with op1
    process_op op1 = process_op::add;
    int amount2 = no_change;
    process_op op2 = process_op::add;
};

// Rewrites what c selects in [from, to) on the track of a begun guard; a note-on's note-off takes
// its channel, key and first-byte processing along. Positions do not change. Events of status
// 0xF0 and above are left as they are, whatever the condition says: their status holds what the
// chain is made of.
void transform_events(track_edit& g, const event_condition& c, const event_result& r,
                      std::int32_t from, std::int32_t to);

}  // namespace kestrune
