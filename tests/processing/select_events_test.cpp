#include "processing/select_events.h"

#include "tests/processing/track_command_fixture.h"

namespace kestrune {
namespace {

using namespace testing;

constexpr std::int32_t bar = bar1;

class SelectEvents : public TrackCommand {
  protected:
    // Runs the pass on pattern 0 track 0 over [from, to) and gives what the track holds.
    records run(const event_condition& c, std::int32_t from = 0, std::int32_t to = last_position) {
        {
            track_edit g(p, 0, 0);
            EXPECT_TRUE(g.begin());
            EXPECT_TRUE(filter_events(g, c, from, to));
        }
        EXPECT_EQ(check_pool(p), "");
        return track();
    }
};

TEST_F(SelectEvents, NoteLengthsAreComparedStrictlyAndANoteWithoutEndMeetsEveryLengthTest) {
    // Notes of 10 and 11 ticks, a note that never ends, and an orphan note-off.
    const records recs = {ev(0x80, 50, 0, bar),        ev(0x90, 60, 100, bar + 100),
                          ev(0x90, 60, 0, bar + 110),  ev(0x90, 61, 100, bar + 200),
                          ev(0x80, 61, 64, bar + 211), ev(0x90, 62, 100, bar + 300)};
    fill(recs);
    // Shorter than 10 selects only the note without end: the 10-tick note stays; the orphan
    // note-off goes, as in every Delete.
    EXPECT_TRUE(holds(run({.mode = select_mode::remove,
                           .type = event_type::note,
                           .length_mode = length_test::shorter,
                           .length = 10}),
                      {ev(0x90, 60, 100, bar + 100), ev(0x90, 60, 0, bar + 110),
                       ev(0x90, 61, 100, bar + 200), ev(0x80, 61, 64, bar + 211)}));
    fill(recs);
    EXPECT_TRUE(holds(
        run({.mode = select_mode::keep,
             .type = event_type::note,
             .length_mode = length_test::longer,
             .length = 10}),
        {ev(0x90, 61, 100, bar + 200), ev(0x80, 61, 64, bar + 211), ev(0x90, 62, 100, bar + 300)}));
}

TEST_F(SelectEvents, BetweenTheLocatorsDeleteCopiesOnlyNotesAndChannelEventsOutsideAndKeepNothing) {
    records recs = {ev(0x90, 60, 100, bar), ev(0xB0, 7, 90, bar + 10)};
    const records sysex = long_event(st::sysex, bar + 20, sysex_payload(9));
    recs.insert(recs.end(), sysex.begin(), sysex.end());
    // Inside: a note whose end lies outside, a key pressure of 0 and a controller.
    recs.insert(recs.end(), {ev(0x90, 62, 100, bar + 100), ev(0xA0, 62, 0, bar + 120),
                             ev(0xB0, 1, 5, bar + 150), ev(0x80, 60, 64, bar + 160),
                             ev(0x80, 62, 64, bar + 300)});
    fill(recs);
    EXPECT_TRUE(
        holds(run({.mode = select_mode::remove}, bar + 100, bar + 200),
              {ev(0x90, 60, 100, bar), ev(0xB0, 7, 90, bar + 10), ev(0x80, 60, 64, bar + 160)}));
    fill(recs);
    EXPECT_TRUE(holds(run({.mode = select_mode::keep}, bar + 100, bar + 200),
                      {ev(0x90, 62, 100, bar + 100), ev(0xA0, 62, 0, bar + 120),
                       ev(0xB0, 1, 5, bar + 150), ev(0x80, 62, 64, bar + 300)}));
    // Keep of Sys Ex keeps the whole message and nothing else.
    fill(recs);
    EXPECT_TRUE(holds(run({.mode = select_mode::keep, .type = event_type::sysex}), sysex));
}

}  // namespace
}  // namespace kestrune
