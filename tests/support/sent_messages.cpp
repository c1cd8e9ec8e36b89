#include "tests/support/sent_messages.h"

namespace kestrune::testing {

std::vector<sent_message> sent_messages(const capture_backend& midi, std::int64_t t0,
                                        bool with_clock) {
    std::vector<sent_message> v;
    for (const auto& m : midi.messages()) {
        if (!with_clock && m.bytes[0] == 0xF8) continue;
        v.push_back({m.port, m.bytes[0], m.size > 1 ? m.bytes[1] : -1, m.size > 2 ? m.bytes[2] : -1,
                     m.due_us - t0});
    }
    return v;
}

std::vector<std::vector<int>> sent_bytes(const capture_backend& midi, int port) {
    std::vector<std::vector<int>> v;
    for (const auto& m : midi.messages())
        if (m.port == port) v.emplace_back(m.bytes, m.bytes + m.size);
    return v;
}

}  // namespace kestrune::testing
