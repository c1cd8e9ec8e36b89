// Push Track: the whole track moved forward or backward by as much of the amount as fits, so that
// every distance between its events stays.
#include "core/command_ids.h"
#include "processing/commands.h"
#include "processing/track_edit.h"
#include "processing/track_span.h"
#include "services/help_pages.h"

namespace kestrune {

namespace {

enum field { direction, amount };
enum push_direction { forward, backward };

dialog_layout layout() {
    constexpr int width = 34, height = 10;
    dialog_layout d{.title = "Push Track", .width = width, .height = height};
    d.items = {
        radio_button(direction, forward, "Forward", {2, 2, 15, 3}),
        radio_button(direction, backward, "Backward", {17, 2, 32, 3}),
        label("Amount", {2, 4, 10, 5}),
        value_box(amount, {11, 4, 30, 5}),
    };
    for (dialog_item& i : ok_cancel(width, height, true)) d.items.push_back(std::move(i));
    return d;
}

// The shift the track can take: forward up to the song's end, backward down to 0.
std::int32_t room_for(const event_store& s, ref32 first, int dir, std::int32_t d) {
    if (dir == forward) return std::min(d, last_position - s.position(s.last_event(first)));
    return -std::min(d, s.position(first));
}

outcome push(program& p, const field_values& v) {
    keep_values(p, cmd::push_track, v);
    track_edit g(p, p.d.current_pattern, p.d.current_track);
    if (!g) return outcome::refused;
    g.begin();
    event_store s = g.store();
    const ref32 first = g.slot().first;
    const std::int32_t d = room_for(s, first, v[direction].number, v[amount].number);
    for (ref32 e = first; is_event_status(s.status(e)); e = s.next_event(e))
        s.at(e).set_position(s.position(e) + d);
    return outcome::done;
}

}  // namespace

command_record push_track_command() {
    return {
        .id = cmd::push_track,
        .text = "P&ush Track...",
        .shortcut = "Shift+P",
        .views = {.main_screen = true, .editor = true},
        .changes_song = true,
        .undo = undo_kind::track,
        .needs = command_needs::track_data,
        .help = std::string(help_page::push_track),
        .fields = {choice_field("Direction", {"Forward", "Backward"}),
                   {.label = "Amount",
                    .kind = field_kind::time_span,
                    .low = 0,
                    .high = last_position,
                    .entry_length = 13}},
        .dialog = layout(),
        .initial =
            [](const program& p) {
                return kept_values(p, cmd::push_track, {{forward}, {0}});
            },
        .run = push,
    };
}

}  // namespace kestrune
