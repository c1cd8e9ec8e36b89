// The Standard MIDI file reader on any bytes, in its three ways of loading: into a cleared song,
// joined to a tempo list at a song step, and behind the tracks of a nearly full song. Every chain
// must be sound afterwards, and a pattern it loaded must write out and read back.
#include "files/smf_reader.h"
#include "files/smf_writer.h"
#include "fuzz/fuzz_support.h"
#include "tests/support/chain_checker.h"
#include "song/event_store.h"

using namespace kestrune;

namespace {

midi_event tempo_record(std::int32_t pos, std::int32_t value) {
    midi_event e = midi_event::make(st::tempo, 0, 0, pos);
    e.set_tempo_value(value);
    return e;
}

// A tempo list and a signature list to join to, and a song step off the bar lines.
void prepare_join(program& p) {
    const event_store& s = p.store();
    for (std::int32_t pos : {3072, 7000, 9100, 20000}) {
        ref32 end = s.chain_end(p.d.tempo_chain.first);
        const int took = s.insert_record(end);
        s.at(end) = tempo_record(pos, 9000 + pos % 1000);
        p.d.tempo_chain.blocks = static_cast<std::uint16_t>(p.d.tempo_chain.blocks + took);
        p.d.free_blocks -= took;
    }
    p.step(0).end = 9000;
    p.d.current_step = 1;
    p.d.tempo_track_on = 1;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzzing::fuzz_program f;
    static fuzzing::input_file in;
    static const std::string out = "/tmp/kestrune-smf-fuzz-" + std::to_string(::getpid()) + ".mid";
    program& p = *f.prog;
    clear_song(p);
    const std::size_t way = size % 3;
    int r = 0;
    if (way == 0) {
        r = read_midi_file(p, in.hold(data, size), cleared_song_load);
    } else if (way == 1) {
        prepare_join(p);
        r = read_midi_file(p, in.hold(data, size),
                           {.erased = false, .keep_tempo = true, .load_tempo = true});
    } else {
        // Only a few slots left, from the last song pattern on.
        for (int t = 0; t < 29; ++t) {
            const event_store& s = p.store();
            track_slot& slot = p.slot(parallel_pattern, t);
            slot.first = slot.play = s.new_empty_chain();
            slot.blocks = 1;
            slot.in_use = 1;
        }
        p.d.current_pattern = 15;
        r = read_midi_file(p, in.hold(data, size),
                           {.erased = false, .keep_tempo = false, .load_tempo = false});
    }
    fuzzing::check(p);
    if (r == 1 && !midi_file_tracks(p, p.d.current_pattern).empty()) {
        if (!write_midi_file(p, out)) std::abort();
        clear_song(p);
        if (read_midi_file(p, out, cleared_song_load) != 1) std::abort();
        fuzzing::check(p);
    }
    return 0;
}
