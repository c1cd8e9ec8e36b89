// kestrune-tool play as a user scripts it: a file played through the engine's JACK port into a
// client, on time, and nothing left sounding when it is interrupted.
#include <gtest/gtest.h>

#include <cstdio>
#include <map>
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
        const std::string path = ::testing::TempDir() + "play_tool_" + std::to_string(getpid()) + ".sng";
        EXPECT_TRUE(write_song_file(*t, path));
        return path;
    }
    // Starts the tool; its output goes to a file the test can read afterwards.
    pid_t start_tool(const std::string& song) {
        out_ = ::testing::TempDir() + "play_tool_out_" + std::to_string(getpid()) + ".txt";
        const pid_t pid = fork();
        if (pid == 0) {
            const int fd = open(out_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            dup2(fd, 1);
            dup2(fd, 2);
            const std::string port = "A=" + pr.in_name();
            execl(KESTRUNE_TOOL_PATH, "kestrune-tool", "play", song.c_str(), "--port", port.c_str(),
                  static_cast<char*>(nullptr));
            _exit(127);
        }
        return pid;
    }
    int wait_tool(pid_t pid, int ms) {
        int status = 0;
        for (int i = 0; i < ms; ++i) {
            if (waitpid(pid, &status, WNOHANG) == pid) return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            sleep_ms(1);
        }
        kill(pid, SIGKILL);
        waitpid(pid, &status, 0);
        return -2;
    }
    std::string output() const {
        std::string s;
        if (FILE* f = std::fopen(out_.c_str(), "r")) {
            char buf[512];
            while (std::fgets(buf, sizeof buf, f)) s += buf;
            std::fclose(f);
        }
        return s;
    }
    std::string out_;
};

TEST_F(PlayTool, PlaysAFileIntoAClientOnTimeAndStopsAtItsEnd) {
    records recs;
    for (int i = 0; i < 8; ++i) {
        recs.push_back(ev(0x90, 60 + i, 100, song_start + i * 96));
        recs.push_back(ev(0x80, 60 + i, 0, song_start + i * 96 + 48));
    }
    const std::string song = song_with(recs);
    const pid_t tool = start_tool(song);
    EXPECT_EQ(wait_tool(tool, 10000), 0) << output();
    ASSERT_EQ(pr.count(), 16) << output();
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(pr[i].bytes[0], i % 2 ? 0x80 : 0x90) << i;
        EXPECT_EQ(pr[i].bytes[1], 60 + i / 2) << i;
        // 48 ticks at 120 bpm are 125 ms; the client reads each message back from its frame.
        EXPECT_NEAR(pr[i].due_us - pr[0].due_us, i * 125000.0, 2e6 / rate) << i;
    }
    EXPECT_NE(output().find("position    1  1"), std::string::npos) << output();
    std::remove(song.c_str());
}

TEST_F(PlayTool, InterruptLeavesNoNoteSounding) {
    records recs;
    for (int k = 0; k < 4; ++k) {
        recs.push_back(ev(0x90 + k, 50 + k, 100, song_start + k * 10));
        recs.push_back(ev(0x80 + k, 50 + k, 0, song_start + 40 * 768));
    }
    const std::string song = song_with(recs);
    const pid_t tool = start_tool(song);
    ASSERT_TRUE(pr.wait_for(4, 5000)) << output();
    kill(tool, SIGINT);
    EXPECT_EQ(wait_tool(tool, 5000), 0) << output();
    sleep_ms(200);
    std::map<int, int> sounding;  // channel and key
    for (int i = 0; i < pr.count(); ++i) {
        const int type = pr[i].bytes[0] & 0xF0, key = (pr[i].bytes[0] & 0x0F) * 128 + pr[i].bytes[1];
        if (type == 0x90 && pr[i].bytes[2] > 0) ++sounding[key];
        if (type == 0x80 || (type == 0x90 && pr[i].bytes[2] == 0)) sounding[key] = 0;
    }
    for (const auto& [key, n] : sounding) EXPECT_EQ(n, 0) << "channel " << key / 128 << " key " << key % 128;
    std::remove(song.c_str());
}

}  // namespace
}  // namespace kestrune
