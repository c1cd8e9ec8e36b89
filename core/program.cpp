#include "core/program.h"

#include <algorithm>
#include <cstdio>

namespace kestrune {

void call(const std::function<void()>& f) {
    if (f) f();
}

program::program(engine_link& engine, ui& scr, clock& c)
    : eng(engine),
      d(*engine.get_pointer_to_dll_data()),
      screen(scr),
      clk(c) {}

void program::write_defaults() {
    d.timer_resolution = 6;
    d.memory_units = 10;
    d.mixer_define_controller = 7;
    d.mixer_send_port = -1;
    d.thru_channel = 16;
    d.thru_off_channel = -1;
    d.filter_controller_from = -1;
    d.filter_controller_to = -1;
    d.click_channel = 9;
    d.click_note = 37;
    d.click_velocity = 100;
    d.midi_click = 1;
    d.last_spp_position = -1;
    d.main_screen = 1;
    // The mixer's rows start at their defaults, faders at 100 and pans in the middle, before
    // any song is opened: a first grouped drag starts from there.
    reset_mixer();
}

void program::shut_down() { eng.cleanup_func_in_dll(); }

std::int32_t program::step_base(int i) const {
    return step_start(std::clamp(i, 0, song_steps - 1)) - song_start;
}

std::int32_t program::step_offset(int pattern) const {
    if (!d.song_mode || pattern == parallel_pattern) return 0;
    return step_base(d.current_step);
}

void program::wait_request(std::uint8_t& flag) {
    shared_store(flag, 1);
    if (!eng.runs_on_own_thread()) {
        eng.serve_requests();
        return;
    }
    eng.look_now();
    // The engine clears the byte within a tick; give up on a dead engine rather than hang.
    const std::int64_t deadline = clk.now_ms() + 2000;
    while (shared_load(flag) != 0) {
        if (clk.now_ms() > deadline) {
            shared_store(flag, 0);
            break;
        }
        clk.sleep_ms(1);
    }
}

void program::reset_mixer() {
    constexpr std::int16_t no_port = -1;
    // The engine stops looking at the rows before they change.
    shared_store(d.mixer_send_port, no_port);
    for (mixer_port& m : d.mixer) {
        m = mixer_port{};
        // The sent rows agree with the views: nothing waits, so the first move sends itself
        // alone and leaves the instrument's other settings as the song made them.
        for (int c = 0; c < 16; ++c) {
            m.fader_play[c] = m.fader_view[c] = m.fader_sent[c] = 100;
            m.pan_play[c] = m.pan_view[c] = m.pan_sent[c] = 64;
        }
    }
    // Clearing the song empties the snapshots too, so a new song starts with none of the old
    // one's mixes; the song loader keeps them over its own clearing for a file that has none.
    song.mixer_snapshots = default_mixer_snapshots();
    for (bool& pending : app.mixer.pending_send) pending = false;
}

void program::internal_record_off() {
    if (!d.internal_record) return;
    d.internal_record = 0;
    app_state::internal_saved& s = app.internal_record_saved;
    if (s.valid) {
        d.midi_thru = s.midi_thru;
        app.reset_on_stop = s.reset_on_stop;
        d.midi_click = s.midi_click;
    }
    s.valid = false;
}

void program::silence_track(int pattern, int track) {
    // Pattern mode may play pattern 16 itself, in the normal group.
    std::uint8_t group = 0;
    if (pattern == take_pattern)
        group = 2;
    else if (pattern == parallel_pattern && pattern != d.display_pattern)
        group = 1;
    else if (pattern != d.display_pattern)
        return;
    d.silence_pattern = group;
    d.silence_track = static_cast<std::uint8_t>(track);
    wait_request(d.silence_track_request);
}

bool program::refuse_while_recording() {
    if (!recording()) return false;
    message(msg_while_recording);
    return true;
}

std::string init_error_message(int error) {
    char buf[160];
    if (error <= 6)
        std::snprintf(buf, sizeof buf, "Error %d\nCan't allocate memory!", error);
    else if (error == 7)
        std::snprintf(buf, sizeof buf,
                      "Error %d\nThe engine thread\ncan't be started!\nCheck the system's thread limits!",
                      error);
    else
        std::snprintf(buf, sizeof buf,
                      "Error %d\nCan't start the engine thread's timer!\nCheck Timer Resolution\nin MIDI/Memory Setup!",
                      error);
    return buf;
}

}  // namespace kestrune
