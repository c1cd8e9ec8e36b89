// The table of the program's commands, by number: what the menus, keys, buttons, pop-ups and
// kestrune-tool apply look commands up in.
#pragma once

#include <string_view>
#include <vector>

#include "core/command.h"
#include "core/keys.h"

namespace kestrune {

class command_table {
public:
    // Adds the record, or replaces the one with its number.
    void add(command_record c);
    const command_record* find(int id) const;
    command_record* find(int id);
    // By its name, without regard to case: "load song" finds "&Load Song...".
    const command_record* find_by_name(std::string_view name) const;
    const std::vector<command_record>& all() const { return commands_; }
    // The command that claims the key in the view the program shows, enabled or not; null when
    // no shortcut claims it.
    const command_record* for_key(const program& p, const key_event& k) const;

private:
    std::vector<command_record> commands_;
};

}  // namespace kestrune
