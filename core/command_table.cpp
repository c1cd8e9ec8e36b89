#include "core/command_table.h"

#include <algorithm>
#include <cctype>

namespace kestrune {

namespace {

bool same_name(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
}

}  // namespace

void command_table::add(command_record c) {
    if (command_record* old = find(c.id))
        *old = std::move(c);
    else
        commands_.push_back(std::move(c));
}

const command_record* command_table::find(int id) const {
    for (const command_record& c : commands_)
        if (c.id == id) return &c;
    return nullptr;
}

command_record* command_table::find(int id) {
    for (command_record& c : commands_)
        if (c.id == id) return &c;
    return nullptr;
}

const command_record* command_table::find_by_name(std::string_view name) const {
    for (const command_record& c : commands_)
        if (same_name(command_name(c.text), name)) return &c;
    return nullptr;
}

const command_record* command_table::for_key(const program& p, const key_event& k) const {
    const undo_context view = current_context(p);
    for (const command_record& c : commands_)
        if (!c.shortcut.empty() && c.views.has(view) && shortcut_matches(c.shortcut, k)) return &c;
    return nullptr;
}

}  // namespace kestrune
