#include "core/command.h"

#include <cctype>

#include "core/program.h"

namespace kestrune {

namespace {

constexpr int button_width = 10;  // cells of OK, Cancel and Help
constexpr int button_height = 2;
constexpr const char* msg_actual_position = "Actual position?";

bool shows_locators(const command_record& c) {
    for (const field_spec& f : c.fields)
        if (f.locator) return true;
    return false;
}

// A dialog's locators are the song's positions. Away from the song's first step the musician says
// whether they mean the actual position in the song (the track's own time lies the step's offset
// earlier) or the track's own positions.
std::int32_t song_offset(program& p) {
    const std::int32_t offset = p.step_offset(p.d.current_pattern);
    if (offset == 0) return 0;
    return p.screen.message(msg_actual_position, msg_icon::question, msg_buttons::yes_no,
                            msg_answer::yes) == msg_answer::yes
               ? offset
               : 0;
}

}  // namespace

undo_context current_context(const program& p) {
    if (p.d.main_screen) return undo_context::main_screen;
    return p.app.mixer_port >= 0 ? undo_context::mixer : undo_context::editor;
}

bool command_views::has(undo_context c) const {
    switch (c) {
    case undo_context::main_screen: return main_screen;
    case undo_context::editor: return editor;
    case undo_context::mixer: return mixer;
    }
    return false;
}

dialog_item label(std::string text, rect cells) {
    return {.kind = control_kind::label, .text = std::move(text), .cells = cells};
}

dialog_item group_box(std::string text, rect cells) {
    return {.kind = control_kind::group_box, .text = std::move(text), .cells = cells};
}

dialog_item value_box(int field, rect cells) {
    return {.kind = control_kind::value, .cells = cells, .field = field};
}

dialog_item check_box(int field, std::string text, rect cells) {
    return {.kind = control_kind::check_box, .text = std::move(text), .cells = cells, .field = field};
}

dialog_item radio_button(int field, std::int32_t choice, std::string text, rect cells) {
    return {.kind = control_kind::radio_button, .text = std::move(text), .cells = cells,
            .field = field, .choice = choice};
}

dialog_item combo_box(int field, rect cells) {
    return {.kind = control_kind::combo_box, .cells = cells, .field = field};
}

dialog_item text_box(int field, rect cells) {
    return {.kind = control_kind::text_box, .cells = cells, .field = field};
}

dialog_item help_button(int, int height) {
    const int bottom = height - 1;
    return {.kind = control_kind::help_button, .text = "Help",
            .cells = {1, bottom - button_height, 1 + button_width, bottom}};
}

std::vector<dialog_item> ok_cancel(int width, int height, bool help) {
    const int right = width - 1, bottom = height - 1, top = bottom - button_height;
    std::vector<dialog_item> v;
    if (help) v.push_back(help_button(width, height));
    v.push_back({.kind = control_kind::ok_button, .text = "OK",
                 .cells = {right - 2 * button_width - 1, top, right - button_width - 1, bottom}});
    v.push_back({.kind = control_kind::cancel_button, .text = "Cancel",
                 .cells = {right - button_width, top, right, bottom}});
    return v;
}

dialog_item ok_only(int width, int height) {
    const int right = width - 1, bottom = height - 1;
    return {.kind = control_kind::ok_button, .text = "OK",
            .cells = {right - button_width, bottom - button_height, right, bottom}};
}

std::string command_name(std::string_view text) {
    text = text.substr(0, text.find('\t'));
    std::string out;
    for (char ch : text)
        if (ch != '&') out += ch;
    while (!out.empty() && (out.back() == '.' || out.back() == ' ')) out.pop_back();
    return out;
}

std::string field_name(std::string_view label) {
    std::string out;
    for (char ch : label)
        out += ch == ' ' ? '_' : static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
    return out;
}

bool is_enabled(const program& p, const command_record& c) {
    const undo_context context = current_context(p);
    if (!c.run || !c.views.has(context) || (c.enabled && !c.enabled(p))) return false;
    // A tempo or signature list shows no track: what works on the current track's events waits.
    const bool list = context == undo_context::editor &&
                      (p.editor.kind == editor_kind::tempo_list || p.editor.kind == editor_kind::signature_list);
    return !(list && c.needs == command_needs::track_data);
}

field_values initial_values(const program& p, const command_record& c) {
    if (c.initial) return c.initial(p);
    field_values v(c.fields.size());
    for (std::size_t i = 0; i < v.size(); ++i) v[i].number = c.fields[i].low;
    return v;
}

outcome run_command(program& p, const command_record& c, field_values values,
                    const dialog_asker& ask) {
    const bool has_dialog = !c.dialog.title.empty();
    if (c.changes_song && p.recording()) {
        p.message(msg_while_recording, has_dialog ? msg_icon::stop : msg_icon::warning);
        return outcome::refused;
    }
    if (c.needs == command_needs::track_data &&
        p.slot(p.d.current_pattern, p.d.current_track).in_use != 1) {
        p.message(msg_no_data, msg_icon::warning);
        return outcome::refused;
    }
    if (c.refuses && c.refuses(p)) return outcome::refused;
    p.app.locator_offset = shows_locators(c) ? song_offset(p) : 0;
    if (has_dialog && ask && !ask(c, values)) return outcome::cancelled;
    // The dialog holds a range's ends apart; values given from outside may cross.
    if (const int low = crossed_range_end(c.fields, values); low >= 0) {
        const field_spec& f = c.fields[static_cast<std::size_t>(low)];
        p.message(
            f.label + " lies above " + c.fields[static_cast<std::size_t>(f.at_most)].label + "!",
            msg_icon::stop);
        return outcome::refused;
    }
    const outcome o = c.run(p, values);
    if (o == outcome::done && c.changes_song) ++p.changes.commands;
    return o;
}

}  // namespace kestrune
