// What the backends need to take sends from two real-time threads (the engine thread and the
// input thread's MIDI thru) while the UI thread or the device watch opens and closes ports.
#pragma once

#include <atomic>
#include <thread>

namespace kestrune {

// A send enters only while the gate is open; close() returns once no send is inside, so the
// device behind the port can go. Any number of threads may send at once.
class port_gate {
public:
    bool enter() {
        inside_.fetch_add(1);
        if (open_.load()) return true;
        inside_.fetch_sub(1, std::memory_order_release);
        return false;
    }
    void leave() { inside_.fetch_sub(1, std::memory_order_release); }
    void open() { open_.store(true); }
    void close() {
        open_.store(false);
        while (inside_.load(std::memory_order_acquire) != 0) std::this_thread::yield();
    }
    bool is_open() const { return open_.load(std::memory_order_acquire); }

private:
    std::atomic<bool> open_{false};
    std::atomic<int> inside_{0};
};

// Held only around one write to a device that cannot take two writes at once.
class write_lock {
public:
    void lock() {
        for (int spins = 0; flag_.test_and_set(std::memory_order_acquire); ++spins)
            if (spins > 64) std::this_thread::yield();
    }
    void unlock() { flag_.clear(std::memory_order_release); }

private:
    std::atomic_flag flag_;
};

}  // namespace kestrune
