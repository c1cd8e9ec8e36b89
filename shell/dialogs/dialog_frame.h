// The frame every modal dialog shares, without a toolkit: value fields that a held button steps
// and a double click types into, the 50 ms tick with its repeat limiter, and the widgets the
// platform makes for the dialog (buttons, radio buttons, check boxes, combo and list boxes).
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/canvas.h"
#include "core/command.h"
#include "core/program.h"
#include "song/field_text.h"

namespace kestrune {

inline constexpr const char* msg_too_many_timers = "Too many clocks or timers!";
inline constexpr int dialog_tick_ms = 50;

// A value field of the dialog: what it is (its field descriptor), where, and where its value
// lives. A setup dialog may give a text and a parser of its own.
struct value_field {
    int id = 0;
    field_spec shape{};
    rect cells{};  // in cell units of the dialog
    std::function<std::int32_t()> get{};
    std::function<void(std::int32_t)> set{};
    std::function<std::string(std::int32_t)> format{};
    std::function<std::optional<std::int32_t>(std::string_view)> parse{};
    // Text fields.
    std::function<std::string()> get_text{};
    std::function<void(const std::string&)> set_text{};
    std::int32_t span_from = song_start;  // where a time span is laid out
};

// The widgets the platform makes, laid out in cells.
struct dialog_control {
    control_kind kind = control_kind::label;
    int id = 0;
    std::string text{};
    rect cells{};
    std::vector<std::string> entries{};  // combo and list boxes
    // Check box and radio button: on or off; combo box: the index shown.
    std::function<int()> get{};
    std::function<void(int)> set{};
    // Multiple choice lists: each entry on or off.
    std::function<bool(int)> get_item{};
    std::function<void(int, bool)> set_item{};
    std::function<void()> pressed{};  // push buttons
    // Text boxes: the text, at most `max_length` bytes, and the character selected when the box
    // opens (from 1; 0 none).
    std::function<std::string()> get_text{};
    std::function<void(const std::string&)> set_text{};
    int max_length = 0;
    int selected = 0;
};

// Locators are kept in track time; a dialog shows them as stored + `locator`, and positions are
// displayed with `display` added.
struct song_offsets {
    std::int32_t locator = 0;
    std::int32_t display = 0;
};

// The typed entry over a field: the field's rectangle in pixels of the dialog, the text it starts
// with (selected) and the length limit.
struct double_click_box {
    rect field;
    std::string text;
    int length_limit = 0;
};
// Runs the box; the text confirmed, or nothing when given up.
using double_click_entry = std::function<std::optional<std::string>(const double_click_box&)>;

class dialog {
public:
    dialog(program& p, std::string title, int width_cells, int height_cells);
    virtual ~dialog() = default;
    dialog(const dialog&) = delete;
    dialog& operator=(const dialog&) = delete;

    const std::string& title() const { return title_; }
    int width_cells() const { return width_cells_; }
    int height_cells() const { return height_cells_; }
    const std::vector<value_field>& fields() const { return fields_; }
    const std::vector<dialog_control>& controls() const { return controls_; }
    program& prog() const { return p_; }

    // The cells of the program's zoom, in pixels; fields are hit and painted at them.
    void set_cells(int cell_width, int cell_height);
    bool has_cells() const { return has_cells_; }
    int cell_width() const { return cell_w_; }
    int cell_height() const { return cell_h_; }
    rect to_pixels(const rect& cells) const;
    rect field_rect(int index) const { return to_pixels(fields_[static_cast<std::size_t>(index)].cells); }

    // The field under a point in pixels, or -1.
    int hit(int x, int y) const;
    // Button 1 left, 2 right. A press counts at the next tick even when released before it, so
    // a quick click is one step; both buttons pressed within one tick act together.
    void press(int button, int x, int y);
    void release(int button);
    // The 50 ms tick: steps the field under the last press while a button is held. Returns the
    // field that changed, or -1.
    int tick(std::int64_t now_ms);
    bool buttons_held() const { return left_ || right_; }
    // A double click types into the field under the point; true when a value changed.
    bool double_click(int x, int y);
    // Where the typed entry comes from; the program's ui when not set.
    void set_entry(double_click_entry entry) { entry_ = std::move(entry); }

    std::string field_text(int index) const;
    void paint(canvas& c) const;
    void paint_field(canvas& c, int index) const;

    // OK: validates and applies; false keeps the dialog open. Cancel: what is dropped.
    virtual bool ok() { return true; }
    virtual void cancel() {}

    // The help page of the dialog (one of services/help_pages.h); set before the buttons are
    // added, it gives the dialog its Help button, and F1 opens it.
    std::string help_topic;

    song_offsets offsets;

protected:
    // Called with the field under the last press, the mouse code and the pointer's x; the default
    // steps by the field's kind. Returns true when the value changed.
    virtual bool on_field(value_field& f, int code, int x);
    value_field& add_field(value_field f);
    value_field& field_at(int index) { return fields_[static_cast<std::size_t>(index)]; }
    dialog_control& add_control(dialog_control c);
    // OK and Cancel at the bottom right, Help at the bottom left when the dialog has a page.
    void add_ok_cancel();

private:
    field_place place_of(const value_field& f) const;
    // Sets the value unless it is what the field holds; true when the field changed.
    bool store(value_field& f, std::int32_t v);
    std::optional<std::int32_t> parse_entry(const value_field& f, std::string_view text) const;

    program& p_;
    std::string title_;
    int width_cells_, height_cells_;
    int cell_w_ = 8, cell_h_ = 16;
    bool has_cells_ = false;
    std::vector<value_field> fields_;
    std::vector<dialog_control> controls_;
    double_click_entry entry_;
    // Frame state: the point of the last press and the buttons held.
    int press_x_ = 0, press_y_ = 0;
    bool left_ = false, right_ = false;
    bool left_latched_ = false, right_latched_ = false;
    repeat_limiter limiter_;
};

// Runs the dialog modally through the ui; true on OK.
bool run_modal(program& p, dialog& d);

}  // namespace kestrune
