// The grid editor on screen: keys left to right, time top to bottom, the value lane beside the
// notes and the zoom fields, painted through a canvas in the editor's frame. It compares what it
// shows with the model on each tick and repaints only when that changed; the window forwards the
// mouse while the pointer is over it or a gesture runs.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/canvas.h"
#include "core/field.h"
#include "core/keys.h"
#include "editors/frame/editor_frame.h"
#include "editors/grid/grid_gesture.h"

namespace kestrune {

// The zooms: ticks per pixel row and pixels per key.
inline constexpr int grid_zoom_y_min = 1;
inline constexpr int grid_zoom_y_max = 96;
inline constexpr int grid_zoom_x_min = 3;
inline constexpr int grid_zoom_x_max = 32;

class grid_view {
public:
    explicit grid_view(program& p) : p_(p) {}

    void layout(const editor_geometry& g);
    // Everything the grid paints and takes the mouse on.
    rect area() const { return area_; }
    rect notes() const { return notes_; }
    rect lane() const { return lane_; }
    rect lane_title_field() const { return lane_title_; }
    rect zoom_field(bool keys) const { return keys ? zoom_x_field_ : zoom_y_field_; }
    bool takes(int x, int y) const;

    // Point to note: the key and tick under a pixel of the note area.
    grid_point point(int x, int y) const;
    int y_of(std::int32_t tick) const;
    int x_of(int key) const { return notes_.left + (key - p_.editor.grid.first_key) * key_width(); }
    std::int32_t row_ticks() const { return std::max<int>(1, p_.song.grid_zoom_y); }
    int key_width() const { return std::clamp<int>(p_.song.grid_zoom_x, grid_zoom_x_min, grid_zoom_x_max); }
    int keys_shown() const { return std::max(1, notes_.width() / key_width()); }
    std::int32_t last_tick() const { return p_.editor.grid.first_tick + notes_.height() * row_ticks(); }

    void paint(canvas& c, const rect& clip);
    // The rectangles that changed since the last call.
    std::vector<rect> refresh();
    // Everything again, as when the editor opens.
    void redraw_all() { shown_ = {}; }

    void mouse_down(int x, int y, int button, key_mods mods);
    // The second press of a double click: on a zoom field or the lane's title it types into it
    // (true); elsewhere it is a press like the first (false).
    bool double_click(int x, int y, int button);
    void mouse_move(int x, int y, key_mods mods);
    void mouse_up(int button);
    void wheel(int x, int y, int steps);
    bool busy() const { return gesture_.busy(); }
    const grid_gesture& gesture() const { return gesture_; }

    // The view on the track as it opens: the keys of its notes, from its first note.
    void frame_track();

private:
    struct shown_state {
        std::uint32_t tracks = 0, marks = 0, moves = 0;
        std::int32_t first_tick = -1;
        int first_key = -1;
        int zoom_y = 0, zoom_x = 0, lane = 0, edit_grid = 0;
        bool hide_groove = false, snap = false;
        grid_drag drag = grid_drag::none;
        group_shift shift{};
        grid_point pointer{};
        std::int32_t length = 0;
        ref32 cursor = null_ref;
        bool operator==(const shown_state&) const = default;
    };
    shown_state now() const;
    void follow_play();
    void clamp_view();
    // A move, copy, length or band drag held past the note area's edge scrolls it on each tick.
    void scroll_at_edge();
    void set_move_window();

    void paint_lines(canvas& c) const;
    void paint_keys(canvas& c) const;
    void paint_notes(canvas& c) const;
    void paint_lane(canvas& c) const;
    void paint_drag(canvas& c) const;
    void paint_zoom(canvas& c) const;
    rect note_rect(int key, std::int32_t from, std::int32_t to) const;

    // The lane's kind and the two zooms as fields the mouse steps and a double click types into.
    rect lane_title_, zoom_label_, zoom_y_field_, zoom_x_field_;
    struct view_field {
        rect place;
        const field_spec& shape;
        std::int16_t& value;
    };
    std::optional<view_field> field_at(int x, int y);
    bool step_field(int x, int y, int button);

    program& p_;
    editor_geometry g_;
    rect area_, notes_, lane_, keys_, bars_;
    grid_gesture gesture_;
    bool on_lane_ = false;
    int held_ = 0;
    // Where the mouse was last, for a drag that the view scrolls under it.
    int pointer_x_ = 0, pointer_y_ = 0;
    key_mods pointer_mods_{};
    shown_state shown_{};
    bool was_open_ = false;
};

}  // namespace kestrune
