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

#include "engine/midi_backend.h"

typedef struct _jack_client jack_client_t;
typedef struct _jack_port jack_port_t;

namespace kestrune {

// One process cycle as jack_get_cycle_times gives it, with the times on the engine's clock.
struct jack_cycle {
    std::uint32_t first_frame;  // frame time at the start of the cycle
    std::uint32_t frames;       // frames in the cycle
    std::int64_t start_us;      // when the cycle started
    double period_us;           // until the next cycle starts
};

// Offset in cycle `c` of a message due at `due_us`, played `latency_frames` after its due time.
// Negative: the message is late; `c.frames` or more: it belongs to a later cycle.
std::int64_t jack_frame_offset(const jack_cycle& c, std::int64_t due_us,
                               std::int64_t latency_frames);

// When an input event at `offset` in cycle `c` arrived: the frames of a cycle were received during
// the period before it started.
std::int64_t jack_input_time(const jack_cycle& c, std::uint32_t offset);

// Receives the messages a cycle writes: jack_midi_event_reserve in the process callback.
class jack_event_writer {
public:
    virtual ~jack_event_writer() = default;
    // Room for `size` bytes at `offset`, or null when the port's buffer is full.
    virtual std::uint8_t* reserve(std::uint32_t offset, std::size_t size) = 0;
    // The largest message the buffer can ever take.
    virtual std::size_t max_size() const = 0;
};

// The messages of one output port from one sending thread (the only writer) to the process
// callback (the only reader). Lock-free; the storage is allocated once.
class jack_port_queue {
public:
    explicit jack_port_queue(std::size_t capacity_bytes = 1 << 17);

    // Sending thread. False when the queue has no room: the message is dropped and counted.
    bool push(const std::uint8_t* bytes, std::size_t n, std::int64_t due_us);

    // Process thread: writes every message that falls in cycle `c`, in the order they were queued
    // and at non-decreasing offsets; late ones at the earliest offset still free. Messages due in
    // a later cycle stay queued. A message that does not fit this cycle waits for the next one;
    // one larger than the buffer can ever hold is dropped and counted.
    void drain(const jack_cycle& c, std::int64_t latency_frames, jack_event_writer& w);
    // The same over the queues of one port, merged by offset.
    static void drain(jack_port_queue* const* queues, std::size_t count, const jack_cycle& c,
                      std::int64_t latency_frames, jack_event_writer& w);

    bool empty() const;
    // Forgets what is queued; only while nothing sends or drains.
    void clear() { tail_.store(head_.load()); }
    std::uint64_t dropped() const { return dropped_.load(std::memory_order_relaxed); }
    std::uint64_t late() const { return late_.load(std::memory_order_relaxed); }

private:
    struct header {
        std::int64_t due_us;
        std::uint32_t size;
    };
    static constexpr std::size_t header_bytes = 12;
    // The message at the front and its offset in the cycle being drained.
    struct front_message {
        std::int64_t offset;
        std::uint32_t size;
    };
    bool front(const jack_cycle& c, std::int64_t latency_frames, front_message* m) const;
    void pop(const front_message& m);

    void copy_in(std::size_t at, const void* src, std::size_t n);
    void copy_out(std::size_t at, void* dst, std::size_t n) const;

    std::vector<std::uint8_t> ring_;
    std::size_t mask_;
    std::atomic<std::size_t> head_{0};  // bytes ever written
    std::atomic<std::size_t> tail_{0};  // bytes ever read
    std::atomic<std::uint64_t> dropped_{0};
    std::atomic<std::uint64_t> late_{0};
};

class jack_backend final : public midi_backend {
public:
    // Extra latency beyond one period, so that a message the engine thread hands over a little
    // after its due time still reaches the cycle that plays it.
    static constexpr std::int64_t margin_us = 2000;

    // Joins a running JACK server; never starts one. Without a server every list stays empty.
    jack_backend();
    ~jack_backend() override;
    jack_backend(const jack_backend&) = delete;
    jack_backend& operator=(const jack_backend&) = delete;

    // A server was found and the client is active.
    bool running() const;
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
    bool open_input(int device, midi_input_sink* sink) override;
    void close_input() override;
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
    std::atomic<device_state> state_[output_ports] = {};
    std::string input_source_;
    midi_input_sink* input_sink_ = nullptr;
    std::atomic<device_state> input_state_{device_state::closed};
    std::atomic<midi_input_sink*> sink_{nullptr};
    std::atomic<bool> alive_{false};
    std::atomic<std::uint64_t> cycles_{0};
    std::int64_t jack_minus_engine_ = 0;  // the process thread's once the client is active
    std::vector<std::string> outputs_;
    std::vector<std::string> inputs_;
};

}  // namespace kestrune
