#include "editors/list/event_rows.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/midi_names.h"
#include "song/long_event.h"
#include "song/position.h"
#include "song/event_store.h"

namespace kestrune {

namespace {

// A fixed row of blanks written at columns; nothing lands past its end.
class row {
  public:
    row() : text_(event_row_width, ' ') {}
    void put(int column, std::string_view s) {
        for (std::size_t i = 0; i < s.size(); ++i) {
            const std::size_t c = static_cast<std::size_t>(column) + i;
            if (c < text_.size()) text_[c] = s[i];
        }
    }
    // A number right-aligned in `width` columns; a wider one shows its last digits.
    void number(int column, int width, int value) {
        char buf[16];
        std::snprintf(buf, sizeof buf, "%*d", width, value);
        std::string_view s(buf);
        put(column, s.substr(s.size() - static_cast<std::size_t>(width)));
    }
    void blank(int from, int to) {
        put(from, std::string(static_cast<std::size_t>(to - from + 1), ' '));
    }
    std::string take() { return std::move(text_); }

  private:
    std::string text_;
};

// Length of a note: bar only if not 0, beat if it or the bar is not 0, groove units if any of
// the three is not 0, ticks always.
std::string note_length_text(const program& p, std::int32_t length, std::int32_t start) {
    const std::string full = length_text(p, length, start);
    auto field = [&](std::size_t at, std::size_t n) {
        return std::atoi(full.substr(at, n).c_str());
    };
    const int bar = field(0, 4), beat = field(4, 3);
    row r;
    if (bar != 0) r.put(0, full.substr(0, 4));
    if (bar != 0 || beat != 0) r.put(4, full.substr(4, 3));
    if (p.app.simple_bardisplay) {
        r.put(9, full.substr(9, 3));
    } else {
        const int unit = field(7, 3);
        if (bar != 0 || beat != 0 || unit != 0) r.put(7, full.substr(7, 3));
        r.put(10, full.substr(10, 3));
    }
    return r.take().substr(0, 13);
}

// A note-on's row: key, velocity and the note's length, or "Missing" without its note-off.
void note_on_row(row& r, const program& p, ref32 e) {
    const event_store& s = p.store();
    const midi_event& ev = s.at(e);
    r.put(16, "Note    ");
    r.put(28, note_name(ev.data1()));
    if (ev.data2() == 0) {
        r.put(33, "Off");
        return;
    }
    r.number(33, 3, ev.data2());
    int depth = 0;
    const ref32 off = s.find_note_off(e, &depth);
    if (depth != 0)
        r.put(38, "   Missing  ");
    else
        r.put(38, note_length_text(p, s.position(off) - ev.position(), ev.position()));
}

// A program change: the number, and the patch name where the port's channel shows names.
void program_row(row& r, const midi_event& ev, const row_context& c) {
    r.put(16, "Program ");
    r.number(29, 3, ev.data1());
    const int channel = c.track_channel >= 0 && c.track_channel < 16 ? c.track_channel : ev.status() & 0x0F;
    const int port = c.port & 3;
    if (c.patches && c.show_patch_names &&
        (*c.show_patch_names)[static_cast<std::size_t>(port)][static_cast<std::size_t>(channel)] &&
        (*c.patches)[static_cast<std::size_t>(port)].from_file) {
        std::string name = program_name(*c.patches, port, ev.data1());
        name.resize(13, ' ');
        r.put(38, name);
    }
}

// A channel message: its name, channel and data.
void channel_row(row& r, const program& p, ref32 e, const row_context& c) {
    const midi_event& ev = p.store().at(e);
    r.number(24, 3, (ev.status() & 0x0F) + 1);
    switch (ev.status() & 0xF0) {
        case 0x80:
            r.put(16, "Note Off");
            r.put(28, note_name(ev.data1()));
            r.number(33, 3, ev.data2());
            break;
        case 0x90: note_on_row(r, p, e); break;
        case 0xA0:
            r.put(16, "P-Press ");
            r.put(28, note_name(ev.data1()));
            r.number(33, 3, ev.data2());
            break;
        case 0xB0:
            r.put(16, "Control ");
            r.number(29, 3, ev.data1());
            r.number(33, 3, ev.data2());
            if (const char* name = controller_name(ev.data1())) r.put(39, name);
            break;
        case 0xC0: program_row(r, ev, c); break;
        case 0xD0:
            r.put(16, "C-Press ");
            r.number(29, 3, ev.data1());
            break;
        default:  // 0xE0
            r.put(16, "PitchWh ");
            r.number(29, 3, ev.data1());
            r.number(33, 3, ev.data2());
            break;
    }
}

// The program's own records: sysex, tempo, signature and text.
void own_row(row& r, const program& p, ref32 e) {
    const event_store& s = p.store();
    const midi_event& ev = s.at(e);
    switch (ev.status()) {
        case st::sysex:
            r.put(16, "Sys Ex  ");
            r.number(29, 3, ev.raw0());
            r.number(33, 3, ev.raw1());
            if (const char* name = ev.raw0() < 0x80 ? manufacturer_name(ev.raw0()) : nullptr)
                r.put(37, name);
            break;
        case st::tempo: {
            const int v = ev.tempo_value();
            r.put(16, "Tempo   ");
            r.number(29, 3, v / 100);
            char hundredths[4];
            std::snprintf(hundredths, sizeof hundredths, "%02d", v % 100);
            r.put(34, hundredths);
            break;
        }
        case st::signature:
            r.put(16, "Signature");
            r.blank(24, 26);  // written after the name: the ninth letter is lost
            r.number(29, 3, ev.data1());
            r.number(33, 3, ev.data2());
            break;
        case st::text: {
            r.put(16, ev.is_lyric() ? "Lyric   " : "Text    ");
            r.blank(24, 36);
            std::string text;
            for (std::uint8_t b : read_long_payload(s, e)) {
                if (b == 0 || text.size() == 27) break;
                // Line ends and other control bytes would break the row.
                text += b < 0x20 || b == 0x7F ? '.' : static_cast<char>(b);
            }
            r.put(25, text);
            break;
        }
        default:
            break;
    }
}

}  // namespace

std::string event_row_text(const program& p, ref32 e, const row_context& c) {
    const midi_event& ev = p.store().at(e);
    row r;
    r.put(2, position_text(p, ev.position()));
    const int kind = ev.status() & 0xF0;
    if (kind >= 0x80 && kind <= 0xE0)
        channel_row(r, p, e, c);
    else
        own_row(r, p, e);
    return r.take();
}

}  // namespace kestrune
