// Change Note Length: every note's end set by a minimum, a maximum, an amount or a fixed length.
#include <algorithm>

#include "core/command_ids.h"
#include "processing/commands.h"
#include "processing/track_edit.h"
#include "processing/track_span.h"
#include "services/help_pages.h"

namespace kestrune {

namespace {

enum field { operation, length, range, left, right };
enum length_op { minimum, maximum, add, subtract, fixed };

std::vector<field_spec> fields() {
    return {
        choice_field("Operation", {"Minimum Length", "Maximum Length", "Add Length", "Sub Length", "Fixed Length"}),
        {.label = "Length", .kind = field_kind::time_span, .low = 0, .high = last_position, .entry_length = 13},
        range_field("Part Change"),
        left_locator_field(),
        right_locator_field(),
    };
}

dialog_layout layout() {
    constexpr int width = 36, height = 22;
    dialog_layout d{.title = "Change Note Length", .width = width, .height = height};
    const std::vector<std::string> ops = fields()[operation].choices;
    d.items = {group_box("Operation", {1, 1, 35, 12})};
    for (int i = 0; i < static_cast<int>(ops.size()); ++i)
        d.items.push_back(radio_button(operation, i, ops[static_cast<std::size_t>(i)], {2, 2 + 2 * i, 20, 3 + 2 * i}));
    // Each opening checks Minimum Length; the operation kept stays until another button is pressed.
    d.items[1 + minimum].opens_checked = true;
    d.items.insert(d.items.end(), {
        value_box(length, {21, 2, 34, 3}),
        group_box("Locators", {1, 13, 35, 19}),
        value_box(left, {2, 14, 16, 15}), value_box(right, {18, 14, 32, 15}),
        combo_box(range, {2, 16, 20, 17}),
    });
    for (dialog_item& i : ok_cancel(width, height, true)) d.items.push_back(std::move(i));
    return d;
}

field_values initial(const program& p) {
    field_values v = kept_values(p, cmd::change_note_length, {{minimum}, {0}, {0}, {}, {}});
    const field_values loc = locator_values(p);
    v[left] = loc[0];
    v[right] = loc[1];
    return v;
}

std::int32_t new_end(int op, std::int32_t start, std::int32_t end, std::int32_t v) {
    std::int32_t e = end;
    switch (op) {
    case minimum: e = std::max(end, start + v); break;
    case maximum: e = std::min(end, start + v); break;
    case add: e = end + v; break;
    case subtract: e = end - v; break;
    case fixed: e = start + v; break;
    }
    return std::clamp(e, start, last_position);  // a note never ends before it starts
}

void change_lengths(event_store& s, ref32 first, int op, std::int32_t v, const track_span& span) {
    for (ref32 e = first; is_event_status(s.status(e)); e = s.next_event(e)) {
        const std::int32_t start = s.position(e);
        if (!s.at(e).is_note_on() || start < span.from || start >= span.to) continue;
        int depth = 0;
        const ref32 off = s.find_note_off(e, &depth);
        if (depth == 0) s.at(off).set_position(new_end(op, start, s.position(off), v));
    }
}

outcome change_note_length(program& p, const field_values& v) {
    return run_on_span(p, v, cmd::change_note_length, {range, left, right}, [&v](track_edit& g, const track_span& span) {
        event_store s = g.store();
        change_lengths(s, g.slot().first, v[operation].number, v[length].number, span);
    });
}

}  // namespace

command_record change_note_length_command() {
    return {
        .id = cmd::change_note_length,
        .text = "Change Note &Length...",
        .shortcut = "Shift+L",
        .views = {.main_screen = true, .editor = true},
        .changes_song = true,
        .undo = undo_kind::track,
        .needs = command_needs::track_data,
        .help = std::string(help_page::change_note_length),
        .fields = fields(),
        .dialog = layout(),
        .initial = initial,
        .run = change_note_length,
    };
}

}  // namespace kestrune
