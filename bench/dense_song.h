// The benchmarks' dense song: 32 tracks of sixteenth notes at 140 bpm, each half a sixteenth long,
// across four ports and sixteen channels.
#pragma once

#include <cstdint>

#include "core/program.h"
#include "song/event_store.h"
#include "song/position.h"

namespace kestrune::dense_song {

constexpr std::int32_t tempo = 14000;  // 140.00 bpm
constexpr int tracks = 32;
constexpr std::int32_t sixteenth = 48;  // ticks, 192 to the beat
constexpr double us_per_tick = 60e6 / (tempo / 100.0) / 192.0;

// Fills pattern 1 with `seconds` of the song and sets its tempo; false when the pool runs out.
inline bool build(program& p, double seconds) {
    event_store s = p.store();
    p.app.song_tempo = tempo;
    set_tempo_increment(p.d, tempo);
    const int notes = static_cast<int>(seconds * 1e6 / (us_per_tick * sixteenth)) + 2;
    for (int t = 0; t < tracks; ++t) {
        track_slot& sl = p.slot(0, t);
        sl.first = sl.play = s.new_empty_chain();
        sl.in_use = 1;
        sl.blocks = 1;
        sl.port = static_cast<std::uint8_t>(t % 4);
        const auto ch = static_cast<std::uint8_t>(t % 16);
        const auto key = static_cast<std::uint8_t>(36 + t);
        for (int i = 0; i < notes; ++i) {
            const std::int32_t pos = song_start + i * sixteenth;
            for (const midi_event& e :
                 {midi_event::make(static_cast<std::uint8_t>(0x90 | ch), key, 100, pos),
                  midi_event::make(static_cast<std::uint8_t>(0x80 | ch), key, 0, pos + sixteenth / 2)}) {
                const ref32 end = s.chain_end(sl.first);
                const int took = s.insert_record(end);
                if (took < 0) return false;
                sl.blocks = static_cast<std::uint16_t>(sl.blocks + took);
                p.d.free_blocks -= took;
                s.at(end) = e;
            }
        }
    }
    return true;
}

}  // namespace kestrune::dense_song
