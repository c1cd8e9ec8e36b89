#include "core/program.h"

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
}

void program::shut_down() { eng.cleanup_func_in_dll(); }

void program::wait_request(std::uint8_t& flag) {
    shared_store(flag, 1);
    if (!eng.runs_on_own_thread()) {
        eng.serve_requests();
        return;
    }
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

void program::silence_track(int which, int track) {
    d.silence_pattern = static_cast<std::uint8_t>(which);
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
