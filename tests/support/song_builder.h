// Building chains and tracks from plain records, and reading them back, for tests of the song.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "core/program.h"
#include "song/event_store.h"

namespace kestrune::testing {

using records = std::vector<midi_event>;
using units = std::vector<records>;  // each: a head and its continuations

// Several values as one list, to check neighbouring fields in one assertion.
template <class... T>
std::vector<std::int64_t> nums(T... v) {
    return {static_cast<std::int64_t>(v)...};
}

// midi_event::make with plain ints.
midi_event ev(int status, int d1, int d2, std::int32_t pos);

// A tempo record of `value` hundredths of a beat per minute.
midi_event tempo(std::int32_t value, std::int32_t pos);

// `count` note-ons of key 60, velocity 100, every `step` ticks from `from`.
records notes(int count, std::int32_t from, std::int32_t step);

// n sysex payload bytes: data bytes (i * 7 + 1) & 0x7F, the last one 0xF7.
std::vector<std::uint8_t> sysex_payload(std::size_t n);

// A long event laid out as the chains hold it (make_long_event with the payload of a vector).
records long_event(std::uint8_t status, std::int32_t pos, const std::vector<std::uint8_t>& payload);

// A text event as the chains hold it, NUL-terminated; a lyric has 0x2 in the spare nibble.
records text_event(std::int32_t pos, const std::string& text, bool lyric);

// A random event at pos: short ones with quantize marks in their spare bits, sysex and text of
// up to a few hundred bytes, now and then a tempo record. `serial` makes every head unique.
records random_event(std::mt19937& rng, std::int32_t pos, int serial);

// Reference merge: b's unit first only when its position is strictly lower.
units merged(const units& a, const units& b);

// The records of all units, one after another.
records flat(const units& u);

// The position of a unit: that of its head.
std::int32_t pos_of(const records& unit);

// Every record of the chain up to its end record, continuations included.
records read_chain(const event_store& s, ref32 first);

// The records of a track, none when it is not in use.
records read_track(const program& p, int pattern, int track);

// A name field as stored, all ten characters.
std::string name_of(const char (&name)[11]);

// Empty when both hold the same bytes, else where they part and how.
std::string difference(const records& got, const records& want);

// Success when both hold the same bytes, else a failure that says where they part.
::testing::AssertionResult holds(const records& got, const records& want);

// The record, or the event, i steps on from `first`.
ref32 nth_record(const event_store& s, ref32 first, int i);
ref32 nth_event(const event_store& s, ref32 first, std::size_t i);

// Books blocks a chain took (negative: gave back) to its count and off the pool's free count.
void take_blocks(program& p, std::uint16_t& blocks, int taken);

// Opens room for the records at e with one insert_records and writes them there, booking the
// blocks taken. Returns them, or -1 (nothing changed) when the pool cannot hold the records.
int insert_at(program& p, std::uint16_t& blocks, ref32 e, const records& recs);

// insert_at the chain's end record; fails the test when the pool cannot hold the records.
void append(program& p, ref32 first, std::uint16_t& blocks, const records& recs);
void append(program& p, track_slot& sl, const records& recs);

// Frees the chain `c` holds and builds one of the records in its place. Only `first` and
// `blocks` change: the caller seats `play` and switches the chain on where it wants that.
void replace_chain(program& p, chain_cursor& c, const records& recs);

// replace_chain on a tempo or signature list, seated at its start; the active signature follows
// the signature track when it was the active one.
void replace_list(program& p, chain_cursor& c, const records& recs);

// The song's own signature (the one record of the signature chain) set to n/d.
void set_default_signature(program& p, int numerator, int denominator);

// replace_chain on the signature track, seated at its start, made the active signature and on.
void use_signature_track(program& p, const records& recs);

// replace_chain on the tempo chain, seated at its start, with the tempo track on.
void use_tempo_track(program& p, const records& recs);

// Gives the slot a new empty chain, seated at its start and in use. An old chain is not freed.
track_slot& open_track(program& p, int pattern, int track);

// open_track, then the records appended in the order given.
track_slot& give_track(program& p, int pattern, int track, const records& recs);

// Appends the records to the slot's chain, opening one first when the slot is not in use, and
// then sorts the chain.
track_slot& add_sorted(program& p, int pattern, int track, const records& recs);

// The records as they stand, in order or not, built in the record area and seated in the slot.
track_slot& build_track(program& p, int pattern, int track, const records& recs);

}  // namespace kestrune::testing
