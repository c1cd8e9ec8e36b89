#include "shell/dialog_frame.h"

#include <algorithm>

#include "files/event_rows.h"
#include "shell/entry_parsers.h"
#include "song/position.h"

namespace kestrune {

namespace {

constexpr int left_code = 1;
constexpr int text_inset = 2;  // pixels between a field's frame and its text
constexpr int percent_factor = 10;
constexpr int button_cells_w = 10;
constexpr int button_cells_h = 2;

// The caller's clamp: the upper bound wins when the range is empty.
std::int32_t clamped(std::int32_t v, std::int32_t low, std::int32_t high) {
    return std::min(std::max(v, low), high);
}

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

std::pair<std::int32_t, std::int32_t> dialog::shown_range(const value_field& f) const {
    const std::int32_t off = f.locator ? offsets.locator : 0;
    return {f.low + off, f.high + off};
}

std::int32_t dialog::shown_value(const value_field& f) const {
    return f.get() + (f.locator ? offsets.locator : 0);
}

void dialog::store_shown(value_field& f, std::int32_t shown) {
    const auto [low, high] = shown_range(f);
    const std::int32_t stored = clamped(shown, low, high) - (f.locator ? offsets.locator : 0);
    // A held button at a limit changes nothing, and tells no one (a click field sounds on set).
    if (stored != f.get()) f.set(stored);
}

bool dialog::on_field(value_field& f, int code, int x) {
    if (f.kind == field_kind::text || !f.get || !f.set) return false;
    const std::int32_t before = f.get();
    const std::int32_t shown = shown_value(f);
    switch (f.kind) {
    case field_kind::on_off:
        if (code != left_code) return false;
        f.set(before ? 0 : 1);
        break;
    case field_kind::position:
    case field_kind::time_span: {
        const rect r = to_pixels(f.cells);
        const position_pointer at{x, r.right - text_inset, cell_w_, dialog_tick_chars};
        // A length steps by the signature where it ends.
        const std::int32_t base = f.kind == field_kind::time_span ? f.span_from : 0;
        store_shown(f, step_position(p_, base + shown, code, at) - base);
        break;
    }
    case field_kind::series:
        store_shown(f, change_series_value(p_, shown, code, f.low, f.high));
        break;
    default:
        store_shown(f, change_value(p_, shown, code));
        break;
    }
    return f.get() != before;
}

std::string dialog::field_text(int index) const {
    const value_field& f = fields_[static_cast<std::size_t>(index)];
    if (f.kind == field_kind::text) return f.get_text ? f.get_text() : std::string();
    if (!f.get) return {};
    const std::int32_t v = shown_value(f);
    if (f.format) return f.format(v);
    switch (f.kind) {
    case field_kind::one_based: return std::to_string(v + 1);
    case field_kind::note: return note_name(v);
    case field_kind::percent_x10: return std::to_string(v * percent_factor);
    case field_kind::on_off: return v ? " On" : "Off";
    case field_kind::position: return position_text(p_, v + offsets.display);
    case field_kind::time_span: return length_text(p_, v, f.span_from);
    default: return std::to_string(v);
    }
}

std::optional<std::int32_t> dialog::parse_entry(const value_field& f, std::string_view text) const {
    if (f.parse) return f.parse(text);
    std::optional<std::int32_t> v;
    switch (f.kind) {
    case field_kind::one_based:
        if ((v = parse_integer(text))) *v -= 1;
        return v;
    case field_kind::note: return parse_note(text);
    case field_kind::percent_x10:
        if ((v = parse_integer(text))) *v /= percent_factor;
        return v;
    case field_kind::position:
        if ((v = parse_position(p_, text))) *v -= offsets.display;
        return v;
    case field_kind::time_span: return parse_time_span(p_, text, f.span_from);
    case field_kind::series:
        if ((v = parse_integer(text))) *v = round_into_series(*v);
        return v;
    case field_kind::on_off: return std::nullopt;
    default: return parse_integer(text);
    }
}

bool dialog::double_click(int x, int y) {
    left_ = right_ = left_latched_ = right_latched_ = false;
    limiter_.reset();
    const int i = hit(x, y);
    if (i < 0) return false;
    value_field& f = fields_[static_cast<std::size_t>(i)];
    if (f.kind == field_kind::on_off) return false;
    const double_click_box box{to_pixels(f.cells), field_text(i), f.entry_length};
    const rect& r = box.field;
    const auto typed = entry_ ? entry_(box)
                              : p_.screen.edit_in_place(r.left, r.top, r.width(), r.height(),
                                                        box.text, box.length_limit);
    if (!typed) return false;
    if (f.kind == field_kind::text) {
        const auto name = parse_text(*typed);
        if (!name || !f.set_text) return false;
        f.set_text(*name);
        return true;
    }
    const auto v = parse_entry(f, *typed);
    if (!v || !f.set) return false;
    const std::int32_t before = f.get();
    store_shown(f, *v);
    return f.get() != before;
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

void dialog::add_help_button() {
    const int bottom = height_cells_ - 1;
    if (!help_topic.empty())
        add_control({.kind = control_kind::help_button, .text = "Help",
                     .cells = {1, bottom - button_cells_h, 1 + button_cells_w, bottom}});
}

void dialog::add_ok_cancel() {
    const int right = width_cells_ - 1, bottom = height_cells_ - 1;
    add_help_button();
    add_control({.kind = control_kind::ok_button, .text = "OK",
                 .cells = {right - 2 * button_cells_w - 1, bottom - button_cells_h,
                           right - button_cells_w - 1, bottom}});
    add_control({.kind = control_kind::cancel_button, .text = "Cancel",
                 .cells = {right - button_cells_w, bottom - button_cells_h, right, bottom}});
}

bool refuse_dialog(program& p, dialog_needs needs) {
    if (p.recording()) {
        p.message(msg_while_recording, msg_icon::stop);
        return true;
    }
    if (needs == dialog_needs::track_data &&
        p.slot(p.d.current_pattern, p.d.current_track).in_use != 1) {
        p.message(msg_no_data, msg_icon::warning);
        return true;
    }
    return false;
}

bool run_modal(program& p, dialog& d) { return p.screen.run_dialog(d); }

}  // namespace kestrune
