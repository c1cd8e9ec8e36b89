#include "processing/track_copy.h"

#include <algorithm>
#include <iterator>

#include "processing/chain_transforms.h"
#include "processing/track_edit.h"
#include "song/patterns.h"

namespace kestrune {

namespace {

constexpr const char* part_name = "   part   ";
constexpr track_edit_options plain_edit{.undo = undo_kind::none, .empty_ok = true};

bool live(const event_store& s, ref32 e) {
    return is_event_status(s.status(e));
}

// Everything but the name and the block count.
void copy_parameters(const track_slot& from, track_slot& to) {
    to.channel = from.channel;
    to.port = from.port;
    to.velocity = from.velocity;
    to.quantize = from.quantize;
    to.mute = from.mute;
    to.transpose = from.transpose;
    to.loop_length = from.loop_length;
    to.delay = from.delay;
    to.compress = from.compress;
}

// The built chain in place of the destination's; false when the pool ran out while building.
bool install(program& p, chain_builder& b, track_ref to, const track_slot& params) {
    b.terminate();
    const ref32 first = b.cut();
    if (first == null_ref) return false;
    track_edit g(p, to.pattern, to.track, plain_edit);
    g.begin();
    g.replace_chain(first, b.count_chain_blocks());
    copy_parameters(params, g.slot());
    p.d.current_pattern = static_cast<std::int16_t>(to.pattern);
    p.d.current_track = static_cast<std::int16_t>(to.track);
    return true;
}

void put_part(event_store& s, chain_builder& b, ref32 first, std::int32_t left,
              std::int32_t right) {
    for (ref32 e = first; live(s, e) && s.position(e) < right; e = s.next_event(e)) {
        if (s.position(e) < left) continue;
        const midi_event& ev = s.at(e);
        const std::uint8_t st = ev.status();
        if (ev.is_note_on()) {
            b.put(ev);
            const ref32 off = s.find_note_off(e);
            if (!live(s, off)) continue;
            midi_event o = s.at(off);
            if (o.position() >= right) o.set_position(right - 1);
            b.put(o);
        } else if (!ev.is_note_off() && ((st >= 0xA0 && st <= 0xF0) || st == st::text)) {
            b.copy_event(e);
        }
    }
}

// Channels written into the events where the tracks differ, then the levels and the delay.
void freeze_for_merge(event_store& s, track_slot& src, track_slot& dst) {
    if (src.channel != dst.channel) {
        for (track_slot* t : {&src, &dst})
            if (t->channel != 16) transform_channel(s, t->first, t->channel);
        dst.channel = 16;
    }
    freeze_levels(s, src);
    freeze_levels(s, dst);
}

}  // namespace

bool enough_blocks(program& p, int blocks, msg_icon icon) {
    if (p.d.free_blocks >= blocks) return true;
    p.message(msg_not_enough_memory, icon);
    return false;
}

bool copy_whole_track(program& p, track_ref from, track_ref to) {
    event_store s = p.store();
    const track_slot& src = p.slot(from.pattern, from.track);
    chain_builder b(s);
    for (ref32 e = src.first; src.in_use && live(s, e); e = s.next_event(e)) b.copy_event(e);
    if (!install(p, b, to, src)) return false;
    std::copy(std::begin(src.name), std::end(src.name), p.slot(to.pattern, to.track).name);
    return true;
}

bool copy_part(program& p, track_ref from, track_ref to, std::int32_t left, std::int32_t right) {
    if (right < left) return true;
    event_store s = p.store();
    const track_slot& src = p.slot(from.pattern, from.track);
    chain_builder b(s);
    if (src.in_use) put_part(s, b, src.first, left, right);
    if (!install(p, b, to, src)) return false;
    put_name(p.slot(to.pattern, to.track).name, part_name);
    return true;
}

bool merge_tracks(program& p, track_ref from, track_ref to, bool freeze) {
    track_edit gs(p, from.pattern, from.track, plain_edit);
    track_edit gd(p, to.pattern, to.track, plain_edit);
    track_slot& src = gs.slot();
    track_slot& dst = gd.slot();
    if (!src.in_use || !dst.in_use) return false;
    gs.begin();
    gd.begin();
    event_store s = p.store();
    if (freeze) freeze_for_merge(s, src, dst);
    chain_builder b(s);
    merge_chains(b, s, dst.first, src.first);
    b.terminate();
    const ref32 first = b.cut();
    if (first == null_ref) return false;
    if (freeze && src.port != dst.port) dst.port = 0;
    gd.replace_chain(first, b.count_chain_blocks());
    gs.replace_chain(null_ref, 0);
    src.mute = 0;
    put_name(src.name, blank_name);
    p.d.current_pattern = static_cast<std::int16_t>(to.pattern);
    return true;
}

}  // namespace kestrune
