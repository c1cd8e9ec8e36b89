#include "files/synth_settings.h"

#include "files/conf_file.h"
#include "files/settings_file.h"

namespace kestrune {

namespace {

constexpr const char* soundfont_key = "soundfont";

}  // namespace

bool read_synth_settings(const std::string& path, synth_settings& out) {
    const auto values = read_conf_file(path);
    if (!values) return false;
    const auto soundfont = values->find(soundfont_key);
    out.soundfont = soundfont == values->end() ? std::string() : soundfont->second;
    return true;
}

bool write_synth_settings(const std::string& path, const synth_settings& s) {
    return write_conf_file(path, {{soundfont_key, s.soundfont}});
}

synth_settings load_synth_settings() {
    const conf_values values = load_conf_file(synth_settings_file_name);
    const auto soundfont = values.find(soundfont_key);
    return {soundfont == values.end() ? std::string() : soundfont->second};
}

bool save_synth_settings(const synth_settings& s) {
    const std::string folder = settings_folder().folder;
    return !folder.empty() && write_synth_settings(folder + synth_settings_file_name, s);
}

}  // namespace kestrune
