#include "files/file_state.h"

#include <algorithm>
#include <cctype>

#include "files/file_buffer.h"
#include "files/file_messages.h"

namespace kestrune {

namespace {

struct dialog_filter {
    const char* text;
    const char* patterns;
};

constexpr dialog_filter filters[] = {
    {"Song Files (*.sng)", "*.sng"},  {"MIDI Files (*.mid,*.kar)", "*.mid;*.kar"},
    {"MIDI Files (*.mid)", "*.mid"},  {"Pattern Files (*.pat)", "*.pat"},
    {"Track Files (*.trk)", "*.trk"}, {"Sysex Files (*.syx)", "*.syx"},
};

}  // namespace

bool set_file_dialog_extension(program& p, file_state& fs, int kind) {
    if (kind < 0 || kind >= static_cast<int>(std::size(filters))) {
        p.message(msg_dialog_kind, msg_icon::stop);
        return false;
    }
    const dialog_filter& f = filters[kind];
    fs.dialog_filter = std::string(f.text) + "|" + f.patterns + "|All Files (*.*)|*.*";
    return true;
}

file_dialog_request make_file_dialog(program& p, file_state& fs, int kind, const std::string& ext,
                                     const std::string& file_name, int folder) {
    set_file_dialog_extension(p, fs, kind);
    file_dialog_request r;
    r.filter = fs.dialog_filter;
    r.extension = ext;
    r.file_name = file_name;
    if (folder >= 0 && folder < 4 && fs.remember_file_paths)
        r.folder = fs.folders[static_cast<std::size_t>(folder)];
    return r;
}

namespace {

// A message's first line, then the file and the system's reason on a line of its own.
std::string with_reason(const char* text, const std::string& path, const file_buffer& f) {
    return std::string(text) + "\n" + path + ": " + f.failure_reason();
}

}  // namespace

bool create_for_save(program& p, file_buffer& f, const std::string& path) {
    if (f.create(path)) {
        p.screen.wait_cursor();
        return true;
    }
    p.message(with_reason(msg_invalid_handle, path, f), msg_icon::stop);
    return false;
}

bool finish_save(program& p, file_buffer& f, const std::string& path) {
    const bool ok = f.finish();
    p.screen.arrow_cursor();
    if (!ok) {
        std::string text = with_reason(msg_write_failed, path, f);
        if (f.replaces()) text += std::string("\n") + msg_old_file_kept;
        p.message(text, msg_icon::stop);
    }
    return ok;
}

void show_open_failure(program& p, const file_buffer& f, const std::string& path) {
    p.screen.message(with_reason(msg_open_failed, path, f), msg_icon::stop, msg_buttons::ok,
                     msg_answer::ok, caption_error);
}

void add_recent_file(file_state& fs, const std::string& path) {
    auto& r = fs.recent_files;
    r.erase(std::remove(r.begin(), r.end(), path), r.end());
    r.insert(r.begin(), path);
    if (r.size() > recent_file_count) r.resize(recent_file_count);
    call(fs.recent_files_changed);
}

void remember_folder(file_state& fs, int folder, const std::string& path) {
    if (!fs.remember_file_paths || folder < 0 || folder >= 4) return;
    fs.folders[static_cast<std::size_t>(folder)] = folder_of(path);
}

std::string folder_of(const std::string& path) {
    auto slash = path.find_last_of('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

std::string file_name_of(const std::string& path) {
    auto slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string extension_upper(const std::string& path) {
    std::string name = file_name_of(path);
    auto dot = name.find_last_of('.');
    if (dot == std::string::npos) return {};
    std::string e = name.substr(dot);
    for (char& c : e) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return e;
}

std::string suggested_file_name(const char* name) {
    std::string out;
    for (int i = 0; i < 8 && name[i] != 0; ++i) {
        const auto c = static_cast<unsigned char>(name[i]);
        out += std::isalnum(c) && c < 0x80 ? static_cast<char>(c) : '_';
    }
    return out;
}

}  // namespace kestrune
