// The engine's tick: advancing the position, sending due events with the track parameters,
// open-note bookkeeping, song steps, the cycle, tempo and signature, click, clock and requests.
// Everything here runs on the engine thread, MIDI thru on the input's thread; nothing allocates
// or locks.
#pragma once

#include <atomic>
#include <cstdint>
#include <limits>

#include "core/dll_data.h"
#include "core/engine_link.h"
#include "core/spsc_ring.h"
#include "engine/midi_backend.h"
#include "engine/open_notes.h"
#include "engine/position_course.h"
#include "song/event_store.h"

namespace kestrune {

inline constexpr std::int64_t never = std::numeric_limits<std::int64_t>::max();

class player final : public midi_input_sink {
public:
    player(dll_data& d, arena& a);

    // Called after the pool exists.
    void attach(const pool_layout& layout);
    void set_backend(midi_backend* b) { backend_ = b; }

    // Serves requests and, while running, plays everything due up to now_us.
    void process(std::int64_t now_us);
    // The time at which the next event falls due while running; `never` otherwise.
    std::int64_t next_due_us() const;
    // Stopped with nothing of its own due: only a request, a send or input gives it work.
    bool idle() const {
        return shared_load(d_.stopped) != 0 && click_off_due_ == never && punch_end_due_ == never;
    }
    void serve_requests(std::int64_t now_us);

    // Notes now sounding from playback, for tests and checks.
    int open_note_count() const { return notes_.count(); }

    // Input from the backends' threads: queued for the engine thread, never blocking for longer
    // than another input's handing over.
    void midi_in(const std::uint8_t* bytes, std::size_t n, std::int64_t at_us) override;
    // Called after input was queued, to wake the engine thread.
    using wake_function = void (*)(void*);
    void set_wake(wake_function wake, void* arg) {
        wake_ = wake;
        wake_arg_ = arg;
    }
    // A short message from the UI thread, sent at the engine's next turn.
    void queue_send(int port, const std::uint8_t* bytes, std::size_t n);
    // Takes the next message for the UI thread; false when there is none.
    bool next_message(engine_message& m);
    // Engine thread: a message for the UI thread.
    void post(int id, std::int32_t w, std::int32_t l);

private:
    enum group : int { playing = 0, parallel = 1, take = 2 };

    struct span {
        std::int64_t fine_from;  // fine position at the span's start
        std::int64_t us_from;    // its time
        std::int64_t num;        // fine units per µs as num / den
        std::int64_t den;
        std::int64_t us_to;
        bool instant = false;  // everything in the span is due at us_from (external clock)
    };
    // The next position at which the playing changes course.
    struct limit {
        enum kind : int { cycle, step, tempo, signature, end };
        std::int32_t pos;
        kind k;
    };
    static constexpr std::int64_t click_length_us = 30'000;

    void resume(std::int64_t now_us);
    void advance(std::int64_t now_us);
    void set_position(std::int64_t fine);
    limit next_limit(std::int32_t pos) const;
    std::int32_t switch_point(int step) const;
    void pending_at(std::int32_t pos, std::int64_t at);
    void at_limit(const limit& l, std::int64_t at);
    void switch_step(int step, std::int64_t at);
    void cycle_jump(std::int64_t at);
    void apply_tempo(std::int32_t tempo);
    // The rate in force: the exact tempo when it agrees with tempo_increment, else the increment.
    void rate(std::int64_t* num, std::int64_t* den) const;
    void seat_group(int pattern, std::int32_t* positions, std::int32_t local);

    // Plays every track from global position `from` to `to` (inclusive or not).
    void play_tracks(const span& s, std::int32_t from, std::int32_t to, bool inclusive);
    void play_group(const span& s, int g, int pattern, std::int32_t* positions,
                    const std::uint8_t* enable, std::uint32_t mask, int step_transpose,
                    std::int32_t from, std::int32_t to, bool inclusive);
    void send_event(int g, int track, const track_slot& slot, ref32 e, int step_transpose,
                    bool audible, std::int64_t due, std::int32_t at_pos);
    void beats_and_clock(const span& s, std::int32_t to, bool inclusive);
    std::int64_t time_of(const span& s, std::int64_t fine) const;

    // Ends the notes of a track of group g (every track for -1; every group for g -1).
    void end_group_notes(int g, int track, std::int64_t at);
    void end_click(std::int64_t at);
    void send_note_off(int port, int channel, std::uint8_t key, std::int64_t at);
    void all_notes_off(std::int64_t at);
    void send(int port, std::uint8_t a, std::uint8_t b, std::uint8_t c, int n, std::int64_t due);
    // A message a track plays: sent, seen by the mixer, and taken by internal recording.
    void played(int port, std::uint8_t a, std::uint8_t b, std::uint8_t c, int n, std::int64_t due,
                std::int32_t at_pos);
    // A value the engine puts in force on a channel (chase, Full Volume): sent, and the mixer's
    // strips follow it as they follow what a track plays.
    void send_seen(int port, std::uint8_t a, std::uint8_t b, std::uint8_t c, int n, std::int64_t at);
    void send_chase(std::int64_t at);
    void send_reset(std::int64_t at);
    void send_full_volume(std::int64_t at);

    // Input, on the engine thread.
    void drain_input(bool follow_time);
    void input_byte(std::uint8_t b, std::int64_t at);
    void input_short(std::uint8_t status, std::uint8_t d1, std::uint8_t d2, std::int64_t at);
    // A message played at `at` into the take, when the take takes it.
    void take_in(std::uint8_t status, std::uint8_t d1, std::uint8_t d2, std::int64_t at);
    void realtime_in(std::uint8_t b, std::int64_t at);
    // MIDI thru, on the input's thread as the input arrives.
    void thru_input(const std::uint8_t* bytes, std::size_t n, std::int64_t at);
    void thru(std::uint8_t status, std::uint8_t d1, std::uint8_t d2, int size, std::int64_t at);
    void thru_send(int port, std::uint8_t a, std::uint8_t b, std::uint8_t c, int n, std::int64_t at);
    // Engine thread: a note-off for every note thru started and nothing ended yet.
    void end_thru_notes(std::int64_t at);
    void step_input(std::uint8_t status, std::uint8_t d1, std::uint8_t d2);
    void sysex_begin(std::int64_t at);
    void sysex_byte(std::uint8_t b);
    void sysex_end(bool complete);
    void advance_ticks(int ticks, std::int64_t at);
    // Punches in at the left locator and out at the right one, reached at `at`.
    void punch(std::int32_t pos, std::int64_t at);
    // The end of a punch take is asked for once what was played before the right locator is in.
    void end_punch_when_due(std::int64_t now_us);
    // Closes the pass of a cycle take into the next free slot of the working pattern.
    void close_pass();
    // The record area: one record at record_cursor; false when the take has no room left.
    bool record(const midi_event& e);
    ref32 record_slot();
    // The song position at `at`, to the nearest tick; and whether the take takes input played
    // there.
    std::int32_t position_at(std::int64_t at) const;
    bool takes_input(std::int32_t pos) const;
    std::int32_t record_stamp(std::int32_t pos) const;
    // The take's held notes are counted from its first record on.
    void forget_held_notes_of_a_new_take();
    // Counts the take's held notes; false for the note-off of a note a pass's end has ended.
    bool follow_held_note(std::uint8_t status, std::uint8_t d1, std::uint8_t d2);
    // A note held over a pass's end ends there.
    void end_held_notes();
    void mixer_rows(std::int64_t at);
    void mixer_seen(int port, std::uint8_t status, std::uint8_t d1, std::uint8_t d2);

    track_slot& slot(int pattern, int t) const;
    bool port_open(int port) const { return backend_ && port >= 0 && port < 4 && backend_->output_open(port); }

    dll_data& d_;
    arena& a_;
    event_store store_;
    midi_backend* backend_ = nullptr;

    position_course course_;
    std::int64_t punch_end_due_ = never;
    // The notes a take holds now, and those a pass's end ended whose own note-offs are still to
    // come.
    struct held_notes {
        std::uint8_t open[16][128];
        std::uint8_t ended[16][128];
    } held_{};

    bool was_running_ = false;
    bool hold_ = false;  // stopped at a stop step or at the last position until the next start
    std::int64_t last_us_ = 0;
    std::int64_t fine_rest_ = 0;  // remainder of the position advance, in units of 1 / rate_den_
    std::int64_t rate_den_ = 0;
    std::int32_t next_clock_ = 0;
    std::int32_t next_beat_ = 0;
    int next_beat_in_bar_ = 0;
    std::int64_t click_off_due_ = never;
    std::uint8_t click_port_ = 0, click_status_ = 0, click_key_ = 0;

    open_notes notes_;
    std::uint8_t sysex_buffer_[1 << 16];

    // Input ring: the backend's thread writes, the engine thread reads.
    struct input_chunk {
        std::int64_t at;
        std::uint16_t n;
        std::uint8_t bytes[64];
    };
    spsc_ring<input_chunk, 1024> input_;
    write_lock input_lock_;  // the ring has one producer at a time: each system's input comes on
                             // its own thread
    std::atomic<std::size_t> input_dropped_{0};
    wake_function wake_ = nullptr;
    void* wake_arg_ = nullptr;

    // Parser state.
    std::uint8_t running_status_ = 0;
    std::uint8_t data_[2] = {0, 0};
    int data_count_ = 0;
    bool in_sysex_ = false;
    ref32 sysex_head_ = null_ref;
    ref32 sysex_record_ = null_ref;
    int sysex_index_ = 0;
    bool sysex_recording_ = false;

    // Thru's own reading of the input (running status), on the input's thread.
    std::uint8_t thru_status_ = 0;
    std::uint8_t thru_data_[2] = {0, 0};
    int thru_data_count_ = 0;
    // Notes thru started, one bit per port, channel and key: the input's thread sets and clears
    // them, the engine thread takes them all to end them on request.
    static constexpr std::size_t thru_note_words = output_ports * 16 * 128 / 64;
    std::atomic<std::uint64_t> thru_sounding_[thru_note_words] = {};

    // Local positions of the working pattern's passes during a cycle take.
    std::int32_t take_positions_[32] = {};

    // External clock; clocks after a Start or Continue are counted until the transport runs.
    std::int64_t last_clock_at_ = 0;
    bool external_armed_ = false;
    int pending_clocks_ = 0;

    // Short messages from the UI thread.
    struct ui_send {
        std::uint8_t port, n, bytes[3];
    };
    spsc_ring<ui_send, 256> ui_sends_;
    void drain_ui_sends(std::int64_t at);

    // Messages for the UI thread.
    spsc_ring<engine_message, 256> messages_;
};

}  // namespace kestrune
