#include "realtime/recording_commands.h"

#include <string>

#include "core/command_ids.h"
#include "services/help_pages.h"

namespace kestrune {

namespace {

enum field { enable_field, port_field };
constexpr int ports = 4;

dialog_layout internal_recording_dialog() {
    constexpr int width = 40, height = 16, row = 2;
    dialog_layout d{.title = "Internal Recording", .width = width, .height = height};
    d.items = {check_box(enable_field, "Enable Internal Recording", {1, 1, 39, 2})};
    for (int port = 0; port < ports; ++port) {
        const char letter = static_cast<char>('A' + port);
        d.items.push_back(radio_button(
            port_field, port, std::string("Channel ") + letter + "1 - " + letter + "16 to current track",
            {2, 3 + port * row, 39, 4 + port * row}));
    }
    for (dialog_item& b : ok_cancel(width, height, true)) d.items.push_back(std::move(b));
    return d;
}

}  // namespace

command_record internal_recording_command(recorder& rec) {
    return {
        .id = cmd::internal_recording,
        .text = "&Internal Recording...",
        .views = every_view,
        .help = std::string(help_page::internal_recording),
        .fields = {check_field("Enable Internal Recording"),
                   choice_field("Port", {"A", "B", "C", "D"})},
        .dialog = internal_recording_dialog(),
        .initial = [&rec](const program&) {
            const internal_recording_fields f = rec.internal_recording_state();
            return field_values{{f.enabled ? 1 : 0}, {f.port}};
        },
        .refuses = [&rec](program&) { return !rec.internal_recording_allowed(); },
        .run = [&rec](program&, const field_values& v) {
            rec.set_internal_recording({v[enable_field].number != 0, v[port_field].number});
            return outcome::done;
        },
    };
}

}  // namespace kestrune
