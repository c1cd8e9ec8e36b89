// The whole program at rest: kestrune offscreen with a song loaded and stopped, port A on a JACK
// MIDI port, its CPU time read from /proc over a stretch of wall time. Beside it, as a floor, this
// benchmark's own process: a bare JACK client with one MIDI port on the same server whose process
// callback only reads its input, as every client with a port runs once a period. Prints
// program_idle_cpu_pct and program_idle_cpu_floor_pct; the program's threads go to standard error.
#include <fcntl.h>
#include <jack/jack.h>
#include <jack/midiport.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <thread>

#include "tests/platform/song_maker.h"
#include "tests/support/dummy_jackd.h"

extern char** environ;

namespace {

namespace fs = std::filesystem;
using steady = std::chrono::steady_clock;

// Nanoseconds each thread of a process has run, by thread id and name.
std::map<std::string, std::uint64_t> thread_times(pid_t pid) {
    std::map<std::string, std::uint64_t> times;
    const fs::path tasks = fs::path("/proc") / std::to_string(pid) / "task";
    std::error_code ec;
    for (const auto& t : fs::directory_iterator(tasks, ec)) {
        std::ifstream stat(t.path() / "schedstat"), comm(t.path() / "comm");
        std::uint64_t ns = 0;
        std::string name;
        if (!(stat >> ns)) continue;
        std::getline(comm, name);
        times[t.path().filename().string() + " " + name] = ns;
    }
    return times;
}

std::uint64_t total(const std::map<std::string, std::uint64_t>& times) {
    std::uint64_t sum = 0;
    for (const auto& [name, ns] : times) sum += ns;
    return sum;
}

pid_t start_program(const fs::path& dir, const fs::path& song) {
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    setenv("XDG_CONFIG_HOME", (dir / "config").c_str(), 1);
    setenv("HOME", dir.c_str(), 1);
    posix_spawn_file_actions_t io;
    posix_spawn_file_actions_init(&io);
    posix_spawn_file_actions_addopen(&io, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&io, 2, (dir / "program.err").c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const std::string program = KESTRUNE_PROGRAM, file = song.string();
    char* argv[] = {const_cast<char*>(program.c_str()), const_cast<char*>(file.c_str()), nullptr};
    pid_t pid = -1;
    if (posix_spawn(&pid, program.c_str(), &io, nullptr, argv, environ) != 0) pid = -1;
    posix_spawn_file_actions_destroy(&io);
    return pid;
}

int read_input(jack_nframes_t frames, void* port) {
    static_cast<void>(
        jack_midi_get_event_count(jack_port_get_buffer(static_cast<jack_port_t*>(port), frames)));
    return 0;
}

int run(double settle_s, double measure_s) {
    kestrune::testing::dummy_jack_server server(48000, 1024);
    if (!server.running()) {
        std::fprintf(stderr, "no JACK server (jackd with its dummy driver); nothing measured\n");
        return 0;
    }
    jack_client_t* sink = jack_client_open("idle_sink", JackNoStartServer, nullptr);
    jack_port_t* in = sink ? jack_port_register(sink, "in", JACK_DEFAULT_MIDI_TYPE, JackPortIsInput, 0)
                           : nullptr;
    if (!in || jack_set_process_callback(sink, read_input, in) != 0 || jack_activate(sink) != 0) {
        std::fprintf(stderr, "the sink could not join the JACK server\n");
        return 1;
    }
    const fs::path dir = fs::temp_directory_path() / ("kestrune_idle_" + std::to_string(getpid()));
    fs::create_directories(dir / "config/Vandrelle/Kestrune");
    // Port A on the sink, by name, so the program starts without asking for MIDI Setup.
    std::ofstream(dir / "config/Vandrelle/Kestrune/Kestrune_devices.conf")
        << "port_a=JACK: " << jack_port_name(in) << "\n";
    kestrune::testing::write_midi_song((dir / "song.mid").string(), 16, 64);

    const pid_t pid = start_program(dir, dir / "song.mid");
    if (pid < 0) {
        std::fprintf(stderr, "could not start %s\n", KESTRUNE_PROGRAM);
        return 1;
    }
    auto wait = [](double s) {
        std::this_thread::sleep_for(std::chrono::duration<double>(s));
    };
    wait(settle_s);
    if (!jack_port_connected(in)) std::fprintf(stderr, "port A did not reach the sink\n");
    const auto program0 = thread_times(pid);
    const auto own0 = thread_times(getpid());
    const auto t0 = steady::now();
    wait(measure_s);
    const auto program1 = thread_times(pid);
    const auto own1 = thread_times(getpid());
    const double wall_ns =
        static_cast<double>(std::chrono::duration_cast<std::chrono::nanoseconds>(steady::now() - t0).count());
    kill(pid, SIGTERM);
    int status = 0;
    waitpid(pid, &status, 0);
    jack_client_close(sink);

    for (const auto& [name, ns] : program1) {
        const auto before = program0.find(name);
        const std::uint64_t start = before == program0.end() ? 0 : before->second;
        std::fprintf(stderr, "  thread %-28s %.3f %%\n", name.c_str(), 100.0 * static_cast<double>(ns - start) / wall_ns);
    }
    std::printf("program_idle_cpu_pct %.3f\n", 100.0 * static_cast<double>(total(program1) - total(program0)) / wall_ns);
    std::printf("program_idle_cpu_floor_pct %.3f\n", 100.0 * static_cast<double>(total(own1) - total(own0)) / wall_ns);
    fs::remove_all(dir);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    const bool quick = argc > 1 && std::strcmp(argv[1], "--quick") == 0;
    return quick ? run(1.0, 0.5) : run(3.0, 20.0);
}
