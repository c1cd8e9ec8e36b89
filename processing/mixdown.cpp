// Mixdown 32 Tracks: every track of the current pattern merged from the top down, the parameters
// frozen into the events, so that the result lies in the lowest used track.
#include "core/command_ids.h"
#include "processing/commands.h"
#include "processing/track_copy.h"
#include "processing/track_span.h"
#include "services/help_pages.h"
#include "song/locate.h"
#include "song/patterns.h"

namespace kestrune {

namespace {

constexpr const char* msg_mixdown = "Mixdown will merge all tracks in this pattern!";
constexpr const char* mixdown_name = "mixdown   ";
constexpr int spare_blocks = 2;

// The track all others went into, or -1 when nothing was merged. A pool too small stops the
// walk; what was merged so far stays.
int merge_down(program& p, int pattern) {
    int merged_into = -1;
    for (int src = tracks_per_pattern - 1, dst = src - 1; dst >= 0;) {
        const track_slot& d = p.slot(pattern, dst);
        const track_slot& s = p.slot(pattern, src);
        if (!d.in_use || dst >= src) {
            --dst;
        } else if (!s.in_use) {
            --src;
        } else {
            if (!enough_blocks(p, s.blocks + d.blocks + spare_blocks + 1, msg_icon::warning)) break;
            if (!merge_tracks(p, {pattern, src}, {pattern, dst}, true)) break;
            merged_into = src = dst--;
        }
    }
    return merged_into;
}

outcome mixdown(program& p) {
    if (!confirmed(p, msg_mixdown)) return outcome::cancelled;
    const int pattern = p.d.current_pattern, current = p.d.current_track;
    const int result = merge_down(p, pattern);
    p.d.current_pattern = static_cast<std::int16_t>(pattern);
    p.d.current_track = static_cast<std::int16_t>(current);
    if (result < 0) return outcome::done;
    track_slot& sl = p.slot(pattern, result);
    {
        program::park parked(p);
        put_name(sl.name, mixdown_name);
        sl.quantize = 0;
        sl.loop_length = no_loop;
        locate_track(p, pattern, result);
    }
    ++p.changes.tracks;
    p.screen.repaint(-1);
    return outcome::done;
}

}  // namespace

command_record mixdown_command() {
    return {
        .id = cmd::mixdown,
        .text = "&Mixdown 32 Tracks",
        .shortcut = "Shift+M",
        .changes_song = true,
        .help = std::string(help_page::mixdown),
        .run = [](program& p, const field_values&) { return mixdown(p); },
    };
}

}  // namespace kestrune
