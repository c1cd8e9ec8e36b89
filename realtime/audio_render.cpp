#include "realtime/audio_render.h"

#include <sndfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <thread>
#include <vector>

#include "engine/engine.h"
#include "engine/gm_synth.h"
#include "realtime/song_extent.h"
#include "realtime/transport.h"
#include "song/song_start.h"

namespace kestrune {

namespace {

constexpr std::int64_t step_us = 10'000;      // virtual time between turns of the engine
constexpr std::uint32_t chunk_frames = 4096;  // audio rendered and written at once
constexpr double tail_limit_s = 10.0;         // the longest release and reverb kept after the end
constexpr double tail_quiet_s = 0.25;         // this long below the floor ends the tail
constexpr float silence_floor = 1e-5f;        // -100 dB

// Time that moves only when the export moves it.
class render_clock final : public clock {
public:
    std::int64_t now_us() override { return now_; }
    void sleep_ms(int ms) override { now_ += std::int64_t{ms} * 1000; }
    void advance(std::int64_t us) { now_ += us; }

private:
    std::int64_t now_ = 1'000'000;
};

// The synth as the only device, on all four ports: it keeps what the engine sends, with its due
// time, until the audio reaches it.
class synth_recorder final : public midi_backend {
public:
    struct message {
        std::int64_t due_us;
        int port;
        std::size_t at;  // in bytes_
        std::size_t size;
    };

    std::vector<std::string> output_devices() override { return {synth_device_name}; }
    std::vector<std::string> input_devices() override { return {}; }
    bool open_output(int port, int device) override {
        return port >= 0 && port < output_ports && device == 0;
    }
    void close_output(int) override {}
    bool output_open(int port) const override { return port >= 0 && port < output_ports; }
    void send(int port, const std::uint8_t* b, std::size_t n, std::int64_t due_us) override {
        messages.push_back({due_us, port, bytes.size(), n});
        bytes.insert(bytes.end(), b, b + n);
    }

    std::vector<message> messages;
    std::vector<std::uint8_t> bytes;
};

// The audio file under a temporary name in the target's folder, renamed over the target at the end.
class audio_file {
public:
    audio_file(const std::string& target, int format, int rate) : target_(target) {
        const std::size_t slash = target.find_last_of('/');
        const std::string folder = slash == std::string::npos ? "" : target.substr(0, slash + 1);
        const std::string name = slash == std::string::npos ? target : target.substr(slash + 1);
        temp_ = folder + "." + name + ".XXXXXX";
        const int fd = mkstemp(temp_.data());
        if (fd < 0) {
            why_ = std::strerror(errno);
            temp_.clear();
            return;
        }
        // What a plain create would have given the file.
        const mode_t mask = umask(0);
        umask(mask);
        fchmod(fd, 0666 & ~mask);
        SF_INFO info{};
        info.samplerate = rate;
        info.channels = 2;
        info.format = format;
        file_ = sf_open_fd(fd, SFM_WRITE, &info, 1);
        if (!file_) {
            why_ = sf_strerror(nullptr);
            close(fd);
            abandon();
            return;
        }
        sf_command(file_, SFC_SET_CLIPPING, nullptr, SF_TRUE);
    }
    ~audio_file() { abandon(); }

    bool ok() const { return file_ != nullptr; }
    // Why creating, writing or finishing failed, in the system's or the encoder's words.
    const std::string& why() const { return why_; }
    bool write(const float* left, const float* right, std::uint32_t frames) {
        interleaved_.resize(std::size_t{frames} * 2);
        for (std::uint32_t i = 0; i < frames; ++i) {
            interleaved_[2 * i] = left[i];
            interleaved_[2 * i + 1] = right[i];
        }
        if (sf_writef_float(file_, interleaved_.data(), frames) == frames) return true;
        why_ = sf_strerror(file_);
        return false;
    }
    // Finishes the file (a FLAC encoder writes its last frames here) and puts it in place.
    bool commit() {
        sf_write_sync(file_);
        const int closed = sf_close(file_);
        file_ = nullptr;
        if (closed != 0) {
            why_ = sf_error_number(closed);
            return false;
        }
        if (std::rename(temp_.c_str(), target_.c_str()) != 0) {
            why_ = std::strerror(errno);
            return false;
        }
        temp_.clear();
        return true;
    }
    void abandon() {
        if (file_) sf_close(file_);
        file_ = nullptr;
        if (!temp_.empty()) unlink(temp_.c_str());
        temp_.clear();
    }

private:
    std::string target_;
    std::string temp_;
    SNDFILE* file_ = nullptr;
    std::vector<float> interleaved_;
    std::string why_;
};

// The song's sound, written as the engine's time goes on.
class renderer {
public:
    renderer(gm_synth& s, synth_recorder& r, audio_file& f, std::int64_t origin_us)
        : synth_(s),
          recorder_(r),
          file_(f),
          origin_us_(origin_us),
          left_(chunk_frames),
          right_(chunk_frames) {}

    // Renders up to `until_us`, feeding what the engine sent for that time; false when writing
    // failed.
    bool render_to(std::int64_t until_us) {
        const std::uint64_t until = frame_of(until_us);
        auto& m = recorder_.messages;
        std::stable_sort(m.begin(), m.end(),
                         [](const auto& a, const auto& b) { return a.due_us < b.due_us; });
        std::size_t next = 0;
        while (frame_ < until) {
            const auto frames =
                static_cast<std::uint32_t>(std::min<std::uint64_t>(chunk_frames, until - frame_));
            timed_.clear();
            for (; next < m.size() && frame_of(m[next].due_us) < frame_ + frames; ++next) {
                const std::uint64_t at = frame_of(m[next].due_us);
                timed_.push_back({static_cast<std::uint32_t>(at > frame_ ? at - frame_ : 0),
                                  static_cast<std::uint8_t>(m[next].port),
                                  static_cast<std::uint32_t>(m[next].size),
                                  recorder_.bytes.data() + m[next].at});
            }
            synth_.render(left_.data(), right_.data(), frames, timed_.data(), timed_.size());
            if (!file_.write(left_.data(), right_.data(), frames)) return false;
            last_loud_ = loud(frames) ? frame_ + frames : last_loud_;
            frame_ += frames;
        }
        // What is left is due later: keep its bytes, and only those.
        m.erase(m.begin(), m.begin() + static_cast<std::ptrdiff_t>(next));
        std::vector<std::uint8_t> kept;
        for (auto& x : m) {
            kept.insert(kept.end(), recorder_.bytes.begin() + static_cast<std::ptrdiff_t>(x.at),
                        recorder_.bytes.begin() + static_cast<std::ptrdiff_t>(x.at + x.size));
            x.at = kept.size() - x.size;
        }
        recorder_.bytes.swap(kept);
        return true;
    }
    // The sound has died away: no voice left and nothing above the floor for a while.
    bool quiet() const {
        return synth_.active_voices() == 0 &&
               frame_ - last_loud_ >=
                   static_cast<std::uint64_t>(tail_quiet_s * synth_.sample_rate());
    }

private:
    std::uint64_t frame_of(std::int64_t us) const {
        if (us <= origin_us_) return 0;
        return static_cast<std::uint64_t>(
            std::llround(static_cast<double>(us - origin_us_) * synth_.sample_rate() / 1e6));
    }
    bool loud(std::uint32_t frames) const {
        for (std::uint32_t i = 0; i < frames; ++i)
            if (std::fabs(left_[i]) > silence_floor || std::fabs(right_[i]) > silence_floor)
                return true;
        return false;
    }

    gm_synth& synth_;
    synth_recorder& recorder_;
    audio_file& file_;
    std::int64_t origin_us_;
    std::uint64_t frame_ = 0;
    std::uint64_t last_loud_ = 0;
    std::vector<float> left_, right_;
    std::vector<timed_message> timed_;
};

std::string lower(std::string s) {
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

std::string write_error(const audio_file& file, const std::string& path) {
    return "Can't write the audio file\n" + path + ": " + file.why();
}

}  // namespace

bool audio_file_type(const std::string& path, int* format) {
    const std::string p = lower(path);
    const auto ends = [&](const char* ext) {
        const std::string e = ext;
        return p.size() > e.size() && p.compare(p.size() - e.size(), e.size(), e) == 0;
    };
    if (ends(".wav")) {
        if (format) *format = SF_FORMAT_WAV | SF_FORMAT_PCM_24;
        return true;
    }
    if (ends(".flac")) {
        if (format) *format = SF_FORMAT_FLAC | SF_FORMAT_PCM_24;
        return true;
    }
    return false;
}

bool render_audio(ui& screen, const song_loader& load, const render_request& r,
                  const render_progress& progress, const std::atomic<bool>* cancel) {
    const auto fail = [&](const std::string& text) {
        screen.message(text, msg_icon::stop);
        return false;
    };
    int format = 0;
    if (!audio_file_type(r.output, &format)) return fail(msg_audio_file_type);
    const int cores = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
    gm_synth synth(std::clamp(r.sample_rate, min_render_rate, max_render_rate), cores);
    std::string why;
    if (!synth.load(r.soundfont.empty() ? default_soundfont() : r.soundfont, &why))
        return fail(why);

    // A program of the export's own: the engine on virtual time, every port to the synth.
    render_clock clk;
    synth_recorder recorder;
    engine eng;
    eng.attach(clk, &recorder);
    program prog(eng, screen, clk);
    prog.write_defaults();
    prog.d.memory_units = max_memory_units;
    std::fill(std::begin(prog.d.midi_out_device), std::end(prog.d.midi_out_device),
              std::int16_t{1});
    if (start_program(prog) != 0) return false;
    const auto done = [&](bool ok) {
        prog.shut_down();
        return ok;
    };
    if (!load(prog)) return done(false);

    const std::int32_t from = bar_position(prog, std::max(1, r.from_bar));
    const std::int32_t end = r.to_bar > 0 ? bar_position(prog, r.to_bar + 1) : song_end(prog);
    if (end <= from) return done(fail("There is nothing to play between these bars!"));

    audio_file file(r.output, format, synth.sample_rate());
    if (!file.ok())
        return done(fail("Can't create the audio file\n" + r.output + ": " + file.why()));
    const auto cancelled = [&] { return cancel && cancel->load(std::memory_order_relaxed); };

    transport tr(prog);
    prog.d.position = from;
    tr.pause();  // from a stop, Pause plays on from the position
    eng.run_until(clk.now_us());
    renderer out(synth, recorder, file,
                 clk.now_us());  // the song starts at the audio's first frame
    double shown = -1;
    while (!shared_load(prog.d.stopped) && prog.d.position < end) {
        if (cancelled()) return done(fail(msg_export_cancelled));
        clk.advance(step_us);
        eng.run_until(clk.now_us());
        handle_engine_messages(prog);
        tr.tick(false);
        if (!out.render_to(clk.now_us())) return done(fail(write_error(file, r.output)));
        const double part = std::clamp(double(prog.d.position - from) / (end - from), 0.0, 1.0);
        if (progress && part - shown >= 0.001) progress(shown = part);
    }
    // Stop ends the notes with their note-offs; what rings on is kept until it dies away.
    tr.stop();
    const std::int64_t tail_end = clk.now_us() + static_cast<std::int64_t>(tail_limit_s * 1e6);
    do {
        if (cancelled()) return done(fail(msg_export_cancelled));
        clk.advance(step_us);
        eng.run_until(clk.now_us());
        if (!out.render_to(clk.now_us())) return done(fail(write_error(file, r.output)));
    } while (!out.quiet() && clk.now_us() < tail_end);
    if (!file.commit()) return done(fail(write_error(file, r.output)));
    if (progress) progress(1.0);
    return done(true);
}

}  // namespace kestrune
