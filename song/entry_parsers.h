// The parsers of a typed entry: each gives nothing when the text does not fit, and the value is
// then left as it was. An empty entry fails everywhere.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/program.h"
#include "song/value_step.h"

namespace kestrune {

// Digits with an optional leading "-".
std::optional<std::int32_t> parse_integer(std::string_view text);
// "bar beat unit tick", split at any of ",. /": bar 1 is tick 3072, beat, unit and tick count
// from 1; with the simple bar display the third number is the tick. Missing parts are first ones.
std::optional<std::int32_t> parse_position(const program& p, std::string_view text);
// As a position, but every part counts from 0: a length laid out from `from`.
std::optional<std::int32_t> parse_time_span(const program& p, std::string_view text,
                                            std::int32_t from);
// A number, or a note name C D E F G A B (H is B), an optional "#" and an octave 0..9 or -1:
// C3 is 48, C-1 is 0.
std::optional<std::int32_t> parse_note(std::string_view text);
// "numerator denominator": 1..32 each, the denominator rounded down to a power of two.
std::optional<time_signature> parse_signature(std::string_view text);
// "120.5" is 12050; a leading "+" or "-" counts from `current`.
std::optional<std::int32_t> parse_tempo(std::string_view text, std::int32_t current);
// The whole string.
std::optional<std::string> parse_text(std::string_view text);

}  // namespace kestrune
