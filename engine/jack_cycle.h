// The JACK process cycle as the program's backends share it: one cycle's times on the engine's
// clock, where in a cycle a message due at a given time falls, the lock-free queue that carries
// messages from a sending thread to the process callback, and the audio a client can carry for
// another backend. Nothing here calls libjack.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kestrune {

// Latency beyond one period, so that a message the engine thread hands over a little after its due
// time still reaches the cycle that plays it.
inline constexpr std::int64_t jack_margin_us = 2000;

// One constant latency in frames: a period and the margin.
std::int64_t jack_latency_frames(std::uint32_t period_frames, double sample_rate);

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

// The time of an input event at `offset` in cycle `c`: the time whose output would be written on
// the same frame, so that what another client plays in time with the program's output is heard
// as played there.
std::int64_t jack_input_time(const jack_cycle& c, std::uint32_t offset,
                             std::int64_t latency_frames);

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

// Sound made in a JACK client's process callback, on the same cycle and clock as its MIDI ports:
// the client registers two audio outputs for the part and hands it their buffers.
class jack_audio_part {
public:
    virtual ~jack_audio_part() = default;
    // The names of the two outputs, left (0) and right (1).
    virtual const char* output_name(int side) const = 0;
    // UI thread: the outputs are there on a server at `sample_rate`. False when the part cannot
    // play; the client then lets the outputs go.
    virtual bool joined(int sample_rate) = 0;
    // UI thread, no cycle running the part any more: the outputs are gone.
    virtual void leaving() = 0;
    // Process thread, after the MIDI ports are written: one cycle of sound, with their latency.
    virtual void process(float* left, float* right, std::uint32_t frames, const jack_cycle& c,
                         std::int64_t latency_frames) = 0;
};

// A JACK client that can carry an audio part.
class jack_audio_host {
public:
    virtual ~jack_audio_host() = default;
    // A server was found and the client is active.
    virtual bool running() const = 0;
    // Adds the part to the client (null removes it); it follows the client across servers.
    virtual void set_audio_part(jack_audio_part* part) = 0;
};

}  // namespace kestrune
