// SIGINT, SIGTERM and SIGHUP (Ctrl+C, kill, a closed terminal) as an ordinary event that a
// program's main loop notices, so it can end every sounding note and shut down in order.
//
// The handler only writes the signal's number into a pipe. A command-line loop calls wait();
// a window program watches fd() (a QSocketNotifier on it, read-ready) and calls received() when
// it fires. A second signal while the program is still ending ends it at once, as the signal
// would have, removing the temporary file of a save in progress. SIGPIPE is ignored: output to
// a closed pipe or terminal fails without killing.
#pragma once

namespace kestrune {

class quit_signals {
public:
    // Installs the handlers; one instance at a time.
    quit_signals();
    // Puts back what was there.
    ~quit_signals();
    quit_signals(const quit_signals&) = delete;
    quit_signals& operator=(const quit_signals&) = delete;

    // Readable once a signal has come.
    int fd() const { return pipe_[0]; }
    // The signal that came (SIGINT, SIGTERM or SIGHUP), or 0; never blocks.
    int received();
    // Waits up to `ms` milliseconds for a signal; returns it, or 0.
    int wait(int ms);

private:
    int pipe_[2] = {-1, -1};
};

}  // namespace kestrune
