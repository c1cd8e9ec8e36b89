#include "processing/commands.h"

#include "core/command_ids.h"
#include "services/help_pages.h"

namespace kestrune {

namespace {

// A track function still to come: in its menu with its text and key, greyed until its record
// has a run function. Replace the line with the record.
command_record planned(int id, const char* text, const char* shortcut, std::string_view help) {
    return {.id = id, .text = text, .shortcut = shortcut, .changes_song = true, .help = std::string(help)};
}

}  // namespace

void add_processing_commands(command_table& table) {
    for (command_record& c : quantize_commands()) table.add(std::move(c));
    table.add(undo_command_record());
    for (command_record& c : event_commands()) table.add(std::move(c));
    for (command_record& c : std::vector<command_record>{
             modify_track_command(),
             planned(cmd::copy_track, "&Copy Track...", "Shift+C", help_page::copy_track),
             planned(cmd::copy_pattern, "Copy &Pattern...", "Shift+Y", help_page::copy_pattern),
             planned(cmd::copy_track_segment, "Copy Track &Segment...", "Shift+X", help_page::copy_track_segment),
             planned(cmd::copy_pattern_segment, "Copy Pattern Se&gment...", "Shift+H", help_page::copy_pattern_segment),
             planned(cmd::push_track, "P&ush Track...", "Shift+P", help_page::push_track),
             planned(cmd::mirror_pitches, "&Mirror Pitches...", "Shift+V", help_page::mirror_pitches),
             planned(cmd::reverse_pitches, "&Reverse Pitches", "Shift+Z", help_page::reverse_pitches),
             planned(cmd::change_speed, "&User Defined Speed...", "Shift+O", help_page::change_speed),
             planned(cmd::double_speed, "D&ouble Speed", "Shift+K", help_page::change_speed),
             planned(cmd::half_speed, "&Half Speed", "Shift+J", help_page::change_speed),
             check_track_command(),
             check_note_overlap_command(),
             change_note_length_command(),
             freeze_track_command(),
             planned(cmd::insert_measures, "&Insert Measures...", "Shift+I", help_page::insert_delete_measures),
             planned(cmd::delete_measures, "&Delete Measures...", "Shift+D", help_page::insert_delete_measures),
             planned(cmd::mixdown, "&Mixdown 32 Tracks", "Shift+M", help_page::mixdown),
             planned(cmd::remix_by_note, "Remix Track By &Note Number", "Ctrl+Shift+R", help_page::remix),
             planned(cmd::remix_by_channel, "Remix Track By &Channel", "Shift+R", help_page::remix),
         })
        table.add(std::move(c));
}

}  // namespace kestrune
