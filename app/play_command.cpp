#include "app/play_command.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>

#include "app/command_line.h"
#include "app/console_ui.h"
#include "app/quit_signals.h"
#include "engine/engine.h"
#include "engine/system_backend.h"
#include "realtime/song_extent.h"
#include "realtime/transport.h"
#include "song/event_store.h"
#include "song/locate.h"
#include "song/position.h"
#include "song/song_start.h"

namespace kestrune {

namespace {

constexpr const char* no_midi_system =
    "No ALSA sequencer and no JACK server were found.\n"
    "Load the ALSA sequencer (snd-seq) or start a JACK server.";

std::string upper(std::string s) {
    for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return s;
}

// A device named exactly, or else the first whose name holds the text, case aside.
int find_device(const std::vector<std::string>& names, const std::string& wanted) {
    for (std::size_t i = 0; i < names.size(); ++i)
        if (names[i] == wanted) return static_cast<int>(i);
    const std::string w = upper(wanted);
    for (std::size_t i = 0; i < names.size(); ++i)
        if (upper(names[i]).find(w) != std::string::npos) return static_cast<int>(i);
    return -1;
}

bool lost_device(const program& p) {
    for (int port = 0; port < output_ports; ++port)
        if (p.d.midi_out_handle[port] && p.eng.output_lost(port)) return true;
    return false;
}

int usage(const std::string& why) {
    std::fprintf(stderr, "kestrune-tool: %s\n", why.c_str());
    std::fputs("usage: kestrune-tool play FILE [--port A=NAME ...] [--from BAR] [--loop]\n"
               "       kestrune-tool play --list\n",
               stderr);
    return 2;
}

}  // namespace

namespace {

struct play_options {
    std::string file;
    std::vector<std::pair<int, std::string>> ports;
    int from_bar = 0;
    bool loop = false;
    bool list = false;
};

// Reads the arguments; an error text when they do not parse.
std::string read_options(const std::vector<std::string>& args, play_options& o) {
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        const bool has_value = i + 1 < args.size();
        if (a == "--list") {
            o.list = true;
        } else if (a == "--loop") {
            o.loop = true;
        } else if ((a == "--from" || a == "--port") && !has_value) {
            return needs_value(a);
        } else if (a == "--from") {
            if (!whole_number(args[++i], 1, 9999, o.from_bar))
                return takes(a, "a bar number from 1 to 9999", args[i]);
        } else if (a == "--port") {
            const std::string& v = args[++i];
            const char letter = v.empty() ? 0 : static_cast<char>(std::toupper(static_cast<unsigned char>(v[0])));
            if (v.size() < 3 || v[1] != '=' || letter < 'A' || letter > 'D')
                return takes(a, "a port letter A to D, '=', and a device name", v);
            o.ports.emplace_back(letter - 'A', v.substr(2));
        } else if (a.starts_with("-")) {
            return refused_option("play", a);
        } else if (o.file.empty()) {
            o.file = a;
        } else {
            return "play takes one FILE";
        }
    }
    return !o.list && o.file.empty() ? "play needs a FILE" : "";
}

// The devices each port plays through, as the engine opened them.
void print_ports(const program& prog, const std::vector<std::string>& outputs) {
    for (int p = 0; p < 4; ++p)
        if (prog.d.midi_out_handle[p])
            std::printf("port %c %s\n", 'A' + p,
                        outputs[static_cast<std::size_t>(prog.d.midi_out_device[p] - 1)].c_str());
}

// Plays to the end (or round the loop) until a signal, printing the position as it goes; 1 when
// a device went away. Stop ends every sounding note with its note-off.
int play_song(program& prog, const play_options& o) {
    // Ctrl+C, kill and a closed terminal all end the notes on the way out.
    quit_signals signals;
    transport tr(prog);
    const std::int32_t from = o.from_bar > 0 ? bar_position(prog, o.from_bar) : song_start;
    const std::int32_t end = std::max(song_end(prog), from + 1);
    if (o.loop) {
        prog.d.left_locator = std::min(from, last_locator_position);
        prog.d.right_locator = std::min(end, last_locator_position);
        prog.d.cycle_on = prog.d.right_locator > prog.d.left_locator ? 1 : 0;
        tr.play();
    } else {
        // From a bar: Pause while stopped continues from the position.
        prog.d.position = from;
        tr.pause();
    }
    int status = 0;
    std::string shown;
    while (signals.wait(25) == 0) {
        handle_engine_messages(prog);
        if (lost_device(prog)) {
            // The message is posted before the port counts as lost.
            handle_engine_messages(prog);
            status = 1;
            break;
        }
        tr.tick(false);
        const std::string bar = position_text(prog, prog.d.position).substr(0, 7);
        if (bar != shown) {
            shown = bar;
            std::printf("position %s\n", position_text(prog, prog.d.position).c_str());
            std::fflush(stdout);
        }
        if (shared_load(prog.d.stopped)) break;  // a stop step or the last bar
        if (!o.loop && prog.d.position >= end) break;
    }
    tr.stop();
    return status;
}

// The program on the backend with the ports given; the file loaded and played.
int play_file(system_backend& backend, console_ui& screen, const std::vector<std::string>& outputs,
              const play_options& o, file_loader load) {
    system_clock clk;
    engine eng;
    eng.attach(clk, &backend);
    eng.set_own_thread(true);
    program prog(eng, screen, clk);
    prog.write_defaults();
    prog.d.memory_units = max_memory_units;
    // Without --port the engine's default applies: port A plays through the built-in synth.
    for (const auto& [port, name] : o.ports) {
        const int device = find_device(outputs, name);
        if (device < 0) {
            std::fprintf(stderr, "No output device matches \"%s\"\n", name.c_str());
            return 1;
        }
        prog.d.midi_out_device[port] = static_cast<std::int16_t>(device + 1);
    }
    if (start_program(prog) != 0) return 1;
    int status = 1;
    if (load(prog, o.file)) {
        if (prog.d.midi_not_configured) {
            screen.message("No MIDI output could be opened.", msg_icon::stop, msg_buttons::ok,
                           msg_answer::ok, program_title);
        } else {
            print_ports(prog, outputs);
            status = play_song(prog, o);
        }
    }
    std::fflush(stdout);
    prog.shut_down();
    return status;
}

}  // namespace

int play_command(const std::vector<std::string>& args, file_loader load) {
    play_options o;
    if (const std::string why = read_options(args, o); !why.empty()) return usage(why);
    system_backend backend;
    console_ui screen;
    const auto outputs = backend.output_devices();  // this also joins a JACK server
    // Without ALSA and JACK the built-in synth still plays through the sound server.
    if (!backend.midi_system_present()) {
        screen.message(no_midi_system, outputs.empty() ? msg_icon::stop : msg_icon::warning,
                       msg_buttons::ok, msg_answer::ok, program_title);
        if (outputs.empty()) return 1;
    }
    if (o.list) {
        for (const auto& n : outputs) std::printf("output %s\n", n.c_str());
        for (const auto& n : backend.input_devices()) std::printf("input %s\n", n.c_str());
        return 0;
    }
    return play_file(backend, screen, outputs, o, load);
}

}  // namespace kestrune
