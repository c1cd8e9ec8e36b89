// Check Track: notes without an end, note-offs without a start, and doubled events repaired.
#include "processing/check_track.h"

#include <array>
#include <vector>

#include "core/command_ids.h"
#include "processing/commands.h"
#include "processing/track_span.h"
#include "services/help_pages.h"

namespace kestrune {

namespace {

constexpr int reserved_blocks = 3;
constexpr std::uint8_t release_velocity = 0x40;

bool has_note_off(const event_store& s, ref32 note_on) {
    int depth = 0;
    s.find_note_off(note_on, &depth);
    return depth == 0;
}

// Records of the pool marked for removal.
class record_marks {
public:
    explicit record_marks(const event_store& s)
        : s_(s), marked_(s.layout().block_count * (block_bytes / record_bytes)) {}
    void mark(ref32 e) { marked_[index(e)] = true; }
    bool marked(ref32 e) const { return marked_[index(e)]; }

private:
    std::size_t index(ref32 e) const { return (e - s_.layout().first_block) / record_bytes; }
    const event_store& s_;
    std::vector<bool> marked_;
};

// A note-off of its own position right behind each note-on that has none.
void end_open_notes(track_edit& g) {
    event_store s = g.store();
    dll_data& d = s.data();
    for (ref32 e = g.slot().first; is_event_status(s.status(e)); e = s.next_event(e)) {
        if (!s.at(e).is_note_on() || has_note_off(s, e)) continue;
        if (d.free_blocks <= reserved_blocks) return;
        const ref32 behind = s.next_record(e);
        if (s.insert_record(behind)) {
            d.free_blocks -= 1;
            g.slot().blocks += 1;
        }
        midi_event off = s.at(e);
        off.set_status(static_cast<std::uint8_t>(off.status() - 0x10));
        off.clear_marks();
        off.set_data2(release_velocity);
        s.at(behind) = off;
        e = behind;
    }
}

// Note-offs before any note-on of their channel and key.
void mark_orphan_note_offs(const event_store& s, ref32 first, record_marks& marks) {
    std::array<std::array<bool, 128>, 16> started{};
    for (ref32 e = first; is_event_status(s.status(e)); e = s.next_event(e)) {
        const midi_event& ev = s.at(e);
        if (ev.is_note_on())
            started[ev.status() & 0x0F][ev.data1()] = true;
        else if (ev.is_note_off() && !started[ev.status() & 0x0F][ev.data1()])
            marks.mark(e);
    }
}

bool may_double(const midi_event& ev) { return !is_long_head_status(ev.status()) && !ev.is_note_off(); }

void mark_doubles(const event_store& s, const track_slot& sl, record_marks& marks) {
    std::vector<ref32> events;
    for (ref32 e = sl.first; is_event_status(s.status(e)); e = s.next_event(e)) events.push_back(e);
    const std::uint8_t status_mask = sl.channel == channel_as_recorded ? 0xFF : 0xF0;
    for (std::size_t i = events.size(); i-- > 0;) {
        const midi_event& later = s.at(events[i]);
        if (marks.marked(events[i]) || !may_double(later)) continue;
        for (std::size_t j = i; j-- > 0 && s.position(events[j]) == later.position();) {
            const midi_event& earlier = s.at(events[j]);
            if (marks.marked(events[j]) || !may_double(earlier) ||
                (earlier.status() & status_mask) != (later.status() & status_mask) ||
                earlier.data1() != later.data1())
                continue;
            if (later.is_note_on() && earlier.is_note_on()) {
                int depth = 0;
                const ref32 off = s.find_note_off(events[j], &depth);
                if (depth == 0) marks.mark(off);
            }
            if ((earlier.status() & 0xF0) != 0xB0) marks.mark(events[j]);
        }
    }
}

// Drops the marked records in place and gives the blocks left empty back.
void remove_marked(track_edit& g, const record_marks& marks) {
    event_store s = g.store();
    track_slot& sl = g.slot();
    ref32 w = sl.first;
    ref32 r = sl.first;
    for (; s.status(r) != st::end; r = s.next_record(r)) {
        if (marks.marked(r)) continue;
        if (w != r) s.at(w) = s.at(r);
        w = s.next_record(w);
    }
    s.at(w) = s.at(r);
    const ref32 last = s.block_of(w);
    const ref32 rest = s.link(event_store::forward_link(last));
    if (rest == null_ref) return;
    s.set_link(event_store::forward_link(last), null_ref);
    s.set_link(rest, null_ref);
    sl.blocks = static_cast<std::uint16_t>(sl.blocks - s.free_chain(event_store::first_slot(rest)));
}

}  // namespace

void repair_track(track_edit& g) {
    if (g.slot().first == null_ref) return;
    end_open_notes(g);
    event_store s = g.store();
    record_marks marks(s);
    mark_orphan_note_offs(s, g.slot().first, marks);
    mark_doubles(s, g.slot(), marks);
    remove_marked(g, marks);
}

command_record check_track_command() {
    return asking_track_command(cmd::check_track, "Check &Track", "X", help_page::check_track, msg_check_track,
                                repair_track);
}

}  // namespace kestrune
