// A JACK client with one audio input that notes each onset of what it hears: the first frame
// above a level after a stretch of quiet, read back as the time it was due on the engine's clock
// through the server's mapping of the cycle that carried it, less the backends' one latency.
#pragma once

#include <jack/jack.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <string>
#include <vector>

#include "engine/jack_cycle.h"

namespace kestrune::testing {

class audio_onset_probe {
public:
    static constexpr float onset_level = 2e-3f;
    static constexpr float quiet_level = 1e-3f;
    static constexpr double quiet_ms = 50;

    explicit audio_onset_probe(const char* name = "audio-probe") {
        client_ = jack_client_open(name, JackNoStartServer, nullptr);
        if (!client_) return;
        rate_ = jack_get_sample_rate(client_);
        in_ = jack_port_register(client_, "in", JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0);
        jack_set_process_callback(client_, process, this);
        if (!in_ || jack_activate(client_) != 0) {
            jack_client_close(client_);
            client_ = nullptr;
        }
    }
    ~audio_onset_probe() {
        if (client_) jack_client_close(client_);
    }
    bool ok() const { return client_ != nullptr; }
    jack_client_t* client() const { return client_; }
    bool listen_to(const std::string& port) {
        return jack_connect(client_, port.c_str(), jack_port_name(in_)) == 0;
    }

    int count() const { return count_.load(std::memory_order_acquire); }
    std::vector<double> onsets() const {
        return {due_.begin(), due_.begin() + count_.load(std::memory_order_acquire)};
    }

private:
    static double engine_us() {
        using namespace std::chrono;
        return duration<double, std::micro>(steady_clock::now().time_since_epoch()).count();
    }

    static int process(jack_nframes_t frames, void* self) {
        auto* p = static_cast<audio_onset_probe*>(self);
        const double nominal = frames * 1e6 / p->rate_;
        jack_nframes_t first = 0;
        jack_time_t start = 0, next = 0;
        float period_estimate = 0;
        jack_get_cycle_times(p->client_, &first, &start, &next, &period_estimate);
        double period = static_cast<double>(next) - static_cast<double>(start);
        if (period < nominal * 0.5 || period > nominal * 1.5) period = nominal;
        // JACK's clock less the engine's, from a reading between two close readings of the
        // engine's; a reading the scheduler disturbed keeps the last one.
        const double before = engine_us();
        const auto jack = static_cast<double>(jack_get_time());
        const double after = engine_us();
        if (after - before < 20) p->jack_minus_engine_ = jack - (before + after) / 2;
        const double jack_minus_engine = p->jack_minus_engine_;
        const double latency = frames + jack_margin_us * p->rate_ / 1e6;
        const auto* in = static_cast<const float*>(jack_port_get_buffer(p->in_, frames));
        const auto quiet_frames = static_cast<int>(quiet_ms * p->rate_ / 1000);
        for (jack_nframes_t i = 0; i < frames; ++i) {
            const float a = std::fabs(in[i]);
            if (p->armed_ && a > onset_level) {
                p->armed_ = false;
                const int c = p->count_.load(std::memory_order_relaxed);
                if (c < static_cast<int>(p->due_.size())) {
                    p->due_[static_cast<std::size_t>(c)] = static_cast<double>(start) -
                                                           jack_minus_engine +
                                                           (i - latency) * period / frames;
                    p->count_.store(c + 1, std::memory_order_release);
                }
            }
            p->quiet_run_ = a < quiet_level ? p->quiet_run_ + 1 : 0;
            p->armed_ = p->armed_ || p->quiet_run_ >= quiet_frames;
        }
        return 0;
    }

    jack_client_t* client_ = nullptr;
    jack_port_t* in_ = nullptr;
    double rate_ = 48000;
    std::array<double, 4096> due_{};
    std::atomic<int> count_{0};
    int quiet_run_ = 0;
    bool armed_ = true;  // after a stretch of quiet, until the next onset
    double jack_minus_engine_ = static_cast<double>(jack_get_time()) - engine_us();
};

}  // namespace kestrune::testing
