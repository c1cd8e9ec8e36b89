#include "engine/engine.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace kestrune {

engine::engine() {
    // What the block holds before the application writes its defaults.
    data_.stopped = 1;
    data_.not_at_end = 1;
    data_.play_pattern = 0xFF;
    data_.input_activity = 0xFF;
    std::memset(data_.track_activity, 0xFF, sizeof data_.track_activity);
    data_.memory_max_units = max_memory_units;
}

engine::~engine() { cleanup_func_in_dll(); }

std::uint32_t engine::blocks_for_units(int units) {
    units = std::clamp(units, 1, static_cast<int>(max_memory_units));
    return (static_cast<std::uint32_t>(units) * events_per_unit + block_slots - 1) / block_slots;
}

std::int16_t engine::init_func_in_dll() {
    cleanup_func_in_dll();
    dll_data& d = data_;
    const std::uint32_t blocks = blocks_for_units(d.memory_units);

    // One arena: the static end record, the song list with its leading entry, the pattern
    // table, then the pool.
    const std::uint32_t song_list_bytes = (song_list_entries + 1) * sizeof(song_step);
    const std::uint32_t table_bytes = pattern_count * sizeof(pattern_entry);
    const std::uint64_t total = 64 + song_list_bytes + table_bytes + 64 +
                                std::uint64_t{blocks} * block_bytes + 64;
    if (total > 0x7FFFFFFF) return 1;
    arena_.create(static_cast<std::uint32_t>(total));
    if (!arena_.valid()) return 1;

    // The static end record is followed by a null forward link so that nothing walks past it.
    layout_.static_end = arena_.reserve(12, 4);
    midi_event* se = arena_.at<midi_event>(layout_.static_end);
    se[0].set_status(st::end);
    se[1].set_status(st::forward_link);

    ref32 list = arena_.reserve(song_list_bytes, 4);
    ref32 table = arena_.reserve(table_bytes, 4);
    if (!list || !table) return 2;
    d.song_list_ptr = list + sizeof(song_step);
    d.pattern_table_ptr = table;

    format_pool(blocks);
    if (layout_.first_block == null_ref) return 3;

    for (int i = 0; i < 16; ++i) d.bit16[i] = static_cast<std::uint16_t>(1u << i);
    for (int i = 0; i < 32; ++i) d.bit32[i] = 1u << i;
    d.memory_max_units = max_memory_units;
    d.not_at_end = 1;
    d.stopped = 1;
    d.play_pattern = 0xFF;
    d.input_activity = 0xFF;
    std::memset(d.track_activity, 0xFF, sizeof d.track_activity);
    return 0;
}

void engine::format_pool(std::uint32_t blocks) {
    dll_data& d = data_;
    ref32 base = arena_.reserve(blocks * block_bytes, 4);
    layout_.first_block = base;
    layout_.block_count = base ? blocks : 0;
    if (!base) return;
    // Block 0 is the head of the free list, the last block its far end where the record area
    // starts. On the list a block's back link points away from the head, its forward link towards it.
    for (std::uint32_t i = 0; i < blocks; ++i) {
        ref32 b = base + i * block_bytes;
        auto* blk = arena_.at<event_block>(b);
        std::memset(blk, 0, sizeof(event_block));
        blk->back.set_status(st::back_link);
        blk->forward.set_status(st::forward_link);
        store_ref(blk->back.b, i + 1 < blocks ? b + block_bytes : null_ref);
        store_ref(blk->forward.b, i > 0 ? b - block_bytes : null_ref);
    }
    const ref32 last = base + (blocks - 1) * block_bytes;
    d.free_list = base;
    d.record_first_block = last;
    d.record_block = last;
    d.record_write = last + first_slot_offset;
    d.record_cursor = d.record_write;
    d.free_blocks = static_cast<std::int32_t>(blocks);
}

void engine::cleanup_func_in_dll() {
    arena_.release();
    layout_ = pool_layout{};
    data_.pattern_table_ptr = data_.song_list_ptr = null_ref;
    data_.free_list = data_.record_first_block = data_.record_block = null_ref;
    data_.record_write = data_.record_cursor = null_ref;
    data_.free_blocks = 0;
}

void engine::serve_requests() {
    // Without a real-time thread nothing sounds, so there is nothing to end; the requests are
    // acknowledged so that no waiter hangs.
    dll_data& d = data_;
    shared_store(d.all_notes_off_request, 0);
    shared_store(d.silence_track_request, 0);
    shared_store(d.thru_notes_off_request, 0);
    shared_store(d.reset_request, 0);
    shared_store(d.full_volume_request, 0);
    shared_store(d.send_request, 0);
    shared_store(d.spare_request, 0);
}

std::string init_error_message(int error) {
    char buf[160];
    if (error <= 6)
        std::snprintf(buf, sizeof buf, "Error %d\nCan't allocate memory!", error);
    else if (error == 7)
        std::snprintf(buf, sizeof buf,
                      "Error %d\nYou need to install\nthe Multimedia Timer driver\nin the Control Panel!",
                      error);
    else
        std::snprintf(buf, sizeof buf,
                      "Error %d\nCan't start main Multimedia Timer!\nCheck settings in the Control Panel!",
                      error);
    return buf;
}

}  // namespace kestrune
