#include "processing/track_edit.h"

#include "processing/undo.h"
#include "song/locate.h"

namespace kestrune {

track_edit::track_edit(program& p, int pattern, int track, track_edit_options o)
    : p_(p), pattern_(pattern), track_(track), options_(o) {
    if (!o.during_take && p.refuse_while_recording()) return;
    if (!o.empty_ok && !slot().in_use) {
        p.message(msg_no_data, msg_icon::warning);
        return;
    }
    accepted_ = true;
}

bool track_edit::enough_memory(int blocks) const {
    if (p_.d.free_blocks >= blocks) return true;
    p_.message(msg_not_enough_memory, msg_icon::stop);
    return false;
}

bool track_edit::begin(int blocks_needed) {
    if (!accepted_ || begun_) return accepted_;
    // The copy comes first, so that the check counts the memory that remains after it.
    if (options_.undo == undo_kind::track) keep_undo(p_, pattern_, track_);
    if (!enough_memory(blocks_needed)) return false;
    p_.screen.wait_cursor();
    track_slot& sl = slot();
    had_data_ = sl.in_use != 0;
    if (had_data_) {
        shared_store(sl.in_use, 0);
        p_.silence_track(pattern_, track_);
    }
    begun_ = true;
    return true;
}

void track_edit::replace_chain(ref32 first, int blocks) {
    track_slot& sl = slot();
    if (sl.first != null_ref) store().free_chain(sl.first);
    sl.first = sl.play = first;
    sl.blocks = static_cast<std::uint16_t>(blocks);
}

void track_edit::give_back() {
    if (!begun_) return;
    begun_ = false;
    track_slot& sl = slot();
    if (sl.first != null_ref) store().sort_chain(sl.first);
    {
        program::park parked(p_);
        shared_store(sl.in_use, std::uint8_t{sl.first != null_ref});
        locate_track(p_, pattern_, track_);
    }
    ++p_.changes.tracks;
    p_.screen.arrow_cursor();
}

}  // namespace kestrune
