// Binary records shared by the application and the engine. Every size and offset is binding.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/arena.h"

namespace kestrune {

// Named positions of the tick grid.
inline constexpr std::int32_t song_start = 3072;
inline constexpr std::int32_t last_position = 0xFF000;
inline constexpr std::int32_t past_last_step = 0xFF001;
inline constexpr std::int32_t last_locator_position = 0xFED00;
inline constexpr std::int32_t last_step_input_position = 0xFEC18;
inline constexpr std::int32_t largest_record_position = 0xFFFFF;
inline constexpr std::int32_t no_loop = 0xFF000;
inline constexpr std::int32_t ticks_per_whole = 768;
inline constexpr std::int32_t default_tempo = 12000;
// Tempo in hundredths of a beat per minute: 1.00 to 999.99.
inline constexpr std::int32_t min_tempo = 100;
inline constexpr std::int32_t max_tempo = 99999;

// The engine's fine position: ticks with twelve bits of fraction.
inline constexpr int fine_bits = 12;
inline constexpr std::int64_t fine_per_tick = std::int64_t{1} << fine_bits;
constexpr std::int64_t fine_of(std::int64_t ticks) { return ticks * fine_per_tick; }
constexpr std::int32_t tick_of(std::int64_t fine) { return static_cast<std::int32_t>(fine >> fine_bits); }
// The 32-bit fine_position field of a tick position: twenty bits of ticks and twelve of
// fraction use the whole word, so it is read back unsigned.
constexpr std::int32_t fine_field_of(std::int32_t ticks) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(ticks) << fine_bits);
}
constexpr std::int64_t fine_from_field(std::int32_t field) { return static_cast<std::uint32_t>(field); }

// A loop length holds the loop's ticks plus this, so a loop of n ticks ends at song_start + n - 1.
inline constexpr std::int32_t loop_length_base = song_start - 1;
// Ticks of a track's loop; 0 when it has none.
constexpr std::int32_t loop_ticks(std::int32_t loop_length) {
    // A length below the base comes only from a broken file: no loop.
    return loop_length == no_loop || loop_length < loop_length_base ? 0 : loop_length - loop_length_base;
}
constexpr std::int32_t loop_length_of(std::int32_t ticks) { return ticks + loop_length_base; }

// Record status values.
namespace st {
inline constexpr std::uint8_t sysex = 0xF0;
inline constexpr std::uint8_t tempo = 0xF1;
inline constexpr std::uint8_t signature = 0xF2;
inline constexpr std::uint8_t text = 0xF3;
inline constexpr std::uint8_t sysex_end = 0xF7;
inline constexpr std::uint8_t forward_link = 0xFD;
inline constexpr std::uint8_t back_link = 0xFE;
inline constexpr std::uint8_t end = 0xFF;
}  // namespace st

inline constexpr bool is_event_status(std::uint8_t s) { return s >= 0x80 && s <= 0xF3; }
inline constexpr bool is_continuation_status(std::uint8_t s) { return s < 0x80 || s == 0xF7; }
inline constexpr bool is_long_head_status(std::uint8_t s) { return s == st::sysex || s == st::text; }

#pragma pack(push, 1)

struct midi_event {
    std::uint8_t b[6];

    std::uint8_t data1() const { return b[0] & 0x7F; }
    std::uint8_t data2() const { return b[1] & 0x7F; }
    // Masked writes keep the spare bit 7.
    void set_data1(std::uint8_t v) { b[0] = static_cast<std::uint8_t>((b[0] & 0x80) | (v & 0x7F)); }
    void set_data2(std::uint8_t v) { b[1] = static_cast<std::uint8_t>((b[1] & 0x80) | (v & 0x7F)); }
    std::uint8_t raw0() const { return b[0]; }
    std::uint8_t raw1() const { return b[1]; }
    void set_raw0(std::uint8_t v) { b[0] = v; }
    void set_raw1(std::uint8_t v) { b[1] = v; }
    std::uint8_t status() const { return b[5]; }
    void set_status(std::uint8_t s) { b[5] = s; }

    std::int32_t position() const {
        return static_cast<std::int32_t>(b[2] | (b[3] << 8) | ((b[4] & 0x0F) << 16));
    }
    // Keeps the spare nibble and the status; the caller clamps to 0..last_position.
    void set_position(std::int32_t p) {
        auto v = static_cast<std::uint32_t>(p);
        b[2] = static_cast<std::uint8_t>(v);
        b[3] = static_cast<std::uint8_t>(v >> 8);
        b[4] = static_cast<std::uint8_t>((b[4] & 0xF0) | ((v >> 16) & 0x0F));
    }
    std::uint8_t spare_nibble() const { return b[4] >> 4; }
    void set_spare_nibble(std::uint8_t n) {
        b[4] = static_cast<std::uint8_t>((b[4] & 0x0F) | ((n & 0x0F) << 4));
    }

    // Tempo of a status 0xF1 record, hundredths of a beat per minute; bytes used whole.
    std::int32_t tempo_value() const { return ((spare_nibble() * 256 + b[0]) * 100) + b[1]; }
    void set_tempo_value(std::int32_t v) {
        b[1] = static_cast<std::uint8_t>(v % 100);
        b[0] = static_cast<std::uint8_t>((v / 100) % 256);
        set_spare_nibble(static_cast<std::uint8_t>((v / 100) >> 8));
    }

    // The three clearing operations of the quantize marks.
    void clear_top_nibble() { b[4] &= 0x0F; }
    void clear_high_bits() {
        b[0] &= 0x7F;
        b[1] &= 0x7F;
    }
    void clear_marks() {
        clear_top_nibble();
        clear_high_bits();
    }

    bool is_event() const { return is_event_status(b[5]); }
    bool is_end() const { return b[5] == st::end; }
    bool is_note_on() const { return (b[5] & 0xF0) == 0x90 && data2() != 0; }
    bool is_note_off() const {
        return (b[5] & 0xF0) == 0x80 || ((b[5] & 0xF0) == 0x90 && data2() == 0);
    }
    // Top nibble of byte 4 in a text head: 0 text, anything else a lyric.
    bool is_lyric() const { return b[5] == st::text && spare_nibble() != 0; }

    static midi_event make(std::uint8_t status, std::uint8_t d1, std::uint8_t d2, std::int32_t pos) {
        midi_event e{};
        e.b[0] = d1;
        e.b[1] = d2;
        e.set_position(pos);
        e.b[5] = status;
        return e;
    }
};
static_assert(sizeof(midi_event) == 6);
// Records follow each other at this stride; the status is the last byte of each.
inline constexpr std::uint32_t record_bytes = sizeof(midi_event);
inline constexpr std::uint32_t status_offset = 5;
static_assert(offsetof(midi_event, b) + status_offset == record_bytes - 1);

// Numerator and denominator of a signature record. A damaged record, which would divide by zero,
// reads as 4/4; any other denominator up to 127 gives its integer beat of 768 / d.
struct time_signature {
    int numerator = 4;
    int denominator = 4;
    std::int32_t beat_ticks() const { return ticks_per_whole / denominator; }
    std::int32_t bar_ticks() const { return numerator * beat_ticks(); }
};
inline time_signature signature_of(const midi_event& e) {
    if (e.status() != st::signature || e.data1() == 0 || e.data2() == 0) return {};
    return {e.data1(), e.data2()};
}

inline constexpr int block_slots = 32;
inline constexpr std::uint32_t block_bytes = 204;
inline constexpr std::uint32_t first_slot_offset = record_bytes;
inline constexpr std::uint32_t last_slot_offset = first_slot_offset + (block_slots - 1) * record_bytes;
inline constexpr std::uint32_t forward_link_offset = 198;
static_assert(last_slot_offset == 192 && last_slot_offset + record_bytes == forward_link_offset);

struct event_block {
    midi_event back;  // 4-byte ref to the previous block, 1 unused, status 0xFE
    midi_event slot[32];
    midi_event forward;  // 4-byte ref to the next block, 1 unused, status 0xFD
};
static_assert(sizeof(event_block) == block_bytes);
static_assert(offsetof(event_block, back) == 0);
static_assert(offsetof(event_block, slot) == first_slot_offset);
static_assert(offsetof(event_block, forward) == forward_link_offset);

struct event_chain {
    ref32 first;
    ref32 play;
    std::uint16_t blocks;
};
static_assert(sizeof(event_chain) == 10);

struct chain_cursor {
    ref32 first;
    ref32 play;
    std::uint16_t blocks;
    ref32 left_event;  // the record at the left locator
    // Tempo chain: the tempo at the left locator in the first 4 bytes, rest unused.
    // Signature chain: 4 bytes for the engine, then the beat fields at the left locator.
    std::uint8_t engine_slot[4];
    std::int16_t ticks_per_beat;
    std::int16_t tick_in_beat;
    std::int16_t beats_per_bar;
    std::int16_t beat_in_bar;

    std::int32_t left_tempo() const {
        std::int32_t v;
        std::memcpy(&v, engine_slot, 4);
        return v;
    }
    void set_left_tempo(std::int32_t v) { std::memcpy(engine_slot, &v, 4); }
};
static_assert(sizeof(chain_cursor) == 26);
static_assert(offsetof(chain_cursor, play) == 4);
static_assert(offsetof(chain_cursor, blocks) == 8);
static_assert(offsetof(chain_cursor, left_event) == 10);
static_assert(offsetof(chain_cursor, engine_slot) == 14);
static_assert(offsetof(chain_cursor, ticks_per_beat) == 18);
static_assert(offsetof(chain_cursor, tick_in_beat) == 20);
static_assert(offsetof(chain_cursor, beats_per_bar) == 22);
static_assert(offsetof(chain_cursor, beat_in_bar) == 24);

inline constexpr int tracks_per_pattern = 32;
inline constexpr int name_length = 10;

// A track channel that keeps each event's own.
inline constexpr std::uint8_t channel_as_recorded = 16;

struct track_slot {
    ref32 first;
    ref32 play;
    std::int32_t loop_length;  // no_loop, or loop_length_of(ticks of the loop)
    std::uint16_t blocks;
    std::int8_t delay;
    std::int8_t velocity;
    std::uint8_t in_use;
    std::uint8_t channel;  // channel_as_recorded, or the channel every event plays on
    std::uint8_t quantize;
    std::uint8_t mute;
    std::int8_t transpose;
    std::int8_t compress;
    char name[11];
    std::uint8_t port;
};
static_assert(sizeof(track_slot) == 34);
static_assert(offsetof(track_slot, play) == 4);
static_assert(offsetof(track_slot, loop_length) == 8);
static_assert(offsetof(track_slot, blocks) == 12);
static_assert(offsetof(track_slot, delay) == 14);
static_assert(offsetof(track_slot, velocity) == 15);
static_assert(offsetof(track_slot, in_use) == 16);
static_assert(offsetof(track_slot, channel) == 17);
static_assert(offsetof(track_slot, quantize) == 18);
static_assert(offsetof(track_slot, mute) == 19);
static_assert(offsetof(track_slot, transpose) == 20);
static_assert(offsetof(track_slot, compress) == 21);
static_assert(offsetof(track_slot, name) == 22);
static_assert(offsetof(track_slot, port) == 33);

inline constexpr int pattern_count = 18;  // 0-15 song patterns, 16 parallel, 17 working
inline constexpr int parallel_pattern = 16;
inline constexpr int take_pattern = 17;

struct pattern_entry {
    track_slot track[32];
    char name[11];
};
static_assert(sizeof(pattern_entry) == 1099);
static_assert(offsetof(pattern_entry, name) == 1088);

inline constexpr int song_steps = 32;
inline constexpr int song_list_entries = 34;  // 32 steps, the parallel entry, the take entry
inline constexpr int parallel_step = 32;
inline constexpr int take_step = 33;

struct song_step {
    ref32 pattern_ptr;
    std::int32_t end;
    std::int8_t pattern;
    std::uint8_t stop_here;
    std::int8_t transpose;
    std::uint8_t index;
    std::uint32_t track_mask;  // bit t set: track t is silent in this step
    std::int16_t pickup;
    char name[11];
};
static_assert(sizeof(song_step) == 29);
static_assert(offsetof(song_step, end) == 4);
static_assert(offsetof(song_step, pattern) == 8);
static_assert(offsetof(song_step, stop_here) == 9);
static_assert(offsetof(song_step, transpose) == 10);
static_assert(offsetof(song_step, index) == 11);
static_assert(offsetof(song_step, track_mask) == 12);
static_assert(offsetof(song_step, pickup) == 16);
static_assert(offsetof(song_step, name) == 18);

using mixer_row = std::int16_t[16];

struct mixer_port {
    mixer_row fader_play, fader_view, fader_sent;
    mixer_row pan_play, pan_view, pan_sent;
    mixer_row reverb_play, reverb_view, reverb_sent;
    mixer_row chorus_play, chorus_view, chorus_sent;
    mixer_row program_play, program_view, program_sent;
    mixer_row bank_play, bank_view, bank_sent;
    std::int16_t any_solo;
    mixer_row solo;
    mixer_row mute;
    mixer_row group;
    mixer_row group_offset;
    std::int16_t spare;  // cleared when a fader drag starts
};
static_assert(sizeof(mixer_port) == 708);
static_assert(offsetof(mixer_port, fader_view) == 32);
static_assert(offsetof(mixer_port, pan_play) == 96);
static_assert(offsetof(mixer_port, reverb_play) == 192);
static_assert(offsetof(mixer_port, chorus_play) == 288);
static_assert(offsetof(mixer_port, program_play) == 384);
static_assert(offsetof(mixer_port, bank_play) == 480);
static_assert(offsetof(mixer_port, bank_sent) == 544);
static_assert(offsetof(mixer_port, any_solo) == 576);
static_assert(offsetof(mixer_port, solo) == 578);
static_assert(offsetof(mixer_port, mute) == 610);
static_assert(offsetof(mixer_port, group) == 642);
static_assert(offsetof(mixer_port, group_offset) == 674);
static_assert(offsetof(mixer_port, spare) == 706);

struct mixer_activity {
    mixer_row note_seen;
    mixer_row lamp_on;
    std::uint32_t lamp_off_time[16];
};
static_assert(sizeof(mixer_activity) == 128);

// One port and channel of the chase table: eight { key, status, value } slots and the pitch wheel.
struct chase_slot {
    std::int32_t key;  // -1: nothing to send
    std::uint8_t status;
    std::uint8_t value;
};
static_assert(sizeof(chase_slot) == 6);
static_assert(offsetof(chase_slot, status) == 4 && offsetof(chase_slot, value) == 5);

enum chase_kind : int {
    chase_program,
    chase_bank_msb,
    chase_bank_lsb,
    chase_volume,
    chase_reverb,
    chase_chorus,
    chase_pan,
    chase_expression,
    chase_slots = 8
};
// The slots stand in this order in the shared table.
static_assert(chase_bank_msb == 1 && chase_bank_lsb == 2 && chase_volume == 3 &&
              chase_reverb == 4 && chase_chorus == 5 && chase_pan == 6 && chase_expression == 7);

struct chase_entry {
    chase_slot slot[8];
    std::int32_t wheel_key;
    std::uint8_t wheel_status;
    std::uint8_t wheel_data1;
    std::uint8_t wheel_data2;
};
static_assert(sizeof(chase_entry) == 55);
static_assert(offsetof(chase_entry, wheel_key) == 48);
static_assert(offsetof(chase_entry, wheel_status) == 52);
static_assert(offsetof(chase_entry, wheel_data1) == 53 && offsetof(chase_entry, wheel_data2) == 54);

#pragma pack(pop)

}  // namespace kestrune
