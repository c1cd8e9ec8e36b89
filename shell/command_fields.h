// The fields of a command's dialog as kestrune-tool apply sets them by name.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrune {

struct command_field {
    std::string name;  // the field's label in lower case with spaces as underscores
    std::string kind;  // what it takes: a range "0..100" or the choices "a|b|c"
    std::function<bool(std::string_view value)> set;  // false: a value the field does not take
};

// A command by the name apply gives it, with its dialog's fields. `command` gives the table id to
// run once the fields are set; 0 when setting the fields is all the dialog does.
struct field_command {
    std::string name;
    std::vector<command_field> fields;
    std::function<int()> command;
};

// A whole number in [low, high] from text, or false.
bool parse_field_number(std::string_view text, int low, int high, int& out);

}  // namespace kestrune
