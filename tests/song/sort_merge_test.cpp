#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "tests/support/chain_checker.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;

// A random event at pos: short ones with quantize marks in their spare bits, sysex and text of
// up to a few hundred bytes, now and then a tempo record. `serial` makes every head unique.
records random_event(std::mt19937& rng, std::int32_t pos, int serial) {
    const auto r = [&](unsigned n) { return static_cast<unsigned>(rng() % n); };
    const unsigned kind = r(100);
    if (kind < 15 || kind >= 97) {
        const bool is_sysex = kind < 8 || kind >= 97;
        // Text bytes are printable, so no NUL ends the text early.
        const int base = is_sysex ? 0 : 0x20, span = is_sysex ? 0x80 : 0x5F;
        std::vector<std::uint8_t> payload{static_cast<std::uint8_t>(base + serial % span),
                                          static_cast<std::uint8_t>(base + serial / span % span)};
        const unsigned n = kind >= 97 ? 7 + 6 * r(40) : r(300);  // often 0xF7 on a status byte
        for (unsigned i = 0; i < n; ++i)
            payload.push_back(static_cast<std::uint8_t>(is_sysex ? r(0x80) : 0x20 + r(0x5F)));
        payload.push_back(is_sysex ? st::sysex_end : 0);
        return long_event(is_sysex ? st::sysex : st::text, pos, payload);
    }
    if (kind < 18) return {tempo(6000 + serial % 20000, pos)};
    midi_event e = midi_event::make(static_cast<std::uint8_t>(0x80 + r(0x70)),
                                    static_cast<std::uint8_t>(serial & 0x7F),
                                    static_cast<std::uint8_t>((serial >> 7) & 0x7F), pos);
    e.b[0] |= static_cast<std::uint8_t>(r(2) << 7);
    e.b[1] |= static_cast<std::uint8_t>(r(2) << 7);
    e.set_spare_nibble(static_cast<std::uint8_t>(r(16)));
    return {e};
}

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
    for (int i = 0; i < 28; ++i)
        input.push_back({midi_event::make(0xB0, 7, static_cast<std::uint8_t>(i), 50)});
    std::vector<std::uint8_t> big(100, 0x11);
    big.push_back(st::sysex_end);
    input.push_back(long_event(st::sysex, 900, big));
    input.push_back({midi_event::make(0x90, 60, 100, 100)});
    input.push_back({midi_event::make(0x90, 62, 100, 900)});
    std::vector<std::uint8_t> words(40, 'a');
    words.push_back(0);
    input.push_back(long_event(st::text, 100, words));
    input.push_back(long_event(st::sysex, 50, {0x43, st::sysex_end}));
    track_slot& sl = build_track(p, 0, 0, flat(input));

    p.store().sort_chain(sl.first);
    const units want = bubble_sorted(input);
    // At 50 the 28 short ones keep their order, the one-record sysex behind them.
    EXPECT_EQ(want[28][0].status(), st::sysex);
    EXPECT_EQ(want[30][0].status(), st::text);
    EXPECT_EQ(want[31].size(), 18u);
    EXPECT_EQ(difference(read_chain(p.store(), sl.first), flat(want)), "");
    EXPECT_EQ(testing::check_chain(p.store(), sl.first, sl.blocks), "");
    EXPECT_EQ(testing::check_pool(p), "");

    // A sorted chain is left byte for byte as it was.
    const records before = read_chain(p.store(), sl.first);
    p.store().sort_chain(sl.first);
    EXPECT_EQ(difference(read_chain(p.store(), sl.first), before), "");
}

// Reference merge: b's event first only when its position is strictly lower.
units merged(const units& a, const units& b) {
    units out;
    std::size_t i = 0, j = 0;
    while (i < a.size() && j < b.size())
        out.push_back(pos_of(b[j]) < pos_of(a[i]) ? b[j++] : a[i++]);
    while (i < a.size()) out.push_back(a[i++]);
    while (j < b.size()) out.push_back(b[j++]);
    return out;
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
