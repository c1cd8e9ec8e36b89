// Recording from the application's side: what is prepared when a take starts, instant record and
// punch, internal recording, and storing a take when it ends.
#pragma once

#include <array>
#include <cstdint>

#include "core/program.h"
#include "realtime/transport.h"

namespace kestrune {

inline constexpr const char* msg_mixer_port_differs =
    "Mixer and current track\nmust have the same\nport setting!";
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
inline constexpr const char* recorded_name = " recorded ";
inline constexpr const char* mixer_data_name = "mixer data";

enum class record_mode { replace = 1, overdub = 2 };

// The Internal Recording dialog: "Enable Internal Recording" and the port whose channels go to
// the current track (0 A .. 3 D).
struct internal_recording_fields {
    bool enabled = false;
    int port = 0;
};

class recorder {
  public:
    // Takes over the transport's take hooks and the program's internal recording hook.
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
    void internal_record_off();

  private:
    bool mixer_port_matches();
    void prepare_cycle();
    void arm_record_area();
    void run_take(std::int32_t start, record_mode mode, bool punch);
    void punch_off();
    // What internal recording keeps off: MIDI thru, Reset On Stop and the click.
    void internal_switches_off();
    void restore_punch_mute(int pattern);
    void count_pass_blocks(int slot);
    void close_open_notes(track_slot& dest, std::int32_t end);
    void move_early_events(ref32 first, std::int32_t s);
    bool merge_passes(int pattern, int track);
    void finish_take();
    std::int32_t bar_before_step() const;

    program& p_;
    dll_data& d_;
    transport& tr_;
    // What internal recording switched off, to be switched back on.
    bool saved_valid_ = false;
    std::uint8_t saved_thru_ = 0;
    bool saved_reset_on_stop_ = false;
    std::uint8_t saved_click_ = 0;
};

}  // namespace kestrune
