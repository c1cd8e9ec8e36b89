// Short MIDI messages: their kinds, lengths, note-offs and the velocity a track's compression gives.
#pragma once

#include <algorithm>
#include <cstdint>

namespace kestrune {

// The upper nibble of a channel message's status.
namespace kind {
inline constexpr std::uint8_t note_off = 0x80;
inline constexpr std::uint8_t note_on = 0x90;
inline constexpr std::uint8_t poly_pressure = 0xA0;
inline constexpr std::uint8_t control = 0xB0;
inline constexpr std::uint8_t program = 0xC0;
inline constexpr std::uint8_t channel_pressure = 0xD0;
inline constexpr std::uint8_t pitch_wheel = 0xE0;
}  // namespace kind

// Bytes of a short message with this status, the status included.
constexpr int message_length(std::uint8_t status) {
    switch (status & 0xF0) {
        case kind::program:
        case kind::channel_pressure:
            return 2;
        case 0xF0:
            return status == 0xF2 ? 3 : (status == 0xF1 || status == 0xF3) ? 2 : 1;
        default:
            return 3;
    }
}

// A note-off the engine makes itself: status 0x80 with the release velocity 64.
inline constexpr std::uint8_t release_velocity = 64;
constexpr std::uint8_t note_off_status(int channel) {
    return static_cast<std::uint8_t>(kind::note_off | (channel & 0x0F));
}

// Compression 1 to 4 halves the distance from 64 that many times, 5 flattens it, a negative
// value doubles it; then the offset. Never 0, which would turn a note-on into a note-off.
inline constexpr int flat_compression = 5;
constexpr int compressed_velocity(int velocity, int compress, int offset) {
    int x = velocity - 64;
    if (compress == flat_compression)
        x = 0;
    else if (compress > 0)
        x >>= compress;
    else if (compress < 0)
        x *= 2;
    return std::clamp(x + 64 + offset, 1, 127);
}

}  // namespace kestrune
