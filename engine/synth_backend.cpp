#include "engine/synth_backend.h"

#include <fluidsynth.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <thread>

namespace kestrune {

namespace {

constexpr int driver_rate = 48000;
constexpr int driver_period_frames = 256;
constexpr std::size_t cycle_bytes = 1 << 16;  // messages one cycle can take, all ports
constexpr std::size_t cycle_messages = 8192;

std::int64_t steady_us() {
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

}  // namespace

// Takes what a cycle drains from the ports' queues and merges it into frame order.
class synth_backend::collector final : public jack_event_writer {
public:
    collector() : bytes_(cycle_bytes), runs_(cycle_messages), merged_(cycle_messages) {}

    void clear() {
        used_ = 0;
        count_ = 0;
    }
    void begin_port(int port) {
        port_ = port;
        run_start_[port] = count_;
    }
    void end_port(int port) { run_end_[port] = count_; }

    std::uint8_t* reserve(std::uint32_t offset, std::size_t size) override {
        if (count_ >= runs_.size() || bytes_.size() - used_ < size) return nullptr;
        runs_[count_++] = {offset, static_cast<std::uint8_t>(port_),
                           static_cast<std::uint32_t>(size), bytes_.data() + used_};
        used_ += size;
        return bytes_.data() + used_ - size;
    }
    std::size_t max_size() const override { return bytes_.size(); }

    // Each port's run is in frame order already; ties keep the order of the ports.
    std::size_t merge() {
        std::size_t at[output_ports];
        std::copy(std::begin(run_start_), std::end(run_start_), at);
        std::size_t n = 0;
        for (;;) {
            int best = -1;
            for (int p = 0; p < output_ports; ++p)
                if (at[p] < run_end_[p] && (best < 0 || runs_[at[p]].frame < runs_[at[best]].frame))
                    best = p;
            if (best < 0) return n;
            merged_[n++] = runs_[at[best]++];
        }
    }
    const timed_message* merged() const { return merged_.data(); }

private:
    std::vector<std::uint8_t> bytes_;
    std::vector<timed_message> runs_;
    std::vector<timed_message> merged_;
    std::size_t used_ = 0;
    std::size_t count_ = 0;
    int port_ = 0;
    std::size_t run_start_[output_ports] = {};
    std::size_t run_end_[output_ports] = {};
};

synth_backend::synth_backend(jack_audio_host* jack)
    : jack_(jack), collect_(std::make_unique<collector>()) {
    for (auto& q : queue_) q = std::make_unique<jack_port_queue>();
}

synth_backend::~synth_backend() {
    for (int p = 0; p < output_ports; ++p) close_output(p);
    stop_audio();
}

std::string synth_backend::soundfont_in_use() const {
    if (synth_ && synth_->loaded()) return synth_->soundfont();
    return chosen_.empty() ? default_soundfont() : chosen_;
}

std::unique_ptr<gm_synth> synth_backend::make_synth(int rate) {
    auto s = std::make_unique<gm_synth>(rate);
    std::string why;
    if (!s->load(chosen_.empty() ? default_soundfont() : chosen_, &why)) {
        problem_ = why;
        return nullptr;
    }
    problem_.clear();
    return s;
}

bool synth_backend::set_soundfont(const std::string& path, std::string* why) {
    const std::string old = chosen_, old_problem = problem_;
    chosen_ = path;
    auto s = make_synth(synth_ ? synth_->sample_rate() : driver_rate);
    if (!s) {
        if (why) *why = problem_;
        chosen_ = old;
        problem_ = old_problem;
        return false;
    }
    // The audio thread takes the new synth at its next cycle; the old one goes after that.
    live_.store(output_ != output::none ? s.get() : nullptr, std::memory_order_release);
    wait_cycles(2);
    synth_ = std::move(s);
    return true;
}

std::vector<std::string> synth_backend::output_devices() {
    const std::string file = soundfont_in_use();
    const bool usable = (synth_ && synth_->loaded()) || soundfont_file(file);
    if (!usable)
        problem_ = file.empty() ? msg_no_soundfont : soundfont_error(file);
    else if (problem_ != msg_synth_no_audio)
        problem_.clear();
    return {usable ? std::string(synth_device_name)
                   : std::string(synth_device_name) + " (no SoundFont)"};
}

bool synth_backend::open_output(int port, int device) {
    if (port < 0 || port >= output_ports) return false;
    close_output(port);
    if (device != 0 || !start_audio()) return false;
    open_[port].store(true, std::memory_order_release);
    return true;
}

void synth_backend::close_output(int port) {
    if (port < 0 || port >= output_ports || !open_[port].load()) return;
    // From here the engine thread queues nothing more; wait for a send that began before.
    open_[port].store(false);
    while (sending_[port].load()) std::this_thread::yield();
    // What is queued (the note-offs among it) plays, then the port's voices end for good.
    const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (audio_running() && !queue_[port]->empty() && std::chrono::steady_clock::now() < give_up)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    sound_off_[port].store(true, std::memory_order_release);
    wait_cycles(2);
    bool any = false;
    for (const auto& o : open_) any = any || o.load();
    if (!any) stop_audio();
}

bool synth_backend::output_open(int port) const {
    return port >= 0 && port < output_ports && open_[port].load(std::memory_order_acquire);
}

void synth_backend::send(int port, const std::uint8_t* bytes, std::size_t n, std::int64_t due_us) {
    if (port < 0 || port >= output_ports) return;
    // Paired with close_output, as for the JACK ports.
    sending_[port].store(true);
    if (open_[port].load()) queue_[port]->push(bytes, n, due_us);
    sending_[port].store(false, std::memory_order_release);
}

std::uint64_t synth_backend::late_messages() const {
    std::uint64_t n = 0;
    for (const auto& q : queue_) n += q->late();
    return n;
}

// ---- audio ----

bool synth_backend::start_audio() {
    if (output_ != output::none) return true;
    if (jack_ && jack_->running()) {
        jack_->set_audio_part(this);  // joined() makes the synth at the server's rate
        if (output_ == output::jack) return true;
        jack_->set_audio_part(nullptr);
        if (!problem_.empty()) return false;
    }
    if (!synth_ || synth_->sample_rate() != driver_rate) synth_ = make_synth(driver_rate);
    if (!synth_) return false;
    live_.store(synth_.get(), std::memory_order_release);
    // The first sound server that answers; FluidSynth's own default might be a JACK it cannot
    // reach.
    for (const char* name : {"pipewire", "pulseaudio", "alsa"}) {
        driver_settings_ = new_fluid_settings();
        fluid_settings_setstr(driver_settings_, "audio.driver", name);
        fluid_settings_setnum(driver_settings_, "synth.sample-rate", driver_rate);
        fluid_settings_setint(driver_settings_, "audio.period-size", driver_period_frames);
        fluid_settings_setstr(driver_settings_, "audio.pulseaudio.media-role", "music");
        driver_ = new_fluid_audio_driver2(driver_settings_, driver_entry, this);
        if (driver_) {
            output_ = output::driver;
            return true;
        }
        delete_fluid_settings(driver_settings_);
        driver_settings_ = nullptr;
    }
    live_.store(nullptr);
    problem_ = msg_synth_no_audio;
    return false;
}

void synth_backend::stop_audio() {
    if (output_ == output::jack && jack_) jack_->set_audio_part(nullptr);
    if (driver_) delete_fluid_audio_driver(driver_);
    if (driver_settings_) delete_fluid_settings(driver_settings_);
    driver_ = nullptr;
    driver_settings_ = nullptr;
    live_.store(nullptr);
    output_ = output::none;
}

bool synth_backend::audio_running() const {
    // A JACK server that has gone runs no more cycles, though the client is not closed yet.
    return output_ == output::driver || (output_ == output::jack && jack_->running());
}

void synth_backend::wait_cycles(int cycles) const {
    const std::uint64_t until =
        cycles_.load(std::memory_order_acquire) + static_cast<std::uint64_t>(cycles);
    const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (audio_running() && cycles_.load(std::memory_order_acquire) < until &&
           std::chrono::steady_clock::now() < give_up)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

const char* synth_backend::output_name(int side) const {
    return side == 0 ? synth_port_left : synth_port_right;
}

bool synth_backend::joined(int sample_rate) {
    if (!synth_ || synth_->sample_rate() != sample_rate) synth_ = make_synth(sample_rate);
    if (!synth_) return false;
    live_.store(synth_.get(), std::memory_order_release);
    output_ = output::jack;
    return true;
}

void synth_backend::leaving() {
    if (output_ != output::jack) return;
    live_.store(nullptr);
    output_ = output::none;
}

int synth_backend::driver_entry(void* self, int len, int, float*[], int nout, float* out[]) {
    if (nout < 2 || len <= 0) return FLUID_FAILED;
    const auto frames = static_cast<std::uint32_t>(len);
    // The driver's buffer plays about one period and the margin after this call.
    const jack_cycle c{0, frames, steady_us(), frames * 1e6 / driver_rate};
    static_cast<synth_backend*>(self)->process(out[0], out[1], frames, c,
                                               jack_latency_frames(frames, driver_rate));
    return FLUID_OK;
}

void synth_backend::process(float* left, float* right, std::uint32_t frames, const jack_cycle& c,
                            std::int64_t latency_frames) {
    collect_->clear();
    for (int p = 0; p < output_ports; ++p) {
        collect_->begin_port(p);
        queue_[p]->drain(c, latency_frames, *collect_);
        collect_->end_port(p);
    }
    const std::size_t n = collect_->merge();
    gm_synth* s = live_.load(std::memory_order_acquire);
    // With no port on the synth its voices are ended already: the cycle is silence, not rendered.
    bool heard = n > 0;
    for (int p = 0; p < output_ports; ++p) heard = heard || open_[p].load(std::memory_order_relaxed);
    if (s) {
        if (heard) s->render(left, right, frames, collect_->merged(), n);
        for (int p = 0; p < output_ports; ++p)
            if (sound_off_[p].exchange(false, std::memory_order_acq_rel)) s->sound_off(p);
    }
    if (!s || !heard) {
        std::fill(left, left + frames, 0.0f);
        std::fill(right, right + frames, 0.0f);
    }
    cycles_.fetch_add(1, std::memory_order_release);
}

}  // namespace kestrune
