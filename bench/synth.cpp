// The built-in synth. `render_realtime_factor`: seconds of music an audio export renders per second
// of wall time, for a dense song (32 tracks of sixteenth notes at 140 bpm over four ports and
// sixteen channels) at 48 kHz into a WAV file. `live_onset_p99_us`: how far the onsets on the
// synth's JACK ports (dummy server, 256-frame period) fall from the due times of their notes.
// `--quick` for a short run of each.
#include <jack/jack.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "bench/dense_song.h"
#include "bench/quiet_ui.h"
#include "engine/jack_backend.h"
#include "engine/synth_backend.h"
#include "realtime/audio_render.h"
#include "song/event_store.h"
#include "song/position.h"
#include "song/song_start.h"
#include "tests/support/dummy_jackd.h"
#include "bench/jack_audio_probe.h"

namespace kestrune {
namespace {

using namespace dense_song;

double now_s() {
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

double render_factor(double seconds) {
    quiet_ui screen;
    render_request r;
    r.output = "/tmp/kestrune-bench-synth-" + std::to_string(getpid()) + ".wav";
    const double start = now_s();
    const bool ok = render_audio(
        screen, [&](program& p) { return dense_song::build(p, seconds); }, r);
    const double took = now_s() - start;
    unlink(r.output.c_str());
    return ok ? seconds / took : 0;
}

double live_onset_p99(int hits) {
    testing::dummy_jack_server server(48000, 256);
    if (!server.running()) {
        std::fprintf(stderr, "live_onset_p99_us: no JACK server could be started\n");
        return -1;
    }
    jack_backend jack;
    synth_backend synth(&jack);
    testing::audio_onset_probe probe;
    if (!synth.open_output(0, 0) || !probe.ok() ||
        !probe.listen_to(jack.client_name() + ":" + synth_port_left)) {
        std::fprintf(stderr, "live_onset_p99_us: %s\n", synth.problem().c_str());
        return -1;
    }
    using clock = std::chrono::steady_clock;
    const auto steady_us = [] {
        return std::chrono::duration<double, std::micro>(clock::now().time_since_epoch()).count();
    };
    // The sending thread stands in for the engine thread, at its priority where the system allows.
    sched_param sp{};
    sp.sched_priority = std::max(1, sched_get_priority_max(SCHED_FIFO) - 10);
    pthread_setschedparam(pthread_self(), SCHED_FIFO, &sp);
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> jitter(0, 5000);
    std::vector<double> due;
    double next = steady_us() + 100'000;
    for (int i = 0; i < hits; ++i) {
        due.push_back(next);
        // Handed over a little before the due time, as the engine thread does.
        while (steady_us() < next - 200)
            std::this_thread::sleep_for(std::chrono::microseconds(100));
        const std::uint8_t on[3] = {0x99, 37, 100}, off[3] = {0x89, 37, 0};
        synth.send(0, on, 3, static_cast<std::int64_t>(next));
        synth.send(0, off, 3, static_cast<std::int64_t>(next) + 50'000);
        next += 300'000 + jitter(rng);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    const std::vector<double> heard = probe.onsets();
    if (heard.size() != due.size()) {
        std::fprintf(stderr, "live_onset_p99_us: %zu onsets for %zu notes\n", heard.size(),
                     due.size());
        return -1;
    }
    std::vector<double> error;
    for (std::size_t i = 0; i < due.size(); ++i) error.push_back(std::fabs(heard[i] - due[i]));
    std::sort(error.begin(), error.end());
    return error[std::min(error.size() - 1,
                          static_cast<std::size_t>(0.99 * (error.size() - 1) + 0.5))];
}

}  // namespace
}  // namespace kestrune

int main(int argc, char** argv) {
    const bool quick = argc > 1 && std::strcmp(argv[1], "--quick") == 0;
    if (kestrune::default_soundfont().empty()) {
        std::fprintf(stderr, "synth: no General MIDI SoundFont installed\n");
        return 1;
    }
    std::printf("render_realtime_factor %.1f\n", kestrune::render_factor(quick ? 4 : 60));
    std::fflush(stdout);
    std::printf("live_onset_p99_us %.0f\n", kestrune::live_onset_p99(quick ? 4 : 300));
    return 0;
}
