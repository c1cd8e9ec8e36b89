// Standard MIDI files: the writer of one pattern and its File menu command.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "files/file_state.h"
#include "core/program.h"

namespace kestrune {

inline constexpr const char* msg_no_data_in_pattern = "No data in this pattern!";
inline constexpr const char* ask_track_parameters_lost =
    "The trackparameter settings will not be saved!\n Use \"Freeze Trackparameters\" or\n"
    "\"Copy Track Segment\" to \"burn\" the\nsettings into the track.\nContinue anyway?";

inline constexpr std::uint16_t midi_file_division = 192;

// Tracks of the pattern that go into the file: in use and holding data, in track order.
std::vector<int> midi_file_tracks(const program& p, int pattern);
// Any track of the pattern with data whose parameters the engine applies on output.
bool pattern_has_track_parameters(const program& p, int pattern);

// The warning that the track parameters of current_pattern are not saved, where any track has
// them; true when there are none or the answer is Yes.
bool confirm_track_parameters(program& p);

// Writes current_pattern to a path, without questions. "No data in this pattern!" when nothing
// is to be written; why the file cannot be made; the write failure when it could not be
// completed, and then the old file stays. False in all three cases.
bool write_midi_file(program& p, const std::string& path);

// The command: the warning about track parameters, the Save dialog, the file.
int save_midi_file(program& p, file_state& fs);

}  // namespace kestrune
