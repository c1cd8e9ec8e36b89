#include "processing/chain_transforms.h"

#include <algorithm>

namespace kestrune {

namespace {

constexpr int velocity_centre = 64;
constexpr int flatten_shift = 5;  // compress 5: every velocity the centre

template <class F>
void each_event(event_store& s, ref32 first, F f) {
    for (ref32 e = first; is_event_status(s.status(e)); e = s.next_event(e)) f(s.at(e));
}

bool has_key(const midi_event& e) { return e.status() >= 0x80 && e.status() <= 0xAF; }

}  // namespace

void compress_velocity(midi_event& e, int shift) {
    int x = e.data2() - velocity_centre;
    if (shift > 0)
        x >>= shift;
    else if (shift < 0)
        x *= 2;
    const int v = shift == flatten_shift ? velocity_centre : x + velocity_centre;
    e.set_raw1(static_cast<std::uint8_t>((e.raw1() & 0x80) | (v & 0xFF)));
}

void add_velocity(midi_event& e, int v) {
    e.set_data2(static_cast<std::uint8_t>(std::clamp(e.data2() + v, 1, 127)));
}

void transpose_key(midi_event& e, int t) {
    e.set_data1(static_cast<std::uint8_t>(std::clamp(e.data1() + t, 0, 127)));
}

void set_channel(midi_event& e, int c) {
    e.set_status(static_cast<std::uint8_t>((e.status() & 0xF0) + c));
}

void transform_channel(event_store& s, ref32 first, int c) {
    each_event(s, first, [c](midi_event& e) {
        if (e.status() < st::sysex) set_channel(e, c);
    });
}

void transform_compress(event_store& s, ref32 first, int shift) {
    each_event(s, first, [shift](midi_event& e) {
        if (e.is_note_on()) compress_velocity(e, shift);
    });
}

void transform_velocity(event_store& s, ref32 first, int v) {
    each_event(s, first, [v](midi_event& e) {
        if (e.is_note_on()) add_velocity(e, v);
    });
}

void transform_transpose(event_store& s, ref32 first, int t) {
    each_event(s, first, [t](midi_event& e) {
        if (has_key(e)) transpose_key(e, t);
    });
}

void transform_delay(event_store& s, ref32 first, int d) {
    each_event(s, first, [d](midi_event& e) { e.set_position(std::clamp(e.position() + d, 0, last_position)); });
}

void freeze_levels(event_store& s, track_slot& sl) {
    if (sl.compress != 0) transform_compress(s, sl.first, sl.compress);
    if (sl.velocity != 0) transform_velocity(s, sl.first, sl.velocity);
    if (sl.transpose != 0) transform_transpose(s, sl.first, sl.transpose);
    if (sl.delay != 0) transform_delay(s, sl.first, sl.delay);
    sl.compress = sl.velocity = sl.transpose = sl.delay = 0;
}

}  // namespace kestrune
