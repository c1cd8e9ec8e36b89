// What the file commands keep between calls: the song's file name and title, the folders of the
// file dialogs, the recent files, and the steps of the shell they call on the way.
#pragma once

#include <array>
#include <functional>
#include <string>
#include <vector>

#include "core/program.h"
#include "core/ui.h"

namespace kestrune {

class file_buffer;

inline constexpr int recent_file_count = 8;
inline constexpr const char* untitled_title = "Untitled.sng";
inline constexpr const char* default_song_name = "Default.sng";

// The folders that Remember File Paths keeps, in the settings file's order.
enum folder_kind : int { folder_load_song, folder_load_midi, folder_save_song, folder_save_midi };

// Kinds of file dialog.
enum dialog_kind : int {
    dialog_song,
    dialog_midi_read,
    dialog_midi_write,
    dialog_pattern,
    dialog_track,
    dialog_syx
};

struct file_state {
    std::string current_file_name;  // path of the song file in use
    std::string current_file_title = untitled_title;
    bool remember_file_paths = true;
    std::array<std::string, 4> folders;
    std::vector<std::string> recent_files;  // the newest first, at most 8
    std::string dialog_filter;              // filter of the last valid dialog kind

    // Steps of the shell; each may be left empty.
    std::function<void()> title_changed;
    std::function<void()> recent_files_changed;
    std::function<void()> stop_transport;
    std::function<void()> rewind;  // back to the start position after a load
    // Reads a Standard MIDI file into a cleared song; true when it loaded.
    std::function<bool(program&, const std::string&)> load_midi;
};

// Sets the dialog filter for a kind; an unknown kind says so and keeps the old filter.
bool set_file_dialog_extension(program& p, file_state& fs, int kind);
file_dialog_request make_file_dialog(program& p, file_state& fs, int kind, const std::string& ext,
                                     const std::string& file_name, int folder = -1);

// Every save: the file is made with the wait cursor, or "Invalid file handle!!" is shown; then
// finished with the arrow cursor, or "Error writing file!" is shown. Either message names the file
// and the system's reason on the next line, and says whether an old file is kept.
bool create_for_save(program& p, file_buffer& f, const std::string& path);
bool finish_save(program& p, file_buffer& f, const std::string& path);
// "Failed to open the selected file." with the file and the reason.
void show_open_failure(program& p, const file_buffer& f, const std::string& path);

void add_recent_file(file_state& fs, const std::string& path);
void remember_folder(file_state& fs, int folder, const std::string& path);

// The file name of a path, and its extension in capitals with the dot (".SNG").
std::string file_name_of(const std::string& path);
// The folder part of a path, with its closing slash; empty for a bare name.
std::string folder_of(const std::string& path);
std::string extension_upper(const std::string& path);
// First 8 characters of a name with every character but letters and digits made "_".
std::string suggested_file_name(const char* name);

}  // namespace kestrune
