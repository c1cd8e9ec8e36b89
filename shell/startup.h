// The program's session: what the window works on beside the engine, the start-up and shutdown
// order, and the 25 ms tick with its re-entry guard. Used by the program, its tests and benches.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "core/program.h"
#include "files/file_state.h"
#include "files/patch_names.h"
#include "files/settings_file.h"
#include "realtime/recording.h"
#include "realtime/setup_dialogs.h"
#include "realtime/transport.h"
#include "core/command_table.h"
#include "shell/screen/main_screen.h"

namespace kestrune {

inline constexpr int tick_period_ms = 25;
inline constexpr const char* msg_configure_midi = "You must configure your MIDI interface!";
inline constexpr const char* ask_save_before_closing = "Do you want to save your song before closing?";
inline constexpr const char* msg_drop_one_file = "Please drop only one file.";

// What the window itself does for the shell; each may be left empty.
struct window_hooks {
    std::function<void()> title_changed;
    std::function<void()> menus_changed;  // check marks, enabled items, recent files
    std::function<void()> relayout;       // after a zoom change
    std::function<void()> default_window_place;
    std::function<void()> bring_to_front;
    std::function<void()> close;          // asks the window to close, as Quit does
    std::function<void()> focus;          // focus back to the main window
};

class session {
public:
    session(engine_link& eng, ui& screen, clock& clk);
    ~session();
    session(const session&) = delete;
    session& operator=(const session&) = delete;

    program prog;
    user_settings settings;
    file_state files;
    patch_tables patches;
    transport trans;
    recorder rec;  // the Record keys and buttons; stores the transport's takes
    command_table commands;
    window_hooks window;
    // What MIDI Setup and Overall Settings edit beside the block, and whether the window can run
    // those dialogs (the ui's run_dialog).
    setup_settings setup;
    bool setup_dialogs = false;
    std::unique_ptr<main_screen> screen;  // made with the window

    // While an editor or the Mixer is open: it closes before the window does.
    std::function<void()> close_editor;
    bool editor_open() const { return prog.d.main_screen == 0; }

    // The song as loaded or saved now: the closing question asks only after a later edit. A
    // command that loads or saves marks it again once its own count is in.
    void mark_song_saved();
    void command_finished();
    bool song_edited() const { return prog.changes.edits() != saved_edits_; }

    // The title the window shows: "Kestrune MIDI Sequencer - Song.sng".
    std::string window_title() const;
    // Recent files as the File menu shows them, newest first.
    const std::vector<std::string>& recent_files() const { return files.recent_files; }

private:
    friend void session_tick(session& s, std::int64_t ms);
    std::uint32_t saved_edits_ = 0;
    bool mark_after_command_ = false;
    bool timer_busy_ = true;  // true while no tick runs
    bool first_tick_ = true;
};

// The main screen's Record button and keys, Drop In and key B, run by the session's recorder.
recording_actions recorder_actions(recorder& rec);

// Between the setup dialogs' settings and where the program keeps them.
void setup_from_settings(session& s);
void apply_setup(session& s);

// Start-up up to the window: defaults, settings, patch names, the engine and the song. Returns
// the engine's error number (already shown) or 0.
int start_session(session& s);
// The window's part of start-up once it exists: the recent files that still exist, the mixer,
// the start file (the command line's, else "Default.sng") and rewind. True when a file loaded.
bool open_start_file(session& s, const std::string& command_line_name);
// The closing question; true when the window may close. Then an open editor is left and the
// transport stops.
bool confirm_close(session& s);
// Shutdown after the window: the settings file (unless left out), the engine, the patch names.
void end_session(session& s, bool write_settings = true);

// The 25 ms tick: the first tick's MIDI prompt, the engine's messages, the screen. A tick that
// comes while another runs (a nested loop of a message box) does nothing.
void session_tick(session& s, std::int64_t ms);

// Opens a file dropped on the window or named on the command line; false when it did not load.
bool open_dropped_files(session& s, const std::vector<std::string>& paths);

// The file name of the command line, in quotes or not; the words of an unquoted name with spaces
// come as separate arguments and are joined again.
std::string command_line_file(const std::vector<std::string>& args);

}  // namespace kestrune
