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

midi_event cc(std::int32_t pos, int tag) {
    return midi_event::make(0xB0, static_cast<std::uint8_t>(tag & 0x7F), 1, pos);
}

// n controller events at positions 100, 200, ...
records ramp(int n, int from = 0) {
    records out;
    for (int i = 0; i < n; ++i) out.push_back(cc(100 * (from + i + 1), from + i));
    return out;
}

ref32 next_block(const event_store& s, ref32 b) {
    return s.link(event_store::forward_link(b));
}

struct EventStoreWalk : ::testing::Test {
    testing::test_program t;
    program& p = *t;
    event_store s = p.store();
};

TEST_F(EventStoreWalk, BlockSkipStopsAtABlockThatOpensInsideALongEvent) {
    track_slot& sl = open_track(p, 0, 0);
    // The sysex head sits in slot 29; its continuations fill slots 30, 31 and slots 0, 1 of the
    // second block, whose first record thereby carries payload where a position would be: zero
    // bytes that would read as a position before the head's.
    std::vector<std::uint8_t> zeros(1 + 6 * 4, 0);
    zeros.push_back(st::sysex_end);
    append(p, sl, flat({ramp(29), long_event(st::sysex, 3000, zeros), ramp(40, 30)}));
    ASSERT_EQ(sl.blocks, 3);
    const ref32 b0 = s.block_of(sl.first);
    const ref32 b1 = next_block(s, b0);
    const ref32 b2 = next_block(s, b1);
    ASSERT_TRUE(is_continuation_status(s.status(event_store::first_slot(b1))));

    EXPECT_EQ(
        nums(s.block_skip(sl.first), s.status(s.block_skip(sl.first)),
             s.block_skip(event_store::first_slot(b1)), s.block_skip(event_store::first_slot(b2))),
        nums(s.layout().static_end, st::end, event_store::first_slot(b2),
             event_store::forward_link(b2)));

    const ref32 head = b0 + first_slot_offset + 29 * 6;
    // Events later in the block that opens with the continuation are found too.
    const ref32 in_b1 = event_store::first_slot(b1) + 2 * 6;
    EXPECT_EQ(s.position(in_b1), 3100);
    EXPECT_EQ(
        nums(s.find_at_position(sl.first, 2950, no_loop),
             s.find_at_position(sl.first, 3000, no_loop), s.find_after_position(sl.first, 2900),
             s.find_at_position(sl.first, 3001, no_loop), s.find_after_position(sl.first, 3000),
             s.find_at_position(sl.first, 3101, no_loop),
             s.find_at_position(sl.first, 7000, no_loop),
             s.find_at_position(sl.first, 7001, no_loop)),
        nums(head, head, head, in_b1, in_b1, in_b1 + 6, event_store::first_slot(b2) + 9 * 6,
             s.chain_end(sl.first)));
}

TEST_F(EventStoreWalk, FindAtPositionFoldsLoopsAndClampsNegativePositions) {
    track_slot& sl = open_track(p, 0, 0);
    append(p, sl, {cc(0, 0), cc(1000, 1), cc(3072, 2), cc(3172, 3), cc(3840, 4), cc(3872, 5)});
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

TEST_F(EventStoreWalk, FindNoteOffPairsOverlappingNotesOutermostWithOutermost) {
    track_slot& sl = open_track(p, 0, 0);
    append(p, sl,
           {
               ev(0x90, 60, 100, 0),         // 0: outer note
               ev(0x90, 0x80 | 60, 90, 10),  // 1: inner note of the same pitch, quantize mark
               ev(0x91, 60, 0, 15),          // other channel
               ev(0x90, 61, 0, 16),          // other key
               ev(0x81, 60, 0, 17),          // other channel's note-off
               ev(0x80, 60, 0, 20),          // 5: ends the inner note
               ev(0x90, 60, 0x80, 30),       // 6: velocity 0 under a mark, ends the outer note
               ev(0x90, 60, 80, 40),         // 7: no partner
               ev(0x90, 60, 70, 50),         // 8
               ev(0x80, 60, 0, 60),          // 9: ends 8; 7 stays open
           });
    auto at = [&](int i) { return nth_record(s, sl.first, i); };
    for (auto [on, off, depth_left] : {std::tuple{0, 6, 0}, {1, 5, 0}, {8, 9, 0}, {7, -1, 1}}) {
        int depth = -1;
        EXPECT_EQ(s.find_note_off(at(on), &depth), off < 0 ? s.chain_end(sl.first) : at(off)) << on;
        EXPECT_EQ(depth, depth_left) << on;
    }
}

// Uses up the free list but `keep` blocks with a filler chain in track 31.
void fill_pool(program& p, int keep) {
    track_slot& filler = open_track(p, 0, 31);
    const int blocks = p.d.free_blocks + 1 - keep;
    records r;
    for (int i = 0; i < blocks * block_slots - 1; ++i) r.push_back(cc(i / 8, i));
    append(p, filler, r);
}

TEST(ChainBuilder, NeverUsesUpTheLastFreeBlock) {
    testing::test_program t(1);
    program& p = *t;
    event_store s = p.store();
    fill_pool(p, 3);
    ASSERT_EQ(p.d.free_blocks, 3);
    const ref32 area = p.d.record_first_block;
    const ref32 write = p.d.record_write;
    auto build = [&](int n, chain_builder& b) {
        for (int i = 0; i < n; ++i) b.put(cc(i, i));
    };
    // 63 records: the end record in the last slot of the second block, a free block stays
    // behind. 64: the end record would go into the last free block: terminated, not to be cut.
    // 100: every slot written, the cursor on the head's null link: nothing is cut.
    for (auto [n, written, terminated, ok] :
         {std::tuple{63, 63, true, true}, {64, 64, true, false}, {100, 96, false, false}}) {
        chain_builder b(s);
        build(n, b);
        const bool overflowed = b.overflowed();
        const std::int64_t w = b.written();
        const bool done = b.terminate();
        EXPECT_EQ(nums(overflowed, w, done, b.ok()), nums(n == 100, written, terminated, ok)) << n;
        if (!ok) {
            EXPECT_EQ(b.cut(), null_ref) << n;
        }
    }
    EXPECT_EQ(nums(p.d.record_first_block, p.d.record_write, p.d.free_blocks),
              nums(area, write, 3));
    EXPECT_EQ(testing::check_pool(p), "");

    // What could be built still can be.
    chain_builder b(s);
    build(10, b);
    ASSERT_TRUE(b.terminate());
    ASSERT_TRUE(b.ok());
    seat_built_chain(p, 0, 0, b);
    EXPECT_EQ(p.d.free_blocks, 2);
    EXPECT_EQ(testing::check_pool(p), "");
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

TEST(EventFields, MarksPositionsAndTempoKeepTheirBits) {
    // Quantize marks lie in bit 7 of both data bytes and in the spare nibble.
    midi_event on = ev(0x93, 0x80 | 60, 0x80 | 100, 5000);
    on.set_spare_nibble(0xF);
    midi_event a = on;
    a.clear_top_nibble();
    EXPECT_EQ(nums(a.spare_nibble(), a.raw0(), a.data1()), nums(0, 0x80 | 60, 60));
    a.clear_high_bits();
    EXPECT_EQ(a.raw0(), 60);
    on.clear_marks();
    EXPECT_EQ(nums(on.raw0(), on.raw1(), on.spare_nibble(), on.position()), nums(60, 100, 0, 5000));
    // Setting a position keeps the spare nibble and the status; a masked write keeps bit 7.
    midi_event m = midi_event::make(0xB0, 7, 100, 0);
    m.set_spare_nibble(0xA);
    m.set_position(0xFF000);
    m.set_data1(0x85);
    EXPECT_EQ(nums(m.position(), m.spare_nibble(), m.status(), m.data1()),
              nums(0xFF000, 0xA, 0xB0, 5));
    // A tempo from 256.00 on takes the spare nibble.
    for (std::int32_t v : {25599, 25600, 99999}) {
        midi_event tempo = midi_event::make(st::tempo, 0, 0, 0);
        tempo.set_tempo_value(v);
        EXPECT_EQ(nums(tempo.tempo_value(), tempo.spare_nibble()), nums(v, v / 25600)) << v;
    }
}

}  // namespace
}  // namespace kestrune
