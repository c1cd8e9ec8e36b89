// kestrune-tool: the program's own loaders and savers on a headless program state.
//   kestrune-tool convert INPUT OUTPUT
//   kestrune-tool dump FILE [--pattern N] [--tempo] [--signature]
//   kestrune-tool info FILE
//   kestrune-tool apply INPUT OUTPUT COMMAND [options] [FIELD=VALUE ...], apply --list
//   kestrune-tool play FILE [--port A=NAME ...] [--from BAR] [--loop], play --list (kestrune-play)
//   kestrune-tool render FILE OUT.wav|.flac [--soundfont SF2] [--rate HZ] [--from BAR] [--to BAR]
// Messages go to standard error, one per line. Exit status: 0 done, 1 a load or save was refused
// or failed, 2 a usage error.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "app/apply_command.h"
#include "app/command_line.h"
#include "app/console_ui.h"
#ifdef KESTRUNE_PLAY
#include "app/play_command.h"
#include "app/render_command.h"
#endif
#include "engine/engine.h"
#include "editors/list/event_rows.h"
#include "files/file_buffer.h"
#include "files/file_state.h"
#include "files/pattern_file.h"
#include "files/smf_reader.h"
#include "files/smf_writer.h"
#include "files/song_file.h"
#include "files/sysex_file.h"
#include "song/patterns.h"
#include "song/position.h"
#include "core/program.h"
#include "song/song_start.h"
#include "song/event_store.h"

namespace kestrune {
namespace {

constexpr int exit_ok = 0;
constexpr int exit_failed = 1;
constexpr int exit_usage = 2;

constexpr const char* msg_no_data_in_midi_file = "No data in this MIDI file!";

const char* const usage_text =
    "usage: kestrune-tool convert INPUT OUTPUT\n"
    "       kestrune-tool dump FILE [--pattern N] [--tempo] [--signature]\n"
    "       kestrune-tool info FILE\n"
    "       kestrune-tool apply INPUT OUTPUT COMMAND [--pattern P] [--track T] [--locators L R]\n"
    "                           [--answer yes|no] [FIELD=VALUE ...] | apply --list\n"
    "       kestrune-tool play FILE [--port A=NAME ...] [--from BAR] [--loop] | play --list\n"
    "       kestrune-tool render FILE OUT.wav|OUT.flac [--soundfont SF2] [--rate HZ] [--from BAR] [--to BAR]\n"
    "INPUT: .sng, .mid, .kar, .pat, .trk or .syx; OUTPUT: .sng or .mid\n";

int usage(const char* why = nullptr) {
    if (why) std::fprintf(stderr, "kestrune-tool: %s\n", why);
    std::fputs(usage_text, stderr);
    return exit_usage;
}

bool song_is_empty(const program& p) {
    for (int pat = 0; pat <= parallel_pattern; ++pat)
        for (int t = 0; t < tracks_per_pattern; ++t)
            if (p.slot(pat, t).in_use) return false;
    return true;
}

// Loads a file by its extension, as a file named on the command line: a song as it is, a MIDI
// file into a cleared song, a pattern into pattern 1 of the empty song, a track or sysex file
// into its track 1. A MIDI file read cleanly that holds no events is an empty song, said so; one
// whose reading already failed with its message counts as a failed load.
bool load_input(program& p, const std::string& path) {
    const std::string ext = extension_upper(path);
    if (ext == ".SNG") return read_song_file(p, path, true) == load_result::loaded;
    if (ext == ".PAT") return read_pattern_file(p, 0, path) == load_result::loaded;
    if (ext == ".TRK") return read_track_file(p, 0, 0, path) == load_result::loaded;
    if (ext == ".SYX") return read_syx_file(p, 0, 0, path) == load_result::loaded;
    if (ext == ".MID" || ext == ".KAR") {
        const auto* shown = dynamic_cast<const console_ui*>(&p.screen);
        const int before = shown ? shown->messages() : 0;
        if (read_midi_file(p, path, cleared_song_load) != 1) return false;
        if (!song_is_empty(p)) return true;
        const bool clean = shown && shown->messages() == before;
        p.message(msg_no_data_in_midi_file);
        return clean;
    }
    p.message("Unknown file type");
    return false;
}

// A pool no larger than the file can fill, so that a small file starts at once: every format
// takes at least two bytes per record, and two units hold the chains of every track and list.
std::int16_t memory_units_for(const std::string& path) {
    constexpr std::uint64_t file_bytes_per_unit = 2 * events_per_unit;
    struct stat st {};
    const auto size = ::stat(path.c_str(), &st) == 0 ? static_cast<std::uint64_t>(st.st_size) : 0;
    return static_cast<std::int16_t>(
        std::min<std::uint64_t>(2 + size / file_bytes_per_unit, max_memory_units));
}

std::string printable(const char* s, std::size_t n) {
    std::string out;
    for (std::size_t i = 0; i < n && s[i] != 0; ++i) {
        const auto c = static_cast<unsigned char>(s[i]);
        out += c < 0x20 || c == 0x7F ? '.' : static_cast<char>(c);
    }
    return out;
}

std::string trimmed(std::string s) {
    s.erase(s.find_last_not_of(' ') + 1);
    return s;
}

void print_rows(const program& p, ref32 first, const row_context& c) {
    const event_store& s = p.store();
    for (ref32 e = first; is_event_status(s.status(e)); e = s.next_event(e))
        std::printf("%s\n", trimmed(event_row_text(p, e, c)).c_str());
}

int events_of(const program& p, ref32 first) {
    const event_store& s = p.store();
    int n = 0;
    for (ref32 e = first; is_event_status(s.status(e)); e = s.next_event(e)) ++n;
    return n;
}

int dump(program& p, int only_pattern, bool tempo, bool signature) {
    for (int pat = 0; pat <= parallel_pattern; ++pat) {
        if (only_pattern >= 0 && pat != only_pattern) continue;
        for (int t = 0; t < tracks_per_pattern; ++t) {
            const track_slot& s = p.slot(pat, t);
            if (!s.in_use) continue;
            std::printf("pattern %d track %d name \"%s\"\n", pat, t, printable(s.name, 10).c_str());
            print_rows(p, s.first, {s.channel, s.port, nullptr, nullptr});
        }
    }
    if (tempo) print_rows(p, p.d.tempo_chain.first, {});
    if (signature) print_rows(p, p.d.signature_track.first, {});
    return exit_ok;
}

std::string channel_text(int channel) {
    return channel >= 16 ? "--" : std::to_string(channel + 1);
}

int info(program& p) {
    const dll_data& d = p.d;
    for (int pat = 0; pat <= parallel_pattern; ++pat) {
        int used = 0;
        for (int t = 0; t < tracks_per_pattern; ++t) used += p.slot(pat, t).in_use != 0;
        std::printf("pattern %d name \"%s\" tracks %d\n", pat,
                    printable(p.pattern(pat).name, 10).c_str(), used);
        for (int t = 0; t < tracks_per_pattern; ++t) {
            const track_slot& s = p.slot(pat, t);
            if (!s.in_use) continue;
            std::printf(
                "  track %d name \"%s\" channel %s port %c velocity %d transpose %d delay %d "
                "compress %d quantize %d mute %d loop %d events %d\n",
                t, printable(s.name, 10).c_str(), channel_text(s.channel).c_str(),
                'A' + (s.port & 3), s.velocity, s.transpose, s.delay, s.compress, s.quantize,
                s.mute, s.loop_length == no_loop ? 0 : s.loop_length - 3071, events_of(p, s.first));
        }
    }
    std::printf("tempo %s tempo track %s events %d\n",
                trimmed(tempo_text(p.app.song_tempo)).c_str(), d.tempo_track_on ? "on" : "off",
                events_of(p, d.tempo_chain.first));
    const midi_event& sig = p.store().at(d.signature_chain.first);
    std::printf("signature %d/%d signature track %s events %d\n", sig.data1(), sig.data2(),
                d.signature_track_on ? "on" : "off", events_of(p, d.signature_track.first));
    std::printf("song mode %s current step %d current pattern %d\n", d.song_mode ? "on" : "off",
                d.current_step, d.current_pattern);
    for (int i = 0; i < song_steps; ++i) {
        const song_step& s = p.step(i);
        std::printf("step %d pattern %d end %d pickup %d transpose %d stop %d name \"%s\"\n", i,
                    s.pattern, s.end, s.pickup, s.transpose, s.stop_here,
                    printable(s.name, 10).c_str());
    }
    return exit_ok;
}

int convert(program& p, const std::string& output) {
    const std::string ext = extension_upper(output);
    if (ext == ".SNG") return write_song_file(p, output) ? exit_ok : exit_failed;
    // The warning about track parameters is printed and answered Yes.
    return confirm_track_parameters(p) && write_midi_file(p, output) ? exit_ok : exit_failed;
}

#ifndef KESTRUNE_PLAY
// The player and the audio export are this tool built with the MIDI backends and the synth,
// kestrune-play beside it, so that the other commands start without those libraries. It takes
// over this process.
int run_player(char** argv) {
    char self[4096];
    const ssize_t n = ::readlink("/proc/self/exe", self, sizeof self - 1);
    if (n > 0) {
        std::string player(self, static_cast<std::size_t>(n));
        player.erase(player.find_last_of('/') + 1);
        player += "kestrune-play";
        ::execv(player.c_str(), argv);
    }
    return usage("this build has no MIDI backends");
}
#endif

// Reads dump's options; what is wrong with them, or nothing.
std::string dump_options(const std::vector<std::string>& args, int& only_pattern, bool& tempo,
                         bool& signature) {
    for (std::size_t i = 1; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "--tempo") {
            tempo = true;
        } else if (a == "--signature") {
            signature = true;
        } else if (a == "--pattern") {
            if (i + 1 == args.size()) return needs_value(a);
            char* end = nullptr;
            const long n = std::strtol(args[++i].c_str(), &end, 10);
            if (*end != 0 || args[i].empty() || n < 0 || n > parallel_pattern)
                return "--pattern takes a number from 0 to 16, not " + args[i];
            only_pattern = static_cast<int>(n);
        } else if (a.starts_with("-")) {
            return refused_option("dump", a);
        } else {
            return "dump takes one FILE";
        }
    }
    return {};
}

// Checks the words of convert and info; what is wrong with them, or nothing.
std::string plain_options(const std::string& command, const std::vector<std::string>& args,
                          std::size_t files) {
    for (std::size_t i = 0; i < args.size(); ++i)
        if (args[i].starts_with("--")) return refused_option(command, args[i]);
    if (args.size() == files) return {};
    return command + (files == 1 ? " takes one FILE" : " takes INPUT and OUTPUT");
}

int run(int argc, char** argv) {
    if (argc < 2) return usage("no command given");
    const std::string command = argv[1];
    std::vector<std::string> args(argv + 2, argv + argc);
    // A save cut off by a signal leaves no temporary file; play and render put their own
    // handlers over these.
    remove_unfinished_save_on_signals();
    if (command == "apply") return apply_command(args, load_input);
#ifdef KESTRUNE_PLAY
    if (command == "play") return play_command(args, load_input);
    if (command == "render") return render_command(args, load_input);
#else
    if (command == "play" || command == "render") return run_player(argv);
#endif
    int only_pattern = -1;
    bool tempo = false;
    bool signature = false;
    std::string why;
    if (command == "convert") {
        why = plain_options(command, args, 2);
        if (why.empty() && extension_upper(args[1]) != ".SNG" && extension_upper(args[1]) != ".MID")
            why = "OUTPUT must end in .sng or .mid";
    } else if (command == "dump") {
        if (args.empty() || args[0].starts_with("-"))
            why = "dump needs a FILE before its options";
        else
            why = dump_options(args, only_pattern, tempo, signature);
    } else if (command == "info") {
        why = plain_options(command, args, 1);
    } else {
        why = "unknown command " + command;
    }
    if (!why.empty()) return usage(why.c_str());

    // No engine thread and no MIDI system: the engine only keeps the pool.
    engine eng;
    console_ui screen;
    system_clock clk;
    program prog(eng, screen, clk);
    prog.write_defaults();
    prog.d.memory_units = memory_units_for(args[0]);
    if (start_program(prog) != 0) return exit_failed;
    int result = exit_failed;
    if (load_input(prog, args[0])) {
        if (command == "convert")
            result = convert(prog, args[1]);
        else if (command == "dump")
            result = dump(prog, only_pattern, tempo, signature);
        else
            result = info(prog);
    }
    std::fflush(stdout);
    prog.shut_down();
    return result;
}

}  // namespace
}  // namespace kestrune

int main(int argc, char** argv) {
    return kestrune::run(argc, argv);
}
