// Helpers of the file tests: temporary folders, whole files as bytes, a rich song to save, and
// Standard MIDI files built byte by byte. Songs are built and read back with the song builder.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

#include "core/program.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

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

struct folder_test : ::testing::Test {
    temp_folder dir;
};
struct file_test : folder_test {
    test_program t;
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

// The same fields and records on two tracks.
void expect_same_track(const program& a, int pa, int ta, const program& b, int pb, int tb);

// Fills a song with something in every place the song file keeps, neighbours told apart.
void make_rich_song(program& p);
// The rich song with every field at an end of its range.
void make_extreme_song(program& p);
// Every field the song file keeps, the same in both programs.
void expect_same_song(const program& a, const program& b);

// A track chunk's body, event by event.
struct track_bytes {
    std::vector<std::uint8_t> b;
    track_bytes& at(std::uint64_t delta, std::initializer_list<int> bytes);
    track_bytes& meta(std::uint64_t delta, int type, const std::string& data);
    track_bytes& tempo(std::uint64_t delta, std::uint32_t microseconds);
    track_bytes& signature(std::uint64_t delta, int numerator, int power);
    track_bytes& sysex(std::uint64_t delta, const std::vector<std::uint8_t>& payload);
    track_bytes& end(std::uint64_t delta = 0);
};

// A whole file: the header and its chunks.
struct midi_bytes {
    std::vector<std::uint8_t> b;
    midi_bytes(int format, int tracks, int division);
    // A chunk with its body's length, or with the length given.
    midi_bytes& track(const track_bytes& t, std::optional<std::uint32_t> length = {});
};

}  // namespace kestrune::testing
