#include "processing/quantize.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "files/song_file.h"
#include "processing/undo.h"
#include "song/event_store.h"
#include "song/patterns.h"
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
    // Strength 99 takes 99/100 of each distance, truncated toward zero: 24 short moves 23, and
    // 47 (one early) stays.
    t->app.quantize_strength = 99;
    choose(16);
    EXPECT_EQ(placed(), nums(47, 191, 431, 623, 815));
    // The drift sees the full distance, not the scaled one: after 24 ticks early it stands at
    // -12, so a note 15 into the next beat goes to 48 (33 early, half of it moved).
    t->app.quantize_strength = 50;
    delete_track_chain(*t, 0, 0);
    notes_at({24, 192 + 15});
    choose(16);
    EXPECT_EQ(placed(), nums(36, 192 + 15 + 16));
}

TEST_F(Quantize, SixteenThenEightEqualsEightAndFreezeThenNoMovesNothingTillUndo) {
    notes_at({5, 100, 250, 290, 470, 700});
    const auto played = placed();
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
    // Undo brings the value and the played positions back.
    undo_apply(*t);
    EXPECT_EQ(t->slot(0, 0).quantize, 8);
    choose(0);
    EXPECT_EQ(placed(), played);
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
    set_default_signature(*t, 7, 8);
    add_sorted(*t, parallel_pattern, 0,
               {ev(0x90, 40, 90, song_start + 672 + 30), ev(0x80, 40, 0, song_start + 672 + 70)});
    ASSERT_TRUE(choose_quantize(*t, parallel_pattern, 0, 12));
    EXPECT_EQ(t->store().position(t->slot(parallel_pattern, 0).first), song_start + 672);
}

// Where one note, alone on track 1 (so no drift), lands from `c` ticks into the second bar of 4/4.
class QuantizeTables : public Quantize {
  protected:
    std::int32_t landing(int n, int c) {
        constexpr std::int32_t bar = song_start + 768;
        build_track(*t, 0, 1, {ev(0x90, 60, 90, bar + c), ev(0x80, 60, 0, bar + c + 10)});
        EXPECT_TRUE(choose_quantize(*t, 0, 1, n));
        const std::int32_t at = t->store().position(t->slot(0, 1).first) - bar;
        delete_track_chain(*t, 0, 1);
        return at;
    }
    // Each pair as (threshold, target): a note one tick before the threshold goes to the target,
    // a note on it to the next pair's target. The last pair's threshold is never reached.
    void check(int n, const std::vector<std::pair<int, int>>& pairs) {
        for (std::size_t i = 0; i + 1 < pairs.size(); ++i) {
            const auto [threshold, target] = pairs[i];
            EXPECT_EQ(landing(n, threshold - 1), target) << n << " before " << threshold;
            EXPECT_EQ(landing(n, threshold), pairs[i + 1].second) << n << " at " << threshold;
        }
    }
};

TEST_F(QuantizeTables, EveryPairOfTheTightAndSmartTablesAndOfThirtyTwoAndFortyEight) {
    using v = std::vector<std::pair<int, int>>;
    // Tight is the plain grid, and so are 32 and 48 whichever the method: a note halfway between
    // two points goes to the later one. A cycle is a bar at 4, half a bar at 6 and 8, else a beat.
    const auto plain = [](int n) {
        const int step = 768 / n, cycle = n == 4 ? 768 : n < 12 ? 384 : 192;
        v pairs;
        for (int k = 0; k * step < cycle; ++k) pairs.push_back({step / 2 + k * step, k * step});
        pairs.push_back({0, cycle});
        return pairs;
    };
    const v smart[] = {
        {{96, 0}, {224, 192}, {320, 256}, {448, 384}, {544, 512}, {672, 576}, {0, 768}},
        {{64, 0}, {160, 128}, {224, 192}, {320, 256}, {0, 384}},
        {{48, 0}, {112, 96}, {160, 128}, {224, 192}, {272, 256}, {336, 288}, {0, 384}},
        {{32, 0}, {80, 64}, {112, 96}, {160, 128}, {0, 192}},
        {{24, 0}, {56, 48}, {80, 64}, {112, 96}, {136, 128}, {168, 144}, {0, 192}},
        {{16, 0},
         {40, 32},
         {56, 48},
         {80, 64},
         {112, 96},
         {132, 128},
         {152, 144},
         {176, 160},
         {0, 192}},
    };
    const int ns[] = {4, 6, 8, 12, 16, 24};
    for (bool is_smart : {false, true}) {
        set_smart_quantize(*t, is_smart);
        for (int i = 0; i < 6; ++i) check(ns[i], is_smart ? smart[i] : plain(ns[i]));
        check(32, plain(32));
        check(48, plain(48));
    }
    // The cycle repeats: a bar later in the cycle lands as early in it.
    EXPECT_EQ(landing(8, 384 + 47), 384);
}

TEST_F(QuantizeTables, FullSwingMovesTheSwungPointOfEachValueByItsAmountAndNoOther) {
    t->app.quantize_swing = 10;
    // The second point of two (straight values), the third of three (triplets).
    const int n[] = {4, 6, 8, 12, 16, 24, 32, 48};
    const int swing[] = {80, 53, 40, 26, 20, 13, 10, 6};
    for (int i = 0; i < 8; ++i) {
        const int step = 768 / n[i], swung = n[i] % 3 == 0 ? 2 * step : step;
        EXPECT_EQ(landing(n[i], swung), swung + swing[i]) << n[i];
        EXPECT_EQ(landing(n[i], swung - step), swung - step) << n[i];
    }
    // Swing looks at where the note was played: 75 into a beat (Smart, 16) goes to 64, a swung
    // point, from an unswung half step, and is not swung.
    set_smart_quantize(*t, true);
    EXPECT_EQ(landing(16, 75), 64);
    // Swing -90 % (the least there is) pulls the point earlier; strength does not scale it.
    set_swing_factor(*t, -10);
    t->app.quantize_strength = 50;
    EXPECT_EQ(landing(16, 48 + 4), 48 + 2 - 18);
}

TEST_F(Quantize, BarLinesOfFiveEightAtSixDriftUntouchedAtEightAndOnlyNotesMove) {
    // 5/8: bars of 480 ticks, not a whole number of 128-tick steps. The note on the second bar
    // line is measured from the track's start: 3552 lies 96 into a cycle and goes to 128, 32
    // later; the note ten ticks after that bar line goes back onto it.
    set_default_signature(*t, 5, 8);
    add_sorted(*t, 0, 0,
               {ev(0x90, 40, 90, 3552), ev(0x80, 40, 0, 3592), ev(0x90, 41, 90, 3552 + 480 + 10),
                ev(0x90, 41, 0, 3552 + 480 + 50), ev(0xB0, 7, 100, 3552 + 480 + 10),
                ev(0xC0, 5, 0, 3552 + 480 + 20)});
    choose(6);
    EXPECT_EQ(placed(), nums(3552 + 32 - song_start, 3552 + 480 - song_start));
    std::vector<std::int64_t> others;
    const event_store s = t->store();
    for (ref32 e = t->slot(0, 0).first; is_event_status(s.status(e)); e = s.next_event(e))
        if (s.status(e) >= 0xB0) others.push_back(s.position(e));
    EXPECT_EQ(others, nums(3552 + 490, 3552 + 500));

    // A meter change to 4/4 off the bar lines of 5/8: a note on it still counts in 5/8, 20 ticks
    // after the bar line at 3552, and at 12 goes back onto that line. The note on the next bar
    // line, 4340, is measured from the track's start: 116 into a cycle, it goes to 128.
    delete_track_chain(*t, 0, 0);
    use_signature_track(*t, {ev(0xF2, 5, 8, song_start), ev(0xF2, 4, 4, 3572)});
    add_sorted(*t, 0, 0,
               {ev(0x90, 40, 90, 3572), ev(0x80, 40, 0, 3612), ev(0x90, 41, 90, 4340),
                ev(0x80, 41, 0, 4380)});
    choose(12);
    EXPECT_EQ(placed(), nums(3552 - song_start, 4352 - song_start));

    // At 8 a late note leaves no drift: the next note 144 into the cycle still goes to 192.
    delete_track_chain(*t, 0, 0);
    t->d.active_signature = t->d.signature_chain;
    set_default_signature(*t, 4, 4);
    notes_at({47, 144});
    choose(8);
    EXPECT_EQ(placed(), nums(0, 192));
}

// At 12 the drift is held to 42 before it is halved: 31 late leaves 15; 46 late then makes 61,
// held to 42, halved to 21, so the next (64, 96) threshold stands at 117.
TEST_F(Quantize, TheDriftIsHeldToTwoThirdsOfAStepBeforeItIsHalved) {
    notes_at({31, 192 + 110, 384 + 113, 576 + 31, 768 + 110, 960 + 118});
    choose(12);
    EXPECT_EQ(placed(), nums(0, 192 + 64, 384 + 64, 576, 768 + 64, 960 + 128));
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
    const std::string freeze =
        at("out.sng") + " " + at("frozen.sng") + " \"freeze quantize\" --track 2";
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
