#include "processing/track_edit.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/chain_checker.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;

class TrackEdit : public ::testing::Test {
protected:
    TrackEdit() {
        // Pattern 2 plays, from 150 ticks into the song; track 5 is 10 ticks late.
        give_track(p, 2, 5, {ev(0x90, 60, 90, 3072 + 100), ev(0x90, 61, 90, 3072 + 200),
                             ev(0x90, 62, 90, 3072 + 300)})
            .delay = 10;
        d.current_pattern = d.display_pattern = 2;
        d.position = 3072 + 150;
        d.stopped = 0;
        forget_silence();
    }
    void forget_silence() { d.silence_pattern = d.silence_track = 0xFF; }
    std::string silenced() const {
        return std::to_string(d.silence_pattern) + "/" + std::to_string(d.silence_track);
    }
    std::vector<std::int64_t> keys(ref32 first) const {
        std::vector<std::int64_t> v;
        for (const midi_event& e : read_chain(p.store(), first))
            if (e.status() == 0x90) v.push_back(e.data1());
        return v;
    }

    test_program t;
    program& p = *t;
    dll_data& d = p.d;
};

TEST_F(TrackEdit, HidesTheTrackWhileItWorksAndGivesItBackSortedAndSeated) {
    const std::uint32_t changes = p.changes.tracks;
    {
        // Asking for exactly what the undo copy of its one block leaves is enough.
        track_edit g(p, 2, 5);
        ASSERT_TRUE(g.begin(d.free_blocks - 1));
        // Hidden from the engine, its notes ended, while the function works: here it moves the
        // first note behind the others.
        EXPECT_EQ(nums(g.slot().in_use, silenced() == "0/5"), nums(0, 1));
        p.store().at(g.slot().first).set_position(3072 + 400);
    }
    // Back sorted and in use, seated at the first event at or after 150 - 10, counted as changed.
    const track_slot& s = p.slot(2, 5);
    EXPECT_EQ(keys(s.first), nums(61, 62, 60));
    EXPECT_EQ(nums(s.in_use, p.store().position(s.play), d.track_position[5],
                   p.changes.tracks - changes),
              nums(1, 3072 + 200, 3072 + 140, 1));
    EXPECT_EQ(check_pool(p), "");
}

}  // namespace
}  // namespace kestrune
