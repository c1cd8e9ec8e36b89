// The File menu: songs, patterns, tracks, sysex and MIDI files, Clear Song and the recent files.
#pragma once

#include <string>

namespace kestrune {

class session;

inline constexpr const char* ask_erase_all = "Erase all data in KESTRUNE?";

// Adds the File menu's commands to the session's table; MIDI thru's notes end before each.
void add_file_commands(session& s);

// Clear Song: the question, stop, the song cleared, "Untitled.sng"; false when not answered OK.
bool clear_song_command(session& s);
// A file of the recent-file list: gone from disk it leaves the list with "File not found!".
// True when it loaded.
bool open_recent_file(session& s, int index);

}  // namespace kestrune
