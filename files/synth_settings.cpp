#include "files/synth_settings.h"

#include <cstdio>
#include <fstream>

#include "files/settings_file.h"

namespace kestrune {

namespace {

constexpr const char* soundfont_key = "soundfont";

}  // namespace

bool read_synth_settings(const std::string& path, synth_settings& out) {
    std::ifstream in(path);
    if (!in) return false;
    synth_settings s;
    std::string line;
    while (std::getline(in, line)) {
        const std::size_t eq = line.find('=');
        if (eq == std::string::npos) continue;
        if (line.compare(0, eq, soundfont_key) == 0) s.soundfont = line.substr(eq + 1);
    }
    out = s;
    return true;
}

bool write_synth_settings(const std::string& path, const synth_settings& s) {
    const std::string temp = path + ".new";
    {
        std::ofstream out(temp, std::ios::trunc);
        out << soundfont_key << '=' << s.soundfont << '\n';
        if (!out.flush()) {
            std::remove(temp.c_str());
            return false;
        }
    }
    if (std::rename(temp.c_str(), path.c_str()) == 0) return true;
    std::remove(temp.c_str());
    return false;
}

synth_settings load_synth_settings() {
    synth_settings s;
    if (!read_synth_settings(settings_folder().folder + synth_settings_file_name, s))
        read_synth_settings(program_folder_path(synth_settings_file_name), s);
    return s;
}

bool save_synth_settings(const synth_settings& s) {
    const std::string folder = settings_folder().folder;
    return !folder.empty() && write_synth_settings(folder + synth_settings_file_name, s);
}

}  // namespace kestrune
