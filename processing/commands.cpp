#include "processing/commands.h"

#include "core/command_ids.h"

namespace kestrune {

void add_processing_commands(command_table& table) {
    for (command_record& c : quantize_commands()) table.add(std::move(c));
    table.add(undo_command_record());
    for (command_record& c : event_commands()) table.add(std::move(c));
    for (command_record& c : measures_commands()) table.add(std::move(c));
    for (command_record& c : speed_commands()) table.add(std::move(c));
    for (command_record& c : segment_commands()) table.add(std::move(c));
    for (command_record& c : remix_commands()) table.add(std::move(c));
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
         })
        table.add(std::move(c));
}

}  // namespace kestrune
