// The transport: the routines that start, stop, pause and move playback, and the periodic
// housekeeping that picks up what the engine reports.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "core/program.h"

namespace kestrune {

inline constexpr const char* msg_internal_record_active = "Can't do this while\nInternal Record is active!";
inline constexpr const char* msg_tempo_track_active =
    "The Tempo Track is active!\nChange value in the Tempo Editor.";
inline constexpr const char* msg_max_bar_length = "You have reached max bar length!";

// What the transport buttons show.
struct transport_buttons {
    bool play = false;
    bool stop = true;
    bool pause = false;
    bool record = false;
    bool overdub = false;
    bool punch = false;
    bool cycle = false;
    bool solo = false;
    bool tempo = false;
    bool signature = false;
    bool song = false;
    bool rewind = false;
    bool forward = false;
    bool operator==(const transport_buttons&) const = default;
};

class transport {
public:
    explicit transport(program& p);

    // mode 1 from Stop, 0 from the others.
    void halt_transport(int mode);
    void play();
    // A first Stop stops where it stands; a second goes back.
    void stop();
    void pause();
    void rewind(int mode);
    void clock_start(std::int32_t p);
    void clock_stop(int mode, bool was_stopped);
    void song_position_pointer(std::int32_t p);

    void memory_position_key(int i, bool shift);
    void memory_locator_key(int i, bool shift);
    void set_left_locator(std::int32_t v);
    void set_right_locator(std::int32_t v);
    // Rewind and forward by bar lines; `ten` when both buttons are held.
    void move_bar(bool forward, bool ten);
    // A position dialled in the position field.
    void dial_position(std::int32_t v);

    void toggle_cycle();
    void toggle_punch();
    void toggle_solo();
    // Solo follows the current track.
    void solo_follows_track();
    void toggle_tempo_track();
    void toggle_signature_track();
    void set_external_sync(bool external);
    void set_manual_tempo(std::int32_t tempo);
    void panic();

    // The periodic work on the UI thread; `buttons_held` is the mouse state, `editor_open` true
    // while an editor or the mixer has the window.
    void tick(bool buttons_held, bool editor_open = false, bool event_editor_open = false);

    // State kept by the application.
    bool follow = false;
    std::int32_t pending_position = song_start;
    bool pending_position_set = false;
    std::int32_t pending_locate = -1;
    bool left_locator_changed = false;
    bool two_bar_count_in = false;
    int spp_offset = 1;        // sixteenths, 1 to 8
    int sync_delay_value = 0;  // ticks, -7 to 7
    bool position_redraw = false;
    bool editor_refresh = false;
    // Memory positions and locator pairs are kept with the song.
    std::uint32_t& memory_position(int i) { return p_.song.position_memory[static_cast<std::size_t>(std::clamp(i, 0, 3))]; }
    std::uint32_t& memory_locator(int i, int side) {
        return p_.song.position_memory[static_cast<std::size_t>(4 + 2 * std::clamp(i, 0, 3) + (side ? 1 : 0))];
    }
    transport_buttons buttons;
    // Play lit, Stop and Pause dark.
    void buttons_running();
    std::int32_t shown_tempo = default_tempo;

    // Milliseconds the clock waits took, for tests.
    std::int64_t waited_ms = 0;

private:
    void wait_ms(int ms);
    void send_clock_ports(std::uint8_t a, std::uint8_t b = 0, std::uint8_t c = 0, int n = 1);
    // Stop lit; Pause too while the position is held by Pause.
    void buttons_stopped(bool paused);
    // The steps of tick().
    void tick_position(bool held, bool running);
    void tick_external_transport(bool running);
    void tick_external_tempo();
    void tick_engine_requests(bool event_editor_open);

    program& p_;
    dll_data& d_;
    std::int64_t external_sum_ = 0;
    int external_samples_ = 0;
};

}  // namespace kestrune
