#include <algorithm>
#include <cstring>
#include <mutex>

#include "engine/midi_backend.h"

namespace kestrune {

capture_backend::capture_backend(std::size_t capacity) : log_(capacity) {}

bool capture_backend::open_output(int port, int device) {
    if (port < 0 || port >= 4) return false;
    lost_[port] = device_state::closed;
    awaited_[port].clear();
    if (device < 0 || device >= static_cast<int>(outputs.size()) ||
        std::find(refuse_devices.begin(), refuse_devices.end(), device) != refuse_devices.end()) {
        open_[port] = false;
        return false;
    }
    open_[port] = true;
    return true;
}

void capture_backend::close_output(int port) {
    if (port < 0 || port >= 4) return;
    open_[port] = false;
    awaited_[port].clear();
}

bool capture_backend::await_output(int port, const std::string& name) {
    if (port < 0 || port >= 4) return false;
    open_[port] = true;
    lost_[port] = device_state::gone;
    awaited_[port] = name;
    return true;
}

void capture_backend::watch_devices() {
    for (int p = 0; p < 4; ++p)
        if (!awaited_[p].empty() && std::find(outputs.begin(), outputs.end(), awaited_[p]) != outputs.end()) {
            lost_[p] = device_state::closed;
            awaited_[p].clear();
        }
}

bool capture_backend::connect_input(int device, bool only) {
    if (only) source_ = -1;
    if (device < 0 && only) return true;
    if (device < 0 || device >= static_cast<int>(inputs.size()) ||
        std::find(refuse_devices.begin(), refuse_devices.end(), device) != refuse_devices.end())
        return false;
    if (source_ < 0) source_ = device;
    return true;
}

device_state capture_backend::output_state(int port) const {
    if (port < 0 || port >= 4 || !open_[port]) return device_state::closed;
    const device_state s = lost_[port];
    return s == device_state::closed ? device_state::connected : s;
}

void capture_backend::set_output_state(int port, device_state s) {
    if (port >= 0 && port < 4) lost_[port] = s == device_state::connected ? device_state::closed : s;
}

void capture_backend::send(int port, const std::uint8_t* bytes, std::size_t n, std::int64_t due_us) {
    std::lock_guard hold(log_lock_);
    if (count_ >= log_.size()) {
        ++dropped_;
        return;
    }
    message& m = log_[count_++];
    m.port = port;
    std::memset(m.bytes, 0, 3);
    std::memcpy(m.bytes, bytes, std::min<std::size_t>(n, 3));
    m.size = static_cast<std::uint8_t>(std::min<std::size_t>(n, 3));
    m.long_size = static_cast<std::uint32_t>(n);
    m.due_us = due_us;
}

void capture_backend::inject(const std::uint8_t* bytes, std::size_t n, std::int64_t at_us) {
    if (sink_) sink_->midi_in(bytes, n, at_us);
}

}  // namespace kestrune
