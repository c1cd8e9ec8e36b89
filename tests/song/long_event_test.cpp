#include "song/long_event.h"

#include <gtest/gtest.h>

#include "song/event_store.h"
#include "tests/support/chain_checker.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;

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
    midi_event on = midi_event::make(0x93, 60, 100, 5000);
    midi_event off = midi_event::make(0x83, 60, 64, 5100);
    for (int d : {-128, -1, 0, 1, 15, 16, 127, -3}) {
        set_quantize_shift(on, off, static_cast<std::int8_t>(d));
        ASSERT_EQ(nums(quantize_shift(on, off), on.data1(), on.data2(), off.data2(), on.position()),
                  nums(d, 60, 100, 64, 5000));
    }
    midi_event a = on;
    a.clear_top_nibble();
    EXPECT_EQ(a.raw0() & 0x80, on.raw0() & 0x80);
    a.clear_high_bits();
    EXPECT_EQ(a.raw0(), 60);
    on.clear_marks();
    off.clear_marks();
    EXPECT_EQ(quantize_shift(on, off), 0);
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
