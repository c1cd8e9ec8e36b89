// The program's ties to the built-in synth: File > Export Audio... and MIDI Setup's SoundFont.
#pragma once

#include <string>

namespace kestrune {

class session;
class synth_backend;

// Registers "Export Audio..." on the session's command table and lets MIDI Setup choose the
// synth's SoundFont.
void add_synth_commands(session& s, synth_backend& synth);

// Plays `path` from now on and keeps it in the settings; false with the reason when it cannot.
bool take_soundfont(synth_backend& synth, const std::string& path, std::string* why);

}  // namespace kestrune
