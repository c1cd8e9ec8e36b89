#include "engine/jack_backend.h"

#include <jack/jack.h>
#include <jack/midiport.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstring>
#include <thread>

namespace kestrune {

namespace {

constexpr const char* port_names[output_ports] = {"Port A", "Port B", "Port C", "Port D"};

std::int64_t steady_ns() {
    using namespace std::chrono;
    return duration_cast<nanoseconds>(steady_clock::now().time_since_epoch()).count();
}

// JACK's time less the engine's, in µs, from a reading of JACK's clock between two of the
// engine's that lie close together; false when the thread was held up between them.
bool clock_difference(std::int64_t* us) {
    const std::int64_t before = steady_ns();
    const auto jack = static_cast<std::int64_t>(jack_get_time());
    const std::int64_t after = steady_ns();
    if (after - before > 20'000) return false;
    std::int64_t d = jack - (before + after) / 2000;
    // The same clock read twice differs by the rounding of its microseconds.
    if (d >= -2 && d <= 2) d = 0;
    *us = d;
    return true;
}

void quiet(const char*) {}

class port_writer final : public jack_event_writer {
public:
    explicit port_writer(void* buffer) : buffer_(buffer), max_(jack_midi_max_event_size(buffer)) {}
    std::uint8_t* reserve(std::uint32_t offset, std::size_t size) override {
        return jack_midi_event_reserve(buffer_, offset, size);
    }
    std::size_t max_size() const override { return max_; }

private:
    void* buffer_;
    std::size_t max_;
};

}  // namespace

// ---- the client ----

jack_backend::jack_backend() {
    for (auto& q : queue_) q = std::make_unique<jack_port_queue>();
    for (auto& q : input_queue_) q = std::make_unique<jack_port_queue>(1 << 14);
    join_server();
}

jack_backend::~jack_backend() {
    for (int p = 0; p < output_ports; ++p) close_output(p);
    listen(nullptr);
    leave_server();
}

void jack_backend::join_server() {
    if (client_) return;
    // A missing server is normal: libjack's complaints about it would only confuse.
    auto* const error_fn = jack_error_callback;
    auto* const info_fn = jack_info_callback;
    jack_set_error_function(quiet);
    jack_set_info_function(quiet);
    jack_status_t status{};
    client_ = jack_client_open("Kestrune", JackNoStartServer, &status);
    jack_set_error_function(error_fn);
    jack_set_info_function(info_fn);
    if (!client_) return;
    bool ok = true;
    for (int p = 0; p < output_ports; ++p) {
        out_[p] =
            jack_port_register(client_, port_names[p], JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput, 0);
        ok = ok && out_[p];
    }
    in_ = jack_port_register(client_, "In", JACK_DEFAULT_MIDI_TYPE, JackPortIsInput, 0);
    ok = ok && in_;
    ok = ok && jack_set_process_callback(client_, process_entry, this) == 0;
    if (ok) jack_on_shutdown(client_, shutdown_entry, this);
    std::int64_t difference = 0;
    for (int i = 0; i < 100 && !clock_difference(&difference); ++i) {
    }
    jack_minus_engine_ = difference;
    if (ok && jack_activate(client_) == 0) {
        alive_.store(true);
        take_audio_part();
    } else {
        jack_client_close(client_);
        client_ = nullptr;
        std::fill(std::begin(out_), std::end(out_), nullptr);
        in_ = nullptr;
    }
}

void jack_backend::leave_server() {
    if (!client_) return;
    audio_live_.store(nullptr);
    if (alive_.load()) jack_deactivate(client_);
    drop_audio_part(true);
    // A client whose server died is left as it is: libjack crashes closing one once another
    // server runs, and its own thread has ended with the server.
    if (alive_.load()) jack_client_close(client_);
    client_ = nullptr;
    alive_.store(false);
    std::fill(std::begin(out_), std::end(out_), nullptr);
    in_ = nullptr;
}

bool jack_backend::running() const {
    return client_ && alive_.load();
}

std::string jack_backend::client_name() const {
    return client_ ? jack_get_client_name(client_) : "";
}

std::string jack_backend::port_name(int port) const {
    jack_port_t* p = port < 0 ? in_ : port < output_ports ? out_[port] : nullptr;
    return p ? jack_port_name(p) : "";
}

std::vector<std::string> jack_backend::other_ports(unsigned long flags) const {
    std::vector<std::string> names;
    if (!running()) return names;
    const char** ports = jack_get_ports(client_, nullptr, JACK_DEFAULT_MIDI_TYPE, flags);
    if (!ports) return names;
    for (const char** p = ports; *p; ++p) {
        jack_port_t* port = jack_port_by_name(client_, *p);
        if (port && !jack_port_is_mine(client_, port)) names.emplace_back(*p);
    }
    jack_free(ports);
    return names;
}

void jack_backend::server_gone() {
    for (int p = 0; p < output_ports; ++p) {
        gate_[p].close();
        if (state_[p].load() != device_state::closed) state_[p].store(device_state::system_gone);
    }
    if (input_.state != device_state::closed) input_.state = device_state::system_gone;
    input_state_.store(input_.state);
    leave_server();
    // Nothing sends or drains now, and what was queued was for the server that went.
    for (int p = 0; p < output_ports; ++p) {
        queue_[p]->clear();
        input_queue_[p]->clear();
    }
}

void jack_backend::refresh_server() {
    if (client_ && !alive_.load()) server_gone();
    join_server();
    check_connections();
}

void jack_backend::check_connections() {
    if (!running()) return;
    auto there = [this](const std::string& name) {
        return jack_port_by_name(client_, name.c_str()) != nullptr;
    };
    auto connect = [this](const std::string& from, const std::string& to) {
        const int r = jack_connect(client_, from.c_str(), to.c_str());
        return r == 0 || r == EEXIST;
    };
    for (int p = 0; p < output_ports; ++p) {
        const device_state s = state_[p].load();
        const std::string ours = jack_port_name(out_[p]);
        if (s == device_state::connected && !jack_port_connected_to(out_[p], target_[p].c_str())) {
            state_[p].store(device_state::gone);
        } else if (lost(s) && there(target_[p]) && connect(ours, target_[p])) {
            gate_[p].open();
            state_[p].store(device_state::connected);
        }
    }
    const input_watch w = follow_input(input_, there(input_.name), input_connections());
    input_ = w.next;
    if (w.reconnect && connect(input_.name, jack_port_name(in_)))
        input_.state = device_state::connected;
    input_state_.store(input_.state);
}

void jack_backend::watch_devices() {
    std::lock_guard hold(control_);
    if (client_ && !alive_.load()) server_gone();
    // A new server is looked for only while a port waits for one.
    bool waiting = lost(input_.state);
    for (const auto& s : state_) waiting = waiting || lost(s.load());
    if (!client_ && waiting) join_server();
    check_connections();
}

std::vector<std::string> jack_backend::output_devices() {
    std::lock_guard hold(control_);
    refresh_server();
    outputs_ = other_ports(JackPortIsInput);
    return outputs_;
}

std::vector<std::string> jack_backend::input_devices() {
    std::lock_guard hold(control_);
    refresh_server();
    inputs_ = other_ports(JackPortIsOutput);
    return inputs_;
}

bool jack_backend::open_output(int port, int device) {
    if (port < 0 || port >= output_ports) return false;
    close_output(port);
    std::lock_guard hold(control_);
    if (!running() || device < 0 || device >= static_cast<int>(outputs_.size())) return false;
    const std::string& target = outputs_[static_cast<std::size_t>(device)];
    const int r = jack_connect(client_, jack_port_name(out_[port]), target.c_str());
    if (r != 0 && r != EEXIST) {
        refused_[port] = target;
        return false;
    }
    target_[port] = target;
    state_[port].store(device_state::connected);
    gate_[port].open();
    return true;
}

std::string jack_backend::open_failure(int port) const {
    if (!running()) return "The JACK server has stopped.";
    const std::string target = port >= 0 && port < output_ports ? refused_[port] : std::string();
    return "JACK did not connect the port to " + target + ".";
}

bool jack_backend::await_output(int port, const std::string& name) {
    if (port < 0 || port >= output_ports || name.empty()) return false;
    close_output(port);
    std::lock_guard hold(control_);
    target_[port] = name;
    state_[port].store(running() ? device_state::gone : device_state::system_gone);
    return true;
}

void jack_backend::close_output(int port) {
    if (port < 0 || port >= output_ports) return;
    std::lock_guard hold(control_);
    if (state_[port].load() == device_state::closed) return;
    // From here nothing more is queued; sends that began before are over.
    const bool was_open = gate_[port].is_open();
    gate_[port].close();
    // Whatever is queued (the note-offs that end a device's notes among it) plays before the
    // connection goes, and the cycle that wrote it is allowed to finish.
    const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (was_open && alive_.load() &&
           !(queue_[port]->empty() && input_queue_[port]->empty()) &&
           std::chrono::steady_clock::now() < give_up)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    if (was_open) wait_cycles(2);
    if (running()) jack_disconnect(client_, jack_port_name(out_[port]), target_[port].c_str());
    target_[port].clear();
    state_[port].store(device_state::closed);
}

bool jack_backend::output_open(int port) const {
    return port >= 0 && port < output_ports && gate_[port].is_open();
}

device_state jack_backend::output_state(int port) const {
    return port >= 0 && port < output_ports ? state_[port].load() : device_state::closed;
}

void jack_backend::listen(midi_input_sink* sink) {
    std::lock_guard hold(control_);
    sink_.store(sink, std::memory_order_release);
    if (!sink) wait_cycles(1);  // a cycle that still holds the old sink has finished with it
}

std::vector<std::string> jack_backend::input_connections() const {
    std::vector<std::string> names;
    if (!running()) return names;
    if (const char** ports = jack_port_get_all_connections(client_, in_)) {
        for (const char** p = ports; *p; ++p) names.emplace_back(*p);
        jack_free(ports);
    }
    return names;
}

int jack_backend::input_index(const std::string& name) const {
    const auto at = std::find(inputs_.begin(), inputs_.end(), name);
    return at == inputs_.end() ? -1 : static_cast<int>(at - inputs_.begin());
}

bool jack_backend::connect_input(int device, bool only) {
    std::lock_guard hold(control_);
    if (!running()) return device < 0 && only;
    const std::string ours = jack_port_name(in_);
    if (only) {
        for (const std::string& source : input_connections())
            jack_disconnect(client_, source.c_str(), ours.c_str());
        input_ = {};
    }
    bool ok = device < 0 && only;
    if (device >= 0 && device < static_cast<int>(inputs_.size())) {
        const std::string& source = inputs_[static_cast<std::size_t>(device)];
        const int r = jack_connect(client_, source.c_str(), ours.c_str());
        ok = r == 0 || r == EEXIST;
        if (ok) input_ = {source, device_state::connected};
    }
    input_state_.store(input_.state);
    return ok;
}

int jack_backend::connected_input() {
    std::lock_guard hold(control_);
    const std::vector<std::string> now = input_connections();
    if (std::find(now.begin(), now.end(), input_.name) != now.end())
        return input_index(input_.name);
    for (const std::string& source : now)
        if (const int i = input_index(source); i >= 0) return i;
    return -1;
}

int jack_backend::default_input() {
    std::lock_guard hold(control_);
    int found = -1;
    if (!running()) return found;
    if (const char** ports = jack_get_ports(client_, nullptr, JACK_DEFAULT_MIDI_TYPE,
                                            JackPortIsPhysical | JackPortIsOutput)) {
        for (const char** p = ports; *p && found < 0; ++p) found = input_index(*p);
        jack_free(ports);
    }
    return found;
}

void jack_backend::send(int port, const std::uint8_t* bytes, std::size_t n, std::int64_t due_us) {
    if (port < 0 || port >= output_ports || !gate_[port].enter()) return;
    queue_[port]->push(bytes, n, due_us);
    gate_[port].leave();
}

void jack_backend::send_from_input(int port, const std::uint8_t* bytes, std::size_t n,
                                   std::int64_t due_us) {
    if (port < 0 || port >= output_ports || !gate_[port].enter()) return;
    input_queue_[port]->push(bytes, n, due_us);
    gate_[port].leave();
}

void jack_backend::set_audio_part(jack_audio_part* part) {
    if (part == audio_part_) return;
    audio_live_.store(nullptr);
    wait_cycles(1);  // a cycle that still runs the old part has finished with it
    if (running()) drop_audio_part(false);
    audio_part_ = part;
    if (running()) take_audio_part();
}

void jack_backend::take_audio_part() {
    if (!audio_part_) return;
    for (int side = 0; side < 2; ++side)
        audio_out_[side] = jack_port_register(client_, audio_part_->output_name(side),
                                              JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput, 0);
    if (!audio_out_[0] || !audio_out_[1] ||
        !audio_part_->joined(static_cast<int>(jack_get_sample_rate(client_)))) {
        for (jack_port_t*& out : audio_out_)
            if (out) jack_port_unregister(client_, out);
        std::fill(std::begin(audio_out_), std::end(audio_out_), nullptr);
        return;
    }
    // Straight to the sound card when the server has one.
    if (const char** playback = jack_get_ports(client_, nullptr, JACK_DEFAULT_AUDIO_TYPE,
                                               JackPortIsPhysical | JackPortIsInput)) {
        for (int side = 0; side < 2 && playback[0]; ++side)
            jack_connect(client_, jack_port_name(audio_out_[side]),
                         playback[side == 1 && playback[1] ? 1 : 0]);
        jack_free(playback);
    }
    audio_live_.store(audio_part_, std::memory_order_release);
}

void jack_backend::drop_audio_part(bool client_goes) {
    if (!audio_out_[0]) return;  // the part never joined
    audio_part_->leaving();
    for (jack_port_t* out : audio_out_)
        if (!client_goes) jack_port_unregister(client_, out);
    std::fill(std::begin(audio_out_), std::end(audio_out_), nullptr);
}

std::uint64_t jack_backend::late_messages() const {
    std::uint64_t n = 0;
    for (const auto& q : queue_) n += q->late();
    for (const auto& q : input_queue_) n += q->late();
    return n;
}

std::uint64_t jack_backend::dropped_messages() const {
    std::uint64_t n = 0;
    for (const auto& q : queue_) n += q->dropped();
    for (const auto& q : input_queue_) n += q->dropped();
    return n;
}

void jack_backend::wait_cycles(int cycles) const {
    const std::uint64_t until =
        cycles_.load(std::memory_order_acquire) + static_cast<std::uint64_t>(cycles);
    const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (alive_.load() && cycles_.load(std::memory_order_acquire) < until &&
           std::chrono::steady_clock::now() < give_up)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

int jack_backend::process_entry(std::uint32_t frames, void* self) {
    return static_cast<jack_backend*>(self)->process(frames);
}

void jack_backend::shutdown_entry(void* self) {
    static_cast<jack_backend*>(self)->alive_.store(false);
}

int jack_backend::process(std::uint32_t frames) {
    const double rate = jack_get_sample_rate(client_);
    const double nominal = frames * 1e6 / rate;
    jack_nframes_t first = 0;
    jack_time_t start = 0, next = 0;
    float period = 0;
    if (jack_get_cycle_times(client_, &first, &start, &next, &period) != 0) {
        first = jack_last_frame_time(client_);
        start = jack_get_time();
        next = 0;
    }
    // The server's estimate of the period; the nominal one when a disturbed cycle has thrown the
    // estimate off.
    double period_us = static_cast<double>(next) - static_cast<double>(start);
    if (!(period_us > nominal * 0.5 && period_us < nominal * 1.5)) period_us = nominal;
    // JACK's clock may not be the engine's (jack2 reads CLOCK_MONOTONIC_RAW); the difference moves
    // slowly, so a reading the scheduler disturbed is simply skipped.
    clock_difference(&jack_minus_engine_);
    const jack_cycle c{first, frames, static_cast<std::int64_t>(start) - jack_minus_engine_,
                       period_us};
    // One constant latency: a period, and the margin for the engine thread's wake-up.
    const std::int64_t latency = jack_latency_frames(frames, rate);
    input_delay_us_.store(std::llround(static_cast<double>(latency) * period_us / frames),
                          std::memory_order_relaxed);

    // Input first: MIDI thru it starts goes out in this same cycle.
    void* in = jack_port_get_buffer(in_, frames);
    const std::uint32_t count = jack_midi_get_event_count(in);
    midi_input_sink* sink = sink_.load(std::memory_order_acquire);
    for (std::uint32_t i = 0; sink && i < count; ++i) {
        jack_midi_event_t ev;
        if (jack_midi_event_get(&ev, in, i) == 0 && ev.size > 0)
            sink->midi_in(ev.buffer, ev.size, jack_input_time(c, ev.time, latency));
    }

    for (int p = 0; p < output_ports; ++p) {
        void* buffer = jack_port_get_buffer(out_[p], frames);
        jack_midi_clear_buffer(buffer);
        port_writer w(buffer);
        jack_port_queue* const queues[] = {queue_[p].get(), input_queue_[p].get()};
        jack_port_queue::drain(queues, 2, c, latency, w);
    }
    if (jack_audio_part* a = audio_live_.load(std::memory_order_acquire))
        a->process(static_cast<float*>(jack_port_get_buffer(audio_out_[0], frames)),
                   static_cast<float*>(jack_port_get_buffer(audio_out_[1], frames)), frames, c,
                   latency);

    cycles_.fetch_add(1, std::memory_order_release);
    return 0;
}

}  // namespace kestrune
