#include "app/quit_signals.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>

#include "files/file_buffer.h"

namespace kestrune {

namespace {

constexpr int watched[] = {SIGINT, SIGTERM, SIGHUP};
std::atomic<int> write_end{-1};
std::atomic<int> count{0};
std::atomic<int> first_signal{0};
struct sigaction before[3];
struct sigaction pipe_before;

void on_signal(int sig) {
    if (count.fetch_add(1) > 0) {
        // The program is ending already: a second signal ends it now, leaving no half save.
        remove_unfinished_save();
        std::signal(sig, SIG_DFL);
        std::raise(sig);
        return;
    }
    first_signal = sig;
    const int saved = errno;
    const char number = static_cast<char>(sig);
    [[maybe_unused]] const ssize_t n = write(write_end.load(), &number, 1);
    errno = saved;
}

}  // namespace

quit_signals::quit_signals() {
    if (pipe2(pipe_, O_CLOEXEC | O_NONBLOCK) != 0) pipe_[0] = pipe_[1] = -1;
    write_end = pipe_[1];
    count = 0;
    first_signal = 0;
    struct sigaction sa {};
    sa.sa_handler = on_signal;
    sigemptyset(&sa.sa_mask);
    sa.sa_flags = SA_RESTART;
    for (int i = 0; i < 3; ++i) sigaction(watched[i], &sa, &before[i]);
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &ignore, &pipe_before);
}

quit_signals::~quit_signals() {
    for (int i = 0; i < 3; ++i) sigaction(watched[i], &before[i], nullptr);
    sigaction(SIGPIPE, &pipe_before, nullptr);
    write_end = -1;
    if (pipe_[0] >= 0) close(pipe_[0]);
    if (pipe_[1] >= 0) close(pipe_[1]);
}

int quit_signals::received() {
    char number = 0;
    while (pipe_[0] >= 0 && read(pipe_[0], &number, 1) == 1) {
    }
    return first_signal.load();
}

int quit_signals::wait(int ms) {
    if (received() != 0) return received();
    pollfd p{pipe_[0], POLLIN, 0};
    poll(&p, pipe_[0] >= 0 ? 1 : 0, ms);
    return received();
}

}  // namespace kestrune
