// The notes that playback has started and not yet ended: one entry per port, channel and key,
// so every sounding note gets its note-off however many sound at once. Each entry names the
// track that started it and the key and channel it had in the chain, so a track's note-off
// finds its note even after the track's parameters changed, and a track's notes end alone.
#pragma once

#include <cstdint>

namespace kestrune {

struct sounding_note {
    std::uint8_t port, channel, key;
};

class open_notes {
public:
    static constexpr int ports = 4, channels = 16, keys = 128;
    static constexpr int groups = 3, tracks = 32;

    open_notes() { clear(); }
    void clear();

    void started(int group, int track, std::uint8_t src_channel, std::uint8_t src_key,
                 sounding_note n);
    // The note that a note-off of src_channel and src_key on the track ends, looked for first
    // where the track's parameters put it now; taken off the table when found.
    bool take(int group, int track, std::uint8_t src_channel, std::uint8_t src_key,
              sounding_note* where);
    // Calls end(note) for each note of the group's track (every track for -1), or of every
    // group for group -1, and takes them off the table.
    template <class F>
    void end(int group, int track, F&& end);

    int count() const;

private:
    struct entry {
        std::uint8_t owner;  // 0: silent; else 1 + group * tracks + track
        std::uint8_t src_channel, src_key;
    };
    static constexpr int owner_of(int group, int track) { return 1 + group * tracks + track; }
    entry& at(sounding_note n) { return table_[n.port][n.channel][n.key]; }
    void drop(entry& e);

    entry table_[ports][channels][keys];
    std::uint16_t per_track_[groups * tracks + 1];  // open notes of each owner
};

template <class F>
void open_notes::end(int group, int track, F&& end) {
    auto wanted = [&](int owner) {
        if (owner == 0) return false;
        if (group < 0) return true;
        const int g = (owner - 1) / tracks, t = (owner - 1) % tracks;
        return g == group && (track < 0 || t == track);
    };
    int left = 0;
    for (int o = 1; o <= groups * tracks; ++o)
        if (wanted(o)) left += per_track_[o];
    for (int p = 0; p < ports && left > 0; ++p)
        for (int c = 0; c < channels; ++c)
            for (int k = 0; k < keys; ++k) {
                entry& e = table_[p][c][k];
                if (!wanted(e.owner)) continue;
                drop(e);
                --left;
                end(sounding_note{static_cast<std::uint8_t>(p), static_cast<std::uint8_t>(c),
                                  static_cast<std::uint8_t>(k)});
            }
}

}  // namespace kestrune
