#include "editors/grid/grid_commands.h"

#include "core/command_ids.h"
#include "editors/grid/grid_notes.h"
#include "services/help_pages.h"

namespace kestrune {

namespace {

bool grid_open(const program& p) { return p.editor.kind == editor_kind::grid; }

// A button that stays down while its switch is on.
command_record grid_switch(int id, const char* text, std::function<bool(const program&)> on,
                           std::function<void(program&, bool)> set) {
    return {.id = id, .text = text, .views = {.main_screen = false, .editor = true},
            .help = std::string(help_page::grid_editor),
            .enabled = grid_open,
            .checked = on,
            .run = [on, set](program& p, const field_values&) {
                set(p, !on(p));
                return outcome::done;
            }};
}

}  // namespace

void add_grid_commands(command_table& table) {
    table.add(grid_switch(
        cmd::snap_to_grid, "Snap", [](const program& p) { return p.song.snap_to_grid != 0; },
        [](program& p, bool on) { p.song.snap_to_grid = on ? 1 : 0; }));
    table.add(grid_switch(
        cmd::hide_groove, "Hide Groove", [](const program& p) { return p.editor.grid.hide_groove; },
        [](program& p, bool on) { p.editor.grid.hide_groove = on; }));
    static const char* const items[select_notes_items] = {"&All", "&Toggle", "&Equal Pitch", "&Lower/Same Pitch",
                                                          "&Following"};
    for (int i = 0; i < select_notes_items; ++i)
        table.add({.id = cmd::select_notes_first + i, .text = items[i], .views = every_view,
                   .help = std::string(help_page::grid_editor), .enabled = grid_open,
                   .run = [i](program& p, const field_values&) { return select_notes(p, i); }});
}

}  // namespace kestrune
