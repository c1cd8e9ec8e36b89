#include "shell/main_commands.h"

#include <cctype>
#include <cstring>

#include "core/records.h"
#include "core/version.h"
#include "shell/command_ids.h"
#include "shell/file_commands.h"
#include "shell/processing_commands.h"
#include "shell/setup_dialog_views.h"
#include "shell/startup.h"

namespace kestrune {

namespace {

struct command_text {
    int id;
    const char* text;
    const char* shortcut;
};

// Every command of the menus and keys with its text and shortcut. Those whose function comes
// later stay in the table without one, and so are disabled.
constexpr command_text texts[] = {
    {cmd::quit, "&Quit", "Ctrl+Q"},
    {cmd::about, "&About...", ""},
    {cmd::version_history, "&Version History", ""},
    {cmd::help_index, "&Help Index", ""},
    {cmd::tutorial, "&Tutorial", ""},
    {cmd::key_commands_help, "&Key Commands", ""},
    {cmd::check_for_updates, "Check For &Updates...", ""},
    {cmd::grid_button, "Grid", ""},
    {cmd::event_button, "Event", ""},
    {cmd::solo_button, "Solo", "S"},
    {cmd::tempo_track_button, "Tempo Track", "T"},
    {cmd::signature_track_button, "Signature Track", "W"},
    {cmd::cycle_button, "Cycle", "C"},
    {cmd::punch_button, "Punch", "P"},
    {cmd::undo_button, "Undo", ""},
    {cmd::mixer_button, "Mixer", "J"},
    {cmd::editor_context_help, "Editor Help", ""},
    {cmd::modify_track, "&Modify Track...", ""},
    {cmd::copy_track, "&Copy Track...", "Shift+C"},
    {cmd::copy_pattern, "Copy &Pattern...", "Shift+Y"},
    {cmd::copy_track_segment, "Copy Track &Segment...", "Shift+X"},
    {cmd::copy_pattern_segment, "Copy Pattern Se&gment...", "Shift+H"},
    {cmd::push_track, "P&ush Track...", "Shift+P"},
    {cmd::delete_events, "&Delete Events...", "D"},
    {cmd::keep_events, "&Keep Events...", "K"},
    {cmd::transform_events, "&Transform Events...", "H"},
    {cmd::mirror_pitches, "&Mirror Pitches...", "Shift+V"},
    {cmd::reverse_pitches, "&Reverse Pitches", "Shift+Z"},
    {cmd::change_speed, "&User Defined Speed...", "Shift+O"},
    {cmd::double_speed, "D&ouble Speed", "Shift+K"},
    {cmd::half_speed, "&Half Speed", "Shift+J"},
    {cmd::undo, "&Undo", "Ctrl+Z"},
    {cmd::check_track, "Check &Track", "X"},
    {cmd::check_note_overlap, "Check Note &Overlap", "O"},
    {cmd::change_note_length, "Change Note &Length...", "Shift+L"},
    {cmd::freeze_quantize, "Freeze &Quantize", "F"},
    {cmd::freeze_track_parameters, "Freeze &Track Parameters", "Shift+F"},
    {cmd::insert_measures, "&Insert Measures...", "Shift+I"},
    {cmd::delete_measures, "&Delete Measures...", "Shift+D"},
    {cmd::mixdown, "&Mixdown 32 Tracks", "Shift+M"},
    {cmd::remix_by_note, "Remix Track By &Note Number", "Ctrl+Shift+R"},
    {cmd::remix_by_channel, "Remix Track By &Channel", "Shift+R"},
    {cmd::midi_setup, "&MIDI Setup...", ""},
    {cmd::memory_setup, "Memor&y Setup...", ""},
    {cmd::overall_settings, "&Overall Settings...", ""},
    {cmd::quantize_settings, "&Quantize Settings...", "Shift+U"},
    {cmd::internal_recording, "&Internal Recording...", ""},
    {cmd::full_volume, "&Full Volume", ""},
    {cmd::note_pad, "&Note Pad...", ""},
    {cmd::default_window, "&Default Window Size / Position", ""},
    {cmd::sync_internal, "&Internal", ""},
    {cmd::sync_external, "&External", ""},
    {cmd::event_editor, "&Event Editor", "E"},
    {cmd::grid_editor, "&Grid Editor", "G"},
    {cmd::tempo_track_editor, "&Tempo Track Editor", "Shift+T"},
    {cmd::signature_track_editor, "&Signature Track Editor", "Shift+W"},
    {cmd::select_notes_first + 0, "&All", ""},
    {cmd::select_notes_first + 1, "&Toggle", ""},
    {cmd::select_notes_first + 2, "&Equal Pitch", ""},
    {cmd::select_notes_first + 3, "&Lower/Same Pitch", ""},
    {cmd::select_notes_first + 4, "&Following", ""},
    {cmd::midi_click, "MIDI &Click", ""},
    {cmd::click_always, "Click &Always", ""},
    {cmd::clock_spp_out, "Clock/&SPP Out", ""},
    {cmd::reset_on_stop, "&Reset On Stop", ""},
    {cmd::actual_position, "Actual &Position", ""},
    {cmd::two_bar_count_in, "&2 Bar count-in", ""},
    {cmd::chase_events, "C&hase Events", ""},
    {cmd::simple_bardisplay, "&Simple Bardisplay", ""},
    {cmd::show_real_time_clock, "Sh&ow Real Time Clock", ""},
    {cmd::allow_double_clicks, "Allow &Double Clicks", ""},
    {cmd::remember_file_paths, "Remember &File Paths", ""},
    {cmd::play, "Play", "Num+0"},
    {cmd::stop, "Stop", "Num+Enter"},
    {cmd::pause, "Pause", "Num+."},
    {cmd::bar_back, "Bar Back", "Left"},
    {cmd::bar_forward, "Bar Forward", "Right"},
    {cmd::panic, "Panic", "F12"},
};

// Commands that change the song: refused while a take runs.
constexpr int song_changing[] = {
    cmd::load_song, cmd::load_midi_file, cmd::load_pattern, cmd::load_track, cmd::load_syx_file,
    cmd::clear_song, cmd::modify_track, cmd::copy_track, cmd::copy_pattern, cmd::push_track,
    cmd::delete_events, cmd::keep_events, cmd::transform_events, cmd::undo, cmd::mirror_pitches,
    cmd::reverse_pitches, cmd::copy_pattern_segment, cmd::copy_track_segment, cmd::change_speed,
    cmd::double_speed, cmd::half_speed, cmd::check_track, cmd::check_note_overlap,
    cmd::change_note_length, cmd::freeze_quantize, cmd::freeze_track_parameters,
    cmd::insert_measures, cmd::delete_measures, cmd::mixdown, cmd::remix_by_note,
    cmd::remix_by_channel, cmd::undo_button,
};

bool in_range(int id, int first, int last) { return id >= first && id <= last; }

bool changes_song(int id) {
    for (int c : song_changing)
        if (c == id) return true;
    return in_range(id, cmd::recent_file_first, cmd::recent_file_last) ||
           in_range(id, cmd::quantize_popup_first, cmd::quantize_popup_last);
}

bool is_file_command(int id) {
    return in_range(id, cmd::load_song, cmd::save_midi_file) ||
           in_range(id, cmd::load_pattern, cmd::save_track) || id == cmd::load_syx_file ||
           in_range(id, cmd::recent_file_first, cmd::recent_file_last);
}

bool is_table_a(int id) {
    return in_range(id, cmd::version_history, cmd::tutorial) || id == cmd::key_commands_help ||
           id == cmd::check_for_updates || in_range(id, cmd::grid_button, cmd::mixer_button) ||
           id == cmd::editor_context_help;
}

void bind(session& s, int id, std::function<void()> run, std::function<bool()> checked = {}) {
    command c = *s.commands.find(id);
    c.run = std::move(run);
    c.checked = std::move(checked);
    s.commands.add(std::move(c));
}

// A preference item: the check mark is the value; a click flips it.
template <class T>
void bind_toggle(session& s, int id, T& value, std::function<void()> then = {}) {
    bind(
        s, id,
        [&s, &value, then] {
            value = value ? 0 : 1;
            call(then);
            call(s.window.menus_changed);
        },
        [&value] { return value != 0; });
}

void about(session& s) {
    const program& p = s.prog;
    const std::string text = std::string(program_title) + "\nVersion " + program_version + "\n\nFree events: " +
                             std::to_string(static_cast<long>(p.d.free_blocks) * block_slots);
    p.screen.message(text, msg_icon::information, msg_buttons::ok, msg_answer::ok, "About");
}

void note_pad(session& s) {
    if (!s.window.note_pad) return;
    auto& buf = s.prog.song.note_pad_text;
    std::string text(buf.data(), strnlen(buf.data(), buf.size()));
    s.window.note_pad(text, note_pad_bytes - 1);
    buf.fill(0);
    std::memcpy(buf.data(), text.data(), std::min(text.size(), buf.size() - 1));
}

void choose_zoom(session& s, int row) {
    if (s.settings.zoom_index == row) return;
    s.settings.zoom_index = row;
    call(s.window.relayout);
    call(s.window.default_window_place);
    call(s.window.menus_changed);
    s.prog.screen.repaint(-1);
}

void bind_transport(session& s) {
    transport& t = s.trans;
    bind(s, cmd::play, [&t] { t.play(); });
    bind(s, cmd::stop, [&t] { t.stop(); });
    bind(s, cmd::pause, [&t] { t.pause(); });
    bind(s, cmd::bar_back, [&t] { t.move_bar(false, false); });
    bind(s, cmd::bar_forward, [&t] { t.move_bar(true, false); });
    bind(s, cmd::panic, [&t] { t.panic(); });
    for (int i = 0; i < cmd::memory_keys; ++i) {
        bind(s, cmd::memory_position_first + i, [&t, i] { t.memory_position_key(i, false); });
        bind(s, cmd::store_position_first + i, [&t, i] { t.memory_position_key(i, true); });
        bind(s, cmd::memory_locators_first + i, [&t, i] { t.memory_locator_key(i, false); });
        bind(s, cmd::store_locators_first + i, [&t, i] { t.memory_locator_key(i, true); });
    }
    const dll_data& d = s.prog.d;
    bind(s, cmd::cycle_button, [&t] { t.toggle_cycle(); }, [&d] { return d.cycle_on != 0; });
    bind(s, cmd::punch_button, [&t] { t.toggle_punch(); }, [&d] { return d.punch_on != 0; });
    bind(s, cmd::solo_button, [&t] { t.toggle_solo(); }, [&s] { return s.prog.app.solo_on; });
    bind(s, cmd::tempo_track_button, [&t] { t.toggle_tempo_track(); },
         [&d] { return d.tempo_track_on != 0; });
    bind(s, cmd::signature_track_button, [&t] { t.toggle_signature_track(); },
         [&d] { return d.signature_track_on != 0; });
    bind(s, cmd::sync_internal, [&t] { t.set_external_sync(false); },
         [&d] { return d.external_sync == 0; });
    bind(s, cmd::sync_external, [&t] { t.set_external_sync(true); },
         [&d] { return d.external_sync != 0; });
}

void bind_preferences(session& s) {
    dll_data& d = s.prog.d;
    user_settings& u = s.settings;
    bind_toggle(s, cmd::midi_click, d.midi_click);
    bind_toggle(s, cmd::click_always, d.click_always);
    bind_toggle(s, cmd::clock_spp_out, d.sync_out);
    bind_toggle(s, cmd::reset_on_stop, u.reset_on_stop, [&s] { s.prog.app.reset_on_stop = s.settings.reset_on_stop; });
    bind_toggle(s, cmd::actual_position, u.actual_position);
    bind_toggle(s, cmd::two_bar_count_in, u.two_bar_count_in,
                [&s] { s.trans.two_bar_count_in = s.settings.two_bar_count_in; });
    bind_toggle(s, cmd::chase_events, s.prog.app.chase_events);
    bind_toggle(s, cmd::simple_bardisplay, s.prog.app.simple_bardisplay, [&s] { s.prog.screen.repaint(-1); });
    bind_toggle(s, cmd::show_real_time_clock, s.prog.app.clock_field_on, [&s] { call(s.window.relayout); });
    bind_toggle(s, cmd::allow_double_clicks, u.allow_double_clicks);
    bind_toggle(s, cmd::remember_file_paths, s.files.remember_file_paths);
}

}  // namespace

const std::vector<menu>& main_menus() {
    using i = menu_item;
    const auto cmds = [](std::initializer_list<int> ids) {
        std::vector<menu_item> v;
        for (int id : ids) v.push_back({id, {}, {}});
        return v;
    };
    static const std::vector<menu> menus = {
        {"&File", cmds({cmd::clear_song, 0, cmd::load_song, cmd::save_song, 0, cmd::load_pattern,
                        cmd::save_pattern, cmd::load_track, cmd::save_track, 0, cmd::load_midi_file,
                        cmd::save_midi_file, cmd::load_syx_file, cmd::export_audio, 0,
                        cmd::recent_file_first, 0,
                        cmd::quit})},
        {"F&unctions",
         cmds({cmd::modify_track, 0, cmd::copy_track, cmd::copy_pattern, cmd::copy_track_segment,
               cmd::copy_pattern_segment, 0, cmd::delete_events, cmd::keep_events,
               cmd::transform_events, 0, cmd::push_track, cmd::mirror_pitches, cmd::reverse_pitches,
               cmd::change_speed, cmd::double_speed, cmd::half_speed, 0, cmd::undo})},
        {"E&xtra", cmds({cmd::check_track, cmd::check_note_overlap, cmd::change_note_length, 0,
                         cmd::freeze_quantize, cmd::freeze_track_parameters, 0, cmd::insert_measures,
                         cmd::delete_measures, 0, cmd::mixdown, cmd::remix_by_channel,
                         cmd::remix_by_note})},
        {"&Windows", [&] {
             auto v = cmds({cmd::event_editor, cmd::grid_editor, cmd::tempo_track_editor,
                            cmd::signature_track_editor, 0});
             v.push_back(i{0, "Select &Notes", cmds({3217, 3218, 3219, 3220, 3221})});
             v.push_back(i{cmd::note_pad, {}, {}});
             return v;
         }()},
        {"&Options", [&] {
             auto v = cmds({cmd::midi_setup, cmd::memory_setup, cmd::overall_settings,
                            cmd::quantize_settings, cmd::internal_recording, 0});
             v.push_back(i{0, "S&ynchronization", cmds({cmd::sync_internal, cmd::sync_external})});
             v.push_back(i{cmd::full_volume, {}, {}});
             v.push_back(i{0, {}, {}});
             for (int id : {cmd::midi_click, cmd::click_always, cmd::clock_spp_out, cmd::reset_on_stop,
                            cmd::actual_position, cmd::two_bar_count_in, cmd::chase_events,
                            cmd::simple_bardisplay, cmd::show_real_time_clock,
                            cmd::allow_double_clicks, cmd::remember_file_paths})
                 v.push_back(i{id, {}, {}});
             v.push_back(i{0, {}, {}});
             std::vector<menu_item> zooms;
             for (int z = cmd::zoom_first; z <= cmd::zoom_last; ++z) zooms.push_back(i{z, {}, {}});
             v.push_back(i{0, "&Zoom", zooms});
             v.push_back(i{cmd::default_window, {}, {}});
             return v;
         }()},
        {"&Help", cmds({cmd::help_index, cmd::key_commands_help, cmd::tutorial,
                        cmd::version_history, 0, cmd::check_for_updates, 0, cmd::about})},
    };
    return menus;
}

void add_main_commands(session& s) {
    for (const command_text& t : texts) s.commands.add({t.id, t.text, t.shortcut, {}, {}, {}});
    for (int i = 0; i < cmd::memory_keys; ++i) {
        const std::string f = std::to_string(i + 1), g = std::to_string(i + 5);
        s.commands.add({cmd::memory_position_first + i, "Go To Position " + f, "F" + f, {}, {}, {}});
        s.commands.add({cmd::store_position_first + i, "Store Position " + f, "Shift+F" + f, {}, {}, {}});
        s.commands.add({cmd::memory_locators_first + i, "Recall Locators " + f, "F" + g, {}, {}, {}});
        s.commands.add({cmd::store_locators_first + i, "Store Locators " + f, "Shift+F" + g, {}, {}, {}});
    }
    for (int z = 0; z < zoom_rows; ++z)
        s.commands.add({cmd::zoom_first + z, zoom_table[z].menu_text, "", {}, [&s, z] { return s.settings.zoom_index == z; },
                        [&s, z] { choose_zoom(s, z); }});
    add_file_commands(s);
    bind(s, cmd::quit, [&s] { call(s.window.close); });
    bind(s, cmd::about, [&s] { about(s); });
    bind(s, cmd::note_pad, [&s] { note_pad(s); });
    bind(s, cmd::default_window, [&s] { call(s.window.default_window_place); });
    bind(s, cmd::full_volume, [&s] { shared_store(s.prog.d.full_volume_request, std::uint8_t{1}); });
    bind_transport(s);
    bind_preferences(s);
    add_processing_commands(s.commands, s.prog);
    add_recording_commands(s.commands, s.prog, s.rec);
    // The setup dialogs run in the frame's windows, when the window has them.
    bind(s, cmd::midi_setup, [&s] {
        if (run_midi_setup(s.prog, s.setup)) apply_setup(s);
    });
    bind(s, cmd::memory_setup, [&s] { run_memory_setup(s.prog); });
    bind(s, cmd::overall_settings, [&s] {
        if (run_overall_settings(s.prog, s.setup)) apply_setup(s);
    });
    for (int id : {cmd::midi_setup, cmd::memory_setup, cmd::overall_settings}) {
        command c = *s.commands.find(id);
        c.enabled = [&s] { return s.setup_dialogs; };
        s.commands.add(std::move(c));
    }
}

void dispatch_command(session& s, int id) {
    call(s.window.focus);
    if (!is_table_a(id) && s.editor_commands && s.editor_commands(id)) return;
    if (changes_song(id) && s.prog.refuse_while_recording()) return;
    if (is_file_command(id)) s.prog.wait_request(s.prog.d.thru_notes_off_request);
    s.commands.run(id);
    call(s.window.menus_changed);
}

int command_for_key(const session& s, const key_event& k) {
    for (const command& c : s.commands.all())
        if (!c.shortcut.empty() && shortcut_matches(c.shortcut, k)) return c.id;
    return 0;
}

namespace {

struct named_key {
    const char* name;
    key_code code;
};
constexpr named_key named_keys[] = {
    {"Left", key_code::left},     {"Right", key_code::right},         {"Up", key_code::up},
    {"Down", key_code::down},     {"Ins", key_code::insert},          {"Del", key_code::del},
    {"Backspace", key_code::backspace}, {"Esc", key_code::escape},    {"Enter", key_code::enter},
    {"Space", key_code::space},   {"Num+0", key_code::pad_0},         {"Num+Enter", key_code::pad_enter},
    {"Num+.", key_code::pad_dot}, {"Num+*", key_code::pad_star},      {"Num+/", key_code::pad_slash},
    {"Num++", key_code::pad_plus}, {"Num+-", key_code::pad_minus},
};

bool take_prefix(std::string_view& s, std::string_view prefix) {
    if (s.substr(0, prefix.size()) != prefix || s.size() == prefix.size()) return false;
    s.remove_prefix(prefix.size());
    return true;
}

}  // namespace

bool shortcut_matches(std::string_view s, const key_event& k) {
    key_mods m;
    for (bool more = true; more;) {
        more = false;
        if (take_prefix(s, "Ctrl+")) more = m.ctrl = true;
        if (take_prefix(s, "Shift+")) more = m.shift = true;
        if (take_prefix(s, "Alt+")) more = m.alt = true;
    }
    if (m.ctrl != k.mods.ctrl || m.shift != k.mods.shift || m.alt != k.mods.alt) return false;
    for (const named_key& n : named_keys)
        if (s == n.name) return k.code == n.code;
    if (s.size() >= 2 && s[0] == 'F' && std::isdigit(static_cast<unsigned char>(s[1]))) {
        const int f = std::atoi(std::string(s.substr(1)).c_str());
        return f >= 1 && f <= 12 && k.code == static_cast<key_code>(static_cast<int>(key_code::f1) + f - 1);
    }
    return s.size() == 1 && k.code == key_code::character && k.character == s[0];
}

std::string recent_file_item_text(int index, const std::string& path) {
    return "&" + std::to_string(index + 1) + " " + path;
}

}  // namespace kestrune
