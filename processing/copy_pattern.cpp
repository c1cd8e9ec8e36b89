// Copy Pattern: every used track of one pattern onto the same track of an empty one.
#include "core/command_ids.h"
#include "processing/commands.h"
#include "processing/track_copy.h"
#include "services/help_pages.h"

namespace kestrune {

namespace {

constexpr const char* msg_same_pattern = "Can't copy to source pattern!";
constexpr const char* msg_no_pattern_data = "No data in this pattern!";
constexpr const char* msg_not_empty = "Destination pattern must be empty!";

enum field { source, target };

field_spec pattern_field(const char* l) {
    return {.label = l,
            .kind = field_kind::one_based,
            .low = 0,
            .high = parallel_pattern,
            .entry_length = 2};
}

dialog_layout layout() {
    constexpr int width = 34, height = 9;
    dialog_layout d{.title = "Copy Pattern", .width = width, .height = height};
    d.items = {
        label("Source Pattern", {2, 2, 22, 3}),
        value_box(source, {23, 2, 30, 3}),
        label("Destination Pattern", {2, 4, 22, 5}),
        value_box(target, {23, 4, 30, 5}),
    };
    for (dialog_item& i : ok_cancel(width, height, true)) d.items.push_back(std::move(i));
    return d;
}

bool any_used(const program& p, int pattern) {
    for (int t = 0; t < tracks_per_pattern; ++t)
        if (p.slot(pattern, t).in_use) return true;
    return false;
}

outcome copy_pattern(program& p, const field_values& v) {
    const int from = v[source].number, to = v[target].number;
    const char* refusal = from == to           ? msg_same_pattern
                          : !any_used(p, from) ? msg_no_pattern_data
                          : any_used(p, to)    ? msg_not_empty
                                               : nullptr;
    if (refusal) {
        p.message(refusal);
        return outcome::refused;
    }
    int blocks = 2;
    for (int t = 0; t < tracks_per_pattern; ++t)
        if (p.slot(from, t).in_use) blocks += p.slot(from, t).blocks;
    if (!enough_blocks(p, blocks, msg_icon::stop)) return outcome::refused;
    const int current = p.d.current_track;
    for (int t = 0; t < tracks_per_pattern; ++t)
        if (p.slot(from, t).in_use) copy_whole_track(p, {from, t}, {to, t});
    p.d.current_pattern = static_cast<std::int16_t>(to);
    p.d.current_track = static_cast<std::int16_t>(current);
    p.screen.repaint(-1);
    return outcome::done;
}

}  // namespace

command_record copy_pattern_command() {
    return {
        .id = cmd::copy_pattern,
        .text = "Copy &Pattern...",
        .shortcut = "Shift+Y",
        .changes_song = true,
        .help = std::string(help_page::copy_pattern),
        .fields = {pattern_field("Source Pattern"), pattern_field("Destination Pattern")},
        .dialog = layout(),
        .initial = [](const program& p) -> field_values {
            return {{p.d.current_pattern}, {p.d.current_pattern}};
        },
        .run = copy_pattern,
    };
}

}  // namespace kestrune
