// The device list the user sees: every MIDI system of the machine merged, each name marked by its
// system ("Synth: ...", "ALSA: ...", "JACK: ..."), each port routed to the system of the device
// chosen for it.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "engine/midi_backend.h"

namespace kestrune {

class system_backend final : public midi_backend {
public:
    struct system {
        std::string mark;  // put before each device name, e.g. "ALSA: "
        std::unique_ptr<midi_backend> backend;
    };

    // The built-in synth, the ALSA sequencer and JACK; a system that is not there lists nothing.
    system_backend();
    explicit system_backend(std::vector<system> systems);
    ~system_backend() override;
    system_backend(const system_backend&) = delete;
    system_backend& operator=(const system_backend&) = delete;

    std::vector<std::string> output_devices() override;
    std::vector<std::string> input_devices() override;
    // Device numbers index the lists as last returned. A port moves from one system to another by
    // closing it on the first, which plays what is queued there, before opening it on the second.
    bool open_output(int port, int device) override;
    void close_output(int port) override;
    bool output_open(int port) const override;
    std::string open_failure(int port) const override;
    // `name` as the merged list shows it: the system its mark names waits for the device.
    bool await_output(int port, const std::string& name) override;
    // Every system's input port feeds the sink; a device connects to its own system's port, and
    // with `only` every other system's port lets go of its sources too.
    void listen(midi_input_sink* sink) override;
    bool connect_input(int device, bool only) override;
    int connected_input() override;
    int default_input() override;
    std::int64_t input_delay_us() const override;
    void send(int port, const std::uint8_t* bytes, std::size_t n, std::int64_t due_us) override;
    void send_from_input(int port, const std::uint8_t* bytes, std::size_t n,
                         std::int64_t due_us) override;

    // Some MIDI system is there.
    bool present() const override;
    // An ALSA sequencer or a JACK server is there, beside the built-in synth.
    bool midi_system_present() const;
    void watch_devices() override;
    device_state output_state(int port) const override;
    device_state input_state() const override;

    // The built-in synth when it can play: a port with no device chosen at all plays through it.
    int default_output() override;

    midi_backend& part(std::size_t i) { return *systems_[i].backend; }
    // The first system of a kind, null when there is none.
    template <class T>
    T* find() {
        for (auto& s : systems_)
            if (auto* t = dynamic_cast<T*>(s.backend.get())) return t;
        return nullptr;
    }
    std::size_t parts() const { return systems_.size(); }
    // The system port A to D sends to, -1 when the port is closed.
    int owner(int port) const;

private:
    struct place {
        int system;
        int device;  // in that system's own list
    };
    static std::vector<std::string> merge(std::vector<system>& systems, std::vector<place>& places,
                                          bool outputs);
    // The merged number of a system's own input device, -1 when it is not listed.
    int merged_input(int system, int device) const;

    std::vector<system> systems_;
    std::vector<place> outputs_;
    std::vector<place> inputs_;
    std::atomic<int> owner_[output_ports];
    std::string failure_[output_ports];
};

}  // namespace kestrune
