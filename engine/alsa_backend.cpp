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

bool alsa_address(const std::string& full, seq_address* a) {
    // A trailing " <client>:<port>" made of digits.
    const std::size_t space = full.rfind(' ');
    if (space == std::string::npos) return false;
    const std::string tail = full.substr(space + 1);
    const std::size_t colon = tail.find(':');
    if (colon == std::string::npos || colon == 0 || colon + 1 == tail.size() || colon > 3 ||
        tail.size() - colon > 4)
        return false;
    const bool digits = std::all_of(tail.begin(), tail.end(),
                                    [](char ch) { return ch == ':' || (ch >= '0' && ch <= '9'); });
    if (!digits || tail.find(':', colon + 1) != std::string::npos) return false;
    *a = {std::stoi(tail.substr(0, colon)), std::stoi(tail.substr(colon + 1))};
    return true;
}

std::string alsa_display_name(const std::string& full) {
    seq_address a;
    return alsa_address(full, &a) ? full.substr(0, full.rfind(' ')) : full;
}

std::string alsa_same_device(const std::vector<std::string>& full_names, const std::string& full) {
    if (listed(full_names, full)) return full;
    const std::string name = alsa_display_name(full);
    for (const auto& f : full_names)
        if (alsa_display_name(f) == name) return f;
    return "";
}

alsa_backend::alsa_backend() {
    // Opening the sequencer where there is none only makes ALSA print complaints.
    if (access("/dev/snd/seq", R_OK | W_OK) != 0) return;
    lister_out_ = make_client<RtMidiOut>();
    lister_in_ = make_client<RtMidiIn>();
    available_ = lister_out_ && lister_in_;
    if (available_) in_ = std::make_unique<alsa_input>();
    if (in_ && !in_->ok()) in_.reset();
}

alsa_backend::~alsa_backend() {
    for (int p = 0; p < output_ports; ++p) close_output(p);
    listen(nullptr);
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

std::string alsa_backend::open_failure(int) const {
    return available_ ? "The ALSA sequencer did not connect the port." : "There is no ALSA sequencer.";
}

bool alsa_backend::await_output(int port, const std::string& name) {
    if (port < 0 || port >= output_ports || name.empty()) return false;
    close_output(port);
    std::lock_guard hold(control_);
    if (!available_) return false;
    chosen_[port] = name;
    state_[port].store(device_state::gone);
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

void alsa_backend::listen(midi_input_sink* sink) {
    if (in_) in_->listen(sink);
}

std::vector<std::string> alsa_backend::input_connections(
    const std::vector<std::string>& ports) const {
    std::vector<std::string> names;
    if (!in_) return names;
    for (const seq_address& from : in_->sources())
        for (const std::string& full : ports)
            if (seq_address a; alsa_address(full, &a) && a == from) names.push_back(full);
    return names;
}

bool alsa_backend::connect_input(int device, bool only) {
    std::lock_guard hold(control_);
    if (!in_) return device < 0 && only;
    if (only) {
        for (const seq_address& from : in_->sources()) in_->disconnect(from);
        input_ = {};
    }
    bool ok = device < 0 && only;
    if (device >= 0 && device < static_cast<int>(inputs_.size())) {
        const std::string& full = inputs_[static_cast<std::size_t>(device)];
        seq_address from;
        ok = alsa_address(full, &from) && in_->connect(from);
        if (ok) input_ = {full, device_state::connected};
    }
    input_state_.store(input_.state);
    return ok;
}

int alsa_backend::connected_input() {
    std::lock_guard hold(control_);
    const std::vector<std::string> now = input_connections(inputs_);
    if (now.empty()) return -1;
    const bool chosen = std::find(now.begin(), now.end(), input_.name) != now.end();
    const auto at = std::find(inputs_.begin(), inputs_.end(), chosen ? input_.name : now.front());
    return static_cast<int>(at - inputs_.begin());
}

int alsa_backend::default_input() {
    std::lock_guard hold(control_);
    for (std::size_t i = 0; in_ && i < inputs_.size(); ++i)
        if (seq_address a; alsa_address(inputs_[i], &a) && in_->hardware(a))
            return static_cast<int>(i);
    return -1;
}

void alsa_backend::watch_input(const std::vector<std::string>& ports) {
    // A lost device may come back under other numbers; one still connected keeps its own.
    const std::string back = alsa_same_device(ports, input_.name);
    const bool there = lost(input_.state) ? !back.empty() : listed(ports, input_.name);
    const input_watch w = follow_input(input_, there, input_connections(ports));
    input_ = w.next;
    seq_address from;
    if (w.reconnect && alsa_address(back, &from) && in_->connect(from))
        input_ = {back, device_state::connected};
    input_state_.store(input_.state);
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
            const std::string back = alsa_same_device(outs, chosen_[p]);
            if (!back.empty() && connect_output(p, back)) {
                chosen_[p] = back;
                state_[p].store(device_state::connected);
            }
        }
    }
    if (in_) watch_input(ins);
}

}  // namespace kestrune
