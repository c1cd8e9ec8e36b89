// What the editor that takes over the work area keeps while it is open: which list it shows, the
// highlighted row and its event, the row filters and what Insert Note and Insert Other make.
#pragma once

#include <cstdint>

#include "core/records.h"

namespace kestrune {

enum class editor_kind : std::uint8_t { none, event_list, grid, tempo_list, signature_list };

inline constexpr int list_rows = 16;

// A short message's status and data, as the inserts remember it.
struct short_event {
    std::uint8_t status;
    std::uint8_t data1;
    std::uint8_t data2;
};

// What Insert Other makes on the end row.
enum class other_kind : std::uint8_t { last_other, sysex, text, lyric };

struct row_filters {
    bool on = true;    // note-ons
    bool off = false;  // note-offs
    bool prg = true;
    bool pw = true;
    bool aft = true;
    bool ctr = true;
};

// The grid editor's view: the tick of its top row, its leftmost key, Hide Groove and the length
// of the next new note; `marks` counts changes of the selection, which the track's counter
// does not see.
struct grid_state {
    std::int32_t first_tick = song_start;
    int first_key = 36;
    bool hide_groove = false;
    std::int32_t last_length = 192;
    std::uint32_t marks = 0;
};

struct editor_state {
    editor_kind kind = editor_kind::none;
    ref32 cursor = null_ref;  // the event in the highlighted row
    int cursor_row = 0;       // 0..15
    bool position_follow = true;
    std::int32_t step_offset = 0;  // start of the song step less the song's start, in song mode
    row_filters filters{};
    short_event last_note{0x90, 64, 64};
    short_event last_other{0xA0, 64, 64};
    other_kind other = other_kind::last_other;
    std::int16_t step_tie_units = 1;
    // How long a heard note sounds, unless the next one ends it first.
    enum class heard_span : std::uint8_t {
        row,      // a row of the list: a short while, and on while a mouse button stays down
        key,      // a click on an empty place of the grid: a short while
        gesture,  // a note under a grid gesture: until the gesture ends
    };
    struct heard_note {
        std::uint8_t status = 0;  // 0: none sounds
        std::uint8_t note = 0;
        std::uint8_t port = 0;
        heard_span span = heard_span::row;
        std::int64_t since_ms = -1;  // from the first tick of the screen after it started
    } heard{};
    // Where the highlight stood, and the track changes the list has caught up with: a change
    // made elsewhere (Undo) puts the highlight on the first event from that position on.
    std::int32_t cursor_position = 0;
    std::uint32_t tracks_seen = 0;
    // Counted up whenever the cursor or the rows move, so that the list repaints.
    std::uint32_t moves = 0;
    grid_state grid{};

    bool open() const { return kind != editor_kind::none; }
};

}  // namespace kestrune
