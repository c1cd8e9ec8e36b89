// One description per editable value: its kind, range, neutral value and steps. The track list's
// columns, the dialogs, the double-click box and kestrune-tool apply all read it; the text, the
// parser and the step of each kind live once, in song/field_text.h.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kestrune {

enum class field_kind : std::uint8_t {
    number,       // the value
    one_based,    // value + 1: pattern, track
    channel,      // 0..15 shown 1..16; 16 (where the range reaches it) "--", no change
    note,         // a note name, " C 4"
    percent_x10,  // value * 10, stepped in the stored unit
    check,        // "Off" or " On"; the left button toggles it
    choice,       // one of `choices` by index: radio buttons, a combo box, a port letter
    position,     // bar, beat, unit, tick; stepped by the part under the pointer
    time_span,    // a length laid out from the step or the event it belongs to, counted from 0
    series,       // the note value series 1, 2, 3, 4, 6, 8 ... 192
    power_of_two, // 1, 2, 4, 8 ...: a signature's denominator
    tempo,        // hundredths of a beat per minute, "120.00"
    thousandths,  // a factor in thousandths, "1.000"; clicked digit by digit
    text,         // a name: typed only
};

// A value that shows as a word of its own instead of its number: "NO", "Cha", "Off".
struct named_value {
    std::int32_t value;
    std::string text;
};

struct field_spec {
    std::string label;  // also its name for apply: lower case, spaces as underscores
    field_kind kind = field_kind::number;
    std::int32_t low = 0;
    std::int32_t high = 0;
    std::optional<std::int32_t> neutral{};  // what Ctrl+click sets; none: Ctrl steps as usual
    std::int32_t shift_step = 1;            // how far Shift+click steps
    std::vector<std::string> choices{};     // a choice's texts, in the order of their values
    int entry_length = 10;                  // characters the typed entry holds
    bool locator = false;                   // shown and entered through the song's locator offset
    std::vector<named_value> named{};       // shown, typed and given to apply by their word
    // Not empty: the field is not used as the dialog stands; it shows this and takes no click or
    // typed entry.
    std::string unused{};
    // While field `follows` (a choice) holds v, the field looks as `looks[v]` where there is one.
    int follows = -1;
    std::vector<field_spec> looks{};
    // The ends of a range: the low end never rises above field `at_most`, the high end never
    // falls below field `at_least` (-1: no such field).
    int at_most = -1;
    int at_least = -1;
};

// A value held to the field's range, the upper limit first.
inline std::int32_t held_to_range(const field_spec& f, std::int32_t v) {
    return v < f.low ? (f.low > f.high ? f.high : f.low) : v > f.high ? f.high : v;
}

// A choice among `choices` (values 0 to their count - 1), and a check box (0 off, 1 on).
inline field_spec choice_field(std::string label, std::vector<std::string> choices) {
    const auto high = static_cast<std::int32_t>(choices.size()) - 1;
    return {.label = std::move(label), .kind = field_kind::choice, .low = 0, .high = high,
            .choices = std::move(choices)};
}
inline field_spec check_field(std::string label) {
    return {.label = std::move(label), .kind = field_kind::check, .low = 0, .high = 1};
}

// The value of one field: a number, or the text of a text field. A text field's number, when
// above 0, is the character (from 1) that its box selects when it opens: where a fault lies.
struct field_value {
    std::int32_t number = 0;
    std::string text{};
};
using field_values = std::vector<field_value>;

// A range end held by the other end (`at_most`, `at_least`), as the dialog holds it.
inline std::int32_t held_by_other_end(const std::vector<field_spec>& fields, const field_values& v,
                                      std::size_t i, std::int32_t value) {
    const field_spec& f = fields[i];
    if (f.at_most >= 0) value = std::min(value, v[static_cast<std::size_t>(f.at_most)].number);
    if (f.at_least >= 0) value = std::max(value, v[static_cast<std::size_t>(f.at_least)].number);
    return value;
}

// The first low end that lies above its high end, or -1: values given from outside the dialog.
inline int crossed_range_end(const std::vector<field_spec>& fields, const field_values& v) {
    for (std::size_t i = 0; i < fields.size() && i < v.size(); ++i) {
        const auto high = static_cast<std::size_t>(fields[i].at_most);
        if (fields[i].at_most >= 0 && high < v.size() && v[i].number > v[high].number)
            return static_cast<int>(i);
    }
    return -1;
}

// How a field looks with the dialog's values as they stand.
inline const field_spec& field_look(const field_spec& f, const field_values& v) {
    if (f.follows < 0 || static_cast<std::size_t>(f.follows) >= v.size()) return f;
    const std::int32_t at = v[static_cast<std::size_t>(f.follows)].number;
    return at >= 0 && static_cast<std::size_t>(at) < f.looks.size() ? f.looks[static_cast<std::size_t>(at)] : f;
}

}  // namespace kestrune
