// The window's own commands: the transport and its keys, the mode buttons, the Options menu's
// dialogs, preferences and zoom, About and Quit. They reach the session, so they are bound here.
#include <cstring>

#include "editors/list/list_commands.h"
#include "core/command_ids.h"
#include "core/records.h"
#include "core/version.h"
#include "mixer/mixer_model.h"
#include "realtime/recording_commands.h"
#include "services/help_pages.h"
#include "shell/main_commands.h"
#include "shell/screen/main_screen.h"
#include "shell/dialogs/setup_dialog_views.h"
#include "shell/startup.h"

namespace kestrune {

namespace {

using run_function = std::function<outcome(program&, const field_values&)>;
using check_mark = std::function<bool(const program&)>;

// A command that always goes on.
run_function does(std::function<void()> f) {
    return [f = std::move(f)](program&, const field_values&) {
        f();
        return outcome::done;
    };
}

command_record simple(int id, std::string text, std::string shortcut, std::string_view help,
                      std::function<void()> run, check_mark checked = {}) {
    return {.id = id, .text = std::move(text), .shortcut = std::move(shortcut), .views = every_view,
            .help = std::string(help), .checked = std::move(checked), .run = does(std::move(run))};
}

// A preference item: the check mark is the value; a click flips it.
template <class T>
command_record toggle(session& s, int id, std::string text, T& value, std::function<void()> then = {}) {
    return simple(
        id, std::move(text), "", help_page::preferences,
        [&s, &value, then] {
            value = value ? 0 : 1;
            call(then);
            call(s.window.menus_changed);
        },
        [&value](const program&) { return value != 0; });
}

void add_transport_commands(session& s) {
    transport& t = s.trans;
    command_table& table = s.commands;
    table.add(simple(cmd::play, "Play", "Num+0", help_page::transport, [&t] { t.play(); }));
    table.add(simple(cmd::stop, "Stop", "Num+Enter", help_page::transport, [&t] { t.stop(); }));
    table.add(simple(cmd::pause, "Pause", "Num+.", help_page::transport, [&t] { t.pause(); }));
    table.add(simple(cmd::panic, "Panic", "F12", help_page::transport, [&t] { t.panic(); }));
    table.add(cue_command(t));
    for (int i = 0; i < cmd::memory_keys; ++i) {
        const std::string f = std::to_string(i + 1), g = std::to_string(i + 5);
        table.add(simple(cmd::memory_position_first + i, "Go To Position " + f, "F" + f, help_page::locators,
                         [&t, i] { t.memory_position_key(i, false); }));
        table.add(simple(cmd::store_position_first + i, "Store Position " + f, "Shift+F" + f, help_page::locators,
                         [&t, i] { t.memory_position_key(i, true); }));
        table.add(simple(cmd::memory_locators_first + i, "Recall Locators " + f, "F" + g, help_page::locators,
                         [&t, i] { t.memory_locator_key(i, false); }));
        table.add(simple(cmd::store_locators_first + i, "Store Locators " + f, "Shift+F" + g, help_page::locators,
                         [&t, i] { t.memory_locator_key(i, true); }));
    }
}

void add_mode_commands(session& s) {
    transport& t = s.trans;
    command_table& table = s.commands;
    table.add(simple(cmd::cycle_button, "Cycle", "C", help_page::recording, [&t] { t.toggle_cycle(); },
                     [](const program& p) { return p.d.cycle_on != 0; }));
    command_record punch = simple(cmd::punch_button, "Punch", "P", help_page::recording, [&t] { t.toggle_punch(); },
                                  [](const program& p) { return p.d.punch_on != 0; });
    punch.views = {};  // the main window only
    table.add(std::move(punch));
    table.add(simple(cmd::solo_button, "Solo", "S", help_page::transport, [&t] { t.toggle_solo(); },
                     [](const program& p) { return p.app.solo_on; }));
    table.add(simple(cmd::tempo_track_button, "Tempo Track", "T", help_page::transport, [&t] { t.toggle_tempo_track(); },
                     [](const program& p) { return p.d.tempo_track_on != 0; }));
    table.add(simple(cmd::signature_track_button, "Signature Track", "W", help_page::transport,
                     [&t] { t.toggle_signature_track(); },
                     [](const program& p) { return p.d.signature_track_on != 0; }));
    table.add(simple(cmd::sync_internal, "&Internal", "", help_page::synchronization, [&t] { t.set_external_sync(false); },
                     [](const program& p) { return p.d.external_sync == 0; }));
    table.add(simple(cmd::sync_external, "&External", "", help_page::synchronization, [&t] { t.set_external_sync(true); },
                     [](const program& p) { return p.d.external_sync != 0; }));
}

void add_preferences(session& s) {
    dll_data& d = s.prog.d;
    user_settings& u = s.settings;
    app_state& a = s.prog.app;
    command_table& table = s.commands;
    table.add(toggle(s, cmd::midi_click, "MIDI &Click", d.midi_click));
    table.add(toggle(s, cmd::click_always, "Click &Always", d.click_always));
    table.add(toggle(s, cmd::clock_spp_out, "Clock/&SPP Out", d.sync_out));
    table.add(toggle(s, cmd::reset_on_stop, "&Reset On Stop", u.reset_on_stop,
                     [&s] { s.prog.app.reset_on_stop = s.settings.reset_on_stop; }));
    table.add(toggle(s, cmd::actual_position, "Actual &Position", u.actual_position));
    table.add(toggle(s, cmd::two_bar_count_in, "&2 Bar count-in", u.two_bar_count_in,
                     [&s] { s.trans.two_bar_count_in = s.settings.two_bar_count_in; }));
    table.add(toggle(s, cmd::chase_events, "C&hase Events", a.chase_events));
    table.add(toggle(s, cmd::simple_bardisplay, "&Simple Bardisplay", a.simple_bardisplay,
                     [&s] { s.prog.screen.repaint(-1); }));
    table.add(toggle(s, cmd::show_real_time_clock, "Sh&ow Real Time Clock", a.clock_field_on,
                     [&s] { call(s.window.relayout); }));
    table.add(toggle(s, cmd::allow_double_clicks, "Allow &Double Clicks", u.allow_double_clicks));
    table.add(toggle(s, cmd::remember_file_paths, "Remember &File Paths", s.files.remember_file_paths));
}

void choose_zoom(session& s, int row) {
    if (s.settings.zoom_index == row) return;
    s.settings.zoom_index = row;
    call(s.window.relayout);
    call(s.window.default_window_place);
    call(s.window.menus_changed);
    s.prog.screen.repaint(-1);
}

void about(const program& p) {
    const std::string text = std::string(program_title) + "\nVersion " + program_version + "\n\nFree events: " +
                             std::to_string(static_cast<long>(p.d.free_blocks) * block_slots);
    p.screen.message(text, msg_icon::information, msg_buttons::ok, msg_answer::ok, "About");
}

// The setup dialogs run in the frame's windows, when the window has them.
command_record setup_command(session& s, int id, std::string text, std::string_view help,
                             std::function<bool()> run) {
    command_record c{.id = id, .text = std::move(text), .views = every_view, .help = std::string(help)};
    c.enabled = [&s](const program&) { return s.setup_dialogs; };
    c.run = [run = std::move(run)](program&, const field_values&) {
        return run() ? outcome::done : outcome::cancelled;
    };
    return c;
}

void add_options(session& s) {
    command_table& table = s.commands;
    table.add(setup_command(s, cmd::midi_setup, "&MIDI Setup...", help_page::midi_setup, [&s] {
        if (!run_midi_setup(s.prog, s.setup)) return false;
        apply_setup(s);
        return true;
    }));
    table.add(setup_command(s, cmd::memory_setup, "Memor&y Setup...", help_page::memory_setup,
                            [&s] { return run_memory_setup(s.prog); }));
    table.add(setup_command(s, cmd::overall_settings, "&Overall Settings...", help_page::overall_settings, [&s] {
        if (!run_overall_settings(s.prog, s.setup)) return false;
        apply_setup(s);
        return true;
    }));
    table.add(internal_recording_command(s.rec));
    table.add(simple(cmd::full_volume, "&Full Volume", "", help_page::preferences,
                     [&s] { s.prog.raise_request(s.prog.d.full_volume_request); }));
    for (int z = 0; z < zoom_rows; ++z)
        table.add(simple(cmd::zoom_first + z, zoom_table[z].menu_text, "", help_page::zoom, [&s, z] { choose_zoom(s, z); },
                         [&s, z](const program&) { return s.settings.zoom_index == z; }));
    table.add(simple(cmd::default_window, "&Default Window Size / Position", "", help_page::zoom,
                     [&s] { call(s.window.default_window_place); }));
}

// The Help menu's items: the window gives them their run (greyed until then).
void add_help_items(command_table& table) {
    const struct {
        int id;
        const char* text;
        std::string_view help;
    } items[] = {
        {cmd::help_index, "&Help Index", help_page::index},
        {cmd::key_commands_help, "&Key Commands", help_page::key_commands},
        {cmd::tutorial, "&Tutorial", help_page::tutorial},
        {cmd::version_history, "&Version History", help_page::index},
        {cmd::check_for_updates, "Check For &Updates...", help_page::update_check},
        {cmd::editor_context_help, "Editor Help", help_page::main_window},
    };
    for (const auto& i : items)
        table.add({.id = i.id, .text = i.text, .views = every_view, .help = std::string(i.help)});
}

// The views that take the work area: one at a time, each closed through the session's hook.
void bind_view_switches(session& s) {
    command_record* mixer = s.commands.find(cmd::mixer_button);
    if (!mixer || !mixer->run) return;
    mixer->run = [&s, toggle = mixer->run](program& p, const field_values& v) {
        if (!mixer_open(p) && s.editor_open()) call(s.close_editor);
        const outcome o = toggle(p, v);
        s.close_editor = nullptr;
        if (mixer_open(p)) s.close_editor = [&p] { close_mixer(p); };
        call(s.window.menus_changed);
        return o;
    };
}

}  // namespace

void add_window_commands(session& s) {
    add_transport_commands(s);
    add_mode_commands(s);
    add_preferences(s);
    add_options(s);
    add_help_items(s.commands);
    s.commands.add(simple(cmd::quit, "&Quit", "Ctrl+Q", help_page::main_window, [&s] { call(s.window.close); }));
    s.commands.add(simple(cmd::about, "&About...", "", help_page::index, [&s] { about(s.prog); }));
    bind_view_switches(s);
}

}  // namespace kestrune
