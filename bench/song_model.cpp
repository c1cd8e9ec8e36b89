// Figures of the song model: locate over two full patterns, sorting and inserting in long chains.
// Prints one line per figure, `name value`. `--quick` uses small sizes for a single CI run.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "bench/measure.h"
#include "bench/quiet_ui.h"
#include "engine/engine.h"
#include "song/event_store.h"
#include "song/locate.h"
#include "core/program.h"
#include "song/song_start.h"

namespace kestrune {
namespace {

struct sizes {
    int events_per_track;
    int locates;
    int sort_records;
    int sort_runs;
    int insert_records;
    int inserts;
};

// Builds a chain of the given records in the record area and hands it to a track slot.
bool build_track(program& p, int pattern, int track, const std::vector<midi_event>& records) {
    event_store s = p.store();
    chain_builder b(s);
    for (const midi_event& e : records) b.put(e);
    if (!b.terminate() || !b.ok()) return false;
    track_slot& slot = p.slot(pattern, track);
    slot.first = slot.play = b.cut();
    slot.blocks = static_cast<std::uint16_t>(b.count_chain_blocks());
    slot.in_use = 1;
    return true;
}

void clear_track(program& p, int pattern, int track) {
    track_slot& slot = p.slot(pattern, track);
    if (!slot.in_use) return;
    p.store().free_chain(slot.first);
    slot.first = slot.play = null_ref;
    slot.blocks = 0;
    slot.in_use = 0;
}

std::vector<midi_event> sorted_notes(std::mt19937& rng, int n) {
    std::uniform_int_distribution<std::int32_t> pos(song_start, last_position);
    std::vector<std::int32_t> at(static_cast<std::size_t>(n));
    for (auto& v : at) v = pos(rng);
    std::sort(at.begin(), at.end());
    std::vector<midi_event> out;
    out.reserve(at.size());
    for (std::size_t i = 0; i < at.size(); ++i)
        out.push_back(midi_event::make(i % 2 ? 0x80 : 0x90, 60, 100, at[i]));
    return out;
}

bool bench_locate(program& p, const sizes& z) {
    std::mt19937 rng(1234);
    // The pool holds one pattern of 32 full tracks; the parallel pattern plays the same chains
    // in another order, so each locate searches 64 chains of the full length.
    for (int t = 0; t < tracks_per_pattern; ++t)
        if (!build_track(p, 0, t, sorted_notes(rng, z.events_per_track))) {
            std::fprintf(stderr, "pool too small for %d events a track\n", z.events_per_track);
            return false;
        }
    for (int t = 0; t < tracks_per_pattern; ++t) {
        const track_slot& src = p.slot(0, (t * 7 + 3) % tracks_per_pattern);
        track_slot& dst = p.slot(parallel_pattern, t);
        dst.first = dst.play = src.first;
        dst.blocks = src.blocks;
        dst.in_use = 1;
    }
    p.d.song_mode = 1;
    p.step(0).pattern = 0;
    p.step(0).end = past_last_step;

    std::uniform_int_distribution<std::int32_t> pos(0, last_position);
    for (int i = 0; i < 50; ++i) locate(p, pos(rng));
    std::vector<double> us;
    us.reserve(static_cast<std::size_t>(z.locates));
    for (int i = 0; i < z.locates; ++i) {
        std::int32_t at = pos(rng);
        auto a = stopwatch::now();
        locate(p, at);
        auto b = stopwatch::now();
        us.push_back(micros(a, b));
    }
    std::printf("locate_p50_us %.2f\n", percentile(us, 0.50));
    std::printf("locate_p99_us %.2f\n", percentile(us, 0.99));

    for (int t = 0; t < tracks_per_pattern; ++t) {
        track_slot& dst = p.slot(parallel_pattern, t);
        dst.first = dst.play = null_ref;
        dst.blocks = 0;
        dst.in_use = 0;
        clear_track(p, 0, t);
    }
    p.d.song_mode = 0;
    return true;
}

// Writes the records over the chain's own, which has room for exactly as many.
void rewrite(const event_store& s, ref32 first, const std::vector<midi_event>& records) {
    ref32 r = first;
    for (const midi_event& e : records) {
        s.at(r) = e;
        r = s.next_record(r);
    }
}

double time_sort(program& p, const std::vector<midi_event>& records, int runs) {
    event_store s = p.store();
    if (!build_track(p, 1, 0, records)) return -1;
    ref32 first = p.slot(1, 0).first;
    std::vector<double> ms;
    for (int r = 0; r < runs; ++r) {
        rewrite(s, first, records);
        auto a = stopwatch::now();
        s.sort_chain(first);
        auto b = stopwatch::now();
        ms.push_back(micros(a, b) / 1000.0);
    }
    clear_track(p, 1, 0);
    return percentile(ms, 0.5);
}

bool bench_sort(program& p, const sizes& z) {
    std::mt19937 rng(99);
    const auto n = static_cast<std::size_t>(z.sort_records);
    std::vector<midi_event> near(n), reversed(n);
    std::uniform_int_distribution<std::int32_t> jitter(0, 40);
    for (std::size_t i = 0; i < n; ++i) {
        auto base = static_cast<std::int32_t>(song_start + i * 8);
        near[i] =
            midi_event::make(0xB0, 7, static_cast<std::uint8_t>(i & 0x7F), base + jitter(rng));
        reversed[i] = midi_event::make(0xB0, 7, static_cast<std::uint8_t>(i & 0x7F),
                                       static_cast<std::int32_t>(song_start + (n - i) * 8));
    }
    double small = time_sort(p, near, z.sort_runs);
    double rev = time_sort(p, reversed, z.sort_runs);
    if (small < 0 || rev < 0) return false;
    std::printf("sort_small_displacement_ms %.3f\n", small);
    std::printf("sort_reversed_ms %.3f\n", rev);
    return true;
}

bool bench_insert(program& p, const sizes& z) {
    event_store s = p.store();
    std::vector<midi_event> records;
    for (int i = 0; i < z.insert_records; ++i)
        records.push_back(midi_event::make(0x90, 60, 100, song_start + i * 4));
    if (!build_track(p, 1, 0, records)) return false;
    track_slot& slot = p.slot(1, 0);
    std::vector<double> us;
    for (int i = 0; i < z.inserts; ++i) {
        auto a = stopwatch::now();
        int taken = s.insert_record(slot.first);
        auto b = stopwatch::now();
        us.push_back(micros(a, b));
        slot.blocks = static_cast<std::uint16_t>(slot.blocks + taken);
        p.d.free_blocks -= taken;
        s.at(slot.first) = midi_event::make(0x90, 61, 100, 0);
    }
    std::printf("insert_front_us %.2f\n", percentile(us, 0.5));
    clear_track(p, 1, 0);
    return true;
}

}  // namespace
}  // namespace kestrune

int main(int argc, char** argv) {
    using namespace kestrune;
    const bool quick = argc > 1 && std::strcmp(argv[1], "--quick") == 0;
    if (argc > 2 || (argc == 2 && !quick)) {
        std::fprintf(stderr, "usage: song_model [--quick]\n");
        return 2;
    }
    const sizes z =
        quick ? sizes{1000, 200, 10000, 3, 10000, 20} : sizes{15000, 5000, 100000, 9, 100000, 200};

    engine eng;
    quiet_ui screen;
    system_clock clk;
    program p(eng, screen, clk);
    p.write_defaults();
    p.d.memory_units = 50;
    if (start_program(p) != 0) return 1;

    bool ok = bench_locate(p, z) && bench_sort(p, z) && bench_insert(p, z);
    p.shut_down();
    return ok ? 0 : 1;
}
