#include "processing/quantize.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "files/song_file.h"
#include "song/event_store.h"
#include "tests/support/chain_checker.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;

class Quantize : public ::testing::Test {
  protected:
    test_program t;

    // Notes of 40 ticks at bar-relative offsets, each with its note-off, as track 0.
    void notes_at(std::initializer_list<std::int32_t> offsets) {
        records r;
        int key = 40;
        for (std::int32_t o : offsets) {
            r.push_back(ev(0x90, key, 90, song_start + o));
            r.push_back(ev(0x80, key++, 0, song_start + o + 40));
        }
        add_sorted(*t, 0, 0, r);
    }
    // Bar-relative positions of the note-ons in key order, the pool checked on the way.
    std::vector<std::int64_t> placed() {
        EXPECT_EQ(check_pool(*t), "");
        std::vector<std::int64_t> v(64, -1);
        const event_store s = t->store();
        std::size_t n = 0;
        for (ref32 e = t->slot(0, 0).first; is_event_status(s.status(e)); e = s.next_event(e)) {
            const midi_event& x = s.at(e);
            if (!x.is_note_on()) continue;
            v[x.data1() - 40u] = x.position() - song_start;
            ++n;
            // Every note keeps its length of 40.
            EXPECT_EQ(s.position(s.find_note_off(e)) - x.position(), 40);
        }
        v.resize(n);
        return v;
    }
    void choose(int n) { ASSERT_TRUE(choose_quantize(*t, 0, 0, n)); }
};

TEST_F(Quantize, TiesGoUpDriftFollowsLateNotesAndNoRestoresThePlayedPositions) {
    notes_at({24, 170, 192 * 2 + 20, 192 * 3 + 30, 192 * 4 + 47});
    const auto played = placed();
    choose(16);
    // 24 is a tie and goes up; 170 goes to the next cycle. Both were pulled later, and the drift
    // this leaves takes a note 20 ticks into the next beat on to 48 rather than back to 0.
    EXPECT_EQ(placed(), nums(48, 192, 432, 624, 816));
    choose(0);
    EXPECT_EQ(placed(), played);
    // Half strength truncates toward zero: 47 (one early) stays.
    t->app.quantize_strength = 50;
    choose(16);
    EXPECT_EQ(placed(), nums(36, 181, 418, 615, 815));
}

TEST_F(Quantize, SwingMovesTheSecondOfTwoAndTheThirdOfThreePoints) {
    notes_at({96, 128, 192 + 96});
    t->app.quantize_swing = 10;
    choose(8);  // 96 is the second eighth: 40 ticks later
    EXPECT_EQ(placed(), nums(136, 96 + 40, 288 + 40));
    choose(12);  // 128 is the third triplet eighth: 26 later; 96 goes to 64 and is not swung
    EXPECT_EQ(placed(), nums(128 + 26, 128 + 26, 192 + 128 + 26));
}

TEST_F(Quantize, SixteenThenEightEqualsEightAndFreezeThenNoMovesNothing) {
    notes_at({5, 100, 250, 290, 470, 700});
    choose(8);
    const auto eight = placed();
    choose(0);
    choose(16);
    choose(8);
    EXPECT_EQ(placed(), eight);
    t.screen.answers = {msg_answer::ok};
    ASSERT_TRUE(freeze_quantize(*t, 0, 0));
    EXPECT_EQ(t->slot(0, 0).quantize, 0);
    choose(0);
    EXPECT_EQ(placed(), eight);
    // Refusals: an empty track, and anything while recording.
    EXPECT_FALSE(freeze_quantize(*t, 0, 1));
    EXPECT_EQ(t.screen.last_text(), msg_no_data);
    t->d.recording = 1;
    EXPECT_FALSE(choose_quantize(*t, 0, 0, 16));
    EXPECT_EQ(t.screen.last_text(), msg_while_recording);
}

TEST_F(Quantize, TheParallelPatternIsMeasuredInSongTimeWhicheverPatternIsShown) {
    // Song mode in step 1 (6144 ticks in) under 7/8; pattern 0 is shown. A note 30 ticks after
    // the parallel pattern's second bar line at 12 (tight) goes back onto it; measured from
    // step 1 as pattern 0's tracks are, it would lie 126 into a beat and go to 128.
    t->d.song_mode = 1;
    t->d.current_step = 1;
    midi_event& sig = t->store().at(t->d.signature_chain.first);
    sig.set_data1(7);
    sig.set_data2(8);
    t->d.active_signature = t->d.signature_chain;
    add_sorted(*t, parallel_pattern, 0,
               {ev(0x90, 40, 90, song_start + 672 + 30), ev(0x80, 40, 0, song_start + 672 + 70)});
    ASSERT_TRUE(choose_quantize(*t, parallel_pattern, 0, 12));
    EXPECT_EQ(t->store().position(t->slot(parallel_pattern, 0).first), song_start + 672);
}

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
    std::string messages() const {
        std::ifstream in(at("err"));
        return {std::istreambuf_iterator<char>(in), {}};
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
    // The command's own outcome decides: its question answered No writes nothing; answered Yes,
    // the question stands on stderr and the output is written.
    const std::string freeze = at("out.sng") + " " + at("frozen.sng") + " \"freeze quantize\" --track 2";
    EXPECT_EQ(tool(freeze + " --answer no"), 1);
    EXPECT_FALSE(fs::exists(at("frozen.sng")));
    EXPECT_EQ(tool(freeze), 0);
    EXPECT_TRUE(fs::exists(at("frozen.sng")));
    EXPECT_EQ(messages(), std::string(msg_freeze_quantize) + "\n");
    EXPECT_EQ(tool(at("in.sng") + " " + at("no.sng") + " Quantize swing_factor=15"), 2);
    // Locators the wrong way round are refused; an answer that no question took is said.
    EXPECT_EQ(tool(at("in.sng") + " " + at("no.sng") + " Quantize --locators 5 2"), 2);
    EXPECT_EQ(messages().substr(0, messages().find('\n')),
              "kestrune-tool: --locators 5 2: the left locator comes after the right one");
    EXPECT_FALSE(fs::exists(at("no.sng")));
    EXPECT_EQ(tool(at("in.sng") + " " + at("out.sng") + " Quantize --track 2 --answer no"), 0);
    EXPECT_EQ(messages(), "Quantize asked no question: --answer was not used\n");
}

}  // namespace
}  // namespace kestrune
