#include "app/render_command.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "app/console_ui.h"
#include "realtime/audio_render.h"

namespace kestrune {

namespace {

std::atomic<bool> interrupted{false};

void on_interrupt(int) {
    interrupted = true;
}

int usage(const char* why) {
    std::fprintf(stderr, "kestrune-tool: %s\n", why);
    std::fputs(
        "usage: kestrune-tool render FILE OUT.wav|OUT.flac [--soundfont SF2] [--rate HZ] "
        "[--from BAR] [--to BAR]\n",
        stderr);
    return 2;
}

// The console's messages, each on a line of its own after the progress line.
class progress_ui final : public ui {
public:
    msg_answer message(const std::string& text, msg_icon icon, msg_buttons buttons,
                       msg_answer answer, const std::string& caption) override {
        end_line();
        return console_.message(text, icon, buttons, answer, caption);
    }
    std::optional<std::string> open_file_dialog(const file_dialog_request& r) override {
        return console_.open_file_dialog(r);
    }
    std::optional<std::string> save_file_dialog(const file_dialog_request& r) override {
        return console_.save_file_dialog(r);
    }
    void wait_cursor() override {}
    void arrow_cursor() override {}
    void repaint(int) override {}

    void progress(double done) {
        const int percent = static_cast<int>(done * 100);
        if (percent == shown_) return;
        shown_ = percent;
        std::fprintf(stderr, "\rrendering %3d%%", percent);
        std::fflush(stderr);
        line_open_ = true;
    }
    void end_line() {
        if (line_open_) std::fputc('\n', stderr);
        line_open_ = false;
    }

private:
    console_ui console_;
    int shown_ = -1;
    bool line_open_ = false;
};

bool number(const std::string& text, long low, long high, int* out) {
    char* end = nullptr;
    const long n = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != 0 || n < low || n > high) return false;
    *out = static_cast<int>(n);
    return true;
}

}  // namespace

int render_command(const std::vector<std::string>& args,
                   bool (*load)(program&, const std::string&)) {
    render_request r;
    std::string file;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        const bool has_value = i + 1 < args.size();
        if (a == "--soundfont" && has_value) {
            r.soundfont = args[++i];
        } else if (a == "--rate" && has_value) {
            if (!number(args[++i], min_render_rate, max_render_rate, &r.sample_rate))
                return usage("--rate takes a sample rate from 8000 to 96000");
        } else if (a == "--from" && has_value) {
            if (!number(args[++i], 1, 9999, &r.from_bar))
                return usage("--from takes a bar number from 1 to 9999");
        } else if (a == "--to" && has_value) {
            if (!number(args[++i], 1, 9999, &r.to_bar))
                return usage("--to takes a bar number from 1 to 9999");
        } else if (!a.empty() && a[0] != '-' && file.empty()) {
            file = a;
        } else if (!a.empty() && a[0] != '-' && r.output.empty()) {
            r.output = a;
        } else {
            return usage("unknown argument");
        }
    }
    if (file.empty() || r.output.empty()) return usage("render needs a FILE and an OUT file");
    if (!audio_file_type(r.output, nullptr)) return usage("OUT must end in .wav or .flac");
    if (r.to_bar > 0 && r.to_bar < r.from_bar) return usage("--to must not come before --from");

    progress_ui screen;
    // Ctrl+C gives up the export and leaves no file behind.
    std::signal(SIGINT, on_interrupt);
    std::signal(SIGTERM, on_interrupt);
    const bool ok = render_audio(
        screen, [&](program& p) { return load(p, file); }, r,
        [&](double done) { screen.progress(done); }, &interrupted);
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
    screen.end_line();
    return ok ? 0 : 1;
}

}  // namespace kestrune
