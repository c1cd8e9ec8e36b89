#include "shell/main_commands.h"

#include "core/command_ids.h"
#include "editors/editor_commands.h"
#include "mixer/mixer_commands.h"
#include "processing/commands.h"
#include "services/help_pages.h"
#include "shell/file_commands.h"
#include "shell/startup.h"

namespace kestrune {

namespace {

std::vector<menu_item> items(std::initializer_list<int> ids) {
    std::vector<menu_item> v;
    for (int id : ids) v.push_back({id, {}, {}});
    return v;
}

menu_item submenu(std::string title, std::vector<menu_item> within) {
    return {menu_separator, std::move(title), std::move(within)};
}

std::vector<menu_item> windows_menu() {
    auto v = items({cmd::event_editor, cmd::grid_editor, cmd::tempo_track_editor,
                    cmd::signature_track_editor, menu_separator});
    std::vector<menu_item> notes;
    for (int id = cmd::select_notes_first; id <= cmd::select_notes_last; ++id) notes.push_back({id, {}, {}});
    v.push_back(submenu("Select &Notes", notes));
    v.push_back({cmd::note_pad, {}, {}});
    return v;
}

std::vector<menu_item> options_menu() {
    auto v = items({cmd::midi_setup, cmd::memory_setup, cmd::overall_settings,
                    cmd::quantize_settings, cmd::internal_recording, menu_separator});
    v.push_back(submenu("S&ynchronization", items({cmd::sync_internal, cmd::sync_external})));
    for (const menu_item& i :
         items({cmd::full_volume, menu_separator, cmd::midi_click, cmd::click_always,
                cmd::clock_spp_out, cmd::reset_on_stop, cmd::actual_position, cmd::two_bar_count_in,
                cmd::chase_events, cmd::simple_bardisplay, cmd::show_real_time_clock,
                cmd::allow_double_clicks, cmd::remember_file_paths, menu_separator}))
        v.push_back(i);
    std::vector<menu_item> zooms;
    for (int z = cmd::zoom_first; z <= cmd::zoom_last; ++z) zooms.push_back({z, {}, {}});
    v.push_back(submenu("&Zoom", zooms));
    v.push_back({cmd::default_window, {}, {}});
    return v;
}

}  // namespace

const std::vector<menu>& main_menus() {
    static const std::vector<menu> menus = {
        {"&File", items({cmd::clear_song, 0, cmd::load_song, cmd::save_song, 0, cmd::load_pattern,
                         cmd::save_pattern, cmd::load_track, cmd::save_track, 0, cmd::load_midi_file,
                         cmd::save_midi_file, cmd::load_syx_file, cmd::export_audio, 0,
                         cmd::recent_file_first, 0, cmd::quit})},
        {"F&unctions",
         items({cmd::modify_track, 0, cmd::copy_track, cmd::copy_pattern, cmd::copy_track_segment,
                cmd::copy_pattern_segment, 0, cmd::delete_events, cmd::keep_events,
                cmd::transform_events, 0, cmd::push_track, cmd::mirror_pitches,
                cmd::reverse_pitches, cmd::change_speed, cmd::double_speed, cmd::half_speed, 0,
                cmd::undo})},
        {"E&xtra", items({cmd::check_track, cmd::check_note_overlap, cmd::change_note_length, 0,
                          cmd::freeze_quantize, cmd::freeze_track_parameters, 0,
                          cmd::insert_measures, cmd::delete_measures, 0, cmd::mixdown,
                          cmd::remix_by_channel, cmd::remix_by_note})},
        {"&Windows", windows_menu()},
        {"&Options", options_menu()},
        {"&Help", items({cmd::help_index, cmd::key_commands_help, cmd::tutorial,
                         cmd::version_history, 0, cmd::check_for_updates, 0, cmd::about})},
    };
    return menus;
}

void add_program_commands(command_table& table) {
    add_processing_commands(table);
    add_editor_commands(table);
    add_mixer_commands(table);
    table.add(note_pad_command());
}

void add_main_commands(session& s) {
    add_program_commands(s.commands);
    add_file_commands(s);
    add_window_commands(s);
}

std::string_view command_help_page(const command_table& table, int id) {
    const command_record* c = table.find(id);
    return c && !c->help.empty() ? std::string_view(c->help) : help_page::main_window;
}

std::string recent_file_item_text(int index, const std::string& path) {
    return "&" + std::to_string(index + 1) + " " + path;
}

}  // namespace kestrune
