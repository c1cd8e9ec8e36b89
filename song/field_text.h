// The text, the parser and the click step of each kind of field, once: how a value shows, how a
// typed entry reads and how a click moves it, in the main window, the dialogs, the editors and
// kestrune-tool apply.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/field.h"
#include "core/keys.h"
#include "core/program.h"
#include "song/value_step.h"

namespace kestrune {

// Where a field stands in the song: locators are kept in track time and shown `locator` later;
// positions are shown `display` later; a time span is laid out from `span_from`.
struct field_place {
    std::int32_t locator = 0;
    std::int32_t display = 0;
    std::int32_t span_from = song_start;
};

std::string field_text(const program& p, const field_spec& f, std::int32_t value,
                       const field_place& at = {});
// A typed entry; nothing when it does not read, and the value then stays as it was. The result
// is held to the field's range.
std::optional<std::int32_t> parse_field(const program& p, const field_spec& f,
                                        std::string_view text, std::int32_t now,
                                        const field_place& at = {});
// One click with the mouse code: Ctrl gives the neutral value, Shift steps `shift_step`, a
// position steps by its part under the pointer, a check box toggles on the left button; the
// result is held to the field's range.
std::int32_t step_field(program& p, const field_spec& f, std::int32_t value, int code,
                        key_mods mods = {}, const position_pointer& pointer = {},
                        const field_place& at = {});
// A value as apply's FIELD=VALUE gives it: a position also in ticks, a check as on or off, a
// choice by its text with underscores for spaces. Nothing for a value the field does not take.
std::optional<field_value> parse_field_argument(const program& p, const field_spec& f,
                                                std::string_view text);
// What the field takes, as apply --list shows it: "number 0..100", "choice tight|smart".
std::string field_kind_text(const field_spec& f);

}  // namespace kestrune
