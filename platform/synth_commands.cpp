#include "platform/synth_commands.h"

#include <QApplication>
#include <QDir>
#include <QProgressDialog>
#include <QTemporaryDir>
#include <atomic>

#include "engine/synth_backend.h"
#include "files/file_state.h"
#include "files/song_file.h"
#include "files/synth_settings.h"
#include "realtime/audio_render.h"
#include "core/command_ids.h"
#include "shell/startup.h"

namespace kestrune {

namespace {

constexpr int progress_steps = 1000;
constexpr const char* export_title = "Export Audio";
constexpr const char* audio_filter = "WAV Files (*.wav)|*.wav|FLAC Files (*.flac)|*.flac";

// "Song.sng" -> "Song.wav"; "Untitled.wav" for a song never saved.
std::string audio_name_for(const std::string& song_path) {
    std::string name = file_name_of(song_path);
    if (name.empty()) name = "Untitled";
    const auto dot = name.find_last_of('.');
    return (dot == std::string::npos ? name : name.substr(0, dot)) + ".wav";
}

std::string folder_of(const std::string& path) {
    const auto slash = path.find_last_of('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

void export_audio(session& s, synth_backend& synth) {
    program& p = s.prog;
    if (p.refuse_while_recording()) return;
    const std::string song = s.files.current_file_name;
    const auto out = p.screen.save_file_dialog({.title = export_title, .filter = audio_filter,
                                                .extension = "wav", .folder = folder_of(song),
                                                .file_name = audio_name_for(song)});
    if (!out) return;
    if (!audio_file_type(*out, nullptr)) {
        p.message(msg_audio_file_type, msg_icon::stop);
        return;
    }

    // The export plays a copy of the song in a program of its own: the song as it is saved.
    QTemporaryDir scratch(QDir::tempPath() + "/kestrune-export-XXXXXX");
    const std::string copy = scratch.path().toStdString() + "/export.sng";
    if (!scratch.isValid() || !write_song_file(p, copy)) {
        p.message("Can't copy the song for the export to\n" + QDir::tempPath().toStdString(),
                  msg_icon::stop);
        return;
    }

    QProgressDialog progress("Exporting " + QString::fromStdString(file_name_of(*out)) + "...",
                             "Cancel", 0, progress_steps, QApplication::activeWindow());
    progress.setWindowTitle(export_title);
    progress.setWindowModality(Qt::WindowModal);
    progress.setMinimumDuration(0);
    progress.setAutoReset(false);
    progress.setValue(0);
    std::atomic<bool> cancel{false};
    QObject::connect(&progress, &QProgressDialog::canceled, [&cancel] { cancel = true; });

    render_request r;
    r.output = *out;
    r.soundfont = synth.soundfont();
    render_audio(
        p.screen,
        [&copy](program& into) { return read_song_file(into, copy, true) == load_result::loaded; },
        r,
        [&progress](double done) {
            progress.setValue(static_cast<int>(done * progress_steps));
            QApplication::processEvents();
        },
        &cancel);
}

}  // namespace

bool take_soundfont(synth_backend& synth, const std::string& path, std::string* why) {
    if (!synth.set_soundfont(path, why)) return false;
    save_synth_settings({synth.soundfont()});
    return true;
}

void add_synth_commands(session& s, synth_backend& synth) {
    s.commands.add({.id = cmd::export_audio, .text = "Export A&udio...", .views = every_view,
                    .run = [&s, &synth](program&, const field_values&) {
                        export_audio(s, synth);
                        return outcome::done;
                    }});
    s.setup.soundfont.in_use = synth.soundfont_in_use();
    s.setup.soundfont.choose = [&synth](const std::string& path, std::string* why) {
        return take_soundfont(synth, path, why);
    };
}

}  // namespace kestrune
