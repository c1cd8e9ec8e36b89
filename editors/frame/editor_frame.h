// The frame that an editor puts in the work area while it is open: its regions, its child
// buttons, entering and leaving, and the painting of the list with its header and rows.
#pragma once

#include <string>
#include <vector>

#include "core/canvas.h"
#include "core/command.h"
#include "core/midi_names.h"
#include "core/program.h"
#include "editors/list/event_list.h"
#include "files/patch_names.h"

namespace kestrune {

// Region numbers of the editor's list, hung under the work area while an editor is open.
namespace erg {
inline constexpr int frame = 1001;
inline constexpr int list = 1002;
inline constexpr int position = 1003;
inline constexpr int event = 1004;
inline constexpr int channel = 1005;
inline constexpr int data1 = 1006;
inline constexpr int data2 = 1007;
inline constexpr int length = 1008;
inline constexpr int row_up = 1009;
inline constexpr int row_down = 1010;
inline constexpr int step_position = 1013;
}  // namespace erg

// A place in quarter cells: left, top, right, bottom.
struct quarter_rect {
    int left, top, right, bottom;
};

struct editor_region {
    int number;
    int parent;  // 0: under the work area
    quarter_rect q;
};
const std::vector<editor_region>& editor_regions();
bool is_list_column(int region);

// Which editors show a button.
enum class shown_in : std::uint8_t { all, track_editors, event_list, grid, tempo_list, signature_list };

struct editor_button {
    int command;
    const char* text;
    quarter_rect q;
    shown_in shown;
};
const std::vector<editor_button>& editor_buttons();
bool button_shown(const editor_button& b, editor_kind k);
// A filter button or Step Input stays down while on.
bool button_pressed(const program& p, int command);

inline constexpr const char* list_header = "\tPosition\tEvent\tCha\t-1-\t-2-\tLength / Info";

// Enters the editor of `kind` on the current track, or leaves it when it is the one open; another
// editor or the mixer is left first. Refused with the message while recording and on a track
// without data.
outcome toggle_editor(program& p, editor_kind kind);
void leave_editor(program& p);
// The help page of the editor of `kind`.
std::string_view editor_help_page(editor_kind kind);

// Pixel geometry of the frame at a zoom's cells.
struct editor_geometry {
    int cell_width = 8;
    int cell_height = 16;
    int list_font_shortfall = 0;
    rect place(const quarter_rect& q) const {
        return {q.left * cell_width / 4, q.top * cell_height / 4, q.right * cell_width / 4,
                q.bottom * cell_height / 4};
    }
    rect region(int number) const;
    rect row(int region_number, int row) const;
};

// What the list shows and paints: the row texts and the highlight, compared on each tick.
class list_painter {
public:
    // The rows as the model stands; the places of the rows that changed since the last call.
    std::vector<rect> refresh(const program& p, const editor_geometry& g);
    void paint(canvas& c, const rect& clip, const program& p, const editor_geometry& g);
    // Forgets what it showed: the next refresh repaints every row.
    void reset() { shown_.clear(); }
    // Program rows name their patch where these show names; none are given in tests.
    void set_names(const patch_tables* patches, const patch_name_flags* shown) {
        patches_ = patches;
        names_shown_ = shown;
    }

private:
    struct row_view {
        std::string text;
        int kind = 0;  // the status's high nibble, for the row's colour
        bool highlight = false;
        bool operator==(const row_view&) const = default;
    };
    std::vector<row_view> rows_of(const program& p) const;
    std::vector<row_view> shown_;
    std::string step_text_;
    const patch_tables* patches_ = nullptr;
    const patch_name_flags* names_shown_ = nullptr;
};

}  // namespace kestrune
