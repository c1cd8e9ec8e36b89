#include "processing/range_delete.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "song/event_store.h"
#include "tests/support/chain_checker.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;

// Each event of a track as (status, key, position), in position order.
std::vector<std::vector<std::int64_t>> rows_of(const program& p, int pattern, int track) {
    std::vector<std::vector<std::int64_t>> v;
    for (const midi_event& e : read_track(p, pattern, track))
        v.push_back(nums(e.status(), e.data1(), e.position()));
    std::stable_sort(v.begin(), v.end(), [](const auto& a, const auto& b) { return a[2] < b[2]; });
    return v;
}

constexpr std::int32_t from = 3456, to = 3840;
constexpr track_edit_options quiet{.undo = undo_kind::none};

TEST(RangeDelete, TakesWhatStartsInTheRangeAndEndsWhatSoundsIntoIt) {
    test_program t;
    build_track(*t, 0, 0,
                {ev(0x90, 40, 90, 3000), ev(0x80, 40, 0, from),  // ends exactly at the start
                 ev(0x90, 41, 90, 3100), ev(0x80, 41, 0, from - 1), ev(0x90, 42, 90, 3400),
                 ev(0x90, 42, 0, 3900),  // sounds through the range
                 ev(0x90, 43, 90, from), ev(0x80, 43, 0, 3500), ev(0xB0, 7, 1, from),
                 ev(0xB0, 7, 2, to - 1), ev(0x90, 44, 90, 3800), ev(0x80, 44, 0, 3900),
                 ev(0xB0, 7, 3, to)});
    {
        track_edit g(*t, 0, 0, quiet);
        ASSERT_TRUE(g.begin());
        ASSERT_TRUE(delete_range(g, from, to));
    }
    EXPECT_EQ(rows_of(*t, 0, 0), (std::vector<std::vector<std::int64_t>>{{0x90, 40, 3000},
                                                                         {0x90, 41, 3100},
                                                                         {0x90, 42, 3400},
                                                                         {0x80, 40, from - 1},
                                                                         {0x80, 41, from - 1},
                                                                         {0x90, 42, from - 1},
                                                                         {0xB0, 7, to}}));
    EXPECT_EQ(check_pool(*t), "");
}

TEST(RangeDelete, NeedsThreeBlocksBeyondTheTrackAndSilencesTheTracksOwnGroup) {
    test_program t;
    program& p = *t;
    for (int pattern : {2, 3, parallel_pattern, take_pattern})
        build_track(p, pattern, 4, {ev(0x90, 40, 90, 3500), ev(0x80, 40, 0, 3600)});
    p.d.display_pattern = p.d.current_pattern = 2;
    // Held three blocks above the track, then two.
    const std::int32_t free = p.d.free_blocks, blocks = p.slot(2, 4).blocks;
    p.d.free_blocks = blocks + 2;
    const std::uint32_t changes = p.changes.tracks;
    {
        track_edit g(p, 2, 4, quiet);
        ASSERT_TRUE(g.begin(p.d.free_blocks));  // asking for exactly what is free is enough
        EXPECT_EQ(p.slot(2, 4).in_use, 0);      // hidden from the engine while it works
        EXPECT_FALSE(delete_range(g, from, to));
        p.d.free_blocks += 1;
        EXPECT_TRUE(delete_range(g, from, to));
    }
    EXPECT_EQ(nums(p.slot(2, 4).in_use, p.changes.tracks - changes), nums(1, 1));
    p.d.free_blocks = free + (p.d.free_blocks - (blocks + 3));
    EXPECT_EQ(check_pool(p), "");
    // The shown pattern in the normal group, the parallel pattern in its own, the take's in the
    // working group; a pattern that does not play needs no silence.
    for (auto [pattern, group] : {std::pair{2, 0}, std::pair{parallel_pattern, 1},
                                  std::pair{take_pattern, 2}, std::pair{3, 0xFF}}) {
        p.d.silence_pattern = p.d.silence_track = 0xFF;
        track_edit g(p, pattern, 4, quiet);
        ASSERT_TRUE(g.begin());
        delete_range(g, from, to);
        EXPECT_EQ(nums(p.d.silence_pattern, p.d.silence_track),
                  nums(group, group == 0xFF ? 0xFF : 4))
            << pattern;
    }
    // Pattern mode may play the parallel pattern itself, in the normal group.
    p.d.display_pattern = parallel_pattern;
    track_edit g(p, parallel_pattern, 4, quiet);
    ASSERT_TRUE(g.begin());
    EXPECT_EQ(nums(p.d.silence_pattern, p.d.silence_track), nums(0, 4));
}

}  // namespace
}  // namespace kestrune
