#include "editors/editor_commands.h"

#include "core/command_ids.h"
#include "editors/frame/editor_frame.h"
#include "editors/grid/grid_commands.h"
#include "editors/list/list_commands.h"
#include "editors/tempo/tempo_process.h"
#include "services/help_pages.h"

namespace kestrune {

namespace {

// The commands that open an editor, and leave it when it is the one open.
command_record opener(int id, const char* text, const char* shortcut, editor_kind kind,
                      std::string_view help) {
    command_record r{.id = id, .text = text, .shortcut = shortcut, .views = {true, true, true},
                     .help = std::string(help),
                     .run = [kind](program& p, const field_values&) { return toggle_editor(p, kind); }};
    // The menu item reads "Leave &Event Editor" while its editor is open.
    if (shortcut[0] != 0)
        r.current_text = [kind, text = std::string(text)](const program& p) {
            return p.editor.kind == kind ? "Leave " + text : text;
        };
    return r;
}

}  // namespace

void add_editor_commands(command_table& table) {
    table.add(opener(cmd::event_button, "Event", "", editor_kind::event_list, help_page::event_editor));
    table.add(opener(cmd::event_editor, "&Event Editor", "E", editor_kind::event_list,
                     help_page::event_editor));
    table.add(opener(cmd::grid_button, "Grid", "", editor_kind::grid, help_page::grid_editor));
    table.add(opener(cmd::grid_editor, "&Grid Editor", "G", editor_kind::grid, help_page::grid_editor));
    table.add(opener(cmd::tempo_track_editor, "&Tempo Track Editor", "Shift+T", editor_kind::tempo_list,
                     help_page::tempo_signature_editors));
    table.add(opener(cmd::signature_track_editor, "&Signature Track Editor", "Shift+W",
                     editor_kind::signature_list, help_page::tempo_signature_editors));
    add_list_commands(table);
    add_grid_commands(table);
    table.add(process_tempo_command());
}

}  // namespace kestrune
