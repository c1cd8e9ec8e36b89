// Helpers of the Standard MIDI file tests: files built byte by byte, the events of a loaded
// track in a form to compare, and the midicsv and csvmidi programs.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "song/program.h"
#include "tests/support/stand_ins.h"

namespace kestrune::testing {

std::vector<std::uint8_t> vlq(std::uint64_t v);

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
    midi_bytes& raw(const std::vector<std::uint8_t>& bytes);
};

// One event of a chain: position, status, data bytes, and the payload of a long event.
struct chain_event {
    std::int32_t pos;
    int status;
    int d1;
    int d2;
    std::vector<std::uint8_t> payload;
    bool operator==(const chain_event&) const = default;
};
void PrintTo(const chain_event& e, std::ostream* os);
std::vector<chain_event> chain_events(const program& p, ref32 first);
std::vector<chain_event> track_events(const program& p, int pattern, int track);
std::string name_of(const track_slot& s);

// With KESTRUNE_FUZZ_SEEDS naming a folder, keeps a file the tests made in its smf/ as a seed of
// the reader's fuzz target.
void keep_fuzz_seed(const std::vector<std::uint8_t>& bytes);

// The messages the scripted ui showed, in order.
std::vector<std::string> shown_texts(const scripted_ui& ui);

// midicsv and csvmidi; the tests that need them skip without.
bool have_midicsv();
struct csv_row {
    int track = 0;
    std::int64_t time = 0;
    std::string type;
    std::vector<std::string> fields;  // the fields after the type, trimmed; strings unquoted
};
std::vector<csv_row> midicsv_rows(const std::string& midi_path);
bool csvmidi_file(const std::string& csv_text, const std::string& midi_path);

}  // namespace kestrune::testing
