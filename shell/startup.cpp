#include "shell/startup.h"

#include <algorithm>

#include "files/file_buffer.h"
#include "files/file_messages.h"
#include "files/smf_reader.h"
#include "files/song_file.h"
#include "core/command_ids.h"
#include "shell/dialogs/command_dialog.h"
#include "shell/dispatch.h"
#include "shell/main_commands.h"
#include "shell/screen/main_screen.h"
#include "song/song_start.h"

namespace kestrune {

session::session(engine_link& eng, ui& screen_ui, clock& clk)
    : prog(eng, screen_ui, clk), trans(prog), rec(prog, trans) {
    files.load_midi = load_midi_into_cleared_song;
    files.stop_transport = [this] {
        if (prog.running()) trans.stop();
    };
    files.rewind = [this] { trans.rewind(1); };
    files.title_changed = [this] { call(window.title_changed); };
    files.recent_files_changed = [this] { call(window.menus_changed); };
    prog.ask_dialog = [this](const command_record& c, field_values& v) { return ask_in_dialog(prog, c, v); };
}

session::~session() = default;

std::string session::window_title() const {
    return std::string(program_title) + " - " + files.current_file_title;
}

recording_actions recorder_actions(recorder& rec) {
    return {[&rec](int mode) { rec.record_key(mode == 2 ? record_mode::overdub : record_mode::replace); },
            [&rec](bool shift) { rec.instant_record_toggle(shift); },
            [&rec] { rec.mute_last_pass(); }};
}

void setup_from_settings(session& s) {
    const user_settings& u = s.settings;
    s.setup.sync_delay_value = u.sync_delay_value;
    s.setup.spp_offset = u.spp_offset;
    s.setup.patch_name_ports = u.show_patch_names;
    s.setup.mouse_increase = s.prog.song.increase_button;
    s.setup.mouse_decrease = s.prog.song.decrease_button;
    apply_setup(s);
}

void apply_setup(session& s) {
    user_settings& u = s.settings;
    u.sync_delay_value = static_cast<std::int8_t>(s.setup.sync_delay_value);
    u.spp_offset = static_cast<std::int16_t>(s.setup.spp_offset);
    u.show_patch_names = s.setup.patch_name_ports;
    s.trans.sync_delay_value = s.setup.sync_delay_value;
    s.trans.spp_offset = s.setup.spp_offset;
    s.prog.song.increase_button = static_cast<std::int16_t>(s.setup.mouse_increase);
    s.prog.song.decrease_button = static_cast<std::int16_t>(s.setup.mouse_decrease);
}

int start_session(session& s) {
    program& p = s.prog;
    p.write_defaults();
    load_settings(p, s.settings, s.files);
    s.trans.two_bar_count_in = s.settings.two_bar_count_in != 0;
    s.prog.app.reset_on_stop = s.settings.reset_on_stop != 0;
    setup_from_settings(s);
    for (int port = 0; port < 4; ++port) set_default_patch_names(s.patches[static_cast<std::size_t>(port)]);
    load_patch_names(s.patches, patch_folders(), p.screen);
    const int err = start_program(p);
    if (err != 0) return err;
    add_main_commands(s);
    return 0;
}

namespace {

bool file_opens(const std::string& path) {
    file_buffer probe;
    const bool ok = probe.open_read(path);
    probe.close();
    return ok;
}

bool is_song_name(const std::string& path) { return extension_upper(path) == ".SNG"; }

}  // namespace

namespace {

// A file opened from outside the program's dialogs is loaded and saved again where it came from.
void remember_opened_folder(file_state& fs, const std::string& path) {
    const bool song = is_song_name(path);
    remember_folder(fs, song ? folder_load_song : folder_load_midi, path);
    remember_folder(fs, song ? folder_save_song : folder_save_midi, path);
}

}  // namespace

bool open_start_file(session& s, const std::string& command_line_name) {
    // Recent files that have gone since the last run leave the menu.
    auto& recent = s.files.recent_files;
    recent.erase(std::remove_if(recent.begin(), recent.end(),
                                [](const std::string& f) { return f.empty() || !file_opens(f); }),
                 recent.end());
    s.prog.reset_mixer();
    // A song named on the command line that is not there says so, as a missing MIDI file does;
    // a missing "Default.sng" is the usual start with an empty song.
    if (!command_line_name.empty() && is_song_name(command_line_name)) {
        file_buffer probe;
        if (!probe.open_read(command_line_name))
            show_open_failure(s.prog, probe, command_line_name);
    }
    s.files.current_file_name = command_line_name;
    const bool loaded = load_song_by_type(s.prog, s.files) != 0;
    if (loaded && !command_line_name.empty()) remember_opened_folder(s.files, command_line_name);
    if (!loaded) {
        s.files.current_file_name.clear();
        s.files.current_file_title = untitled_title;
        call(s.window.title_changed);
    }
    s.trans.rewind(1);
    s.mark_song_saved();
    call(s.window.menus_changed);
    return loaded;
}

void session::mark_song_saved() {
    saved_edits_ = prog.changes.edits();
    mark_after_command_ = true;
}

void session::command_finished() {
    if (mark_after_command_) saved_edits_ = prog.changes.edits();
    mark_after_command_ = false;
}

bool confirm_close(session& s) {
    // A song untouched since it was loaded or saved closes without the question.
    if (s.song_edited()) {
        const msg_answer a = s.prog.screen.message(ask_save_before_closing, msg_icon::question,
                                                   msg_buttons::yes_no_cancel, msg_answer::yes);
        if (a == msg_answer::cancel) return false;
        if (a == msg_answer::yes && !save_song(s.prog, s.files)) return false;
    }
    if (s.editor_open()) call(s.close_editor);
    if (s.prog.running()) s.trans.stop();
    return true;
}

void end_session(session& s, bool write_settings) {
    if (write_settings) save_settings(s.prog, s.settings, s.files);
    s.screen.reset();
    s.prog.shut_down();
    for (auto& t : s.patches) set_default_patch_names(t);
}

void session_tick(session& s, std::int64_t ms) {
    if (!s.timer_busy_) return;
    s.timer_busy_ = false;
    if (s.first_tick_) {
        s.first_tick_ = false;
        if (s.prog.d.midi_not_configured) {
            // The device that would have played (the built-in synth on a first start) says why not.
            std::string text = msg_configure_midi;
            for (int port = 0; port < 4; ++port)
                if (const std::string why = s.prog.eng.output_failure(port); !why.empty()) {
                    text += "\n" + why;
                    break;
                }
            s.prog.message(text);
            dispatch_command(s, cmd::midi_setup);
        }
    }
    handle_engine_messages(s.prog);
    if (s.prog.d.main_screen) s.rec.tick();  // cycle passes closed since the last tick
    if (s.screen) s.screen->tick(ms);
    s.timer_busy_ = true;
}

bool open_dropped_files(session& s, const std::vector<std::string>& paths) {
    if (paths.size() != 1) {
        s.prog.message(msg_drop_one_file);
        return false;
    }
    program& p = s.prog;
    if (p.recording() || s.editor_open()) return false;
    p.wait_request(p.d.thru_notes_off_request);
    if (p.running()) s.trans.stop();
    s.files.current_file_name = paths.front();
    if (!load_song_by_type(p, s.files)) return false;
    remember_opened_folder(s.files, paths.front());
    add_recent_file(s.files, paths.front());
    s.mark_song_saved();
    p.screen.repaint(-1);
    call(s.window.bring_to_front);
    return true;
}

std::string command_line_file(const std::vector<std::string>& args) {
    std::string line;
    for (const std::string& a : args) {
        if (!line.empty()) line += ' ';
        line += a;
    }
    if (line.empty() || line.front() != '"') return line;
    // A quoted name runs to the next quote; without one it takes the rest.
    const auto close = line.find('"', 1);
    return line.substr(1, close == std::string::npos ? std::string::npos : close - 1);
}

}  // namespace kestrune
