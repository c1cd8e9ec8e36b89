// Quantize: notes moved onto a grid, each remembering by how much in its spare bits, so that a
// track can be quantized again from its played positions as often as one likes.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "core/program.h"

namespace kestrune {

inline constexpr const char* msg_freeze_quantize = "Freeze quantize?";

// The grid values of the Qua popup in its order; 0 is "NO".
inline constexpr std::array<int, 9> quantize_values = {0, 48, 32, 24, 16, 12, 8, 6, 4};
bool is_quantize_value(int n);

// One threshold of a table: a note below it (inside the cycle) goes to the target.
struct quantize_pair {
    std::int16_t threshold;
    std::int16_t target;
};
struct quantize_grid {
    int cycle;
    std::span<const quantize_pair> pairs;
};
// The table in force for grid value n (n > 0) and the method.
quantize_grid quantize_table(int n, bool smart);

// The 8-bit shift of a note, spread over the spare bits of its note-on (bits 7..2) and
// note-off (bits 1..0). A part read alone keeps its bits in place.
std::uint8_t shift_note_on_part(const midi_event& e);
void set_shift_note_on_part(midi_event& e, std::uint8_t shift);
std::uint8_t shift_note_off_part(const midi_event& e);
void set_shift_note_off_part(midi_event& e, std::uint8_t shift);
inline void clear_shift_note_on_part(midi_event& e) {
    e.clear_marks();
}
inline void clear_shift_note_off_part(midi_event& e) {
    e.clear_high_bits();
}

// One quantize pass at grid value n with the program's strength, swing and method, over a chain
// whose positions are `pattern`'s.
class quantize_pass {
  public:
    quantize_pass(program& p, int pattern, int n);
    // Moves the note of the note-on at e with its note-off; positions only, no re-sort.
    void quantize_note(ref32 e);
    // Where a position alone lands, as a note starting there would, with no drift carried.
    std::int32_t snapped(std::int32_t pos);
    int drift() const { return drift_; }

  private:
    int shift_at(std::int32_t pos);

    program& p_;
    int n_;
    int step_;
    int drift_limit_;
    quantize_grid grid_;
    int drift_ = 0;
    std::int32_t offset_;
};

// Takes the stored shift off a note: it goes back to where it was played.
void dequantize_note(program& p, ref32 note_on);
// Every note back to its played position, then quantized at n (0: none), then the chain sorted.
// `pattern` is the one whose positions the chain holds: a take's passes are their take's.
void quantize_track(program& p, int pattern, ref32 first, int n);

// Freeze Quantize: the moved positions become the played ones. Returns false when refused or
// cancelled.
bool freeze_quantize(program& p, int pattern, int track);
// A value chosen from the track's Qua popup: stored, and the track re-quantized if it has data.
bool choose_quantize(program& p, int pattern, int track, int n);

// The Quantize Settings dialog's values, each clamped as its field does.
void set_quantize_strength(program& p, int percent);
// Swing in steps of 10 percent, -9..10.
void set_swing_factor(program& p, int steps);
void set_smart_quantize(program& p, bool smart);

}  // namespace kestrune
