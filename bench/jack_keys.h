// A sample-accurate keyboard player on a JACK server, for the recording benchmark: one
// client listens to the program's click, another plays a note on each beat exactly on the frame
// where the click of that beat sounds, as a musician in perfect time with the click would. The
// next beat's frame is the last click's frame and one beat of frames, so the player never waits
// for a click it cannot hear yet. Two clients, so the graph runs player, program, listener in
// one cycle, with no loop between them.
#pragma once

#include <jack/jack.h>
#include <jack/midiport.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <thread>

namespace kestrune::testing {

class jack_keys {
  public:
    static constexpr int most = 512;

    // `click_status` is the note-on status of the program's click.
    jack_keys(std::uint8_t click_status, std::int64_t frames_per_beat)
        : click_status_(click_status), beat_(frames_per_beat) {
        ear_ = jack_client_open("keys-ear", JackNoStartServer, nullptr);
        hand_ = jack_client_open("keys-hand", JackNoStartServer, nullptr);
        if (!ear_ || !hand_) return;
        in_ = jack_port_register(ear_, "in", JACK_DEFAULT_MIDI_TYPE, JackPortIsInput, 0);
        out_ = jack_port_register(hand_, "out", JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput, 0);
        jack_set_process_callback(ear_, listen, this);
        jack_set_process_callback(hand_, play, this);
        ok_ = in_ && out_ && jack_activate(ear_) == 0 && jack_activate(hand_) == 0;
    }
    ~jack_keys() {
        for (jack_client_t* c : {hand_, ear_})
            if (c) jack_client_close(c);
    }
    jack_keys(const jack_keys&) = delete;
    jack_keys& operator=(const jack_keys&) = delete;

    bool ok() const { return ok_; }
    std::string ear() const { return jack_port_name(in_); }
    std::string hand() const { return jack_port_name(out_); }
    // Connects the hand to a port as a patchbay would.
    bool connect_hand(const std::string& to) {
        return jack_connect(hand_, jack_port_name(out_), to.c_str()) == 0;
    }

    // From the beat of click `first_click` on, `count` notes of `length` frames, keys from `key`
    // up; the clicks are counted from the next one heard. Only while no click sounds.
    void start(int first_click, int count, std::int64_t length, std::uint8_t key) {
        armed_.store(false);
        std::this_thread::sleep_for(std::chrono::milliseconds(100));  // the hand's cycle is over
        clicks_.store(0, std::memory_order_release);
        played_.store(0);
        late_.store(0);
        first_ = first_click;
        count_ = count;
        length_ = length;
        key_ = key;
        next_ = 0;
        note_off_next_ = false;
        armed_.store(true, std::memory_order_release);
    }
    int played() const { return played_.load(std::memory_order_acquire); }
    // Notes written later than their frame (the player was held up): the attempt says nothing.
    int late() const { return late_.load(); }
    bool done() const { return played() >= count_; }

  private:
    static int listen(jack_nframes_t frames, void* self) {
        auto* k = static_cast<jack_keys*>(self);
        const std::int64_t first = jack_last_frame_time(k->ear_);
        void* in = jack_port_get_buffer(k->in_, frames);
        const std::uint32_t n = jack_midi_get_event_count(in);
        for (std::uint32_t i = 0; i < n; ++i) {
            jack_midi_event_t ev;
            if (jack_midi_event_get(&ev, in, i) != 0 || ev.size < 3) continue;
            if (ev.buffer[0] != k->click_status_ || ev.buffer[2] == 0) continue;
            const int c = k->clicks_.load(std::memory_order_relaxed);
            if (c >= most) continue;
            k->click_frame_[static_cast<std::size_t>(c)] = first + ev.time;
            k->clicks_.store(c + 1, std::memory_order_release);
        }
        return 0;
    }

    static int play(jack_nframes_t frames, void* self) {
        auto* k = static_cast<jack_keys*>(self);
        void* out = jack_port_get_buffer(k->out_, frames);
        jack_midi_clear_buffer(out);
        if (!k->armed_.load(std::memory_order_acquire)) return 0;
        const std::int64_t first = jack_last_frame_time(k->hand_);
        while (k->next_ < k->count_) {
            // Note n sounds on the beat after click first + n - 1.
            const int before = k->first_ + k->next_ - 1;
            if (before >= k->clicks_.load(std::memory_order_acquire)) break;
            std::int64_t at = k->click_frame_[static_cast<std::size_t>(before)] + k->beat_;
            if (k->note_off_next_) at += k->length_;
            if (at >= first + frames) break;
            if (at < first) {
                k->late_.fetch_add(1);
                at = first;
            }
            const auto key = static_cast<std::uint8_t>(k->key_ + k->next_);
            const std::uint8_t msg[3] = {static_cast<std::uint8_t>(k->note_off_next_ ? 0x80 : 0x90),
                                         key,
                                         static_cast<std::uint8_t>(k->note_off_next_ ? 0 : 100)};
            jack_midi_event_write(out, static_cast<jack_nframes_t>(at - first), msg, 3);
            if (k->note_off_next_) k->played_.store(++k->next_, std::memory_order_release);
            k->note_off_next_ = !k->note_off_next_;
        }
        return 0;
    }

    std::uint8_t click_status_;
    std::int64_t beat_;
    jack_client_t* ear_ = nullptr;
    jack_client_t* hand_ = nullptr;
    jack_port_t* in_ = nullptr;
    jack_port_t* out_ = nullptr;
    bool ok_ = false;
    std::array<std::int64_t, most> click_frame_{};
    std::atomic<int> clicks_{0};
    std::atomic<bool> armed_{false};
    std::atomic<int> played_{0};
    std::atomic<int> late_{0};
    // The hand's own, set by start() before it arms.
    int first_ = 0, count_ = 0, next_ = 0;
    std::int64_t length_ = 0;
    std::uint8_t key_ = 60;
    bool note_off_next_ = false;
};

}  // namespace kestrune::testing
