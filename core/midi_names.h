// The names the program shows for MIDI numbers: controllers, sysex manufacturers and notes.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace kestrune {

// Controller names by number, -5 to 127 (the five below 0 name the transform dialogs' kinds);
// null where a number has no name.
const char* controller_name(int number);
// Manufacturer names by the first data byte of a sysex; null where the table has none.
const char* manufacturer_name(int id);
// Note name, 4 characters: " C 4", "C#-1".
std::string note_name(int note);

// Which channels of each port show patch names instead of program numbers.
using patch_name_flags = std::array<std::array<std::int16_t, 16>, 4>;

}  // namespace kestrune
