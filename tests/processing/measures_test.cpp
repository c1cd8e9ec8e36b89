#include "core/command_ids.h"
#include "tests/processing/track_command_fixture.h"

namespace kestrune {
namespace {

using namespace testing;

class Measures : public TrackCommand {};

constexpr std::int32_t bar = 768;

TEST_F(Measures, InsertOnTheCurrentTrackCutsCrossingNotesAndDeleteClosesTheGapAgain) {
    const std::int32_t left = bar1 + bar, right = left + 2 * bar;
    const records before = {ev(0x90, 60, 100, bar1 + 100), ev(0xB0, 7, 90, left),
                            ev(0x90, 64, 100, left),       ev(0x80, 60, 0, bar1 + 900),
                            ev(0x80, 64, 0, bar1 + 950),   ev(0x90, 62, 100, bar1 + 1000),
                            ev(0x80, 62, 0, bar1 + 1100)};
    fill(before);
    p.d.left_locator = left;
    p.d.right_locator = right;
    const field_settings current = {{"Tracks", 0}, {"Tempo Track", 0}, {"Signature Track", 0}};
    EXPECT_EQ(run(cmd::insert_measures, current), outcome::done);
    const records cut = {ev(0x90, 60, 100, bar1 + 100), ev(0x80, 60, 0, left - 1)};
    records inserted = cut;
    // A note starting on the left locator is not cut: it moves whole.
    inserted.insert(inserted.end(),
                    {ev(0xB0, 7, 90, right), ev(0x90, 64, 100, right), ev(0x80, 64, 0, bar1 + 2486),
                     ev(0x90, 62, 100, bar1 + 2536), ev(0x80, 62, 0, bar1 + 2636)});
    EXPECT_TRUE(holds(track(), inserted));
    EXPECT_EQ(p.undo.available, true);

    // The event exactly at the right locator stays and moves to the left one.
    EXPECT_EQ(run(cmd::delete_measures, current), outcome::done);
    records closed = cut;
    closed.insert(closed.end(), before.begin() + 1, before.begin() + 3);
    closed.insert(closed.end(), before.begin() + 4, before.end());
    EXPECT_TRUE(holds(track(), closed));

    p.d.right_locator = left + last_position;
    EXPECT_EQ(run(cmd::insert_measures, current), outcome::refused);
    EXPECT_EQ(t.screen.last_text(), "Too many measures!");
    EXPECT_TRUE(holds(track(), closed));
}

TEST_F(Measures, TheListsMoveTempoByTheSpanAndSignaturesInWholeBars) {
    const std::int32_t bar9 = bar1 + 8 * bar, bar10 = bar1 + 9 * bar;
    use_tempo_track(p, {tempo(12000, 0), tempo(9000, bar9), tempo(10000, bar10)});
    use_signature_track(p, {ev(0xF2, 4, 4, bar1), ev(0xF2, 3, 4, bar10)});
    give_track(p, 0, 5, {ev(0xB0, 7, 90, bar10)});
    p.d.left_locator = bar9;
    p.d.right_locator = bar9 + 2 * bar;
    const auto list = [&](const chain_cursor& c) { return read_chain(p.store(), c.first); };

    t.screen.answers = {msg_answer::no};
    EXPECT_EQ(run(cmd::insert_measures), outcome::cancelled);
    EXPECT_EQ(list(p.d.tempo_chain)[1].position(), bar9);

    // Bars counted from the left locator: 4/4, then two of 3/4 pass the right one; each counts
    // with the bar at the left locator.
    EXPECT_EQ(run(cmd::insert_measures), outcome::done);
    EXPECT_EQ(t.screen.last_text(), "Time Shift of Signature Events has occurred!");
    EXPECT_TRUE(holds(list(p.d.tempo_chain), {tempo(12000, 0), tempo(9000, bar9 + 2 * bar),
                                              tempo(10000, bar10 + 2 * bar)}));
    EXPECT_TRUE(
        holds(list(p.d.signature_track), {ev(0xF2, 4, 4, bar1), ev(0xF2, 3, 4, bar10 + 3 * bar)}));
    EXPECT_TRUE(holds(read_track(p, 0, 5), {ev(0xB0, 7, 90, bar10 + 2 * bar)}));

    // A tempo event at the left locator goes, one at the right one moves there; a signature
    // brought onto the one before it takes its place.
    t.screen.messages.clear();
    p.d.right_locator = bar10;
    use_tempo_track(p, {tempo(12000, 0), tempo(9000, bar9), tempo(10000, bar10)});
    use_signature_track(p, {ev(0xF2, 4, 4, bar1), ev(0xF2, 4, 4, bar9), ev(0xF2, 3, 4, bar10)});
    EXPECT_EQ(run(cmd::delete_measures), outcome::done);
    EXPECT_TRUE(holds(list(p.d.tempo_chain), {tempo(12000, 0), tempo(10000, bar9)}));
    EXPECT_TRUE(holds(list(p.d.signature_track), {ev(0xF2, 4, 4, bar1), ev(0xF2, 3, 4, bar9)}));
    EXPECT_EQ(t.screen.messages.size(), 1U);  // the question only

    // From the signature editor the lists alone move, whatever the tracks choice says.
    use_signature_track(p, {ev(0xF2, 4, 4, bar1), ev(0xF2, 3, 4, bar10)});
    const records track5 = read_track(p, 0, 5);
    p.editor.kind = editor_kind::signature_list;
    p.d.main_screen = 0;
    EXPECT_EQ(run(cmd::insert_measures, {{"Tracks", 0}, {"Tempo Track", 0}}), outcome::done);
    EXPECT_TRUE(
        holds(list(p.d.signature_track), {ev(0xF2, 4, 4, bar1), ev(0xF2, 3, 4, bar10 + bar)}));
    EXPECT_TRUE(holds(list(p.d.tempo_chain), {tempo(12000, 0), tempo(10000, bar9)}));
    EXPECT_TRUE(holds(read_track(p, 0, 5), track5));
}

}  // namespace
}  // namespace kestrune
