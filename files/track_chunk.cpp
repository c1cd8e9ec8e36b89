#include "files/track_chunk.h"
#include "song/event_store.h"
#include "song/track_fields.h"

#include <algorithm>
#include <cstring>

namespace kestrune {

bool records_sound(const std::vector<midi_event>& records, list_kind kind) {
    std::int32_t last = -1;
    const std::size_t n = records.size();
    for (std::size_t i = 0; i < n;) {
        const midi_event& e = records[i];
        const std::uint8_t s = e.status();
        if (kind == list_kind::tempo && s != st::tempo) return false;
        if (kind == list_kind::signature && s != st::signature) return false;
        // A continuation here has no head, or follows a long event that had already ended.
        if (!is_event_status(s)) return false;
        if (e.position() < last) return false;
        last = e.position();
        ++i;
        if (!is_long_head_status(s)) continue;
        const std::uint8_t end_byte = s == st::sysex ? st::sysex_end : 0;
        bool ended = e.raw0() == end_byte || e.raw1() == end_byte;
        while (!ended) {
            if (i >= n || !is_continuation_status(records[i].status())) return false;
            for (std::uint8_t b : records[i].b)
                if (b == end_byte) {
                    ended = true;
                    break;
                }
            ++i;
        }
    }
    return true;
}

bool read_records(file_buffer& f, std::uint32_t count, std::vector<midi_event>& out) {
    // A count the rest of the file cannot hold is damage, found before anything is allocated.
    if (std::uint64_t{count} * sizeof(midi_event) > f.remaining()) return false;
    out.resize(count);
    f.file_get(out.data(), std::size_t{count} * sizeof(midi_event));
    return !f.past_end();
}

bool read_track_chunk(file_buffer& f, stored_track& out) {
    f.get(out.head);
    if (f.past_end()) return false;
    return read_records(f, out.head.count, out.records) &&
           records_sound(out.records, list_kind::track);
}

bool read_list(file_buffer& f, list_kind kind, std::vector<midi_event>& out) {
    std::uint16_t blocks = 0;
    std::uint32_t count = 0;
    f.get(blocks);
    f.get(count);
    if (f.past_end()) return false;
    return read_records(f, count, out) && records_sound(out, kind);
}

namespace {

// Calls put(records, n) for each run of records of a chain, block by block.
template <class Put>
void for_each_run(const program& p, ref32 first, Put put) {
    const event_store& s = p.store();
    ref32 b = s.block_of(first);
    int slot = s.slot_index(first);
    for (;;) {
        const auto* blk = s.mem().at<event_block>(b);
        int end = slot;
        while (end < block_slots && blk->slot[end].status() != st::end) ++end;
        if (end > slot) put(&blk->slot[slot], end - slot);
        if (end < block_slots) return;
        ref32 next = s.link(event_store::forward_link(b));
        if (next == null_ref) return;
        b = next;
        slot = 0;
    }
}

}  // namespace

void write_records(file_buffer& f, const program& p, ref32 first) {
    for_each_run(p, first, [&](const midi_event* r, int n) {
        f.file_put(r, static_cast<std::size_t>(n) * sizeof(midi_event));
    });
}

void write_track_chunk(file_buffer& f, const program& p, int pattern, int track) {
    const track_slot& s = p.slot(pattern, track);
    track_chunk_head h{};
    h.velocity = s.velocity;
    h.channel = s.channel;
    h.quantize = s.quantize;
    h.mute = s.mute;
    h.transpose = s.transpose;
    h.compress = s.compress;
    h.loop_length = s.loop_length;
    h.blocks = s.blocks;
    h.delay = s.delay;
    h.port = s.port;
    std::memcpy(h.name, s.name, sizeof h.name);
    h.count = static_cast<std::uint32_t>(p.store().count_records(s.first));
    f.put(h);
    write_records(f, p, s.first);
}

void write_list(file_buffer& f, const program& p, ref32 first, std::uint16_t blocks,
                bool older_tempo) {
    f.put(blocks);
    f.put(static_cast<std::uint32_t>(p.store().count_records(first)));
    if (!older_tempo) {
        write_records(f, p, first);
        return;
    }
    // The oldest readers knew 8 bits of whole beats: above 250.00 they get 250.00.
    for_each_run(p, first, [&](const midi_event* r, int n) {
        for (int i = 0; i < n; ++i) {
            midi_event e = r[i];
            if (e.tempo_value() > 25000) {
                e.set_tempo_value(25000);
                e.clear_top_nibble();
            }
            f.put(e);
        }
    });
}

ref32 build_chain(program& p, const std::vector<midi_event>& records, std::uint16_t* blocks) {
    event_store s = p.store();
    dll_data& d = p.d;
    if (d.record_first_block == null_ref) return null_ref;
    // A chain starts at the first slot of its first block.
    d.record_write = event_store::first_slot(d.record_first_block);
    chain_builder b(s);
    for (const midi_event& e : records) b.put(e);
    if (!b.terminate() || !b.ok()) return null_ref;
    ref32 first = b.cut();
    *blocks = static_cast<std::uint16_t>(b.count_chain_blocks());
    return first;
}

void take_name(char (&field)[11], const char* stored) {
    std::memcpy(field, stored, 10);
    field[10] = 0;
}

bool seat_track(program& p, int pattern, int track, const stored_track& t) {
    track_slot& s = p.slot(pattern, track);
    std::uint16_t blocks = 0;
    ref32 first = build_chain(p, t.records, &blocks);
    if (first == null_ref) return false;
    const track_chunk_head& h = t.head;
    program::park parked(p);
    // Each parameter held in its column's range.
    const auto column = [](track_column c, int v) { return held_to_range(track_field(c), v); };
    s.velocity = static_cast<std::int8_t>(column(track_column::velocity, h.velocity));
    s.channel = static_cast<std::uint8_t>(column(track_column::channel, h.channel));
    s.quantize = h.quantize;
    s.mute = h.mute;
    s.transpose = static_cast<std::int8_t>(column(track_column::transpose, h.transpose));
    s.compress = static_cast<std::int8_t>(column(track_column::compress, h.compress));
    s.loop_length = h.loop_length;
    s.delay = static_cast<std::int8_t>(column(track_column::delay, h.delay));
    s.port = static_cast<std::uint8_t>(column(track_column::port, h.port));
    take_name(s.name, h.name);
    s.first = s.play = first;
    s.blocks = blocks;
    shared_store(s.in_use, 1);
    return true;
}

}  // namespace kestrune
