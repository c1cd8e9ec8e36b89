// The built-in synth's settings, in a small text file beside the settings file
// (Kestrune_synth.conf). A SoundFont's path can be far longer than any spare bytes of the binary
// settings file, whose layout stays exactly as it is.
#pragma once

#include <string>

namespace kestrune {

inline constexpr const char* synth_settings_file_name = "Kestrune_synth.conf";

struct synth_settings {
    std::string soundfont;  // empty: the default one
};

// Lines of `key=value`; unknown keys, and lines that are not of that form, are passed over.
// False, with `out` untouched, when the file cannot be read.
bool read_synth_settings(const std::string& path, synth_settings& out);
// Through a temporary file in the same folder, renamed over the old one.
bool write_synth_settings(const std::string& path, const synth_settings& s);

// Start-up: the per-user file, else the one beside the program; defaults when there is none.
synth_settings load_synth_settings();
// Shut-down: the per-user file. Silent on failure, as the settings file.
bool save_synth_settings(const synth_settings& s);

}  // namespace kestrune
