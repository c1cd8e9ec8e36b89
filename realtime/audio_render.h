// Audio export: the engine plays a song on virtual time, faster than real time, into the built-in
// synth (all four ports, 16 channels each), and the sound goes to a WAV or FLAC file. Without a
// toolkit, so that `kestrune-tool render` and the window's "Export Audio..." share it.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

#include "core/program.h"
#include "core/ui.h"

namespace kestrune {

inline constexpr int min_render_rate = 8000;
inline constexpr int max_render_rate = 96000;

inline constexpr const char* msg_audio_file_type = "An audio file must end in .wav or .flac!";
inline constexpr const char* msg_export_cancelled = "Audio export cancelled.";

struct render_request {
    std::string output;     // .wav or .flac, any case
    std::string soundfont;  // empty: the default one
    int sample_rate = 48000;
    int from_bar = 1;
    int to_bar = 0;  // the last bar that sounds; 0: to the song's end
};

// What a finished render wrote: its length and its loudest sample (1.0 is full scale).
struct render_summary {
    double seconds = 0;
    float peak = 0;
};

// Fills the export's own program with the song; shows its own messages when it cannot.
using song_loader = std::function<bool(program&)>;
// The part done, 0 to 1, each time it grows.
using render_progress = std::function<void(double done)>;

// The audio file format for a name: true for .wav and .flac.
bool audio_file_type(const std::string& path, int* format);

// Renders the song `load` gives into r.output. Every failure (no SoundFont, a song that does not
// load, a file that cannot be written, a full disk, `cancel` set) is shown on `screen`, and
// nothing is left under the output's name: the audio goes to a temporary file beside it, renamed
// over it only when complete.
bool render_audio(ui& screen, const song_loader& load, const render_request& r,
                  const render_progress& progress = {}, const std::atomic<bool>* cancel = nullptr,
                  render_summary* summary = nullptr);

}  // namespace kestrune
