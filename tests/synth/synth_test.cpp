// The built-in synth: audio export of a known song, and the live synth through a JACK server.
#include <gtest/gtest.h>
#include <sndfile.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "engine/engine.h"
#include "engine/synth_backend.h"
#include "engine/system_backend.h"
#include "files/synth_settings.h"
#include "realtime/audio_render.h"
#include "song/song_start.h"
#include "tests/engine/jack_fixture.h"
#include "tests/support/jack_audio_probe.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune::testing {
namespace {

namespace fs = std::filesystem;

constexpr double tick_us = 60e6 / 120 / 192;  // the default tempo
constexpr int side_stick = 37;                // sharp attack, short decay

// Side-stick hits on port A's drum channel, two of them off the 64-frame grid, then a long rest.
const std::int32_t hits[] = {0, 96, 203, 301, 2304};

bool load_hits(program& p) {
    records r;
    for (std::int32_t at : hits) {
        r.push_back(ev(0x99, side_stick, 100, song_start + at));
        r.push_back(ev(0x89, side_stick, 0, song_start + at + 24));
    }
    give_track(p, 0, 0, r).channel = 16;  // as recorded
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

std::string bytes_of(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

class AudioRender : public ::testing::Test {
  protected:
    void SetUp() override {
        if (default_soundfont().empty()) GTEST_SKIP() << "no General MIDI SoundFont installed";
        dir = fs::temp_directory_path() / ("kestrune-render-" + std::to_string(getpid()));
        fs::create_directories(dir);
    }
    void TearDown() override { fs::remove_all(dir); }
    bool render(const std::string& name, const std::atomic<bool>* cancel = nullptr) {
        render_request r;
        r.output = (dir / name).string();
        r.soundfont = soundfont;
        return render_audio(screen, load_hits, r, {}, cancel);
    }
    std::size_t files() const {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(dir), {}));
    }

    fs::path dir;
    std::string soundfont;
    scripted_ui screen;
};

TEST_F(AudioRender, OnsetsFallOnTheNotesSilenceBetweenAndTwoRendersAreIdentical) {
    ASSERT_TRUE(render("a.wav")) << screen.last_text();
    ASSERT_TRUE(render("b.flac"));
    ASSERT_TRUE(render("c.wav"));
    EXPECT_EQ(bytes_of((dir / "a.wav").string()), bytes_of((dir / "c.wav").string()));

    for (const char* name : {"a.wav", "b.flac"}) {
        int rate = 0;
        const std::vector<float> x = left_channel((dir / name).string(), &rate);
        ASSERT_EQ(rate, 48000);
        std::vector<double> onsets;
        int quiet = 0;
        bool armed = true;
        for (std::size_t i = 0; i < x.size(); ++i) {
            const float a = std::fabs(x[i]);
            if (armed && a > audio_onset_probe::onset_level) {
                onsets.push_back(i * 1e6 / rate);
                armed = false;
            }
            quiet = a < audio_onset_probe::quiet_level ? quiet + 1 : 0;
            armed = armed || quiet >= rate / 20;
        }
        ASSERT_EQ(onsets.size(), std::size(hits)) << name;
        for (std::size_t i = 0; i < onsets.size(); ++i)
            EXPECT_NEAR(onsets[i], hits[i] * tick_us, 2000) << name << " hit " << i;
        // From 1.5 s after the fourth hit until just before the last, nothing sounds.
        const auto from = static_cast<std::size_t>((hits[3] * tick_us + 1.5e6) * rate / 1e6);
        const auto to = static_cast<std::size_t>((hits[4] * tick_us - 2000) * rate / 1e6);
        float loudest = 0;
        for (std::size_t i = from; i < to; ++i) loudest = std::max(loudest, std::fabs(x[i]));
        EXPECT_LT(loudest, 1e-4f) << name;
        // The end keeps the last hit's decay and no more than the quiet that ends the tail.
        EXPECT_LT(x.size(), static_cast<std::size_t>((hits[4] * tick_us + 2e6) * rate / 1e6))
            << name;
    }
}

TEST_F(AudioRender, FailuresLeaveNoFileBehind) {
    soundfont = (dir / "missing.sf2").string();
    EXPECT_FALSE(render("a.wav"));
    EXPECT_EQ(screen.last_text(), soundfont_error(soundfont));
    soundfont.clear();

    const std::atomic<bool> cancel{true};
    EXPECT_FALSE(render("a.wav", &cancel));
    EXPECT_EQ(screen.last_text(), msg_export_cancelled);

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
    EXPECT_EQ(files(), 0u) << "a partial or temporary file was left";
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
    bool open_input(int, midi_input_sink*) override { return false; }
    void close_input() override {}
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

class SynthJack : public jack_fixture {};

TEST_F(SynthJack, OnsetsFollowTheDueTimesAndClosingSilencesThePort) {
    if (default_soundfont().empty()) GTEST_SKIP() << "no General MIDI SoundFont installed";
    jack_backend jack;
    synth_backend synth(&jack);
    ASSERT_TRUE(jack.running());
    ASSERT_EQ(synth.output_devices(), std::vector<std::string>{synth_device_name});
    ASSERT_TRUE(synth.open_output(1, 0)) << synth.problem();
    EXPECT_EQ(synth.sound_output(), synth_backend::output::jack);
    audio_onset_probe listen;
    ASSERT_TRUE(listen.ok());
    ASSERT_TRUE(listen.listen_to(jack.client_name() + ":" + synth_port_left));

    // Hits 250 ms apart, each a few hundred µs off the last, as the engine thread hands them over.
    std::vector<double> due;
    for (int attempt = 0; attempt < 3; ++attempt) {
        listen.reset();
        due.clear();
        const double start = steady_us() + 50'000;
        for (int i = 0; i < 12; ++i) {
            due.push_back(start + i * 250'000 + i * 337);
            while (steady_us() < due.back()) sleep_ms(1);
            const std::uint8_t on[3] = {0x99, side_stick, 100}, off[3] = {0x89, side_stick, 0};
            synth.send(1, on, 3, static_cast<std::int64_t>(due.back()));
            synth.send(1, off, 3, static_cast<std::int64_t>(due.back()) + 60'000);
        }
        sleep_ms(300);
        if (listen.disturbed() == 0) break;
    }
    const std::vector<double> heard = listen.onsets();
    ASSERT_EQ(heard.size(), due.size());
    for (std::size_t i = 0; i < due.size(); ++i) EXPECT_NEAR(heard[i], due[i], 2000) << "hit " << i;

    // An organ note left hanging ends when its port's device goes, while another port plays on.
    ASSERT_TRUE(synth.open_output(2, 0));
    const std::uint8_t organ[2] = {0xC0, 19}, on[3] = {0x90, 60, 100};
    synth.send(1, organ, 2, steady_us());
    synth.send(1, on, 3, steady_us());
    sleep_ms(300);
    EXPECT_GT(listen.take_peak(), 1e-2f);
    synth.close_output(1);
    EXPECT_FALSE(synth.output_open(1));
    sleep_ms(1000);
    listen.take_peak();
    sleep_ms(100);
    EXPECT_LT(listen.take_peak(), 1e-4f);
}

}  // namespace
}  // namespace kestrune::testing
