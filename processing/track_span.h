// What the dialogs of the track functions share: the span they work on (the whole track, or
// between the locators) with its fields, and the values a dialog keeps between openings.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "core/command.h"
#include "core/program.h"
#include "processing/track_edit.h"

namespace kestrune {

// [from, to) of a track function.
struct track_span {
    std::int32_t from;
    std::int32_t to;
};

// The locator fields, shown through the song's locator offset, and the range switch: "OFF" for the
// whole track, else `part_text` ("Part Modify") for the span between the locators.
field_spec left_locator_field();
field_spec right_locator_field();
field_spec range_field(std::string part_text);
// The song's locators as the fields' values.
field_values locator_values(const program& p);

// The locators a dialog gave, kept as the song's; returned in the track's own time, the song
// offset taken off (as is any other position of the dialog, through `track_time`).
track_span take_locators(program& p, std::int32_t left, std::int32_t right);
inline std::int32_t track_time(const program& p, std::int32_t shown) { return shown - p.app.locator_offset; }

// The span the range switch gives, from the locators as `take_locators` keeps them. Nothing when
// the left locator lies after the right one: the function then changes nothing and says nothing.
std::optional<track_span> chosen_span(program& p, std::int32_t range, std::int32_t left,
                                      std::int32_t right);

// The values a dialog kept under `key`, else `defaults`; and keeping them.
field_values kept_values(const program& p, int key, field_values defaults);
void keep_values(program& p, int key, const field_values& v);

inline constexpr const char* msg_left_after_right = "Left locator can't be\nbigger than Right locator!";
// Asked before a change that keeps no undo copy (Yes, No).
inline constexpr const char* msg_no_undo = "This operation can't be undone!\nContinue?";

// The question a track function asks before it starts; true on OK.
bool confirmed(program& p, const char* question);
// A question with Yes and No; true on Yes.
bool answered_yes(program& p, const char* question, msg_answer default_answer = msg_answer::yes);

// The record of a track function without a dialog, on the current track: its question, then
// `work` on the track of a begun guard.
using track_work = std::function<void(track_edit&)>;
command_record asking_track_command(int id, const char* text, const char* shortcut, std::string_view help,
                                    const char* question, track_work work);

// A dialog's run on the current track: its values kept under `key`; the span of the fields
// range, left and right (nothing done when the locators cross); then `work` on the begun guard.
struct span_fields {
    int range, left, right;
};
using span_work = std::function<void(track_edit&, const track_span&)>;
outcome run_on_span(program& p, const field_values& v, int key, span_fields f, const span_work& work);

}  // namespace kestrune
