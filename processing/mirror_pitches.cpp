// Mirror Pitches: every note turned around a mirror key, a channel left out when asked.
#include <algorithm>

#include "core/command_ids.h"
#include "processing/commands.h"
#include "processing/track_edit.h"
#include "processing/track_span.h"
#include "services/help_pages.h"

namespace kestrune {

namespace {

enum field { mirror_note, exclude, excluded_channel };
constexpr int max_key = 127;

dialog_layout layout() {
    constexpr int width = 36, height = 10;
    dialog_layout d{.title = "Mirror Pitches", .width = width, .height = height};
    d.items = {
        label("Mirror Note", {2, 2, 16, 3}),
        value_box(mirror_note, {17, 2, 24, 3}),
        check_box(exclude, "Exclude MIDI Channel", {2, 4, 26, 5}),
        value_box(excluded_channel, {27, 4, 32, 5}),
    };
    for (dialog_item& i : ok_cancel(width, height, true)) d.items.push_back(std::move(i));
    return d;
}

// Polyphonic pressure keeps its key: only notes turn.
outcome mirror(program& p, const field_values& v) {
    keep_values(p, cmd::mirror_pitches, v);
    track_edit g(p, p.d.current_pattern, p.d.current_track);
    if (!g) return outcome::refused;
    g.begin();
    event_store s = g.store();
    const int axis = 2 * v[mirror_note].number;
    for (ref32 e = g.slot().first; is_event_status(s.status(e)); e = s.next_event(e)) {
        midi_event& on = s.at(e);
        if (!on.is_note_on() ||
            (v[exclude].number && (on.status() & 0x0F) == v[excluded_channel].number))
            continue;
        const ref32 off = s.find_note_off(e);
        const auto key = static_cast<std::uint8_t>(std::clamp(axis - on.data1(), 0, max_key));
        on.set_data1(key);
        if (is_event_status(s.status(off))) s.at(off).set_data1(key);
    }
    return outcome::done;
}

}  // namespace

command_record mirror_pitches_command() {
    return {
        .id = cmd::mirror_pitches,
        .text = "&Mirror Pitches...",
        .shortcut = "Shift+V",
        .views = {.main_screen = true, .editor = true},
        .changes_song = true,
        .undo = undo_kind::track,
        .needs = command_needs::track_data,
        .help = std::string(help_page::mirror_pitches),
        .fields = {{.label = "Mirror Note",
                    .kind = field_kind::note,
                    .low = 0,
                    .high = max_key,
                    .entry_length = 4},
                   check_field("Exclude MIDI Channel"),
                   {.label = "MIDI Channel",
                    .kind = field_kind::one_based,
                    .low = 0,
                    .high = 15,
                    .entry_length = 2}},
        .dialog = layout(),
        .initial =
            [](const program& p) {
                return kept_values(p, cmd::mirror_pitches, {{64}, {0}, {9}});
            },
        .run = mirror,
    };
}

}  // namespace kestrune
