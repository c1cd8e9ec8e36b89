// Walking and changing chains of event blocks in the pool.
#pragma once

#include <cstdint>
#include <vector>

#include "core/dll_data.h"
#include "core/engine_link.h"

namespace kestrune {

// A view of the pool: plain functions on records and links, with no locking (see the engine's
// parking protocol). Walking functions are safe on the engine thread; the rest belong to the
// application thread.
class event_store {
public:
    event_store(arena& a, dll_data& d, const pool_layout& layout)
        : a_(&a), d_(&d), layout_(layout) {}

    midi_event& at(ref32 e) const { return *a_->at<midi_event>(e); }
    std::uint8_t status(ref32 e) const { return a_->base()[e + status_offset]; }
    std::int32_t position(ref32 e) const { return at(e).position(); }
    ref32 link(ref32 link_record) const { return load_ref(a_->bytes(link_record)); }
    void set_link(ref32 link_record, ref32 target) { store_ref(a_->bytes(link_record), target); }

    const pool_layout& layout() const { return layout_; }
    dll_data& data() const { return *d_; }
    arena& mem() const { return *a_; }
    bool in_pool(ref32 e) const {
        return e >= layout_.first_block && e < layout_.first_block + layout_.block_count * block_bytes;
    }
    // Start of the block that holds record e.
    ref32 block_of(ref32 e) const {
        return layout_.first_block + (e - layout_.first_block) / block_bytes * block_bytes;
    }
    static ref32 first_slot(ref32 block) { return block + first_slot_offset; }
    static ref32 forward_link(ref32 block) { return block + forward_link_offset; }
    // Slot index 0..31 of a record inside its block.
    int slot_index(ref32 e) const { return static_cast<int>((e - block_of(e) - first_slot_offset) / record_bytes); }

    // Walking.
    ref32 next_record(ref32 e) const;
    ref32 prev_record(ref32 e) const;
    ref32 next_event(ref32 e) const;
    ref32 prev_event(ref32 e) const;
    ref32 block_skip(ref32 e) const;
    ref32 chain_end(ref32 e) const;
    ref32 last_event(ref32 e) const;
    // First event at or after p (folded into the loop), or the end record; *folded gets p as used.
    ref32 find_at_position(ref32 first, std::int32_t p, std::int32_t loop_length,
                           std::int32_t* folded = nullptr) const;
    // First event strictly after p.
    ref32 find_after_position(ref32 first, std::int32_t p) const;
    std::int32_t count_records(ref32 first) const;
    // Records of the event at e: 1, or a long event's head with its continuations.
    int event_length(ref32 e) const;
    // The note-off of the note-on at e, counting nesting; *depth_left is 0 when found.
    ref32 find_note_off(ref32 note_on, int* depth_left = nullptr) const;

    // Pool operations.
    ref32 alloc_block();
    // Gives a whole chain back in one splice; returns the blocks it held.
    int free_chain(ref32 first);
    int insert_record(ref32 e) { return insert_records(e, 1); }
    int delete_record(ref32 e) { return delete_records(e, 1); }
    // Opens n slots at e; returns the blocks taken from the free list (no counter changes).
    int insert_records(ref32 e, int n);
    // Removes n records at e; returns the emptied blocks pushed onto the free list.
    int delete_records(ref32 e, int n);
    // Puts the event at e, whose position has just changed by d, back in order; returns its place.
    ref32 move_event(ref32 first, ref32 e, std::int32_t d);
    // Counts blocks of a chain, following forward links.
    int count_blocks(ref32 first) const;

    // Orders a chain by position, stable, long events kept whole.
    void sort_chain(ref32 first);

    // Makes an empty chain in one block from the free list head; returns its first record.
    ref32 new_empty_chain();

private:
    ref32 unlink_head();
    void push_head(ref32 block);
    ref32 step_slot(ref32 e) const;  // next slot of a chain, across a non-null link

    arena* a_;
    dll_data* d_;
    pool_layout layout_;
};

// Where a track stands at local position `local` of its pattern: the position less the track's
// delay, folded into its loop, and the event to play next from there. A slot not in use stands
// at `local` with no event.
struct track_seat {
    ref32 event;
    std::int32_t position;
};
track_seat seat_track(const event_store& s, const track_slot& slot, std::int32_t local);

// Builds a new chain in the record area: begin, put records, terminate, check ok(), cut.
class chain_builder {
public:
    explicit chain_builder(event_store& s);
    // Goes on with what the engine wrote into the record area, up to `cursor` (a take).
    chain_builder(event_store& s, ref32 cursor);

    void put(const midi_event& e);
    // A head and, for sysex and text heads, every continuation after it.
    void copy_event(ref32 src);
    bool terminate();
    // terminate succeeded and a free block stays behind the chain.
    bool ok() const;
    // Cuts the chain off the record area; returns its first record, or null_ref unless ok().
    ref32 cut();
    // The blocks the chain fills, cut or not.
    int blocks() const;
    // Takes the new chain's blocks off free_blocks; returns their number.
    int count_chain_blocks();

    std::int64_t written() const { return written_; }
    bool overflowed() const { return overflow_; }

private:
    event_store* s_;
    ref32 cursor_;
    bool overflow_ = false;
    bool terminated_ = false;
    std::int64_t written_ = 0;
};

// Merges two sorted chains into the builder; at equal positions a's event comes first.
void merge_chains(chain_builder& out, const event_store& s, ref32 a, ref32 b);

}  // namespace kestrune
