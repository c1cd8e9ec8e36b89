#include "editors/editor_commands.h"

#include "core/command_ids.h"

namespace kestrune {

void add_editor_commands(command_table& table) {
    // The editors still to come: greyed in the Windows menu and on the buttons until their
    // records have run functions.
    const struct {
        int id;
        const char* text;
        const char* shortcut;
    } planned[] = {
        {cmd::event_button, "Event", ""},
        {cmd::grid_button, "Grid", ""},
        {cmd::event_editor, "&Event Editor", "E"},
        {cmd::grid_editor, "&Grid Editor", "G"},
        {cmd::tempo_track_editor, "&Tempo Track Editor", "Shift+T"},
        {cmd::signature_track_editor, "&Signature Track Editor", "Shift+W"},
        {cmd::select_notes_first + 0, "&All", ""},
        {cmd::select_notes_first + 1, "&Toggle", ""},
        {cmd::select_notes_first + 2, "&Equal Pitch", ""},
        {cmd::select_notes_first + 3, "&Lower/Same Pitch", ""},
        {cmd::select_notes_first + 4, "&Following", ""},
    };
    for (const auto& c : planned)
        table.add({.id = c.id, .text = c.text, .shortcut = c.shortcut, .views = every_view});
}

}  // namespace kestrune
