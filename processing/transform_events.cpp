#include "processing/transform_events.h"

#include <algorithm>

#include "processing/chain_transforms.h"

namespace kestrune {

namespace {

bool selected(const midi_event& ev, const event_condition& c, std::int32_t from, std::int32_t to) {
    if (ev.position() < from || ev.position() >= to || !meets_condition(c, ev)) return false;
    // A note's note-off form only when the velocity range asks for 0 alone.
    return !(c.type == event_type::note && ev.is_note_off() && c.data2_high != 0);
}

std::uint8_t processed(int byte, int amount, process_op op) {
    int v = byte;
    switch (op) {
    case process_op::add: v = byte + amount; break;
    case process_op::subtract: v = byte - amount; break;
    case process_op::percent: v = amount * byte / 100; break;
    }
    return static_cast<std::uint8_t>(std::clamp(v, 0, 127));
}

std::uint8_t as_byte(int v) { return static_cast<std::uint8_t>(v); }

void rewrite(midi_event& ev, midi_event* off, const event_result& r) {
    const bool note_on = ev.is_note_on();
    const auto both = [&](auto f) {
        if (off) f(*off);
        f(ev);
    };
    if (r.channel != no_change) both([&](midi_event& e) { set_channel(e, r.channel); });
    const int d1 = ev.data1(), d2 = ev.data2();
    if (r.data1 != no_change) {
        const int v = r.data1 == other_byte ? d2 : r.data1;
        both([&](midi_event& e) { e.set_data1(as_byte(v)); });
    }
    if (r.data2 != no_change) {
        int v;
        if (note_on) {
            v = r.data2 == other_byte ? d1 : r.data2;
            if (v == 0) v = 1;  // a note never loses its velocity here
        } else {
            // Looks at the first byte's result on purpose.
            v = r.data1 == other_byte ? d1 : r.data2;
        }
        ev.set_data2(as_byte(v));
    }
    if (r.type > event_type::all_channel)
        ev.set_status(as_byte((r.type + 6) * 16 + (ev.status() & 0x0F)));
    if (r.amount1 != no_change)
        both([&](midi_event& e) { e.set_data1(processed(e.data1(), r.amount1, r.op1)); });
    if (r.amount2 != no_change) {
        std::uint8_t v = processed(ev.data2(), r.amount2, r.op2);
        if (note_on && v == 0) v = 1;
        ev.set_data2(v);
    }
}

}  // namespace

void transform_events(track_edit& g, const event_condition& c, const event_result& r,
                      std::int32_t from, std::int32_t to) {
    event_store s = g.store();
    for (ref32 e = g.slot().first; is_event_status(s.status(e)); e = s.next_event(e)) {
        midi_event& ev = s.at(e);
        // A system exclusive's head record is never rewritten: its bytes belong to the message.
        if (ev.status() >= st::sysex || !selected(ev, c, from, to)) continue;
        midi_event* off = nullptr;
        if (ev.is_note_on()) {
            const ref32 found = s.find_note_off(e);
            if (is_event_status(s.status(found))) off = &s.at(found);
        }
        rewrite(ev, off, r);
    }
}

}  // namespace kestrune
