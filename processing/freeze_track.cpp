// Freeze Track Parameters: the live parameters written into the events once and for all, so that
// the track sounds the same with them neutral.
#include "core/command_ids.h"
#include "processing/chain_transforms.h"
#include "processing/commands.h"
#include "processing/track_edit.h"
#include "processing/track_span.h"
#include "services/help_pages.h"

namespace kestrune {

namespace {

constexpr const char* msg_freeze_parameters = "Freeze track parameters?";
constexpr std::uint8_t own_channels = 16;

// The channel stays set, since the events now agree with it; Mute, Loop and Qua are not frozen.
void freeze_parameters(event_store& s, track_slot& sl) {
    if (sl.channel != own_channels) transform_channel(s, sl.first, sl.channel);
    freeze_levels(s, sl);
}

outcome freeze(program& p, int pattern, int track) {
    track_edit g(p, pattern, track);
    if (!g) return outcome::refused;
    if (!confirmed(p, msg_freeze_parameters)) return outcome::cancelled;
    g.begin();
    event_store s = g.store();
    freeze_parameters(s, g.slot());
    return outcome::done;
}

}  // namespace

command_record freeze_track_command() {
    return {
        .id = cmd::freeze_track_parameters,
        .text = "Freeze &Track Parameters",
        .shortcut = "Shift+F",
        .views = {.main_screen = true, .editor = true},
        .changes_song = true,
        .undo = undo_kind::track,
        .needs = command_needs::track_data,
        .help = std::string(help_page::freeze),
        .run = [](program& p, const field_values&) {
            return freeze(p, p.d.current_pattern, p.d.current_track);
        },
    };
}

}  // namespace kestrune
