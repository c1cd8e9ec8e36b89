#include <gtest/gtest.h>

#include "engine/engine.h"
#include "tests/support/chain_checker.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using testing::test_program;

TEST(EngineStartUp, BuildsPoolTablesAndDefaultsFromMemoryUnits) {
    test_program t(10);
    const dll_data& d = t->d;
    EXPECT_EQ(t.eng.layout().block_count, 3125u);  // 100,000 events in blocks of 32
    // Three blocks went to the tempo chain and the two signature chains.
    EXPECT_EQ(d.free_blocks, 3125 - 3);
    EXPECT_EQ(d.stopped, 1);
    EXPECT_EQ(d.play_pattern, 0xFF);
    EXPECT_EQ(d.input_activity, 0xFF);
    EXPECT_NE(d.not_at_end, 0);
    for (int i = 0; i < 32; ++i) EXPECT_EQ(d.track_activity[i], 0xFF);
    for (int i = 0; i < 16; ++i) EXPECT_EQ(d.bit16[i], 1u << i);
    for (int i = 0; i < 32; ++i) EXPECT_EQ(d.bit32[i], 1u << i);
    EXPECT_EQ(d.memory_max_units, 50);
    // The leading song list entry lies right before entry 0 and marks the song's start.
    EXPECT_EQ(t->step(-1).end, song_start);
    EXPECT_EQ(t->step_ref(-1) + sizeof(song_step), d.song_list_ptr);
    EXPECT_EQ(testing::check_pool(*t), "");
}

TEST(EngineStartUp, OddUnitCountsRoundUpToWholeBlocks) {
    EXPECT_EQ(engine::blocks_for_units(1), 313u);
    EXPECT_EQ(engine::blocks_for_units(50), 15625u);
    EXPECT_EQ(engine::blocks_for_units(0), 313u);    // held to the smallest pool
    EXPECT_EQ(engine::blocks_for_units(99), 15625u);  // and to the largest
}

TEST(EngineStartUp, ErrorMessagesFollowTheErrorNumber) {
    EXPECT_EQ(init_error_message(3), "Error 3\nCan't allocate memory!");
    EXPECT_EQ(init_error_message(7),
              "Error 7\nYou need to install\nthe Multimedia Timer driver\nin the Control Panel!");
    EXPECT_EQ(init_error_message(8),
              "Error 8\nCan't start main Multimedia Timer!\nCheck settings in the Control Panel!");
}

TEST(EngineStartUp, RequestsAreClearedWhileStopped) {
    test_program t;
    t->wait_request(t->d.all_notes_off_request);
    t->wait_request(t->d.reset_request);
    EXPECT_EQ(t->d.all_notes_off_request, 0);
    EXPECT_EQ(t->d.reset_request, 0);
}

TEST(EngineStartUp, TempoIncrementFor120Is3145) {
    test_program t;
    EXPECT_EQ(t->d.tempo_increment, 3145);
}

}  // namespace
}  // namespace kestrune
