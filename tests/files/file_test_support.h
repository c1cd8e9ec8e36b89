// Helpers of the file tests: temporary folders, whole files as bytes, and songs to save.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "song/program.h"

namespace kestrune::testing {

// A folder that is removed with everything in it when the object goes.
class temp_folder {
  public:
    temp_folder();
    ~temp_folder();
    temp_folder(const temp_folder&) = delete;
    temp_folder& operator=(const temp_folder&) = delete;
    std::string path(const std::string& name) const { return dir_ + "/" + name; }
    const std::string& dir() const { return dir_; }

  private:
    std::string dir_;
};

std::vector<std::uint8_t> read_bytes(const std::string& path);
void write_bytes(const std::string& path, const std::vector<std::uint8_t>& bytes);

template <class T>
T get_le(const std::vector<std::uint8_t>& b, std::size_t at) {
    T v{};
    for (std::size_t i = 0; i < sizeof(T); ++i)
        v = static_cast<T>(v | (static_cast<std::uint64_t>(b.at(at + i)) << (8 * i)));
    return v;
}
template <class T>
void set_le(std::vector<std::uint8_t>& b, std::size_t at, T v) {
    for (std::size_t i = 0; i < sizeof(T); ++i)
        b.at(at + i) = static_cast<std::uint8_t>(static_cast<std::uint64_t>(v) >> (8 * i));
}

// Gives a track a chain of these records (continuations included), bypassing the files.
void put_track(program& p, int pattern, int track, const std::vector<midi_event>& records);
// Replaces a tempo or signature chain by these records.
void put_list(program& p, chain_cursor& c, const std::vector<midi_event>& records);
// The records of a chain, continuations included.
std::vector<midi_event> chain_records(const program& p, ref32 first);

std::vector<midi_event> sysex_records(std::int32_t pos, std::size_t payload_bytes, int seed);
std::vector<midi_event> text_records(std::int32_t pos, const std::string& text, bool lyric);
// Notes, controllers and programs: n records in position order from `start`.
std::vector<midi_event> short_records(std::int32_t start, int n, int seed);

// Fills a song with something in every place the song file keeps.
void make_rich_song(program& p);

}  // namespace kestrune::testing
