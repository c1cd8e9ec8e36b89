#include <gtest/gtest.h>

#include <string>

#include "tests/support/chain_checker.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"
#include "song/event_store.h"

namespace kestrune {
namespace {

using namespace testing;

// Reference order: passes over neighbouring events, swapping a later-positioned one with
// the next one whose position is lower, until a pass swaps nothing. Long events move whole.
units bubble_sorted(units u) {
    for (bool swapped = true; swapped;) {
        swapped = false;
        for (std::size_t i = 0; i + 1 < u.size(); ++i)
            if (pos_of(u[i + 1]) < pos_of(u[i])) {
                std::swap(u[i], u[i + 1]);
                swapped = true;
            }
    }
    return u;
}

units random_units(std::mt19937& rng, int n, std::int32_t distinct_positions) {
    units u;
    for (int i = 0; i < n; ++i)
        u.push_back(
            random_event(rng, 96 * static_cast<std::int32_t>(rng() % distinct_positions), i));
    return u;
}

TEST(SortChain, GivesTheOrderOfTheNeighbourSwappingSort) {
    std::mt19937 rng(2024);
    int case_no = 0;
    for (int n : {1, 2, 3, 17, 90, 400}) {
        for (std::int32_t distinct : {1, 3, 12, 1000}) {
            SCOPED_TRACE("case " + std::to_string(++case_no) + ": " + std::to_string(n) +
                         " events, " + std::to_string(distinct) + " positions");
            testing::test_program t;
            program& p = *t;
            const units input = random_units(rng, n, distinct);
            track_slot& sl = build_track(p, 0, 0, flat(input));
            p.store().sort_chain(sl.first);
            EXPECT_EQ(difference(read_chain(p.store(), sl.first), flat(bubble_sorted(input))), "");
            EXPECT_EQ(testing::check_pool(p), "");
        }
    }
}

TEST(SortChain, MovesLongEventsPastShortOnesAndEachOther) {
    testing::test_program t;
    program& p = *t;
    // A long event standing before short ones that belong earlier, and two long events out of
    // order, all across block borders.
    units input;
    for (int i = 0; i < 28; ++i) input.push_back({ev(0xB0, 7, i, 50)});
    std::vector<std::uint8_t> big(100, 0x11);
    big.push_back(st::sysex_end);
    input.push_back(long_event(st::sysex, 900, big));
    input.push_back({ev(0x90, 60, 100, 100)});
    input.push_back({ev(0x90, 62, 100, 900)});
    std::vector<std::uint8_t> words(40, 'a');
    words.push_back(0);
    input.push_back(long_event(st::text, 100, words));
    input.push_back(long_event(st::sysex, 50, {0x43, st::sysex_end}));
    track_slot& sl = build_track(p, 0, 0, flat(input));

    p.store().sort_chain(sl.first);
    const units want = bubble_sorted(input);
    // At 50 the 28 short ones keep their order, the one-record sysex behind them.
    EXPECT_EQ(nums(want[28][0].status(), want[30][0].status(), want[31].size()),
              nums(st::sysex, st::text, 18));
    EXPECT_EQ(difference(read_chain(p.store(), sl.first), flat(want)), "");
    EXPECT_EQ(testing::check_chain(p.store(), sl.first, sl.blocks), "");
    EXPECT_EQ(testing::check_pool(p), "");

    // A sorted chain is left byte for byte as it was.
    const records before = read_chain(p.store(), sl.first);
    p.store().sort_chain(sl.first);
    EXPECT_EQ(difference(read_chain(p.store(), sl.first), before), "");
}

TEST(MergeChains, CombinesTwoSortedChainsWithTheFirstAheadAtEqualPositions) {
    std::mt19937 rng(77);
    int case_no = 0;
    for (auto [na, nb] : {std::pair{0, 0}, {0, 5}, {6, 0}, {1, 1}, {40, 300}, {250, 250}}) {
        SCOPED_TRACE("case " + std::to_string(++case_no));
        testing::test_program t;
        program& p = *t;
        const event_store& s = p.store();
        const units a = bubble_sorted(random_units(rng, na, 20));
        const units b = bubble_sorted(random_units(rng, nb, 20));
        track_slot& ta = build_track(p, 0, 0, flat(a));
        track_slot& tb = build_track(p, 0, 1, flat(b));
        ASSERT_EQ(testing::check_pool(p), "");

        chain_builder out(s);
        merge_chains(out, s, ta.first, tb.first);
        ASSERT_TRUE(out.terminate());
        ASSERT_TRUE(out.ok());
        track_slot& tm = seat_built_chain(p, 0, 2, out);
        EXPECT_EQ(difference(read_chain(s, tm.first), flat(merged(a, b))), "");
        EXPECT_EQ(testing::check_chain(s, tm.first, tm.blocks), "");
        // The sources are untouched and the pool adds up with all three chains.
        EXPECT_EQ(difference(read_chain(s, ta.first), flat(a)), "");
        EXPECT_EQ(difference(read_chain(s, tb.first), flat(b)), "");
        EXPECT_EQ(testing::check_pool(p), "");
    }
}

}  // namespace
}  // namespace kestrune
