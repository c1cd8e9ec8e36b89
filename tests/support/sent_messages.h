// What the engine sent to the capture backend, and how long ticks last, for tests that play.
#pragma once

#include <cstdint>
#include <vector>

#include "engine/midi_backend.h"

namespace kestrune::testing {

// A message as sent: its first three bytes (-1 where it has fewer), due µs after a start time.
struct sent_message {
    int port;
    int a, b, c;
    std::int64_t at;
};

// Every message sent so far, timed from `t0`; MIDI clock bytes only when asked for.
std::vector<sent_message> sent_messages(const capture_backend& midi, std::int64_t t0,
                                        bool with_clock = false);

// The bytes of each message sent to `port`, in order; a long message keeps its first three.
std::vector<std::vector<int>> sent_bytes(const capture_backend& midi, int port);

// Milliseconds `ticks` last at a tempo in hundredths of a beat per minute.
inline double ms_of(std::int32_t ticks, double tempo = 12000) {
    return ticks * 60000.0 / (tempo / 100.0) / 192.0;
}

}  // namespace kestrune::testing
