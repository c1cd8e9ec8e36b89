#include "song/long_event.h"

#include <gtest/gtest.h>

#include "tests/support/chain_checker.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"
#include "song/event_store.h"

namespace kestrune {
namespace {

using namespace testing;

TEST(LongEvent, ClosingByteOnTheStatusByteReadsAsContinuation) {
    // 2 + 6 bytes: the 0xF7 is byte 5 of the only continuation.
    auto p = sysex_payload(8);
    auto recs = make_long_event(st::sysex, 3072, p.data(), p.size());
    ASSERT_EQ(recs.size(), 2u);
    EXPECT_EQ(recs[1].status(), st::sysex_end);
    EXPECT_TRUE(is_continuation_status(st::sysex_end));
    // A payload ending inside bytes 0-4 leaves a status of 0; two bytes ending in 0xF7 need no
    // continuation at all.
    auto q = sysex_payload(5);
    EXPECT_EQ(make_long_event(st::sysex, 0, q.data(), q.size())[1].status(), 0);
    auto two = sysex_payload(2);
    EXPECT_EQ(make_long_event(st::sysex, 0, two.data(), 2).size(), 1u);
}

TEST(LongEvent, TextStopsAtItsNulAndLyricsAreMarked) {
    const char text[] = "Hello\r\nworld";
    auto recs = make_long_event(st::text, 4000, reinterpret_cast<const std::uint8_t*>(text),
                                sizeof text, 2);
    EXPECT_TRUE(recs[0].is_lyric());
    testing::test_program t;
    event_store s = t->store();
    ref32 first = s.new_empty_chain();
    ASSERT_GE(insert_event_records(s, first, recs), 0);
    auto back = read_long_payload(s, first);
    EXPECT_EQ(std::string(back.begin(), back.end() - 1), "Hello\r\nworld");
    EXPECT_EQ(back.back(), 0);
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
    midi_event on = midi_event::make(0x93, 60, 100, 5000);
    midi_event off = midi_event::make(0x83, 60, 64, 5100);
    for (int d = -128; d <= 127; ++d) {
        set_quantize_shift(on, off, static_cast<std::int8_t>(d));
        ASSERT_EQ(nums(quantize_shift(on, off), on.data1(), on.data2(), off.data2(), on.position()),
                  nums(d, 60, 100, 64, 5000));
    }
    set_quantize_shift(on, off, -3);
    midi_event a = on;
    a.clear_top_nibble();
    EXPECT_EQ(a.raw0() & 0x80, on.raw0() & 0x80);
    a.clear_high_bits();
    EXPECT_EQ(a.raw0(), 60);
    on.clear_marks();
    off.clear_marks();
    EXPECT_EQ(quantize_shift(on, off), 0);

    // Setting a position keeps the spare nibble and the status.
    midi_event m = midi_event::make(0xB0, 7, 100, 0);
    m.set_spare_nibble(0xA);
    m.set_position(0xFF000);
    m.set_data1(0x85);  // masked write keeps bit 7 of the byte
    EXPECT_EQ(nums(m.position(), m.spare_nibble(), m.status(), m.data1()),
              nums(0xFF000, 0xA, 0xB0, 5));

    midi_event tempo = midi_event::make(st::tempo, 0, 0, 0);
    tempo.set_tempo_value(25599);
    EXPECT_EQ(nums(tempo.spare_nibble(), tempo.tempo_value()), nums(0, 25599));
    tempo.set_tempo_value(25600);
    EXPECT_EQ(nums(tempo.spare_nibble(), tempo.raw0(), tempo.tempo_value()), nums(1, 0, 25600));
    tempo.set_tempo_value(99999);
    EXPECT_EQ(tempo.tempo_value(), 99999);
}

}  // namespace
}  // namespace kestrune
