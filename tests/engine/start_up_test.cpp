#include <gtest/gtest.h>

#include "engine/engine.h"
#include "tests/support/chain_checker.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using testing::nums;
using testing::test_program;

TEST(EngineStartUp, BuildsPoolTablesAndDefaultsFromMemoryUnits) {
    test_program t(10);
    const dll_data& d = t->d;
    EXPECT_EQ(t.eng.layout().block_count, 3125u);  // 100,000 events in blocks of 32
    // Three blocks went to the tempo chain and the two signature chains.
    EXPECT_EQ(d.free_blocks, 3125 - 3);
    EXPECT_EQ(nums(d.stopped, d.play_pattern, d.memory_max_units, d.tempo_increment),
              nums(1, 0xFF, 50, 3145));
    // The leading song list entry lies right before entry 0 and marks the song's start.
    EXPECT_EQ(t->step(-1).end, song_start);
    EXPECT_EQ(t->step_ref(-1) + sizeof(song_step), d.song_list_ptr);
    EXPECT_EQ(testing::check_pool(*t), "");
}

}  // namespace
}  // namespace kestrune
