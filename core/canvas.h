// What painting needs: the screen model draws through this, the platform paints it.
#pragma once

#include <string_view>

namespace kestrune {

// A rectangle in device-independent pixels: left and top inclusive, right and bottom exclusive.
struct rect {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;

    int width() const { return right - left; }
    int height() const { return bottom - top; }
    bool empty() const { return right <= left || bottom <= top; }
    bool contains(int x, int y) const { return x >= left && x < right && y >= top && y < bottom; }
    bool intersects(const rect& o) const {
        return left < o.right && o.left < right && top < o.bottom && o.top < bottom;
    }
    rect inset(int by) const { return {left + by, top + by, right - by, bottom - by}; }
    bool operator==(const rect&) const = default;
};

// The three fonts of the screen, made from the cells.
enum class font_kind { small, normal, list };

// Colours by their role; the platform maps them onto the desktop's palette, light or dark.
enum class colour_role {
    window,          // the window's face
    panel,           // the transport panel and list frames
    dialog,          // dialog faces
    field,           // background of a value field
    text,            // text on the face
    field_text,      // text in a value field
    dim_text,        // labels
    highlight,       // inverted cells and the current row
    highlight_text,
    light,           // 3D edges
    shadow,
    lit,             // a lit button or mode line
    activity,        // activity bars
    activity_off,    // the note-off marker of an activity bar
    peak,            // an activity bar above velocity 126
    // The event list's rows, one colour per kind of event.
    note_row, control_row, program_row, pressure_row, wheel_row, own_row,
    control_on,      // a mixer knob, a group switch on
    lamp,            // a mixer knob while its channel plays a note
};

enum class text_align { left, right, centre };

// The system font the cells are measured from, in pixels.
struct font_metrics {
    int average_char_width = 7;
    int height = 16;
    int external_leading = 0;
};

// The transport icons. Button pictures come in pairs: the even one up, the odd one down (lit).
enum icon_shape : int {
    icon_play = 200, icon_stop = 202, icon_record = 204, icon_overdub = 206, icon_pause = 208,
    icon_forward = 210, icon_rewind = 212, icon_step_up = 214, icon_step_down = 215,
    icon_row_up = 216, icon_row_down = 217
};

class canvas {
public:
    virtual ~canvas() = default;
    virtual void fill_rect(const rect& r, colour_role c) = 0;
    virtual void frame_rect(const rect& r, colour_role c) = 0;
    virtual void line(int x1, int y1, int x2, int y2, colour_role c) = 0;
    virtual void ellipse(const rect& r, colour_role fill, colour_role frame) = 0;
    // A raised 3D rectangle, drawn sunken while pressed.
    virtual void bevel(const rect& r, bool pressed) = 0;
    virtual void text(const rect& r, std::string_view s, font_kind f, colour_role c,
                      text_align a = text_align::left) = 0;
    virtual int text_width(std::string_view s, font_kind f) = 0;
    // Swaps the colours of a cell, as an inverted cell on the screen.
    virtual void invert(const rect& r) = 0;
    // A transport icon: an `icon_shape`, plus one for a button's down picture.
    virtual void icon(const rect& r, int number) = 0;
};

// The font metrics of the three fonts once made, as the platform measures them.
class font_source {
public:
    virtual ~font_source() = default;
    virtual font_metrics system_font() = 0;
};

}  // namespace kestrune
