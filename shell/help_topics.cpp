#include "shell/help_topics.h"

#include "services/help_pages.h"
#include "shell/command_ids.h"

namespace kestrune {

namespace {

struct command_page {
    int first;
    int last;
    std::string_view page;
};

// Ranges of command numbers and their pages, searched in order.
constexpr command_page pages[] = {
    {cmd::help_index, cmd::help_index, help_page::index},
    {cmd::tutorial, cmd::tutorial, help_page::tutorial},
    {cmd::key_commands_help, cmd::key_commands_help, help_page::key_commands},
    {cmd::check_for_updates, cmd::check_for_updates, help_page::update_check},
    {cmd::version_history, cmd::version_history, help_page::index},
    {cmd::about, cmd::about, help_page::index},
    {cmd::grid_button, cmd::grid_button, help_page::grid_editor},
    {cmd::event_button, cmd::event_button, help_page::event_editor},
    {cmd::solo_button, cmd::signature_track_button, help_page::transport},
    {cmd::cycle_button, cmd::punch_button, help_page::recording},
    {cmd::undo_button, cmd::undo_button, help_page::undo},
    {cmd::mixer_button, cmd::mixer_button, help_page::mixer},
    {cmd::mixer_program_first, cmd::gm_drum_last, help_page::mixer},
    {cmd::load_song, cmd::save_song, help_page::files},
    {cmd::load_midi_file, cmd::save_midi_file, help_page::midi_files},
    {cmd::load_pattern, cmd::save_track, help_page::pattern_track_files},
    {cmd::load_syx_file, cmd::load_syx_file, help_page::sysex_text_editing},
    {cmd::export_audio, cmd::export_audio, help_page::export_audio},
    {cmd::clear_song, cmd::clear_song, help_page::files},
    {cmd::modify_track, cmd::modify_track, help_page::modify_track},
    {cmd::copy_track, cmd::copy_track, help_page::copy_track},
    {cmd::copy_pattern, cmd::copy_pattern, help_page::copy_pattern},
    {cmd::push_track, cmd::push_track, help_page::push_track},
    {cmd::delete_events, cmd::delete_events, help_page::delete_events},
    {cmd::keep_events, cmd::keep_events, help_page::keep_events},
    {cmd::transform_events, cmd::transform_events, help_page::transform_events},
    {cmd::undo, cmd::undo, help_page::undo},
    {cmd::mirror_pitches, cmd::mirror_pitches, help_page::mirror_pitches},
    {cmd::reverse_pitches, cmd::reverse_pitches, help_page::reverse_pitches},
    {cmd::copy_pattern_segment, cmd::copy_pattern_segment, help_page::copy_pattern_segment},
    {cmd::copy_track_segment, cmd::copy_track_segment, help_page::copy_track_segment},
    {cmd::change_speed, cmd::half_speed, help_page::change_speed},
    {cmd::midi_setup, cmd::midi_setup, help_page::midi_setup},
    {cmd::check_track, cmd::check_track, help_page::check_track},
    {cmd::check_note_overlap, cmd::check_note_overlap, help_page::check_note_overlap},
    {cmd::change_note_length, cmd::change_note_length, help_page::change_note_length},
    {cmd::freeze_quantize, cmd::freeze_track_parameters, help_page::freeze},
    {cmd::insert_measures, cmd::delete_measures, help_page::insert_delete_measures},
    {cmd::mixdown, cmd::mixdown, help_page::mixdown},
    {cmd::remix_by_note, cmd::remix_by_channel, help_page::remix},
    {cmd::memory_setup, cmd::memory_setup, help_page::memory_setup},
    {cmd::overall_settings, cmd::overall_settings, help_page::overall_settings},
    {cmd::quantize_settings, cmd::quantize_settings, help_page::quantize_settings},
    {cmd::tempo_track_editor, cmd::signature_track_editor, help_page::tempo_signature_editors},
    {cmd::internal_recording, cmd::internal_recording, help_page::internal_recording},
    {cmd::full_volume, cmd::full_volume, help_page::preferences},
    {cmd::note_pad, cmd::note_pad, help_page::note_pad},
    {cmd::sync_internal, cmd::sync_external, help_page::synchronization},
    {cmd::event_editor, cmd::event_editor, help_page::event_editor},
    {cmd::grid_editor, cmd::select_notes_last, help_page::grid_editor},
    {cmd::zoom_first, cmd::zoom_last, help_page::zoom},
    {cmd::midi_click, cmd::remember_file_paths, help_page::preferences},
    {cmd::quantize_popup_first, cmd::quantize_popup_last, help_page::quantize_settings},
    {cmd::play, cmd::panic, help_page::transport},
    {cmd::memory_position_first, cmd::store_locators_first + cmd::memory_keys - 1,
     help_page::locators},
};

}  // namespace

std::string_view help_page_of_command(int id) {
    for (const command_page& p : pages)
        if (id >= p.first && id <= p.last) return p.page;
    return help_page::main_window;
}

}  // namespace kestrune
