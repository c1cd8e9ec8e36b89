// Monotonic time for the core; tests substitute a virtual clock.
#pragma once

#include <cstdint>

namespace kestrune {

class clock {
public:
    virtual ~clock() = default;
    virtual std::int64_t now_us() = 0;
    std::int64_t now_ms() { return now_us() / 1000; }
    virtual void sleep_ms(int ms) = 0;
};

// The machine's monotonic clock.
class system_clock final : public clock {
public:
    std::int64_t now_us() override;
    void sleep_ms(int ms) override;
};

}  // namespace kestrune
