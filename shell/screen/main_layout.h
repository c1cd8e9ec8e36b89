// The main window's geometry: region numbers, cells from the system font and the zoom row, and
// the main region tree at those cells.
#pragma once

#include "core/canvas.h"
#include "shell/screen/region_tree.h"

namespace kestrune {

// Region numbers of the main tree.
namespace rgn {
inline constexpr int root = 1;
inline constexpr int transport_panel = 2;
inline constexpr int position = 3;
inline constexpr int left_locator = 4;
inline constexpr int right_locator = 5;
inline constexpr int time = 6;
inline constexpr int step_transpose = 7;
inline constexpr int signature = 8;
inline constexpr int numerator = 9;
inline constexpr int denominator = 10;
inline constexpr int groove = 11;
inline constexpr int tempo = 12;
inline constexpr int work_area = 13;
inline constexpr int song_pane = 14;
inline constexpr int mode_line = 15;
inline constexpr int song_list = 16;
inline constexpr int step_pattern = 17;
inline constexpr int step_bar = 18;
inline constexpr int step_length = 19;
inline constexpr int step_pre_start = 20;
inline constexpr int step_down = 21;
inline constexpr int step_up = 22;
inline constexpr int step_delete = 23;
inline constexpr int step_insert = 24;
inline constexpr int step_name = 25;
inline constexpr int track_numbers = 26;
inline constexpr int master_mute = 27;
inline constexpr int track_pane = 28;
inline constexpr int pattern_name = 29;
inline constexpr int pattern_number = 30;
inline constexpr int track_number = 31;
inline constexpr int quantize = 32;
inline constexpr int transpose = 33;
inline constexpr int channel = 34;
inline constexpr int mute = 35;
inline constexpr int track_name = 36;
inline constexpr int loop = 37;
inline constexpr int delay = 38;
inline constexpr int compress = 39;
inline constexpr int port = 40;
inline constexpr int velocity = 41;
inline constexpr int midi_thru = 43;
inline constexpr int play = 44;
inline constexpr int stop = 45;
inline constexpr int record = 46;
inline constexpr int forward = 47;
inline constexpr int rewind = 48;
inline constexpr int pause = 49;
inline constexpr int drop_in = 50;
}  // namespace rgn

inline constexpr int visible_tracks = 16;
inline constexpr int song_rows = 9;
inline constexpr int max_first_visible_track = 16;

// Cell units of one layout. Columns and rows may be given in quarters of a cell.
struct cell_grid {
    int width = 8;    // cell_width
    int height = 16;  // cell_height
    int width_delta = 0;
    int height_delta = 0;
    int list_font_shortfall = 0;

    int x(int columns) const { return columns * width; }
    int xq(int quarter_columns) const { return quarter_columns * width / 4; }
    int y(int rows) const { return rows * height; }
    int q() const { return height / 4; }
    int e() const { return height / 8; }
};

cell_grid make_cells(int zoom_index, const font_metrics& system_font);
// The size the transport icons are drawn at: 64, 32 or 16 units, the largest the zoom allows.
int icon_size_of(const cell_grid& g);
int font_height_of(const cell_grid& g, font_kind f);
struct font_spec;
font_spec font_spec_of(const cell_grid& g, font_kind f);

// The rectangle of the hidden-data cell above the Trk column.
rect hidden_data_cell(const cell_grid& g);
// One row of a column region holding `rows` rows of cell height.
rect row_of(const rect& column, int row, int cell_height);
// The track scroll bar right of the work area.
rect scroll_bar_rect(const cell_grid& g);

// Builds the main tree at the cells; painting hooks are left for the caller.
void build_main_tree(region_tree& t, const cell_grid& g);

// The child buttons in their order of creation.
struct button_place {
    int command;
    const char* text;
    rect place;
};
inline constexpr int main_button_count = 9;
void place_main_buttons(const cell_grid& g, bool time_shown,
                        button_place (&out)[main_button_count]);

}  // namespace kestrune
