#include "engine/system_backend.h"

#include <algorithm>

#include "engine/alsa_backend.h"
#include "engine/jack_backend.h"
#include "engine/synth_backend.h"

namespace kestrune {

namespace {

std::vector<system_backend::system> machine_systems() {
    auto jack = std::make_unique<jack_backend>();
    // The synth plays through the JACK client while a server runs. It comes first, so its place in
    // the list, and a port's choice of it, stays whatever devices come and go.
    auto synth = std::make_unique<synth_backend>(jack.get());
    std::vector<system_backend::system> s;
    s.push_back({"Synth: ", std::move(synth)});
    s.push_back({"ALSA: ", std::make_unique<alsa_backend>()});
    s.push_back({"JACK: ", std::move(jack)});
    return s;
}

}  // namespace

system_backend::system_backend() : system_backend(machine_systems()) {}

system_backend::system_backend(std::vector<system> systems) : systems_(std::move(systems)) {
    for (auto& o : owner_) o.store(-1);
}

system_backend::~system_backend() {
    for (int p = 0; p < output_ports; ++p) close_output(p);
    listen(nullptr);
    // In list order: the synth lets go of the JACK client before the client goes.
    for (auto& s : systems_) s.backend.reset();
}

int system_backend::default_output() {
    for (std::size_t i = 0; i < outputs_.size(); ++i) {
        const auto& owner = systems_[static_cast<std::size_t>(outputs_[i].system)];
        const auto* synth = dynamic_cast<const synth_backend*>(owner.backend.get());
        if (synth && synth->problem().empty()) return static_cast<int>(i);
    }
    return -1;
}

std::vector<std::string> system_backend::merge(std::vector<system>& systems,
                                               std::vector<place>& places, bool outputs) {
    std::vector<std::string> names;
    places.clear();
    for (std::size_t s = 0; s < systems.size(); ++s) {
        midi_backend& b = *systems[s].backend;
        const std::vector<std::string> list = outputs ? b.output_devices() : b.input_devices();
        for (std::size_t i = 0; i < list.size(); ++i) {
            names.push_back(systems[s].mark + list[i]);
            places.push_back({static_cast<int>(s), static_cast<int>(i)});
        }
    }
    return names;
}

std::vector<std::string> system_backend::output_devices() {
    return merge(systems_, outputs_, true);
}

std::vector<std::string> system_backend::input_devices() {
    return merge(systems_, inputs_, false);
}

bool system_backend::open_output(int port, int device) {
    if (port < 0 || port >= output_ports) return false;
    close_output(port);
    failure_[port] = "The device is no longer listed.";
    if (device < 0 || device >= static_cast<int>(outputs_.size())) return false;
    const place at = outputs_[static_cast<std::size_t>(device)];
    midi_backend& b = *systems_[static_cast<std::size_t>(at.system)].backend;
    if (!b.open_output(port, at.device)) {
        failure_[port] = b.open_failure(port);
        return false;
    }
    failure_[port].clear();
    owner_[port].store(at.system, std::memory_order_release);
    return true;
}

std::string system_backend::open_failure(int port) const {
    return port >= 0 && port < output_ports ? failure_[port] : std::string();
}

bool system_backend::await_output(int port, const std::string& name) {
    if (port < 0 || port >= output_ports) return false;
    close_output(port);
    for (std::size_t s = 0; s < systems_.size(); ++s) {
        const std::string& mark = systems_[s].mark;
        if (name.compare(0, mark.size(), mark) != 0) continue;
        if (!systems_[s].backend->await_output(port, name.substr(mark.size()))) return false;
        owner_[port].store(static_cast<int>(s), std::memory_order_release);
        return true;
    }
    return false;
}

void system_backend::close_output(int port) {
    if (port < 0 || port >= output_ports) return;
    const int s = owner_[port].exchange(-1);
    if (s >= 0) systems_[static_cast<std::size_t>(s)].backend->close_output(port);
}

int system_backend::owner(int port) const {
    return port >= 0 && port < output_ports ? owner_[port].load(std::memory_order_acquire) : -1;
}

bool system_backend::output_open(int port) const {
    const int s = owner(port);
    return s >= 0 && systems_[static_cast<std::size_t>(s)].backend->output_open(port);
}

void system_backend::listen(midi_input_sink* sink) {
    for (auto& s : systems_) s.backend->listen(sink);
}

bool system_backend::connect_input(int device, bool only) {
    const bool listed = device >= 0 && device < static_cast<int>(inputs_.size());
    const int owner = listed ? inputs_[static_cast<std::size_t>(device)].system : -1;
    if (only)
        for (std::size_t s = 0; s < systems_.size(); ++s)
            if (static_cast<int>(s) != owner) systems_[s].backend->connect_input(-1, true);
    if (!listed) return device < 0 && only;
    return systems_[static_cast<std::size_t>(owner)].backend->connect_input(
        inputs_[static_cast<std::size_t>(device)].device, only);
}

int system_backend::merged_input(int system, int device) const {
    for (std::size_t i = 0; i < inputs_.size(); ++i)
        if (inputs_[i].system == system && inputs_[i].device == device) return static_cast<int>(i);
    return -1;
}

int system_backend::connected_input() {
    for (std::size_t s = 0; s < systems_.size(); ++s) {
        const int device = systems_[s].backend->connected_input();
        if (device >= 0) return merged_input(static_cast<int>(s), device);
    }
    return -1;
}

int system_backend::default_input() {
    for (std::size_t s = 0; s < systems_.size(); ++s) {
        const int device = systems_[s].backend->default_input();
        if (device >= 0) return merged_input(static_cast<int>(s), device);
    }
    return -1;
}

std::int64_t system_backend::input_delay_us() const {
    std::int64_t most = 0;
    for (const auto& s : systems_) most = std::max(most, s.backend->input_delay_us());
    return most;
}

void system_backend::send(int port, const std::uint8_t* bytes, std::size_t n, std::int64_t due_us) {
    // Each system guards its own ports against a close that races with this send.
    const int s = owner(port);
    if (s >= 0) systems_[static_cast<std::size_t>(s)].backend->send(port, bytes, n, due_us);
}

void system_backend::send_from_input(int port, const std::uint8_t* bytes, std::size_t n,
                                     std::int64_t due_us) {
    const int s = owner(port);
    if (s >= 0)
        systems_[static_cast<std::size_t>(s)].backend->send_from_input(port, bytes, n, due_us);
}

bool system_backend::present() const {
    for (const auto& s : systems_)
        if (s.backend->present()) return true;
    return false;
}

bool system_backend::midi_system_present() const {
    for (const auto& s : systems_)
        if (!dynamic_cast<const synth_backend*>(s.backend.get()) && s.backend->present()) return true;
    return false;
}

void system_backend::watch_devices() {
    for (auto& s : systems_) s.backend->watch_devices();
}

device_state system_backend::output_state(int port) const {
    const int s = owner(port);
    return s >= 0 ? systems_[static_cast<std::size_t>(s)].backend->output_state(port)
                  : device_state::closed;
}

device_state system_backend::input_state() const {
    // A lost source is news however many others are connected.
    device_state state = device_state::closed;
    for (const auto& s : systems_) {
        const device_state here = s.backend->input_state();
        if (lost(here)) return here;
        if (here == device_state::connected) state = here;
    }
    return state;
}

}  // namespace kestrune
