// File > Export Audio...: the song as it stands rendered through the built-in synth into a WAV or
// FLAC file chosen in a file dialog, with the progress and its Cancel through the ui.
#pragma once

#include <string>

#include "core/command.h"

namespace kestrune {

class session;

// The song is saved to a scratch copy and played from it in a program of its own, through the
// SoundFont MIDI Setup shows. Done, cancelled (the file dialog or the progress box), or refused
// with the reason shown.
outcome export_audio(session& s);
// Adds "Export Audio..." to the session's table.
void add_audio_export(session& s);

// "Song.sng" -> "Song.wav"; "Untitled.wav" for a song never saved.
std::string audio_name_for(const std::string& song_path);

}  // namespace kestrune
