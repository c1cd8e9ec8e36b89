#include "shell/audio_export.h"

#include <stdlib.h>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <filesystem>

#include "core/command_ids.h"
#include "files/file_state.h"
#include "files/song_file.h"
#include "realtime/audio_render.h"
#include "services/help_pages.h"
#include "shell/startup.h"

namespace kestrune {

namespace {

constexpr const char* export_title = "Export Audio";
constexpr const char* audio_filter = "WAV Files (*.wav)|*.wav|FLAC Files (*.flac)|*.flac";

// A folder of the export's own under the system's temporary folder, gone with it.
class scratch_folder {
public:
    scratch_folder() {
        std::string name = (std::filesystem::temp_directory_path() / "kestrune-export-XXXXXX").string();
        if (::mkdtemp(name.data())) path_ = name;
    }
    ~scratch_folder() {
        std::error_code ignored;
        if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
    }
    scratch_folder(const scratch_folder&) = delete;
    scratch_folder& operator=(const scratch_folder&) = delete;
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

// "Exported Song.wav" with its length and its loudest sample in dB below full scale.
std::string export_done_text(const std::string& path, const render_summary& r) {
    const int seconds = static_cast<int>(r.seconds + 0.5);
    char length[32];
    std::snprintf(length, sizeof length, "%d:%02d", seconds / 60, seconds % 60);
    char peak[32];
    if (r.peak > 0)
        std::snprintf(peak, sizeof peak, "%.1f dBFS", 20 * std::log10(r.peak));
    else
        std::snprintf(peak, sizeof peak, "silence");
    return "Exported " + file_name_of(path) + "\nLength " + length + ", peak " + peak;
}

}  // namespace

std::string audio_name_for(const std::string& song_path) {
    std::string name = file_name_of(song_path);
    if (name.empty()) name = "Untitled";
    const auto dot = name.find_last_of('.');
    return (dot == std::string::npos ? name : name.substr(0, dot)) + ".wav";
}

outcome export_audio(session& s) {
    program& p = s.prog;
    const std::string song = s.files.current_file_name;
    const auto out = p.screen.save_file_dialog({.title = export_title, .filter = audio_filter,
                                                .extension = "wav", .folder = folder_of(song),
                                                .file_name = audio_name_for(song)});
    if (!out) return outcome::cancelled;
    if (!audio_file_type(*out, nullptr)) {
        p.message(msg_audio_file_type, msg_icon::stop);
        return outcome::refused;
    }
    // The export plays a copy of the song: the song as it is saved.
    const scratch_folder scratch;
    const std::string copy = scratch.path() + "/export.sng";
    if (scratch.path().empty() || !write_song_file(p, copy)) {
        p.message("Can't copy the song for the export to\n" +
                      std::filesystem::temp_directory_path().string(),
                  msg_icon::stop);
        return outcome::refused;
    }
    const std::string text = "Exporting " + file_name_of(*out) + "...";
    std::atomic<bool> cancel{false};
    const render_progress progress = [&](double done) {
        if (!p.screen.progress(export_title, text, done)) cancel = true;
    };
    progress(0);
    render_summary written;
    const bool made = render_audio(
        p.screen, [&copy](program& into) { return read_song_file(into, copy, true) == load_result::loaded; },
        {.output = *out, .soundfont = s.setup.soundfont.in_use}, progress, &cancel, &written);
    p.screen.progress(export_title, text, 1);
    if (!made) return cancel ? outcome::cancelled : outcome::refused;
    p.screen.message(export_done_text(*out, written), msg_icon::information, msg_buttons::ok, msg_answer::ok,
                     export_title);
    return outcome::done;
}

void add_audio_export(session& s) {
    s.commands.add({.id = cmd::export_audio, .text = "Export A&udio...", .views = every_view,
                    .help = std::string(help_page::export_audio),
                    .run = [&s](program&, const field_values&) { return export_audio(s); }});
}

}  // namespace kestrune
