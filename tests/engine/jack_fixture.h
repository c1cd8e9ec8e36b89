// A JACK server of a test's own (dummy driver, 1024-frame period) and a small client that stands
// in for a synth, a keyboard and a pair of speakers: it keeps the MIDI that arrives, counts the
// frames of sound on each audio input and plays a note when asked.
#pragma once

#include <gtest/gtest.h>
#include <jack/jack.h>
#include <jack/midiport.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <string>
#include <thread>

#include "tests/support/dummy_jackd.h"

namespace kestrune::testing {

inline void sleep_ms(int ms) {
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

class probe {
  public:
    probe() {
        // Another server coming or going can hold the shared registry for a while.
        for (int i = 0; i < 600 && !client_; ++i)
            if (!(client_ = jack_client_open("probe", JackNoStartServer, nullptr))) sleep_ms(50);
        if (!client_) return;
        in_ = jack_port_register(client_, "in", JACK_DEFAULT_MIDI_TYPE, JackPortIsInput, 0);
        out_ = jack_port_register(client_, "out", JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput, 0);
        for (int side : {0, 1})
            audio_[side] = jack_port_register(client_, side ? "right" : "left",
                                              JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0);
        jack_set_process_callback(client_, process, this);
        if (!in_ || !out_ || !audio_[0] || !audio_[1] || jack_activate(client_) != 0) {
            jack_client_close(client_);
            client_ = nullptr;
        }
    }
    ~probe() {
        if (client_) jack_client_close(client_);
    }
    bool ok() const { return client_ != nullptr; }
    jack_client_t* client() const { return client_; }
    std::string in_name() const { return jack_port_name(in_); }
    std::string out_name() const { return jack_port_name(out_); }
    std::string audio_name(int side) const { return jack_port_name(audio_[side]); }
    int sounding_frames(int side) const { return sounding_[side].load(); }

    int count() const { return count_.load(std::memory_order_acquire); }
    // Only while nothing is being played to the probe.
    void reset() { count_.store(0); }
    const std::array<std::uint8_t, 3>& operator[](int i) const {
        return got_[static_cast<std::size_t>(i)];
    }
    bool wait_for(int n, int ms) const {
        for (int i = 0; i < ms && count() < n; ++i) sleep_ms(1);
        return count() >= n;
    }

    // Plays key 70 at the start of a cycle and ends it `frames` later; false if no cycle came.
    bool play_note(std::uint32_t frames) {
        off_frame_ = frames;
        armed_.store(true, std::memory_order_release);
        for (int i = 0; i < 10000 && armed_.load(); ++i) sleep_ms(1);
        return !armed_.load();
    }

  private:
    static int process(jack_nframes_t frames, void* self) {
        auto* p = static_cast<probe*>(self);
        void* in = jack_port_get_buffer(p->in_, frames);
        const std::uint32_t n = jack_midi_get_event_count(in);
        for (std::uint32_t i = 0; i < n; ++i) {
            jack_midi_event_t ev;
            const int c = p->count_.load(std::memory_order_relaxed);
            if (jack_midi_event_get(&ev, in, i) != 0 || c >= static_cast<int>(p->got_.size()))
                continue;
            for (std::size_t b = 0; b < 3; ++b)
                p->got_[static_cast<std::size_t>(c)][b] = b < ev.size ? ev.buffer[b] : 0;
            p->count_.store(c + 1, std::memory_order_release);
        }
        for (int side : {0, 1}) {
            const auto* x =
                static_cast<const float*>(jack_port_get_buffer(p->audio_[side], frames));
            for (jack_nframes_t i = 0; i < frames; ++i)
                if (std::fabs(x[i]) > 1e-3f) p->sounding_[side].fetch_add(1);
        }
        void* out = jack_port_get_buffer(p->out_, frames);
        jack_midi_clear_buffer(out);
        if (p->armed_.load(std::memory_order_acquire)) {
            const std::uint8_t on[3] = {0x90, 70, 100}, off[3] = {0x80, 70, 0};
            jack_midi_event_write(out, 0, on, 3);
            jack_midi_event_write(out, p->off_frame_, off, 3);
            p->armed_.store(false, std::memory_order_release);
        }
        return 0;
    }

    jack_client_t* client_ = nullptr;
    jack_port_t* in_ = nullptr;
    jack_port_t* out_ = nullptr;
    jack_port_t* audio_[2] = {};
    std::atomic<int> sounding_[2] = {};
    std::array<std::array<std::uint8_t, 3>, 512> got_{};
    std::atomic<int> count_{0};
    std::atomic<bool> armed_{false};
    std::uint32_t off_frame_ = 0;
};

class jack_fixture : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        if (std::system("command -v jackd >/dev/null 2>&1") != 0) {
            skip_reason = "jackd is not installed (scripts/install-deps.sh installs jackd2)";
            return;
        }
        skip_reason = server.emplace(48000, 1024).why();
    }
    static void TearDownTestSuite() { server.reset(); }

    void SetUp() override {
        if (!skip_reason.empty()) GTEST_SKIP() << skip_reason;
        pr.emplace();
        ASSERT_TRUE(pr->ok());
    }

    static inline std::optional<dummy_jack_server> server;
    static inline std::string skip_reason;
    std::optional<probe> pr;
};

}  // namespace kestrune::testing
