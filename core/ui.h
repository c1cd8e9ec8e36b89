// How the core reaches the screen: message boxes and questions, file dialogs, cursors, repaints.
#pragma once

#include <optional>
#include <string>

namespace kestrune {

inline constexpr const char* program_title = "Kestrune MIDI Sequencer";

enum class msg_icon { information, warning, stop, question };
enum class msg_buttons { ok, ok_cancel, yes_no, yes_no_cancel };
enum class msg_answer { ok, cancel, yes, no };

class dialog;  // a modal dialog's model, in shell/

struct file_dialog_request {
    std::string title;
    std::string filter;     // e.g. "Song Files (*.sng)|*.sng"
    std::string extension;  // default extension without the dot
    std::string folder;
    std::string file_name;
};

class ui {
public:
    virtual ~ui() = default;
    // A modal message box; the caption is the program's title unless one is given.
    virtual msg_answer message(const std::string& text, msg_icon icon,
                               msg_buttons buttons = msg_buttons::ok,
                               msg_answer default_answer = msg_answer::ok,
                               const std::string& caption = program_title) = 0;
    virtual std::optional<std::string> open_file_dialog(const file_dialog_request& r) = 0;
    virtual std::optional<std::string> save_file_dialog(const file_dialog_request& r) = 0;
    virtual void wait_cursor() = 0;
    virtual void arrow_cursor() = 0;
    // Asks for a repaint of a screen region; -1 repaints everything.
    virtual void repaint(int region) = 0;
    // The in-place entry box over a field (x, y, width, height in pixels): starts with `text`
    // selected, holds at most `max_length` characters; nothing when the entry is given up.
    virtual std::optional<std::string> edit_in_place(int /*x*/, int /*y*/, int /*width*/,
                                                     int /*height*/, const std::string& /*text*/,
                                                     int /*max_length*/) {
        return std::nullopt;
    }
    // Runs a modal dialog over the main window; true when it ends with OK (its ok() accepted).
    virtual bool run_dialog(dialog& /*d*/) { return false; }
    // A long task's progress, `done` from 0 to 1: a box with Cancel shows from the first call and
    // closes at 1. False once the user asked to cancel.
    virtual bool progress(const std::string& /*title*/, const std::string& /*text*/, double /*done*/) {
        return true;
    }
};

// A message as one line of standard error: each line break written as the two characters "\n".
inline std::string message_line(const std::string& text) {
    std::string line;
    for (char c : text) {
        if (c == '\n')
            line += "\\n";
        else
            line += c;
    }
    return line;
}

// Messages the song model shows.
inline constexpr const char* msg_while_recording = "Can't do this while recording!";
inline constexpr const char* msg_no_data = "No data on this track!";
inline constexpr const char* msg_not_enough_memory =
    "Not enough memory for this operation!\nIncrease the requested memory\namount with MIDI/Memory Setup.";

}  // namespace kestrune
