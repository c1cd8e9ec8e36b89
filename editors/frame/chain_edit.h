// One edit of the edited track inside the track-edit guard: the editor session's undo copy, the
// track hidden while it changes, and the block counts kept as records come and go.
#pragma once

#include <algorithm>
#include <vector>

#include "processing/track_edit.h"
#include "song/event_store.h"

namespace kestrune {

class chain_edit {
public:
    explicit chain_edit(program& p)
        : p_(p), g_(p, p.app.edit_pattern, p.d.current_track, {.empty_ok = true}) {}
    bool begin(int blocks_needed = 0) { return g_ && g_.begin(blocks_needed); }
    event_store store() const { return p_.store(); }
    ref32 first() const { return g_.slot().first; }
    track_edit& guard() { return g_; }
    bool insert(ref32 at, const midi_event& e) {
        event_store s = store();
        const int taken = s.insert_record(at);
        if (taken < 0) return false;
        g_.slot().blocks = static_cast<std::uint16_t>(g_.slot().blocks + taken);
        p_.d.free_blocks -= taken;
        s.at(at) = e;
        return true;
    }
    void remove(ref32 at, int n) {
        const int freed = store().delete_records(at, n);
        g_.slot().blocks = static_cast<std::uint16_t>(g_.slot().blocks - freed);
        p_.d.free_blocks += freed;
    }
    // Removes these records (single-record events), walking from the chain's end so that no
    // removal moves a record still to go.
    void remove_all(std::vector<ref32> records) {
        std::sort(records.begin(), records.end());
        const event_store s = store();
        for (ref32 e = s.last_event(first()); is_event_status(s.status(e));) {
            const ref32 before = s.prev_event(e);
            if (std::binary_search(records.begin(), records.end(), e)) remove(e, 1);
            e = before;
        }
    }
    void give_back() { g_.give_back(); }

private:
    program& p_;
    track_edit g_;
};

}  // namespace kestrune
