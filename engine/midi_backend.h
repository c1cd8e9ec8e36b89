// The engine's view of MIDI devices: open and close, send with a due time, receive input.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "engine/port_gate.h"

namespace kestrune {

inline constexpr int output_ports = 4;

// What became of the device a port was opened on.
enum class device_state : std::uint8_t {
    closed,       // no device chosen
    connected,
    gone,         // the device went away (unplugged, its program ended)
    system_gone,  // the MIDI system under it went away (the JACK server stopped)
};

inline bool lost(device_state s) { return s == device_state::gone || s == device_state::system_gone; }

// Receives input on the backend's thread; it must not allocate or block.
class midi_input_sink {
public:
    virtual ~midi_input_sink() = default;
    virtual void midi_in(const std::uint8_t* bytes, std::size_t n, std::int64_t at_us) = 0;
};

class midi_backend {
public:
    virtual ~midi_backend() = default;
    virtual std::vector<std::string> output_devices() = 0;
    virtual std::vector<std::string> input_devices() = 0;
    // Device numbers index the lists above.
    virtual bool open_output(int port, int device) = 0;
    virtual void close_output(int port) = 0;
    virtual bool output_open(int port) const = 0;
    // Why the port's last open_output failed, in a line or two for the user; empty when the
    // system has nothing to say.
    virtual std::string open_failure(int /*port*/) const { return {}; }
    // Keeps the port for a device of that name that is not listed now; watch_devices connects it
    // once it appears, the port lost until then. False where the system cannot wait for one.
    virtual bool await_output(int /*port*/, const std::string& /*name*/) { return false; }
    // The input port is always there and takes what is connected to it, however the connection
    // was made (here, or in a patchbay); the sink hears it from now on, null for nobody.
    virtual void listen(midi_input_sink* /*sink*/) {}
    // Connects a source to the input port; with `only`, whatever was connected before lets go,
    // so that device -1 leaves nothing connected.
    virtual bool connect_input(int device, bool only) { return device < 0 && only; }
    // A source connected to the input port now, as a device number; -1 for none.
    virtual int connected_input() { return -1; }
    // The first source that is a device of the machine (a keyboard, an interface), -1 for none.
    virtual int default_input() { return -1; }
    // How long after its own time an input message can reach the sink at most.
    virtual std::int64_t input_delay_us() const { return 0; }
    // Called on the engine thread: sends one complete message due at `due_us` on the engine's
    // clock. Real-time safe.
    virtual void send(int port, const std::uint8_t* bytes, std::size_t n, std::int64_t due_us) = 0;
    // The same from the input's thread (MIDI thru), at the same time as the engine thread sends.
    virtual void send_from_input(int port, const std::uint8_t* bytes, std::size_t n,
                                 std::int64_t due_us) {
        send(port, bytes, n, due_us);
    }

    // The MIDI system is there (an ALSA sequencer, a JACK server).
    virtual bool present() const { return true; }
    // Off the real-time path, a few times a second: notices devices that went away and
    // reconnects a lost port by its device's name once the device (or its system) is back.
    virtual void watch_devices() {}
    virtual device_state output_state(int port) const {
        return output_open(port) ? device_state::connected : device_state::closed;
    }
    virtual device_state input_state() const { return device_state::closed; }
    // The output device for port A when none is chosen for any port (a first start), -1 for none.
    virtual int default_output() { return -1; }
};

// Records every message with its due time and the time it was handed over; injects input.
// Storage is reserved up front so the engine thread never allocates.
class capture_backend final : public midi_backend {
public:
    struct message {
        int port;
        std::uint8_t bytes[3];
        std::uint8_t size;  // bytes of a short message; longer messages keep their first 3
        std::uint32_t long_size;
        std::int64_t due_us;
    };

    explicit capture_backend(std::size_t capacity = 1 << 20);

    std::vector<std::string> output_devices() override { return outputs; }
    std::vector<std::string> input_devices() override { return inputs; }
    bool open_output(int port, int device) override;
    void close_output(int port) override;
    bool output_open(int port) const override {
        return output_state(port) == device_state::connected;
    }
    std::string open_failure(int) const override { return refusal; }
    bool await_output(int port, const std::string& name) override;
    // An awaited device connects once its name is among `outputs`.
    void watch_devices() override;
    void listen(midi_input_sink* sink) override { sink_ = sink; }
    bool connect_input(int device, bool only) override;
    int connected_input() override { return source_; }
    int default_input() override { return hardware_input; }
    std::int64_t input_delay_us() const override { return input_delay; }
    // Safe from the engine thread and the input's thread at once.
    void send(int port, const std::uint8_t* bytes, std::size_t n, std::int64_t due_us) override;
    device_state output_state(int port) const override;
    device_state input_state() const override {
        return source_ >= 0 ? device_state::connected : device_state::closed;
    }
    // What watch_devices makes of a port's device from now on: lost, or back.
    void set_output_state(int port, device_state s);

    // Feeds bytes to the input as if a connected device had sent them.
    void inject(const std::uint8_t* bytes, std::size_t n, std::int64_t at_us);

    std::size_t size() const { return count_; }
    const message& operator[](std::size_t i) const { return log_[i]; }
    std::vector<message> messages() const { return {log_.begin(), log_.begin() + static_cast<std::ptrdiff_t>(count_)}; }
    void clear() { count_ = 0; dropped_ = 0; }
    std::size_t dropped() const { return dropped_; }

    std::vector<std::string> outputs{"Capture Out 1", "Capture Out 2", "Capture Out 3", "Capture Out 4"};
    std::vector<std::string> inputs{"Capture In"};
    std::vector<int> refuse_devices;  // device numbers whose open fails
    std::string refusal = "The device refused to open.";  // what open_failure says
    int hardware_input = -1;          // what default_input offers
    std::int64_t input_delay = 0;     // what input_delay_us says

  private:
    std::vector<message> log_;
    std::size_t count_ = 0;
    std::size_t dropped_ = 0;
    std::atomic<bool> open_[4] = {true, true, true, true};
    std::atomic<device_state> lost_[4] = {};  // closed: as open_ says
    std::string awaited_[4];
    write_lock log_lock_;
    midi_input_sink* sink_ = nullptr;
    int source_ = -1;
};

}  // namespace kestrune
