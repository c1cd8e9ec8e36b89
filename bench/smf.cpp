// Standard MIDI file import and export on a 16-track file of 400,000 events, and midicsv on the
// same file for comparison. Prints one line per figure, `name value`. `--quick` uses a small file
// for a single CI run.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "core/clock.h"
#include "bench/quiet_ui.h"
#include "engine/engine.h"
#include "files/smf_reader.h"
#include "files/smf_writer.h"
#include "song/long_event.h"
#include "song/patterns.h"
#include "core/program.h"
#include "core/ui.h"
#include "song/song_start.h"
#include "song/event_store.h"

namespace kestrune {
namespace {


class still_clock final : public clock {
  public:
    std::int64_t now_us() override { return now_; }
    void sleep_ms(int ms) override { now_ += ms * 1000; }

  private:
    std::int64_t now_ = 0;
};

double ms_since(std::chrono::steady_clock::time_point t0) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
}

// Notes, controllers and the odd program change, in pairs 24 ticks apart.
bool fill_track(program& p, int track, int events) {
    event_store s = p.store();
    dll_data& d = p.d;
    d.record_write = event_store::first_slot(d.record_first_block);
    chain_builder b(s);
    for (int i = 0; i < events; ++i) {
        const std::int32_t pos = song_start + (i / 2) * 24 + (i % 2) * 12;
        const auto ch = static_cast<std::uint8_t>(track % 16);
        const auto note = static_cast<std::uint8_t>(36 + (i / 2 * 7 + track) % 60);
        if (i % 50 == 49)
            b.put(midi_event::make(static_cast<std::uint8_t>(0xB0 | ch), 7,
                                   static_cast<std::uint8_t>(i % 128), pos));
        else if (i % 2 == 0)
            b.put(midi_event::make(static_cast<std::uint8_t>(0x90 | ch), note,
                                   static_cast<std::uint8_t>(1 + i % 120), pos));
        else
            b.put(midi_event::make(static_cast<std::uint8_t>(0x80 | ch), note, 64, pos));
    }
    if (!b.terminate() || !b.ok()) return false;
    track_slot& slot = p.slot(0, track);
    slot.first = slot.play = b.cut();
    slot.blocks = static_cast<std::uint16_t>(b.count_chain_blocks());
    slot.in_use = 1;
    slot.channel = 16;
    put_name(slot.name, "Bench " + std::to_string(track));
    return true;
}

int run(bool quick) {
    engine eng;
    quiet_ui screen;
    still_clock clk;
    program p(eng, screen, clk);
    p.write_defaults();
    p.d.memory_units = max_memory_units;
    if (start_program(p) != 0) return 1;

    const int tracks = 16;
    const int per_track = quick ? 500 : 25000;
    for (int t = 0; t < tracks; ++t)
        if (!fill_track(p, t, per_track)) {
            std::fprintf(stderr, "the pool cannot hold the song\n");
            return 1;
        }
    char dir[] = "/tmp/kestrune-smf-bench-XXXXXX";
    if (::mkdtemp(dir) == nullptr) return 1;
    const std::string path = std::string(dir) + "/bench.mid";
    const int rounds = quick ? 1 : 5;

    double export_ms = 1e30;
    for (int r = 0; r < rounds; ++r) {
        const auto t0 = std::chrono::steady_clock::now();
        if (!write_midi_file(p, path)) return 1;
        export_ms = std::min(export_ms, ms_since(t0));
    }

    double import_ms = 1e30;
    for (int r = 0; r < rounds; ++r) {
        clear_song(p);
        const auto t0 = std::chrono::steady_clock::now();
        if (read_midi_file(p, path, 1, 0, 1) != 1) return 1;
        import_ms = std::min(import_ms, ms_since(t0));
    }
    int loaded = 0;
    for (int t = 0; t < tracks; ++t)
        for (ref32 e = p.slot(0, t).first;
             p.slot(0, t).in_use && is_event_status(p.store().status(e));
             e = p.store().next_event(e))
            ++loaded;
    if (loaded != tracks * per_track) {
        std::fprintf(stderr, "loaded %d events of %d\n", loaded, tracks * per_track);
        return 1;
    }

    std::printf("events %d\n", tracks * per_track);
    std::printf("import_ms %.2f\n", import_ms);
    std::printf("export_ms %.2f\n", export_ms);
    if (std::system("command -v midicsv >/dev/null 2>&1") == 0) {
        const std::string cmd = "midicsv '" + path + "' /dev/null";
        double midicsv_ms = 1e30;
        for (int r = 0; r < rounds; ++r) {
            const auto t0 = std::chrono::steady_clock::now();
            if (std::system(cmd.c_str()) != 0) return 1;
            midicsv_ms = std::min(midicsv_ms, ms_since(t0));
        }
        std::printf("midicsv_ms %.2f\n", midicsv_ms);
        std::printf("import_speedup %.2f\n", midicsv_ms / import_ms);
    } else {
        std::fprintf(stderr, "midicsv is not installed: no comparison\n");
    }
    std::remove(path.c_str());
    ::rmdir(dir);
    p.shut_down();
    return 0;
}

}  // namespace
}  // namespace kestrune

int main(int argc, char** argv) {
    const bool quick = argc > 1 && std::strcmp(argv[1], "--quick") == 0;
    if (argc > 2 || (argc == 2 && !quick)) {
        std::fprintf(stderr, "usage: smf [--quick]\n");
        return 2;
    }
    return kestrune::run(quick);
}
