#include "shell/dialogs/command_dialog.h"

#include <algorithm>

namespace kestrune {

command_dialog::command_dialog(program& p, const command_record& c, field_values& values)
    : dialog(p, c.dialog.title, c.dialog.width, c.dialog.height), c_(c), fields_(c.fields), values_(values) {
    help_topic = c.help;
    if (c.ranges) c.ranges(p, fields_);
    values_.resize(c.fields.size());
    for (const dialog_item& item : c.dialog.items) add_item(item);
}

void command_dialog::changed() {
    show_looks();
    if (c_.dialog.live) c_.run(prog(), values_);
}

void command_dialog::show_looks() {
    for (std::size_t k = 0; k < value_of_.size(); ++k)
        field_at(static_cast<int>(k)).shape = field_look(fields_[value_of_[k]], values_);
}

void command_dialog::add_value(const dialog_item& item) {
    const auto i = static_cast<std::size_t>(item.field);
    value_of_.push_back(i);
    value_field f{.shape = field_look(fields_[i], values_), .cells = item.cells};
    if (f.shape.kind == field_kind::text) {
        f.get_text = [this, i] { return values_[i].text; };
        f.set_text = [this, i](const std::string& t) {
            values_[i].text = t;
            changed();
        };
    } else {
        f.get = [this, i] { return values_[i].number; };
        f.set = [this, i](std::int32_t v) {
            values_[i].number = held_by_other_end(fields_, values_, i, v);
            changed();
        };
    }
    add_field(std::move(f));
}

bool command_dialog::opens_checked(int field) const {
    return std::any_of(c_.dialog.items.begin(), c_.dialog.items.end(),
                       [field](const dialog_item& i) { return i.field == field && i.opens_checked; });
}

void command_dialog::add_item(const dialog_item& item) {
    if (item.kind == control_kind::value) return add_value(item);
    dialog_control c{.kind = item.kind, .text = item.text, .cells = item.cells};
    // A push button of a record's dialog runs the command and leaves the dialog open.
    if (item.kind == control_kind::push_button) c.pressed = [this] { c_.run(prog(), values_); };
    // An OK button of its own group says which group applies, then closes the dialog.
    if (item.kind == control_kind::ok_button && item.field >= 0) {
        c.pressed = [this, i = static_cast<std::size_t>(item.field), choice = item.choice] {
            values_[i].number = choice;
        };
    } else if (item.field >= 0) {
        const auto i = static_cast<std::size_t>(item.field);
        const std::int32_t choice = item.choice;
        switch (item.kind) {
        case control_kind::radio_button:
            if (opens_checked(item.field))
                c.get = [on = item.opens_checked] { return on ? 1 : 0; };
            else
                c.get = [this, i, choice] { return values_[i].number == choice ? 1 : 0; };
            c.set = [this, i, choice](int on) {
                if (!on) return;
                values_[i].number = choice;
                changed();
            };
            break;
        case control_kind::text_box:
            c.get_text = [this, i] { return values_[i].text; };
            c.set_text = [this, i](const std::string& t) {
                values_[i].text = t;
                changed();
            };
            c.max_length = fields_[i].entry_length;
            c.selected = values_[i].number;
            break;
        default:  // check and combo boxes
            c.entries = fields_[i].choices;
            c.get = [this, i] { return values_[i].number; };
            c.set = [this, i](int v) {
                values_[i].number = v;
                changed();
            };
            break;
        }
    }
    add_control(std::move(c));
}

bool ask_in_dialog(program& p, const command_record& c, field_values& values) {
    command_dialog d(p, c, values);
    return run_modal(p, d);
}

}  // namespace kestrune
