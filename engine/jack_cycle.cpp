#include "engine/jack_cycle.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

namespace kestrune {

std::int64_t jack_latency_frames(std::uint32_t period_frames, double sample_rate) {
    return period_frames + std::llround(jack_margin_us * sample_rate / 1e6);
}

std::int64_t jack_frame_offset(const jack_cycle& c, std::int64_t due_us,
                               std::int64_t latency_frames) {
    const double frames = static_cast<double>(due_us - c.start_us) * c.frames / c.period_us;
    return std::llround(frames) + latency_frames;
}

std::int64_t jack_input_time(const jack_cycle& c, std::uint32_t offset,
                             std::int64_t latency_frames) {
    const double frames = static_cast<double>(offset) - static_cast<double>(latency_frames);
    return c.start_us + std::llround(frames * c.period_us / c.frames);
}

// ---- the queue ----

jack_port_queue::jack_port_queue(std::size_t capacity_bytes)
    : ring_(std::bit_ceil(std::max<std::size_t>(capacity_bytes, 64))), mask_(ring_.size() - 1) {}

void jack_port_queue::copy_in(std::size_t at, const void* src, std::size_t n) {
    const auto* s = static_cast<const std::uint8_t*>(src);
    const std::size_t i = at & mask_;
    const std::size_t first = std::min(n, ring_.size() - i);
    std::memcpy(ring_.data() + i, s, first);
    std::memcpy(ring_.data(), s + first, n - first);
}

void jack_port_queue::copy_out(std::size_t at, void* dst, std::size_t n) const {
    auto* d = static_cast<std::uint8_t*>(dst);
    const std::size_t i = at & mask_;
    const std::size_t first = std::min(n, ring_.size() - i);
    std::memcpy(d, ring_.data() + i, first);
    std::memcpy(d + first, ring_.data(), n - first);
}

bool jack_port_queue::push(const std::uint8_t* bytes, std::size_t n, std::int64_t due_us) {
    if (n == 0) return true;
    const std::size_t h = head_.load(std::memory_order_relaxed);
    const std::size_t t = tail_.load(std::memory_order_acquire);
    if (n > ring_.size() || ring_.size() - (h - t) < header_bytes + n) {
        dropped_.fetch_add(1, std::memory_order_relaxed);
        return false;
    }
    std::uint8_t head[header_bytes];
    const auto size = static_cast<std::uint32_t>(n);
    std::memcpy(head, &due_us, 8);
    std::memcpy(head + 8, &size, 4);
    copy_in(h, head, header_bytes);
    copy_in(h + header_bytes, bytes, n);
    head_.store(h + header_bytes + n, std::memory_order_release);
    return true;
}

bool jack_port_queue::empty() const {
    return head_.load(std::memory_order_acquire) == tail_.load(std::memory_order_acquire);
}

bool jack_port_queue::front(const jack_cycle& c, std::int64_t latency_frames,
                            front_message* m) const {
    const std::size_t t = tail_.load(std::memory_order_relaxed);
    if (head_.load(std::memory_order_acquire) - t < header_bytes) return false;
    std::uint8_t head[header_bytes];
    copy_out(t, head, header_bytes);
    header h;
    std::memcpy(&h.due_us, head, 8);
    std::memcpy(&h.size, head + 8, 4);
    *m = {jack_frame_offset(c, h.due_us, latency_frames), h.size};
    return true;
}

void jack_port_queue::pop(const front_message& m) {
    tail_.store(tail_.load(std::memory_order_relaxed) + header_bytes + m.size,
                std::memory_order_release);
}

void jack_port_queue::drain(const jack_cycle& c, std::int64_t latency_frames,
                            jack_event_writer& w) {
    jack_port_queue* self = this;
    drain(&self, 1, c, latency_frames, w);
}

void jack_port_queue::drain(jack_port_queue* const* queues, std::size_t count,
                            const jack_cycle& c, std::int64_t latency_frames,
                            jack_event_writer& w) {
    std::int64_t last = 0;
    for (;;) {
        // The earliest front of this cycle; what lies behind a later one waits with it.
        jack_port_queue* q = nullptr;
        front_message m{};
        for (std::size_t i = 0; i < count; ++i) {
            front_message f;
            if (queues[i]->front(c, latency_frames, &f) && f.offset < c.frames &&
                (!q || f.offset < m.offset)) {
                q = queues[i];
                m = f;
            }
        }
        if (!q) break;
        if (m.size > w.max_size()) {
            q->dropped_.fetch_add(1, std::memory_order_relaxed);
            q->pop(m);
            continue;
        }
        const std::int64_t offset = std::max(m.offset, last);
        std::uint8_t* dst = w.reserve(static_cast<std::uint32_t>(offset), m.size);
        if (!dst) break;  // the buffer is full: the rest goes out first thing next cycle
        q->copy_out(q->tail_.load(std::memory_order_relaxed) + header_bytes, dst, m.size);
        if (m.offset < 0) q->late_.fetch_add(1, std::memory_order_relaxed);
        last = offset;
        q->pop(m);
    }
}

}  // namespace kestrune
