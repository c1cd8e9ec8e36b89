#include "mixer/mixer_model.h"

#include <gtest/gtest.h>

#include "core/command_ids.h"
#include "core/command_table.h"
#include "mixer/mixer_commands.h"
#include "song/locate.h"
#include "song/song_start.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;
using wire = std::vector<std::vector<int>>;

class Mixer : public ::testing::Test {
  protected:
    Mixer() {
        t->reset_mixer();
        p.app.mixer.shown_port = 1;
        open_mixer(p);
    }
    // What reached port B since the last look.
    wire sent() {
        t.run_ms(1);
        wire w = sent_bytes(t.midi, 1);
        t.midi.clear();
        return w;
    }
    // Plays these events from the song's start on port B, channels as recorded, ten ticks on.
    void play_on_port_b(const records& events) {
        add_sorted(p, 0, 0, events);
        p.slot(0, 0).port = 1;
        p.slot(0, 0).channel = 16;
        locate(p, song_start);
        p.d.stopped = 0;
        t.run_ms(ms_of(10));
    }
    test_program t;
    program& p = *t;
    mixer_port& m = p.d.mixer[1];
};

TEST_F(Mixer, NothingGoesOutBeforeAMoveAFaderAtOnceValueFieldsOnTheNextQuietTick) {
    EXPECT_EQ(sent(), wire{});
    drag_fader(p, 2, 90, {});
    EXPECT_EQ(sent(), (wire{{0xB2, 7, 90}}));
    // A value field waits for the mixer's tick with the buttons up.
    set_mixer_value(p, mixer_control::program, 0, 5);
    set_mixer_value(p, mixer_control::reverb, 3, 200);
    p.d.mixer_send_port = -1;
    EXPECT_EQ(sent(), wire{});
    mixer_timer(p, true, 0);
    EXPECT_EQ(sent(), wire{});
    mixer_timer(p, false, 0);
    EXPECT_EQ(sent(), (wire{{0xC0, 5}, {0xB3, 91, 127}}));
    // The same value again still goes out: the user's move is the engine's to send.
    set_mixer_value(p, mixer_control::program, 0, 5);
    mixer_timer(p, false, 0);
    EXPECT_EQ(sent(), (wire{{0xC0, 5}}));
}

TEST_F(Mixer, GroupedFadersKeepTheirShapeAtTheEnds) {
    m.group[0] = m.group[1] = 1;
    m.fader_view[0] = 120;
    m.fader_view[1] = 100;
    begin_fader_drag(p);
    drag_fader(p, 1, 120, {});
    EXPECT_EQ(
        nums(m.fader_view[0], m.group_offset[0], m.fader_view[1], m.fader_play[0], m.fader_view[2]),
        nums(127, 13, 120, 127, 100));
    drag_fader(p, 1, 100, {});
    EXPECT_EQ(nums(m.fader_view[0], m.group_offset[0], m.fader_view[1]), nums(120, 0, 100));
    // Shift moves one grouped fader alone.
    drag_fader(p, 1, 90, {.shift = true});
    EXPECT_EQ(nums(m.fader_view[0], m.fader_view[1]), nums(120, 90));
    // Alt moves all sixteen and forgets the offsets; Ctrl sets 100.
    drag_fader(p, 1, 127, {});
    drag_fader(p, 5, 90, {.alt = true});
    EXPECT_EQ(nums(m.fader_view[0], m.group_offset[0], m.fader_view[1], m.fader_view[5],
                   m.fader_view[15]),
              nums(117, 0, 117, 90, 90));
    drag_fader(p, 0, 3, {.ctrl = true});
    EXPECT_EQ(nums(m.fader_view[0], m.fader_view[1], m.fader_view[5]), nums(100, 100, 90));
}

TEST_F(Mixer, PanFollowsTheAngleAndCtrlCentres) {
    // Up, right, down, lower left, and the centre that gives nothing.
    EXPECT_EQ(nums(pan_at(0, -10), pan_at(10, 0), pan_at(0, 10), pan_at(-10, 10), pan_at(10, 8),
                   pan_at(0, 0)),
              nums(63, 108, 0, 0, 127, -1));
    set_pan(p, 4, pan_at(-10, 0));
    EXPECT_EQ(sent(), (wire{{0xB4, 10, 18}}));
    EXPECT_EQ(nums(stepped_mixer_value(p, mixer_control::pan, 3, 1, {.ctrl = true}),
                   stepped_mixer_value(p, mixer_control::chorus, 3, 1, {.ctrl = true}),
                   stepped_mixer_value(p, mixer_control::program, 3, 1, {.ctrl = true}),
                   stepped_mixer_value(p, mixer_control::bank, 16383, 1, {.shift = true}),
                   stepped_mixer_value(p, mixer_control::bank, 5, 1, {.shift = true})),
              nums(64, 64, 4, 16383, 133));
    // Define gives the faders any controller: 91 is the reverb.
    command_table table;
    add_mixer_commands(table);
    EXPECT_EQ(run_command(p, *table.find(cmd::define_mixer_control), {{91}}), outcome::done);
    EXPECT_EQ(p.d.mixer_define_controller, 91);
}

TEST_F(Mixer, RecallSendsTheWholeSnapshotAtOnce) {
    m.fader_view[3] = 40;
    m.mute[3] = 1;
    m.group[7] = 1;
    m.group_offset[7] = 9;
    choose_snapshot(p, 9);  // held to the fourth
    store_snapshot(p);
    // Another port, the last, shows and takes the snapshot: it is not tied to port B.
    show_mixer_port(p, 3);
    recall_snapshot(p);
    const mixer_port& c = p.d.mixer[3];
    EXPECT_EQ(nums(c.fader_view[3], c.fader_play[3], c.mute[3], c.group[7], c.group_offset[7],
                   p.d.mixer_send_port, p.app.mixer.snapshot_slot),
              nums(40, 40, 1, 1, 9, 3, 3));
    // An empty snapshot: every control of all 16 channels, fader 100 and pan 64 among them.
    choose_snapshot(p, 0);
    recall_snapshot(p);
    t.run_ms(1);
    const wire w = sent_bytes(t.midi, 3);
    ASSERT_EQ(w.size(), 16u * 7);
    EXPECT_EQ((wire{w[0], w[1], w[6], w[111]}),
              (wire{{0xB0, 7, 100}, {0xB0, 10, 64}, {0xC0, 0}, {0xCF, 0}}));
    EXPECT_EQ(c.mute[3], 0);
}

TEST_F(Mixer, SoloAndMuteEndTheNotesTheySilenceAndTheNextNoteSounds) {
    play_on_port_b({ev(0x90, 60, 100, song_start), ev(0x91, 62, 100, song_start),
                    ev(0x91, 64, 100, song_start + 96), ev(0x90, 65, 100, song_start + 96)});
    t.midi.clear();
    toggle_mute(p, 1);
    EXPECT_EQ(sent(), (wire{{0x80, 60, 64}, {0x81, 62, 64}}));
    t.run_ms(ms_of(96));
    EXPECT_EQ(sent(), (wire{{0x90, 65, 100}}));
    // Solo is exclusive with the left button, added to with Ctrl or the right one.
    toggle_solo(p, 3, false);
    toggle_solo(p, 4, false);
    EXPECT_EQ(nums(m.solo[3], m.solo[4], m.any_solo), nums(0, 1, 1));
    toggle_solo(p, 3, true);
    toggle_solo(p, 4, false);  // a plain click on a soloed channel turns that one alone off
    toggle_solo(p, 3, true);
    EXPECT_EQ(nums(m.solo[3], m.solo[4], m.any_solo), nums(0, 0, 0));
}

TEST_F(Mixer, TheTimerLightsLampsAndTheViewFollowsWhatThePortPlayed) {
    play_on_port_b({ev(0x92, 60, 100, song_start), ev(0xB2, 93, 55, song_start)});
    mixer_activity& a = p.d.mixer_lamps[1];
    mixer_timer(p, false, 1000);
    EXPECT_EQ(nums(a.lamp_on[2], m.chorus_view[2], p.d.mixer_changed), nums(1, 55, 0));
    mixer_timer(p, false, 1249);
    EXPECT_EQ(a.lamp_on[2], 1);
    mixer_timer(p, false, 1250);
    EXPECT_EQ(a.lamp_on[2], 0);
}

}  // namespace
}  // namespace kestrune
