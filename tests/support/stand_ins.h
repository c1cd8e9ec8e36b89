// Scripted stand-ins for the platform: a ui that answers from a script and records every
// message, a virtual clock, and what the engine sent to the capture backend.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "core/clock.h"
#include "core/program.h"
#include "core/ui.h"
#include "engine/engine.h"
#include "engine/midi_backend.h"

namespace kestrune::testing {

class scripted_ui final : public ui {
  public:
    struct shown {
        std::string text;
        msg_icon icon;
        msg_buttons buttons;
        std::string caption;
    };

    msg_answer message(const std::string& text, msg_icon icon, msg_buttons buttons,
                       msg_answer default_answer, const std::string& caption) override;
    std::optional<std::string> open_file_dialog(const file_dialog_request& r) override;
    std::optional<std::string> save_file_dialog(const file_dialog_request& r) override;
    void wait_cursor() override { ++wait_cursors; }
    void arrow_cursor() override { ++arrow_cursors; }
    void repaint(int region) override { repaints.push_back(region); }
    // Each progress report's part done; Cancel is pressed from the report numbered `cancel_at`.
    bool progress(const std::string&, const std::string&, double done) override {
        progress_done.push_back(done);
        return cancel_at < 0 || static_cast<int>(progress_done.size()) <= cancel_at;
    }
    std::vector<double> progress_done;
    int cancel_at = -1;
    // The entries typed into in-place boxes, in turn; a box given up once they run out.
    std::optional<std::string> edit_in_place(int, int, int, int, const std::string&, int) override {
        if (typed.empty()) return std::nullopt;
        auto t = typed.front();
        typed.pop_front();
        return t;
    }

    // Runs while a message is up, as the window's timer would during a message box.
    std::function<void()> while_shown;
    // Answers given to questions in turn; the default answer once the script runs out.
    std::deque<msg_answer> answers;
    std::deque<std::optional<std::string>> file_names;
    std::deque<std::string> typed;
    std::vector<shown> messages;
    std::vector<file_dialog_request> dialogs;
    std::vector<int> repaints;
    int wait_cursors = 0;
    int arrow_cursors = 0;

    std::string last_text() const {
        return messages.empty() ? std::string() : messages.back().text;
    }
};

class virtual_clock final : public clock {
  public:
    std::int64_t now_us() override { return now_; }
    void sleep_ms(int ms) override { now_ += std::int64_t{ms} * 1000; }
    void advance_us(std::int64_t us) { now_ += us; }

  private:
    std::int64_t now_ = 1'000'000;
};

// A started program on a virtual clock with a scripted ui.
struct test_program {
    explicit test_program(int memory_units = 10);
    // The engine goes first at destruction: it still closes the backend's ports.
    virtual_clock clk;
    capture_backend midi;
    scripted_ui screen;
    engine eng;
    std::unique_ptr<program> prog;

    program& operator*() { return *prog; }
    program* operator->() { return prog.get(); }

    // Moves the clock on by `ms` and runs the engine up to it.
    void run_ms(double ms);
    // Moves the clock on by `after_ms`, hands the bytes to the input and runs the engine.
    void feed(const std::vector<std::uint8_t>& bytes, double after_ms = 0);
};

// A message as sent: its first three bytes (-1 where it has fewer), due µs after a start time.
struct sent_message {
    int port;
    int a, b, c;
    std::int64_t at;
};

// Every message sent so far, timed from `t0`; MIDI clock bytes only when asked for.
std::vector<sent_message> sent_messages(const capture_backend& midi, std::int64_t t0,
                                        bool with_clock = false);

// The bytes of each message sent to `port`, in order; a long message keeps its first three.
std::vector<std::vector<int>> sent_bytes(const capture_backend& midi, int port);

// Milliseconds `ticks` last at a tempo in hundredths of a beat per minute.
inline double ms_of(std::int32_t ticks, double tempo = 12000) {
    return ticks * 60000.0 / (tempo / 100.0) / 192.0;
}

}  // namespace kestrune::testing
