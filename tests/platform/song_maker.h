// A Standard MIDI file of named tracks with notes, for the window's tests and benchmarks.
#pragma once

#include <cstdint>
#include <fstream>
#include <initializer_list>
#include <string>
#include <vector>

namespace kestrune::testing {

inline void put_bytes(std::vector<std::uint8_t>& out, std::initializer_list<int> bytes) {
    for (int b : bytes) out.push_back(static_cast<std::uint8_t>(b));
}

inline void put_be(std::vector<std::uint8_t>& out, std::uint32_t v, int bytes) {
    for (int i = bytes - 1; i >= 0; --i) out.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
}

// Format 1 at 192 ticks a quarter: track i is "Track <i+1>" on channel i % 16 with `notes`
// eighth notes.
inline void write_midi_song(const std::string& path, int tracks, int notes) {
    std::vector<std::uint8_t> file;
    put_bytes(file, {'M', 'T', 'h', 'd'});
    put_be(file, 6, 4);
    put_be(file, 1, 2);
    put_be(file, static_cast<std::uint32_t>(tracks), 2);
    put_be(file, 192, 2);
    for (int t = 0; t < tracks; ++t) {
        const std::string name = "Track " + std::to_string(t + 1);
        std::vector<std::uint8_t> d;
        put_bytes(d, {0x00, 0xFF, 0x03, static_cast<int>(name.size())});
        for (char c : name) d.push_back(static_cast<std::uint8_t>(c));
        const int ch = t % 16;
        for (int n = 0; n < notes; ++n) {
            const int key = 48 + (t + n) % 24;
            put_bytes(d, {0x00, 0x90 | ch, key, 100});
            put_bytes(d, {0x60, 0x80 | ch, key, 0});
        }
        put_bytes(d, {0x00, 0xFF, 0x2F, 0x00});
        put_bytes(file, {'M', 'T', 'r', 'k'});
        put_be(file, static_cast<std::uint32_t>(d.size()), 4);
        for (std::uint8_t b : d) file.push_back(b);
    }
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(file.data()),
                                                static_cast<std::streamsize>(file.size()));
}

}  // namespace kestrune::testing
