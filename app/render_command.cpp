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

    console_ui screen;
    int shown = -1;
    const auto progress = [&](double done) {
        const int percent = static_cast<int>(done * 100);
        if (percent == shown) return;
        shown = percent;
        std::fprintf(stderr, "\rrendering %3d%%", percent);
        std::fflush(stderr);
    };
    // Ctrl+C gives up the export and leaves no file behind.
    std::signal(SIGINT, on_interrupt);
    std::signal(SIGTERM, on_interrupt);
    const bool ok = render_audio(
        screen, [&](program& p) { return load(p, file); }, r, progress, &interrupted);
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
    if (shown >= 0) std::fputc('\n', stderr);
    return ok ? 0 : 1;
}

}  // namespace kestrune
