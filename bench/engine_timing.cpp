// Output timing of the engine thread on the system clock: a dense song (32 tracks of sixteenth
// notes at 140 bpm) played into a backend that notes the moment each message is handed over,
// which is when an immediate-sending system (ALSA) puts it on the wire. Also MIDI thru, from the
// input's arrival at the backend's callback to the output's write, stopped and while the song
// plays, and the engine's CPU while stopped. Prints one line per figure, `name value`.
// `--seconds N` shortens the playing (20 s by default), `--quick` plays 1 s.
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "bench/dense_song.h"
#include "bench/measure.h"
#include "bench/quiet_ui.h"
#include "engine/engine.h"
#include "song/event_store.h"
#include "song/locate.h"
#include "song/position.h"
#include "core/program.h"
#include "song/song_start.h"

namespace kestrune {
namespace {

using namespace dense_song;

std::int64_t steady_us() {
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

// Notes the steady clock at each send, from the engine thread and from thru on the input's
// thread alike; injects input as a device would.
class timing_backend final : public midi_backend {
public:
    struct sent {
        std::int64_t due_us;
        std::int64_t at_us;
        std::uint8_t status, key;
        int port;
        std::atomic<bool> ready{false};
    };
    explicit timing_backend(std::size_t capacity) : log_(capacity) {}

    std::vector<std::string> output_devices() override {
        return {"Out 1", "Out 2", "Out 3", "Out 4"};
    }
    std::vector<std::string> input_devices() override { return {"In"}; }
    bool open_output(int, int) override { return true; }
    void close_output(int) override {}
    bool output_open(int port) const override { return port >= 0 && port < output_ports; }
    void listen(midi_input_sink* sink) override { sink_.store(sink); }
    void send(int port, const std::uint8_t* bytes, std::size_t n, std::int64_t due_us) override {
        const std::int64_t at = steady_us();
        if (n == 0) return;
        const std::size_t i = count_.fetch_add(1, std::memory_order_relaxed);
        if (i >= log_.size()) return;
        sent& s = log_[i];
        s.due_us = due_us;
        s.at_us = at;
        s.status = bytes[0];
        s.key = n > 1 ? bytes[1] : std::uint8_t{0};
        s.port = port;
        s.ready.store(true, std::memory_order_release);
    }

    // The input callback as a device's driver calls it, with the arrival time.
    void inject(const std::uint8_t* bytes, std::size_t n, std::int64_t at_us) {
        if (midi_input_sink* s = sink_.load()) s->midi_in(bytes, n, at_us);
    }
    std::size_t size() const { return std::min(count_.load(std::memory_order_acquire), log_.size()); }
    // Entry i once its writer has finished it, else null.
    const sent* at(std::size_t i) const {
        return log_[i].ready.load(std::memory_order_acquire) ? &log_[i] : nullptr;
    }
    const sent& operator[](std::size_t i) const { return log_[i]; }
    void clear() {
        for (std::size_t i = 0; i < size(); ++i) log_[i].ready.store(false, std::memory_order_relaxed);
        count_.store(0, std::memory_order_release);
    }

private:
    std::vector<sent> log_;
    std::atomic<std::size_t> count_{0};
    std::atomic<midi_input_sink*> sink_{nullptr};
};

struct figures {
    double p50, p99, max;
    std::size_t events;
};

figures summary(const std::vector<double>& v) {
    if (v.empty()) return {NAN, NAN, NAN, 0};
    return {percentile(v, 0.5), percentile(v, 0.99), *std::max_element(v.begin(), v.end()), v.size()};
}

// Thru comes in on channel 16 and goes to port A as played, where no track of the song plays.
constexpr std::uint8_t thru_channel = 15;
bool is_thru(const timing_backend::sent& m) {
    return m.port == 0 && (m.status & 0x0F) == thru_channel;
}

// One message at the input as its driver delivers it, stamped with its arrival; the time from
// then until thru hands it to the output. NaN when it never comes out.
double thru_once(timing_backend& midi, int i) {
    const bool note_on = i % 2 == 0;
    const auto key = static_cast<std::uint8_t>(40 + i / 2 % 40);
    const auto status = static_cast<std::uint8_t>((note_on ? 0x90 : 0x80) | thru_channel);
    const std::uint8_t m[3] = {status, key, static_cast<std::uint8_t>(note_on ? 100 : 0)};
    const std::size_t from = midi.size();
    const std::int64_t at = steady_us();
    midi.inject(m, 3, at);
    for (int w = 0; w < 50'000; ++w) {
        for (std::size_t j = from; j < midi.size(); ++j) {
            const timing_backend::sent* s = midi.at(j);
            if (s && is_thru(*s) && s->status == status && s->key == key)
                return static_cast<double>(s->at_us - at);
        }
        std::this_thread::sleep_for(std::chrono::microseconds(2));
    }
    return NAN;
}

// A pause of 1.5 to 2.5 ms between thru messages, so they meet the engine thread at every phase.
void between_thru(int i) {
    std::this_thread::sleep_for(std::chrono::microseconds(1500 + (i * 397) % 1000));
}

// Plays the song from its start for `seconds` at a timer resolution and measures, for every
// note, the time it was handed over against the time tempo and position give it. With `thru`,
// input comes in all the while and its thru latency is noted there.
figures play(program& p, engine& eng, timing_backend& midi, int resolution, double seconds,
             std::vector<double>* thru = nullptr) {
    eng.set_timer_resolution(resolution);
    locate(p, song_start);
    midi.clear();
    p.run_engine();
    const std::int64_t until = steady_us() + static_cast<std::int64_t>(seconds * 1e6);
    if (thru) {
        for (int i = 0; steady_us() < until; ++i) {
            thru->push_back(thru_once(midi, i));
            between_thru(i);
        }
    } else {
        std::this_thread::sleep_for(std::chrono::microseconds(until - steady_us()));
    }
    const std::int64_t stop_at = steady_us();
    shared_store(p.d.stopped, std::int16_t{1});
    p.wait_request(p.d.all_notes_off_request);

    // Everything lies on a grid of half sixteenths from the first note, which marks the start.
    const double grid = us_per_tick * sixteenth / 2;
    std::vector<double> err;
    std::int64_t t0 = -1;
    for (std::size_t i = 0; i < midi.size(); ++i) {
        const timing_backend::sent* m = midi.at(i);
        if (!m || is_thru(*m)) continue;
        const int type = m->status & 0xF0;
        if ((type != 0x90 && type != 0x80) || m->at_us >= stop_at) continue;
        if (t0 < 0) t0 = m->due_us;
        const double k = std::round(static_cast<double>(m->due_us - t0) / grid);
        const double ideal = static_cast<double>(t0) + k * grid;
        err.push_back(std::abs(static_cast<double>(m->at_us) - ideal));
    }
    return summary(err);
}

// Thru latency while stopped.
figures thru_stopped(timing_backend& midi, int count) {
    std::vector<double> lat;
    for (int i = 0; i < count; ++i) {
        lat.push_back(thru_once(midi, i));
        between_thru(i);
    }
    return summary(lat);
}

// CPU of the process while stopped and the main thread sleeps: that is the engine thread's.
double idle_cpu_percent(double seconds) {
    auto cpu_us = [] {
        rusage r{};
        getrusage(RUSAGE_SELF, &r);
        return (r.ru_utime.tv_sec + r.ru_stime.tv_sec) * 1e6 + r.ru_utime.tv_usec +
               r.ru_stime.tv_usec;
    };
    const double c0 = cpu_us();
    const std::int64_t w0 = steady_us();
    std::this_thread::sleep_for(
        std::chrono::microseconds(static_cast<std::int64_t>(seconds * 1e6)));
    const double c1 = cpu_us();
    const std::int64_t w1 = steady_us();
    return 100.0 * (c1 - c0) / static_cast<double>(w1 - w0);
}

int run(double seconds) {
    engine eng;
    const std::size_t capacity = static_cast<std::size_t>(seconds * 2 * tracks * 10 + 100'000);
    timing_backend midi(capacity);
    quiet_ui screen;
    system_clock clk;
    eng.attach(clk, &midi);
    eng.set_own_thread(true);
    program p(eng, screen, clk);
    p.write_defaults();
    p.d.memory_units = 50;
    if (start_program(p) != 0) return 1;
    if (!dense_song::build(p, seconds)) {
        std::fprintf(stderr, "pool full\n");
        return 1;
    }

    p.d.midi_thru = 1;
    p.d.thru_port = 0;
    p.d.thru_channel = 16;  // as played
    midi.listen(&eng.playback());
    std::vector<double> thru_playing;
    const figures r6 = play(p, eng, midi, 6, seconds, &thru_playing);
    const figures r1 = play(p, eng, midi, 1, seconds);
    eng.set_timer_resolution(6);
    const figures th = thru_stopped(midi, 400);
    const figures tp = summary(thru_playing);
    midi.listen(nullptr);
    const double idle = idle_cpu_percent(std::min(seconds, 2.0));
    p.shut_down();

    std::fprintf(stderr, "notes timed: %zu at 6 ms, %zu at 1 ms; thru messages: %zu stopped, %zu playing\n",
                 r6.events, r1.events, th.events, tp.events);
    std::printf("timing_r6_p50_us %.1f\n", r6.p50);
    std::printf("timing_r6_p99_us %.1f\n", r6.p99);
    std::printf("timing_r6_max_us %.1f\n", r6.max);
    std::printf("timing_r1_p50_us %.1f\n", r1.p50);
    std::printf("timing_r1_p99_us %.1f\n", r1.p99);
    std::printf("timing_r1_max_us %.1f\n", r1.max);
    std::printf("thru_p50_us %.1f\n", th.p50);
    std::printf("thru_p99_us %.1f\n", th.p99);
    std::printf("thru_playing_p99_us %.1f\n", tp.p99);
    std::printf("idle_cpu_pct %.3f\n", idle);
    // Both plays last as long: one that timed far fewer notes started late or stalled.
    const bool played = r6.events > 0 && r1.events * 4 >= r6.events * 3 && r6.events * 4 >= r1.events * 3;
    return played ? 0 : 1;
}

}  // namespace
}  // namespace kestrune

int main(int argc, char** argv) {
    double seconds = 20;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--seconds") == 0 && i + 1 < argc) {
            seconds = std::atof(argv[++i]);
        } else if (std::strcmp(argv[i], "--quick") == 0) {
            seconds = 1;
        } else {
            std::fprintf(stderr, "usage: engine_timing [--seconds N | --quick]\n");
            return 2;
        }
    }
    if (!(seconds > 0) || seconds > 600) {
        std::fprintf(stderr, "engine_timing: --seconds wants a number from 0 to 600\n");
        return 2;
    }
    return kestrune::run(seconds);
}
