#include "shell/file_commands.h"

#include "files/file_buffer.h"
#include "files/file_messages.h"
#include "files/pattern_file.h"
#include "files/smf_reader.h"
#include "files/smf_writer.h"
#include "files/song_file.h"
#include "files/sysex_file.h"
#include "shell/command_ids.h"
#include "shell/startup.h"
#include "song/patterns.h"

namespace kestrune {

namespace {

void set_title(session& s, const std::string& title) {
    s.files.current_file_title = title;
    call(s.window.title_changed);
}

// A MIDI file becomes a song of the same name: Save then offers "name.sng".
void midi_file_loaded(session& s, const std::string& path) {
    std::string name = file_name_of(path);
    name = name.substr(0, name.size() - extension_upper(name).size()) + ".sng";
    s.files.current_file_name.clear();
    set_title(s, name);
    s.trans.rewind(1);
}

bool is_midi_name(const std::string& path) {
    const std::string ext = extension_upper(path);
    return ext == ".MID" || ext == ".KAR";
}

void add(session& s, int id, const char* text, const char* shortcut, std::function<void()> run) {
    s.commands.add({id, text, shortcut, {}, {}, std::move(run)});
}

}  // namespace

void clear_song_command(session& s) {
    program& p = s.prog;
    if (p.screen.message(ask_erase_all, msg_icon::question, msg_buttons::ok_cancel,
                         msg_answer::cancel) != msg_answer::ok)
        return;
    if (p.running()) s.trans.stop();
    clear_song(p);
    s.trans.rewind(1);
    s.files.current_file_name.clear();
    set_title(s, untitled_title);
    p.screen.repaint(-1);
}

void open_recent_file(session& s, int index) {
    auto& recent = s.files.recent_files;
    if (index < 0 || index >= static_cast<int>(recent.size())) return;
    const std::string path = recent[static_cast<std::size_t>(index)];
    program& p = s.prog;
    file_buffer probe;
    const bool there = probe.open_read(path);
    probe.close();
    if (!there) {
        recent.erase(recent.begin() + index);
        call(s.window.menus_changed);
        p.message(msg_file_not_found);
        return;
    }
    int loaded = 0;
    if (is_midi_name(path)) {
        loaded = load_recent_midi_file(p, s.files, path);
        if (loaded) midi_file_loaded(s, path);
    } else {
        loaded = load_recent_file(p, s.files, path);
    }
    if (!loaded) p.message(msg_file_not_found);
    p.screen.repaint(-1);
}

void add_file_commands(session& s) {
    program& p = s.prog;
    file_state& fs = s.files;
    add(s, cmd::clear_song, "&Clear Song...", "Ctrl+N", [&s] { clear_song_command(s); });
    add(s, cmd::load_song, "&Load Song...", "Ctrl+O", [&s, &p, &fs] {
        if (load_song(p, fs, false)) s.trans.rewind(1);
        p.screen.repaint(-1);
    });
    add(s, cmd::save_song, "&Save Song...", "Ctrl+S", [&p, &fs] { save_song(p, fs); });
    add(s, cmd::load_pattern, "Load &Pattern...", "", [&p, &fs] {
        load_pattern(p, fs);
        p.screen.repaint(-1);
    });
    add(s, cmd::save_pattern, "Save P&attern...", "", [&p, &fs] { save_pattern(p, fs); });
    add(s, cmd::load_track, "Load &Track...", "", [&p, &fs] {
        load_track(p, fs);
        p.screen.repaint(-1);
    });
    add(s, cmd::save_track, "Save T&rack...", "", [&p, &fs] { save_track(p, fs); });
    add(s, cmd::load_syx_file, "Load S&yx File...", "", [&p, &fs] {
        load_syx_file(p, fs);
        p.screen.repaint(-1);
    });
    add(s, cmd::load_midi_file, "Load &MIDI / Karaoke File...", "Ctrl+M", [&s, &p, &fs] {
        if (load_midi_file(p, fs, midi_load_mode::ask, {})) midi_file_loaded(s, fs.current_file_name);
        p.screen.repaint(-1);
    });
    add(s, cmd::save_midi_file, "Sa&ve MIDI File...", "", [&p, &fs] { save_midi_file(p, fs); });
    for (int i = 0; i < recent_file_count; ++i) {
        command c{cmd::recent_file_first + i, "", "", {}, {}, [&s, i] { open_recent_file(s, i); }};
        c.enabled = [&s, i] { return i < static_cast<int>(s.files.recent_files.size()); };
        s.commands.add(std::move(c));
    }
}

}  // namespace kestrune
