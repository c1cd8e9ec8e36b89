#include "editors/grid/grid_lane.h"

#include <algorithm>
#include <vector>

#include "editors/list/chain_edit.h"
#include "editors/grid/grid_notes.h"
#include "editors/list/event_list.h"
#include "editors/list/list_edit.h"

namespace kestrune {

namespace {

// The status kind of a lane, velocity lanes aside.
std::uint8_t lane_kind_status(int lane_kind) {
    switch (lane_kind) {
        case lane::velocity: return 0x90;
        case lane::poly_pressure: return 0xA0;
        case lane::program_change: return 0xC0;
        case lane::channel_pressure: return 0xD0;
        case lane::pitch_wheel: return 0xE0;
        default: return 0xB0;
    }
}

// Program and channel pressure hold their value in the first data byte.
bool value_in_data1(int lane_kind) {
    return lane_kind == lane::program_change || lane_kind == lane::channel_pressure;
}

midi_event new_lane_event(const program& p, int lane_kind, int value, std::int32_t at) {
    const int track_channel = edited_slot(p).channel;
    const auto status =
        static_cast<std::uint8_t>(lane_kind_status(lane_kind) | (track_channel < 16 ? track_channel : 0));
    const auto v = static_cast<std::uint8_t>(value);
    if (value_in_data1(lane_kind)) return midi_event::make(status, v, 0, at);
    const auto first = static_cast<std::uint8_t>(lane_kind >= 0 ? lane_kind : 64);
    return midi_event::make(status, first, v, at);
}

}  // namespace

bool in_lane(int lane_kind, const midi_event& e) {
    if (lane_kind == lane::velocity) return e.is_note_on();
    if ((e.status() & 0xF0) != lane_kind_status(lane_kind)) return false;
    return lane_kind < 0 || e.data1() == lane_kind;
}

std::uint8_t lane_value(int lane_kind, const midi_event& e) {
    return value_in_data1(lane_kind) ? e.data1() : e.data2();
}

int lane_value_at(int lane_kind, int x, int left, int right, bool ctrl) {
    if (ctrl) return 64;
    const int width = std::max(1, right - left);
    const int v = 128 - ((right - x) * 128) / width;
    return std::clamp(v, lane_kind == lane::velocity ? 1 : 0, 127);
}

void stroke_lane(program& p, std::int32_t from, std::int32_t to, int value, lane_stroke how) {
    const ref32 first = edited_first(p);
    if (first == null_ref) return;
    const int kind = p.song.grid_lane;
    const event_store s = p.store();
    std::vector<ref32> hit;
    for (ref32 e = s.find_at_position(first, from, no_loop); is_event_status(s.status(e)) && s.position(e) < to;
         e = s.next_event(e))
        if (in_lane(kind, s.at(e))) hit.push_back(e);
    const bool insert = hit.empty() && how == lane_stroke::set_or_insert && kind != lane::velocity &&
                        p.d.free_blocks > insert_reserve_blocks;
    if (hit.empty() && !insert) return;
    chain_edit edit(p);
    if (!edit.begin()) return;
    if (insert) {
        edit.insert(s.find_at_position(edit.first(), from, no_loop), new_lane_event(p, kind, value, from));
    } else if (how == lane_stroke::erase) {
        // A note goes with its note-off.
        std::vector<ref32> records = hit;
        for (ref32 e : hit)
            if (const grid_note n = note_of(p, e); n.off != null_ref) records.push_back(n.off);
        edit.remove_all(std::move(records));
    } else {
        for (ref32 e : hit) {
            midi_event& m = s.at(e);
            if (value_in_data1(kind)) {
                m.set_data1(static_cast<std::uint8_t>(value));
            } else {
                m.set_data2(static_cast<std::uint8_t>(value));
            }
            if (m.is_note_on()) p.editor.last_note = {m.status(), m.data1(), m.data2()};
        }
    }
    edit.give_back();
    ++p.editor.grid.marks;
}

}  // namespace kestrune
