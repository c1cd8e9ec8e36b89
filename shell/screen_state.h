// The main screen's inner state, shared by its painting, editing and key files.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/program.h"
#include "realtime/transport.h"
#include "shell/command_table.h"
#include "shell/main_layout.h"
#include "shell/main_screen.h"
#include "shell/region_tree.h"

namespace kestrune {

// What one cell of the screen shows; painting draws it and the tick compares it.
struct cell_view {
    std::string text;
    text_align align = text_align::right;
    font_kind font = font_kind::list;
    bool inverted = false;
    int icon = 0;       // a transport icon, 0 for none
    int bar = -1;       // an activity bar's width in pixels, -1 for none
    bool bar_peak = false;
    bool bar_off = false;  // the note-off marker colour
    bool operator==(const cell_view&) const = default;
};

// One watched cell: a region, the row within it (0 for single fields) and its place.
struct screen_cell {
    int region = 0;
    int row = 0;
    rect place;
    cell_view shown;
};

}  // namespace kestrune

namespace kestrune {

struct main_screen::impl {
    impl(program& prog, command_table& table, transport* shared_transport);

    program& p;
    command_table& commands;
    std::unique_ptr<transport> own_transport;
    transport& t;

    region_tree tree;
    cell_grid g;
    int zoom = -1;
    std::vector<child_button> buttons;
    int first_visible = 0;
    std::vector<screen_cell> cells;
    std::vector<rect> dirty;

    // Activity bar levels in pixels: 32 tracks and the thru field.
    int track_level[tracks_per_pattern] = {};
    bool track_off_marker[tracks_per_pattern] = {};
    bool track_peak[tracks_per_pattern] = {};
    int thru_level = 0;

    // Layout.
    void build_cells();
    void place_buttons();
    rect client() const;

    // What each cell shows (screen_views.cpp).
    cell_view view(int region, int row);
    cell_view pane_view(int region, int row);
    cell_view track_view(int region, int row);
    std::int32_t shown_position() const;
    void paint_cell(canvas& c, const screen_cell& s) const;
    void paint_labels(canvas& c, const rect& clip) const;
    void update_activity();
    // Compares every cell with what it shows and collects the changed places.
    void refresh_cells();
    void mark_all_dirty() { dirty.assign(1, client()); }

    bool main_view() const { return p.d.main_screen != 0; }
};

}  // namespace kestrune
