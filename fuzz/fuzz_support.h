// What the fuzz targets share: a started program on a quiet screen, a file that holds the input,
// and the pool check after every load.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "core/clock.h"
#include "engine/engine.h"
#include "song/patterns.h"
#include "core/program.h"
#include "core/ui.h"
#include "tests/support/chain_checker.h"
#include "song/song_start.h"

namespace kestrune::fuzzing {

class quiet_ui final : public ui {
  public:
    msg_answer message(const std::string&, msg_icon, msg_buttons, msg_answer answer,
                       const std::string&) override {
        ++messages;
        return answer;
    }
    std::optional<std::string> open_file_dialog(const file_dialog_request&) override { return {}; }
    std::optional<std::string> save_file_dialog(const file_dialog_request&) override { return {}; }
    void wait_cursor() override {}
    void arrow_cursor() override {}
    void repaint(int) override {}
    int messages = 0;
};

class still_clock final : public clock {
  public:
    std::int64_t now_us() override { return now_; }
    void sleep_ms(int ms) override { now_ += ms * 1000; }

  private:
    std::int64_t now_ = 0;
};

struct fuzz_program {
    explicit fuzz_program(int units = 2) {
        prog = std::make_unique<program>(eng, screen, clk);
        prog->write_defaults();
        prog->d.memory_units = static_cast<std::int16_t>(units);
        if (start_program(*prog) != 0) std::abort();
    }
    engine eng;
    quiet_ui screen;
    still_clock clk;
    std::unique_ptr<program> prog;
};

// An in-memory file whose path the loaders open like any other.
class input_file {
  public:
    input_file() : fd_(::memfd_create("kestrune-fuzz", 0)) {
        if (fd_ < 0) std::abort();
        path_ = "/proc/self/fd/" + std::to_string(fd_);
    }
    const std::string& hold(const std::uint8_t* data, std::size_t size) {
        if (::ftruncate(fd_, 0) != 0) std::abort();
        std::size_t done = 0;
        while (done < size) {
            ssize_t n = ::pwrite(fd_, data + done, size - done, static_cast<off_t>(done));
            if (n <= 0) std::abort();
            done += static_cast<std::size_t>(n);
        }
        return path_;
    }
    const std::string& path() const { return path_; }

  private:
    int fd_;
    std::string path_;
};

// Every chain sound and no block lost, or the run stops here.
inline void check(const program& p) {
    std::string e = testing::check_pool(p);
    if (!e.empty()) {
        std::fprintf(stderr, "pool check failed:\n%s", e.c_str());
        std::abort();
    }
}

inline void empty_pattern(program& p, int pattern) {
    for (int t = 0; t < tracks_per_pattern; ++t) delete_track_chain(p, pattern, t);
}

}  // namespace kestrune::fuzzing
