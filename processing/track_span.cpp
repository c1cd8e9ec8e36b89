#include "processing/track_span.h"

#include <algorithm>

namespace kestrune {

namespace {

field_spec locator_field(std::string label) {
    return {.label = std::move(label), .kind = field_kind::position, .low = 0,
            .high = last_locator_position, .entry_length = 13, .locator = true};
}

}  // namespace

field_spec left_locator_field() { return locator_field("Left Locator"); }
field_spec right_locator_field() { return locator_field("Right Locator"); }

field_spec range_field(std::string part_text) {
    return choice_field("Range", {"OFF", std::move(part_text)});
}

field_values locator_values(const program& p) { return {{p.d.left_locator}, {p.d.right_locator}}; }

track_span take_locators(program& p, std::int32_t left, std::int32_t right) {
    p.d.left_locator = left;
    p.d.right_locator = right;
    const auto own = [&p](std::int32_t at) { return std::clamp(track_time(p, at), 0, last_position); };
    return {own(left), own(right)};
}

std::optional<track_span> chosen_span(program& p, std::int32_t range, std::int32_t left,
                                      std::int32_t right) {
    const track_span at = take_locators(p, left, right);
    if (range == 0) return track_span{0, last_position};
    if (left > right) return std::nullopt;
    return at;
}

field_values kept_values(const program& p, int key, field_values defaults) {
    const auto at = p.app.dialog_values.find(key);
    return at == p.app.dialog_values.end() || at->second.size() != defaults.size() ? defaults : at->second;
}

void keep_values(program& p, int key, const field_values& v) { p.app.dialog_values[key] = v; }

bool confirmed(program& p, const char* question) {
    return p.screen.message(question, msg_icon::question, msg_buttons::ok_cancel, msg_answer::ok) ==
           msg_answer::ok;
}

command_record asking_track_command(int id, const char* text, const char* shortcut, std::string_view help,
                                    const char* question, track_work work) {
    return {
        .id = id,
        .text = text,
        .shortcut = shortcut,
        .views = {.main_screen = true, .editor = true},
        .changes_song = true,
        .undo = undo_kind::track,
        .needs = command_needs::track_data,
        .help = std::string(help),
        .run = [question, work = std::move(work)](program& p, const field_values&) {
            track_edit g(p, p.d.current_pattern, p.d.current_track);
            if (!g) return outcome::refused;
            if (!confirmed(p, question)) return outcome::cancelled;
            g.begin();
            work(g);
            return outcome::done;
        },
    };
}

outcome run_on_span(program& p, const field_values& v, int key, span_fields f, const span_work& work) {
    keep_values(p, key, v);
    track_edit g(p, p.d.current_pattern, p.d.current_track);
    if (!g) return outcome::refused;
    const auto span = chosen_span(p, v[f.range].number, v[f.left].number, v[f.right].number);
    if (!span) return outcome::done;
    g.begin();
    work(g, *span);
    return outcome::done;
}

bool answered_yes(program& p, const char* question, msg_answer default_answer) {
    return p.screen.message(question, msg_icon::question, msg_buttons::yes_no, default_answer) == msg_answer::yes;
}

}  // namespace kestrune
