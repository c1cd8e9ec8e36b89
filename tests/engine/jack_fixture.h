// A JACK server of a test's own (dummy driver, 1024-frame period) and a small client that stands
// in for a synth and a keyboard: it records what arrives with its frame and due time.
#pragma once

#include <gtest/gtest.h>
#include <jack/jack.h>
#include <jack/midiport.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "engine/jack_backend.h"
#include "tests/support/dummy_jackd.h"

namespace kestrune::testing {

inline constexpr int rate = 48000;
inline constexpr int period = 1024;
inline constexpr double latency = period + jack_margin_us * rate / 1e6;

inline std::int64_t steady_us() {
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

inline void sleep_ms(int ms) {
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

inline bool have_jackd() {
    return std::system("command -v jackd >/dev/null 2>&1") == 0;
}

// The test's client: one MIDI input that records every event with its absolute frame, and one
// output that writes a scripted pair of events when asked.
class probe {
  public:
    struct event {
        // When the message was due, read back from its frame through the server's mapping of
        // frames to time in the cycle that carried it, less the backend's constant latency.
        double due_us;
        std::uint8_t bytes[3];
        std::uint32_t size;
    };

    probe() {
        // Another test's server coming or going can hold the shared registry for a while.
        for (int i = 0; i < 600 && !client_; ++i)
            if (!(client_ = jack_client_open("probe", JackNoStartServer, nullptr))) sleep_ms(50);
        if (!client_) return;
        in_ = jack_port_register(client_, "in", JACK_DEFAULT_MIDI_TYPE, JackPortIsInput, 0);
        out_ = jack_port_register(client_, "out", JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput, 0);
        jack_set_process_callback(client_, process, this);
        jack_on_shutdown(
            client_, +[](void* self) { static_cast<probe*>(self)->dead_.store(true); }, this);
        for (int i = 0; i < 100 && !jack_minus_engine(&difference_); ++i) {
        }
        if (!in_ || !out_ || jack_activate(client_) != 0) {
            jack_client_close(client_);
            client_ = nullptr;
        }
    }
    // A client whose server died is left as it is: libjack cannot close it once another
    // server runs.
    ~probe() {
        if (client_ && !dead_.load()) jack_client_close(client_);
    }
    bool ok() const { return client_ != nullptr; }
    std::string in_name() const { return jack_port_name(in_); }
    std::string out_name() const { return jack_port_name(out_); }

    // JACK's clock less the engine's, read between two close readings of the engine's; false
    // when the thread was held up between them.
    static bool jack_minus_engine(double* d) {
        const auto before = std::chrono::steady_clock::now();
        const auto jack = static_cast<double>(jack_get_time());
        const auto after = std::chrono::steady_clock::now();
        if (after - before > std::chrono::microseconds(20)) return false;
        const auto mid = before + (after - before) / 2;
        *d = jack - std::chrono::duration<double, std::micro>(mid.time_since_epoch()).count();
        return true;
    }

    int count() const { return count_.load(std::memory_order_acquire); }
    // Cycles that came more than half a period late: the server missed its deadline, and timing
    // measured across such a cycle says nothing about the program.
    int disturbed() const { return disturbed_.load(); }
    // Only while nothing is being played to the probe.
    void reset() {
        count_.store(0);
        disturbed_.store(0);
    }
    const event& operator[](int i) const { return got_[static_cast<std::size_t>(i)]; }
    bool wait_connections(int n) const {
        for (int i = 0; i < 10000 && jack_port_connected(in_) != n; ++i) sleep_ms(1);
        return jack_port_connected(in_) == n;
    }
    bool wait_for(int n, int ms) const {
        for (int i = 0; i < ms && count() < n; ++i) sleep_ms(1);
        return count() >= n;
    }

    // The start of the cycle play_pair wrote in, on the engine's clock, and its period.
    double written_start_us() const { return written_start_us_; }
    double written_period_us() const { return written_period_us_; }

    // Writes a note at offset 0 and its end at `second_offset` in the next cycle; returns the
    // frame of that cycle's start.
    std::int64_t play_pair(std::uint32_t second_offset) {
        second_offset_ = second_offset;
        written_frame_.store(-1);
        armed_.store(true, std::memory_order_release);
        for (int i = 0; i < 10000 && written_frame_.load() < 0; ++i) sleep_ms(1);
        return written_frame_.load();
    }

  private:
    static int process(jack_nframes_t frames, void* self) {
        auto* p = static_cast<probe*>(self);
        const auto woke = static_cast<double>(jack_get_time());
        if (p->last_wake_ > 0 && woke - p->last_wake_ > 1.5e6 * frames / rate)
            p->disturbed_.fetch_add(1);
        p->last_wake_ = woke;
        const std::int64_t first = jack_last_frame_time(p->client_);
        void* in = jack_port_get_buffer(p->in_, frames);
        const std::uint32_t n = jack_midi_get_event_count(in);
        jack_nframes_t cycle_frame = 0;
        jack_time_t start = 0, next = 0;
        float period_us = 0;
        jack_get_cycle_times(p->client_, &cycle_frame, &start, &next, &period_us);
        double period = static_cast<double>(next) - static_cast<double>(start);
        if (period < frames * 0.5e6 / rate || period > frames * 1.5e6 / rate)
            period = frames * 1e6 / rate;
        p->jack_minus_engine(&p->difference_);
        for (std::uint32_t i = 0; i < n; ++i) {
            jack_midi_event_t ev;
            const int c = p->count_.load(std::memory_order_relaxed);
            if (jack_midi_event_get(&ev, in, i) != 0 || c >= static_cast<int>(p->got_.size()))
                continue;
            event& e = p->got_[static_cast<std::size_t>(c)];
            e.due_us = static_cast<double>(start) - p->difference_ +
                       (static_cast<double>(ev.time) - latency) * period / frames;
            e.size = static_cast<std::uint32_t>(ev.size);
            for (std::size_t b = 0; b < 3; ++b) e.bytes[b] = b < ev.size ? ev.buffer[b] : 0;
            p->count_.store(c + 1, std::memory_order_release);
        }
        void* out = jack_port_get_buffer(p->out_, frames);
        jack_midi_clear_buffer(out);
        if (p->armed_.exchange(false, std::memory_order_acq_rel)) {
            const std::uint8_t on[3] = {0x90, 70, 1}, off[3] = {0x80, 70, 0};
            jack_midi_event_write(out, 0, on, 3);
            jack_midi_event_write(out, p->second_offset_, off, 3);
            p->written_start_us_ = static_cast<double>(start) - p->difference_;
            p->written_period_us_ = period;
            p->written_frame_.store(first);
        }
        return 0;
    }

    jack_client_t* client_ = nullptr;
    std::atomic<bool> dead_{false};
    double difference_ = 0;
    jack_port_t* in_ = nullptr;
    jack_port_t* out_ = nullptr;
    std::array<event, 512> got_{};
    std::atomic<int> count_{0};
    std::atomic<int> disturbed_{0};
    double last_wake_ = 0;
    std::atomic<bool> armed_{false};
    std::uint32_t second_offset_ = 0;
    std::atomic<std::int64_t> written_frame_{-1};
    double written_start_us_ = 0;  // the start of that cycle on the engine's clock
    double written_period_us_ = 0;
};

class jack_fixture : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        if (!have_jackd()) {
            skip_reason = "jackd is not installed (scripts/install-deps.sh installs jackd2)";
            return;
        }
        // A server name of this process's own, so parallel runs and a user's server stay apart.
        const std::string name = "kestrune-test-" + std::to_string(getpid());
        setenv("JACK_DEFAULT_SERVER", name.c_str(), 1);
        skip_reason = start_server();
    }

    static void TearDownTestSuite() { stop_server(SIGTERM); }

    // Starts jackd under JACK_DEFAULT_SERVER; the reason it is not running, or empty.
    static std::string start_server() {
        std::string why;
        server = start_dummy_jackd(std::getenv("JACK_DEFAULT_SERVER"), rate, period, &why);
        return why;
    }

    static void stop_server(int sig) {
        ++servers_stopped;
        stop_dummy_jackd(server, sig);
    }

    // A probe whose server was stopped under it is left to libjack, which may tell it so at any
    // time later: it is neither closed nor freed.
    ~jack_fixture() override {
        if (servers_stopped == stopped_before_) delete &pr;
    }

    void SetUp() override {
        if (!skip_reason.empty()) GTEST_SKIP() << skip_reason;
        ASSERT_TRUE(pr.ok());
    }

    static inline pid_t server = -1;
    static inline std::string skip_reason;
    static inline int servers_stopped = 0;

    static int index_of(const std::vector<std::string>& v, const std::string& name) {
        for (std::size_t i = 0; i < v.size(); ++i)
            if (v[i] == name) return static_cast<int>(i);
        return -1;
    }

    const int stopped_before_ = servers_stopped;
    probe& pr = *new probe;
};

}  // namespace kestrune::testing
