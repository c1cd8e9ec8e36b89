// One record per command, declared once beside the function it runs: the menu text, shortcut and
// where it applies, whether it changes the song, its undo, its dialog's fields and layout, its
// help page and its run function. Menus, keys, child buttons, pop-ups, kestrune-tool apply, help
// and tests all read the records; nothing calls a command's function around them.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "core/canvas.h"
#include "core/field.h"

namespace kestrune {

class program;

// How a command ended.
enum class outcome : std::uint8_t {
    done,       // it ran; a notice on the way (OK only) does not change that
    refused,    // a message said why; nothing changed
    cancelled,  // the user answered No or Cancel, or closed the dialog; nothing changed
};

// The view a command is given in. Undo, and the undo copy a track function keeps, follow it.
enum class undo_context : std::uint8_t { main_screen, editor, mixer };
undo_context current_context(const program& p);

// The views a command applies in; elsewhere it is disabled and its key passes on.
struct command_views {
    bool main_screen = true;
    bool editor = false;
    bool mixer = false;
    bool has(undo_context c) const;
};
inline constexpr command_views every_view{true, true, true};

enum class undo_kind : std::uint8_t {
    none,   // keeps no undo copy: it changes no track, or more than one
    track,  // keeps the undo copy of the track it changes (in an editor, once per opening)
};

// What the command refuses before its dialog opens, besides a take when it changes the song.
enum class command_needs : std::uint8_t {
    nothing,
    track_data,  // "No data on this track!" for an empty current track
};

// The widgets of a dialog on the frame.
enum class control_kind : std::uint8_t {
    label, group_box,
    value,  // a value field of the frame: a held button steps it, a double click types into it
    check_box, radio_button, combo_box,
    text_box,  // several lines of text
    multi_list, push_button, ok_button, cancel_button, help_button,
};

// One widget of a dialog, in cells of the dialog.
struct dialog_item {
    control_kind kind = control_kind::label;
    std::string text{};       // a label's, a group's, a check box's or a button's text
    rect cells{};
    int field = -1;           // the field it shows and sets
    std::int32_t choice = 0;  // a radio button: the field's value it stands for
    // A radio button checked at every opening, whatever the field holds: the value stays until
    // another button of the group is pressed.
    bool opens_checked = false;
};

struct dialog_layout {
    std::string title{};  // empty: the command runs without a dialog
    int width = 0;        // cells
    int height = 0;
    std::vector<dialog_item> items{};
    bool live = false;  // each change takes effect at once (the command runs); OK only closes
};

// Layout helpers for the declarations.
dialog_item label(std::string text, rect cells);
dialog_item group_box(std::string text, rect cells);
dialog_item value_box(int field, rect cells);
dialog_item check_box(int field, std::string text, rect cells);
dialog_item radio_button(int field, std::int32_t choice, std::string text, rect cells);
dialog_item combo_box(int field, rect cells);
dialog_item text_box(int field, rect cells);
// OK and Cancel at the bottom right of a dialog of that size, and Help at the left when asked.
std::vector<dialog_item> ok_cancel(int width, int height, bool help = false);
// OK alone at the bottom right.
dialog_item ok_only(int width, int height);
// Help at the bottom left: the record's help page.
dialog_item help_button(int width, int height);

struct command_record {
    int id = 0;                // its number in core/command_ids.h
    std::string text{};        // the menu text with its "&" and "...": "&Quantize Settings..."
    std::string shortcut{};    // "Shift+U", "Ctrl+S", "Num+0", "F5", "Left"; empty for none
    command_views views{};
    bool changes_song = false;  // refused during a take; a change for the question on closing
    undo_kind undo = undo_kind::none;
    command_needs needs = command_needs::nothing;
    std::string help{};        // the help page's path
    std::vector<field_spec> fields{};
    dialog_layout dialog{};
    // The fields' values when the dialog opens; empty: each field's low value.
    std::function<field_values(const program&)> initial{};
    // Refusals of its own before the dialog opens, each with its message; true when refused.
    std::function<bool(program&)> refuses{};
    // Besides a run function and the view: empty is enabled. A command that needs the track's
    // data is also disabled in the tempo and signature lists.
    std::function<bool(const program&)> enabled{};
    // Field ranges that follow the song, set as the dialog opens.
    std::function<void(const program&, std::vector<field_spec>&)> ranges{};
    // A check item's mark; empty for an item without one.
    std::function<bool(const program&)> checked{};
    // The menu text as it stands now, where it changes ("Leave &Event Editor"); empty: `text`.
    std::function<std::string(const program&)> current_text{};
    std::function<outcome(program&, const field_values&)> run{};
};

// The menu text as the command's name: "&Load Song...\tCtrl+O" is "Load Song".
std::string command_name(std::string_view menu_text);
// A field's name on apply's command line: "Swing Factor" is "swing_factor".
std::string field_name(std::string_view label);

// A command can run: it has a run function, applies in the current view, and its own rule allows.
bool is_enabled(const program& p, const command_record& c);
field_values initial_values(const program& p, const command_record& c);

// Asks for a dialog's values, true on OK. The window opens the dialog; apply and tests have none.
using dialog_asker = std::function<bool(const command_record&, field_values&)>;
// How every command runs: refused during a take when it changes the song, and on an empty track
// when it needs data; then its dialog (when it has one and there is someone to ask); then run.
// A song changed counts for the question on closing.
outcome run_command(program& p, const command_record& c, field_values values,
                    const dialog_asker& ask = {});

}  // namespace kestrune
