// The engine's view of MIDI devices: open and close, send with a due time, receive input.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kestrune {

inline constexpr int output_ports = 4;

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
    virtual bool open_input(int device, midi_input_sink* sink) = 0;
    virtual void close_input() = 0;
    // Called on the engine thread: sends one complete message due at `due_us` on the engine's
    // clock. Real-time safe.
    virtual void send(int port, const std::uint8_t* bytes, std::size_t n, std::int64_t due_us) = 0;
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
    bool output_open(int port) const override { return port >= 0 && port < 4 && open_[port]; }
    bool open_input(int device, midi_input_sink* sink) override;
    void close_input() override { sink_ = nullptr; }
    void send(int port, const std::uint8_t* bytes, std::size_t n, std::int64_t due_us) override;

    // Feeds bytes to the input as if a device had sent them.
    void inject(const std::uint8_t* bytes, std::size_t n, std::int64_t at_us);

    std::size_t size() const { return count_; }
    const message& operator[](std::size_t i) const { return log_[i]; }
    std::vector<message> messages() const { return {log_.begin(), log_.begin() + static_cast<std::ptrdiff_t>(count_)}; }
    void clear() { count_ = 0; dropped_ = 0; }
    std::size_t dropped() const { return dropped_; }

    std::vector<std::string> outputs{"Capture Out 1", "Capture Out 2", "Capture Out 3", "Capture Out 4"};
    std::vector<std::string> inputs{"Capture In"};
    std::vector<int> refuse_devices;  // device numbers whose open fails

private:
    std::vector<message> log_;
    std::size_t count_ = 0;
    std::size_t dropped_ = 0;
    bool open_[4] = {true, true, true, true};
    midi_input_sink* sink_ = nullptr;
};

}  // namespace kestrune
