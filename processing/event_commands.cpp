// Delete Events, Keep Events and Transform Events: one dialog with one condition, kept between
// openings, that the three commands share.
#include <algorithm>

#include "core/command_ids.h"
#include "processing/check_track.h"
#include "processing/commands.h"
#include "processing/track_span.h"
#include "processing/transform_events.h"
#include "services/help_pages.h"

namespace kestrune {

namespace {

enum field {
    type, channel_low, channel_high, data1_low, data1_high, data2_low, data2_high, length_mode, length,
    range, left, right, condition_fields,
    result_type = condition_fields, result_channel, result_data1, result_data2, amount1, op1, amount2, op2,
    all_fields
};
// Transform offers the types from All Chan Events to PitchWh; its lists start there.
constexpr int first_transform_type = event_type::all_channel;
constexpr int last_transform_type = event_type::pitch_wheel;

struct variant {
    select_mode mode;
    int id;
    const char* text;
    const char* shortcut;
    const char* title;
    const char* part;
    std::string_view help;
};

std::vector<std::string> type_texts(int from, int to) {
    return {event_type_texts.begin() + from, event_type_texts.begin() + to + 1};
}

field_spec range_of(const char* label, field_kind kind, int low, int high, std::vector<named_value> named = {}) {
    return {.label = label, .kind = kind, .low = low, .high = high, .entry_length = 4, .named = std::move(named)};
}

// How a row of the condition shows for an event type.
enum class shows : std::uint8_t { unused, number, key, velocity };
struct type_rows {
    shows channel, data1, data2;
};
constexpr std::array<type_rows, event_type::count> rows_of_type = {{
    {shows::number, shows::unused, shows::unused},  // All Events
    {shows::number, shows::unused, shows::unused},  // All Chan Events
    {shows::number, shows::key, shows::number},     // Note Off
    {shows::number, shows::key, shows::velocity},   // Note
    {shows::number, shows::key, shows::number},     // P-Press
    {shows::number, shows::number, shows::number},  // Control
    {shows::number, shows::number, shows::unused},  // Program
    {shows::number, shows::number, shows::unused},  // C-Press
    {shows::number, shows::number, shows::number},  // PitchWh
    {shows::unused, shows::unused, shows::unused},  // Text Event
    {shows::unused, shows::unused, shows::unused},  // Sys Ex
}};

field_spec shown_as(field_spec f, shows s, const char* dash) {
    if (s == shows::unused) f.unused = dash;
    if (s == shows::key) f.kind = field_kind::note;
    if (s == shows::velocity) f.named.push_back({0, "Off"});
    return f;
}

// The field as each type of the list from `first` to `last` shows it, by the value of `follows`.
field_spec by_type(field_spec f, int follows, int first, int last, shows type_rows::*row, const char* dash) {
    f.follows = follows;
    for (int t = first; t <= last; ++t) f.looks.push_back(shown_as(f, rows_of_type[static_cast<std::size_t>(t)].*row, dash));
    return f;
}

std::vector<field_spec> fields(const variant& v) {
    const bool transform = v.mode == select_mode::transform;
    const int first = transform ? first_transform_type : event_type::all;
    const int last = transform ? last_transform_type : event_type::sysex;
    const auto row = [first, last](const char* label, shows type_rows::*r, const char* dash) {
        return by_type(range_of(label, field_kind::number, 0, 127), type, first, last, r, dash);
    };
    std::vector<field_spec> f = {
        choice_field("Events", type_texts(first, last)),
        by_type(range_of("Chan Low", field_kind::one_based, 0, 15), type, first, last, &type_rows::channel, " - "),
        by_type(range_of("Chan High", field_kind::one_based, 0, 15), type, first, last, &type_rows::channel, " - "),
        row("-1- Low", &type_rows::data1, "  - "), row("-1- High", &type_rows::data1, "  - "),
        row("-2- Low", &type_rows::data2, " - "), row("-2- High", &type_rows::data2, " - "),
        choice_field("Note Length", {"Ignore", "Shorter than", "Longer than"}),
        {.label = "Length", .kind = field_kind::time_span, .low = 0, .high = last_position, .entry_length = 13},
        range_field(v.part), left_locator_field(), right_locator_field(),
    };
    for (const int low : {channel_low, data1_low, data2_low}) {
        f[static_cast<std::size_t>(low)].at_most = low + 1;
        f[static_cast<std::size_t>(low) + 1].at_least = low;
    }
    if (!transform) return f;
    const std::vector<std::string> ops = {"+", "-", "%"};
    f.insert(f.end(), {
        choice_field("Result Events", type_texts(first_transform_type, last_transform_type)),
        range_of("Result Chan", field_kind::one_based, no_change, 15, {{no_change, "Cha"}}),
        range_of("Result -1-", field_kind::number, other_byte, 127, {{no_change, "-1-"}, {other_byte, "-2-"}}),
        // 0 shows "Off" when the result is a note; a result field is never unused (no dash).
        by_type(range_of("Result -2-", field_kind::number, other_byte, 127, {{no_change, "-2-"}, {other_byte, "-1-"}}),
                result_type, first, last, &type_rows::data2, ""),
        range_of("Amount -1-", field_kind::number, no_change, 999, {{no_change, "   "}}),
        choice_field("Operator -1-", ops),
        range_of("Amount -2-", field_kind::number, no_change, 999, {{no_change, "   "}}),
        choice_field("Operator -2-", ops),
    });
    return f;
}

void add_condition_rows(dialog_layout& d, bool transform) {
    d.items.insert(d.items.end(), {
        group_box("Condition", {1, 1, 35, transform ? 11 : 14}),
        label("Events", {2, 2, 12, 3}), combo_box(type, {13, 2, 33, 3}),
        label("Between", {13, 4, 33, 5}),
    });
    const char* rows[] = {"Chan", "-1-", "-2-"};
    for (int r = 0; r < 3; ++r) {
        const int y = 5 + 2 * r;
        d.items.insert(d.items.end(), {label(rows[r], {2, y, 12, y + 1}),
                                       value_box(channel_low + 2 * r, {13, y, 20, y + 1}),
                                       value_box(channel_high + 2 * r, {22, y, 29, y + 1})});
    }
    if (!transform)
        d.items.insert(d.items.end(), {label("Note Length", {2, 11, 15, 12}), combo_box(length_mode, {15, 11, 29, 12}),
                                       value_box(length, {15, 12, 31, 13})});
}

void add_result_rows(dialog_layout& d) {
    d.items.insert(d.items.end(), {
        group_box("Result", {36, 1, 70, 11}),
        label("Events", {37, 2, 45, 3}), combo_box(result_type, {46, 2, 68, 3}),
        label("Chan", {37, 4, 45, 5}), value_box(result_channel, {46, 4, 53, 5}),
        label("-1-", {37, 6, 45, 7}), value_box(result_data1, {46, 6, 53, 7}),
        label("-2-", {37, 8, 45, 9}), value_box(result_data2, {46, 8, 53, 9}),
        group_box("Process result", {36, 12, 70, 18}),
        label("-1-", {37, 13, 45, 14}), combo_box(op1, {46, 13, 52, 14}), value_box(amount1, {53, 13, 60, 14}),
        label("-2-", {37, 15, 45, 16}), combo_box(op2, {46, 15, 52, 16}), value_box(amount2, {53, 15, 60, 16}),
    });
}

dialog_layout layout(const variant& v) {
    const bool transform = v.mode == select_mode::transform;
    const int width = transform ? 71 : 36, height = 28;
    dialog_layout d{.title = v.title, .width = width, .height = height};
    add_condition_rows(d, transform);
    if (transform) add_result_rows(d);
    d.items.insert(d.items.end(), {
        group_box("Locators", {1, 15, 35, 21}),
        value_box(left, {2, 16, 16, 17}), value_box(right, {18, 16, 32, 17}),
        combo_box(range, {2, 18, 20, 19}),
        // Applies and leaves the dialog open, so that a condition can run several times.
        dialog_item{.kind = control_kind::push_button, .text = "DO IT", .cells = {width - 11, 22, width - 1, 24}},
    });
    for (dialog_item& i : ok_cancel(width, height, true)) d.items.push_back(std::move(i));
    return d;
}

field_values initial(const program& p, select_mode mode) {
    field_values v = kept_values(p, cmd::delete_events,
                                 {{event_type::all}, {0}, {15}, {0}, {127}, {0}, {127}, {0}, {0}, {0}, {}, {}});
    int& t = v[type].number;
    if (mode != select_mode::transform) {
        if (t == event_type::note_off) t = event_type::note;
    } else {
        if (t < first_transform_type || t > last_transform_type) t = event_type::note;
        t -= first_transform_type;
    }
    const field_values loc = locator_values(p);
    v[left] = loc[0];
    v[right] = loc[1];
    v.resize(condition_fields);
    if (mode != select_mode::transform) return v;
    const field_values r = kept_values(p, cmd::transform_events,
                                       {{event_type::note - first_transform_type}, {no_change}, {no_change},
                                        {no_change}, {no_change}, {0}, {no_change}, {0}});
    v.insert(v.end(), r.begin(), r.end());
    return v;
}

// The condition as the fields hold it; the ends of its ranges never cross (run_command).
event_condition condition_of(const field_values& v, select_mode mode) {
    const auto n = [&v](int f) { return v[static_cast<std::size_t>(f)].number; };
    return {.mode = mode,
            .type = mode == select_mode::transform ? n(type) + first_transform_type : n(type),
            .channel_low = n(channel_low),
            .channel_high = n(channel_high),
            .data1_low = n(data1_low),
            .data1_high = n(data1_high),
            .data2_low = n(data2_low),
            .data2_high = n(data2_high),
            .length_mode = static_cast<length_test>(n(length_mode)),
            .length = n(length)};
}

event_result result_of(const field_values& v) {
    const auto n = [&v](int f) { return v[static_cast<std::size_t>(f)].number; };
    return {.type = n(result_type) + first_transform_type, .channel = n(result_channel),
            .data1 = n(result_data1), .data2 = n(result_data2),
            .amount1 = n(amount1), .op1 = static_cast<process_op>(n(op1)),
            .amount2 = n(amount2), .op2 = static_cast<process_op>(n(op2))};
}

void keep_dialog(program& p, const field_values& v, const event_condition& c) {
    field_values kept(v.begin(), v.begin() + condition_fields);
    kept[type].number = c.type;
    keep_values(p, cmd::delete_events, kept);
    if (c.mode == select_mode::transform)
        keep_values(p, cmd::transform_events, field_values(v.begin() + condition_fields, v.end()));
}

outcome apply(program& p, const field_values& v, select_mode mode) {
    const event_condition c = condition_of(v, mode);
    keep_dialog(p, v, c);
    track_edit g(p, p.d.current_pattern, p.d.current_track);
    if (!g) return outcome::refused;
    const auto span = chosen_span(p, v[range].number, v[left].number, v[right].number);
    if (!span) return outcome::done;
    if (!g.begin(g.slot().blocks + 3)) return outcome::refused;
    if (mode != select_mode::transform) return filter_events(g, c, span->from, span->to) ? outcome::done : outcome::refused;
    transform_events(g, c, result_of(v), span->from, span->to);
    // A note turned into another type leaves its note-off behind: the repair removes it.
    if (confirmed(p, msg_check_track)) repair_track(g);
    return outcome::done;
}

command_record event_command(const variant& v) {
    const select_mode mode = v.mode;
    return {
        .id = v.id,
        .text = v.text,
        .shortcut = v.shortcut,
        .views = {.main_screen = true, .editor = true},
        .changes_song = true,
        .undo = undo_kind::track,
        .needs = command_needs::track_data,
        .help = std::string(v.help),
        .fields = fields(v),
        .dialog = layout(v),
        .initial = [mode](const program& p) { return initial(p, mode); },
        .run = [mode](program& p, const field_values& values) { return apply(p, values, mode); },
    };
}

}  // namespace

std::vector<command_record> event_commands() {
    return {
        event_command({select_mode::remove, cmd::delete_events, "&Delete Events...", "D", "Delete Events",
                       "Part Delete", help_page::delete_events}),
        event_command({select_mode::keep, cmd::keep_events, "&Keep Events...", "K", "Keep Events", "Part Keep",
                       help_page::keep_events}),
        event_command({select_mode::transform, cmd::transform_events, "&Transform Events...", "H",
                       "Transform Events", "Part Transform", help_page::transform_events}),
    };
}

}  // namespace kestrune
