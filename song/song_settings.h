// Song-level state kept in the song file that has no other home yet.
#pragma once

#include <cstdint>

namespace kestrune {

struct song_settings {};

}  // namespace kestrune
