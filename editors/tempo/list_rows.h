// The rows of the tempo and signature lists: a tempo's whole beats and hundredths, Insert Tempo
// and Insert Sign, and the signature changes that keep the bar count of everything after them.
#pragma once

#include <cstdint>
#include <optional>

#include "core/command.h"
#include "core/program.h"
#include "editors/list/list_fields.h"

namespace kestrune {

inline constexpr const char* msg_measure_overflow = "Meassure overflow!";

inline bool is_list_status(std::uint8_t s) { return s == st::tempo || s == st::signature; }
// A signature of the signature list: its changes move the ones after it. One that a track holds
// is an event like the others.
bool in_signature_list(const program& p, ref32 e);

// The -1- and -2- columns of a tempo or signature row.
list_field list_row_field(program& p, int region, ref32 e);

// Insert Tempo and Insert Sign on the highlighted row.
outcome insert_list_row(program& p);

// How far the signatures after `sig` move when it is deleted, so that the bars it ruled keep
// their count in the signature before it; nothing when it is the first one or one would pass
// the end ("Meassure overflow!").
std::optional<std::int32_t> shift_after_deleting(program& p, ref32 sig);
// Moves every record after `e` by d.
void shift_after(const event_store& s, ref32 e, std::int32_t d);

// A signature moved by whole bars: forward over its own bars, back over the previous
// signature's; the bars around it keep their count, and the later signatures follow.
void move_signature(program& p, ref32 sig, std::int32_t delta);

}  // namespace kestrune
