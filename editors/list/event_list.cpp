#include "editors/list/event_list.h"

#include <algorithm>

#include "core/midi_message.h"
#include "song/event_store.h"

namespace kestrune {

track_slot& edited_slot(const program& p) { return p.slot(p.app.edit_pattern, p.d.current_track); }

chain_cursor* edited_list(const program& p) {
    switch (p.editor.kind) {
        case editor_kind::tempo_list: return &p.d.tempo_chain;
        case editor_kind::signature_list: return &p.d.signature_track;
        default: return nullptr;
    }
}

ref32 edited_first(const program& p) {
    if (const chain_cursor* list = edited_list(p)) return list->first;
    const track_slot& s = edited_slot(p);
    return s.in_use ? s.first : null_ref;
}

bool row_shown(const program& p, const midi_event& e) {
    const row_filters& f = p.editor.filters;
    const std::uint8_t s = e.status();
    switch (s & 0xF0) {
        case 0x80: return f.off;
        case 0x90: return e.data2() != 0 ? f.on : f.off;
        case 0xA0:
        case 0xD0: return f.aft;
        case 0xB0: return f.ctr;
        case 0xC0: return f.prg;
        case 0xE0: return f.pw;
        default: return s >= st::sysex && s <= st::text;
    }
}

int shown_rows(const program& p) { return p.editor.kind == editor_kind::grid ? 1 : list_rows; }
int first_shown_row(const program& p) { return list_rows - shown_rows(p); }

bool is_head(const program& p, ref32 e) { return p.store().status(e) == st::back_link; }
bool is_end(const program& p, ref32 e) {
    const std::uint8_t s = p.store().status(e);
    return s == st::end || s == st::forward_link;
}

ref32 next_shown(const program& p, ref32 e) {
    const event_store s = p.store();
    for (;;) {
        e = s.next_event(e);
        if (!s.at(e).is_event() || row_shown(p, s.at(e))) return e;
    }
}

ref32 prev_shown(const program& p, ref32 e) {
    const event_store s = p.store();
    for (;;) {
        e = s.prev_event(e);
        if (!s.at(e).is_event() || row_shown(p, s.at(e))) return e;
    }
}

namespace {

void moved(program& p) {
    editor_state& ed = p.editor;
    ++ed.moves;
    if (ed.cursor != null_ref && p.store().at(ed.cursor).is_event()) ed.cursor_position = p.store().position(ed.cursor);
}

// The first shown event from e on, or the end.
ref32 shown_from(const program& p, ref32 e) {
    const event_store s = p.store();
    if (is_end(p, e)) return e;
    return s.at(e).is_event() && row_shown(p, s.at(e)) ? e : next_shown(p, e);
}

// How many shown events lie above e, up to `limit`.
int shown_above(const program& p, ref32 e, int limit) {
    int n = 0;
    while (n < limit) {
        e = prev_shown(p, e);
        if (is_head(p, e)) break;
        ++n;
    }
    return n;
}

}  // namespace

void cursor_to_start(program& p) {
    editor_state& ed = p.editor;
    const ref32 first = edited_first(p);
    ed.cursor = first == null_ref ? null_ref : shown_from(p, first);
    ed.cursor_row = 0;
    moved(p);
}

void settle_cursor(program& p) {
    editor_state& ed = p.editor;
    if (ed.cursor == null_ref || edited_first(p) == null_ref) return cursor_to_start(p);
    const event_store s = p.store();
    ref32 c = ed.cursor;
    if (s.at(c).is_event() && !row_shown(p, s.at(c))) c = prev_shown(p, c);
    if (is_head(p, c)) c = next_shown(p, c);
    if (is_end(p, c) && !is_head(p, prev_shown(p, c))) c = prev_shown(p, c);
    ed.cursor = c;
    ed.cursor_row = shown_above(p, c, ed.cursor_row);
    moved(p);
}

void relocate_cursor(program& p) {
    editor_state& ed = p.editor;
    ed.tracks_seen = p.changes.tracks;
    const ref32 first = edited_first(p);
    if (first == null_ref) return cursor_to_start(p);
    const event_store s = p.store();
    ref32 e = s.find_at_position(first, ed.cursor_position, no_loop);
    if (s.status(e) == st::forward_link) e = s.chain_end(first);
    ed.cursor = shown_from(p, e);
    settle_cursor(p);
}

list_row_events list_rows_of(const program& p) {
    list_row_events rows{};
    const editor_state& ed = p.editor;
    if (ed.cursor == null_ref) return rows;
    const int row = std::clamp(ed.cursor_row, 0, shown_rows(p) - 1);
    ref32 e = ed.cursor;
    for (int r = row; r >= 0 && !is_head(p, e); --r, e = prev_shown(p, e))
        rows[static_cast<std::size_t>(r)] = e;
    e = ed.cursor;
    for (int r = row; r < list_rows && !is_end(p, e); ++r) {
        rows[static_cast<std::size_t>(r)] = e;
        e = next_shown(p, e);
    }
    return rows;
}

bool move_cursor(program& p, int delta) {
    editor_state& ed = p.editor;
    if (ed.cursor == null_ref) return false;
    const ref32 to = delta > 0 ? next_shown(p, ed.cursor) : prev_shown(p, ed.cursor);
    // The end row is a row of its own; nothing lies past it or before the head.
    if ((delta > 0 && is_end(p, ed.cursor)) || (delta < 0 && is_head(p, to))) return false;
    ed.cursor = to;
    ed.cursor_row = std::clamp(ed.cursor_row + (delta > 0 ? 1 : -1), 0, shown_rows(p) - 1);
    moved(p);
    return true;
}

bool cursor_to_row(program& p, int row) {
    const list_row_events rows = list_rows_of(p);
    if (row < 0 || row >= list_rows || rows[static_cast<std::size_t>(row)] == null_ref) return false;
    p.editor.cursor = rows[static_cast<std::size_t>(row)];
    p.editor.cursor_row = row;
    moved(p);
    return true;
}

bool follow_due(const program& p) {
    const editor_state& ed = p.editor;
    if (!ed.position_follow || ed.cursor == null_ref || !p.running()) return false;
    const ref32 next = next_shown(p, ed.cursor);
    const std::int32_t at = p.d.position - ed.step_offset;
    if (!is_end(p, ed.cursor) && !is_end(p, next) && p.store().position(next) < at) return true;
    // Behind the song position after a jump back.
    return !is_end(p, ed.cursor) && p.store().position(ed.cursor) > at;
}

void follow_position(program& p) {
    editor_state& ed = p.editor;
    const ref32 first = edited_first(p);
    if (first == null_ref) return;
    const event_store s = p.store();
    const std::int32_t at = std::min(p.d.position - ed.step_offset + 1, last_position);
    // The first event at or after the position, by blocks; the highlight goes on the one before.
    ref32 e = s.find_at_position(first, at, no_loop);
    if (s.status(e) == st::forward_link) e = s.chain_end(first);
    ref32 c = prev_shown(p, e);
    if (is_head(p, c)) c = shown_from(p, first);
    if (c == ed.cursor) return;
    ed.cursor = c;
    ed.cursor_row = shown_above(p, c, ed.cursor_row);
    moved(p);
}

void end_heard_note(program& p) {
    editor_state::heard_note& h = p.editor.heard;
    if (h.status == 0) return;
    dll_data& d = p.d;
    d.send_port = h.port;
    d.send_status = note_off_status(h.status);
    d.send_data1 = h.note;
    d.send_data2 = release_velocity;
    p.wait_request(d.send_request);
    h.status = 0;
}

void end_heard_note_when_due(program& p, std::int64_t ms, bool held) {
    using span = editor_state::heard_span;
    // A row sounds a little longer than a key clicked on the grid, which is heard as a tap.
    constexpr std::int64_t row_ms = 300, key_ms = 200;
    editor_state::heard_note& h = p.editor.heard;
    if (h.status == 0) return;
    if (h.since_ms < 0) h.since_ms = ms;
    const std::int64_t lasted = ms - h.since_ms;
    const bool due = h.span == span::key ? lasted >= key_ms : h.span == span::row && lasted >= row_ms && !held;
    if (due) end_heard_note(p);
}

void hear_row(program& p, ref32 e, editor_state::heard_span span) {
    if (e != null_ref) hear_event(p, p.store().at(e), span);
}

void hear_event(program& p, const midi_event& ev, editor_state::heard_span span) {
    if (p.editor.kind != editor_kind::event_list && p.editor.kind != editor_kind::grid) return;
    end_heard_note(p);
    const std::uint8_t kind = ev.status() & 0xF0;
    if (kind < 0xA0 && !ev.is_note_on()) return;
    if (kind > 0xE0) return;
    const track_slot& t = edited_slot(p);
    const int channel = t.channel < 16 ? t.channel : ev.status() & 0x0F;
    const int port = t.port & 3;
    std::uint8_t d1 = ev.data1(), d2 = ev.data2();
    if (kind == 0x90) {
        int shift = t.transpose;
        if (p.d.song_mode && !p.d.transpose_exempt[port][channel])
            shift += p.step(p.d.song_start_step).transpose;
        d1 = static_cast<std::uint8_t>(std::clamp(d1 + shift, 0, 127));
        d2 = static_cast<std::uint8_t>(compressed_velocity(d2, t.compress, t.velocity));
    }
    dll_data& d = p.d;
    d.send_port = static_cast<std::uint8_t>(port);
    d.send_status = static_cast<std::uint8_t>(kind | channel);
    d.send_data1 = d1;
    d.send_data2 = d2;
    p.wait_request(d.send_request);
    if (kind == 0x90) p.editor.heard = {static_cast<std::uint8_t>(kind | channel), d1,
                                        static_cast<std::uint8_t>(port), span};
}

}  // namespace kestrune
