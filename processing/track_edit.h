// The steps every track function takes around its own work, done here once:
//
//     track_edit g(p, pattern, track);            // refuses while recording, and an empty track
//     if (!g) return false;                       // refused: the message is shown, nothing changed
//     ...the function's question or dialog; a Cancel returns, and nothing has changed...
//     if (!g.begin(blocks_needed)) return false;  // undo copy, memory check, track hidden
//     ...rewrite g.slot()'s chain in place, or build one and g.replace_chain(first, blocks)...
//     return true;                                // the guard gives the track back
//
// Given back means: the chain sorted; `in_use` set while the track has a chain; with `stopped`
// held, the play pointer seated at the play position when the pattern plays; the tracks change
// counter moved on, which an open editor watches; the arrow cursor.
#pragma once

#include <cstdint>

#include "core/command.h"
#include "core/program.h"
#include "song/event_store.h"

namespace kestrune {

struct track_edit_options {
    // none: the change needs no copy (the Qua column) or makes its own; track: the command
    // record's kind, the track's copy (while an editor is open, its session's one copy).
    undo_kind undo = undo_kind::track;
    bool empty_ok = false;     // an empty track is no refusal (a take, the Qua column)
    bool during_take = false;  // storing the take itself: recording is no refusal
};

class track_edit {
public:
    track_edit(program& p, int pattern, int track, track_edit_options o = {});
    // Gives the track back if begin() took it.
    ~track_edit() { give_back(); }
    track_edit(const track_edit&) = delete;
    track_edit& operator=(const track_edit&) = delete;

    // False when refused at construction: nothing has changed, and begin() does nothing.
    explicit operator bool() const { return accepted_; }

    // "Not enough memory for this operation!" unless `blocks` blocks are free.
    bool enough_memory(int blocks) const;
    // The undo copy; then, unless fewer than `blocks_needed` blocks are free after it (the
    // memory message, and false: the copy is kept, the track as it was), the wait cursor and the
    // track hidden from the engine: `in_use` 0 and its sounding notes ended.
    bool begin(int blocks_needed = 0);

    track_slot& slot() const { return p_.slot(pattern_, track_); }
    event_store store() const { return p_.store(); }
    int pattern() const { return pattern_; }
    int track() const { return track_; }
    // The track was in use when begin() hid it.
    bool had_data() const { return had_data_; }
    // A chain built elsewhere takes the place of the track's, whose blocks go back; `blocks` is
    // the new chain's count (chain_builder::count_chain_blocks, right after the cut).
    void replace_chain(ref32 first, int blocks);
    // Gives the track back now rather than at the end of the scope.
    void give_back();

private:
    program& p_;
    int pattern_;
    int track_;
    track_edit_options options_;
    bool accepted_ = false;
    bool begun_ = false;
    bool had_data_ = false;
};

}  // namespace kestrune
