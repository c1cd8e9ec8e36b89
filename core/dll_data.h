// The engine data block: the one record the application and the real-time engine share.
// Offsets are binding; unlisted gaps belong to the engine.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "core/records.h"

namespace kestrune {

using handle32 = std::uint32_t;  // a handle of the program's own, 0 = none

// Naturally aligned so that every listed field can be read and written as one atomic access.
struct alignas(16) dll_data {
    handle32 main_window;
    std::uint32_t timer_event_id;
    std::uint32_t timer_accuracy;
    std::int32_t timer_resolution;
    std::uint8_t gap_16[8];
    handle32 midi_out_handle[4];
    ref32 midi_out_header[4];
    handle32 midi_in_handle;
    ref32 midi_in_header[16];
    std::uint32_t midi_in_requeue;
    std::int16_t midi_out_device[4];
    std::int16_t midi_in_device;
    std::uint8_t gap_138[2];
    ref32 midi_in_caps;
    std::int16_t midi_in_count;
    std::uint8_t gap_146[2];
    ref32 midi_out_caps;
    std::int16_t midi_out_count;
    std::int16_t midi_out_has_mapper;
    std::int16_t midi_in_has_mapper;
    std::int16_t midi_not_configured;
    std::int16_t memory_max_units;
    std::int16_t memory_units;
    std::uint8_t sync_delay_count;
    std::int8_t sync_delay;
    std::uint8_t gap_166[5];
    std::uint8_t mixer_define_controller;
    mixer_port mixer[4];
    std::int16_t mixer_send_port;
    std::uint16_t mixer_changed;
    mixer_activity mixer_lamps[4];
    std::int16_t current_track;
    std::int16_t record_pattern;
    std::int16_t current_pattern;
    std::int16_t main_screen;
    ref32 pattern_table_ptr;
    ref32 song_list_ptr;
    ref32 play_step_ptr;
    ref32 parallel_step_ptr;
    ref32 take_step_ptr;
    ref32 cycle_step_ptr;
    ref32 parallel_step_ptr2;
    std::int16_t stopped;
    std::uint8_t gap_3558[2];
    std::int32_t position;
    std::int32_t play_position;
    std::int32_t fine_position;
    std::int32_t tempo_increment;
    std::int32_t step_position;
    std::uint8_t step_input_on;
    std::uint8_t gap_3581[1];
    std::int16_t step_notes_held;
    std::int16_t step_chord_ready;
    std::int16_t step_rest_ready;
    std::int16_t step_hold;
    std::int16_t step_chord_count;
    std::int32_t step_chord_position;
    midi_event step_chord[50];
    chase_entry chase_table[4 * 16];
    std::uint8_t chase_ready;
    std::uint8_t punch_on;
    std::uint8_t punch_saved_mute;
    std::uint8_t gap_7419[1];
    std::int16_t engine_request;
    std::int16_t punch_track;
    std::int16_t punched_in;
    std::int16_t instant_punch;
    std::int32_t instant_punch_start;
    // The tempo value behind tempo_increment, so that the engine keeps exact time over long runs.
    std::int32_t tempo_exact;
    std::uint8_t gap_7436[16];
    std::int32_t free_blocks;
    ref32 record_block;
    ref32 record_first_block;
    ref32 free_list;
    ref32 record_write;
    chain_cursor signature_chain;
    chain_cursor signature_track;
    chain_cursor active_signature;
    chain_cursor tempo_chain;
    std::uint8_t track_enable[32];
    std::uint8_t parallel_enable[32];
    std::uint8_t take_enable[32];
    std::uint8_t transpose_exempt[4][16];
    std::uint16_t bit16[16];
    std::uint32_t bit32[32];
    std::uint8_t gap_7896[10];
    std::int16_t record_armed_external;
    std::uint8_t thru_port;
    std::uint8_t gap_7909[3];
    std::int32_t record_offset;
    std::int32_t left_locator;
    std::int32_t right_locator;
    std::uint8_t position_changed;
    std::uint8_t tempo_track_on;
    std::uint8_t gap_7926[2];
    std::int32_t tempo_display;
    std::int32_t external_tempo;
    std::uint8_t external_seen;
    std::uint8_t gap_7937[1];
    std::int16_t display_pattern;
    std::uint8_t play_pattern;
    std::int8_t current_step;
    std::int8_t song_start_step;
    std::uint8_t engine_stop;
    std::uint8_t cycle_recording;
    std::uint8_t internal_record;
    std::int16_t recording;
    std::int32_t spp_delay;
    std::int32_t last_spp_position;
    std::uint8_t sync_out;
    std::uint8_t external_sync;
    std::uint8_t sync_out_ports[4];
    std::uint8_t cycle_on;
    std::uint8_t gap_7963[1];
    std::int16_t signature_track_on;
    std::int16_t parallel_selected;
    std::uint8_t gap_7968[768];
    std::int32_t track_position[32];
    std::int32_t parallel_track_position[32];
    std::uint8_t gap_8992[128];
    std::int32_t cycle_track_position[32];
    ref32 cycle_track_event[32];
    std::int32_t cycle_parallel_position[32];
    ref32 cycle_parallel_event[32];
    std::int32_t sysex_chunks;
    std::int16_t sysex_bytes;
    std::int16_t sysex_open;
    std::uint8_t gap_9640[8];
    std::int16_t cycle_pass_mask;
    std::uint8_t gap_9650[2];
    std::uint8_t song_mode;
    std::uint8_t max_length_reached;
    std::uint8_t gap_9654[3];
    std::uint8_t cycle_passes;
    std::uint8_t track_activity[32];
    std::uint8_t track_activity_shown[32];
    std::uint8_t all_notes_off_request;
    std::uint8_t silence_track_request;
    std::uint8_t silence_pattern;  // 0 playing pattern, 1 parallel, 2 pattern 17
    std::uint8_t silence_track;
    std::uint8_t thru_notes_off_request;
    std::uint8_t spare_request;  // reserved, never raised
    std::uint8_t reset_request;
    std::uint8_t full_volume_request;
    std::uint8_t gap_9730[2];
    ref32 record_cursor;
    std::uint8_t record_enable;
    std::uint8_t record_paused;
    std::uint8_t take_has_data;
    std::uint8_t gap_9739[1];
    std::uint8_t not_at_end;
    std::uint8_t thru_channel;
    std::int8_t thru_transpose;
    std::int8_t thru_velocity;
    std::uint8_t thru_compress;
    std::uint8_t midi_thru;
    std::uint8_t remap_on;
    std::uint8_t remap_from;
    std::uint8_t remap_to;
    std::uint8_t input_started;
    std::uint8_t external_start;
    std::uint8_t external_stop;
    std::uint8_t external_continue;
    std::uint8_t filter_sysex;
    std::int8_t thru_off_channel;
    std::uint8_t filter_program;
    std::uint8_t filter_notes;
    std::int8_t filter_controller_from;
    std::int8_t filter_controller_to;
    std::uint8_t filter_channel_press;
    std::uint8_t filter_poly_press;
    std::uint8_t filter_pitch_wheel;
    std::uint8_t send_request;
    std::uint8_t send_status;
    std::uint8_t send_data1;
    std::uint8_t send_data2;
    std::uint8_t send_port;
    std::uint8_t gap_9767[17];
    std::int16_t beats_per_bar;
    std::int16_t beat_in_bar;
    std::int16_t ticks_per_beat;
    std::int16_t tick_in_beat;
    std::uint8_t input_armed;
    std::uint8_t click_always;
    std::uint8_t midi_click;
    std::uint8_t click_channel;
    std::uint8_t click_note;
    std::uint8_t click_velocity;
    std::uint8_t click_port;
    std::uint8_t input_activity_shown;
    std::uint8_t input_activity;
    std::uint8_t gap_9801[3];

    chase_entry& chase(int port, int channel) { return chase_table[port * 16 + channel]; }
};

#define KESTRUNE_AT(field, off) static_assert(offsetof(dll_data, field) == (off), #field)
KESTRUNE_AT(main_window, 0);
KESTRUNE_AT(timer_event_id, 4);
KESTRUNE_AT(timer_accuracy, 8);
KESTRUNE_AT(timer_resolution, 12);
KESTRUNE_AT(midi_out_handle, 24);
KESTRUNE_AT(midi_out_header, 40);
KESTRUNE_AT(midi_in_handle, 56);
KESTRUNE_AT(midi_in_header, 60);
KESTRUNE_AT(midi_in_requeue, 124);
KESTRUNE_AT(midi_out_device, 128);
KESTRUNE_AT(midi_in_device, 136);
KESTRUNE_AT(midi_in_caps, 140);
KESTRUNE_AT(midi_in_count, 144);
KESTRUNE_AT(midi_out_caps, 148);
KESTRUNE_AT(midi_out_count, 152);
KESTRUNE_AT(midi_out_has_mapper, 154);
KESTRUNE_AT(midi_in_has_mapper, 156);
KESTRUNE_AT(midi_not_configured, 158);
KESTRUNE_AT(memory_max_units, 160);
KESTRUNE_AT(memory_units, 162);
KESTRUNE_AT(sync_delay_count, 164);
KESTRUNE_AT(sync_delay, 165);
KESTRUNE_AT(mixer_define_controller, 171);
KESTRUNE_AT(mixer, 172);
KESTRUNE_AT(mixer_send_port, 3004);
KESTRUNE_AT(mixer_changed, 3006);
KESTRUNE_AT(mixer_lamps, 3008);
KESTRUNE_AT(current_track, 3520);
KESTRUNE_AT(record_pattern, 3522);
KESTRUNE_AT(current_pattern, 3524);
KESTRUNE_AT(main_screen, 3526);
KESTRUNE_AT(pattern_table_ptr, 3528);
KESTRUNE_AT(song_list_ptr, 3532);
KESTRUNE_AT(play_step_ptr, 3536);
KESTRUNE_AT(parallel_step_ptr, 3540);
KESTRUNE_AT(take_step_ptr, 3544);
KESTRUNE_AT(cycle_step_ptr, 3548);
KESTRUNE_AT(parallel_step_ptr2, 3552);
KESTRUNE_AT(stopped, 3556);
KESTRUNE_AT(position, 3560);
KESTRUNE_AT(play_position, 3564);
KESTRUNE_AT(fine_position, 3568);
KESTRUNE_AT(tempo_increment, 3572);
KESTRUNE_AT(step_position, 3576);
KESTRUNE_AT(step_input_on, 3580);
KESTRUNE_AT(step_notes_held, 3582);
KESTRUNE_AT(step_chord_ready, 3584);
KESTRUNE_AT(step_rest_ready, 3586);
KESTRUNE_AT(step_hold, 3588);
KESTRUNE_AT(step_chord_count, 3590);
KESTRUNE_AT(step_chord_position, 3592);
KESTRUNE_AT(step_chord, 3596);
KESTRUNE_AT(chase_table, 3896);
KESTRUNE_AT(chase_ready, 7416);
KESTRUNE_AT(punch_on, 7417);
KESTRUNE_AT(punch_saved_mute, 7418);
KESTRUNE_AT(engine_request, 7420);
KESTRUNE_AT(punch_track, 7422);
KESTRUNE_AT(punched_in, 7424);
KESTRUNE_AT(instant_punch, 7426);
KESTRUNE_AT(instant_punch_start, 7428);
KESTRUNE_AT(tempo_exact, 7432);
KESTRUNE_AT(free_blocks, 7452);
KESTRUNE_AT(record_block, 7456);
KESTRUNE_AT(record_first_block, 7460);
KESTRUNE_AT(free_list, 7464);
KESTRUNE_AT(record_write, 7468);
KESTRUNE_AT(signature_chain, 7472);
KESTRUNE_AT(signature_track, 7498);
KESTRUNE_AT(active_signature, 7524);
KESTRUNE_AT(tempo_chain, 7550);
KESTRUNE_AT(track_enable, 7576);
KESTRUNE_AT(parallel_enable, 7608);
KESTRUNE_AT(take_enable, 7640);
KESTRUNE_AT(transpose_exempt, 7672);
KESTRUNE_AT(bit16, 7736);
KESTRUNE_AT(bit32, 7768);
KESTRUNE_AT(record_armed_external, 7906);
KESTRUNE_AT(thru_port, 7908);
KESTRUNE_AT(record_offset, 7912);
KESTRUNE_AT(left_locator, 7916);
KESTRUNE_AT(right_locator, 7920);
KESTRUNE_AT(position_changed, 7924);
KESTRUNE_AT(tempo_track_on, 7925);
KESTRUNE_AT(tempo_display, 7928);
KESTRUNE_AT(external_tempo, 7932);
KESTRUNE_AT(external_seen, 7936);
KESTRUNE_AT(display_pattern, 7938);
KESTRUNE_AT(play_pattern, 7940);
KESTRUNE_AT(current_step, 7941);
KESTRUNE_AT(song_start_step, 7942);
KESTRUNE_AT(engine_stop, 7943);
KESTRUNE_AT(cycle_recording, 7944);
KESTRUNE_AT(internal_record, 7945);
KESTRUNE_AT(recording, 7946);
KESTRUNE_AT(spp_delay, 7948);
KESTRUNE_AT(last_spp_position, 7952);
KESTRUNE_AT(sync_out, 7956);
KESTRUNE_AT(external_sync, 7957);
KESTRUNE_AT(sync_out_ports, 7958);
KESTRUNE_AT(cycle_on, 7962);
KESTRUNE_AT(signature_track_on, 7964);
KESTRUNE_AT(parallel_selected, 7966);
KESTRUNE_AT(track_position, 8736);
KESTRUNE_AT(parallel_track_position, 8864);
KESTRUNE_AT(cycle_track_position, 9120);
KESTRUNE_AT(cycle_track_event, 9248);
KESTRUNE_AT(cycle_parallel_position, 9376);
KESTRUNE_AT(cycle_parallel_event, 9504);
KESTRUNE_AT(sysex_chunks, 9632);
KESTRUNE_AT(sysex_bytes, 9636);
KESTRUNE_AT(sysex_open, 9638);
KESTRUNE_AT(cycle_pass_mask, 9648);
KESTRUNE_AT(song_mode, 9652);
KESTRUNE_AT(max_length_reached, 9653);
KESTRUNE_AT(cycle_passes, 9657);
KESTRUNE_AT(track_activity, 9658);
KESTRUNE_AT(track_activity_shown, 9690);
KESTRUNE_AT(all_notes_off_request, 9722);
KESTRUNE_AT(silence_track_request, 9723);
KESTRUNE_AT(silence_pattern, 9724);
KESTRUNE_AT(silence_track, 9725);
KESTRUNE_AT(thru_notes_off_request, 9726);
KESTRUNE_AT(reset_request, 9728);
KESTRUNE_AT(full_volume_request, 9729);
KESTRUNE_AT(record_cursor, 9732);
KESTRUNE_AT(record_enable, 9736);
KESTRUNE_AT(record_paused, 9737);
KESTRUNE_AT(take_has_data, 9738);
KESTRUNE_AT(not_at_end, 9740);
KESTRUNE_AT(thru_channel, 9741);
KESTRUNE_AT(thru_transpose, 9742);
KESTRUNE_AT(thru_velocity, 9743);
KESTRUNE_AT(thru_compress, 9744);
KESTRUNE_AT(midi_thru, 9745);
KESTRUNE_AT(remap_on, 9746);
KESTRUNE_AT(remap_from, 9747);
KESTRUNE_AT(remap_to, 9748);
KESTRUNE_AT(input_started, 9749);
KESTRUNE_AT(external_start, 9750);
KESTRUNE_AT(external_stop, 9751);
KESTRUNE_AT(external_continue, 9752);
KESTRUNE_AT(filter_sysex, 9753);
KESTRUNE_AT(thru_off_channel, 9754);
KESTRUNE_AT(filter_program, 9755);
KESTRUNE_AT(filter_notes, 9756);
KESTRUNE_AT(filter_controller_from, 9757);
KESTRUNE_AT(filter_controller_to, 9758);
KESTRUNE_AT(filter_channel_press, 9759);
KESTRUNE_AT(filter_poly_press, 9760);
KESTRUNE_AT(filter_pitch_wheel, 9761);
KESTRUNE_AT(send_request, 9762);
KESTRUNE_AT(send_status, 9763);
KESTRUNE_AT(send_data1, 9764);
KESTRUNE_AT(send_data2, 9765);
KESTRUNE_AT(send_port, 9766);
KESTRUNE_AT(beats_per_bar, 9784);
KESTRUNE_AT(beat_in_bar, 9786);
KESTRUNE_AT(ticks_per_beat, 9788);
KESTRUNE_AT(tick_in_beat, 9790);
KESTRUNE_AT(input_armed, 9792);
KESTRUNE_AT(click_always, 9793);
KESTRUNE_AT(midi_click, 9794);
KESTRUNE_AT(click_channel, 9795);
KESTRUNE_AT(click_note, 9796);
KESTRUNE_AT(click_velocity, 9797);
KESTRUNE_AT(click_port, 9798);
KESTRUNE_AT(input_activity_shown, 9799);
KESTRUNE_AT(input_activity, 9800);
#undef KESTRUNE_AT
static_assert(sizeof(dll_data) == 9808);
static_assert(std::is_trivially_copyable_v<dll_data>);

// A field shared across threads is read and written as one atomic access.
template <class T>
inline T shared_load(const T& field) {
    return std::atomic_ref<T>(const_cast<T&>(field)).load(std::memory_order_acquire);
}
template <class T, class V>
inline void shared_store(T& field, V value) {
    std::atomic_ref<T>(field).store(static_cast<T>(value), std::memory_order_release);
}
// Takes a field's value and leaves `value` in its place, with no write of the other side between.
template <class T, class V>
inline T shared_exchange(T& field, V value) {
    return std::atomic_ref<T>(field).exchange(static_cast<T>(value), std::memory_order_acq_rel);
}
// Sets bits of a field that the other side clears.
template <class T, class V>
inline void shared_set_bits(T& field, V bits) {
    std::atomic_ref<T>(field).fetch_or(static_cast<T>(bits), std::memory_order_acq_rel);
}

}  // namespace kestrune
