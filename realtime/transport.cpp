#include "realtime/transport.h"

#include <algorithm>
#include <cstring>

#include "realtime/recording.h"
#include "song/locate.h"
#include "song/patterns.h"
#include "song/position.h"
#include "song/event_store.h"

namespace kestrune {

namespace {
constexpr int region_position = 3;
}

transport::transport(program& p) : p_(p), d_(p.d) {}

void transport::wait_ms(int ms) {
    // The clock messages to outside gear need their pauses; the waits spin on the clock.
    const std::int64_t end = p_.clk.now_ms() + ms;
    while (p_.clk.now_ms() < end) p_.clk.sleep_ms(1);
    waited_ms += ms;
}

void transport::send_clock_ports(std::uint8_t a, std::uint8_t b, std::uint8_t c, int n) {
    const std::uint8_t m[3] = {a, b, c};
    for (int port = 0; port < 4; ++port)
        if (d_.sync_out_ports[port] && d_.midi_out_handle[port] != 0)
            p_.eng.send_now(port, m, static_cast<std::size_t>(n));
}

void transport::buttons_running() {
    buttons.play = true;
    buttons.stop = buttons.pause = false;
}

void transport::buttons_stopped(bool paused) {
    buttons.play = false;
    buttons.stop = true;
    buttons.pause = paused;
}

void transport::halt_transport(int mode) {
    const bool was_stopped = shared_load(d_.stopped) != 0;
    shared_store(d_.stopped, 1);
    p_.eng.wait_idle();
    shared_store(d_.record_enable, 0);
    d_.record_paused = 0;
    d_.input_armed = 0;
    d_.input_started = 0;
    clock_stop(mode, was_stopped);
    p_.wait_request(d_.all_notes_off_request);
    if (mode == 1 && p_.app.reset_on_stop) p_.wait_request(d_.reset_request);
    recorder(p_, *this).store_take(d_.record_pattern, d_.current_track);
    if (!(!was_stopped && mode != 0)) editor_refresh = true;
}

void transport::play() {
    // With punch armed, Play starts the take that the engine punches in and out.
    if (d_.punch_on) {
        recorder(p_, *this).punch_start();
        return;
    }
    halt_transport(0);
    rewind(0);
    clock_start(d_.position);
    p_.run_engine();
    d_.record_paused = 0;
    follow = true;
    buttons.record = buttons.overdub = false;
    buttons_running();
}

void transport::stop() {
    const bool was_stopped = shared_load(d_.stopped) != 0;
    halt_transport(1);
    if (was_stopped) rewind(1);
    follow = false;
    buttons.record = buttons.overdub = false;
    position_redraw = true;
    buttons_stopped(false);
}

void transport::pause() {
    if (shared_load(d_.stopped) == 0) {
        shared_store(d_.stopped, 1);
        p_.eng.wait_idle();
        d_.input_started = 0;
        if (d_.recording) {
            d_.record_paused = 1;
            shared_store(d_.record_enable, 0);
        } else {
            follow = false;
        }
        if (d_.sync_out) {
            send_clock_ports(0xFC);
            wait_ms(20);
            d_.last_spp_position = -1;
        }
        p_.wait_request(d_.all_notes_off_request);
        position_redraw = true;
        buttons_stopped(true);
        return;
    }
    if (!d_.external_sync) locate(p_, d_.position);
    if (d_.sync_out) {
        d_.sync_delay_count = 0;
        d_.sync_delay = static_cast<std::int8_t>(sync_delay_value);
        send_clock_ports(0xFB);
        wait_ms(50);
    }
    p_.run_engine();
    if (d_.record_paused) {
        d_.record_paused = 0;
        shared_store(d_.record_enable, 1);
    } else {
        follow = true;
    }
    buttons_running();
}

void transport::rewind(int mode) {
    std::int32_t target = song_start;
    if (d_.song_mode) {
        if (mode == 1 && d_.main_screen) d_.current_step = 0;
        if (!d_.main_screen) d_.current_step = d_.song_start_step;
        target = start_holding_pickup(p_, d_.current_step);
    }
    if (d_.cycle_on && mode == 0) target = d_.left_locator;
    locate(p_, target);
}

void transport::clock_start(std::int32_t pos) {
    if (!d_.sync_out) return;
    d_.sync_delay_count = 0;
    d_.sync_delay = static_cast<std::int8_t>(sync_delay_value);
    if (pos != song_start) {
        song_position_pointer(pos);
        wait_ms(100);
        send_clock_ports(0xFB);
        wait_ms(100);
    } else {
        send_clock_ports(0xFA);
        wait_ms(100);
        d_.spp_delay = 0;
    }
}

void transport::clock_stop(int mode, bool was_stopped) {
    if (!d_.sync_out || !(mode == 1 || !was_stopped)) return;
    send_clock_ports(0xFC);
    wait_ms(20);
    d_.last_spp_position = -1;
    if (!was_stopped) d_.spp_delay = 0;
}

void transport::song_position_pointer(std::int32_t pos) {
    if (!d_.sync_out) return;
    int value;
    if (pos <= song_start) {
        value = 0;
        d_.spp_delay = song_start - pos;
    } else {
        // Aimed a little ahead of the position; clock begins when the position gets there.
        value = (pos - song_start) / 48 + spp_offset;
        d_.spp_delay = spp_offset * 48 - (pos - song_start) % 48;
    }
    send_clock_ports(0xF2, static_cast<std::uint8_t>(value & 0x7F), static_cast<std::uint8_t>((value >> 7) & 0x7F), 3);
}

void transport::memory_position_key(int i, bool shift) {
    i = std::clamp(i, 0, 3);
    if (shift) {
        memory_position(i) = static_cast<std::uint32_t>(d_.position);
        return;
    }
    const std::int32_t target = std::clamp(static_cast<std::int32_t>(memory_position(i)), 0, last_position);
    const bool was_running = shared_load(d_.stopped) == 0;
    shared_store(d_.stopped, 1);
    p_.eng.wait_idle();
    if (!was_running) {
        song_position_pointer(target);
    } else {
        clock_stop(0, false);
        wait_ms(100);
        clock_start(target);
    }
    locate(p_, target);
    if (!was_running)
        position_redraw = true;
    else
        p_.run_engine();
    follow = true;
    editor_refresh = true;
}

void transport::memory_locator_key(int i, bool shift) {
    if (shift) {
        memory_locator(i, 0) = static_cast<std::uint32_t>(d_.left_locator);
        memory_locator(i, 1) = static_cast<std::uint32_t>(d_.right_locator);
        return;
    }
    d_.left_locator = std::clamp(static_cast<std::int32_t>(memory_locator(i, 0)), 0, last_locator_position);
    d_.right_locator = std::clamp(static_cast<std::int32_t>(memory_locator(i, 1)), 0, last_locator_position);
    left_locator_changed = true;
    if (d_.cycle_on && shared_load(d_.stopped) == 0) {
        shared_store(d_.stopped, 1);
        p_.eng.wait_idle();
        clock_stop(0, false);
        wait_ms(100);
        clock_start(d_.left_locator);
        locate(p_, d_.left_locator);
        p_.run_engine();
        follow = true;
        left_locator_changed = false;
    } else if (d_.cycle_on) {
        // Stopped with the cycle on: go to the left locator.
        locate(p_, d_.left_locator);
    }
    position_redraw = true;
    p_.screen.repaint(4);
    p_.screen.repaint(5);
}

void transport::set_left_locator(std::int32_t v) {
    d_.left_locator = std::clamp(v, 0, last_locator_position);
    left_locator_changed = true;
}

void transport::set_right_locator(std::int32_t v) { d_.right_locator = std::clamp(v, 0, last_locator_position); }

void transport::move_bar(bool forward, bool ten) {
    const bool running = shared_load(d_.stopped) == 0;
    std::int32_t pos = running ? pending_position : d_.position;
    const event_store& s = p_.store();
    const ref32 sig = signature_at(s, d_.active_signature.first, pos);
    const std::int32_t bar = signature_of(s.at(sig)).bar_ticks();
    const std::int32_t origin = s.position(sig);
    std::int32_t offset = pos - origin;
    std::int32_t into = ((offset % bar) + bar) % bar;
    const int count = ten ? 10 : 1;
    if (forward) {
        pos = into == 0 ? pos + bar * count : pos + (bar - into);
    } else if (into == 0) {
        pos -= bar * count;
    } else {
        pos -= into;
        // While running a press always sounds as a move.
        if (running) pos -= bar;
    }
    pos = std::clamp(pos, 0, last_position);
    if (running) {
        pending_position = pos;
        pending_position_set = true;
    } else {
        d_.position = pos;
        pending_locate = pos;
        position_redraw = true;
    }
}

void transport::dial_position(std::int32_t v) {
    v = std::clamp(v, 0, last_position);
    if (shared_load(d_.stopped) == 0) {
        pending_position = v;
        pending_position_set = true;
        return;
    }
    locate(p_, v);
    follow = true;
    position_redraw = true;
}

void transport::toggle_cycle() {
    if (p_.refuse_while_recording()) return;
    if (d_.internal_record) {
        p_.message(msg_internal_record_active);
        return;
    }
    d_.cycle_on = d_.cycle_on ? 0 : 1;
    if (d_.cycle_on) {
        if (shared_load(d_.stopped) == 0) cycle_prepare(p_);
        d_.punch_on = 0;
    }
    buttons.cycle = d_.cycle_on;
    buttons.punch = d_.punch_on;
}

void transport::toggle_punch() {
    if (p_.refuse_while_recording()) return;
    if (d_.internal_record) {
        p_.message(msg_internal_record_active);
        return;
    }
    d_.punch_on = d_.punch_on ? 0 : 1;
    if (d_.punch_on) d_.cycle_on = 0;
    buttons.cycle = d_.cycle_on;
    buttons.punch = d_.punch_on;
}

void transport::solo_follows_track() {
    if (!p_.app.solo_on) return;
    std::memset(d_.track_enable, 0, sizeof d_.track_enable);
    std::memset(d_.parallel_enable, 0, sizeof d_.parallel_enable);
    const int t = std::clamp<int>(d_.current_track, 0, 31);
    (d_.parallel_selected ? d_.parallel_enable : d_.track_enable)[t] = 1;
    p_.app.solo_track = t;
}

void transport::toggle_solo() {
    if (!p_.app.solo_on) {
        p_.wait_request(d_.all_notes_off_request);
        p_.app.solo_on = true;
        solo_follows_track();
    } else {
        p_.app.solo_on = false;
        std::memset(d_.track_enable, 1, sizeof d_.track_enable);
        std::memset(d_.parallel_enable, 1, sizeof d_.parallel_enable);
    }
    buttons.solo = p_.app.solo_on;
}

void transport::toggle_tempo_track() {
    if (d_.external_sync) return;
    d_.tempo_track_on = d_.tempo_track_on ? 0 : 1;
    if (shared_load(d_.stopped) == 0) locate(p_, d_.position);
    if (d_.tempo_track_on) {
        std::int32_t t = default_tempo;
        tempo_at(p_, d_.position, &t);
        shown_tempo = t;
        set_tempo_increment(d_, t);
    } else {
        shown_tempo = p_.app.song_tempo;
        set_tempo_increment(d_, p_.app.song_tempo);
    }
    buttons.tempo = d_.tempo_track_on;
}

void transport::set_manual_tempo(std::int32_t tempo) {
    if (d_.tempo_track_on) {
        p_.message(msg_tempo_track_active);
        return;
    }
    if (d_.external_sync) return;
    p_.app.song_tempo = std::clamp(tempo, min_tempo, max_tempo);
    shown_tempo = p_.app.song_tempo;
    set_tempo_increment(d_, p_.app.song_tempo);
}

void transport::toggle_signature_track() {
    d_.signature_track_on = d_.signature_track_on ? 0 : 1;
    d_.active_signature = d_.signature_track_on ? d_.signature_track : d_.signature_chain;
    if (shared_load(d_.stopped) == 0) locate(p_, d_.position);
    buttons.signature = d_.signature_track_on;
}

void transport::set_external_sync(bool external) {
    if (!external) {
        d_.external_sync = 0;
        set_tempo_increment(d_, p_.app.song_tempo);
        return;
    }
    if (d_.tempo_track_on) toggle_tempo_track();
    d_.external_sync = 1;
    d_.external_seen = 0;
}

void transport::panic() {
    p_.wait_request(d_.all_notes_off_request);
    p_.wait_request(d_.reset_request);
}

// Moves the engine to a position dialled while playing; with sync out, the song position goes out first.
void transport::tick_position(bool held, bool running) {
    dll_data& d = d_;
    if (!d.sync_out) {
        if (pending_position_set && !held && running) {
            locate(p_, pending_position);
            pending_position_set = false;
        }
    } else if (running || d.last_spp_position != -1) {
        if (!held && (pending_position_set || pending_locate != -1)) {
            program::park parked(p_);
            p_.wait_request(d.all_notes_off_request);
            const std::int32_t target = pending_position_set ? pending_position : d.position;
            song_position_pointer(target);
            locate(p_, target);
            pending_position_set = false;
            pending_locate = -1;
        }
    } else {
        song_position_pointer(d.position);
        d.last_spp_position = d.position;
    }
    if (left_locator_changed && !held && running) {
        cycle_prepare(p_);
        left_locator_changed = false;
    }
}

// Start, Continue and Stop received from the external clock.
void transport::tick_external_transport(bool running) {
    dll_data& d = d_;
    if (d.external_start || d.external_continue) {
        if (d.sync_out) {
            d.send_port = 0;
            d.send_status = 0xFB;
            d.send_data1 = d.send_data2 = 0;
            p_.raise_request(d.send_request);
            wait_ms(3);
        }
        // A Start begins from the song's start; the engine counted the clocks meanwhile.
        if (d.external_start && !running) rewind(0);
        d.external_start = d.external_continue = 0;
        p_.run_engine();
        follow = true;
        buttons_running();
    } else if (d.external_stop) {
        stop();
        d.external_stop = 0;
    }
}

// The tempo shown under an external clock: the mean of ten readings.
void transport::tick_external_tempo() {
    if (shared_load(d_.stopped)) {
        external_sum_ = 0;
        external_samples_ = 0;
        return;
    }
    external_sum_ += d_.external_tempo;
    if (++external_samples_ >= 10) {
        shown_tempo = static_cast<std::int32_t>(std::clamp<std::int64_t>(external_sum_ / external_samples_, 1, 999)) * 100;
        external_sum_ = 0;
        external_samples_ = 0;
    }
}

// What the engine asked of the window: buttons, the end of a take, the song's end, a stop.
void transport::tick_engine_requests(bool event_editor_open) {
    dll_data& d = d_;
    if (!event_editor_open && d.engine_request) {
        if (d.engine_request == request_refresh_buttons) {
            if (shared_load(d.stopped)) buttons_stopped(buttons.pause); else buttons_running();
        } else if (d.engine_request == request_end_take) {
            recorder(p_, *this).end_take();
        }
        d.engine_request = 0;
    }
    if (d.not_at_end == 0) {
        stop();
        d.not_at_end = 1;
    }
    if (d.max_length_reached) {
        stop();
        p_.message(msg_max_bar_length);
        p_.screen.repaint(-1);
        d.max_length_reached = 0;
    }
}

void transport::tick(bool held, bool editor_open, bool event_editor_open) {
    dll_data& d = d_;
    const bool running = shared_load(d.stopped) == 0;
    if (editor_open) std::memset(d.track_activity, 0xFF, sizeof d.track_activity);

    tick_position(held, running);
    if (d.external_sync) tick_external_transport(running);

    if (running || position_redraw || d.record_armed_external) {
        if (!held) {
            p_.screen.repaint(region_position);
            pending_position = d.position;
        }
        position_redraw = false;
        d.record_armed_external = 0;
    }

    tick_engine_requests(event_editor_open);
    if (d.external_sync) tick_external_tempo();

    if (d.engine_stop) {
        halt_transport(0);
        follow = false;
        buttons_stopped(false);
        position_redraw = true;
        d.engine_stop = 0;
    }
    if (const std::int32_t t = shared_load(d.tempo_display); t != 0) {
        shown_tempo = t;
        shared_store(d.tempo_display, 0);
    }
    if (d.input_activity != 0xFF) p_.screen.repaint(-2);
}

}  // namespace kestrune
