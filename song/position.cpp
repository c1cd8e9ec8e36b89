#include "song/position.h"
#include "song/event_store.h"

#include <cstdio>

namespace kestrune {

namespace {

time_signature signature_of(const event_store& s, ref32 r) { return signature_of(s.at(r)); }

}  // namespace

bars_beats_ticks split_ticks(std::int32_t t, int numerator, int denominator) {
    const std::int32_t beat = ticks_per_beat_of(denominator);
    const std::int32_t bar = beat * (numerator > 0 ? numerator : 1);
    bars_beats_ticks r;
    r.bars = t / bar;
    std::int32_t rest = t % bar;
    r.beats = rest / beat;
    r.ticks = rest % beat;
    return r;
}

ref32 signature_at(const event_store& s, ref32 first, std::int32_t p) {
    ref32 found = first;
    for (ref32 r = s.next_event(first); is_event_status(s.status(r)) && s.position(r) <= p;
         r = s.next_event(r))
        found = r;
    return found;
}

time_signature signature_in_force(const program& p, std::int32_t position, bool at_position) {
    const event_store& s = p.store();
    const std::int32_t at = at_position ? position : position - 1;
    return signature_of(s, signature_at(s, p.d.active_signature.first, at));
}

ref32 tempo_at(const program& p, std::int32_t position, std::int32_t* tempo) {
    const event_store& s = p.store();
    ref32 r = s.find_at_position(p.d.tempo_chain.first, position, no_loop);
    ref32 before = s.prev_event(r);
    if (tempo)
        *tempo = is_event_status(s.status(before)) ? s.at(before).tempo_value() : default_tempo;
    return r;
}

std::int32_t tempo_increment_for(std::int32_t tempo) {
    return static_cast<std::int32_t>(std::int64_t{tempo} * 262144 / 1000000);
}

void set_tempo_increment(dll_data& d, std::int32_t tempo) {
    shared_store(d.tempo_exact, tempo);
    shared_store(d.tempo_increment, tempo_increment_for(tempo));
}

namespace {

struct counted {
    std::int32_t bars, beats, ticks;
};

// Whole bars along the signature list from `from` to `to`, then the split of the rest. A
// position drops what a span holds beyond its whole bars; a length carries it on, so that a note
// ending on a signature change keeps its beats.
counted count_along(const event_store& s, ref32 sig, std::int32_t from, std::int32_t to,
                    bool carry = false) {
    std::int32_t bars = 0, carried = 0;
    std::int32_t cur = from;
    for (ref32 r = s.next_event(sig); is_event_status(s.status(r)) && s.position(r) <= to;
         r = s.next_event(r)) {
        if (s.position(r) < cur) continue;
        const std::int32_t span = s.position(r) - cur + carried;
        const std::int32_t bar = signature_of(s, sig).bar_ticks();
        bars += span / bar;
        if (carry) carried = span % bar;
        cur = s.position(r);
        sig = r;
    }
    time_signature g = signature_of(s, sig);
    bars_beats_ticks b = split_ticks(to - cur + carried, g.numerator, g.denominator);
    return {bars + b.bars, b.beats, b.ticks};
}

std::string format_fields(std::int32_t bar, std::int32_t beat, std::int32_t unit, std::int32_t tick,
                          bool simple) {
    char bar_text[16];
    if (bar >= 10000)
        std::snprintf(bar_text, sizeof bar_text, "%04d", bar % 10000);
    else
        std::snprintf(bar_text, sizeof bar_text, "%4d", bar);
    char buf[48];
    if (simple)
        std::snprintf(buf, sizeof buf, "%.4s%3d  %3d ", bar_text, beat % 1000, tick % 1000);
    else
        std::snprintf(buf, sizeof buf, "%.4s%3d%3d%3d", bar_text, beat % 1000, unit % 1000,
                      tick % 1000);
    return buf;
}

}  // namespace

namespace {

// Bars, beats and ticks of p counted from 0 in signature g, less the lead-in of 3072 ticks,
// which is exactly 4 × d beats of g.
counted from_song_start(std::int32_t p, time_signature g) {
    bars_beats_ticks b = split_ticks(p, g.numerator, g.denominator);
    counted c{b.bars - (4 * g.denominator) / g.numerator, b.beats - (4 * g.denominator) % g.numerator, b.ticks};
    if (c.beats < 0) {
        c.bars -= 1;
        c.beats += g.numerator;
    }
    return c;
}

}  // namespace

position_fields position_split(const program& p, std::int32_t position) {
    const event_store& s = p.store();
    if (position < 0) position = 0;
    const ref32 first = p.d.active_signature.first;
    const time_signature g0 = signature_of(s, first);
    const std::int32_t first_at = is_event_status(s.status(first)) ? s.position(first) : song_start;
    counted c;
    if (position < first_at) {
        // The lead-in runs in the first signature.
        c = from_song_start(position, g0);
    } else {
        // Bars are counted from the first record; the lead-in in front of it is whole beats of
        // its signature, so the first record (at 3072) is bar 1, beat 1.
        const counted lead = from_song_start(first_at, g0);
        const counted rest = count_along(s, first, first_at, position);
        c = {lead.bars + rest.bars, lead.beats + rest.beats, lead.ticks + rest.ticks};
        if (lead.beats != 0 || lead.ticks != 0) {
            // A first record off the bar grid: carry in the signature in force at the position.
            const time_signature g = signature_of(s, signature_at(s, first, position));
            c.beats += c.ticks / g.beat_ticks();
            c.ticks %= g.beat_ticks();
            c.bars += c.beats / g.numerator;
            c.beats %= g.numerator;
        }
    }
    const int grid = p.app.edit_grid > 0 ? p.app.edit_grid : 48;
    if (p.app.simple_bardisplay) return {c.bars + 1, c.beats + 1, 0, c.ticks + 1};
    return {c.bars + 1, c.beats + 1, c.ticks / grid + 1, c.ticks % grid + 1};
}

std::string position_text(const program& p, std::int32_t position) {
    position_fields f = position_split(p, position);
    return format_fields(f.bar, f.beat, f.unit, f.tick, p.app.simple_bardisplay);
}

std::string length_text(const program& p, std::int32_t length, std::int32_t start) {
    const event_store& s = p.store();
    if (length < 0) length = 0;
    ref32 sig = signature_at(s, p.d.active_signature.first, start);
    counted c = count_along(s, sig, start, start + length, true);
    const int grid = p.app.edit_grid > 0 ? p.app.edit_grid : 48;
    if (p.app.simple_bardisplay) return format_fields(c.bars, c.beats, 0, c.ticks, true);
    return format_fields(c.bars, c.beats, c.ticks / grid, c.ticks % grid, false);
}

std::string bar_text(const program& p, std::int32_t position) {
    return position_text(p, position).substr(0, 4);
}

std::string tempo_text(std::int32_t tempo) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%3d.%02d", tempo / 100, tempo % 100);
    return buf;
}

std::string signature_cell_text(int value) {
    char buf[16];
    std::snprintf(buf, sizeof buf, "%2d", value);
    return buf;
}

namespace {

std::int64_t span_ms(std::int64_t ticks, std::int32_t tempo) {
    std::int64_t per = std::int64_t{tempo} * 24 / 1000;
    if (per <= 0) per = 1;
    return ticks * 750 / per;
}

}  // namespace

std::int64_t position_to_ms(const program& p, std::int32_t position) {
    const event_store& s = p.store();
    if (!p.d.tempo_track_on) return span_ms(position - song_start, p.app.song_tempo);
    const ref32 first = p.d.tempo_chain.first;
    if (!is_event_status(s.status(first))) {
        std::int32_t t;
        tempo_at(p, position, &t);
        return span_ms(position - song_start, t);
    }
    std::int32_t tempo = default_tempo;
    ref32 r = first;
    for (; is_event_status(s.status(r)) && s.position(r) <= song_start; r = s.next_event(r))
        tempo = s.at(r).tempo_value();
    std::int64_t ms = 0;
    std::int32_t start = song_start;
    for (; is_event_status(s.status(r)) && s.position(r) < position; r = s.next_event(r)) {
        ms += span_ms(s.position(r) - start, tempo);
        start = s.position(r);
        tempo = s.at(r).tempo_value();
    }
    return ms + span_ms(position - start, tempo);
}

std::string format_clock(std::int64_t ms) {
    if (ms < 0) return "0:00:00";
    std::int64_t sec = ms / 1000;
    if (sec >= 36000) return "?:??:??";
    char buf[32];
    std::snprintf(buf, sizeof buf, "%d:%02d:%02d", static_cast<int>(sec / 3600),
                  static_cast<int>(sec / 60 % 60), static_cast<int>(sec % 60));
    return buf;
}

std::optional<std::string> clock_text(program& p, std::int32_t position) {
    // Every eleventh call is skipped while running, to spare the redraw.
    if (++p.app.clock_calls % 11 == 0 && p.running()) return std::nullopt;
    return format_clock(position_to_ms(p, position));
}

}  // namespace kestrune
