// jackd with the dummy driver, for the JACK tests and benchmarks: a process group of its own that
// never outlives its parent, real time where the machine grants it.
#pragma once

#include <fcntl.h>
#include <jack/jack.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

namespace kestrune::testing {

// Starts the server `name`, makes it the default for this process's clients and waits until one
// can reach it. Returns its pid, or -1 with the reason in `why`.
inline pid_t start_dummy_jackd(const std::string& name, int rate, int period, std::string* why) {
    const std::string rate_arg = std::to_string(rate), period_arg = std::to_string(period);
    pid_t pid = fork();
    if (pid == 0) {
        setpgid(0, 0);
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        const int null = open("/dev/null", O_WRONLY);
        dup2(null, 1);
        dup2(null, 2);
        sched_param sp{};
        sp.sched_priority = 10;
        const bool rt = sched_setscheduler(0, SCHED_FIFO, &sp) == 0;
        sp.sched_priority = 0;
        sched_setscheduler(0, SCHED_OTHER, &sp);
        execlp("jackd", "jackd", "-n", name.c_str(), rt ? "-R" : "--no-realtime", "-d", "dummy",
               "-r", rate_arg.c_str(), "-p", period_arg.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    if (pid < 0) {
        *why = "could not start jackd";
        return -1;
    }
    setpgid(pid, pid);
    setenv("JACK_DEFAULT_SERVER", name.c_str(), 1);
    // Until the server is up, libjack would complain about every attempt to reach it.
    jack_set_error_function(+[](const char*) {});
    // A machine under load may take its time; a server that is up ends the wait at once.
    *why = "jackd did not come up within 30 s";
    for (int i = 0; i < 600; ++i) {
        if (waitpid(pid, nullptr, WNOHANG) == pid) {
            *why = "jackd exited at start (dummy driver unavailable?)";
            pid = -1;
            break;
        }
        if (jack_client_t* c = jack_client_open("ready", JackNoStartServer, nullptr)) {
            jack_client_close(c);
            why->clear();
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    jack_set_error_function(nullptr);
    if (!why->empty() && pid > 0) {
        kill(-pid, SIGKILL);
        waitpid(pid, nullptr, 0);
        pid = -1;
    }
    return pid;
}

// Sends `sig` to the server's group and waits up to 3 s before killing it outright.
inline void stop_dummy_jackd(pid_t& pid, int sig) {
    if (pid <= 0) return;
    kill(-pid, sig);
    for (int i = 0; i < 300; ++i) {
        if (waitpid(pid, nullptr, WNOHANG) == pid) {
            pid = -1;
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    kill(-pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    pid = -1;
}

// jackd -d dummy under a name of this process's own for as long as it lives, made the default
// server for its clients; not running when jackd is missing or does not come up.
class dummy_jack_server {
  public:
    dummy_jack_server(int rate, int period) {
        std::string why;
        pid_ = start_dummy_jackd("kestrune-bench-" + std::to_string(getpid()), rate, period, &why);
    }
    ~dummy_jack_server() { stop_dummy_jackd(pid_, SIGTERM); }
    dummy_jack_server(const dummy_jack_server&) = delete;
    dummy_jack_server& operator=(const dummy_jack_server&) = delete;
    bool running() const { return pid_ > 0; }

  private:
    pid_t pid_ = -1;
};

}  // namespace kestrune::testing
