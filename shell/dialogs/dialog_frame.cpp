#include "shell/dialogs/dialog_frame.h"

#include <algorithm>

#include "song/entry_parsers.h"


namespace kestrune {

namespace {

constexpr int left_code = 1;
constexpr int text_inset = 2;  // pixels between a field's frame and its text

}  // namespace

dialog::dialog(program& p, std::string title, int width_cells, int height_cells)
    : p_(p), title_(std::move(title)), width_cells_(width_cells), height_cells_(height_cells) {}

void dialog::set_cells(int cell_width, int cell_height) {
    cell_w_ = std::max(1, cell_width);
    cell_h_ = std::max(1, cell_height);
    has_cells_ = true;
}

rect dialog::to_pixels(const rect& c) const {
    return {c.left * cell_w_, c.top * cell_h_, c.right * cell_w_, c.bottom * cell_h_};
}

int dialog::hit(int x, int y) const {
    for (std::size_t i = 0; i < fields_.size(); ++i)
        if (to_pixels(fields_[i].cells).contains(x, y)) return static_cast<int>(i);
    return -1;
}

void dialog::press(int button, int x, int y) {
    press_x_ = x;
    press_y_ = y;
    const bool left = button == left_code;
    (left ? left_ : right_) = true;
    (left ? left_latched_ : right_latched_) = true;
}

void dialog::release(int button) { (button == left_code ? left_ : right_) = false; }

int dialog::tick(std::int64_t now_ms) {
    const int code = mouse_code(left_ || left_latched_, right_ || right_latched_);
    left_latched_ = right_latched_ = false;
    if (!limiter_.allow(code, now_ms)) return -1;
    const int i = hit(press_x_, press_y_);
    if (i < 0) return -1;
    return on_field(fields_[static_cast<std::size_t>(i)], code, press_x_) ? i : -1;
}

field_place dialog::place_of(const value_field& f) const {
    return {offsets.locator, offsets.display, f.span_from};
}

bool dialog::store(value_field& f, std::int32_t v) {
    const std::int32_t before = f.get();
    // A held button at a limit changes nothing, and tells no one (a click field sounds on set).
    if (v != before) f.set(v);
    return f.get() != before;
}

bool dialog::on_field(value_field& f, int code, int x) {
    if (f.shape.kind == field_kind::text || !f.get || !f.set) return false;
    const rect r = to_pixels(f.cells);
    const position_pointer at{x, r.right - text_inset, cell_w_, dialog_tick_chars};
    return store(f, step_field(p_, f.shape, f.get(), code, {}, at, place_of(f)));
}

std::string dialog::field_text(int index) const {
    const value_field& f = fields_[static_cast<std::size_t>(index)];
    if (f.shape.kind == field_kind::text) return f.get_text ? f.get_text() : std::string();
    if (!f.get) return {};
    if (f.format) return f.format(f.get());
    return kestrune::field_text(p_, f.shape, f.get(), place_of(f));
}

std::optional<std::int32_t> dialog::parse_entry(const value_field& f, std::string_view text) const {
    if (!f.parse) return parse_field(p_, f.shape, text, f.get(), place_of(f));
    const auto v = f.parse(text);
    return v ? std::optional<std::int32_t>(held_to_range(f.shape, *v)) : std::nullopt;
}

bool dialog::double_click(int x, int y) {
    left_ = right_ = left_latched_ = right_latched_ = false;
    limiter_.reset();
    const int i = hit(x, y);
    if (i < 0) return false;
    value_field& f = fields_[static_cast<std::size_t>(i)];
    if (f.shape.kind == field_kind::check || !f.shape.unused.empty()) return false;
    const double_click_box box{to_pixels(f.cells), field_text(i), f.shape.entry_length};
    const rect& r = box.field;
    const auto typed = entry_ ? entry_(box)
                              : p_.screen.edit_in_place(r.left, r.top, r.width(), r.height(),
                                                        box.text, box.length_limit);
    if (!typed) return false;
    if (f.shape.kind == field_kind::text) {
        const auto name = parse_text(*typed);
        if (!name || !f.set_text) return false;
        f.set_text(*name);
        return true;
    }
    const auto v = parse_entry(f, *typed);
    return v && f.set && store(f, *v);
}

void dialog::paint_field(canvas& c, int index) const {
    const rect r = field_rect(index);
    c.fill_rect(r, colour_role::field);
    c.frame_rect(r, colour_role::shadow);
    c.text(r.inset(text_inset), field_text(index), font_kind::normal, colour_role::field_text,
           text_align::right);
}

void dialog::paint(canvas& c) const {
    for (std::size_t i = 0; i < fields_.size(); ++i) paint_field(c, static_cast<int>(i));
}

value_field& dialog::add_field(value_field f) { return fields_.emplace_back(std::move(f)); }

dialog_control& dialog::add_control(dialog_control c) { return controls_.emplace_back(std::move(c)); }

void dialog::add_ok_cancel() {
    for (const dialog_item& b : ok_cancel(width_cells_, height_cells_, !help_topic.empty()))
        add_control({.kind = b.kind, .text = b.text, .cells = b.cells});
}

bool run_modal(program& p, dialog& d) { return p.screen.run_dialog(d); }

}  // namespace kestrune
