#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>

#include "files/song_file.h"
#include "song/event_store.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;
namespace fs = std::filesystem;

class Apply : public ::testing::Test {
  protected:
    fs::path dir = fs::temp_directory_path() / ("kestrune_apply_" + std::to_string(::getpid()));
    Apply() { fs::create_directories(dir); }
    ~Apply() override { fs::remove_all(dir); }
    std::string at(const char* name) const { return (dir / name).string(); }

    int tool(const std::string& args) {
        const std::string cmd =
            std::string("'") + KESTRUNE_TOOL_PATH + "' apply " + args + " 2>'" + at("err") + "'";
        const int w = std::system(cmd.c_str());
        return WIFEXITED(w) ? WEXITSTATUS(w) : -1;
    }
};

TEST_F(Apply, QuantizeRunsWithItsFieldsAndARefusalWritesNothing) {
    {
        test_program t;
        add_sorted(*t, 0, 2, {ev(0x90, 60, 90, 3072 + 170), ev(0x80, 60, 0, 3072 + 200)});
        ASSERT_TRUE(write_song_file(*t, at("in.sng")));
    }
    EXPECT_EQ(tool(at("in.sng") + " " + at("out.sng") +
                   " quantize --track 2 quantize=16 quantize_strength=50"),
              0);
    test_program t;
    ASSERT_EQ(read_song_file(*t, at("out.sng"), true), load_result::loaded);
    const track_slot& s = t->slot(0, 2);
    EXPECT_EQ(nums(s.quantize, t->store().position(s.first), t->app.quantize_strength),
              nums(16, 3072 + 181, 50));
    // Refused on an empty track: the message, status 1 and no file; a bad value is a usage error.
    EXPECT_EQ(tool(at("in.sng") + " " + at("no.sng") + " \"Freeze Quantize\" --track 3"), 1);
    EXPECT_FALSE(fs::exists(at("no.sng")));
    EXPECT_EQ(tool(at("in.sng") + " " + at("no.sng") + " Quantize swing_factor=15"), 2);
}

}  // namespace
}  // namespace kestrune
