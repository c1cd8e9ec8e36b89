#include "engine/alsa_backend.h"

#include <RtMidi.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>

namespace kestrune {

namespace {

constexpr const char* client = "Kestrune";
constexpr const char* port_names[output_ports] = {"Port A", "Port B", "Port C", "Port D"};

// Errors become a failed open or a lost message; RtMidi would otherwise throw or print.
void quiet(RtMidiError::Type, const std::string&, void*) {}

std::int64_t steady_us() {
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

bool own_port(const std::string& full) {
    return full.rfind(std::string(client) + ":", 0) == 0;
}

template <class Midi>
std::vector<std::string> list_ports(Midi* m) {
    std::vector<std::string> names;
    if (!m) return names;
    const unsigned count = m->getPortCount();
    for (unsigned i = 0; i < count; ++i) {
        std::string name = m->getPortName(i);
        if (!name.empty() && !own_port(name)) names.push_back(std::move(name));
    }
    return names;
}

// Short names, except where two devices would then look the same.
std::vector<std::string> shown(const std::vector<std::string>& full) {
    std::vector<std::string> short_names;
    for (const auto& f : full) short_names.push_back(alsa_display_name(f));
    std::vector<std::string> names = short_names;
    for (std::size_t i = 0; i < names.size(); ++i)
        if (std::count(short_names.begin(), short_names.end(), short_names[i]) > 1)
            names[i] = full[i];
    return names;
}

template <class Midi>
bool open_by_name(Midi& m, const std::string& full, const char* as) {
    const unsigned count = m.getPortCount();
    for (unsigned i = 0; i < count; ++i) {
        if (m.getPortName(i) == full) {
            m.openPort(i, as);
            return m.isPortOpen();
        }
    }
    return false;
}

bool listed(const std::vector<std::string>& full_names, const std::string& full) {
    return std::find(full_names.begin(), full_names.end(), full) != full_names.end();
}

// A device plugged in again may come back under other client and port numbers.
std::string same_device(const std::vector<std::string>& full_names, const std::string& full) {
    if (listed(full_names, full)) return full;
    const std::string name = alsa_display_name(full);
    for (const auto& f : full_names)
        if (alsa_display_name(f) == name) return f;
    return "";
}

template <class Midi>
std::unique_ptr<Midi> make_client() {
    try {
        auto m = std::make_unique<Midi>(RtMidi::LINUX_ALSA, client);
        m->setErrorCallback(quiet, nullptr);
        return m;
    } catch (const RtMidiError&) {
        return nullptr;
    }
}

}  // namespace

std::string alsa_display_name(const std::string& full) {
    // Drop a trailing " <client>:<port>" made of digits.
    const std::size_t space = full.rfind(' ');
    if (space == std::string::npos) return full;
    const std::string tail = full.substr(space + 1);
    const std::size_t colon = tail.find(':');
    if (colon == std::string::npos || colon == 0 || colon + 1 == tail.size()) return full;
    const bool digits = std::all_of(tail.begin(), tail.end(),
                                    [](char ch) { return ch == ':' || (ch >= '0' && ch <= '9'); });
    if (!digits || tail.find(':', colon + 1) != std::string::npos) return full;
    return full.substr(0, space);
}

alsa_backend::alsa_backend() {
    // Opening the sequencer where there is none only makes ALSA print complaints.
    if (access("/dev/snd/seq", R_OK | W_OK) != 0) return;
    lister_out_ = make_client<RtMidiOut>();
    lister_in_ = make_client<RtMidiIn>();
    available_ = lister_out_ && lister_in_;
}

alsa_backend::~alsa_backend() {
    for (int p = 0; p < output_ports; ++p) close_output(p);
    close_input();
}

std::vector<std::string> alsa_backend::output_devices() {
    std::lock_guard hold(control_);
    outputs_ = list_ports(lister_out_.get());
    return shown(outputs_);
}

std::vector<std::string> alsa_backend::input_devices() {
    std::lock_guard hold(control_);
    inputs_ = list_ports(lister_in_.get());
    return shown(inputs_);
}

bool alsa_backend::connect_output(int port, const std::string& full) {
    auto out = make_client<RtMidiOut>();
    if (!out || !open_by_name(*out, full, port_names[port])) return false;
    out_[port] = std::move(out);
    gate_[port].open();
    return true;
}

void alsa_backend::drop_output(int port) {
    // Every send drains to the sequencer at once, so nothing is left queued here: once the sends
    // that began before are over, the port can go.
    gate_[port].close();
    if (!out_[port]) return;
    out_[port]->closePort();
    out_[port].reset();
}

bool alsa_backend::open_output(int port, int device) {
    if (port < 0 || port >= output_ports) return false;
    close_output(port);
    std::lock_guard hold(control_);
    if (!available_ || device < 0 || device >= static_cast<int>(outputs_.size())) return false;
    const std::string& full = outputs_[static_cast<std::size_t>(device)];
    if (!connect_output(port, full)) return false;
    chosen_[port] = full;
    state_[port].store(device_state::connected);
    return true;
}

void alsa_backend::close_output(int port) {
    if (port < 0 || port >= output_ports) return;
    std::lock_guard hold(control_);
    drop_output(port);
    chosen_[port].clear();
    state_[port].store(device_state::closed);
}

bool alsa_backend::output_open(int port) const {
    return port >= 0 && port < output_ports && gate_[port].is_open();
}

device_state alsa_backend::output_state(int port) const {
    return port >= 0 && port < output_ports ? state_[port].load() : device_state::closed;
}

device_state alsa_backend::input_state() const { return input_state_.load(); }

void alsa_backend::send(int port, const std::uint8_t* bytes, std::size_t n, std::int64_t) {
    if (port < 0 || port >= output_ports || n == 0 || !gate_[port].enter()) return;
    // RtMidi's encoder is one per port: thru and the engine thread take turns for one write.
    write_[port].lock();
    out_[port]->sendMessage(bytes, n);
    write_[port].unlock();
    gate_[port].leave();
}

bool alsa_backend::connect_input(const std::string& full, midi_input_sink* sink) {
    auto in = make_client<RtMidiIn>();
    if (!in) return false;
    in->ignoreTypes(false, false, false);
    sink_.store(sink, std::memory_order_release);
    in->setCallback(on_input, this);
    if (!open_by_name(*in, full, "In")) {
        sink_.store(nullptr);
        return false;
    }
    in_ = std::move(in);
    return true;
}

void alsa_backend::drop_input() {
    if (in_) {
        in_->closePort();  // returns once RtMidi's input thread has stopped
        in_.reset();
    }
    sink_.store(nullptr);
}

bool alsa_backend::open_input(int device, midi_input_sink* sink) {
    close_input();
    std::lock_guard hold(control_);
    if (!available_ || !sink || device < 0 || device >= static_cast<int>(inputs_.size()))
        return false;
    const std::string& full = inputs_[static_cast<std::size_t>(device)];
    if (!connect_input(full, sink)) return false;
    input_chosen_ = full;
    input_sink_ = sink;
    input_state_.store(device_state::connected);
    return true;
}

void alsa_backend::close_input() {
    std::lock_guard hold(control_);
    drop_input();
    input_chosen_.clear();
    input_sink_ = nullptr;
    input_state_.store(device_state::closed);
}

void alsa_backend::watch_devices() {
    std::lock_guard hold(control_);
    if (!available_) return;
    const std::vector<std::string> outs = list_ports(lister_out_.get());
    const std::vector<std::string> ins = list_ports(lister_in_.get());
    for (int p = 0; p < output_ports; ++p) {
        const device_state s = state_[p].load();
        if (s == device_state::connected && !listed(outs, chosen_[p])) {
            drop_output(p);
            state_[p].store(device_state::gone);
        } else if (s == device_state::gone) {
            const std::string back = same_device(outs, chosen_[p]);
            if (!back.empty() && connect_output(p, back)) {
                chosen_[p] = back;
                state_[p].store(device_state::connected);
            }
        }
    }
    const device_state s = input_state_.load();
    if (s == device_state::connected && !listed(ins, input_chosen_)) {
        drop_input();
        input_state_.store(device_state::gone);
    } else if (s == device_state::gone) {
        const std::string back = same_device(ins, input_chosen_);
        if (!back.empty() && connect_input(back, input_sink_)) {
            input_chosen_ = back;
            input_state_.store(device_state::connected);
        }
    }
}

void alsa_backend::on_input(double, std::vector<unsigned char>* message, void* self) {
    const std::int64_t at = steady_us();
    midi_input_sink* sink = static_cast<alsa_backend*>(self)->sink_.load(std::memory_order_acquire);
    if (sink && message && !message->empty()) sink->midi_in(message->data(), message->size(), at);
}

}  // namespace kestrune
