#include "editors/list/list_edit.h"

#include <algorithm>
#include <optional>

#include "editors/list/chain_edit.h"
#include "editors/list/event_list.h"
#include "editors/sysex/sysex_edit.h"
#include "editors/tempo/list_rows.h"
#include "processing/quantize.h"
#include "song/event_store.h"

namespace kestrune {

namespace {

bool refuses_edit(const program& p) {
    const editor_state& ed = p.editor;
    return ed.position_follow || ed.cursor == null_ref || is_end(p, ed.cursor);
}

std::uint8_t off_status(std::uint8_t note_on_status) {
    return static_cast<std::uint8_t>(note_on_status - 0x10);
}

// The new kind of a record under Change Event, or nothing when it keeps its kind.
std::optional<midi_event> changed_kind(program& p, const midi_event& e) {
    editor_state& ed = p.editor;
    midi_event n = e;
    const std::uint8_t kind = e.status() & 0xF0;
    const auto status = [&](std::uint8_t s) { n.set_status(s); };
    switch (e.status() >= 0xF0 ? e.status() : kind) {
        case 0xA0:
        case 0xB0:
        case 0xC0:
        case 0xD0:
            status(static_cast<std::uint8_t>(e.status() + 0x10));
            ed.last_other = {n.status(), n.data1(), n.data2()};
            return n;
        case 0xE0:
            ed.last_other = {e.status(), e.data1(), e.data2()};
            ed.other = other_kind::sysex;
            return empty_long_event(long_kind::sysex, e.position());
        case 0x80:
            status(static_cast<std::uint8_t>(e.status() + 0x10));
            n.set_data2(64);
            return n;
        case 0x90:
            if (e.data2() != 0) return std::nullopt;
            status(static_cast<std::uint8_t>(e.status() - 0x10));
            n.set_data2(64);
            return n;
        case st::sysex:
            ed.other = other_kind::text;
            return empty_long_event(long_kind::text, e.position());
        case st::text:
            if (e.raw0() != 0) {
                n.set_spare_nibble(e.is_lyric() ? 0 : lyric_nibble);
                return n;
            }
            if (!e.is_lyric()) {
                ed.other = other_kind::lyric;
                return empty_long_event(long_kind::lyric, e.position());
            }
            ed.other = other_kind::last_other;
            return midi_event::make(static_cast<std::uint8_t>(0xA0 | (ed.last_other.status & 0x0F)),
                                    ed.last_other.data1, ed.last_other.data2, e.position());
        default:
            return std::nullopt;
    }
}

}  // namespace

outcome change_event(program& p) {
    if (refuses_edit(p)) return outcome::refused;
    const ref32 c = p.editor.cursor;
    const midi_event e = p.store().at(c);
    // Only a sysex of one record can become a text.
    if (e.status() == st::sysex && e.raw0() != st::sysex_end && e.raw1() != st::sysex_end) {
        p.message(msg_long_sysex);
        return outcome::refused;
    }
    const std::optional<midi_event> n = changed_kind(p, e);
    if (!n) return outcome::done;
    chain_edit edit(p);
    if (!edit.begin()) return outcome::refused;
    edit.store().at(c) = *n;
    edit.give_back();
    land_cursor(p, *n, 0);
    return outcome::done;
}

outcome delete_event(program& p) {
    if (refuses_edit(p)) return outcome::refused;
    editor_state& ed = p.editor;
    const ref32 c = ed.cursor;
    const event_store s = p.store();
    const midi_event e = s.at(c);
    // The first signature stays; a later one leaves its bars to the one before.
    std::optional<std::int32_t> bars_kept;
    if (in_signature_list(p, c) && !(bars_kept = shift_after_deleting(p, c))) return outcome::refused;
    if (e.is_note_off() &&
        p.screen.message(ask_delete_note_off, msg_icon::question, msg_buttons::yes_no,
                         msg_answer::yes) != msg_answer::yes)
        return outcome::cancelled;
    // The highlight goes to the next shown event, or up one row when the end comes next.
    ref32 next = next_shown(p, c);
    int row_delta = 0;
    if (is_end(p, next) && ed.cursor_row > 0 && !is_head(p, prev_shown(p, c))) {
        next = prev_shown(p, c);
        row_delta = -1;
    }
    cursor_target to = target_of(p, next);
    chain_edit edit(p);
    if (!edit.begin()) return outcome::refused;
    if (e.is_note_on()) {
        int depth = 0;
        const ref32 off = s.find_note_off(c, &depth);
        if (depth == 0) {
            // The partner was the next row: the highlight goes past it.
            if (to && next == off) to = target_of(p, next_shown(p, off));
            edit.remove(off, 1);
        }
    }
    if (bars_kept) shift_after(s, c, *bars_kept);
    edit.remove(c, s.event_length(c));
    edit.give_back();
    land_cursor(p, to, row_delta);
    return outcome::done;
}

namespace {

// The next note-on after e of the same status and key, or the end.
ref32 next_same_note(const event_store& s, ref32 e) {
    const midi_event& on = s.at(e);
    for (ref32 r = s.next_event(e); s.at(r).is_event(); r = s.next_event(r))
        if (s.status(r) == on.status() && s.at(r).is_note_on() && s.at(r).data1() == on.data1()) return r;
    return s.chain_end(e);
}

// After the new note-on at `on`: its note-off, by the place of the next note of the same key.
bool put_note_off(chain_edit& edit, ref32 on) {
    event_store s = edit.store();
    const midi_event n = s.at(on);
    const std::int32_t pos = n.position();
    const ref32 same = next_same_note(s, on);
    midi_event off = midi_event::make(off_status(n.status()), n.data1(), 64, pos);
    if (!s.at(same).is_event()) return edit.insert(s.find_after_position(edit.first(), pos), off);
    if (s.position(same) > pos + 1) {
        off.set_position(pos + 1);
        return edit.insert(s.find_at_position(edit.first(), pos + 1, no_loop), off);
    }
    int depth = 0;
    const ref32 partner = s.find_note_off(same, &depth);
    if (depth == 0) return edit.insert(s.next_record(partner), s.at(partner));
    off.set_position(s.position(same));
    return edit.insert(same, off);
}

// Inserts are for the event list, not while it follows the song, and need a few blocks in hand.
bool insert_refused(const program& p) {
    const editor_state& ed = p.editor;
    return ed.position_follow || ed.cursor == null_ref || ed.kind != editor_kind::event_list ||
           p.d.free_blocks <= insert_reserve_blocks;
}

}  // namespace

outcome insert_note(program& p) {
    editor_state& ed = p.editor;
    if (insert_refused(p)) return outcome::refused;
    const ref32 c = ed.cursor;
    const event_store s = p.store();
    const midi_event row = s.at(c);
    chain_edit edit(p);
    if (!edit.begin()) return outcome::refused;
    const short_event& ln = ed.last_note;
    if (is_end(p, c)) {
        const midi_event on = midi_event::make(ln.status, ln.data1, ln.data2, song_start);
        const midi_event off = midi_event::make(off_status(ln.status), ln.data1, ln.data2, song_start + 1);
        edit.insert(s.find_after_position(edit.first(), song_start), on) &&
            edit.insert(s.find_after_position(edit.first(), song_start + 1), off);
        edit.give_back();
        land_cursor(p, std::nullopt, 0);
        return outcome::done;
    }
    midi_event on = midi_event::make(ln.status, ln.data1, ln.data2, row.position());
    // The new note-on goes right behind the row's whole event, where the highlight follows it.
    const ref32 at = s.next_event(c);
    if (row.is_note_on()) {
        on = row;
        on.clear_marks();
        ed.last_note = {on.status(), on.data1(), on.data2()};
        int depth = 0;
        const ref32 partner = s.find_note_off(c, &depth);
        // The note-off first: it lies later, so the note-on's place stays where it is. The copy's
        // note-off goes before the partner, so it pairs with the copy and carries no shift bits.
        if (depth == 0) {
            midi_event off = s.at(partner);
            clear_shift_note_off_part(off);
            edit.insert(partner, off);
        } else
            edit.insert(at, midi_event::make(off_status(on.status()), on.data1(), 64, on.position()));
        edit.insert(at, on);
    } else if (edit.insert(at, on)) {
        put_note_off(edit, at);
    }
    edit.give_back();
    land_cursor_on(p, at, 1);
    return outcome::done;
}

outcome insert_other(program& p) {
    if (edited_list(p)) return insert_list_row(p);
    editor_state& ed = p.editor;
    if (insert_refused(p)) return outcome::refused;
    const ref32 c = ed.cursor;
    const event_store s = p.store();
    const short_event& lo = ed.last_other;
    const bool end = is_end(p, c);
    const midi_event row = s.at(c);
    const std::int32_t pos = end ? song_start : row.position();
    midi_event made = midi_event::make(lo.status, lo.data1, lo.data2, pos);
    const std::uint8_t kind = end ? 0 : row.status() >= 0xF0 ? row.status() : row.status() & 0xF0;
    if ((end && ed.other == other_kind::sysex) || kind == st::sysex) {
        made = empty_long_event(long_kind::sysex, pos);
    } else if (end && ed.other != other_kind::last_other) {
        made = empty_long_event(ed.other == other_kind::lyric ? long_kind::lyric : long_kind::text, pos);
    } else if (kind == st::text) {
        made = empty_long_event(*long_kind_of(row), pos);
    } else if (kind >= 0xA0 && kind <= 0xE0) {
        made = row;
        ed.last_other = {row.status(), row.data1(), row.data2()};
    } else if (kind == st::tempo || kind == st::signature) {
        return outcome::refused;
    }
    made.clear_marks();
    chain_edit edit(p);
    if (!edit.begin()) return outcome::refused;
    // The record stays where it goes in, behind every event at its position: the highlight
    // lands on it, not on an identical row before it.
    const ref32 at = end ? s.find_after_position(edit.first(), pos) : s.next_event(c);
    edit.insert(at, made);
    edit.give_back();
    land_cursor_on(p, at, end ? 0 : 1);
    return outcome::done;
}

outcome requantize_note(program& p, bool quantize) {
    editor_state& ed = p.editor;
    if (ed.cursor == null_ref || is_end(p, ed.cursor)) return outcome::refused;
    const ref32 c = ed.cursor;
    const event_store s = p.store();
    int depth = 1;
    if (s.at(c).is_note_on()) s.find_note_off(c, &depth);
    const cursor_target to = target_of(p, next_shown(p, c));
    if (depth == 0) {
        chain_edit edit(p);
        if (!edit.begin()) return outcome::refused;
        dequantize_note(p, c);
        if (quantize) quantize_pass(p, p.app.edit_pattern, ticks_per_whole / p.app.edit_grid).quantize_note(c);
        edit.give_back();
    }
    ed.position_follow = false;
    land_cursor(p, to, to ? 1 : 0);
    return outcome::done;
}

namespace {

// The note-off of a note-on, or null_ref.
ref32 partner(const event_store& s, ref32 on) {
    if (!s.at(on).is_note_on()) return null_ref;
    int depth = 0;
    const ref32 off = s.find_note_off(on, &depth);
    return depth == 0 ? off : null_ref;
}

}  // namespace

void set_row_data(program& p, ref32 e, row_data what, std::int32_t v) {
    event_store s = p.store();
    const ref32 off = partner(s, e);
    chain_edit edit(p);
    if (!edit.begin()) return;
    const auto put = [&](ref32 r) {
        midi_event& m = s.at(r);
        const auto b = static_cast<std::uint8_t>(std::clamp(v, 0, 127));
        switch (what) {
            case row_data::channel:
                m.set_status(static_cast<std::uint8_t>((m.status() & 0xF0) | (b & 0x0F)));
                break;
            case row_data::data1: m.set_data1(b); break;
            case row_data::data2: m.set_data2(b); break;
        }
    };
    const bool note_on = s.at(e).is_note_on();
    if (what == row_data::data2 && note_on) v = std::max(v, 1);
    put(e);
    if (off != null_ref && what != row_data::data2) put(off);
    const midi_event now = s.at(e);
    edit.give_back();
    land_cursor(p, now, 0);
    if (note_on && what == row_data::data1) hear_row(p, p.editor.cursor);
}

void move_row_event(program& p, ref32 e, std::int32_t delta) {
    event_store s = p.store();
    if (in_signature_list(p, e)) return move_signature(p, e, delta);
    const ref32 off = partner(s, e);
    const std::int32_t pos = s.position(e);
    const std::int32_t end = off != null_ref ? s.position(off) : pos;
    delta = std::clamp(delta, -pos, last_position - end);
    if (delta == 0) return;
    chain_edit edit(p);
    if (!edit.begin()) return;
    s.at(e).set_position(pos + delta);
    if (off != null_ref) s.at(off).set_position(end + delta);
    const midi_event now = s.at(e);
    edit.give_back();
    land_cursor(p, now, 0);
}

void set_note_length(program& p, ref32 on, std::int32_t length) {
    event_store s = p.store();
    const ref32 off = partner(s, on);
    if (off == null_ref) return;
    const std::int32_t pos = s.position(on);
    std::int32_t high = last_position - pos;
    const ref32 same = next_same_note(s, on);
    if (s.at(same).is_event()) high = std::min(high, s.position(same) - pos - 1);
    length = std::clamp(length, 0, std::max(0, high));
    if (s.position(off) == pos + length) return;
    chain_edit edit(p);
    if (!edit.begin()) return;
    s.at(off).set_position(pos + length);
    const midi_event now = s.at(on);
    edit.give_back();
    land_cursor(p, now, 0);
}

}  // namespace kestrune
