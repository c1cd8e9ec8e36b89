#include "editors/grid/grid_notes.h"

#include <algorithm>
#include <functional>

#include "editors/list/chain_edit.h"
#include "editors/list/event_list.h"
#include "editors/list/list_edit.h"
#include "processing/quantize.h"
#include "song/event_store.h"

namespace kestrune {

namespace {

constexpr std::uint8_t new_off_velocity = 0x40;

bool live(const event_store& s, ref32 e) { return is_event_status(s.status(e)); }

std::uint8_t off_status(std::uint8_t on_status) { return static_cast<std::uint8_t>(on_status - 0x10); }

// A note-on of `key` lies between the two ticks (the end left out), `skip` aside.
bool key_taken(const event_store& s, ref32 first, int key, std::int32_t from, std::int32_t to,
               ref32 skip = null_ref) {
    for (ref32 e = s.find_at_position(first, from, no_loop); live(s, e) && s.position(e) < to;
         e = s.next_event(e))
        if (e != skip && s.at(e).is_note_on() && s.at(e).data1() == key) return true;
    return false;
}

void marks_changed(program& p) { ++p.editor.grid.marks; }

}  // namespace

grid_note note_of(const program& p, ref32 on) {
    const event_store s = p.store();
    if (on == null_ref || !s.at(on).is_note_on()) return {};
    int depth = 0;
    const ref32 off = s.find_note_off(on, &depth);
    return {on, depth == 0 ? off : null_ref};
}

bool is_selected(const program& p, const grid_note& n) {
    return n.off != null_ref && has_mark(p.store().at(n.off), mark_selected);
}

grid_note note_at(const program& p, grid_point at, std::int32_t row_ticks) {
    const ref32 first = edited_first(p);
    if (first == null_ref) return {};
    const event_store s = p.store();
    ref32 e = s.find_at_position(first, at.tick + row_ticks, no_loop);
    for (e = s.prev_event(e); live(s, e); e = s.prev_event(e)) {
        const midi_event& m = s.at(e);
        if (m.is_note_on() && m.data1() == at.key && m.position() <= at.tick) break;
    }
    if (!live(s, e)) return {};
    for (ref32 o = s.next_event(e); live(s, o); o = s.next_event(o)) {
        const midi_event& m = s.at(o);
        if (!m.is_note_off() || m.data1() != at.key) continue;
        if (m.position() < at.tick - row_ticks) return {};
        break;
    }
    return note_of(p, e);
}

std::int32_t snap_position(program& p, std::int32_t position) {
    if (!p.song.snap_to_grid) return position;
    return quantize_pass(p, p.app.edit_pattern, ticks_per_whole / p.app.edit_grid).snapped(position);
}

std::int32_t dragged_length(const program& p, std::int32_t raw) {
    if (p.song.snap_to_grid) {
        const int grid = p.app.edit_grid;
        const int unit = (grid == 192 || grid == 96 || grid == 48) ? 48 : (grid == 128 || grid == 64) ? 64 : grid;
        raw = raw / unit * unit;
    }
    return std::max(1, raw - 1);
}

ref32 find_note_on(const program& p, std::int32_t position, int key) {
    const ref32 first = edited_first(p);
    if (first == null_ref) return null_ref;
    const event_store s = p.store();
    for (ref32 e = s.find_at_position(first, position, no_loop); live(s, e) && s.position(e) == position;
         e = s.next_event(e))
        if (s.at(e).is_note_on() && s.at(e).data1() == key) return e;
    return null_ref;
}

void set_cursor_event(program& p, ref32 e) {
    editor_state& ed = p.editor;
    if (e == null_ref) return;
    ed.cursor = e;
    ed.cursor_row = 0;
    ed.position_follow = false;
    ed.tracks_seen = p.changes.tracks;
    ++ed.moves;
}

ref32 pencil_note(program& p, grid_point at, std::int32_t row_ticks) {
    if (p.d.free_blocks < insert_reserve_blocks) return null_ref;
    editor_state& ed = p.editor;
    chain_edit edit(p);
    if (!edit.begin()) return null_ref;
    const std::int32_t length = std::max(ed.grid.last_length, row_ticks);
    const std::int32_t tick = std::clamp(snap_position(p, at.tick), 0, last_position - length);
    const int key = std::clamp(at.key, 0, 127);
    event_store s = edit.store();
    if (key_taken(s, edit.first(), key, tick, tick + length)) {
        edit.give_back();
        p.message(msg_note_overlaps, msg_icon::stop);
        return null_ref;
    }
    const short_event& ln = ed.last_note;
    const auto status = static_cast<std::uint8_t>(0x90 | (ln.status & 0x0F));
    midi_event on = midi_event::make(status, static_cast<std::uint8_t>(key), std::max<std::uint8_t>(ln.data2, 1), tick);
    midi_event off = midi_event::make(off_status(status), static_cast<std::uint8_t>(key), new_off_velocity,
                                      tick + length);
    set_mark(off, mark_selected, true);
    // The note-off first, before what starts where the note ends; then the note-on behind what
    // stands at its own position.
    if (!edit.insert(s.find_at_position(edit.first(), tick + length, no_loop), off) ||
        !edit.insert(s.find_after_position(edit.first(), tick), on)) {
        edit.give_back();
        return null_ref;
    }
    edit.give_back();
    const ref32 made = find_note_on(p, tick, key);
    set_cursor_event(p, made);
    hear_row(p, made, editor_state::heard_span::gesture);
    marks_changed(p);
    return made;
}

void erase_note(program& p, const grid_note& n) {
    if (!n) return;
    chain_edit edit(p);
    if (!edit.begin()) return;
    // The later record first: the note-on's place stays where it is.
    if (n.off != null_ref) edit.remove(n.off, 1);
    edit.remove(n.on, 1);
    edit.give_back();
    if (p.editor.cursor == n.on || p.editor.cursor == n.off) relocate_cursor(p);
    marks_changed(p);
}

void mark_notes(program& p, const note_pick& pick) {
    const ref32 first = edited_first(p);
    if (first == null_ref) return;
    event_store s = p.store();
    for (ref32 e = first; live(s, e); e = s.next_event(e)) {
        if (!s.at(e).is_note_on()) continue;
        const grid_note n = note_of(p, e);
        if (n.off == null_ref) continue;
        midi_event& off = s.at(n.off);
        set_mark(off, mark_selected, pick(s.at(e), off, has_mark(off, mark_selected)));
    }
    marks_changed(p);
}

void clear_selection(program& p) {
    const ref32 first = edited_first(p);
    if (first == null_ref) return;
    event_store s = p.store();
    for (ref32 e = first; live(s, e); e = s.next_event(e))
        if (s.at(e).is_note_off()) set_mark(s.at(e), all_marks, false);
    marks_changed(p);
}

void toggle_selected(program& p, const grid_note& n) {
    if (n.off == null_ref) return;
    midi_event& off = p.store().at(n.off);
    set_mark(off, mark_selected, !has_mark(off, mark_selected));
    marks_changed(p);
}

void select_band(program& p, grid_point a, grid_point b, bool toggle) {
    const auto lo_key = std::min(a.key, b.key), hi_key = std::max(a.key, b.key);
    const auto from = std::min(a.tick, b.tick), to = std::max(a.tick, b.tick);
    mark_notes(p, [&](const midi_event& on, const midi_event& off, bool selected) {
        if (on.data1() < lo_key || on.data1() > hi_key) return selected;
        const std::int32_t end = off.position();
        const bool inside = (on.position() >= from && on.position() <= to) ||
                            (on.position() < from && end >= from && end <= to);
        return inside ? !(toggle && selected) : selected;
    });
}

std::vector<grid_note> selected_notes(const program& p, std::int32_t from, std::int32_t to) {
    std::vector<grid_note> notes;
    const ref32 first = edited_first(p);
    if (first == null_ref) return notes;
    const event_store s = p.store();
    for (ref32 e = s.find_at_position(first, from, no_loop); live(s, e) && s.position(e) <= to;
         e = s.next_event(e)) {
        if (!s.at(e).is_note_on()) continue;
        const grid_note n = note_of(p, e);
        if (is_selected(p, n)) notes.push_back(n);
    }
    return notes;
}

group_shift held_shift(const program& p, group_shift want, std::int32_t from, std::int32_t to) {
    const event_store s = p.store();
    for (const grid_note& n : selected_notes(p, std::max(0, from), to)) {
        const midi_event& on = s.at(n.on);
        want.ticks = std::clamp(want.ticks, -on.position(), last_position - s.position(n.off));
        want.keys = std::clamp(want.keys, -on.data1(), 127 - on.data1());
    }
    return want;
}

namespace {

// The moved copies of the group, in order of position; the sources, sorted, when they go.
struct side_chain {
    std::vector<midi_event> events;
    std::vector<ref32> dropped;
};

side_chain moved_copies(event_store& s, const std::vector<grid_note>& group, group_shift by, bool copy) {
    side_chain side;
    side.events.reserve(group.size() * 2);
    for (const grid_note& n : group) {
        midi_event on = s.at(n.on);
        midi_event off = s.at(n.off);
        for (midi_event* m : {&on, &off}) {
            m->set_position(m->position() + by.ticks);
            m->set_data1(static_cast<std::uint8_t>(m->data1() + by.keys));
        }
        set_mark(off, all_marks, false);
        set_mark(off, mark_selected, true);
        side.events.push_back(on);
        side.events.push_back(off);
        // A copy leaves its source behind, no longer selected.
        if (copy) {
            set_mark(s.at(n.off), mark_selected, false);
        } else {
            side.dropped.push_back(n.on);
            side.dropped.push_back(n.off);
        }
    }
    std::stable_sort(side.events.begin(), side.events.end(),
                     [](const midi_event& a, const midi_event& b) { return a.position() < b.position(); });
    std::sort(side.dropped.begin(), side.dropped.end());
    return side;
}

}  // namespace

bool move_selected(program& p, group_shift by, bool copy, ref32 lead) {
    const std::vector<grid_note> group = selected_notes(p);
    if (group.empty() || by == group_shift{}) return false;
    const midi_event lead_on = p.store().at(lead);
    chain_edit edit(p);
    const int needed = static_cast<int>(2 * group.size() / 32) + 5 + edited_slot(p).blocks;
    track_edit* guard = edit.guard();
    if (!guard || !*guard || !guard->enough_memory(needed) || !edit.begin()) return false;
    event_store s = edit.store();
    const side_chain side = moved_copies(s, group, by, copy);
    // The track's chain and the moved notes merged by position, a moved note first only when
    // strictly earlier; the sources of a move are left out.
    chain_builder b(s);
    std::size_t i = 0;
    for (ref32 e = edit.first(); live(s, e); e = s.next_event(e)) {
        while (i < side.events.size() && side.events[i].position() < s.position(e)) b.put(side.events[i++]);
        if (!std::binary_search(side.dropped.begin(), side.dropped.end(), e)) b.copy_event(e);
    }
    while (i < side.events.size()) b.put(side.events[i++]);
    b.terminate();
    const ref32 first = b.cut();
    if (first == null_ref) {
        edit.give_back();
        p.message(msg_not_enough_memory, msg_icon::stop);
        return false;
    }
    guard->replace_chain(first, b.count_chain_blocks());
    edit.give_back();
    set_cursor_event(p, find_note_on(p, lead_on.position() + by.ticks, lead_on.data1() + by.keys));
    marks_changed(p);
    return true;
}

bool set_dragged_length(program& p, const grid_note& n, std::int32_t raw_length) {
    if (n.off == null_ref) return false;
    const event_store s0 = p.store();
    const std::int32_t start = s0.position(n.on);
    const std::int32_t end = std::clamp(start + dragged_length(p, raw_length), start + 1, last_position);
    if (end == s0.position(n.off)) return false;
    const std::int32_t length = end - start;
    std::vector<grid_note> group = selected_notes(p);
    if (group.size() <= 1) group.assign(1, n);
    const midi_event lead = s0.at(n.on);
    chain_edit edit(p);
    if (!edit.begin()) return false;
    event_store s = edit.store();
    bool changed = false;
    for (const grid_note& g : group) {
        const std::int32_t from = s.position(g.on);
        const std::int32_t to = std::min(from + length, last_position);
        // A longer note may not run into the next note of its key.
        if (key_taken(s, edit.first(), s.at(g.on).data1(), s.position(g.off), to + 1, g.on)) {
            if (g.on == n.on) p.message(msg_note_overlaps, msg_icon::stop);
            continue;
        }
        s.at(g.off).set_position(to);
        changed = true;
    }
    // The guard sorts each note-off into its place.
    edit.give_back();
    if (changed) p.editor.grid.last_length = length;
    set_cursor_event(p, find_note_on(p, lead.position(), lead.data1()));
    marks_changed(p);
    return changed;
}

outcome delete_selected(program& p) {
    const std::vector<grid_note> group = selected_notes(p);
    if (group.empty()) return outcome::refused;
    chain_edit edit(p);
    if (!edit.begin()) return outcome::refused;
    std::vector<ref32> records;
    for (const grid_note& n : group) {
        records.push_back(n.on);
        records.push_back(n.off);
    }
    edit.remove_all(std::move(records));
    edit.give_back();
    relocate_cursor(p);
    marks_changed(p);
    return outcome::done;
}

outcome requantize_selected(program& p, bool quantize) {
    std::vector<grid_note> group = selected_notes(p);
    // Without a selection, the cursor's note.
    if (const grid_note c = note_of(p, p.editor.cursor); group.empty() && c.off != null_ref) group.push_back(c);
    if (group.empty()) {
        p.message(msg_no_events_selected, msg_icon::stop);
        return outcome::refused;
    }
    chain_edit edit(p);
    if (!edit.begin()) return outcome::refused;
    quantize_pass pass(p, p.app.edit_pattern, ticks_per_whole / p.app.edit_grid);
    for (const grid_note& n : group) {
        dequantize_note(p, n.on);
        if (quantize) pass.quantize_note(n.on);
    }
    edit.give_back();
    relocate_cursor(p);
    marks_changed(p);
    return outcome::done;
}

outcome select_notes(program& p, int item) {
    if (p.editor.kind != editor_kind::grid) return outcome::refused;
    p.screen.wait_cursor();
    bool keys[128] = {};
    int highest = -1;
    for (const grid_note& n : selected_notes(p)) {
        const int key = p.store().at(n.on).data1();
        keys[key] = true;
        highest = std::max(highest, key);
    }
    const ref32 c = p.editor.cursor;
    const std::int32_t after = c != null_ref && live(p.store(), c) ? p.store().position(c) : last_position;
    switch (item) {
        case 0: mark_notes(p, [](const midi_event&, const midi_event&, bool) { return true; }); break;
        case 1: mark_notes(p, [](const midi_event&, const midi_event&, bool sel) { return !sel; }); break;
        case 2: mark_notes(p, [&](const midi_event& on, const midi_event&, bool sel) { return sel || keys[on.data1()]; }); break;
        case 3:
            if (highest < 0) {
                p.screen.arrow_cursor();
                p.message(msg_select_one_note, msg_icon::stop);
                return outcome::refused;
            }
            mark_notes(p, [&](const midi_event& on, const midi_event&, bool sel) { return sel || on.data1() <= highest; });
            break;
        default:
            mark_notes(p, [&](const midi_event& on, const midi_event&, bool sel) { return sel || on.position() > after; });
            break;
    }
    p.screen.arrow_cursor();
    return outcome::done;
}

}  // namespace kestrune
