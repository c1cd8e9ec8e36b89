#include "shell/command_table.h"

#include <algorithm>
#include <cctype>

namespace kestrune {

void command_table::add(command c) {
    auto it = std::find_if(commands_.begin(), commands_.end(),
                           [&](const command& k) { return k.id == c.id; });
    if (it != commands_.end())
        *it = std::move(c);
    else
        commands_.push_back(std::move(c));
}

const command* command_table::find(int id) const {
    for (const command& c : commands_)
        if (c.id == id) return &c;
    return nullptr;
}

static bool same_name(std::string_view a, std::string_view b) {
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
}

const command* command_table::find_by_name(std::string_view name) const {
    for (const command& c : commands_)
        if (same_name(command_name(c.text), name)) return &c;
    return nullptr;
}

bool command_table::is_enabled(int id) const {
    const command* c = find(id);
    return c && c->run && (!c->enabled || c->enabled());
}

bool command_table::run(int id) const {
    if (!is_enabled(id)) return false;
    find(id)->run();
    return true;
}

std::string command_name(std::string_view text) {
    text = text.substr(0, text.find('\t'));
    std::string out;
    for (char ch : text)
        if (ch != '&') out += ch;
    while (!out.empty() && (out.back() == '.' || out.back() == ' ')) out.pop_back();
    return out;
}

}  // namespace kestrune
