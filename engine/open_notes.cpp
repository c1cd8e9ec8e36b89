#include "engine/open_notes.h"

#include <cstring>

namespace kestrune {

void open_notes::clear() {
    std::memset(table_, 0, sizeof table_);
    std::memset(per_track_, 0, sizeof per_track_);
}

void open_notes::drop(entry& e) {
    --per_track_[e.owner];
    e.owner = 0;
}

void open_notes::started(int group, int track, std::uint8_t src_channel, std::uint8_t src_key,
                         sounding_note n) {
    entry& e = at(n);
    const auto owner = static_cast<std::uint8_t>(owner_of(group, track));
    // A key struck again sounds once: the last track to strike it owns it.
    if (e.owner != owner) {
        if (e.owner != 0) drop(e);
        ++per_track_[owner];
    }
    e = {owner, src_channel, src_key};
}

bool open_notes::take(int group, int track, std::uint8_t src_channel, std::uint8_t src_key,
                      sounding_note* where) {
    const int owner = owner_of(group, track);
    auto mine = [&](const entry& e) {
        return e.owner == owner && e.src_channel == src_channel && e.src_key == src_key;
    };
    entry& guess = at(*where);
    if (mine(guess)) {
        drop(guess);
        return true;
    }
    if (per_track_[owner] == 0) return false;
    for (int p = 0; p < ports; ++p)
        for (int c = 0; c < channels; ++c)
            for (int k = 0; k < keys; ++k)
                if (mine(table_[p][c][k])) {
                    drop(table_[p][c][k]);
                    *where = {static_cast<std::uint8_t>(p), static_cast<std::uint8_t>(c),
                              static_cast<std::uint8_t>(k)};
                    return true;
                }
    return false;
}

int open_notes::count() const {
    int n = 0;
    for (int o = 1; o <= groups * tracks; ++o) n += per_track_[o];
    return n;
}

}  // namespace kestrune
