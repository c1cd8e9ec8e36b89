#include "song/event_store.h"

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace kestrune
