// The Note Pad: a page of text kept with the song, edited in a dialog of the frame.
#include <algorithm>
#include <cstring>

#include "core/command_ids.h"
#include "core/program.h"
#include "services/help_pages.h"
#include "shell/main_commands.h"

namespace kestrune {

namespace {

constexpr int width = 44, height = 18;

dialog_layout note_pad_dialog() {
    dialog_layout d{.title = "Note Pad", .width = width, .height = height};
    d.items = {text_box(0, {1, 1, width - 1, height - 4})};
    for (dialog_item& b : ok_cancel(width, height, true)) d.items.push_back(std::move(b));
    return d;
}

}  // namespace

command_record note_pad_command() {
    return {
        .id = cmd::note_pad,
        .text = "&Note Pad...",
        .views = every_view,
        .help = std::string(help_page::note_pad),
        .fields = {{.label = "Note Pad", .kind = field_kind::text, .entry_length = note_pad_bytes - 1}},
        .dialog = note_pad_dialog(),
        .initial = [](const program& p) {
            const auto& buf = p.song.note_pad_text;
            return field_values{{0, std::string(buf.data(), strnlen(buf.data(), buf.size()))}};
        },
        .run = [](program& p, const field_values& v) {
            auto& buf = p.song.note_pad_text;
            buf.fill(0);
            std::memcpy(buf.data(), v[0].text.data(), std::min(v[0].text.size(), buf.size() - 1));
            return outcome::done;
        },
    };
}

}  // namespace kestrune
