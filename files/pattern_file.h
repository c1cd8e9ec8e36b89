// Pattern (.pat) and track (.trk) files: one pattern or one track in the song file's chunks.
#pragma once

#include <cstdint>
#include <string>

#include "files/file_state.h"
#include "files/song_file.h"

namespace kestrune {

inline constexpr std::uint32_t pattern_magic = 0x59ABC251;
inline constexpr std::uint32_t track_magic = 0x22FEDCBA;

#pragma pack(push, 1)
struct pattern_file_head {
    std::uint32_t magic;
    std::uint16_t block_total;
    char name[10];
};
static_assert(sizeof(pattern_file_head) == 16);
static_assert(offsetof(pattern_file_head, name) == 6);

struct track_file_head {
    std::uint32_t magic;
    std::uint16_t blocks;
};
static_assert(sizeof(track_file_head) == 6);
#pragma pack(pop)

// Writers: all 32 tracks of a pattern, or one track that holds data.
bool write_pattern_file(program& p, int pattern, const std::string& path);
bool write_track_file(program& p, int pattern, int track, const std::string& path);

// Readers into an empty pattern or an empty track. Every refusal leaves the song as it was.
load_result read_pattern_file(program& p, int pattern, const std::string& path);
load_result read_track_file(program& p, int pattern, int track, const std::string& path);

// The commands, on current_pattern and current_track.
int save_pattern(program& p, file_state& fs);
int load_pattern(program& p, file_state& fs);
int save_track(program& p, file_state& fs);
int load_track(program& p, file_state& fs);

}  // namespace kestrune
