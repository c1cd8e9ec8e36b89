// Small text files of `key=value` lines beside the settings file, for what the binary settings
// file, whose layout stays exactly as it is, has no room for.
#pragma once

#include <map>
#include <optional>
#include <string>

namespace kestrune {

using conf_values = std::map<std::string, std::string>;

// Lines that are not of the form `key=value` are passed over. Nothing when the file cannot be read.
std::optional<conf_values> read_conf_file(const std::string& path);
// The per-user file of that name, else the one beside the program; empty when neither reads.
conf_values load_conf_file(const std::string& name);
// Through a temporary file in the same folder, renamed over the old one.
bool write_conf_file(const std::string& path, const conf_values& values);

}  // namespace kestrune
