// Check Note Overlap: a monophonic line made of a track without moving any start; chords stay.
#include "core/command_ids.h"
#include "processing/commands.h"
#include "processing/track_edit.h"
#include "processing/track_span.h"
#include "services/help_pages.h"

namespace kestrune {

namespace {

constexpr const char* msg_check_overlap = "Check note overlap?";

// The next note-on at a later position than the one at e, or the end record.
ref32 next_start(const event_store& s, ref32 e) {
    const std::int32_t at = s.position(e);
    ref32 n = s.next_event(e);
    while (is_event_status(s.status(n)) && (!s.at(n).is_note_on() || s.position(n) == at)) n = s.next_event(n);
    return n;
}

// Each note ends a tick before the next note starts, whatever its key.
void end_before_next(event_store& s, ref32 first) {
    for (ref32 e = first; is_event_status(s.status(e)); e = s.next_event(e)) {
        if (!s.at(e).is_note_on()) continue;
        int depth = 0;
        const ref32 off = s.find_note_off(e, &depth);
        if (depth != 0) continue;
        const ref32 next = next_start(s, e);
        if (is_event_status(s.status(next)) && s.position(next) <= s.position(off))
            s.at(off).set_position(s.position(next) - 1);
    }
}

}  // namespace

command_record check_note_overlap_command() {
    return asking_track_command(cmd::check_note_overlap, "Check Note &Overlap", "O", help_page::check_note_overlap,
                                msg_check_overlap, [](track_edit& g) {
                                    event_store s = g.store();
                                    end_before_next(s, g.slot().first);
                                });
}

}  // namespace kestrune
