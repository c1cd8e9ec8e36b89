// The ALSA sequencer: output through RtMidi, the input port of alsa_input. The engine thread calls
// send at each message's due time, and the message goes out at once; MIDI thru sends from the
// input's thread between them.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "engine/alsa_input.h"
#include "engine/input_source.h"
#include "engine/midi_backend.h"

class RtMidiIn;
class RtMidiOut;

namespace kestrune {

// A sequencer port name as RtMidi gives it ("Client:Port 20:0") without the client and port
// numbers, which change from one session to the next.
std::string alsa_display_name(const std::string& full);
// The port among `full_names` that is the device `full` came from: the same name, or, for a
// device plugged in again under other numbers, the same name without them; empty when none is.
std::string alsa_same_device(const std::vector<std::string>& full_names, const std::string& full);
// The client and port numbers at the end of a name as RtMidi gives it; false without them.
bool alsa_address(const std::string& full, seq_address* a);

class alsa_backend final : public midi_backend {
public:
    // Without /dev/snd/seq (no sound hardware, a container) every list stays empty.
    alsa_backend();
    ~alsa_backend() override;
    alsa_backend(const alsa_backend&) = delete;
    alsa_backend& operator=(const alsa_backend&) = delete;

    bool available() const { return available_; }
    bool present() const override { return available_; }

    // Other clients' writable ports; the program's own ports (client "Kestrune") are left out.
    std::vector<std::string> output_devices() override;
    std::vector<std::string> input_devices() override;
    bool open_output(int port, int device) override;
    void close_output(int port) override;
    bool output_open(int port) const override;
    std::string open_failure(int port) const override;
    // The port waits for a sequencer port of that name, its numbers aside.
    bool await_output(int port, const std::string& name) override;
    // Input comes on the input's thread with the sequencer's time stamp on the engine's clock;
    // sysex, timing and active sensing are all passed on, the engine filters.
    void listen(midi_input_sink* sink) override;
    bool connect_input(int device, bool only) override;
    int connected_input() override;
    int default_input() override;
    // From both threads: one write at a time goes to the sequencer.
    void send(int port, const std::uint8_t* bytes, std::size_t n, std::int64_t due_us) override;

    // A device whose sequencer port is no longer listed is lost; it is opened again when a port
    // of the same name (client and port numbers aside) appears. The input follows what is
    // connected to it.
    void watch_devices() override;
    device_state output_state(int port) const override;
    device_state input_state() const override;

  private:
    bool connect_output(int port, const std::string& full);
    void drop_output(int port);
    // With control_ held: the listed names of the ports connected to the input now.
    std::vector<std::string> input_connections(const std::vector<std::string>& ports) const;
    void watch_input(const std::vector<std::string>& ports);

    bool available_ = false;
    std::mutex control_;  // everything but send and the input callback
    std::unique_ptr<RtMidiOut> lister_out_;
    std::unique_ptr<RtMidiIn> lister_in_;
    std::unique_ptr<RtMidiOut> out_[output_ports];
    std::unique_ptr<alsa_input> in_;
    port_gate gate_[output_ports];
    write_lock write_[output_ports];
    // Full RtMidi names as last listed; device numbers index these.
    std::vector<std::string> outputs_;
    std::vector<std::string> inputs_;
    // The device each port and the input were opened on, full name, and what became of it.
    std::string chosen_[output_ports];
    std::atomic<device_state> state_[output_ports] = {};
    input_source input_;  // with control_ held; its state is copied beside for reading
    std::atomic<device_state> input_state_{device_state::closed};
};

}  // namespace kestrune
