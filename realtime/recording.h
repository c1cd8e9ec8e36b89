// Recording from the application's side: what is prepared when a take starts, instant record and
// punch, internal recording, and storing a take when it ends.
#pragma once

#include <array>
#include <cstdint>

#include "core/program.h"
#include "realtime/transport.h"

namespace kestrune {

inline constexpr const char* msg_use_overdub = "Record will delete old track! Use overdub instead?";
inline constexpr const char* msg_internal_recording_question =
    "This is an INTERNAL RECORDING!\nAll sounding tracks will be\nrecorded to current track!\n"
    "Is this what you want?\nNO will turn it off!";
inline constexpr const char* msg_locators_outside =
    "Locators are outside current arrange position!\nStart recording anyway?";
inline constexpr const char* msg_sysex_incomplete =
    "SYS EX message incomplete!\nRecording will not be stored!";
inline constexpr const char* msg_no_memory_left =
    "No memory left! Increase the requested memory\namount with MIDI/Memory Setup.";
inline constexpr const char* msg_cycle_mode = "Can't do this in Cycle mode!";
inline constexpr const char* msg_punch_active = "Can't do this while\nPunch is active!";
inline constexpr const char* msg_no_input =
    "No MIDI input is connected!\nChoose a device for Input from in\nOptions/MIDI Setup, or "
    "connect one\n"
    "to Kestrune's In port in a patchbay.";
inline constexpr const char* recorded_name = " recorded ";

enum class record_mode { replace = 1, overdub = 2 };

// The Internal Recording dialog: "Enable Internal Recording" and the port whose channels go to
// the current track (0 A .. 3 D).
struct internal_recording_fields {
    bool enabled = false;
    int port = 0;
};

class chain_builder;
class track_edit;

// Keeps nothing of its own: the transport makes one to store a take when it stops.
class recorder {
  public:
    recorder(program& p, transport& t);
    recorder(const recorder&) = delete;
    recorder& operator=(const recorder&) = delete;

    void record_start(record_mode mode);
    // Play with punch armed: an overdub take that the engine records between the locators.
    void punch_start();
    // The Record button (left or right mouse button) and the keypad's * (replace) and / (overdub);
    // with the mixer shown, replace on a track in use asks first.
    void record_key(record_mode mode);
    // Space or the Instant Record button; with Shift an instant punch.
    void instant_record_toggle(bool shift);
    void instant_start(bool shift);
    void instant_stop();
    // Ends a punch take at the right locator, on the engine's request.
    void end_take();
    void store_take(int pattern, int track);

    // Key B: mutes the latest pass of a cycle take that still sounds.
    void mute_last_pass();
    // On the main screen's tick: passes the engine has closed are quantized.
    void tick();

    // The Internal Recording dialog: refused while recording, in cycle and with punch.
    bool internal_recording_allowed();
    internal_recording_fields internal_recording_state() const;
    void set_internal_recording(const internal_recording_fields& f);

  private:
    // Said once while no source is connected to the input and internal recording is off.
    void warn_no_input();
    // The pattern the take goes into and the offset of its positions: in song mode the current
    // step's pattern counted from its start, or the parallel pattern counted as the song.
    void place_take();
    void prepare_cycle();
    void arm_record_area();
    void run_take(std::int32_t start, record_mode mode, bool punch);
    void punch_off();
    // What internal recording keeps off: MIDI thru, Reset On Stop and the click.
    void internal_switches_off();
    void restore_punch_mute(int pattern);
    void count_pass_blocks(int slot);
    // Every pass's blocks counted off the free list, each pass's number in its statuses unless
    // the track plays channels as recorded (`channel` 16); returns their sum.
    int pass_blocks(int channel);
    // The passes the engine closed since the last look, quantized once each.
    void quantize_new_passes();
    // Every note left open gets a note-off at end - 1, however many are open on one key.
    void close_open_notes(track_slot& dest, std::int32_t end);
    void move_early_events(ref32 first, std::int32_t s);
    // The span a punch replaces, in the take's positions; a plain take's end is where it stopped.
    struct take_range {
        std::int32_t start;
        std::int32_t end;
        bool punch;
    };
    take_range range_of_take() const;
    // Blocks the store needs beside the take: the merged chain, built before the old one goes.
    int merge_need(int pattern, int track, int take_blocks);
    bool room_for(const chain_builder& take, int pattern, int track);
    // The undo copy of the track the take goes into, where the start kept none and the store
    // keeps room for it.
    void keep_take_undo(int pattern, int track, int need);
    // A punch that played nothing erases its range from the track.
    void erase_range(int pattern, int track, std::int32_t start, std::int32_t end);
    // The take, cut off the record area, into the track: as the track itself when it is empty,
    // else by way of the take slot merged with what the track holds; the passes with it.
    void store_chain(int pattern, int track, chain_builder& take, const take_range& r);
    // What a take goes through before it is merged: open notes ended, quantize, early events.
    void shape_take(track_slot& dest, int pattern, int quantize, const take_range& r);
    void merge_passes(track_edit& target);
    void finish_take();

    program& p_;
    dll_data& d_;
    transport& tr_;
};

}  // namespace kestrune
