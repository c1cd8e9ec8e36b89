#include "song/position.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "song/event_store.h"
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

struct Position : ::testing::Test {
    testing::test_program t;
    program& p = *t;
};

using texts = std::vector<std::pair<std::int32_t, std::string>>;

// position_text at each position, or the clock at it when `clock` is set.
void expect_texts(program& p, const texts& want, bool clock = false) {
    for (const auto& [pos, text] : want)
        EXPECT_EQ(clock ? format_clock(position_to_ms(p, pos)) : position_text(p, pos), text)
            << pos;
}

TEST_F(Position, SignatureAndTempoAtLeaveARecordAtPToTheEngine) {
    use_signature_track(p, {sig(3, 4, 3072), sig(4, 4, 4224), sig(6, 8, 6528)});
    event_store s = p.store();
    ref32 first = p.d.signature_track.first;
    EXPECT_EQ(signature_at(s, first, 0), first);  // before the first record
    for (auto [at, found] :
         {std::pair{3072, 3072}, {4223, 3072}, {4224, 4224}, {6527, 4224}, {0xFF000, 6528}})
        EXPECT_EQ(s.position(signature_at(s, first, at)), found) << at;

    // Enough tempo records to span several blocks, so the block phase of the search is used.
    std::vector<midi_event> list;
    for (int i = 0; i < 100; ++i) list.push_back(tempo(6000 + i, 100 + i * 50));
    use_tempo_track(p, list);
    ASSERT_GE(p.d.tempo_chain.blocks, 4);
    auto at = [&](std::int32_t pos) {
        std::int32_t value = 0;
        const ref32 r = tempo_at(p, pos, &value);
        return nums(s.status(r) == st::end ? -1 : s.position(r), value);
    };
    // The record exactly at p is not yet in force.
    EXPECT_EQ(at(100 + 70 * 50), nums(100 + 70 * 50, 6069));
    EXPECT_EQ(at(100 + 70 * 50 + 1), nums(100 + 71 * 50, 6070));
    EXPECT_EQ(at(100 + 32 * 50), nums(100 + 32 * 50, 6031));  // first record of the second block
    EXPECT_EQ(at(99), nums(100, 12000));                      // nothing before
    EXPECT_EQ(at(0xFF000), nums(-1, 6099));
}

TEST_F(Position, BarOneBeginsAt3072InEverySignature) {
    EXPECT_EQ(
        nums(tempo_increment_for(12000), tempo_increment_for(25000), tempo_increment_for(100)),
        nums(3145, 6553, 26));
    EXPECT_EQ(tempo_text(12000) + tempo_text(9905) + tempo_text(100), "120.00 99.05  1.00");
    EXPECT_EQ(signature_cell_text(4) + signature_cell_text(12), " 412");
    expect_texts(p, {{3072, "   1  1  1  1"},
                     {3072 + 768 * 2 + 192 + 50, "   3  2  2  3"},
                     {0, "  -3  1  1  1"}});
    for (auto [n, d] : {std::pair{5, 8}, {7, 16}, {1, 1}}) {
        set_default_signature(p, n, d);
        EXPECT_EQ(position_text(p, 3072), "   1  1  1  1") << n << "/" << d;
    }
    // A denominator past 64 still has its beat of 768 / d, as the engine counts it.
    set_default_signature(p, 3, 96);
    EXPECT_EQ(position_text(p, 3072 + 24), "   2  1  1  1");
    // The lead-in of 3/4 is five bars and a beat: position 0 is the last beat of bar -5.
    set_default_signature(p, 3, 4);
    expect_texts(p, {{3072 - 1, "   0  3  4 48"}, {0, "  -5  3  1  1"}});
    // Bar numbers go round after 9999.
    set_default_signature(p, 1, 32);  // a bar of 24 ticks
    expect_texts(p, {{3072 + 24 * 9998, "9999  1  1  1"},
                     {3072 + 24 * 12344 + 5, "2345  1  1  6"},
                     {0, "-127  1  1  1"}});

    // Two bars of 3/4, three of 4/4, then 6/8; before the first record the lead-in runs in the
    // first signature.
    use_signature_track(p, {sig(3, 4, 3072), sig(4, 4, 4224), sig(6, 8, 6528)});
    expect_texts(p, {{4223, "   2  3  4 48"},
                     {4224 + 768 + 192 + 50, "   4  2  2  3"},
                     {6528 + 576 + 96 + 10, "   7  2  1 11"},
                     {3072 - 576, "   0  1  1  1"}});
    EXPECT_EQ(bar_text(p, 6528), "   6");
    // The groove unit, and the simple bar display of ticks in the beat.
    use_signature_track(p, {sig(4, 4, 3072)});
    p.app.edit_grid = 24;
    EXPECT_EQ(position_text(p, 3072 + 192 + 24 * 3 + 5), "   1  2  4  6");
    p.app.simple_bardisplay = true;
    EXPECT_EQ(position_text(p, 3072 + 192 + 24 * 3 + 5), "   1  2   78 ");
}

TEST_F(Position, LengthTextCountsFromZero) {
    EXPECT_EQ(length_text(p, 0, 3072), "   0  0  0  0");
    EXPECT_EQ(length_text(p, 768 + 192 + 53, 3072), "   1  1  1  5");
    use_signature_track(p, {sig(3, 4, 3072), sig(4, 4, 4224)});
    EXPECT_EQ(length_text(p, 1152 + 768 + 1, 3072), "   3  0  0  1");
    EXPECT_EQ(length_text(p, 576, 4224), "   0  3  0  0");
    p.app.simple_bardisplay = true;
    EXPECT_EQ(length_text(p, 576 + 100, 3072), "   1  0  100 ");
}

TEST_F(Position, ClockFollowsTheSongTempoOrTheTempoTrack) {
    // The lead-in reads as zero.
    expect_texts(p, {{3072 + 192 * 120 * 61 + 192 * 2 * 5, "1:01:05"}, {0, "0:00:00"}}, true);
    // At 1.00 a tick lasts 375 ms: ten hours are 96000 ticks.
    p.app.song_tempo = 100;
    expect_texts(p, {{3072 + 95998, "9:59:59"}, {3072 + 96000, "?:??:??"}}, true);

    // 60.00 in the lead-in, 120.00 from 3072, 60.00 after a minute, 240.00 after another; the
    // song tempo is not used while the track is on.
    const std::int32_t one_minute = 3072 + 192 * 120;
    use_tempo_track(p, {tempo(6000, 0), tempo(12000, 3072), tempo(6000, one_minute),
                        tempo(24000, one_minute + 192 * 60)});
    expect_texts(p,
                 {{3072 + 192 * 60, "0:00:30"},
                  {one_minute + 192 * 30, "0:01:30"},
                  {one_minute + 192 * 60 + 192 * 240, "0:03:00"}},
                 true);
    // The tempo in force at 3072 may come from a record before it.
    use_tempo_track(p, {tempo(6000, 0), tempo(24000, 1000), tempo(12000, 3072 + 192 * 240)});
    expect_texts(p, {{3072 + 192 * 240, "0:01:00"}, {3072 + 192 * 360, "0:02:00"}}, true);
    // An empty tempo track runs at 120.00.
    use_tempo_track(p, {});
    expect_texts(p, {{one_minute, "0:01:00"}}, true);
}

TEST_F(Position, EveryEleventhClockCallIsSkippedOnlyWhileRunning) {
    for (int i = 1; i <= 11; ++i) EXPECT_TRUE(clock_text(p, 3072).has_value()) << i;
    p.d.stopped = 0;
    for (int i = 12; i <= 33; ++i)
        EXPECT_EQ(clock_text(p, 3072 + 192 * 120).value_or("skipped"),
                  i % 11 != 0 ? "0:01:00" : "skipped")
            << i;
    EXPECT_EQ(clock_text(p, -100).value_or(""), "0:00:00");
}

}  // namespace
}  // namespace kestrune
