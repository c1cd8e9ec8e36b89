#include "song/event_store.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "song/long_event.h"
#include "tests/support/chain_checker.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;

struct EventStoreWalk : ::testing::Test {
    testing::test_program t;
    program& p = *t;
    event_store s = p.store();
};

TEST_F(EventStoreWalk, FindAtPositionFoldsLoopsAndClampsNegativePositions) {
    track_slot& sl = open_track(p, 0, 0);
    append(p, sl,
           {ev(0xB0, 0, 1, 0), ev(0xB0, 1, 1, 1000), ev(0xB0, 2, 1, 3072), ev(0xB0, 3, 1, 3172),
            ev(0xB0, 4, 1, 3840), ev(0xB0, 5, 1, 3872)});
    const std::int32_t one_bar = 768 + 3071;
    // Position asked, loop, record expected (6: the end record), folded position.
    struct {
        std::int32_t pos, loop;
        int record;
        std::int32_t folded;
    } cases[] = {
        {3072 + 3 * 768 + 100, one_bar, 3, 3172},
        {3072 + 768, one_bar, 2, 3072},
        {2000, one_bar, 2, 2000},  // before the song start nothing folds
        {-50, one_bar, 0, 0},
        {1, no_loop, 1, 1},
        {3072 + 768 + 10, no_loop, 5, 3072 + 768 + 10},
        {3873, no_loop, 6, 3873},
    };
    for (const auto& c : cases) {
        std::int32_t v = -1;
        EXPECT_EQ(s.find_at_position(sl.first, c.pos, c.loop, &v),
                  nth_record(s, sl.first, c.record))
            << c.pos;
        EXPECT_EQ(v, c.folded) << c.pos;
    }
    EXPECT_EQ(nums(s.find_after_position(sl.first, -7), s.find_after_position(sl.first, 3872),
                   s.find_after_position(sl.first, largest_record_position)),
              nums(nth_record(s, sl.first, 1), s.chain_end(sl.first), s.chain_end(sl.first)));
}

TEST(LongEvent, InsertRefusedWhenThePoolCannotHoldItLeavesAllAsItWas) {
    testing::test_program t(1);
    event_store s = t->store();
    ref32 first = s.new_empty_chain();
    const auto free_before = t->d.free_blocks;
    std::vector<std::uint8_t> huge(6 * 32 * 400, 0x10);
    huge.back() = 0xF7;
    auto recs = make_long_event(st::sysex, 0, huge.data(), huge.size());
    EXPECT_EQ(insert_event_records(s, first, recs), -1);
    EXPECT_EQ(nums(s.status(first), s.count_blocks(first), t->d.free_blocks),
              nums(st::end, 1, free_before));
    s.free_chain(first);
    EXPECT_EQ(testing::check_pool(*t), "");
}

std::size_t bound(const units& u, std::int32_t pos, bool behind_equal) {
    auto it = std::partition_point(u.begin(), u.end(), [&](const records& r) {
        return behind_equal ? pos_of(r) <= pos : pos_of(r) < pos;
    });
    return static_cast<std::size_t>(it - u.begin());
}

// Walks the chain back from its last event: the heads of the model in reverse, each event as
// long as its unit; the record count agrees.
void expect_walk_back(const event_store& s, ref32 first, const units& m) {
    std::size_t i = m.size();
    ref32 e = s.last_event(first);
    for (; is_event_status(s.status(e)); e = s.prev_event(e)) {
        ASSERT_GT(i, 0u);
        --i;
        ASSERT_TRUE(holds({s.at(e)}, {m[i][0]})) << "unit " << i;
        ASSERT_EQ(s.event_length(e), static_cast<int>(m[i].size())) << "unit " << i;
    }
    EXPECT_EQ(nums(i, s.status(e), s.count_records(first)),
              nums(0, i == m.size() ? st::end : st::back_link, flat(m).size()));
}

// Random inserts, deletes, moves, sorts, merges and clears on several tracks, each checked
// record for record against a plain model; every track and the whole pool every sixteenth step.
TEST(ChainProperty, RandomEditsKeepEveryChainEqualToItsModel) {
    testing::test_program t(10);
    program& p = *t;
    event_store s = p.store();
    dll_data& d = p.d;
    std::mt19937 rng(0x5EED);
    const auto r = [&](unsigned n) { return static_cast<unsigned>(rng() % n); };

    struct track {
        track_slot* slot;
        units model;
    };
    std::vector<track> tracks;
    for (auto [pat, trk] : {std::pair{0, 0}, {0, 7}, {3, 31}, {parallel_pattern, 2}, {9, 12}})
        tracks.push_back({&open_track(p, pat, trk), {}});

    int serial = 0;
    for (int step = 0; step < 7000; ++step) {
        track& tr = tracks[r(static_cast<unsigned>(tracks.size()))];
        track_slot& sl = *tr.slot;
        units& m = tr.model;
        // Chains grow and shrink in turns, so that they pass block borders both ways.
        const bool growing = step / 700 % 2 == 0;
        unsigned op = r(1000);
        if (op < 600) op = growing ? (op < 500 ? 0 : 500) : (op < 100 ? 0 : 500);
        if (op < 600 && m.size() > 400) op = 500;  // keep chains at a few thousand records
        if (op >= 450 && op < 930 && m.empty()) op = 0;
        std::string what;

        if (op < 450) {
            what = "insert";
            const std::int32_t pos = 48 * static_cast<std::int32_t>(r(400)) + (r(4) == 0 ? 7 : 0);
            records u = random_event(rng, pos, ++serial);
            if (d.free_blocks < static_cast<std::int32_t>(u.size()) / block_slots + 3) continue;
            const bool behind = r(2) == 0;
            const ref32 place = behind ? s.find_after_position(sl.first, pos)
                                       : s.find_at_position(sl.first, pos, no_loop);
            const std::size_t i = bound(m, pos, behind);
            ASSERT_EQ(place, nth_event(s, sl.first, i)) << "step " << step;
            ASSERT_GE(insert_at(p, sl.blocks, place, u), 0) << "step " << step;
            m.insert(m.begin() + static_cast<std::ptrdiff_t>(i), u);
        } else if (op < 600) {
            what = "delete";
            const std::size_t i = r(static_cast<unsigned>(m.size()));
            const ref32 e = nth_event(s, sl.first, i);
            ASSERT_EQ(s.event_length(e), static_cast<int>(m[i].size())) << "step " << step;
            take_blocks(p, sl.blocks, -s.delete_records(e, static_cast<int>(m[i].size())));
            m.erase(m.begin() + static_cast<std::ptrdiff_t>(i));
        } else if (op < 850) {
            what = "move";
            const std::size_t i = r(static_cast<unsigned>(m.size()));
            const std::int32_t from = pos_of(m[i]);
            const std::int32_t span = r(2) ? 100 : 6000;
            const std::int32_t to = std::clamp<std::int32_t>(
                from + static_cast<std::int32_t>(r(static_cast<unsigned>(2 * span + 1))) - span, 0,
                last_position);
            const std::int32_t delta = to - from;
            const ref32 e = nth_event(s, sl.first, i);
            s.at(e).set_position(to);
            const ref32 placed = s.move_event(sl.first, e, delta);
            records u = m[i];
            u[0].set_position(to);
            m.erase(m.begin() + static_cast<std::ptrdiff_t>(i));
            // Moved earlier: behind the events already at its place; otherwise in front of them.
            const std::size_t j = bound(m, to, delta < 0);
            m.insert(m.begin() + static_cast<std::ptrdiff_t>(j), u);
            ASSERT_EQ(placed, nth_event(s, sl.first, j)) << "step " << step;
        } else if (op < 930) {
            what = "sort";
            // Scatter some positions in place, then sort.
            const unsigned n = 1 + r(static_cast<unsigned>(m.size()));
            for (unsigned k = 0; k < n; ++k) {
                const std::size_t i = r(static_cast<unsigned>(m.size()));
                const std::int32_t pos = 48 * static_cast<std::int32_t>(r(400));
                m[i][0].set_position(pos);
                s.at(nth_event(s, sl.first, i)).set_position(pos);
            }
            s.sort_chain(sl.first);
            std::stable_sort(m.begin(), m.end(), [](const records& a, const records& b) {
                return pos_of(a) < pos_of(b);
            });
        } else if (op < 998) {
            // The track gets the merge of itself and another, which stays as it was.
            what = "merge";
            track& other = tracks[r(static_cast<unsigned>(tracks.size()))];
            if (&other == &tr || m.size() + other.model.size() > 600) continue;
            track_slot& ob = *other.slot;
            if (d.free_blocks < sl.blocks + ob.blocks + 3) continue;
            chain_builder out(s);
            merge_chains(out, s, sl.first, ob.first);
            ASSERT_TRUE(out.terminate()) << "step " << step;
            ASSERT_TRUE(out.ok()) << "step " << step;
            const ref32 first = out.cut();
            sl.blocks = static_cast<std::uint16_t>(out.count_chain_blocks());
            s.free_chain(sl.first);
            sl.first = sl.play = first;
            m = merged(m, other.model);
        } else {
            what = "clear";
            s.free_chain(sl.first);
            sl.first = sl.play = s.new_empty_chain();
            sl.blocks = 1;
            m.clear();
        }

        ASSERT_TRUE(holds(read_chain(s, sl.first), flat(m)))
            << "step " << step << " after " << what;
        if (step % 16 != 0) continue;
        for (const track& x : tracks) {
            ASSERT_TRUE(holds(read_chain(s, x.slot->first), flat(x.model)))
                << "step " << step << " after " << what;
            expect_walk_back(s, x.slot->first, x.model);
            ASSERT_FALSE(HasFailure()) << "step " << step << " after " << what;
        }
        ASSERT_EQ(testing::check_pool(p), "") << "step " << step << " after " << what;
    }
}

}  // namespace
}  // namespace kestrune
