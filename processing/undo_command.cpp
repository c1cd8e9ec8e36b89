// Undo as a command: the menu item, Ctrl+Z and the main window's button. What it does depends on
// the view it is given in.
#include "core/command_ids.h"
#include "processing/commands.h"
#include "processing/undo.h"
#include "services/help_pages.h"

namespace kestrune {

command_record undo_command_record() {
    return {
        .id = cmd::undo,
        .text = "&Undo",
        .shortcut = "Ctrl+Z",
        .views = every_view,
        .changes_song = true,
        .help = std::string(help_page::undo),
        .run = [](program& p, const field_values&) {
            return undo_command(p, current_context(p)) ? outcome::done : outcome::refused;
        },
    };
}

}  // namespace kestrune
