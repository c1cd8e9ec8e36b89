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
    for (command_record& c : measures_commands()) table.add(std::move(c));
    for (command_record& c : speed_commands()) table.add(std::move(c));
    for (command_record& c : segment_commands()) table.add(std::move(c));
    for (command_record& c : std::vector<command_record>{
             modify_track_command(),
             copy_track_command(),
             copy_pattern_command(),
             push_track_command(),
             mirror_pitches_command(),
             reverse_pitches_command(),
             check_track_command(),
             check_note_overlap_command(),
             change_note_length_command(),
             freeze_track_command(),
             mixdown_command(),
             planned(cmd::remix_by_note, "Remix Track By &Note Number", "Ctrl+Shift+R", help_page::remix),
             planned(cmd::remix_by_channel, "Remix Track By &Channel", "Shift+R", help_page::remix),
         })
        table.add(std::move(c));
}

}  // namespace kestrune
