// A command's dialog on the frame, built from its record: each widget of the layout bound to the
// values the command then runs with.
#pragma once

#include "core/command.h"
#include "shell/dialogs/dialog_frame.h"

namespace kestrune {

class command_dialog final : public dialog {
public:
    // `values` must outlive the dialog: the widgets set them as they change.
    command_dialog(program& p, const command_record& c, field_values& values);

private:
    void add_item(const dialog_item& item);
    void add_value(const dialog_item& item);
    // A live dialog runs its command at each change; a field may look otherwise after it.
    void changed();
    void show_looks();
    // A radio group whose opening check does not follow its value.
    bool opens_checked(int field) const;

    const command_record& c_;
    std::vector<field_spec> fields_;  // the record's, with the ranges the song gives them now
    field_values& values_;
    std::vector<std::size_t> value_of_;  // each value field's index among the record's fields
};

// Asks through the ui's modal dialog, as the window does; true on OK.
bool ask_in_dialog(program& p, const command_record& c, field_values& values);

}  // namespace kestrune
