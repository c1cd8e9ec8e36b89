// Reverse Pitches: the notes' keys, velocities and channels in reverse order, the first note
// taking the last one's; every position stays.
#include <utility>
#include <vector>

#include "core/command_ids.h"
#include "processing/commands.h"
#include "processing/track_edit.h"
#include "processing/track_span.h"
#include "services/help_pages.h"

namespace kestrune {

namespace {

constexpr const char* msg_reverse = "Reverse pitches on track?";

struct note_refs {
    ref32 on;
    ref32 off;  // null_ref when the note has none
};

// Status, key and velocity change places; the spare bits stay with their records.
void swap_values(midi_event& a, midi_event& b) {
    const midi_event was = a;
    a.set_status(b.status());
    a.set_data1(b.data1());
    a.set_data2(b.data2());
    b.set_status(was.status());
    b.set_data1(was.data1());
    b.set_data2(was.data2());
}

std::vector<note_refs> notes_of(const event_store& s, ref32 first) {
    std::vector<note_refs> out;
    for (ref32 e = first; is_event_status(s.status(e)); e = s.next_event(e)) {
        if (!s.at(e).is_note_on()) continue;
        const ref32 off = s.find_note_off(e);
        out.push_back({e, is_event_status(s.status(off)) ? off : null_ref});
    }
    return out;
}

outcome reverse(program& p) {
    track_edit g(p, p.d.current_pattern, p.d.current_track);
    if (!g) return outcome::refused;
    if (!confirmed(p, msg_reverse)) return outcome::cancelled;
    g.begin();
    event_store s = g.store();
    // Note-offs are found before anything changes: a swapped key would mislead the search.
    const std::vector<note_refs> notes = notes_of(s, g.slot().first);
    for (std::size_t i = 0, j = notes.size(); i + 1 < j; ++i) {
        --j;
        swap_values(s.at(notes[i].on), s.at(notes[j].on));
        if (notes[i].off != null_ref && notes[j].off != null_ref)
            swap_values(s.at(notes[i].off), s.at(notes[j].off));
    }
    return outcome::done;
}

}  // namespace

command_record reverse_pitches_command() {
    return {
        .id = cmd::reverse_pitches,
        .text = "&Reverse Pitches",
        .shortcut = "Shift+Z",
        .views = {.main_screen = true, .editor = true},
        .changes_song = true,
        .undo = undo_kind::track,
        .needs = command_needs::track_data,
        .help = std::string(help_page::reverse_pitches),
        .run = [](program& p, const field_values&) { return reverse(p); },
    };
}

}  // namespace kestrune
