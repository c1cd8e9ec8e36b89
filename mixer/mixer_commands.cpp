#include "mixer/mixer_commands.h"

#include "core/command_ids.h"
#include "services/help_pages.h"

namespace kestrune {

void add_mixer_commands(command_table& table) {
    // Greyed on its button and key until the mixer's record has a run function.
    table.add({.id = cmd::mixer_button, .text = "Mixer", .shortcut = "J", .views = every_view,
               .help = std::string(help_page::mixer)});
}

}  // namespace kestrune
