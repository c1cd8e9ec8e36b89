// Every dialog of the program: each command record's, and the setup dialogs of their own.
#pragma once

#include <memory>
#include <vector>

#include "core/command_table.h"
#include "shell/dialogs/command_dialog.h"
#include "shell/dialogs/setup_dialog_views.h"

namespace kestrune::testing {

struct every_dialog {
    std::vector<field_values> values;  // what the record dialogs show and set
    std::vector<std::unique_ptr<dialog>> dialogs;

    every_dialog(program& p, const command_table& table, setup_settings& setup) {
        values.reserve(table.all().size());
        for (const command_record& c : table.all())
            if (!c.dialog.title.empty())
                dialogs.push_back(std::make_unique<command_dialog>(p, c, values.emplace_back(initial_values(p, c))));
        dialogs.push_back(std::make_unique<midi_setup_view>(p, setup));
        dialogs.push_back(std::make_unique<memory_setup_view>(p));
        dialogs.push_back(std::make_unique<overall_settings_view>(p, setup));
    }
};

}  // namespace kestrune::testing
