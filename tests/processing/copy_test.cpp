#include "core/command_ids.h"
#include "song/patterns.h"
#include "tests/processing/track_command_fixture.h"

namespace kestrune {
namespace {

using namespace testing;

class CopyCommands : public TrackCommand {};

TEST_F(CopyCommands, MergeFreezesBothTracksAndEmptiesTheSource) {
    const records dest = {ev(0x93, 50, 100, bar1), ev(0xAF, 50, 30, bar1 + 5),
                          ev(0x83, 50, 0, bar1 + 10)};
    track_slot& d = give_track(p, 0, 1, dest);
    d.channel = 16;
    d.port = 1;
    d.transpose = 12;
    records src = {ev(0x90, 60, 100, bar1), ev(0x80, 60, 0, bar1 + 5)};
    const records sysex = long_event(st::sysex, bar1 + 2, sysex_payload(3));
    src.insert(src.begin() + 1, sysex.begin(), sysex.end());
    track_slot& s = fill(src);
    s.channel = 2;
    s.transpose = 12;
    t.screen.answers = {msg_answer::cancel};
    EXPECT_EQ(run(cmd::copy_track, {{"Destination Track", 1}}), outcome::cancelled);
    EXPECT_TRUE(holds(read_track(p, 0, 1), dest));

    EXPECT_EQ(run(cmd::copy_track, {{"Destination Track", 1}}), outcome::done);
    // On equal positions the destination's event comes first; the sysex keeps its status.
    records merged = {ev(0x93, 62, 100, bar1), ev(0x92, 72, 100, bar1), ev(0xAF, 62, 30, bar1 + 5),
                      ev(0x82, 72, 0, bar1 + 5), ev(0x83, 62, 0, bar1 + 10)};
    merged.insert(merged.begin() + 2, sysex.begin(), sysex.end());
    EXPECT_TRUE(holds(read_track(p, 0, 1), merged));
    EXPECT_EQ(nums(d.channel, d.port, d.transpose, s.in_use, s.transpose), nums(16, 0, 0, 0, 0));

    EXPECT_EQ(run(cmd::copy_track, {{"Source Track", 1}}), outcome::refused);
    EXPECT_EQ(t.screen.last_text(), "Can't copy to source track!");
}

TEST_F(CopyCommands, TrackSegmentCopiesEndToEndOverAClearedSpanAndCanBeUndone) {
    fill({ev(0x90, 60, 100, bar1 + 10), ev(0xB0, 7, 90, bar1 + 50), ev(0x80, 60, 0, bar1 + 900)});
    const records dest = {ev(0x90, 50, 100, bar1 + 1000), ev(0xB1, 1, 1, bar1 + 1600),
                          ev(0x80, 50, 0, bar1 + 2000), ev(0xB1, 1, 2, bar1 + 5000)};
    give_track(p, 0, 1, dest);
    p.d.left_locator = bar1;
    p.d.right_locator = bar1 + 768;
    const field_settings twice = {
        {"Destination Track", 1}, {"Target Position", bar1 + 1536}, {"Copies", 2}, {"Replace", 1}};
    EXPECT_EQ(run(cmd::copy_track_segment, twice), outcome::done);
    // The note hanging over the target ends before it; each copy's note ends at its right - 1.
    EXPECT_TRUE(holds(
        read_track(p, 0, 1),
        {ev(0x90, 50, 100, bar1 + 1000), ev(0x80, 50, 0, bar1 + 1535),
         ev(0x90, 60, 100, bar1 + 1546), ev(0xB0, 7, 90, bar1 + 1586), ev(0x80, 60, 0, bar1 + 2303),
         ev(0x90, 60, 100, bar1 + 2314), ev(0xB0, 7, 90, bar1 + 2354), ev(0x80, 60, 0, bar1 + 3071),
         ev(0xB1, 1, 2, bar1 + 5000)}));
    EXPECT_EQ(p.slot(take_pattern, 1).in_use, 0);
    p.d.current_track = 1;
    EXPECT_EQ(run(cmd::undo), outcome::done);
    EXPECT_TRUE(holds(read_track(p, 0, 1), dest));
    // The right locator before the left one is refused; on the same tick it is not.
    p.d.current_track = 0;
    p.d.right_locator = bar1 - 1;
    EXPECT_EQ(run(cmd::copy_track_segment, twice), outcome::refused);
    EXPECT_EQ(t.screen.last_text(), "Left locator can't be\nbigger than Right locator!");
    EXPECT_TRUE(holds(read_track(p, 0, 1), dest));
    p.d.right_locator = bar1;
    EXPECT_EQ(run(cmd::copy_track_segment, {{"Destination Track", 1}, {"Replace", 0}}),
              outcome::done);
    EXPECT_TRUE(holds(read_track(p, 0, 1), dest));
    p.d.right_locator = bar1 + 768;

    p.d.current_track = 0;
    t.screen.answers = {msg_answer::no};
    EXPECT_EQ(run(cmd::copy_track_segment, {{"Target Position", bar1 + 100}}), outcome::cancelled);
    EXPECT_EQ(t.screen.last_text(), "Segment overlaps! Do you want this?");

    // Twelve blocks cannot hold three times the two copies' blocks and ten more: the message,
    // and the destination stays as it was.
    track_slot& other = open_track(p, 2, 0);
    for (std::int32_t at = bar1; p.d.free_blocks > 12; at += block_slots)
        append(p, other, notes(block_slots, at, 1));
    EXPECT_EQ(run(cmd::copy_track_segment, twice), outcome::refused);
    EXPECT_EQ(t.screen.last_text(), msg_not_enough_memory);
    EXPECT_TRUE(holds(read_track(p, 0, 1), dest));
}

TEST_F(CopyCommands,
       PatternSegmentCopiesEveryTrackAfterTheQuestionAndReachesTheLastPositionExactly) {
    const records first = {ev(0x90, 60, 100, bar1 + 100), ev(0x80, 60, 0, bar1 + 900)};
    const records second = {ev(0xB3, 7, 90, bar1 + 10)};
    fill(first);
    give_track(p, 0, 3, second);
    p.d.current_track = 3;
    p.d.left_locator = bar1;
    p.d.right_locator = bar1 + 768;
    // Two copies of 768 ticks that end exactly at the last position: the last note-off of the
    // second copy, cut at the right locator - 1, lands on 0xFEFFF.
    const std::int32_t target = last_position - 2 * 768;
    const field_settings copies = {
        {"Destination Pattern", 1}, {"Target Position", target}, {"Copies", 2}};
    t.screen.answers = {msg_answer::no};
    EXPECT_EQ(run(cmd::copy_pattern_segment, copies), outcome::cancelled);
    EXPECT_EQ(t.screen.last_text(), "This operation can't be undone!\nContinue?");
    EXPECT_EQ(nums(p.slot(1, 0).in_use, p.slot(1, 3).in_use, p.d.current_pattern), nums(0, 0, 0));

    EXPECT_EQ(run(cmd::copy_pattern_segment, copies), outcome::done);
    EXPECT_TRUE(
        holds(read_track(p, 1, 0), {ev(0x90, 60, 100, target + 100), ev(0x80, 60, 0, target + 767),
                                    ev(0x90, 60, 100, target + 868), ev(0x80, 60, 0, 0xFEFFF)}));
    EXPECT_TRUE(
        holds(read_track(p, 1, 3), {ev(0xB3, 7, 90, target + 10), ev(0xB3, 7, 90, target + 778)}));
    EXPECT_EQ(name_of(p.slot(1, 3).name), " Segment  ");
    EXPECT_EQ(nums(p.d.current_pattern, p.d.current_track, p.undo.available), nums(1, 3, 0));
    EXPECT_TRUE(holds(read_track(p, 0, 0), first));

    // One tick further and the copies would pass the last position: refused before anything.
    const records laid = read_track(p, 1, 0);
    EXPECT_EQ(run(cmd::copy_pattern_segment, {{"Source Pattern", 0},
                                              {"Destination Pattern", 1},
                                              {"Target Position", target + 1},
                                              {"Copies", 2}}),
              outcome::refused);
    EXPECT_EQ(t.screen.last_text(), "That's to much!");
    EXPECT_TRUE(holds(read_track(p, 1, 0), laid));
}

TEST_F(CopyCommands, MixdownMergesFromTheTopIntoTheLowestUsedTrack) {
    p.d.current_pattern = 1;
    track_slot& alone = give_track(p, 1, 4, {ev(0xC0, 5, 0, bar1)});
    put_name(alone.name, "Alone");
    EXPECT_EQ(run(cmd::mixdown), outcome::done);
    EXPECT_EQ(name_of(alone.name), "Alone     ");

    p.d.current_pattern = 0;
    track_slot& low = give_track(p, 0, 2, {ev(0xC0, 5, 0, bar1 + 10)});
    track_slot& mid = give_track(p, 0, 5, {ev(0xB0, 7, 90, bar1)});
    track_slot& top =
        give_track(p, 0, 9, {ev(0x90, 60, 100, bar1 + 10), ev(0x80, 60, 0, bar1 + 20)});
    low.channel = top.channel = 16;
    mid.channel = 3;
    low.quantize = 6;
    low.loop_length = loop_length_base + 768;
    EXPECT_EQ(run(cmd::mixdown), outcome::done);
    EXPECT_TRUE(
        holds(read_track(p, 0, 2), {ev(0xB3, 7, 90, bar1), ev(0xC0, 5, 0, bar1 + 10),
                                    ev(0x90, 60, 100, bar1 + 10), ev(0x80, 60, 0, bar1 + 20)}));
    EXPECT_EQ(nums(name_of(low.name) == "mixdown   ", low.quantize, low.loop_length, mid.in_use,
                   top.in_use),
              nums(1, 0, no_loop, 0, 0));
}

TEST_F(CopyCommands, RemixSpreadsChannelsAndKeysOverFreeTracksAndSaysWhatIsLeft) {
    track_slot& src =
        fill({ev(0x90, 60, 100, bar1), ev(0xB2, 7, 90, bar1 + 5), ev(0x80, 60, 0, bar1 + 10)});
    put_name(src.name, "Piano");
    give_track(p, 0, 1, {ev(0xC0, 1, 0, bar1)});
    EXPECT_EQ(run(cmd::remix_by_channel), outcome::done);
    EXPECT_TRUE(holds(read_track(p, 0, 2), {ev(0x90, 60, 100, bar1), ev(0x80, 60, 0, bar1 + 10)}));
    EXPECT_TRUE(holds(read_track(p, 0, 3), {ev(0xB2, 7, 90, bar1 + 5)}));
    EXPECT_EQ(nums(p.slot(0, 2).channel, p.slot(0, 3).channel, p.slot(0, 4).in_use, src.in_use),
              nums(0, 2, 0, 0));
    EXPECT_EQ(name_of(p.slot(0, 3).name), "Piano    3");
    EXPECT_EQ(t.screen.last_text(), "Source track deleted!");

    // One free track: the lowest key goes there; channel events go with their first byte's key.
    for (int tr = 1; tr < tracks_per_pattern - 1; ++tr)
        if (!p.slot(0, tr).in_use) give_track(p, 0, tr, {ev(0xC0, 1, 0, bar1)});
    const records rest = {ev(0x90, 62, 100, bar1 + 1), ev(0xA0, 62, 30, bar1 + 2),
                          ev(0x80, 62, 0, bar1 + 6), ev(0xB0, 7, 90, bar1 + 7)};
    fill({ev(0x90, 60, 100, bar1), rest[0], rest[1], ev(0xA0, 60, 9, bar1 + 3),
          ev(0xE0, 60, 64, bar1 + 4), ev(0x80, 60, 0, bar1 + 5), rest[2], rest[3]});
    EXPECT_EQ(run(cmd::remix_by_note), outcome::done);
    EXPECT_TRUE(
        holds(read_track(p, 0, 31), {ev(0x90, 60, 100, bar1), ev(0xA0, 60, 9, bar1 + 3),
                                     ev(0xE0, 60, 64, bar1 + 4), ev(0x80, 60, 0, bar1 + 5)}));
    EXPECT_TRUE(holds(track(), rest));
    EXPECT_EQ(t.screen.last_text(),
              "Not enough tracks for all\ndifferent pitches to be extracted!");
}

}  // namespace
}  // namespace kestrune
