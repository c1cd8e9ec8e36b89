// The built-in synth: audio export of a known song, and the live synth through a JACK server.
#include <gtest/gtest.h>
#include <sndfile.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cmath>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

#include "engine/engine.h"
#include "engine/jack_backend.h"
#include "engine/synth_backend.h"
#include "engine/system_backend.h"
#include "files/synth_settings.h"
#include "realtime/audio_render.h"
#include "song/song_start.h"
#include "tests/engine/jack_fixture.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune::testing {
namespace {

namespace fs = std::filesystem;

constexpr double tick_us = 60e6 / 120 / 192;  // the default tempo
constexpr int side_stick = 37;                // sharp attack, short decay

// Side-stick hits on port A's drum channel, two of them off the 64-frame grid, then a long rest;
// the track plays them late, so the song ends after its last event.
const std::int32_t hits[] = {0, 96, 203, 301, 2304};
constexpr std::int8_t hits_delay = 100;

bool load_hits(program& p) {
    records r;
    for (std::int32_t at : hits) {
        r.push_back(ev(0x99, side_stick, 100, song_start + at));
        r.push_back(ev(0x89, side_stick, 0, song_start + at + 24));
    }
    track_slot& s = give_track(p, 0, 0, r);
    s.channel = 16;  // as recorded
    s.delay = hits_delay;
    return true;
}

std::vector<float> left_channel(const std::string& path, int* rate) {
    SF_INFO info{};
    SNDFILE* f = sf_open(path.c_str(), SFM_READ, &info);
    std::vector<float> all(static_cast<std::size_t>(info.frames * info.channels)), left;
    if (!f) return left;
    sf_readf_float(f, all.data(), info.frames);
    sf_close(f);
    for (std::size_t i = 0; i < all.size(); i += static_cast<std::size_t>(info.channels))
        left.push_back(all[i]);
    *rate = info.samplerate;
    return left;
}

// The first frame above a level after 50 ms of quiet.
std::vector<std::size_t> onset_frames(const std::vector<float>& x, int rate) {
    std::vector<std::size_t> onsets;
    int quiet = 0;
    bool armed = true;
    for (std::size_t i = 0; i < x.size(); ++i) {
        const float a = std::fabs(x[i]);
        if (armed && a > 2e-3f) {
            onsets.push_back(i);
            armed = false;
        }
        quiet = a < 1e-3f ? quiet + 1 : 0;
        armed = armed || quiet >= rate / 20;
    }
    return onsets;
}

float peak_of(const std::vector<float>& x, std::size_t from, std::size_t to) {
    float peak = 0;
    for (std::size_t i = from; i < std::min(to, x.size()); ++i)
        peak = std::max(peak, std::fabs(x[i]));
    return peak;
}

class AudioRender : public ::testing::Test {
  protected:
    void SetUp() override {
        if (default_soundfont().empty()) GTEST_SKIP() << "no General MIDI SoundFont installed";
        dir = fs::temp_directory_path() / ("kestrune-render-" + std::to_string(getpid()));
        fs::create_directories(dir);
    }
    void TearDown() override { fs::remove_all(dir); }
    bool render(const std::string& name) {
        render_request r;
        r.output = (dir / name).string();
        return render_audio(screen, load_hits, r, {}, nullptr);
    }

    fs::path dir;
    scripted_ui screen;
};

TEST_F(AudioRender, OnsetsFallOnTheNotesSilenceBetweenAndTwoRendersAreIdentical) {
    ASSERT_TRUE(render("a.wav")) << screen.last_text();
    ASSERT_TRUE(render("b.flac"));
    ASSERT_TRUE(render("c.wav"));
    int rate = 0;
    EXPECT_EQ(left_channel((dir / "a.wav").string(), &rate),
              left_channel((dir / "c.wav").string(), &rate));

    for (const char* name : {"a.wav", "b.flac"}) {
        const std::vector<float> x = left_channel((dir / name).string(), &rate);
        ASSERT_EQ(rate, 48000);
        const std::vector<std::size_t> onsets = onset_frames(x, rate);
        ASSERT_EQ(onsets.size(), std::size(hits)) << name;
        auto at_us = [](std::int32_t hit) { return (hit + hits_delay) * tick_us; };
        for (std::size_t i = 0; i < onsets.size(); ++i)
            EXPECT_NEAR(onsets[i] * 1e6 / rate, at_us(hits[i]), 2000) << name << " hit " << i;
        // From 1.5 s after the fourth hit until just before the last, nothing sounds.
        const auto from = static_cast<std::size_t>((at_us(hits[3]) + 1.5e6) * rate / 1e6);
        const auto to = static_cast<std::size_t>((at_us(hits[4]) - 2000) * rate / 1e6);
        EXPECT_LT(peak_of(x, from, to), 1e-4f) << name;
        // The end keeps the last hit's decay and no more than the quiet that ends the tail.
        EXPECT_LT(x.size(), static_cast<std::size_t>((at_us(hits[4]) + 2e6) * rate / 1e6)) << name;
    }
}

TEST_F(AudioRender, FailuresLeaveNoFileBehind) {
    EXPECT_FALSE(render("missing-folder/a.wav"));
    EXPECT_EQ(screen.last_text(), "Can't create the audio file\n" +
                                      (dir / "missing-folder/a.wav").string() +
                                      ": No such file or directory");
    // A disk that fills up during the render.
    rlimit keep{};
    getrlimit(RLIMIT_FSIZE, &keep);
    rlimit small = keep;
    small.rlim_cur = 64 * 1024;
    std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &small);
    const bool written = render("a.wav");
    setrlimit(RLIMIT_FSIZE, &keep);
    EXPECT_FALSE(written);
    EXPECT_EQ(screen.last_text(), "Can't write the audio file\n" + (dir / "a.wav").string() +
                                      ": System error : File too large.");
    EXPECT_EQ(std::distance(fs::directory_iterator(dir), {}), 0)
        << "a partial or temporary file was left";
}

// ---- the synth's sound, rendered offline ----

class SynthSound : public ::testing::Test {
  protected:
    void SetUp() override {
        if (default_soundfont().empty()) GTEST_SKIP() << "no General MIDI SoundFont installed";
        ASSERT_TRUE(synth.load(default_soundfont(), nullptr));
    }
    void play(int port, std::vector<std::uint8_t> m) { synth.play(port, m.data(), m.size()); }
    // The left channel of the next `seconds`.
    std::vector<float> render(double seconds) {
        const auto n = static_cast<std::size_t>(seconds * synth.sample_rate());
        std::vector<float> left(n), right(n);
        synth.render(left.data(), right.data(), static_cast<std::uint32_t>(n), nullptr, 0);
        return left;
    }
    static float level(const std::vector<float>& x) {
        double sum = 0;
        for (float v : x) sum += double{v} * v;
        return static_cast<float>(std::sqrt(sum / static_cast<double>(x.size())));
    }
    // The period of a held note in frames: the best match of the sound with itself shifted by
    // `lo` to `hi` frames, refined between its neighbours.
    static double period(const std::vector<float>& x, int lo, int hi) {
        auto match = [&](int lag) {
            double sum = 0;
            for (std::size_t i = 0; i + static_cast<std::size_t>(lag) < x.size(); ++i)
                sum += double{x[i]} * x[i + static_cast<std::size_t>(lag)];
            return sum / static_cast<double>(x.size() - static_cast<std::size_t>(lag));
        };
        int best = lo;
        for (int lag = lo; lag <= hi; ++lag)
            if (match(lag) > match(best)) best = lag;
        const double a = match(best - 1), b = match(best), c = match(best + 1);
        return best + 0.5 * (a - c) / (a - 2 * b + c);
    }
    gm_synth synth{48000};
};

TEST_F(SynthSound, ABendUpRaisesThePitchReadLowByteFirst) {
    play(0, {0xC0, 19});  // an organ holds its pitch and its level
    play(0, {0x90, 45, 100});
    render(0.3);
    const double plain = period(render(0.2), 300, 600);
    EXPECT_NEAR(plain, 48000.0 / 110, 4.0);  // A2, as well as the sample is tuned
    // 0x60 << 7 is half way up the wheel: a semitone in the General MIDI range of two.
    play(0, {0xE0, 0x00, 0x60});
    render(0.05);
    EXPECT_NEAR(plain / period(render(0.2), 300, 600), std::pow(2.0, 1.0 / 12), 0.005);
}

TEST_F(SynthSound, ProgramAndBankReachTheirOwnPortAndChannelAndAllNotesOffStopsTheSound) {
    // Port C's channel 1 becomes an organ; port A's channel 1 stays a piano, which fades.
    play(2, {0xB0, 0, 0});
    play(2, {0xB0, 32, 0});
    play(2, {0xC0, 19});
    // How the level holds over two seconds, and what is left just after all notes off.
    auto held = [&](int port) {
        play(port, {0x90, 60, 100});
        const float early = level(render(0.5));
        render(1.5);
        const float late = level(render(0.5));
        play(port, {0xB0, 123, 0});
        return std::pair{late / early, level(render(0.05)) / late};
    };
    EXPECT_LT(held(0).first, 0.3f);
    const auto organ = held(2);
    EXPECT_GT(organ.first, 0.7f);
    // All notes off stops the organ at once, release and all; then the room dies away.
    EXPECT_LT(organ.second, 0.25f);
    render(1.0);
    EXPECT_LT(level(render(0.2)), 1e-4f);
}

// ---- sound by default, and the SoundFont kept in the settings ----

// Three devices, the last of them the one to play through when nothing is chosen.
class default_backend final : public midi_backend {
  public:
    std::vector<std::string> output_devices() override { return {"One", "Two", "Synth"}; }
    std::vector<std::string> input_devices() override { return {}; }
    bool open_output(int port, int) override { return open[port] = true; }
    void close_output(int port) override { open[port] = false; }
    bool output_open(int port) const override { return open[port]; }
    void send(int, const std::uint8_t*, std::size_t, std::int64_t) override {}
    int default_output() override { return 2; }
    bool open[output_ports] = {};
};

TEST(SynthDefault, PortAPlaysThroughTheDefaultOnlyWhenNoPortHasADevice) {
    for (const std::int16_t port_c_choice : {0, 2}) {
        virtual_clock clk;
        default_backend midi;
        engine eng;
        eng.attach(clk, &midi);
        scripted_ui screen;
        program p(eng, screen, clk);
        p.write_defaults();
        p.d.midi_out_device[2] = port_c_choice;
        ASSERT_EQ(start_program(p), 0);
        EXPECT_EQ(nums(p.d.midi_out_device[0], midi.open[0], p.d.midi_not_configured),
                  nums(port_c_choice ? 0 : 3, port_c_choice == 0, 0));
        p.shut_down();
    }
}

TEST(SynthDefault, ASynthWithoutItsSoundFontIsMarkedAndChangesNothing) {
    std::vector<system_backend::system> systems;
    systems.push_back({"Synth: ", std::make_unique<synth_backend>()});
    system_backend midi(std::move(systems));
    auto* synth = midi.find<synth_backend>();
    synth->choose_soundfont("/nowhere/gm.sf2");
    EXPECT_EQ(midi.output_devices(), std::vector<std::string>{"Synth: Built-in GM (no SoundFont)"});
    EXPECT_EQ(synth->problem(), soundfont_error("/nowhere/gm.sf2"));
    EXPECT_EQ(midi.default_output(), -1);
    EXPECT_FALSE(midi.open_output(0, 0));
}

TEST(SynthSettings, TheSoundFontPathComesBackAsWrittenWhateverItHolds) {
    const std::string path = ::testing::TempDir() + "synth-settings-" + std::to_string(getpid());
    const synth_settings written{"/sound fonts/a=b #1.sf2"};
    ASSERT_TRUE(write_synth_settings(path, written));
    { std::ofstream(path, std::ios::app) << "gain=0.5\nnot a setting\n"; }
    synth_settings read{"left as it was"};
    ASSERT_TRUE(read_synth_settings(path, read));
    EXPECT_EQ(read.soundfont, written.soundfont);
    std::remove(path.c_str());
    EXPECT_FALSE(read_synth_settings(path, read));
    EXPECT_EQ(read.soundfont, written.soundfont);
}

// ---- the live synth ----

// Stands in for the JACK client: runs the synth's cycles by hand, 1024 frames at 48 kHz as the
// tests' dummy server does, each cycle's times counted from its first frame. Where a sound begins
// then depends on nothing but the due times.
class cycle_host final : public jack_audio_host {
  public:
    static constexpr std::uint32_t cycle_frames = 1024;
    static constexpr int rate = 48000;
    static constexpr std::int64_t origin_us = 1'000'000;  // frame 0 on the engine's clock

    static std::int64_t time_of(std::int64_t frame) { return origin_us + frame * 1'000'000 / rate; }

    bool running() const override { return true; }
    void set_audio_part(jack_audio_part* part) override {
        if (part_) part_->leaving();
        part_ = part && part->joined(rate) ? part : nullptr;
    }

    // Renders `cycles` more cycles onto the end of `left`.
    void run(int cycles) {
        std::vector<float> right(cycle_frames);
        for (int i = 0; i < cycles && part_; ++i) {
            const std::size_t first = left.size();
            left.resize(first + cycle_frames);
            const jack_cycle c{static_cast<std::uint32_t>(first), cycle_frames,
                               time_of(static_cast<std::int64_t>(first)),
                               cycle_frames * 1e6 / rate};
            part_->process(left.data() + first, right.data(), cycle_frames, c,
                           jack_latency_frames(cycle_frames, rate));
        }
    }
    std::vector<float> left;

  private:
    jack_audio_part* part_ = nullptr;
};

TEST(SynthCycles, OnsetsFallOnTheFramesOfTheirDueTimesAndClosingSilencesThePort) {
    if (default_soundfont().empty()) GTEST_SKIP() << "no General MIDI SoundFont installed";
    cycle_host host;
    synth_backend synth(&host);
    ASSERT_TRUE(synth.open_output(1, 0)) << synth.problem();
    EXPECT_EQ(synth.sound_output(), synth_backend::output::jack);

    // Hits 250 ms apart, each 337 µs further off the grid than the last: a message lands one
    // constant latency (1024 + 96 frames) after its due time, and the synth starts it with the
    // 64-frame block that holds that frame.
    const std::uint8_t on[3] = {0x99, side_stick, 100}, off[3] = {0x89, side_stick, 0};
    std::vector<std::int64_t> due_frame;
    for (int i = 0; i < 12; ++i) {
        const std::int64_t due = cycle_host::time_of(2400) + i * 250'000 + i * 337;
        synth.send(1, on, 3, due);
        synth.send(1, off, 3, due + 60'000);
        due_frame.push_back(std::llround((due - cycle_host::origin_us) * 0.048) + 1120);
    }
    host.run(150);  // 3.2 s
    const std::vector<std::size_t> heard = onset_frames(host.left, cycle_host::rate);
    ASSERT_EQ(heard.size(), due_frame.size());
    for (std::size_t i = 0; i < heard.size(); ++i) {
        const std::int64_t block = due_frame[i] / synth_block_frames * synth_block_frames;
        EXPECT_GE(static_cast<std::int64_t>(heard[i]), block) << "hit " << i;
        EXPECT_LT(static_cast<std::int64_t>(heard[i]), block + synth_block_frames) << "hit " << i;
    }

    // An organ note left hanging ends when its port's device goes, while another port plays on.
    ASSERT_TRUE(synth.open_output(2, 0));
    const std::uint8_t organ[2] = {0xC0, 19}, note[3] = {0x90, 60, 100};
    const auto now = static_cast<std::int64_t>(host.left.size());
    synth.send(1, organ, 2, cycle_host::time_of(now));
    synth.send(1, note, 3, cycle_host::time_of(now));
    host.run(15);
    EXPECT_GT(peak_of(host.left, static_cast<std::size_t>(now), host.left.size()), 1e-2f);
    std::atomic<bool> done{false};  // closing waits for a cycle: they run meanwhile
    std::thread cycles([&] {
        while (!done.load()) host.run(1);
    });
    synth.close_output(1);
    done.store(true);
    cycles.join();
    EXPECT_FALSE(synth.output_open(1));
    const std::size_t closed = host.left.size();
    host.run(50);
    EXPECT_LT(peak_of(host.left, closed + 45'000, host.left.size()), 1e-4f);
}

// The same synth on a real server: its sound leaves through the client's own audio ports.
class SynthJack : public jack_fixture {};

TEST_F(SynthJack, SoundLeavesThroughTheClientsAudioPorts) {
    if (default_soundfont().empty()) GTEST_SKIP() << "no General MIDI SoundFont installed";
    jack_backend jack;
    synth_backend synth(&jack);
    ASSERT_TRUE(jack.running());
    ASSERT_EQ(synth.output_devices(), std::vector<std::string>{synth_device_name});
    ASSERT_TRUE(synth.open_output(0, 0)) << synth.problem();
    EXPECT_EQ(synth.sound_output(), synth_backend::output::jack);
    const std::string ports[] = {jack.client_name() + ":" + synth_port_left,
                                 jack.client_name() + ":" + synth_port_right};
    for (int side : {0, 1})
        ASSERT_EQ(jack_connect(pr->client(), ports[side].c_str(), pr->audio_name(side).c_str()), 0);
    const std::uint8_t on[3] = {0x99, side_stick, 100};
    synth.send(0, on, 3, system_clock{}.now_us() + 100'000);
    for (int i = 0; i < 5000 && (pr->sounding_frames(0) == 0 || pr->sounding_frames(1) == 0); ++i)
        sleep_ms(1);
    EXPECT_GT(pr->sounding_frames(0), 0);
    EXPECT_GT(pr->sounding_frames(1), 0);
    // Once the device is closed the client lets its audio ports go.
    synth.close_output(0);
    EXPECT_EQ(synth.sound_output(), synth_backend::output::none);
    EXPECT_EQ(jack_port_by_name(pr->client(), ports[0].c_str()), nullptr);
}

}  // namespace
}  // namespace kestrune::testing
