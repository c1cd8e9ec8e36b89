// A fixed ring from one producer thread to one consumer thread, without locks or allocation.
#pragma once

#include <atomic>
#include <cstddef>

namespace kestrune {

template <class T, std::size_t Size>
class spsc_ring {
public:
    // Producer side; false when the ring is full and `v` was not queued.
    bool push(const T& v) {
        const std::size_t head = head_.load(std::memory_order_relaxed);
        const std::size_t next = (head + 1) % Size;
        if (next == tail_.load(std::memory_order_acquire)) return false;
        items_[head] = v;
        head_.store(next, std::memory_order_release);
        return true;
    }
    // Consumer side: the oldest item, left in place until pop(); nullptr when empty.
    const T* front() const {
        const std::size_t tail = tail_.load(std::memory_order_relaxed);
        return tail == head_.load(std::memory_order_acquire) ? nullptr : &items_[tail];
    }
    void pop() { tail_.store((tail_.load(std::memory_order_relaxed) + 1) % Size, std::memory_order_release); }
    bool pop(T& v) {
        const T* f = front();
        if (!f) return false;
        v = *f;
        pop();
        return true;
    }

private:
    T items_[Size];
    std::atomic<std::size_t> head_{0}, tail_{0};
};

}  // namespace kestrune
