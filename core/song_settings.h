// Song-level state kept in the song file that has no other home yet. Each field holds the value
// a song starts with; the song file reads and writes them all, so that a song comes back exactly.
#pragma once

#include <array>
#include <cstdint>

namespace kestrune {

inline constexpr int mixer_snapshot_values = 161;
inline constexpr int mixer_snapshot_count = 4;
inline constexpr int position_memories = 15;
inline constexpr int note_pad_bytes = 200;

// One mixer snapshot: fader, pan, reverb, chorus, program and bank views, group, group offset,
// solo and mute of 16 channels, then any solo.
using mixer_snapshot = std::array<std::int16_t, mixer_snapshot_values>;

constexpr mixer_snapshot default_mixer_snapshot() {
    mixer_snapshot s{};
    for (int c = 0; c < 16; ++c) {
        s[static_cast<std::size_t>(c)] = 100;      // faders
        s[static_cast<std::size_t>(16 + c)] = 64;  // pans
    }
    return s;
}

constexpr std::array<mixer_snapshot, mixer_snapshot_count> default_mixer_snapshots() {
    std::array<mixer_snapshot, mixer_snapshot_count> a{};
    for (auto& s : a) s = default_mixer_snapshot();
    return a;
}

// Four memory positions, then four left and right locator pairs, then three spare.
constexpr std::array<std::uint32_t, position_memories> default_position_memory() {
    return {3072, 6144, 9216, 12288, 3072, 6144, 9216, 12288, 15360, 18432, 21504, 24576, 3072, 3072, 3072};
}

struct song_settings {
    // Grid editor.
    std::uint8_t snap_to_grid = 0;
    std::int32_t grid_split = 0;  // pixels of the upper pane
    std::int16_t grid_mode_flag = 0;
    std::int16_t grid_lane = -5;  // velocity of notes
    std::int16_t grid_zoom_y = 8;
    std::int16_t grid_zoom_x = 8;
    // Height of the grid pane as the window stands now; 0 while there is no window, and then the
    // stored split is kept in pixels and the stored percentage written back as it came.
    std::int16_t grid_pane_height = 0;
    std::int16_t grid_split_percent = 0;

    // Which mouse button raises a value (1 left, 2 right) and which lowers it.
    std::int16_t increase_button = 1;
    std::int16_t decrease_button = 2;

    std::array<std::uint32_t, position_memories> position_memory = default_position_memory();
    std::array<char, note_pad_bytes> note_pad_text{};
    std::array<mixer_snapshot, mixer_snapshot_count> mixer_snapshots = default_mixer_snapshots();
};

}  // namespace kestrune
