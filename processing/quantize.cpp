#include "processing/quantize.h"

#include <algorithm>
#include <cstdlib>

#include "processing/track_edit.h"
#include "song/event_store.h"

namespace kestrune {

namespace {

constexpr std::int16_t last_threshold = 32000;

using qp = quantize_pair;
// clang-format off
// Tight: the plain grid.
constexpr qp tight_4[] = {{96, 0}, {288, 192}, {480, 384}, {672, 576}, {last_threshold, 768}};
constexpr qp tight_6[] = {{64, 0}, {192, 128}, {320, 256}, {last_threshold, 384}};
constexpr qp tight_8[] = {{48, 0}, {144, 96}, {240, 192}, {336, 288}, {last_threshold, 384}};
constexpr qp tight_12[] = {{32, 0}, {96, 64}, {160, 128}, {last_threshold, 192}};
constexpr qp tight_16[] = {{24, 0}, {72, 48}, {120, 96}, {168, 144}, {last_threshold, 192}};
constexpr qp tight_24[] = {{16, 0}, {48, 32}, {80, 64}, {112, 96}, {144, 128}, {176, 160},
                           {last_threshold, 192}};
// Smart: the grid merged with the neighbouring rhythm family's. (132, 128) is meant as it stands.
constexpr qp smart_4[] = {{96, 0}, {224, 192}, {320, 256}, {448, 384}, {544, 512}, {672, 576},
                          {last_threshold, 768}};
constexpr qp smart_6[] = {{64, 0}, {160, 128}, {224, 192}, {320, 256}, {last_threshold, 384}};
constexpr qp smart_8[] = {{48, 0}, {112, 96}, {160, 128}, {224, 192}, {272, 256}, {336, 288},
                          {last_threshold, 384}};
constexpr qp smart_12[] = {{32, 0}, {80, 64}, {112, 96}, {160, 128}, {last_threshold, 192}};
constexpr qp smart_16[] = {{24, 0}, {56, 48}, {80, 64}, {112, 96}, {136, 128}, {168, 144},
                           {last_threshold, 192}};
constexpr qp smart_24[] = {{16, 0}, {40, 32}, {56, 48}, {80, 64}, {112, 96}, {132, 128}, {152, 144},
                           {176, 160}, {last_threshold, 192}};
// 32 and 48 have one table whichever the method.
constexpr qp grid_32[] = {{12, 0}, {36, 24}, {60, 48}, {84, 72}, {108, 96}, {132, 120}, {156, 144},
                          {180, 168}, {last_threshold, 192}};
constexpr qp grid_48[] = {{8, 0}, {24, 16}, {40, 32}, {56, 48}, {72, 64}, {88, 80}, {104, 96},
                          {120, 112}, {136, 128}, {152, 144}, {168, 160}, {184, 176},
                          {last_threshold, 192}};
// clang-format on

struct table_entry {
    int n;
    int cycle;
    std::span<const qp> tight, smart;
};
constexpr table_entry tables[] = {
    {4, 768, tight_4, smart_4},    {6, 384, tight_6, smart_6},    {8, 384, tight_8, smart_8},
    {12, 192, tight_12, smart_12}, {16, 192, tight_16, smart_16}, {24, 192, tight_24, smart_24},
};

constexpr std::uint8_t spare_bit = 0x80;

std::int32_t clamp_position(std::int32_t v) {
    return std::clamp(v, 0, last_position);
}

}  // namespace

bool is_quantize_value(int n) {
    return std::find(quantize_values.begin(), quantize_values.end(), n) != quantize_values.end();
}

quantize_grid quantize_table(int n, bool smart) {
    for (const table_entry& t : tables)
        if (t.n == n) return {t.cycle, smart ? t.smart : t.tight};
    if (n == 32) return {192, grid_32};
    return {192, grid_48};
}

std::uint8_t shift_note_on_part(const midi_event& e) {
    return static_cast<std::uint8_t>((e.spare_nibble() << 4) | ((e.raw0() & spare_bit) ? 0x08 : 0) |
                                     ((e.raw1() & spare_bit) ? 0x04 : 0));
}

void set_shift_note_on_part(midi_event& e, std::uint8_t shift) {
    e.set_spare_nibble(static_cast<std::uint8_t>(shift >> 4));
    e.set_raw0(static_cast<std::uint8_t>((e.raw0() & 0x7F) | ((shift & 0x08) ? spare_bit : 0)));
    e.set_raw1(static_cast<std::uint8_t>((e.raw1() & 0x7F) | ((shift & 0x04) ? spare_bit : 0)));
}

std::uint8_t shift_note_off_part(const midi_event& e) {
    return static_cast<std::uint8_t>(((e.raw0() & spare_bit) ? 0x02 : 0) |
                                     ((e.raw1() & spare_bit) ? 0x01 : 0));
}

void set_shift_note_off_part(midi_event& e, std::uint8_t shift) {
    e.set_raw0(static_cast<std::uint8_t>((e.raw0() & 0x7F) | ((shift & 0x02) ? spare_bit : 0)));
    e.set_raw1(static_cast<std::uint8_t>((e.raw1() & 0x7F) | ((shift & 0x01) ? spare_bit : 0)));
}

quantize_pass::quantize_pass(program& p, int pattern, int n)
    : p_(p),
      n_(n),
      step_(ticks_per_whole / n),
      drift_limit_(2 * (ticks_per_whole / n) / 3),
      grid_(quantize_table(n, p.app.smart_quantize != 0)),
      offset_(p.step_offset(pattern)) {}

int quantize_pass::shift_at(std::int32_t pos) {
    const event_store s = p_.store();
    // The signature in force: the event before the first one not below the note's song time.
    const ref32 list = p_.d.active_signature.first;
    ref32 sig = list;
    while (is_event_status(s.status(sig)) && s.position(sig) < pos + offset_)
        sig = s.next_event(sig);
    if (sig != list) sig = s.prev_event(sig);
    const std::int32_t bar = signature_of(s.at(sig)).bar_ticks();
    std::int32_t bar_start = s.position(sig) - offset_;
    if (bar > 0 && pos >= bar_start + bar) bar_start += (pos - bar_start) / bar * bar;
    // A note exactly on a bar line is measured from the track's start.
    const std::int32_t r = pos > bar_start ? pos - bar_start : pos;
    const int c = r % grid_.cycle;

    int target = grid_.cycle;
    for (const quantize_pair& q : grid_.pairs) {
        if (c < q.threshold + drift_) {
            target = q.target;
            break;
        }
    }
    int dist = c - target;
    if (n_ > 8) drift_ += dist;
    drift_ = std::clamp(drift_, -drift_limit_, drift_limit_) / 2;
    if (p_.app.quantize_strength != 100) dist = p_.app.quantize_strength * dist / 100;
    if (const int swing = p_.app.quantize_swing; swing != 0) {
        const int h = c / (step_ / 2);
        const bool swung = n_ % 3 == 0 ? ((h - 3) % 6 == 0 || (h - 4) % 6 == 0)
                                       : ((h - 1) % 4 == 0 || (h - 2) % 4 == 0);
        if (swung) dist -= swing * 96 / (n_ * 3);
    }
    return static_cast<std::int16_t>(-dist);
}

std::int32_t quantize_pass::snapped(std::int32_t pos) {
    drift_ = 0;
    return clamp_position(pos + shift_at(pos));
}

void quantize_pass::quantize_note(ref32 e) {
    event_store s = p_.store();
    midi_event& on = s.at(e);
    const auto shift = static_cast<std::int16_t>(shift_at(on.position()));
    const ref32 off = s.find_note_off(e);
    on.set_position(clamp_position(on.position() + shift));
    set_shift_note_on_part(on, static_cast<std::uint8_t>(shift));
    if (is_event_status(s.status(off))) {
        midi_event& o = s.at(off);
        o.set_position(clamp_position(o.position() + shift));
        set_shift_note_off_part(o, static_cast<std::uint8_t>(shift));
    }
}

void dequantize_note(program& p, ref32 note_on) {
    event_store s = p.store();
    midi_event& on = s.at(note_on);
    const ref32 off = s.find_note_off(note_on);
    const bool has_off = is_event_status(s.status(off));
    int shift = static_cast<std::int8_t>(shift_note_on_part(on));
    if (has_off) {
        midi_event& o = s.at(off);
        shift += shift_note_off_part(o);
        o.set_position(std::max(0, o.position() - shift));
        clear_shift_note_off_part(o);
    }
    on.set_position(std::max(0, on.position() - shift));
    clear_shift_note_on_part(on);
}

void quantize_track(program& p, int pattern, ref32 first, int n) {
    if (first == null_ref) return;
    p.screen.wait_cursor();
    event_store s = p.store();
    for (ref32 e = first; is_event_status(s.status(e)); e = s.next_event(e))
        if (s.at(e).is_note_on()) dequantize_note(p, e);
    if (n > 0) {
        quantize_pass pass(p, pattern, n);
        for (ref32 e = first; is_event_status(s.status(e)); e = s.next_event(e))
            if (s.at(e).is_note_on()) pass.quantize_note(e);
    }
    s.sort_chain(first);
    p.screen.arrow_cursor();
}

bool freeze_quantize(program& p, int pattern, int track) {
    track_edit g(p, pattern, track);
    if (!g) return false;
    if (p.screen.message(msg_freeze_quantize, msg_icon::question, msg_buttons::ok_cancel,
                         msg_answer::ok) != msg_answer::ok)
        return false;
    g.begin();
    event_store s = g.store();
    for (ref32 e = g.slot().first; is_event_status(s.status(e)); e = s.next_event(e)) {
        if (!s.at(e).is_note_on()) continue;
        clear_shift_note_on_part(s.at(e));
        const ref32 off = s.find_note_off(e);
        if (is_event_status(s.status(off))) clear_shift_note_off_part(s.at(off));
    }
    g.slot().quantize = 0;
    return true;
}

bool choose_quantize(program& p, int pattern, int track, int n) {
    // No undo copy: the played positions stay recoverable.
    track_edit g(p, pattern, track, {.undo = undo_kind::none, .empty_ok = true});
    if (!g) return false;
    g.slot().quantize = static_cast<std::uint8_t>(n);
    // An empty track keeps the value for its next take.
    if (!g.slot().in_use) return true;
    g.begin();
    quantize_track(p, pattern, g.slot().first, n);
    return true;
}

void set_quantize_strength(program& p, int percent) {
    p.app.quantize_strength = std::clamp(percent, 0, 100);
}
void set_swing_factor(program& p, int steps) {
    p.app.quantize_swing = std::clamp(steps, -9, 10);
}
void set_smart_quantize(program& p, bool smart) {
    p.app.smart_quantize = smart ? 1 : 0;
}

}  // namespace kestrune
