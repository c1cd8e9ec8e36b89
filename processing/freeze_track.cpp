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

// The channel stays set, since the events now agree with it; Mute, Loop and Qua are not frozen.
void freeze_parameters(event_store& s, track_slot& sl) {
    if (sl.channel != channel_as_recorded) transform_channel(s, sl.first, sl.channel);
    freeze_levels(s, sl);
}

}  // namespace

command_record freeze_track_command() {
    return asking_track_command(cmd::freeze_track_parameters, "Freeze &Track Parameters", "Shift+F",
                                help_page::freeze, msg_freeze_parameters, [](track_edit& g) {
                                    event_store s = g.store();
                                    freeze_parameters(s, g.slot());
                                });
}

}  // namespace kestrune
