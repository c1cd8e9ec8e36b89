// One edit of the chain the editor shows. A track goes through the track-edit guard, so the
// session keeps one undo copy and the engine finds the track again; the tempo and signature lists
// keep no undo, and are edited with the engine parked and seated again afterwards.
#pragma once

#include <optional>
#include <vector>

#include "core/program.h"
#include "processing/track_edit.h"

namespace kestrune {

class chain_edit {
public:
    explicit chain_edit(program& p);
    ~chain_edit() { give_back(); }
    chain_edit(const chain_edit&) = delete;
    chain_edit& operator=(const chain_edit&) = delete;

    bool begin();
    event_store store() const { return p_.store(); }
    ref32 first() const;
    // A record put in at `at`, the block counts kept; false when the pool is out of blocks.
    bool insert(ref32 at, const midi_event& e);
    void remove(ref32 at, int n);
    // Removes these records (single-record events), walking from the chain's end so that no
    // removal moves a record still to go.
    void remove_all(std::vector<ref32> records);
    // A track's guard, for a chain built elsewhere; none for the tempo and signature lists.
    track_edit* guard() { return track_ ? &*track_ : nullptr; }
    // The chain sorted and handed back to the engine.
    void give_back();

private:
    std::uint16_t& blocks() const;

    program& p_;
    chain_cursor* list_;
    std::optional<track_edit> track_;
    std::optional<program::park> parked_;
};

// Where the highlight goes after an edit: onto the event with these bytes, found again by its
// position after the chain was sorted; nothing for the end row. The row moves by `row_delta`.
using cursor_target = std::optional<midi_event>;
cursor_target target_of(const program& p, ref32 e);
void land_cursor(program& p, const cursor_target& t, int row_delta);
// The same onto the record at e, where the chain has kept it in place.
void land_cursor_on(program& p, ref32 e, int row_delta);

}  // namespace kestrune
