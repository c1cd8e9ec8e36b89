#include "app/render_command.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "app/command_line.h"
#include "app/console_ui.h"
#include "realtime/audio_render.h"

namespace kestrune {

namespace {

std::atomic<bool> interrupted{false};

void on_interrupt(int) {
    interrupted = true;
}

int usage(const std::string& why) {
    std::fprintf(stderr, "kestrune-tool: %s\n", why.c_str());
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

}  // namespace

int render_command(const std::vector<std::string>& args,
                   bool (*load)(program&, const std::string&)) {
    render_request r;
    std::string file;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        const bool has_value = i + 1 < args.size();
        const bool takes_value =
            a == "--soundfont" || a == "--rate" || a == "--from" || a == "--to";
        if (takes_value && !has_value) {
            return usage(needs_value(a));
        } else if (a == "--soundfont") {
            r.soundfont = args[++i];
        } else if (a == "--rate") {
            if (!whole_number(args[++i], min_render_rate, max_render_rate, r.sample_rate))
                return usage(takes(a, "a sample rate from 8000 to 96000", args[i]));
        } else if (a == "--from" || a == "--to") {
            if (!whole_number(args[++i], 1, 9999, a == "--from" ? r.from_bar : r.to_bar))
                return usage(takes(a, "a bar number from 1 to 9999", args[i]));
        } else if (a.starts_with("-")) {
            return usage(refused_option("render", a));
        } else if (file.empty()) {
            file = a;
        } else if (r.output.empty()) {
            r.output = a;
        } else {
            return usage("render takes FILE and OUT");
        }
    }
    if (file.empty() || r.output.empty()) return usage("render needs a FILE and an OUT file");
    if (!audio_file_type(r.output, nullptr)) return usage("OUT must end in .wav or .flac");
    if (r.to_bar > 0 && r.to_bar < r.from_bar) return usage("--to must not come before --from");

    progress_ui screen;
    // Ctrl+C, kill or a closed terminal gives up the export and leaves no file behind.
    constexpr int stop_signals[] = {SIGINT, SIGTERM, SIGHUP};
    for (int sig : stop_signals) std::signal(sig, on_interrupt);
    const bool ok = render_audio(
        screen, [&](program& p) { return load(p, file); }, r,
        [&](double done) { screen.progress(done); }, &interrupted);
    for (int sig : stop_signals) std::signal(sig, SIG_DFL);
    screen.end_line();
    return ok ? 0 : 1;
}

}  // namespace kestrune
