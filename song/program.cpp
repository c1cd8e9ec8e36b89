#include "song/program.h"

#include <cstdio>
#include <cstring>

#include "engine/engine.h"
#include "song/locate.h"
#include "song/patterns.h"
#include "song/position.h"

namespace kestrune {

void call(const std::function<void()>& f) {
    if (f) f();
}

program::program(engine_link& engine, ui& scr, clock& c)
    : eng(engine),
      d(*engine.get_pointer_to_dll_data()),
      screen(scr),
      clk(c),
      store_(engine.memory(), *engine.get_pointer_to_dll_data(), engine.layout()) {}

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

int program::start() {
    int err = eng.init_func_in_dll();
    if (err != 0) {
        screen.message(init_error_message(err), msg_icon::stop);
        eng.cleanup_func_in_dll();
        return err;
    }
    store_ = event_store(eng.memory(), d, eng.layout());
    if (!format_song()) {
        screen.message(init_error_message(3), msg_icon::stop);
        eng.cleanup_func_in_dll();
        return 3;
    }
    return 0;
}

bool program::format_song() {
    store_ = event_store(eng.memory(), d, eng.layout());
    if (!replace_tempo_chain(*this) || !replace_signature_chain(*this, d.signature_chain) ||
        !replace_signature_chain(*this, d.signature_track))
        return false;
    d.active_signature = d.signature_chain;
    set_pattern_defaults(*this);
    set_song_list_defaults(*this);
    std::memset(d.track_enable, 1, sizeof d.track_enable);
    std::memset(d.parallel_enable, 1, sizeof d.parallel_enable);
    std::memset(d.take_enable, 1, sizeof d.take_enable);
    d.position = d.play_position = song_start;
    d.fine_position = song_start * 4096;
    d.left_locator = song_start;
    d.right_locator = song_start + 4 * 768;
    d.play_step_ptr = step_ref(0);
    d.cycle_step_ptr = step_ref(0);
    set_tempo_increment(d, app.song_tempo);
    d.ticks_per_beat = 192;
    d.beats_per_bar = 4;
    return true;
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

void program::handle_engine_messages() {
    int id;
    std::int32_t w, l;
    while (eng.poll_message(&id, &w, &l)) {
        if (id == 0x403) {
            locate(*this, l);
        } else if (id == 0x404) {
            char text[64];
            std::snprintf(text, sizeof text, "Error %d !", static_cast<int>(w));
            screen.message(text, msg_icon::warning);
        }
    }
}

bool program::refuse_while_recording() {
    if (!recording()) return false;
    message(msg_while_recording);
    return true;
}

}  // namespace kestrune
