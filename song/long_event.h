// Long events: sysex and text messages of any length as a head record and continuations.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "song/event_store.h"

namespace kestrune {

// Records a payload of n bytes occupies: the head holds 2 bytes, each continuation 6.
int long_event_records(std::size_t payload_bytes);

// Lays out a long event as records. A sysex payload excludes the leading 0xF0 and ends with 0xF7;
// a text payload ends with NUL. `top_nibble` marks a lyric (2) on a text head.
std::vector<midi_event> make_long_event(std::uint8_t status, std::int32_t position,
                                        const std::uint8_t* payload, std::size_t n,
                                        std::uint8_t top_nibble = 0);

// The payload of the long event whose head is at e, up to and including its terminator; it never
// reads past the event's continuation records.
std::vector<std::uint8_t> read_long_payload(const event_store& s, ref32 head);

// Inserts records into a chain at e, taking blocks from the free list as needed. Returns the
// blocks taken, or -1 (nothing changed) when the free list cannot hold them.
int insert_event_records(event_store& s, ref32 e, const std::vector<midi_event>& records);

// Rewrites the long event whose head is at `head` as `records` (head first) in place: its records
// are overwritten, further ones inserted behind them or those left over deleted, and the block
// balance goes to free_blocks and `chain_blocks`. False, nothing changed, when the free list
// cannot hold the records.
bool rewrite_long_event(event_store& s, ref32 head, const std::vector<midi_event>& records,
                        std::uint16_t& chain_blocks);

}  // namespace kestrune
