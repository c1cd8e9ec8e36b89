// The sysex and text event dialogs that the event list opens on a Sys Ex, Text or Lyric row, and
// the empty long events that Insert Other makes.
#pragma once

#include <cstdint>
#include <optional>

#include "core/command.h"
#include "core/program.h"
#include "core/records.h"

namespace kestrune {

// What a long event holds.
enum class long_kind : std::uint8_t { sysex, text, lyric };
inline constexpr std::uint8_t lyric_nibble = 0x2;  // the top nibble of byte 4 in a new lyric's head

// The kind of a head record (status 0xF0 or 0xF3); nothing for any other record.
std::optional<long_kind> long_kind_of(const midi_event& head);

// The empty event of a kind that Insert Other puts at `position`: one record, a sysex F0 00 F7, or a
// text or lyric without characters.
midi_event empty_long_event(long_kind kind, std::int32_t position);

// Opens the sysex or text dialog, chosen by the event, on the long event whose head is `event` in
// the track, and on OK rewrites it in place within the editor's undo session; the head stays at
// `event`. refused: a message said why, or `event` is no sysex or text head (no message);
// cancelled: nothing changed.
outcome edit_long_event(program& p, int pattern, int track, ref32 event);

// The two dialogs edit_long_event chooses between, for a caller that knows the kind: the sysex
// dialog on a head of status 0xF0, the text or lyric dialog on a head of status 0xF3. Same
// contract as edit_long_event.
outcome edit_sysex_event(program& p, int pattern, int track, ref32 event);
outcome edit_text_event(program& p, int pattern, int track, ref32 event);

}  // namespace kestrune
