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

// A server under a name of this process's own for as long as it lives, made the default for this
// process's clients; not running, with the reason in why(), when jackd is missing or does not
// come up.
class dummy_jack_server {
  public:
    dummy_jack_server(int rate, int period) {
        const std::string name = "kestrune-" + std::to_string(getpid());
        const std::string rate_arg = std::to_string(rate), period_arg = std::to_string(period);
        pid_ = fork();
        if (pid_ == 0) {
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
        if (pid_ < 0) {
            why_ = "could not start jackd";
            return;
        }
        setpgid(pid_, pid_);
        setenv("JACK_DEFAULT_SERVER", name.c_str(), 1);
        // Until the server is up, libjack would complain about every attempt to reach it.
        jack_set_error_function(+[](const char*) {});
        // A machine under load may take its time; a server that is up ends the wait at once.
        why_ = "jackd did not come up within 30 s";
        for (int i = 0; i < 600; ++i) {
            if (waitpid(pid_, nullptr, WNOHANG) == pid_) {
                why_ = "jackd exited at start (dummy driver unavailable?)";
                pid_ = -1;
                break;
            }
            if (jack_client_t* c = jack_client_open("ready", JackNoStartServer, nullptr)) {
                jack_client_close(c);
                why_.clear();
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        jack_set_error_function(nullptr);
        if (!why_.empty()) stop(SIGKILL);
    }
    ~dummy_jack_server() { stop(SIGTERM); }
    dummy_jack_server(const dummy_jack_server&) = delete;
    dummy_jack_server& operator=(const dummy_jack_server&) = delete;
    bool running() const { return pid_ > 0; }
    const std::string& why() const { return why_; }

  private:
    // Sends `sig` to the server's group and waits up to 3 s before killing it outright.
    void stop(int sig) {
        if (pid_ <= 0) return;
        kill(-pid_, sig);
        for (int i = 0; i < 300 && waitpid(pid_, nullptr, WNOHANG) != pid_; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        if (waitpid(pid_, nullptr, WNOHANG) == 0) {
            kill(-pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
        pid_ = -1;
    }

    pid_t pid_ = -1;
    std::string why_;
};

}  // namespace kestrune::testing
