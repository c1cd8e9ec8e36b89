// The mouse on the grid, in grid terms: a press at a tick and key with its button and keys held,
// the moves while it is held, and the release. Each press picks one gesture: the pencil, the
// eraser, a toggle of a note's mark, the rubber band, a move or copy of the selection, a length
// drag, or a stroke on the value lane.
#pragma once

#include <cstdint>
#include <string>

#include "core/keys.h"
#include "core/program.h"
#include "editors/grid/grid_lane.h"
#include "editors/grid/grid_notes.h"

namespace kestrune {

enum class grid_drag : std::uint8_t { none, move, length, band, erase, lane };

// Which axis a move follows: not yet decided, keys only, time only, or both.
enum class drag_axis : std::uint8_t { open, keys, time, both };

class grid_gesture {
public:
    // A press on the notes; `row_ticks` is the zoom's ticks per row and [from, to) the ticks of
    // the window a group move keeps inside the song.
    void press(program& p, grid_point at, int button, key_mods mods, std::int32_t row_ticks);
    // A press on the lane: the value under the mouse, and the rows under it.
    void press_lane(program& p, int value, std::int32_t tick, int button, key_mods mods,
                    std::int32_t row_ticks);
    void move(program& p, grid_point at, key_mods mods, bool both_buttons);
    void move_lane(program& p, int value, std::int32_t tick, key_mods mods);
    void release(program& p);
    // The key a move has reached sounds on the next tick rather than in the move itself, which
    // stays short while the engine takes the note.
    void hear_moved_key(program& p);

    grid_drag kind() const { return kind_; }
    bool busy() const { return kind_ != grid_drag::none; }
    // What the drag shows: the shift of the group, the band's corners, the length.
    group_shift shift() const { return shift_; }
    grid_point anchor() const { return anchor_; }
    grid_point pointer() const { return pointer_; }
    std::int32_t length() const { return length_; }
    bool copying() const { return copy_; }
    // The label over the grid while dragging: "  Move  ", "  Copy  ", "Transp" with the
    // semitones, or "New Note Length" with the length.
    std::string label(const program& p) const;
    // The window a group move looks at, as the view shows it.
    void set_window(std::int32_t from, std::int32_t to) {
        window_from_ = from;
        window_to_ = to;
    }

private:
    void start_note_drag(program& p, const grid_note& n, grid_point at, bool new_note);
    void follow(program& p, grid_point at, bool free_axes);

    grid_drag kind_ = grid_drag::none;
    grid_point anchor_{};
    grid_point pointer_{};
    grid_note note_{};
    std::int32_t note_start_ = 0;
    std::int32_t row_ticks_ = 8;
    group_shift shift_{};
    drag_axis axis_ = drag_axis::open;
    bool free_axes_ = false;
    bool copy_ = false;
    bool toggle_ = false;
    bool hear_pending_ = false;
    std::int32_t length_ = 0;
    lane_stroke stroke_ = lane_stroke::set;
    struct lane_point {
        std::int32_t tick;
        int value;
    } lane_from_{0, 0};  // where the lane's stroke last stood
    std::int32_t window_from_ = 0;
    std::int32_t window_to_ = last_position;
};

}  // namespace kestrune
