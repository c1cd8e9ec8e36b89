#include "core/clock.h"

#include <chrono>
#include <thread>

namespace kestrune {

std::int64_t system_clock::now_us() {
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

void system_clock::sleep_ms(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

}  // namespace kestrune
