#include "processing/commands.h"

#include "core/command_ids.h"

namespace kestrune {

namespace {

// A track function still to come: in its menu with its text and key, greyed until its record
// has a run function. Replace the line with the record.
command_record planned(int id, const char* text, const char* shortcut) {
    return {.id = id, .text = text, .shortcut = shortcut, .changes_song = true};
}

}  // namespace

void add_processing_commands(command_table& table) {
    for (command_record& c : quantize_commands()) table.add(std::move(c));
    table.add(undo_command_record());
    for (command_record& c : std::vector<command_record>{
             planned(cmd::modify_track, "&Modify Track...", ""),
             planned(cmd::copy_track, "&Copy Track...", "Shift+C"),
             planned(cmd::copy_pattern, "Copy &Pattern...", "Shift+Y"),
             planned(cmd::copy_track_segment, "Copy Track &Segment...", "Shift+X"),
             planned(cmd::copy_pattern_segment, "Copy Pattern Se&gment...", "Shift+H"),
             planned(cmd::push_track, "P&ush Track...", "Shift+P"),
             planned(cmd::delete_events, "&Delete Events...", "D"),
             planned(cmd::keep_events, "&Keep Events...", "K"),
             planned(cmd::transform_events, "&Transform Events...", "H"),
             planned(cmd::mirror_pitches, "&Mirror Pitches...", "Shift+V"),
             planned(cmd::reverse_pitches, "&Reverse Pitches", "Shift+Z"),
             planned(cmd::change_speed, "&User Defined Speed...", "Shift+O"),
             planned(cmd::double_speed, "D&ouble Speed", "Shift+K"),
             planned(cmd::half_speed, "&Half Speed", "Shift+J"),
             planned(cmd::check_track, "Check &Track", "X"),
             planned(cmd::check_note_overlap, "Check Note &Overlap", "O"),
             planned(cmd::change_note_length, "Change Note &Length...", "Shift+L"),
             planned(cmd::freeze_track_parameters, "Freeze &Track Parameters", "Shift+F"),
             planned(cmd::insert_measures, "&Insert Measures...", "Shift+I"),
             planned(cmd::delete_measures, "&Delete Measures...", "Shift+D"),
             planned(cmd::mixdown, "&Mixdown 32 Tracks", "Shift+M"),
             planned(cmd::remix_by_note, "Remix Track By &Note Number", "Ctrl+Shift+R"),
             planned(cmd::remix_by_channel, "Remix Track By &Channel", "Shift+R"),
         })
        table.add(std::move(c));
}

}  // namespace kestrune
