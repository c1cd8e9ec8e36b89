#include "editors/list/list_fields.h"

#include <algorithm>
#include <optional>

#include "editors/frame/editor_frame.h"
#include "editors/list/event_list.h"
#include "editors/list/list_edit.h"
#include "editors/tempo/list_rows.h"
#include "song/event_store.h"

namespace kestrune {

namespace {

field_spec number_spec(std::int32_t low, std::int32_t high, field_kind k = field_kind::number) {
    return {.label = "Value", .kind = k, .low = low, .high = high, .entry_length = 4};
}

// The note-off of a note-on, when it has one.
std::optional<ref32> partner_of(const program& p, ref32 on) {
    int depth = 0;
    const ref32 off = p.store().find_note_off(on, &depth);
    return depth == 0 ? std::optional<ref32>(off) : std::nullopt;
}

list_field position_field(program& p, ref32 e) {
    const midi_event ev = p.store().at(e);
    if (ev.is_note_off()) return {};
    return {number_spec(0, last_position, field_kind::position),
            [&p, e] { return p.store().position(e); },
            [&p, e](std::int32_t v) { move_row_event(p, e, v - p.store().position(e)); }};
}

list_field channel_field(program& p, ref32 e) {
    const midi_event ev = p.store().at(e);
    const int kind = ev.status() & 0xF0;
    if (kind < 0x80 || kind > 0xE0 || ev.is_note_off()) return {};
    field_spec f = number_spec(0, 15, field_kind::channel);
    return {f, [&p, e] { return p.store().status(e) & 0x0F; },
            [&p, e](std::int32_t v) { set_row_data(p, e, row_data::channel, v); }};
}

list_field data1_field(program& p, ref32 e) {
    const midi_event ev = p.store().at(e);
    const int kind = ev.status() & 0xF0;
    if (!(ev.is_note_on() || (kind >= 0xA0 && kind <= 0xE0))) return {};
    const field_kind k = kind == 0x90 || kind == 0xA0 ? field_kind::note : field_kind::number;
    return {number_spec(0, 127, k), [&p, e] { return p.store().at(e).data1(); },
            [&p, e](std::int32_t v) { set_row_data(p, e, row_data::data1, v); }};
}

list_field data2_field(program& p, ref32 e) {
    const midi_event ev = p.store().at(e);
    const int kind = ev.status() & 0xF0;
    if (kind != 0x80 && kind != 0x90 && kind != 0xA0 && kind != 0xB0 && kind != 0xE0) return {};
    const bool note_on = kind == 0x90 && ev.data2() != 0;
    return {number_spec(note_on ? 1 : 0, 127), [&p, e] { return p.store().at(e).data2(); },
            [&p, e](std::int32_t v) { set_row_data(p, e, row_data::data2, v); }};
}

list_field length_field(program& p, ref32 e) {
    const midi_event ev = p.store().at(e);
    const int kind = ev.status() & 0xF0;
    if (kind == 0xB0 || kind == 0xC0) {
        list_field f = data1_field(p, e);
        f.typed = false;
        return f;
    }
    if (!ev.is_note_on()) return {};
    const std::optional<ref32> off = partner_of(p, e);
    if (!off) return {};
    const std::int32_t start = ev.position();
    return {number_spec(0, last_position - start, field_kind::time_span),
            [&p, e, off] { return p.store().position(*off) - p.store().position(e); },
            [&p, e](std::int32_t v) { set_note_length(p, e, v); }, start};
}

}  // namespace

list_field list_column_field(program& p, int region, ref32 e) {
    if (e == null_ref || !p.store().at(e).is_event()) return {};
    if (is_list_status(p.store().status(e)) && region != erg::position) return list_row_field(p, region, e);
    switch (region) {
        case erg::position: return position_field(p, e);
        case erg::channel: return channel_field(p, e);
        case erg::data1: return data1_field(p, e);
        case erg::data2: return data2_field(p, e);
        case erg::length: return length_field(p, e);
        default: return {};
    }
}

}  // namespace kestrune
