// Figures of the song file: saving and loading a song of 400,000 events over 32 tracks.
// Prints one line per figure, `name value`. `--quick` uses a small song for a single CI run.
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "core/clock.h"
#include "bench/measure.h"
#include "bench/quiet_ui.h"
#include "engine/engine.h"
#include "files/song_file.h"
#include "files/track_chunk.h"
#include "core/program.h"
#include "song/song_start.h"

namespace kestrune {
namespace {

// Notes, controllers and now and then a sysex, in position order.
stored_track make_track(int track, int events) {
    stored_track t;
    t.head.channel = static_cast<std::uint8_t>(track % 16);
    t.head.loop_length = no_loop;
    std::memcpy(t.head.name, "Bench     ", 10);
    t.records.reserve(static_cast<std::size_t>(events));
    std::int32_t pos = song_start;
    while (static_cast<int>(t.records.size()) < events) {
        const auto n = static_cast<int>(t.records.size());
        const auto note = static_cast<std::uint8_t>(36 + (n * 7 + track) % 48);
        if (n % 97 == 50 && events - n >= 3) {
            t.records.push_back(midi_event::make(st::sysex, 0x43, 0x10, pos));
            t.records.push_back(midi_event{{0x4C, 0x00, 0x00, 0x7E, 0x00, 0x00}});
            t.records.push_back(midi_event{{0xF7, 0, 0, 0, 0, 0}});
        } else if (n % 9 == 4) {
            t.records.push_back(midi_event::make(0xB0, 7, static_cast<std::uint8_t>(n % 128), pos));
        } else {
            t.records.push_back(midi_event::make(n % 2 ? 0x80 : 0x90, note, 100, pos));
        }
        pos += 12;
        if (pos > last_position) pos = last_position;
    }
    return t;
}

int run(bool quick) {
    const int tracks = 32;
    const int total_events = quick ? 3200 : 400000;
    const int runs = quick ? 1 : 7;

    engine eng;
    quiet_ui screen;
    system_clock clk;
    program p(eng, screen, clk);
    p.write_defaults();
    p.d.memory_units = max_memory_units;
    if (start_program(p) != 0) return 1;
    for (int t = 0; t < tracks; ++t)
        if (!seat_track(p, 0, t, make_track(t, total_events / tracks))) {
            std::fprintf(stderr, "the pool cannot hold the song\n");
            return 1;
        }

    char folder[] = "/tmp/kestrune-bench-XXXXXX";
    if (!::mkdtemp(folder)) return 1;
    const std::string path = std::string(folder) + "/bench.sng";
    std::vector<double> save, load;
    for (int i = 0; i < runs; ++i) {
        auto a = stopwatch::now();
        if (!write_song_file(p, path)) return 1;
        auto b = stopwatch::now();
        if (read_song_file(p, path, true) != load_result::loaded) return 1;
        auto c = stopwatch::now();
        save.push_back(millis(a, b));
        load.push_back(millis(b, c));
    }
    const auto bytes = std::filesystem::file_size(path);
    std::filesystem::remove_all(folder);
    std::printf("save_ms %.2f\n", median(save));
    std::printf("load_ms %.2f\n", median(load));
    std::printf("file_bytes %llu\n", static_cast<unsigned long long>(bytes));
    p.shut_down();
    return 0;
}

}  // namespace
}  // namespace kestrune

int main(int argc, char** argv) {
    const bool quick = argc > 1 && std::strcmp(argv[1], "--quick") == 0;
    return kestrune::run(quick);
}
