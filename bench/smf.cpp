// Standard MIDI file import and export on a 16-track file of 400,000 events, in process; then
// kestrune-tool against midicsv, whole process against whole process, on that file and on a
// one-track file of 100,000 events. Prints one line per figure, `name value`. `--quick` uses
// small files for a single CI run.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

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
    const event_store& s = p.store();
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

extern "C" char** environ;

// Milliseconds of one whole process, or a negative number when it failed.
double process_ms(const std::vector<std::string>& argv) {
    std::vector<char*> args;
    for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    posix_spawn_file_actions_t quiet;
    posix_spawn_file_actions_init(&quiet);
    posix_spawn_file_actions_addopen(&quiet, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&quiet, 2, "/dev/null", O_WRONLY, 0);
    const auto t0 = std::chrono::steady_clock::now();
    pid_t pid = 0;
    int status = -1;
    const bool ran = posix_spawnp(&pid, args[0], &quiet, nullptr, args.data(), environ) == 0 &&
                     ::waitpid(pid, &status, 0) == pid;
    const double ms = ms_since(t0);
    posix_spawn_file_actions_destroy(&quiet);
    return ran && WIFEXITED(status) && WEXITSTATUS(status) == 0 ? ms : -1;
}

// The best of a few runs of each, taken in turns so that all meet the same load. The import is
// `info`, which loads the file and prints a summary; `convert` to a song adds the save, which
// syncs the file to the disk.
bool compare_with_midicsv(const std::string& name, const std::string& midi, int rounds) {
    const std::string folder = midi.substr(0, midi.find_last_of('/') + 1);
    double import = 1e30, convert = 1e30, midicsv = 1e30;
    for (int r = 0; r < rounds; ++r) {
        const double a = process_ms({KESTRUNE_TOOL_PATH, "info", midi});
        const double b = process_ms({KESTRUNE_TOOL_PATH, "convert", midi, folder + "out.sng"});
        const double c = process_ms({"midicsv", midi, folder + "out.csv"});
        if (a < 0 || b < 0 || c < 0) return false;
        import = std::min(import, a);
        convert = std::min(convert, b);
        midicsv = std::min(midicsv, c);
    }
    std::printf("tool_import_ms_%s %.2f\n", name.c_str(), import);
    std::printf("tool_convert_ms_%s %.2f\n", name.c_str(), convert);
    std::printf("midicsv_ms_%s %.2f\n", name.c_str(), midicsv);
    std::printf("import_speedup_%s %.2f\n", name.c_str(), midicsv / import);
    std::remove((folder + "out.sng").c_str());
    std::remove((folder + "out.csv").c_str());
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
    const int single_track = quick ? 2000 : 100000;
    char dir[] = "/tmp/kestrune-smf-bench-XXXXXX";
    if (::mkdtemp(dir) == nullptr) return 1;
    const std::string format0 = std::string(dir) + "/format0.mid";
    const std::string path = std::string(dir) + "/bench.mid";
    if (!fill_track(p, 0, single_track) || !write_midi_file(p, format0)) return 1;
    clear_song(p);
    for (int t = 0; t < tracks; ++t)
        if (!fill_track(p, t, per_track)) {
            std::fprintf(stderr, "the pool cannot hold the song\n");
            return 1;
        }
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
        if (read_midi_file(p, path, cleared_song_load) != 1) return 1;
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
    p.shut_down();

    std::printf("events %d\n", tracks * per_track);
    std::printf("import_ms %.2f\n", import_ms);
    std::printf("export_ms %.2f\n", export_ms);
    int result = 0;
    if (std::system("command -v midicsv >/dev/null 2>&1") == 0) {
        if (!compare_with_midicsv("format1", path, rounds) ||
            !compare_with_midicsv("format0", format0, rounds)) {
            std::fprintf(stderr, "kestrune-tool or midicsv failed\n");
            result = 1;
        }
    } else {
        std::fprintf(stderr, "midicsv is not installed: no comparison\n");
    }
    std::remove(path.c_str());
    std::remove(format0.c_str());
    ::rmdir(dir);
    return result;
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
