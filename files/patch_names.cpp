#include "files/patch_names.h"

#include <dirent.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include "files/file_buffer.h"
#include "files/file_messages.h"
#include "files/settings_file.h"

namespace kestrune {

void set_default_patch_names(patch_table& t) {
    for (int i = 0; i < 128; ++i) t.names[static_cast<std::size_t>(i)] = std::to_string(i);
    t.gm = 0;
    t.from_file = false;
}

namespace {

bool line_end(char c) {
    return c == '\r' || c == '\n';
}

// A decimal number as the runtime reads one: leading digits, anything after them ignored.
int leading_number(std::string_view s) {
    int v = 0;
    for (char c : s) {
        if (c < '0' || c > '9' || v > 1000) break;
        v = v * 10 + (c - '0');
    }
    return v;
}

}  // namespace

void parse_patch_names(patch_table& t, std::string_view text) {
    // The text ends at its first NUL, as a C string would.
    text = text.substr(0, text.find('\0'));
    if (auto s = text.find("[Soundset]"); s != std::string_view::npos) {
        std::string_view window = text.substr(s, 20);
        if (window.find("GM") != std::string_view::npos) t.gm = 1;
    }
    auto at = text.find("[Patches]");
    if (at == std::string_view::npos) return;
    at = text.find_first_of("0123456789", at + 9);
    if (at == std::string_view::npos) return;
    const std::size_t n = text.size();
    while (at < n) {
        // Number, blanks, name up to the line's end. A line without a blank ends the list.
        std::size_t blank = at;
        while (blank < n && text[blank] != ' ' && !line_end(text[blank])) ++blank;
        if (blank >= n || text[blank] != ' ') return;
        const int number = leading_number(text.substr(at, blank - at));
        std::size_t name = blank;
        while (name < n && (text[name] == ' ' || text[name] == '\t')) ++name;
        std::size_t end = name;
        while (end < n && !line_end(text[end])) ++end;
        if (number >= 1 && number <= 128)
            t.names[static_cast<std::size_t>(number - 1)] =
                std::string(text.substr(name, end - name));
        if (end < n && text[end] == '\r') ++end;
        if (end < n && text[end] == '\n') ++end;
        at = end;
    }
}

std::string patch_file_name(int port) {
    return std::string("PORT_") + static_cast<char>('A' + port) + ".TXT";
}

std::vector<std::string> patch_folders() {
    // The user's own files first: the program ships names for the built-in synth's port.
    std::vector<std::string> out;
    const char* xdg = std::getenv("XDG_DATA_HOME");
    const char* home = std::getenv("HOME");
    if (xdg && xdg[0] == '/')
        out.push_back(std::string(xdg) + "/Kestrune/patches/");
    else if (home && home[0] == '/')
        out.push_back(std::string(home) + "/.local/share/Kestrune/patches/");
    out.push_back(program_data_path("patches/"));
    return out;
}

namespace {

// The path of a file in a folder whose name matches in capitals, or "".
std::string find_in_folder(const std::string& folder, const std::string& wanted) {
    DIR* dir = ::opendir(folder.c_str());
    if (!dir) return {};
    std::string found;
    while (dirent* e = ::readdir(dir)) {
        std::string name = e->d_name;
        std::string upper = name;
        for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        if (upper == wanted) {
            found = folder + (folder.empty() || folder.back() == '/' ? "" : "/") + name;
            break;
        }
    }
    ::closedir(dir);
    return found;
}

}  // namespace

void load_patch_names(patch_tables& tables, const std::vector<std::string>& folders, ui& screen) {
    for (int port = 0; port < 4; ++port) {
        patch_table& t = tables[static_cast<std::size_t>(port)];
        set_default_patch_names(t);
        std::string path;
        for (const std::string& folder : folders)
            if (!(path = find_in_folder(folder, patch_file_name(port))).empty()) break;
        if (path.empty()) continue;
        file_buffer f;
        if (!f.open_read(path)) continue;
        if (f.file_size() > patch_file_limit) {
            screen.message(msg_patch_file_too_big, msg_icon::warning);
            continue;
        }
        std::string text(static_cast<std::size_t>(f.file_size()), '\0');
        f.file_get(text.data(), text.size());
        parse_patch_names(t, text);
        t.from_file = true;
    }
}

const std::string& program_name(const patch_tables& tables, int port, int program) {
    return tables[static_cast<std::size_t>(std::clamp(port, 0, 3))]
        .names[static_cast<std::size_t>(std::clamp(program, 0, 127))];
}

}  // namespace kestrune
