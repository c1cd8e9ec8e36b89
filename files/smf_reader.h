// Standard MIDI files (.mid, .kar) of format 0 and 1: the reader and its File menu command.
#pragma once

#include <string>

#include "files/file_state.h"
#include "core/program.h"

namespace kestrune {

inline constexpr const char* msg_lacks_header = "File lacks header chunk!";
inline constexpr const char* msg_not_format_0_1 = "Not an MIDI file format 0 or 1!";
inline constexpr const char* msg_out_of_tracks =
    "Out of tracks!\nTry to start loading in previous pattern!";
inline constexpr const char* msg_unrecognized_data = "Unrecognized data!!";
inline constexpr const char* msg_unknown_message = "Unknown message!!\nLoading interrupted!!";
inline constexpr const char* msg_file_too_long =
    "This file is too long!\nDid load as much as possible.";
inline constexpr const char* msg_load_incomplete = "File to big! Loading is incomplete!";
inline constexpr const char* msg_tracks_in_patterns =
    "Some tracks are in the following pattern(s)!";
inline constexpr const char* msg_tracks_not_loaded = "Some tracks are not loaded!\nMaximum is 64!";
inline constexpr const char* msg_time_shift = "Time Shift of Signature Events has occurred!";
// A chunk or an event that the file cuts short, or a length that runs past its chunk.
inline constexpr const char* msg_midi_damaged = "File is damaged!\nDid load as much as possible.";

inline constexpr const char* ask_erase_old_song = "Erase old song before loading MIDI file?";
inline constexpr const char* ask_load_tempo = "Do you want to load new tempo and signature data?";
inline constexpr const char* ask_keep_tempo = "Do you want to keep old tempo and signature info?";

inline constexpr const char* default_midi_track_name = " Midifile ";
// Tracks of one file that are attempted at most.
inline constexpr int max_midi_tracks = 66;

// How a Standard MIDI file joins the song.
struct midi_load_options {
    bool erased = true;       // the song was cleared for this load: the locators are set at the end
    bool keep_tempo = false;  // tempo and signature data join the old lists at the current step
    bool load_tempo = true;   // tempo and signature data are taken from the file at all
};
// A file dropped on the window or named on the command line, into a song the caller cleared.
inline constexpr midi_load_options cleared_song_load{};

enum class midi_load_mode {
    ask,    // the Open dialog and the three questions
    quiet,  // current_file_name with the options given
};

// Reads a Standard MIDI file into the song. Returns 1 when the load ran to its end (also after
// "Unrecognized data!!" and after a damaged file, with the tracks loaded so far), else 0.
int load_midi_file(program& p, file_state& fs, midi_load_mode mode, midi_load_options options);

// The load without dialogs or questions, from a path.
int read_midi_file(program& p, const std::string& path, midi_load_options options);

// A file into a cleared song (cleared_song_load). Fits file_state::load_midi.
bool load_midi_into_cleared_song(program& p, const std::string& path);

// A MIDI file of the Recent Files menu: the same three questions as the File menu.
int load_recent_midi_file(program& p, file_state& fs, const std::string& path);

// The short status text "Format ?", its digit set by the last MIDI file read or written.
std::string midi_format_text(const program& p);

}  // namespace kestrune
