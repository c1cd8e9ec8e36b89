// kestrune-tool play as a user scripts it: a file played through the engine's JACK port into a
// client, nothing left sounding when it is ended, and a failure when its device goes away.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "files/song_file.h"
#include "tests/engine/jack_fixture.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;
class PlayTool : public jack_fixture {
  protected:
    std::string song_with(const records& recs) {
        test_program t;
        add_sorted(*t, 0, 0, recs);
        const std::string path =
            ::testing::TempDir() + "play_tool_" + std::to_string(getpid()) + ".sng";
        EXPECT_TRUE(write_song_file(*t, path));
        return path;
    }
    // Starts the tool with `args`; its output goes to a file the test can read afterwards.
    pid_t start_tool(const std::vector<std::string>& args, const char* jack_server = nullptr) {
        out_ = ::testing::TempDir() + "play_tool_out_" + std::to_string(getpid()) + ".txt";
        const pid_t pid = fork();
        if (pid == 0) {
            const int fd = open(out_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            dup2(fd, 1);
            dup2(fd, 2);
            if (jack_server) setenv("JACK_DEFAULT_SERVER", jack_server, 1);
            std::vector<const char*> argv{"kestrune-tool", "play"};
            for (const auto& a : args) argv.push_back(a.c_str());
            argv.push_back(nullptr);
            execv(KESTRUNE_TOOL_PATH, const_cast<char* const*>(argv.data()));
            _exit(127);
        }
        started_.push_back(pid);
        return pid;
    }
    // A tool a failed check left running is killed, not left playing.
    void TearDown() override {
        for (const pid_t pid : started_)
            if (waitpid(pid, nullptr, WNOHANG) == 0) {
                kill(pid, SIGKILL);
                waitpid(pid, nullptr, 0);
            }
    }
    pid_t play(std::vector<std::string> args) {
        args.insert(args.end(), {"--port", "A=" + pr->in_name()});
        return start_tool(args);
    }
    int wait_tool(pid_t pid, int ms) {
        int status = 0;
        for (int i = 0; i < ms; ++i) {
            if (waitpid(pid, &status, WNOHANG) == pid)
                return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            sleep_ms(1);
        }
        kill(pid, SIGKILL);
        waitpid(pid, &status, 0);
        return -2;
    }
    std::string output() const {
        std::ifstream in(out_);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    std::string out_;
    std::vector<pid_t> started_;
};

// The tool plays a file to its end; on Ctrl+C, kill and a closed terminal every sounding note ends
// and the tool exits cleanly. Looping, it would play into nothing forever once its device goes:
// it says what went and fails.
TEST_F(PlayTool, PlaysToTheEndEndsCleanlyOnEverySignalAndFailsWhenItsDeviceGoes) {
    records recs;
    for (int k = 0; k < 4; ++k) {
        recs.push_back(ev(0x90 + k, 50 + k, 100, song_start + k * 10));
        recs.push_back(ev(0x80 + k, 50 + k, 0, song_start + 96 + k * 10));
    }
    const std::string short_song = song_with(recs);
    EXPECT_EQ(wait_tool(play({short_song}), 10000), 0) << output();
    EXPECT_EQ(pr->count(), 8) << output();
    EXPECT_NE(output().find("position    1  1"), std::string::npos) << output();
    std::remove(short_song.c_str());

    for (int k = 0; k < 4; ++k) recs[2 * k + 1].set_position(song_start + 40 * 768);
    const std::string song = song_with(recs);
    // Channel * 128 + key of each note the probe still hears.
    auto sounding = [&] {
        std::set<int> on;
        for (int i = 0; i < pr->count(); ++i) {
            const auto& m = (*pr)[i];
            const int type = m[0] & 0xF0, key = (m[0] & 0x0F) * 128 + m[1];
            if (type == 0x90 && m[2] > 0) on.insert(key);
            if (type == 0x80 || (type == 0x90 && m[2] == 0)) on.erase(key);
        }
        return on;
    };
    for (const int sig : {SIGINT, SIGTERM, SIGHUP}) {
        pr->reset();
        const pid_t tool = play({song});
        ASSERT_TRUE(pr->wait_for(4, 5000)) << output();
        kill(tool, sig);
        EXPECT_EQ(wait_tool(tool, 5000), 0) << "signal " << sig << ": " << output();
        for (int wait = 0; wait < 5000 && !sounding().empty(); ++wait) sleep_ms(1);
        EXPECT_EQ(sounding(), std::set<int>{}) << "signal " << sig;
    }
    const std::string name = pr->in_name();
    pr->reset();
    const pid_t tool = play({song, "--loop"});
    ASSERT_TRUE(pr->wait_for(4, 5000)) << output();
    pr.reset();  // its program ends
    EXPECT_EQ(wait_tool(tool, 5000), 1) << output();
    EXPECT_NE(output().find("Port A has lost its MIDI device \"JACK: " + name + "\"!"),
              std::string::npos)
        << output();
    std::remove(song.c_str());

    // Without any MIDI system the list says so; the synth stays, playing through the sound server.
    if (access("/dev/snd/seq", F_OK) == 0) return;  // this machine has an ALSA sequencer
    EXPECT_EQ(wait_tool(start_tool({"--list"}, "kestrune-no-such-server"), 5000), 0);
    EXPECT_NE(output().find("No ALSA sequencer and no JACK server were found.\\n"
                            "Load the ALSA sequencer (snd-seq) or start a JACK server.\n"),
              std::string::npos)
        << output();
    EXPECT_NE(output().find("output Synth: Built-in GM"), std::string::npos);
}

}  // namespace
}  // namespace kestrune
