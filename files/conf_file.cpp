#include "files/conf_file.h"

#include <fstream>

#include "files/settings_file.h"

namespace kestrune {

std::optional<conf_values> read_conf_file(const std::string& path) {
    std::ifstream in(path);
    if (!in) return std::nullopt;
    conf_values values;
    std::string line;
    while (std::getline(in, line)) {
        const std::size_t eq = line.find('=');
        if (eq != std::string::npos) values[line.substr(0, eq)] = line.substr(eq + 1);
    }
    return values;
}

conf_values load_conf_file(const std::string& name) {
    if (auto v = read_conf_file(settings_folder().folder + name)) return *v;
    return read_conf_file(program_folder_path(name)).value_or(conf_values{});
}

}  // namespace kestrune
