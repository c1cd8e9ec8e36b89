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

TEST(EngineStartUp, OddUnitCountsRoundUpToWholeBlocks) {
    // 0 and 99 are held to the smallest and the largest pool.
    EXPECT_EQ(nums(engine::blocks_for_units(1), engine::blocks_for_units(50),
                   engine::blocks_for_units(0), engine::blocks_for_units(99)),
              nums(313, 15625, 313, 15625));
}

TEST(EngineStartUp, ErrorMessagesFollowTheErrorNumber) {
    EXPECT_EQ(init_error_message(3), "Error 3\nCan't allocate memory!");
    EXPECT_EQ(init_error_message(7),
              "Error 7\nThe engine thread\ncan't be started!\nCheck the system's thread limits!");
    EXPECT_EQ(init_error_message(8),
              "Error 8\nCan't start the engine thread's timer!\nCheck Timer Resolution\nin MIDI/Memory Setup!");
}

TEST(EngineStartUp, RequestsAreClearedWhileStopped) {
    test_program t;
    t->wait_request(t->d.all_notes_off_request);
    t->wait_request(t->d.reset_request);
    EXPECT_EQ(nums(t->d.all_notes_off_request, t->d.reset_request), nums(0, 0));
}

}  // namespace
}  // namespace kestrune
