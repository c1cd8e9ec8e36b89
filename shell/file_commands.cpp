#include "shell/file_commands.h"

#include "core/command_ids.h"
#include "editors/frame/editor_frame.h"
#include "files/file_buffer.h"
#include "files/file_messages.h"
#include "files/pattern_file.h"
#include "files/smf_reader.h"
#include "files/smf_writer.h"
#include "files/song_file.h"
#include "files/sysex_file.h"
#include "services/help_pages.h"
#include "shell/startup.h"
#include "song/patterns.h"

namespace kestrune {

namespace {

void set_title(session& s, const std::string& title) {
    s.files.current_file_title = title;
    call(s.window.title_changed);
}

// A MIDI file becomes a song of the same name: Save then offers "name.sng". Read into a song
// edited before (kept, not erased), the whole is still unsaved.
void midi_file_loaded(session& s, const std::string& path, bool was_edited) {
    std::string name = file_name_of(path);
    name = name.substr(0, name.size() - extension_upper(name).size()) + ".sng";
    s.files.current_file_name.clear();
    set_title(s, name);
    s.trans.rewind(1);
    if (!was_edited) s.mark_song_saved();
}

bool is_midi_name(const std::string& path) {
    const std::string ext = extension_upper(path);
    return ext == ".MID" || ext == ".KAR";
}

// A file command: MIDI thru's notes end before it; false from `run` is a dialog given up or a
// load that failed with its message.
command_record file_command(int id, const char* text, const char* shortcut, bool changes_song,
                            std::string_view help, std::function<bool(program&)> run) {
    return {.id = id, .text = text, .shortcut = shortcut, .views = every_view,
            .changes_song = changes_song, .help = std::string(help),
            .run = [run = std::move(run)](program& p, const field_values&) {
                p.wait_request(p.d.thru_notes_off_request);
                return run(p) ? outcome::done : outcome::cancelled;
            }};
}

// An open editor keeps references into the chains it shows: once a load or Clear Song has
// replaced chains, it closes rather than point into freed blocks.
void leave_editor_if_replaced(program& p, const change_counters& before, bool loaded) {
    if (loaded || p.changes.song != before.song || p.changes.tracks != before.tracks) leave_editor(p);
}

// A load repaints the screen whatever came of it.
template <class Load>
std::function<bool(program&)> then_repaint(Load load) {
    return [load](program& p) {
        const change_counters before = p.changes;
        const bool loaded = load(p);
        leave_editor_if_replaced(p, before, loaded);
        p.screen.repaint(-1);
        return loaded;
    };
}

void add_loads(session& s) {
    file_state& fs = s.files;
    command_table& t = s.commands;
    t.add(file_command(cmd::load_song, "&Load Song...", "Ctrl+O", true, help_page::files, then_repaint([&s, &fs](program& p) {
        if (!load_song(p, fs, false)) return false;
        s.trans.rewind(1);
        s.mark_song_saved();
        return true;
    })));
    t.add(file_command(cmd::load_pattern, "Load &Pattern...", "", true, help_page::pattern_track_files,
                       then_repaint([&fs](program& p) { return load_pattern(p, fs) != 0; })));
    t.add(file_command(cmd::load_track, "Load &Track...", "", true, help_page::pattern_track_files,
                       then_repaint([&fs](program& p) { return load_track(p, fs) != 0; })));
    t.add(file_command(cmd::load_syx_file, "Load S&yx File...", "", true, help_page::sysex_text_editing,
                       then_repaint([&fs](program& p) { return load_syx_file(p, fs) != 0; })));
    t.add(file_command(cmd::load_midi_file, "Load &MIDI / Karaoke File...", "Ctrl+M", true, help_page::midi_files,
                       then_repaint([&s, &fs](program& p) {
                           const bool was_edited = s.song_edited();
                           if (!load_midi_file(p, fs, midi_load_mode::ask, {})) return false;
                           midi_file_loaded(s, fs.current_file_name, was_edited);
                           return true;
                       })));
}

void add_saves(session& s) {
    file_state& fs = s.files;
    command_table& t = s.commands;
    t.add(file_command(cmd::save_song, "&Save Song...", "Ctrl+S", false, help_page::files, [&s, &fs](program& p) {
        if (!save_song(p, fs)) return false;
        s.mark_song_saved();
        return true;
    }));
    t.add(file_command(cmd::save_pattern, "Save P&attern...", "", false, help_page::pattern_track_files,
                       [&fs](program& p) { return save_pattern(p, fs); }));
    t.add(file_command(cmd::save_track, "Save T&rack...", "", false, help_page::pattern_track_files,
                       [&fs](program& p) { return save_track(p, fs); }));
    t.add(file_command(cmd::save_midi_file, "Sa&ve MIDI File...", "", false, help_page::midi_files,
                       [&fs](program& p) { return save_midi_file(p, fs); }));
}

}  // namespace

bool clear_song_command(session& s) {
    program& p = s.prog;
    if (p.screen.message(ask_erase_all, msg_icon::question, msg_buttons::ok_cancel,
                         msg_answer::cancel) != msg_answer::ok)
        return false;
    if (p.running()) s.trans.stop();
    clear_song(p);
    leave_editor(p);
    s.trans.rewind(1);
    s.files.current_file_name.clear();
    set_title(s, untitled_title);
    s.mark_song_saved();  // nothing in it to lose
    p.screen.repaint(-1);
    return true;
}

bool open_recent_file(session& s, int index) {
    auto& recent = s.files.recent_files;
    if (index < 0 || index >= static_cast<int>(recent.size())) return false;
    const std::string path = recent[static_cast<std::size_t>(index)];
    program& p = s.prog;
    file_buffer probe;
    const bool there = probe.open_read(path);
    probe.close();
    if (!there) {
        recent.erase(recent.begin() + index);
        call(s.window.menus_changed);
        p.message(msg_file_not_found);
        return false;
    }
    int loaded = 0;
    const change_counters before = p.changes;
    if (is_midi_name(path)) {
        const bool was_edited = s.song_edited();
        loaded = load_recent_midi_file(p, s.files, path);
        if (loaded) midi_file_loaded(s, path, was_edited);
    } else {
        loaded = load_recent_file(p, s.files, path);
        if (loaded) s.mark_song_saved();
    }
    leave_editor_if_replaced(p, before, loaded != 0);
    if (!loaded) p.message(msg_file_not_found);
    p.screen.repaint(-1);
    return loaded != 0;
}

void add_file_commands(session& s) {
    s.commands.add({.id = cmd::clear_song, .text = "&Clear Song...", .shortcut = "Ctrl+N",
                    .views = every_view, .changes_song = true, .help = std::string(help_page::files),
                    .run = [&s](program&, const field_values&) {
                        return clear_song_command(s) ? outcome::done : outcome::cancelled;
                    }});
    add_loads(s);
    add_saves(s);
    for (int i = 0; i < recent_file_count; ++i) {
        command_record c = file_command(cmd::recent_file_first + i, "", "", true, help_page::files,
                                        [&s, i](program&) { return open_recent_file(s, i); });
        c.enabled = [&s, i](const program&) { return i < static_cast<int>(s.files.recent_files.size()); };
        s.commands.add(std::move(c));
    }
}

}  // namespace kestrune
