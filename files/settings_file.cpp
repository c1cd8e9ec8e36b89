#include "files/settings_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "files/conf_file.h"
#include "files/file_buffer.h"
#include "files/packed_fields.h"

namespace kestrune {

namespace {

// A NUL-terminated text of at most `limit` bytes with its NUL; false when it runs longer or the
// file ends first.
bool read_text(file_buffer& f, std::size_t limit, std::string& out) {
    out.clear();
    for (std::size_t n = 0; n < limit; ++n) {
        char c = 0;
        f.get(c);
        if (f.past_end()) return false;
        if (c == 0) return true;
        out += c;
    }
    return false;
}

void write_text(file_buffer& f, const std::string& s, std::size_t limit) {
    // A text the reader could not take back is cut to what fits.
    const std::size_t n = std::min(s.size(), limit - 1);
    f.file_put(s.data(), n);
    const char nul = 0;
    f.put(nul);
}

bool make_folder(const std::string& path) {
    if (::mkdir(path.c_str(), 0777) == 0) return true;
    struct stat st {};
    return errno == EEXIST && ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace

namespace {

constexpr const char* not_settings = "Not a settings file";
constexpr const char* damaged = "The file is damaged";

// Everything after the magic; false when the file ends early, holds an over-long text or does
// not end with the magic right after the licence.
bool read_fields(file_buffer& f, const settings_file_head& h, user_settings& s) {
    std::copy(std::begin(h.midi_out_device), std::end(h.midi_out_device),
              s.midi_out_device.begin());
    s.midi_in_device = h.midi_in_device;
    s.memory_units = held<std::int16_t>(h.memory_units, 1, max_memory_units);
    for (int port = 0; port < 4; ++port)
        std::copy(std::begin(h.show_patch_names[port]), std::end(h.show_patch_names[port]),
                  s.show_patch_names[static_cast<std::size_t>(port)].begin());
    s.timer_resolution = held<std::int32_t>(h.timer_resolution, 1, 20);
    s.window_left = h.window_left;
    s.window_top = h.window_top;
    s.window_width = h.window_width;
    s.window_height = h.window_height;
    s.simple_bardisplay = h.simple_bardisplay;
    s.click_always = h.click_always;
    s.midi_click = h.midi_click;
    s.sync_out = h.sync_out;
    s.actual_position = h.actual_position;
    s.two_bar_count_in = h.two_bar_count_in;
    s.chase_events = h.chase_events;
    s.reset_on_stop = h.reset_on_stop;
    s.mixer_define_controller = at_most<std::uint8_t>(h.mixer_define_controller, 127);
    for (int i = 0; i < recent_file_count; ++i) {
        std::string r;
        if (!read_text(f, recent_slot_bytes, r)) return false;
        if (!r.empty()) s.recent_files.push_back(r);
    }
    settings_file_middle m{};
    f.get(m);
    if (f.past_end()) return false;
    s.zoom_index = m.zoom_index;
    s.show_clock = m.show_clock;
    s.allow_double_clicks = m.allow_double_clicks;
    s.remember_file_paths = m.remember_file_paths;
    std::copy(std::begin(m.sync_out_ports), std::end(m.sync_out_ports), s.sync_out_ports.begin());
    s.sync_delay_value = held<std::int8_t>(m.sync_delay, -7, 7);
    s.spp_offset = held<std::int16_t>(m.spp_offset, 1, 8);
    for (std::string& folder : s.folders)
        if (!read_text(f, folder_bytes, folder)) return false;
    if (!read_text(f, licence_bytes, s.licence)) return false;
    // The closing magic ends the file: a file cut short or grown is not taken.
    std::uint32_t closing = 0;
    f.get(closing);
    return !f.past_end() && closing == settings_magic && f.remaining() == 0;
}

void write_fields(file_buffer& f, const user_settings& s) {
    settings_file_head h{};
    h.magic = settings_magic;
    std::copy(s.midi_out_device.begin(), s.midi_out_device.end(), h.midi_out_device);
    h.midi_in_device = s.midi_in_device;
    h.memory_units = s.memory_units;
    for (int port = 0; port < 4; ++port)
        std::copy(s.show_patch_names[static_cast<std::size_t>(port)].begin(),
                  s.show_patch_names[static_cast<std::size_t>(port)].end(),
                  h.show_patch_names[port]);
    h.timer_resolution = s.timer_resolution;
    h.window_left = s.window_left;
    h.window_top = s.window_top;
    h.window_width = s.window_width;
    h.window_height = s.window_height;
    h.simple_bardisplay = s.simple_bardisplay;
    h.click_always = s.click_always;
    h.midi_click = s.midi_click;
    h.sync_out = s.sync_out;
    h.actual_position = s.actual_position;
    h.two_bar_count_in = s.two_bar_count_in;
    h.chase_events = s.chase_events;
    h.reset_on_stop = s.reset_on_stop;
    h.mixer_define_controller = s.mixer_define_controller;
    f.put(h);
    for (int i = 0; i < recent_file_count; ++i)
        write_text(f,
                   i < static_cast<int>(s.recent_files.size())
                       ? s.recent_files[static_cast<std::size_t>(i)]
                       : std::string(),
                   recent_slot_bytes);
    settings_file_middle m{};
    m.zoom_index = s.zoom_index;
    m.show_clock = s.show_clock;
    m.allow_double_clicks = s.allow_double_clicks;
    m.remember_file_paths = s.remember_file_paths;
    std::copy(s.sync_out_ports.begin(), s.sync_out_ports.end(), m.sync_out_ports);
    m.sync_delay = s.sync_delay_value;
    m.spp_offset = s.spp_offset;
    f.put(m);
    for (const std::string& folder : s.folders) write_text(f, folder, folder_bytes);
    write_text(f, s.licence, licence_bytes);
    f.put(settings_magic);
}

}  // namespace

settings_read read_settings_file(const std::string& path, user_settings& out, std::string* why) {
    const auto broken = [&](const std::string& reason) {
        if (why) *why = reason;
        return settings_read::broken;
    };
    file_buffer f;
    if (!f.open_read(path)) {
        if (f.not_found()) return settings_read::missing;
        return broken(f.failure_reason());
    }
    settings_file_head h{};
    f.get(h);
    if (f.past_end() || h.magic != settings_magic) return broken(not_settings);
    user_settings s;
    if (!read_fields(f, h, s)) return broken(damaged);
    out = std::move(s);
    return settings_read::loaded;
}

bool write_settings_file(const std::string& path, const user_settings& s, std::string* why) {
    file_buffer f;
    if (f.create(path)) {
        write_fields(f, s);
        if (f.finish()) return true;
    }
    if (why) *why = path + ": " + f.failure_reason();
    return false;
}

std::string program_folder_path(const std::string& name) {
    char buf[4096];
    ssize_t n = ::readlink("/proc/self/exe", buf, sizeof buf - 1);
    std::string folder;
    if (n > 0) {
        folder.assign(buf, static_cast<std::size_t>(n));
        folder.erase(folder.find_last_of('/') + 1);
    }
    std::string path = folder + name;
    if (path.size() >= sizeof buf) return folder + "?";
    return path;
}

std::string data_path_from(const std::string& program_folder, const std::string& name) {
    const std::string beside = program_folder + name;
    if (::access(beside.c_str(), F_OK) == 0) return beside;
    const std::string installed = program_folder + "../share/kestrune/" + name;
    return ::access(installed.c_str(), F_OK) == 0 ? installed : beside;
}

std::string program_data_path(const std::string& name) {
    return data_path_from(program_folder_path(""), name);
}

settings_place settings_folder() {
    const std::string place = std::string("/") + maker_name + "/" + product_name;
    std::string base;
    const char* xdg = std::getenv("XDG_CONFIG_HOME");
    const char* home = std::getenv("HOME");
    if (xdg && xdg[0] == '/')
        base = xdg;
    else if (home && home[0] == '/')
        base = std::string(home) + "/.config";
    else
        return {{}, "~/.config" + place + " (HOME is not set)"};
    const std::string wanted = base + place;
    // Each level is made if need be and accepted if it is already there.
    for (std::size_t at = 1; (at = wanted.find('/', at)) != std::string::npos; ++at)
        make_folder(wanted.substr(0, at));
    if (!make_folder(wanted) || ::access(wanted.c_str(), W_OK | X_OK) != 0) return {{}, wanted};
    return {wanted + "/", wanted};
}

void apply_settings(program& p, const user_settings& s, file_state& fs) {
    dll_data& d = p.d;
    for (int i = 0; i < 4; ++i)
        d.midi_out_device[i] = s.midi_out_device[static_cast<std::size_t>(i)];
    d.midi_in_device = s.midi_in_device;
    p.eng.choose_devices_by_name(s.devices);
    d.memory_units = s.memory_units;
    d.timer_resolution = s.timer_resolution;
    d.click_always = s.click_always;
    d.midi_click = s.midi_click;
    d.sync_out = s.sync_out;
    d.mixer_define_controller = s.mixer_define_controller;
    std::copy(s.sync_out_ports.begin(), s.sync_out_ports.end(), d.sync_out_ports);
    p.app.simple_bardisplay = s.simple_bardisplay != 0;
    p.app.chase_events = s.chase_events != 0;
    p.app.clock_field_on = s.show_clock != 0;
    fs.recent_files = s.recent_files;
    fs.remember_file_paths = s.remember_file_paths != 0;
    // Until a folder is remembered the file dialogs open in the user's home, never among the
    // program's own files.
    const char* home = std::getenv("HOME");
    const std::string start = home && *home ? std::string(home) + "/" : program_folder_path("");
    for (std::size_t i = 0; i < 4; ++i) fs.folders[i] = s.folders[i].empty() ? start : s.folders[i];
}

void gather_settings(const program& p, user_settings& s, const file_state& fs) {
    const dll_data& d = p.d;
    for (int i = 0; i < 4; ++i)
        s.midi_out_device[static_cast<std::size_t>(i)] = d.midi_out_device[i];
    s.midi_in_device = d.midi_in_device;
    s.devices = p.eng.chosen_devices();
    s.memory_units = d.memory_units;
    s.timer_resolution = d.timer_resolution;
    s.click_always = d.click_always;
    s.midi_click = d.midi_click;
    s.sync_out = d.sync_out;
    s.mixer_define_controller = d.mixer_define_controller;
    std::copy(std::begin(d.sync_out_ports), std::end(d.sync_out_ports), s.sync_out_ports.begin());
    s.simple_bardisplay = p.app.simple_bardisplay;
    s.chase_events = p.app.chase_events;
    s.show_clock = p.app.clock_field_on;
    s.recent_files = fs.recent_files;
    if (s.recent_files.size() > recent_file_count) s.recent_files.resize(recent_file_count);
    s.remember_file_paths = fs.remember_file_paths;
    s.folders = fs.folders;
}

namespace {

// Once, on the screen: which file could not be read and why; whether it is kept aside.
void report_unreadable(program& p, const std::string& path, const std::string& why,
                       bool set_aside) {
    std::string text = std::string(msg_settings_unreadable) + "\n" + path + ": " + why + "\n" +
                       msg_settings_defaults;
    if (set_aside)
        text += std::string(" ") + msg_settings_kept_as + settings_file_name +
                broken_settings_suffix + ".";
    p.message(text);
}

// Moves a broken per-user file out of the way of the next write.
bool set_aside_broken_file(user_settings& s, std::string& why) {
    if (s.broken_file.empty()) return true;
    const std::string kept = s.broken_file + broken_settings_suffix;
    if (std::rename(s.broken_file.c_str(), kept.c_str()) != 0 && errno != ENOENT) {
        why = kept + ": " + std::strerror(errno);
        return false;
    }
    s.broken_file.clear();
    return true;
}

}  // namespace

namespace {

constexpr const char* device_keys[] = {"port_a", "port_b", "port_c", "port_d"};
constexpr const char* input_key = "input";

device_names device_names_from(const conf_values& v) {
    auto value = [&v](const char* key) {
        const auto at = v.find(key);
        return at == v.end() ? std::string() : at->second;
    };
    device_names n;
    for (std::size_t p = 0; p < n.outputs.size(); ++p) n.outputs[p] = value(device_keys[p]);
    n.input = value(input_key);
    return n;
}

conf_values device_names_conf(const device_names& n) {
    conf_values v{{input_key, n.input}};
    for (std::size_t p = 0; p < n.outputs.size(); ++p) v[device_keys[p]] = n.outputs[p];
    return v;
}

}  // namespace

void load_settings(program& p, user_settings& s, file_state& fs) {
    // The file in the per-user folder counts; the one beside the program is read only when
    // there is none. One that cannot be read leaves the defaults.
    const settings_place place = settings_folder();
    if (place.folder.empty())
        p.message(msg_settings_not_kept + place.wanted + msg_settings_lost);
    const std::string user_file = place.folder + settings_file_name;
    std::string why;
    const settings_read r =
        place.folder.empty() ? settings_read::missing : read_settings_file(user_file, s, &why);
    if (r == settings_read::broken) {
        report_unreadable(p, user_file, why, true);
        s.broken_file = user_file;
    } else if (r == settings_read::missing) {
        const std::string beside = program_folder_path(settings_file_name);
        if (read_settings_file(beside, s, &why) == settings_read::broken)
            report_unreadable(p, beside, why, false);
    }
    s.devices = device_names_from(load_conf_file(device_settings_file_name));
    apply_settings(p, s, fs);
}

bool save_settings(program& p, user_settings& s, const file_state& fs) {
    gather_settings(p, s, fs);
    const settings_place place = settings_folder();
    if (place.folder.empty()) return false;  // said at start-up
    std::string why;
    // The device names are a help beside the numbers: a failure to keep them goes unsaid.
    write_conf_file(place.folder + device_settings_file_name, device_names_conf(s.devices));
    if (set_aside_broken_file(s, why) &&
        write_settings_file(place.folder + settings_file_name, s, &why))
        return true;
    p.message(std::string(msg_settings_not_saved) + "\n" + why, msg_icon::stop);
    return false;
}

}  // namespace kestrune
