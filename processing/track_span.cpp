#include "processing/track_span.h"

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

std::optional<track_span> chosen_span(program& p, std::int32_t range, std::int32_t left,
                                      std::int32_t right) {
    p.d.left_locator = left;
    p.d.right_locator = right;
    if (range == 0) return track_span{0, last_position};
    if (left > right) return std::nullopt;
    return track_span{left, right};
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

bool answered_yes(program& p, const char* question, msg_answer default_answer) {
    return p.screen.message(question, msg_icon::question, msg_buttons::yes_no, default_answer) == msg_answer::yes;
}

}  // namespace kestrune
