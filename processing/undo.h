// One level of undo for one track: a deep copy of the track, swapped with the live one.
#pragma once

#include "core/command.h"
#include "core/program.h"

namespace kestrune {

inline constexpr const char* msg_undo_no_memory = "Not enough memory!\nUNDO won't work!";
// The mixer's refusal; the accent is shown as in the original character set's 0xB4.
inline constexpr const char* msg_mixer_cant_undo = "Can\u00B4t undo! Make a new recording!";
// The mark a track brought back by Undo bears in its name.
inline constexpr int undo_mark_index = 9;

// Copies the track; on too little memory warns and leaves no copy (the caller goes on).
// undo_free (song/patterns.h) gives the copy's blocks back.
void undo_save(program& p, int pattern, int track);
// The copy taken once per opening of an editor, of the editor's track.
void editor_session_save(program& p);
// The copy a track function keeps: its editor session's while an editor is open, else a new
// copy of the track.
void keep_undo(program& p, int pattern, int track);
// Swaps the copy with the live track; a second call redoes.
void undo_apply(program& p);

// The Undo command of the menu and button in each view; false when the mixer refuses it.
bool undo_command(program& p, undo_context where);

}  // namespace kestrune
