#include "song/entry_parsers.h"

#include <algorithm>
#include <cctype>
#include <vector>

#include "song/event_store.h"
#include "song/position.h"

namespace kestrune {

namespace {

constexpr std::string_view separators = ",. /";
constexpr std::size_t max_position_token = 4;
constexpr std::size_t max_signature_token = 2;
constexpr std::size_t max_integer_digits = 9;  // stays inside 32 bits
constexpr int max_signature_value = 32;
constexpr std::int32_t tempo_whole = 100;
constexpr std::int32_t semitones = 12;

bool is_digit(char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }

bool all_digits(std::string_view s) {
    return !s.empty() && std::all_of(s.begin(), s.end(), is_digit);
}

std::int32_t digits_value(std::string_view s) {
    std::int32_t v = 0;
    for (char c : s) v = v * 10 + (c - '0');
    return v;
}

std::string_view trimmed(std::string_view s) {
    while (!s.empty() && std::isspace(static_cast<unsigned char>(s.front()))) s.remove_prefix(1);
    while (!s.empty() && std::isspace(static_cast<unsigned char>(s.back()))) s.remove_suffix(1);
    return s;
}

// The non-empty pieces between separators.
std::vector<std::string_view> tokens_of(std::string_view s) {
    std::vector<std::string_view> out;
    std::size_t start = 0;
    while (start <= s.size()) {
        std::size_t end = s.find_first_of(separators, start);
        if (end == std::string_view::npos) end = s.size();
        if (end > start) out.push_back(s.substr(start, end - start));
        start = end + 1;
    }
    return out;
}

// The parts of a position entry, as typed; a negative number counts as 0.
struct entry_parts {
    std::int32_t bar = 0, beat = 0, unit = 0, tick = 0;
};

std::optional<entry_parts> position_parts(const program& p, std::string_view text,
                                          std::int32_t first) {
    const auto tokens = tokens_of(text);
    const bool simple = hide_position_grid(p);
    const std::size_t most = simple ? 3 : 4;
    if (tokens.empty() || tokens.size() > most) return std::nullopt;
    std::int32_t v[4] = {first, first, first, first};
    for (std::size_t i = 0; i < tokens.size(); ++i) {
        std::string_view t = tokens[i];
        if (t.size() > max_position_token) return std::nullopt;
        const bool negative = t.front() == '-';
        if (negative) t.remove_prefix(1);
        if (!all_digits(t)) return std::nullopt;
        v[i] = negative ? 0 : digits_value(t);
    }
    if (simple) return entry_parts{v[0], v[1], first, v[2]};
    return entry_parts{v[0], v[1], v[2], v[3]};
}

// The position `bars` whole bars after `origin`, walking the signature list.
std::int32_t walk_bars(const program& p, std::int32_t origin, std::int32_t bars) {
    const event_store s = p.store();
    ref32 r = signature_at(s, p.d.active_signature.first, origin);
    time_signature g = signature_of_record(p, r);
    std::int32_t at = origin;
    for (r = s.next_event(r); bars > 0 && is_event_status(s.status(r)); r = s.next_event(r)) {
        const std::int32_t next = s.position(r);
        if (next <= at) continue;
        const std::int32_t between = (next - at) / g.bar_ticks();
        if (bars < between) break;
        bars -= between;
        at = next;
        g = signature_of_record(p, r);
    }
    return at + bars * g.bar_ticks();
}

std::int32_t grid_of(const program& p) { return p.app.edit_grid > 0 ? p.app.edit_grid : 48; }

}  // namespace

std::optional<std::int32_t> parse_integer(std::string_view text) {
    text = trimmed(text);
    const bool negative = !text.empty() && text.front() == '-';
    if (negative) text.remove_prefix(1);
    if (!all_digits(text) || text.size() > max_integer_digits) return std::nullopt;
    const std::int32_t v = digits_value(text);
    return negative ? -v : v;
}

std::optional<std::int32_t> parse_position(const program& p, std::string_view text) {
    const auto e = position_parts(p, text, 1);
    if (!e) return std::nullopt;
    std::int32_t at;
    if (e->bar < 1)
        at = song_start - signature_in_force(p, song_start).bar_ticks();  // bar 0, in the lead-in
    else
        at = walk_bars(p, song_start, e->bar - 1);
    const time_signature g = signature_in_force(p, at);
    at += std::max(0, e->beat - 1) * g.beat_ticks() + std::max(0, e->unit - 1) * grid_of(p) +
          std::max(0, e->tick - 1);
    return std::clamp(at, 0, last_position);
}

std::optional<std::int32_t> parse_time_span(const program& p, std::string_view text,
                                            std::int32_t from) {
    const auto e = position_parts(p, text, 0);
    if (!e) return std::nullopt;
    const std::int32_t bar_end = walk_bars(p, from, e->bar);
    const time_signature g = signature_in_force(p, bar_end);
    const std::int32_t span =
        bar_end - from + e->beat * g.beat_ticks() + e->unit * grid_of(p) + e->tick;
    return std::clamp(span, 0, last_position);
}

std::optional<std::int32_t> parse_note(std::string_view text) {
    text = trimmed(text);
    if (auto number = parse_integer(text)) return number;
    if (text.empty()) return std::nullopt;
    static constexpr std::string_view letters = "CDEFGABH";
    static constexpr std::int32_t values[] = {12, 14, 16, 17, 19, 21, 23, 23};
    const std::size_t i = letters.find(static_cast<char>(std::toupper(static_cast<unsigned char>(text[0]))));
    if (i == std::string_view::npos) return std::nullopt;
    std::int32_t note = values[i];
    text.remove_prefix(1);
    if (!text.empty() && text.front() == '#') {
        note += 1;
        text.remove_prefix(1);
    }
    if (text == "-1") return note - semitones;
    if (text.empty()) return note;
    if (text.size() != 1 || !is_digit(text[0])) return std::nullopt;
    return note + semitones * (text[0] - '0');
}

std::optional<time_signature> parse_signature(std::string_view text) {
    const auto tokens = tokens_of(text);
    if (tokens.size() != 2) return std::nullopt;
    for (auto t : tokens)
        if (!all_digits(t) || t.size() > max_signature_token) return std::nullopt;
    const int n = std::clamp(digits_value(tokens[0]), 1, max_signature_value);
    const int d = std::clamp(digits_value(tokens[1]), 1, max_signature_value);
    return time_signature{n, static_cast<int>(round_to_power_of_two(d))};
}

std::optional<std::int32_t> parse_tempo(std::string_view text, std::int32_t current) {
    text = trimmed(text);
    int sign = 0;
    if (!text.empty() && (text.front() == '+' || text.front() == '-')) {
        sign = text.front() == '+' ? 1 : -1;
        text.remove_prefix(1);
    }
    const std::size_t cut = text.find_first_of(separators);
    std::string_view whole = text.substr(0, cut);
    std::string_view part = cut == std::string_view::npos ? std::string_view{} : text.substr(cut + 1);
    if (whole.empty() && part.empty()) return std::nullopt;
    if ((!whole.empty() && !all_digits(whole)) || (!part.empty() && !all_digits(part)) ||
        whole.size() > max_integer_digits - 2)
        return std::nullopt;
    std::int32_t hundredths = 0;
    if (part.size() == 1)
        hundredths = 10 * digits_value(part);
    else if (!part.empty())
        hundredths = digits_value(part.substr(0, 2));
    const std::int32_t v = digits_value(whole) * tempo_whole + hundredths;
    return sign == 0 ? v : current + sign * v;
}

std::optional<std::string> parse_text(std::string_view text) {
    if (text.empty()) return std::nullopt;
    return std::string(text);
}

}  // namespace kestrune
