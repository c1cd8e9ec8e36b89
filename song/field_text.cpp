#include "song/field_text.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

#include "core/command.h"
#include "core/midi_names.h"
#include "song/entry_parsers.h"
#include "song/position.h"

namespace kestrune {

namespace {

constexpr int left_code = 1;  // a check box toggles on the left button, whichever increases
constexpr std::int32_t percent_factor = 10;
constexpr std::int32_t no_channel_change = channel_as_recorded;
constexpr int tempo_hundreds_cells_x2 = 7;  // left of 3.5 cells from the right: whole beats
constexpr int tempo_tens_cells_x2 = 3;      // left of 1.5 cells: tenths
constexpr std::int32_t per_unit = 1000;     // a thousandths field's whole unit

std::int32_t locator_shift(const field_spec& f, const field_place& at) {
    return f.locator ? at.locator : 0;
}

bool same_choice(std::string_view typed, std::string_view choice) {
    if (typed.size() != choice.size()) return false;
    for (std::size_t i = 0; i < typed.size(); ++i) {
        const char a = typed[i] == '_' ? ' ' : typed[i];
        if (std::tolower(static_cast<unsigned char>(a)) !=
            std::tolower(static_cast<unsigned char>(choice[i])))
            return false;
    }
    return true;
}

std::optional<std::int32_t> choice_of(const field_spec& f, std::string_view typed) {
    for (std::size_t i = 0; i < f.choices.size(); ++i)
        if (same_choice(typed, f.choices[i])) return static_cast<std::int32_t>(i);
    return std::nullopt;
}

std::string_view trimmed(std::string_view t) {
    while (!t.empty() && t.front() == ' ') t.remove_prefix(1);
    while (!t.empty() && t.back() == ' ') t.remove_suffix(1);
    return t;
}

std::optional<std::int32_t> named_of(const field_spec& f, std::string_view typed) {
    for (const named_value& n : f.named)
        if (!trimmed(n.text).empty() && same_choice(trimmed(typed), trimmed(n.text))) return n.value;
    return std::nullopt;
}

// "1.5" or "1.250" as thousandths; at most three decimals.
std::optional<std::int32_t> parse_thousandths(std::string_view text) {
    text = trimmed(text);
    const std::size_t dot = text.find_first_of(".,");
    const auto whole = parse_integer(text.substr(0, dot));
    if (!whole || *whole < 0 || *whole > per_unit) return std::nullopt;
    std::int32_t v = *whole * per_unit;
    if (dot == std::string_view::npos) return v;
    const std::string_view part = text.substr(dot + 1);
    if (part.empty() || part.size() > 3) return std::nullopt;
    std::int32_t scale = per_unit / 10;
    for (char c : part) {
        if (c < '0' || c > '9') return std::nullopt;
        v += (c - '0') * scale;
        scale /= 10;
    }
    return v;
}

std::string thousandths_text(std::int32_t v) {
    char buf[24];
    std::snprintf(buf, sizeof buf, "%d.%03d", v / per_unit, v % per_unit);
    return buf;
}

// A thousandths field steps by the digit under the pointer: 1 at the right, 1000 at the integer.
std::int32_t thousandths_unit(const position_pointer& at) {
    const int cells = at.char_width > 0 ? (at.right_edge - at.x) / at.char_width : 0;
    return cells < 1 ? 1 : cells < 2 ? 10 : cells < 3 ? 100 : per_unit;
}

// What a typed entry reads as, in the field's shown units (before the locator shift).
std::optional<std::int32_t> read_entry(const program& p, const field_spec& f,
                                       std::string_view text, std::int32_t now,
                                       const field_place& at) {
    std::optional<std::int32_t> v = named_of(f, text);
    if (v) return v;
    switch (f.kind) {
    case field_kind::one_based:
        if ((v = parse_integer(text))) *v -= 1;
        return v;
    case field_kind::channel:
        if ((v = parse_integer(text))) *v = *v <= 0 || *v > no_channel_change ? no_channel_change : *v - 1;
        return v;
    case field_kind::note: return parse_note(text);
    case field_kind::percent_x10:
        if ((v = parse_integer(text))) *v /= percent_factor;
        return v;
    case field_kind::position:
        if ((v = parse_position(p, text))) *v -= at.display;
        return v;
    case field_kind::time_span: return parse_time_span(p, text, at.span_from);
    case field_kind::series:
        if ((v = parse_integer(text))) *v = round_into_series(*v);
        return v;
    case field_kind::power_of_two:
        if ((v = parse_integer(text))) *v = round_to_power_of_two(*v);
        return v;
    case field_kind::tempo: return parse_tempo(text, now);
    case field_kind::thousandths: return parse_thousandths(text);
    case field_kind::choice: return choice_of(f, text);
    case field_kind::check:
    case field_kind::text: return std::nullopt;
    case field_kind::number: break;
    }
    return parse_integer(text);
}

// The tempo field steps whole beats per minute at its left, tenths in the middle, hundredths at
// its right.
std::int32_t tempo_unit(const position_pointer& at) {
    const int from_right = at.right_edge - at.x;
    if (2 * from_right > at.char_width * tempo_hundreds_cells_x2) return 100;
    if (2 * from_right > at.char_width * tempo_tens_cells_x2) return 10;
    return 1;
}

}  // namespace

std::string field_text(const program& p, const field_spec& f, std::int32_t value,
                       const field_place& at) {
    if (!f.unused.empty()) return f.unused;
    for (const named_value& n : f.named)
        if (n.value == value) return n.text;
    const std::int32_t v = value + locator_shift(f, at);
    switch (f.kind) {
    case field_kind::one_based: return std::to_string(v + 1);
    case field_kind::channel: return v >= no_channel_change ? "--" : std::to_string(v + 1);
    case field_kind::note: return note_name(v);
    case field_kind::percent_x10: return std::to_string(v * percent_factor);
    case field_kind::check: return v ? " On" : "Off";
    case field_kind::choice:
        return v >= 0 && static_cast<std::size_t>(v) < f.choices.size()
                   ? f.choices[static_cast<std::size_t>(v)]
                   : std::string();
    case field_kind::position: return position_text(p, v + at.display);
    case field_kind::time_span: return length_text(p, v, at.span_from);
    case field_kind::tempo: return tempo_text(v);
    case field_kind::thousandths: return thousandths_text(v);
    case field_kind::text: return {};
    case field_kind::number:
    case field_kind::series:
    case field_kind::power_of_two: break;
    }
    return std::to_string(v);
}

std::optional<std::int32_t> parse_field(const program& p, const field_spec& f,
                                        std::string_view text, std::int32_t now,
                                        const field_place& at) {
    if (!f.unused.empty()) return std::nullopt;
    const std::int32_t shift = locator_shift(f, at);
    const auto v = read_entry(p, f, text, now + shift, at);
    if (!v) return std::nullopt;
    return std::min(std::max(*v, f.low + shift), f.high + shift) - shift;
}

std::int32_t step_field(program& p, const field_spec& f, std::int32_t value, int code,
                        key_mods mods, const position_pointer& pointer, const field_place& at) {
    if (f.kind == field_kind::text || !f.unused.empty()) return value;
    if (mods.ctrl && f.neutral) return *f.neutral;
    if (f.kind == field_kind::check) return code == left_code ? (value ? 0 : 1) : value;
    const std::int32_t shift = locator_shift(f, at);
    std::int32_t v = value + shift;
    switch (f.kind) {
    case field_kind::position:
        v = step_position(p, v, code, pointer);
        break;
    case field_kind::time_span:
        // A length steps by the signature where it ends.
        v = step_position(p, at.span_from + v, code, pointer) - at.span_from;
        break;
    case field_kind::series:
        v = change_series_value(p, v, code, f.low, f.high);
        break;
    case field_kind::power_of_two:
        // The series has one value between two powers of two: it steps over it.
        v = change_series_value(p, v, code, f.low, f.high);
        if (round_to_power_of_two(v) != v) v = change_series_value(p, v, code, f.low, f.high);
        break;
    case field_kind::tempo:
        v += step_amount(p, code) * tempo_unit(pointer);
        break;
    case field_kind::thousandths:
        v += step_amount(p, code) * thousandths_unit(pointer);
        break;
    default:
        v += step_amount(p, code) * (mods.shift ? f.shift_step : 1);
        break;
    }
    return std::min(std::max(v, f.low + shift), f.high + shift) - shift;
}

std::optional<field_value> parse_field_argument(const program& p, const field_spec& f,
                                                std::string_view text) {
    if (f.kind == field_kind::text) {
        if (text.empty() || static_cast<int>(text.size()) > f.entry_length) return std::nullopt;
        return field_value{0, std::string(text)};
    }
    std::optional<std::int32_t> v;
    if (f.kind == field_kind::check) {
        if (text == "on" || text == "1") v = 1;
        if (text == "off" || text == "0") v = 0;
    } else if (f.kind == field_kind::position && text.find_first_of(",. /") == std::string_view::npos) {
        v = parse_integer(text);  // ticks
    } else if (f.kind == field_kind::percent_x10) {
        const auto percent = parse_integer(text);
        if (percent && *percent % percent_factor == 0) v = *percent / percent_factor;
    } else {
        v = read_entry(p, f, text, 0, {});
    }
    if (!v || *v < f.low || *v > f.high) return std::nullopt;
    return field_value{*v, {}};
}

namespace {

std::string kind_text(const field_spec& f) {
    const auto range = [](std::int32_t low, std::int32_t high) {
        return std::to_string(low) + ".." + std::to_string(high);
    };
    switch (f.kind) {
    case field_kind::one_based: return "number " + range(f.low + 1, f.high + 1);
    case field_kind::channel: return "channel " + range(f.low + 1, f.high + 1);
    case field_kind::note: return "note " + range(f.low, f.high) + " or a name as C#4";
    case field_kind::percent_x10:
        return "percent " + range(f.low * percent_factor, f.high * percent_factor) + " in steps of 10";
    case field_kind::check: return "check on|off";
    case field_kind::position: return "position ticks or bar.beat.unit.tick";
    case field_kind::time_span: return "length bar.beat.unit.tick from 0";
    case field_kind::series: return "series " + range(f.low, f.high);
    case field_kind::power_of_two: return "power of two " + range(f.low, f.high);
    case field_kind::tempo: return "tempo " + range(f.low, f.high) + " hundredths, or as 120.5";
    case field_kind::thousandths:
        return "decimal " + thousandths_text(f.low) + ".." + thousandths_text(f.high);
    case field_kind::text: return "text of at most " + std::to_string(f.entry_length) + " characters";
    case field_kind::choice: {
        std::string s = "choice ";
        for (std::size_t i = 0; i < f.choices.size(); ++i)
            s += (i ? "|" : "") + field_name(f.choices[i]);
        return s;
    }
    case field_kind::number: break;
    }
    return "number " + range(f.low, f.high);
}

}  // namespace

std::string field_kind_text(const field_spec& f) {
    std::string s = kind_text(f);
    for (const named_value& n : f.named)
        if (!trimmed(n.text).empty()) s += ", " + std::to_string(n.value) + " as " + field_name(trimmed(n.text));
    return s;
}

}  // namespace kestrune
