// JACK through libjack: a client "Kestrune" with four MIDI output ports and one input port. The
// engine thread and MIDI thru queue each message with its due time; the process callback writes it
// at its own frame offset, one constant latency later, so timing never snaps to the period.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "engine/input_source.h"
#include "engine/jack_cycle.h"
#include "engine/midi_backend.h"

typedef struct _jack_client jack_client_t;
typedef struct _jack_port jack_port_t;

namespace kestrune {

class jack_backend final : public midi_backend, public jack_audio_host {
public:
    // Joins a running JACK server; never starts one. Without a server every list stays empty.
    jack_backend();
    ~jack_backend() override;
    jack_backend(const jack_backend&) = delete;
    jack_backend& operator=(const jack_backend&) = delete;

    bool running() const override;
    // The client's name as the server gave it ("Kestrune", or with a suffix when taken).
    std::string client_name() const;
    // Full JACK name of output port `port` (0 to 3) or of the input port (-1).
    std::string port_name(int port) const;

    // Other clients' MIDI input ports. Listing joins a server that has started since.
    std::vector<std::string> output_devices() override;
    // Other clients' MIDI output ports.
    std::vector<std::string> input_devices() override;
    // Connects port A to D to the device; close_output first plays what is queued.
    bool open_output(int port, int device) override;
    void close_output(int port) override;
    bool output_open(int port) const override;
    std::string open_failure(int port) const override;
    // The port waits for a JACK port of that name, and for a server first when none runs.
    bool await_output(int port, const std::string& name) override;
    // The input port "In" takes what any other client connects to it.
    void listen(midi_input_sink* sink) override;
    bool connect_input(int device, bool only) override;
    int connected_input() override;
    // The first MIDI source of the machine's own hardware.
    int default_input() override;
    // An input's time is that of its frame, which the callback reads up to one latency later.
    std::int64_t input_delay_us() const override {
        return input_delay_us_.load(std::memory_order_relaxed);
    }
    // The engine thread's and MIDI thru's messages go through a queue each.
    void send(int port, const std::uint8_t* bytes, std::size_t n, std::int64_t due_us) override;
    void send_from_input(int port, const std::uint8_t* bytes, std::size_t n,
                         std::int64_t due_us) override;

    bool present() const override { return running(); }
    // A connection that went away (its client ended) makes the port lost, and so does a server
    // that stopped; a lost port is connected again by the device's port name once the device is
    // there, joining a new server first if needed.
    void watch_devices() override;
    device_state output_state(int port) const override;
    device_state input_state() const override { return input_state_.load(); }

    void set_audio_part(jack_audio_part* part) override;

    std::uint64_t late_messages() const;
    std::uint64_t dropped_messages() const;

private:
    void join_server();
    void leave_server();
    // With control_ held: lets go of a server that has gone, keeping what each port wants.
    void server_gone();
    // With control_ held: lets go of a server that has gone and joins one that runs now.
    void refresh_server();
    // With control_ held: notes connections that went away and makes those that can be made.
    void check_connections();
    std::vector<std::string> other_ports(unsigned long flags) const;
    // With control_ held: the ports connected to the input now.
    std::vector<std::string> input_connections() const;
    int input_index(const std::string& name) const;
    // With the client active: the audio part's outputs, registered, joined and connected to the
    // sound card; nothing when the part cannot play.
    void take_audio_part();
    // No cycle running the part: it lets go, and so do its outputs unless the client goes.
    void drop_audio_part(bool client_goes);
    // Waits until the process callback has run `cycles` more times, or the server is gone.
    void wait_cycles(int cycles) const;
    int process(std::uint32_t frames);
    static int process_entry(std::uint32_t frames, void* self);
    static void shutdown_entry(void* self);

    jack_client_t* client_ = nullptr;
    jack_port_t* out_[output_ports] = {};
    jack_port_t* in_ = nullptr;
    std::mutex control_;  // everything but sending and the process callback
    std::unique_ptr<jack_port_queue> queue_[output_ports];        // the engine thread's
    std::unique_ptr<jack_port_queue> input_queue_[output_ports];  // MIDI thru's
    port_gate gate_[output_ports];
    // The port each of ours was connected to, kept while it is lost, and what became of it.
    std::string target_[output_ports];
    std::string refused_[output_ports];  // the device a failed open was for
    std::atomic<device_state> state_[output_ports] = {};
    input_source input_;  // with control_ held; its state is copied beside for reading
    std::atomic<device_state> input_state_{device_state::closed};
    std::atomic<midi_input_sink*> sink_{nullptr};
    std::atomic<std::int64_t> input_delay_us_{0};
    std::atomic<bool> alive_{false};
    jack_audio_part* audio_part_ = nullptr;
    jack_port_t* audio_out_[2] = {};
    std::atomic<jack_audio_part*> audio_live_{nullptr};  // what the callback runs
    std::atomic<std::uint64_t> cycles_{0};
    std::int64_t jack_minus_engine_ = 0;  // the process thread's once the client is active
    std::vector<std::string> outputs_;
    std::vector<std::string> inputs_;
};

}  // namespace kestrune
