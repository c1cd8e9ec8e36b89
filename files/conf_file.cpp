#include "files/conf_file.h"

#include <cstdio>
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

bool write_conf_file(const std::string& path, const conf_values& values) {
    const std::string temp = path + ".new";
    {
        std::ofstream out(temp, std::ios::trunc);
        for (const auto& [key, value] : values) out << key << '=' << value << '\n';
        if (!out.flush()) {
            std::remove(temp.c_str());
            return false;
        }
    }
    if (std::rename(temp.c_str(), path.c_str()) == 0) return true;
    std::remove(temp.c_str());
    return false;
}

conf_values load_conf_file(const std::string& name) {
    if (auto v = read_conf_file(settings_folder().folder + name)) return *v;
    return read_conf_file(program_folder_path(name)).value_or(conf_values{});
}

}  // namespace kestrune
