// Editing a long event in a dialog: its bytes or characters as text, checked on OK and written
// back in place, the event growing or shrinking by continuation records.
#include "editors/sysex/sysex_edit.h"

#include <type_traits>

#include "editors/sysex/long_event_text.h"
#include "processing/track_edit.h"
#include "services/help_pages.h"
#include "song/long_event.h"

namespace kestrune {

namespace {

// Blocks that must be free before the sysex dialog opens.
constexpr int sysex_free_blocks = 10;
// The text box holds a text's characters as UTF-8: a pilcrow takes two bytes.
constexpr int text_box_bytes = 2 * max_text_chars;

// The dialog both kinds share: its title, a box for the text and OK and Cancel.
command_record long_event_dialog(std::string title, int box_bytes) {
    constexpr int width = 44, height = 12;
    dialog_layout d{.title = std::move(title), .width = width, .height = height};
    d.items = {text_box(0, {1, 1, width - 1, height - 4})};
    for (dialog_item& b : ok_cancel(width, height)) d.items.push_back(std::move(b));
    return {.help = std::string(help_page::sysex_text_editing),
            .fields = {{.label = "Text", .kind = field_kind::text, .entry_length = box_bytes}},
            .dialog = std::move(d)};
}

// Opens the dialog on `text` until `take` accepts what the user leaves in it: each refusal shows
// its message and the dialog opens again on the user's text, with the character selected that
// `take` marks in the field's number. Nothing on Cancel.
template <class Take>
std::invoke_result_t<Take, field_value&> ask_until_right(program& p, const command_record& dialog,
                                                         std::string text, Take take) {
    field_values v{{0, std::move(text)}};
    for (;;) {
        if (!p.ask_dialog || !p.ask_dialog(dialog, v)) return {};
        v[0].number = 0;
        if (auto taken = take(v[0])) return taken;
    }
}

// Writes the event's new records over the old ones inside the track's undo session.
outcome write_long_event(program& p, track_edit& g, ref32 head, const std::vector<midi_event>& records) {
    if (!g.begin()) return outcome::refused;
    event_store s = g.store();
    if (rewrite_long_event(s, head, records, g.slot().blocks)) return outcome::done;
    p.message(msg_not_enough_memory, msg_icon::stop);
    return outcome::refused;
}

}  // namespace

std::optional<long_kind> long_kind_of(const midi_event& head) {
    if (head.status() == st::sysex) return long_kind::sysex;
    if (head.status() == st::text) return head.is_lyric() ? long_kind::lyric : long_kind::text;
    return std::nullopt;
}

midi_event empty_long_event(long_kind kind, std::int32_t position) {
    if (kind == long_kind::sysex) return midi_event::make(st::sysex, 0, st::sysex_end, position);
    midi_event e = midi_event::make(st::text, 0, 0, position);
    if (kind == long_kind::lyric) e.set_spare_nibble(lyric_nibble);
    return e;
}

outcome edit_sysex_event(program& p, int pattern, int track, ref32 event) {
    const event_store s = p.store();
    if (s.status(event) != st::sysex) return outcome::refused;
    track_edit g(p, pattern, track);
    if (!g || !g.enough_memory(sysex_free_blocks)) return outcome::refused;
    std::vector<std::uint8_t> message{st::sysex};
    for (std::uint8_t b : read_long_payload(s, event)) message.push_back(b);
    if (static_cast<int>(message.size()) > max_sysex_bytes) {
        p.message(msg_long_message);
        return outcome::refused;
    }
    const auto edited = ask_until_right(
        p, long_event_dialog("Edit System Exclusive", sysex_text_chars), sysex_text(message),
        [&p](field_value& v) -> std::optional<std::vector<std::uint8_t>> {
            sysex_parse r = parse_sysex_text(v.text);
            if (r.error == sysex_error::none) return std::move(r.message);
            p.message(sysex_error_text(r.error));
            v.number = r.at + 1;
            return std::nullopt;
        });
    if (!edited) return outcome::cancelled;
    // The head's status stands for the F0.
    return write_long_event(p, g, event, make_long_event(st::sysex, s.position(event), edited->data() + 1,
                                                      edited->size() - 1));
}

outcome edit_text_event(program& p, int pattern, int track, ref32 event) {
    const event_store s = p.store();
    if (s.status(event) != st::text) return outcome::refused;
    track_edit g(p, pattern, track);
    if (!g) return outcome::refused;
    const std::optional<std::string> shown = text_for_dialog(read_long_payload(s, event));
    if (!shown) {
        p.message(msg_long_message);
        return outcome::refused;
    }
    const midi_event head = s.at(event);
    const auto edited = ask_until_right(
        p, long_event_dialog(head.is_lyric() ? "Edit Lyric Event" : "Edit Text Event", text_box_bytes),
        *shown, [&p](const field_value& v) {
            auto payload = text_payload(v.text);
            if (!payload) p.message(msg_long_message);
            return payload;
        });
    if (!edited) return outcome::cancelled;
    return write_long_event(p, g, event, make_long_event(st::text, head.position(), edited->data(),
                                                      edited->size(), head.spare_nibble()));
}

outcome edit_long_event(program& p, int pattern, int track, ref32 event) {
    switch (p.store().status(event)) {
    case st::sysex: return edit_sysex_event(p, pattern, track, event);
    case st::text: return edit_text_event(p, pattern, track, event);
    default: return outcome::refused;
    }
}

}  // namespace kestrune
