#include "song/position.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;

midi_event sig(int n, int d, std::int32_t pos) {
    return midi_event::make(st::signature, n, d, pos);
}

void set_default_signature(program& p, int n, int d) {
    midi_event& e = p.store().at(p.d.signature_chain.first);
    e.set_data1(static_cast<std::uint8_t>(n));
    e.set_data2(static_cast<std::uint8_t>(d));
}

TEST(Position, SplitTicks) {
    bars_beats_ticks b = split_ticks(768 * 3 + 192 * 2 + 17, 4, 4);
    EXPECT_EQ(b.bars, 3);
    EXPECT_EQ(b.beats, 2);
    EXPECT_EQ(b.ticks, 17);
    b = split_ticks(3072, 3, 4);
    EXPECT_EQ(b.bars, 5);
    EXPECT_EQ(b.beats, 1);
    EXPECT_EQ(b.ticks, 0);
    b = split_ticks(576 + 96 * 4 + 95, 6, 8);
    EXPECT_EQ(b.bars, 1);
    EXPECT_EQ(b.beats, 4);
    EXPECT_EQ(b.ticks, 95);
    b = split_ticks(0, 7, 16);
    EXPECT_EQ(b.bars + b.beats + b.ticks, 0);
}

TEST(Position, SignatureAtTakesTheLastRecordNotAfterP) {
    testing::test_program t;
    program& p = *t;
    use_signature_track(p, {sig(3, 4, 3072), sig(4, 4, 4224), sig(6, 8, 6528)});
    const event_store& s = p.store();
    ref32 first = p.d.signature_track.first;
    EXPECT_EQ(signature_at(s, first, 0), first);  // before the first record
    EXPECT_EQ(s.position(signature_at(s, first, 3072)), 3072);
    EXPECT_EQ(s.position(signature_at(s, first, 4223)), 3072);
    EXPECT_EQ(s.position(signature_at(s, first, 4224)), 4224);
    EXPECT_EQ(s.position(signature_at(s, first, 6527)), 4224);
    EXPECT_EQ(s.position(signature_at(s, first, 0xFF000)), 6528);
}

TEST(Position, TempoAtLeavesARecordAtPToTheEngine) {
    testing::test_program t;
    program& p = *t;
    // Enough records to span several blocks, so the block phase of the search is used.
    std::vector<midi_event> list;
    for (int i = 0; i < 100; ++i) list.push_back(tempo(6000 + i, 100 + i * 50));
    use_tempo_track(p, list);
    ASSERT_GE(p.d.tempo_chain.blocks, 4);
    const event_store& s = p.store();

    std::int32_t value = 0;
    ref32 r = tempo_at(p, 100 + 70 * 50, &value);
    EXPECT_EQ(s.position(r), 100 + 70 * 50);  // the record exactly at p
    EXPECT_EQ(value, 6069);                   // is not yet in force
    r = tempo_at(p, 100 + 70 * 50 + 1, &value);
    EXPECT_EQ(s.position(r), 100 + 71 * 50);
    EXPECT_EQ(value, 6070);
    r = tempo_at(p, 100 + 32 * 50, &value);  // the first record of the second block
    EXPECT_EQ(s.position(r), 100 + 32 * 50);
    EXPECT_EQ(value, 6031);
    r = tempo_at(p, 99, &value);
    EXPECT_EQ(r, p.d.tempo_chain.first);
    EXPECT_EQ(value, 12000);  // nothing before
    r = tempo_at(p, 100, &value);
    EXPECT_EQ(value, 12000);
    r = tempo_at(p, 0xFF000, &value);
    EXPECT_EQ(s.status(r), st::end);
    EXPECT_EQ(value, 6099);
}

TEST(Position, TempoIncrement) {
    EXPECT_EQ(tempo_increment_for(12000), 3145);
    EXPECT_EQ(tempo_increment_for(25000), 6553);
    EXPECT_EQ(tempo_increment_for(100), 26);
    dll_data d{};
    set_tempo_increment(d, 12000);
    EXPECT_EQ(d.tempo_increment, 3145);
}

TEST(Position, BarOneBeginsAt3072InEverySignature) {
    testing::test_program t;
    program& p = *t;
    EXPECT_EQ(position_text(p, 3072), "   1  1  1  1");
    EXPECT_EQ(position_text(p, 3072 - 768), "   0  1  1  1");
    EXPECT_EQ(position_text(p, 3072 + 768 * 2 + 192 + 50), "   3  2  2  3");
    EXPECT_EQ(position_text(p, 0), "  -3  1  1  1");
    for (auto [n, d] : {std::pair{3, 4}, {5, 8}, {7, 16}, {3, 2}, {1, 1}, {9, 32}}) {
        set_default_signature(p, n, d);
        EXPECT_EQ(position_text(p, 3072), "   1  1  1  1") << n << "/" << d;
    }
    set_default_signature(p, 3, 4);
    EXPECT_EQ(position_text(p, 3072 - 576), "   0  1  1  1");
    EXPECT_EQ(position_text(p, 3072 - 1), "   0  3  4 48");
    EXPECT_EQ(position_text(p, 3072 + 576 + 192), "   2  2  1  1");
    // The lead-in of 3/4 is five bars and a beat: position 0 is the last beat of bar -5.
    EXPECT_EQ(position_text(p, 0), "  -5  3  1  1");
}

TEST(Position, SeveralSignatureChanges) {
    testing::test_program t;
    program& p = *t;
    // Two bars of 3/4, three of 4/4, then 6/8.
    use_signature_track(p, {sig(3, 4, 3072), sig(4, 4, 4224), sig(6, 8, 6528)});
    EXPECT_EQ(position_text(p, 3072), "   1  1  1  1");
    EXPECT_EQ(position_text(p, 3072 + 576), "   2  1  1  1");
    EXPECT_EQ(position_text(p, 4223), "   2  3  4 48");
    EXPECT_EQ(position_text(p, 4224), "   3  1  1  1");
    EXPECT_EQ(position_text(p, 4224 + 768 + 192 + 50), "   4  2  2  3");
    EXPECT_EQ(position_text(p, 6528), "   6  1  1  1");
    EXPECT_EQ(position_text(p, 6528 + 576 + 96 + 10), "   7  2  1 11");
    // Before the first record the lead-in runs in the first signature.
    EXPECT_EQ(position_text(p, 3072 - 576), "   0  1  1  1");
    EXPECT_EQ(bar_text(p, 6528), "   6");
}

TEST(Position, GrooveUnitAndSimpleBarDisplay) {
    testing::test_program t;
    program& p = *t;
    p.app.edit_grid = 24;
    EXPECT_EQ(position_text(p, 3072 + 192 + 24 * 3 + 5), "   1  2  4  6");
    p.app.simple_bardisplay = true;
    EXPECT_EQ(position_text(p, 3072 + 192 + 24 * 3 + 5), "   1  2   78 ");
    EXPECT_EQ(position_text(p, 3072).size(), 13u);
}

TEST(Position, BarsPastNineThousandNineHundredNinetyNine) {
    testing::test_program t;
    program& p = *t;
    set_default_signature(p, 1, 32);  // a bar of 24 ticks
    EXPECT_EQ(position_text(p, 3072 + 24 * 998), " 999  1  1  1");
    EXPECT_EQ(position_text(p, 3072 + 24 * 9998), "9999  1  1  1");
    EXPECT_EQ(position_text(p, 3072 + 24 * 9999), "0000  1  1  1");
    EXPECT_EQ(position_text(p, 3072 + 24 * 12344 + 5), "2345  1  1  6");
    EXPECT_EQ(position_text(p, 0xFF000).substr(0, 4), "3393");
    EXPECT_EQ(position_text(p, 0xFF000).size(), 13u);
    EXPECT_EQ(position_text(p, 0), "-127  1  1  1");
}

TEST(Position, LengthTextCountsFromZero) {
    testing::test_program t;
    program& p = *t;
    EXPECT_EQ(length_text(p, 0, 3072), "   0  0  0  0");
    EXPECT_EQ(length_text(p, 768 + 192 + 53, 3072), "   1  1  1  5");
    EXPECT_EQ(length_text(p, 3072, 0), "   4  0  0  0");
    use_signature_track(p, {sig(3, 4, 3072), sig(4, 4, 4224)});
    EXPECT_EQ(length_text(p, 576, 3072), "   1  0  0  0");
    EXPECT_EQ(length_text(p, 1152 + 768 + 1, 3072), "   3  0  0  1");
    EXPECT_EQ(length_text(p, 768, 4224), "   1  0  0  0");
    EXPECT_EQ(length_text(p, 576, 4224), "   0  3  0  0");
    p.app.simple_bardisplay = true;
    EXPECT_EQ(length_text(p, 576 + 100, 3072), "   1  0  100 ");
}

TEST(Position, TempoAndSignatureTexts) {
    EXPECT_EQ(tempo_text(12000), "120.00");
    EXPECT_EQ(tempo_text(9905), " 99.05");
    EXPECT_EQ(tempo_text(100), "  1.00");
    EXPECT_EQ(signature_cell_text(4), " 4");
    EXPECT_EQ(signature_cell_text(12), "12");
}

TEST(Position, ClockWithoutTempoTrack) {
    testing::test_program t;
    program& p = *t;
    EXPECT_EQ(format_clock(position_to_ms(p, 3072)), "0:00:00");
    EXPECT_EQ(format_clock(position_to_ms(p, 3072 + 192 * 120)), "0:01:00");
    EXPECT_EQ(format_clock(position_to_ms(p, 3072 + 192 * 120 * 61 + 192 * 2 * 5)), "1:01:05");
    EXPECT_EQ(format_clock(position_to_ms(p, 0)), "0:00:00");  // the lead-in reads as zero
    p.app.song_tempo = 6000;
    EXPECT_EQ(format_clock(position_to_ms(p, 3072 + 192 * 60)), "0:01:00");
    // At 1.00 a tick lasts 375 ms: ten hours are 96000 ticks.
    p.app.song_tempo = 100;
    EXPECT_EQ(format_clock(position_to_ms(p, 3072 + 95998)), "9:59:59");
    EXPECT_EQ(format_clock(position_to_ms(p, 3072 + 96000)), "?:??:??");
}

TEST(Position, ClockFollowsTheTempoTrack) {
    testing::test_program t;
    program& p = *t;
    p.app.song_tempo = 3000;  // not used while the track is on
    // 60.00 in the lead-in, 120.00 from 3072, 60.00 after a minute, 240.00 after another.
    const std::int32_t one_minute = 3072 + 192 * 120;
    use_tempo_track(p, {tempo(6000, 0), tempo(12000, 3072), tempo(6000, one_minute),
                        tempo(24000, one_minute + 192 * 60)});
    EXPECT_EQ(format_clock(position_to_ms(p, 3072 + 192 * 60)), "0:00:30");
    EXPECT_EQ(format_clock(position_to_ms(p, one_minute)), "0:01:00");
    EXPECT_EQ(format_clock(position_to_ms(p, one_minute + 192 * 30)), "0:01:30");
    EXPECT_EQ(format_clock(position_to_ms(p, one_minute + 192 * 60 + 192 * 240)), "0:03:00");

    // The tempo in force at 3072 may come from a record before it.
    use_tempo_track(p, {tempo(6000, 0), tempo(24000, 1000), tempo(12000, 3072 + 192 * 240)});
    EXPECT_EQ(format_clock(position_to_ms(p, 3072 + 192 * 240)), "0:01:00");
    EXPECT_EQ(format_clock(position_to_ms(p, 3072 + 192 * 360)), "0:02:00");

    // An empty tempo track runs at 120.00.
    use_tempo_track(p, {});
    EXPECT_EQ(format_clock(position_to_ms(p, one_minute)), "0:01:00");
}

TEST(Position, EveryEleventhClockCallIsSkippedOnlyWhileRunning) {
    testing::test_program t;
    program& p = *t;
    for (int i = 1; i <= 11; ++i) EXPECT_TRUE(clock_text(p, 3072).has_value()) << i;
    p.d.stopped = 0;
    for (int i = 12; i <= 33; ++i) {
        auto text = clock_text(p, 3072 + 192 * 120);
        EXPECT_EQ(text.has_value(), i % 11 != 0) << i;
        if (text) {
            EXPECT_EQ(*text, "0:01:00");
        }
    }
    EXPECT_EQ(clock_text(p, -100).value_or(""), "0:00:00");
}

}  // namespace
}  // namespace kestrune
