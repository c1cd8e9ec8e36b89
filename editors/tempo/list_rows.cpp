#include "editors/tempo/list_rows.h"

#include <algorithm>
#include <cstdlib>

#include "editors/frame/editor_frame.h"
#include "editors/list/chain_edit.h"
#include "editors/list/event_list.h"
#include "editors/list/list_edit.h"
#include "song/event_store.h"
#include "song/value_step.h"

namespace kestrune {

namespace {

constexpr std::int32_t max_whole_beats = 999;
constexpr int max_numerator = 32;
constexpr int max_denominator = 32;

std::int32_t bar_of(const event_store& s, ref32 e) { return signature_of(s.at(e)).bar_ticks(); }

// Whether a record after e would pass the song's end when they all move by d.
bool passes_end(const event_store& s, ref32 e, std::int32_t d) {
    for (ref32 r = s.next_event(e); s.at(r).is_event(); r = s.next_event(r))
        if (s.position(r) + d > last_position) return true;
    return false;
}

// The shift of the signatures after `sig` that keeps the bar count of its span when its bars
// become `bar` ticks long.
std::int32_t shift_for_bar(const event_store& s, ref32 sig, std::int32_t bar) {
    const ref32 next = s.next_event(sig);
    if (!s.at(next).is_event()) return 0;
    const std::int32_t span = s.position(next) - s.position(sig);
    return bar * (span / bar_of(s, sig)) - span;
}

// Rewrites the record at e inside one edit of the list, and keeps the highlight on it. No change
// here takes a record past its neighbours, so it stays where it is.
template <typename Change>
void edit_row(program& p, ref32 e, Change change) {
    chain_edit edit(p);
    if (!edit.begin()) return;
    change(edit.store().at(e));
    edit.give_back();
    land_cursor_on(p, e, 0);
}

void set_tempo(program& p, ref32 e, std::int32_t tempo) {
    edit_row(p, e, [tempo](midi_event& m) { m.set_tempo_value(std::clamp(tempo, min_tempo, max_tempo)); });
}

void set_signature(program& p, ref32 sig, time_signature g) {
    const event_store s = p.store();
    const std::int32_t d = in_signature_list(p, sig) ? shift_for_bar(s, sig, g.bar_ticks()) : 0;
    if (passes_end(s, sig, d)) {
        p.message(msg_measure_overflow);
        return;
    }
    edit_row(p, sig, [&](midi_event& m) {
        m.set_data1(static_cast<std::uint8_t>(g.numerator));
        m.set_data2(static_cast<std::uint8_t>(g.denominator));
        shift_after(s, sig, d);
    });
}

field_spec value_spec(std::int32_t low, std::int32_t high, field_kind k = field_kind::number) {
    return {.label = "Value", .kind = k, .low = low, .high = high, .entry_length = 4};
}

list_field tempo_field(program& p, ref32 e, bool whole) {
    const auto tempo = [&p, e] { return p.store().at(e).tempo_value(); };
    if (whole)
        return {value_spec(1, max_whole_beats), [tempo] { return tempo() / 100; },
                [&p, e, tempo](std::int32_t v) {
                    set_tempo(p, e, std::clamp(v, 1, max_whole_beats) * 100 + tempo() % 100);
                }};
    return {value_spec(0, 99), [tempo] { return tempo() % 100; },
            [&p, e, tempo](std::int32_t v) { set_tempo(p, e, tempo() / 100 * 100 + std::clamp(v, 0, 99)); }};
}

list_field signature_field(program& p, ref32 e, bool numerator) {
    const auto now = [&p, e] { return signature_of(p.store().at(e)); };
    if (numerator)
        return {value_spec(1, max_numerator), [now] { return now().numerator; },
                [&p, e, now](std::int32_t v) {
                    time_signature g = now();
                    g.numerator = std::clamp(v, 1, max_numerator);
                    set_signature(p, e, g);
                }};
    return {value_spec(1, max_denominator, field_kind::power_of_two), [now] { return now().denominator; },
            [&p, e, now](std::int32_t v) {
                time_signature g = now();
                g.denominator = std::clamp(round_to_power_of_two(v), 1, max_denominator);
                set_signature(p, e, g);
            }};
}

}  // namespace

bool in_signature_list(const program& p, ref32 e) {
    return p.editor.kind == editor_kind::signature_list && p.store().status(e) == st::signature;
}

list_field list_row_field(program& p, int region, ref32 e) {
    const bool tempo = p.store().status(e) == st::tempo;
    if (region != erg::data1 && region != erg::data2) return {};
    return tempo ? tempo_field(p, e, region == erg::data1) : signature_field(p, e, region == erg::data1);
}

void shift_after(const event_store& s, ref32 e, std::int32_t d) {
    for (ref32 r = s.next_event(e); s.at(r).is_event(); r = s.next_event(r))
        s.at(r).set_position(std::clamp(s.position(r) + d, 0, last_position));
}

std::optional<std::int32_t> shift_after_deleting(program& p, ref32 sig) {
    const event_store s = p.store();
    const ref32 prev = s.prev_event(sig);
    if (!s.at(prev).is_event()) return std::nullopt;
    const std::int32_t d = shift_for_bar(s, sig, bar_of(s, prev));
    if (passes_end(s, sig, d)) {
        p.message(msg_measure_overflow);
        return std::nullopt;
    }
    return d;
}

void move_signature(program& p, ref32 sig, std::int32_t delta) {
    const event_store s = p.store();
    const ref32 prev = s.prev_event(sig);
    if (delta == 0 || !s.at(prev).is_event()) return;  // the first signature stays
    const std::int32_t own = bar_of(s, sig), before = bar_of(s, prev), pos = s.position(sig);
    const ref32 next = s.next_event(sig);
    const bool has_next = s.at(next).is_event();
    const int dir = delta > 0 ? 1 : -1;
    // Forward the signature gives its own bars to the one before; back it takes that one's.
    const std::int32_t steps = std::max(1, std::abs(delta) / (dir > 0 ? own : before));
    std::int32_t k = 0;
    for (; k < steps; ++k) {
        const std::int32_t n = k + 1, to = pos + dir * n * before;
        const bool blocked = dir > 0 ? to > last_position || (has_next && n * own >= s.position(next) - pos)
                                     : to <= s.position(prev);
        if (blocked) break;
        if (passes_end(s, sig, dir * n * (before - own))) {
            p.message(msg_measure_overflow);
            break;
        }
    }
    if (k == 0) return;
    edit_row(p, sig, [&](midi_event& m) {
        shift_after(s, sig, dir * k * (before - own));
        m.set_position(pos + dir * k * before);
    });
}

outcome insert_list_row(program& p) {
    editor_state& ed = p.editor;
    if (ed.position_follow || ed.cursor == null_ref || p.d.free_blocks <= insert_reserve_blocks)
        return outcome::refused;
    const ref32 c = ed.cursor;
    const event_store s = p.store();
    const bool end = is_end(p, c);
    const bool tempo = ed.kind == editor_kind::tempo_list;
    midi_event made = s.at(c);
    ref32 at = s.next_record(c);
    if (end) {
        // The signature list always has its first signature to copy from.
        if (!tempo) return outcome::refused;
        made = midi_event::make(st::tempo, 0, 0, song_start);
        made.set_tempo_value(default_tempo);
        at = s.find_after_position(edited_first(p), song_start);
    } else if (!tempo) {
        // One bar later, where a bar is left before the next signature or the song's end.
        const std::int32_t bar = bar_of(s, c), to = s.position(c) + bar;
        const ref32 next = s.next_event(c);
        const bool room = s.at(next).is_event() ? s.position(next) - s.position(c) > bar : to < last_position;
        if (!room) return outcome::refused;
        made.set_position(to);
        at = s.find_after_position(edited_first(p), to);
    }
    chain_edit edit(p);
    if (!edit.begin()) return outcome::refused;
    edit.insert(at, made);
    edit.give_back();
    // A tempo's copy stays right behind its row (the sort keeps equal positions in order): the
    // highlight goes onto it, not onto the first of the equal records.
    if (!end && tempo)
        land_cursor_on(p, at, 1);
    else
        land_cursor(p, made, end ? 0 : 1);
    return outcome::done;
}

}  // namespace kestrune
