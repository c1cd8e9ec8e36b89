#include "editors/list/chain_edit.h"

#include <algorithm>

#include "editors/list/event_list.h"
#include "song/locate.h"

namespace kestrune {

chain_edit::chain_edit(program& p) : p_(p), list_(edited_list(p)) {
    if (!list_) track_.emplace(p, p.app.edit_pattern, p.d.current_track, track_edit_options{.empty_ok = true});
}

bool chain_edit::begin() {
    if (!list_) return *track_ && track_->begin();
    if (p_.refuse_while_recording()) return false;
    parked_.emplace(p_);
    return true;
}

ref32 chain_edit::first() const { return list_ ? list_->first : track_->slot().first; }

std::uint16_t& chain_edit::blocks() const { return list_ ? list_->blocks : track_->slot().blocks; }

bool chain_edit::insert(ref32 at, const midi_event& e) {
    event_store s = store();
    const int taken = s.insert_record(at);
    if (taken < 0) return false;
    blocks() = static_cast<std::uint16_t>(blocks() + taken);
    p_.d.free_blocks -= taken;
    s.at(at) = e;
    return true;
}

void chain_edit::remove(ref32 at, int n) {
    const int freed = store().delete_records(at, n);
    blocks() = static_cast<std::uint16_t>(blocks() - freed);
    p_.d.free_blocks += freed;
}

void chain_edit::remove_all(std::vector<ref32> records) {
    std::sort(records.begin(), records.end());
    const event_store s = store();
    for (ref32 e = s.last_event(first()); is_event_status(s.status(e));) {
        const ref32 before = s.prev_event(e);
        if (std::binary_search(records.begin(), records.end(), e)) remove(e, 1);
        e = before;
    }
}

void chain_edit::give_back() {
    if (!list_) return track_->give_back();
    if (!parked_) return;
    store().sort_chain(list_->first);
    locate_lists(p_);
    parked_.reset();
    ++p_.changes.tracks;
}


cursor_target target_of(const program& p, ref32 e) {
    if (e == null_ref || is_end(p, e) || is_head(p, e)) return std::nullopt;
    return p.store().at(e);
}

void land_cursor(program& p, const cursor_target& t, int row_delta) {
    const ref32 first = edited_first(p);
    if (first == null_ref) return cursor_to_start(p);
    const event_store s = p.store();
    ref32 e = s.chain_end(first);
    if (t) {
        for (ref32 r = s.find_at_position(first, t->position(), no_loop); s.at(r).is_event();
             r = s.next_event(r)) {
            if (s.position(r) != t->position()) break;
            if (std::equal(std::begin(s.at(r).b), std::end(s.at(r).b), std::begin(t->b))) {
                e = r;
                break;
            }
        }
    }
    land_cursor_on(p, e, row_delta);
}

void land_cursor_on(program& p, ref32 e, int row_delta) {
    editor_state& ed = p.editor;
    ed.cursor = e;
    ed.cursor_row = std::clamp(ed.cursor_row + row_delta, 0, shown_rows(p) - 1);
    ed.tracks_seen = p.changes.tracks;
    settle_cursor(p);
}

}  // namespace kestrune
