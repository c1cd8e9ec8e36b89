// The track chunk and the event lists shared by the song, pattern and track files, and the
// checks that keep a damaged file from reaching the pool.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "files/file_buffer.h"
#include "files/packed_fields.h"
#include "core/program.h"

namespace kestrune {

static_assert(std::endian::native == std::endian::little, "file records are stored as in memory");

#pragma pack(push, 1)

// What follows a non-zero in_use byte, up to the events.
struct track_chunk_head {
    std::int8_t velocity;
    std::uint8_t channel;
    std::uint8_t quantize;
    std::uint8_t mute;
    std::int8_t transpose;
    std::int8_t compress;
    std::int32_t loop_length;
    std::uint16_t blocks;
    std::int8_t delay;
    std::uint8_t port;
    char name[10];
    std::uint8_t reserved[10];  // always 0x00
    std::uint32_t count;
};
static_assert(sizeof(track_chunk_head) == 38);
static_assert(offsetof(track_chunk_head, channel) == 1);
static_assert(offsetof(track_chunk_head, quantize) == 2);
static_assert(offsetof(track_chunk_head, mute) == 3);
static_assert(offsetof(track_chunk_head, transpose) == 4);
static_assert(offsetof(track_chunk_head, compress) == 5);
static_assert(offsetof(track_chunk_head, loop_length) == 6);
static_assert(offsetof(track_chunk_head, blocks) == 10);
static_assert(offsetof(track_chunk_head, delay) == 12);
static_assert(offsetof(track_chunk_head, port) == 13);
static_assert(offsetof(track_chunk_head, name) == 14);
static_assert(offsetof(track_chunk_head, reserved) == 24);
static_assert(offsetof(track_chunk_head, count) == 34);

#pragma pack(pop)

// A track as a file holds it: its fields and its records, continuations included.
struct stored_track {
    track_chunk_head head{};
    std::vector<midi_event> records;
};

enum class list_kind { track, tempo, signature };

// Blocks a chain of n records takes, its end record included.
inline int blocks_for_records(std::size_t n) {
    return static_cast<int>(n / block_slots + 1);
}

// True when the records are whole events of the list's kind in position order: every long event
// has exactly the continuations its payload needs, and no link or end status appears.
bool records_sound(const std::vector<midi_event>& records, list_kind kind);

// Reading. Each returns false when the file ends inside the structure or its events are not
// sound; the stored block counts are read but never used.
bool read_records(file_buffer& f, std::uint32_t count, std::vector<midi_event>& out);
bool read_track_chunk(file_buffer& f, stored_track& out);
// A list: u16 blocks, u32 count, the records.
bool read_list(file_buffer& f, list_kind kind, std::vector<midi_event>& out);

// Writing.
void write_records(file_buffer& f, const program& p, ref32 first);
void write_track_chunk(file_buffer& f, const program& p, int pattern, int track);
// A list from a chain; with `older_tempo` each tempo above 250.00 is written as 250.00.
void write_list(file_buffer& f, const program& p, ref32 first, std::uint16_t blocks,
                bool older_tempo = false);

// Builds a chain of the records in the record area and cuts it off. The caller has made sure
// that blocks_for_records(n) + 1 blocks are free. Returns the first record, or null_ref.
ref32 build_chain(program& p, const std::vector<midi_event>& records, std::uint16_t* blocks);

// Seats a stored track in an empty slot: its fields, values held in their ranges, and its chain.
bool seat_track(program& p, int pattern, int track, const stored_track& t);

// A name field from 10 stored characters.
void take_name(char (&field)[11], const char* stored);

}  // namespace kestrune
