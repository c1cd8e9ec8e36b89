#include "realtime/recording.h"

#include <gtest/gtest.h>

#include "processing/undo.h"
#include "song/event_store.h"
#include "song/patterns.h"
#include "tests/support/chain_checker.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;
using bytes = std::vector<std::uint8_t>;

class Recording : public ::testing::Test {
  protected:
    Recording() { t->d.midi_click = 0; }
    test_program t;
    transport tr{*t};
    recorder rec{*t, tr};

    // Runs the engine up to `pos`, then plays the bytes there.
    void play_at(std::int32_t pos, const bytes& b) {
        while (t->d.position < pos) t.run_ms(0.5);
        t.feed(b);
    }
    // Runs the transport as the window does until the take ends or `pos` is passed.
    void run_while_recording(std::int32_t pos) {
        while (t->d.recording && t->d.position < pos) {
            t.run_ms(1);
            tr.tick(false);
        }
    }
    // Each event of a track as (key, status, position); the pool checked on the way.
    std::vector<std::vector<std::int64_t>> events(int pattern = 0, int track = 0) {
        EXPECT_EQ(check_pool(*t), "");
        std::vector<std::vector<std::int64_t>> v;
        const event_store s = t->store();
        const track_slot& sl = t->slot(pattern, track);
        if (sl.in_use)
            for (ref32 e = sl.first; is_event_status(s.status(e)); e = s.next_event(e))
                v.push_back(nums(s.at(e).data1(), s.status(e), s.position(e)));
        return v;
    }
    using rows = std::vector<std::vector<std::int64_t>>;
};

// Notes played less than 24 ticks early move to the start, their note-offs as far; every note
// still held at the stop gets a note-off of its own there.
TEST_F(Recording, ATakeIntoAnEmptyTrackMovesEarlyNotesToTheStartAndEndsHeldNotes) {
    t->d.punch_on = 1;  // Record takes over from an armed punch
    rec.record_start(record_mode::replace);
    EXPECT_EQ(nums(t->d.position, t->d.punch_on), nums(song_start - 768, 0));  // a bar of count-in
    play_at(song_start - 24, {0x90, 62, 90});
    play_at(song_start - 23, {0x90, 60, 90});
    play_at(song_start - 20, {0x90, 50, 90});
    play_at(song_start - 10, {0x80, 50, 0});
    play_at(song_start - 5, {0x90, 52, 90});  // played after that note-off, early all the same
    play_at(song_start + 128, {0x80, 62, 0});
    tr.pause();  // paused and continued, the take goes on
    tr.pause();
    play_at(song_start + 300, {0x80, 60, 0});
    play_at(song_start + 400, {0xF0, 1, 2, 0xF7});
    play_at(song_start + 428, {0x90, 64, 90});
    play_at(song_start + 478, {0x90, 64, 80});  // the same key again, both held at the stop
    play_at(song_start + 528, {0x90, 66, 90});  // on the stop's tick: its note-off comes after it
    tr.stop();
    // 52 is ended at the stop, then moved with its note.
    const rows take{{62, 0x90, 3048}, {60, 0x90, 3072}, {50, 0x90, 3072}, {52, 0x90, 3072},
                    {50, 0x80, 3082}, {62, 0x80, 3200}, {60, 0x80, 3395}, {1, 0xF0, 3472},
                    {64, 0x90, 3500}, {64, 0x90, 3550}, {64, 0x80, 3599}, {64, 0x80, 3599},
                    {66, 0x90, 3600}, {66, 0x80, 3600}, {52, 0x80, 3604}};
    EXPECT_EQ(events(), take);
    EXPECT_EQ(std::string(t->slot(0, 0).name, 10), recorded_name);
    EXPECT_EQ(t.screen.last_text(), "SYSEX recorded!\n1 chunks");
    // Undo after a take into an empty track empties it again.
    undo_apply(*t);
    EXPECT_EQ(events(), rows{});
}

TEST_F(Recording, OverdubPutsNewEventsFirstAndUndoBringsTheReplacedTrackBack) {
    build_track(*t, 0, 0, {ev(0x90, 50, 80, 3264), ev(0x80, 50, 0, 3400)});
    put_name(t->slot(0, 0).name, "Bass");
    rec.record_start(record_mode::overdub);
    play_at(3264, {0x90, 70, 90});
    play_at(3300, {0x80, 70, 0});
    tr.stop();
    const rows overdubbed{{70, 0x90, 3264}, {50, 0x90, 3264}, {70, 0x80, 3300}, {50, 0x80, 3400}};
    EXPECT_EQ(events(), overdubbed);
    EXPECT_EQ(std::string(t->slot(0, 0).name, 4), "Bass");
    // Replace: the old track goes before the count-in; Undo brings it back, a second Undo redoes.
    rec.record_start(record_mode::replace);
    EXPECT_EQ(t->slot(0, 0).in_use, 0);
    t->slot(0, 0).quantize = 16;
    play_at(3500, {0x90, 40, 90});
    play_at(3600, {});
    tr.stop();
    // Still held at the stop: ended where the take stopped, 3599; then on the sixteenths, 428
    // ticks into the bar to 432, its note-off moved as far.
    const rows replaced{{40, 0x90, 3504}, {40, 0x80, 3603}};
    EXPECT_EQ(events(), replaced);
    undo_apply(*t);
    EXPECT_EQ(events(), overdubbed);
    EXPECT_EQ(t->slot(0, 0).name[undo_mark_index], '!');
    undo_apply(*t);
    EXPECT_EQ(events(), replaced);
    // A sysex still open at the stop: nothing of the take is stored.
    rec.record_start(record_mode::overdub);
    play_at(3100, {0x90, 70, 90});
    play_at(3200, {0xF0, 1, 2, 3});
    tr.stop();
    EXPECT_EQ(t.screen.last_text(), msg_sysex_incomplete);
    EXPECT_EQ(events(), replaced);
}

TEST_F(Recording, PlayWithPunchArmedKeepsOnlyWhatWasPlayedBetweenTheLocators) {
    // The punch takes what starts from the left locator up to the tick before the right one;
    // a note sounding into it ends the tick before.
    build_track(*t, 0, 0,
                {ev(0x90, 40, 80, 3100), ev(0x90, 45, 80, 3120), ev(0x80, 40, 0, 3150),
                 ev(0x90, 41, 80, 3456), ev(0x80, 41, 0, 3550), ev(0x80, 45, 0, 3600),
                 ev(0x90, 43, 80, 3839), ev(0x90, 42, 80, 3840), ev(0x80, 43, 0, 3845),
                 ev(0x80, 42, 0, 4050)});
    t->d.left_locator = 3456;
    t->d.right_locator = 3840;
    t->d.punch_on = 1;
    t->slot(0, 0).mute = 1;  // and stays muted after the punch
    tr.play();
    EXPECT_EQ(nums(t->d.position, t->d.recording), nums(3456 - 768, 1));  // a bar of pre-roll
    play_at(3400, {0x90, 60, 90});  // in the pre-roll: not taken
    play_at(3500, {0x90, 61, 90});
    play_at(3600, {0x80, 61, 0});
    play_at(3700, {0x90, 62, 90});  // held over the right locator: ended there
    run_while_recording(4100);
    const rows punched{{40, 0x90, 3100}, {45, 0x90, 3120}, {40, 0x80, 3150}, {45, 0x80, 3455},
                       {61, 0x90, 3500}, {61, 0x80, 3600}, {62, 0x90, 3700}, {62, 0x80, 3839},
                       {42, 0x90, 3840}, {42, 0x80, 4050}};
    EXPECT_EQ(events(), punched);
    EXPECT_EQ(
        nums(t->d.recording, t->d.punch_on, t->d.punched_in, t->slot(0, 0).mute, t->running()),
        nums(0, 0, 0, 1, 1));
    undo_apply(*t);
    EXPECT_EQ(events()[3], nums(41, 0x90, 3456));
    // With nothing played the range is erased; Undo brings it back.
    t->d.punch_on = 1;
    tr.play();
    run_while_recording(4100);
    const rows erased{{40, 0x90, 3100}, {45, 0x90, 3120}, {40, 0x80, 3150},
                      {45, 0x80, 3455}, {42, 0x90, 3840}, {42, 0x80, 4050}};
    EXPECT_EQ(events(), erased);
    EXPECT_EQ(nums(t->d.recording, t->d.punch_on, t->slot(0, 0).mute), nums(0, 0, 1));
    undo_apply(*t);
    EXPECT_EQ(events()[3], nums(41, 0x90, 3456));
}

// The right locator moved before the left, or onto it, during a punched take: the take ends
// where it stops.
TEST_F(Recording, APunchWhoseRightLocatorWasMovedBeforeTheLeftEndsAtTheStop) {
    for (const int track : {0, 1}) {
        t->d.current_track = static_cast<std::int16_t>(track);
        build_track(*t, 0, track,
                    {ev(0x90, 40, 80, 3100), ev(0x80, 40, 0, 3150), ev(0x90, 41, 80, 3500),
                     ev(0x80, 41, 0, 3550), ev(0x90, 43, 80, 3700), ev(0x80, 43, 0, 3750)});
        t->d.left_locator = 3456;
        t->d.right_locator = 3840;
        t->d.punch_on = 1;
        tr.play();
        play_at(3520, {0x90, 61, 90});
        play_at(3600, {});
        tr.set_right_locator(track == 0 ? 3200 : 3456);
        tr.stop();
        const rows ended{{40, 0x90, 3100}, {40, 0x80, 3150}, {61, 0x90, 3520},
                         {61, 0x80, 3599}, {43, 0x90, 3700}, {43, 0x80, 3750}};
        EXPECT_EQ(events(0, track), ended) << track;
    }
}

TEST_F(Recording, CyclePassesAreQuantizedOnTheTickAndAPassMutedByBIsDropped) {
    dll_data& d = t->d;
    d.left_locator = song_start;
    d.right_locator = song_start + 768;
    d.cycle_on = 1;
    t->slot(0, 0).channel = 0;
    t->slot(0, 0).quantize = 16;
    rec.record_start(record_mode::overdub);
    for (int pass = 0; pass < 4; ++pass) {
        play_at(song_start + 100, {0x90, static_cast<std::uint8_t>(60 + pass), 90});
        play_at(song_start + 200, {0x80, static_cast<std::uint8_t>(60 + pass), 0});
        while (d.position >= song_start + 200) t.run_ms(1);
        if (pass == 0) rec.tick();  // the later passes are closed without a tick to see them
    }
    EXPECT_EQ(d.cycle_passes, 4);
    EXPECT_EQ(t->store().position(t->slot(take_pattern, 0).first), song_start + 96);
    // B twice: the last pass, then the one before it, each silenced in the working group.
    rec.mute_last_pass();
    EXPECT_EQ(nums(d.silence_pattern, d.silence_track), nums(2, 3));
    rec.mute_last_pass();
    EXPECT_EQ(nums(d.silence_pattern, d.silence_track), nums(2, 2));
    tr.stop();
    // Each pass keeps its number in the channel nibble; the one the tick did not see is
    // quantized at the stop.
    EXPECT_EQ(events(),
              (rows{{61, 0x91, 3168}, {60, 0x90, 3168}, {61, 0x81, 3268}, {60, 0x80, 3268}}));
    // A track that plays as recorded keeps the channels its passes were played on.
    t->slot(0, 0).channel = 16;
    rec.record_start(record_mode::overdub);
    play_at(song_start + 100, {0x93, 64, 90});
    play_at(song_start + 200, {0x83, 64, 0});
    while (d.position >= song_start + 200) t.run_ms(1);
    tr.stop();
    EXPECT_EQ(events()[0], nums(64, 0x93, 3168));  // at one position the new comes first
}

// The count-in is a bar of the meter before the step, two with the preference, never above 3072;
// a cycle take counts in before the left locator, a song-mode one with a part-bar pickup too.
TEST_F(Recording, CountInsOfLongMetersAndOfACycleTakeInSongMode) {
    dll_data& d = t->d;
    set_default_signature(*t, 3, 4);
    d.active_signature = d.signature_chain;
    tr.two_bar_count_in = true;
    rec.record_start(record_mode::overdub);
    EXPECT_EQ(d.position, song_start - 2 * 576);
    tr.stop();
    set_default_signature(*t, 9, 4);  // two bars of 9/4 are 3456 ticks: held to 3072
    d.cycle_on = 1;
    d.left_locator = 4 * song_start;
    d.right_locator = 4 * song_start + 1728;
    rec.record_start(record_mode::overdub);
    EXPECT_EQ(d.position, 3 * song_start);
    tr.stop();
    // Song mode, step 1 from 6144 with half a bar of pickup, cycling a bar inside the step.
    set_default_signature(*t, 4, 4);
    tr.two_bar_count_in = false;
    d.song_mode = 1;
    t->step(0).end = 6144;
    t->step(1).end = 9216;
    t->step(1).pickup = 384;
    d.current_step = 1;
    d.left_locator = 6912;
    d.right_locator = 7680;
    rec.record_start(record_mode::overdub);
    EXPECT_EQ(nums(d.position, d.record_offset), nums(6912 - 768, 6144 - song_start));
    tr.stop();
    // The bar is the meter's before the step: with 3/4 from the step's start, a bar of 4/4. A
    // pickup of a bar and a half goes back two bars with no count-in; a whole bar of pickup has
    // the count-in before it, two bars with the preference.
    d.cycle_on = 0;
    use_signature_track(*t, {ev(st::signature, 4, 4, song_start), ev(st::signature, 3, 4, 6144)});
    for (auto [pickup, two_bars, start] : {std::tuple{0, false, 6144 - 768},
                                           {768 + 384, false, 6144 - 2 * 768},
                                           {768, true, 6144 - 768 - 2 * 768}}) {
        t->step(1).pickup = static_cast<std::int16_t>(pickup);
        tr.two_bar_count_in = two_bars;
        d.current_step = 1;  // the count-in left it on step 0
        rec.record_start(record_mode::overdub);
        EXPECT_EQ(d.position, start) << pickup;
        tr.stop();
    }
}

// In song mode a take of step 1 shows its pattern from the start and lands in it at its place in
// the pattern; a cycle that reaches outside the step asks first.
TEST_F(Recording, ASongModeTakeLandsInItsStepsPatternAndLocatorsOutsideTheStepAsk) {
    dll_data& d = t->d;
    d.song_mode = 1;
    t->step(0).end = 6144;
    t->step(1).end = 9216;
    t->step(1).pattern = 3;
    d.current_step = 1;
    rec.record_start(record_mode::overdub);
    EXPECT_EQ(nums(d.record_pattern, d.current_pattern, d.record_offset, d.position),
              nums(3, 3, 3072, 6144 - 768));
    play_at(6144 + 100, {0x90, 60, 90});
    play_at(6144 + 150, {0x80, 60, 0});
    tr.stop();
    EXPECT_EQ(events(3, 0), (rows{{60, 0x90, song_start + 100}, {60, 0x80, song_start + 150}}));
    // A punch there erases in the pattern's positions too: from 3092 to 3132, before the note.
    d.left_locator = 6144 + 20;
    d.right_locator = 6144 + 60;
    d.punch_on = 1;
    tr.play();
    run_while_recording(6144 + 200);
    EXPECT_EQ(nums(events(3, 0).size(), d.punch_on), nums(2, 0));
    // The parallel pattern runs in song time.
    d.parallel_selected = 1;
    rec.record_start(record_mode::overdub);
    EXPECT_EQ(nums(d.record_pattern, d.record_offset), nums(parallel_pattern, 0));
    tr.stop();
    d.parallel_selected = 0;
    // Instant record counts from the current step, or with an editor open from the step it
    // opened on; the parallel pattern and pattern mode have none.
    d.current_step = 0;
    d.song_start_step = 1;
    for (auto [main_screen, parallel, song_mode, offset] :
         {std::tuple{1, 0, 1, 0}, {0, 0, 1, 3072}, {0, 1, 1, 0}, {0, 0, 0, 0}}) {
        d.main_screen = static_cast<std::int16_t>(main_screen);
        d.parallel_selected = static_cast<std::int16_t>(parallel);
        d.song_mode = static_cast<std::uint8_t>(song_mode);
        rec.instant_start(false);
        EXPECT_EQ(d.record_offset, offset) << main_screen << parallel << song_mode;
        rec.instant_stop();
    }
    d.main_screen = d.song_mode = 1;

    // The left locator below the offset, or the right one after the step's end, asks.
    d.cycle_on = 1;
    for (auto [left, right, asks] : {std::tuple{3072, 9216, false},
                                     {6144, 7000, false},
                                     {3071, 7000, true},
                                     {6144, 9217, true}}) {
        d.current_step = 1;
        d.left_locator = left;
        d.right_locator = right;
        t.screen.messages.clear();
        t.screen.answers = {msg_answer::no};
        rec.record_start(record_mode::overdub);
        EXPECT_EQ(nums(t.screen.messages.size(), d.recording, d.cycle_recording),
                  asks ? nums(1, 0, 0) : nums(0, 1, 1))
            << left << " " << right;
        EXPECT_EQ(t.screen.last_text() == msg_locators_outside, asks);
        tr.stop();
    }
    d.current_step = 1;
    t.screen.answers = {msg_answer::yes};
    rec.record_start(record_mode::overdub);
    EXPECT_EQ(nums(d.recording, d.cycle_recording), nums(1, 1));
    tr.stop();
}

// With the Mixer open on port A: a take into an empty track on port B keeps the track's channel
// and its name, and holds what was played, not the fader moved meanwhile; Record on a track in
// use asks whether to overdub.
TEST_F(Recording, TheMixerOnPortAKeepsTheTracksChannelAndReplaceAsksForOverdub) {
    dll_data& d = t->d;
    d.main_screen = 0;
    t->app.mixer_port = 0;
    t->slot(0, 0).port = 1;
    t->slot(0, 0).channel = 3;
    rec.record_key(record_mode::overdub);
    EXPECT_EQ(nums(d.recording, t->slot(0, 0).channel), nums(1, 3));
    play_at(song_start, {0x90, 50, 80});
    d.mixer[0].fader_view[2] = 90;
    shared_store(d.mixer_send_port, std::int16_t{0});
    play_at(song_start + 96, {0x80, 50, 0});
    tr.stop();
    EXPECT_EQ(events(), (rows{{50, 0x90, song_start}, {50, 0x80, song_start + 96}}));

    t.screen.messages.clear();
    t.screen.answers = {msg_answer::cancel, msg_answer::yes, msg_answer::no};
    rec.record_key(record_mode::replace);
    EXPECT_EQ(nums(d.recording, t.screen.messages.size()), nums(0, 1));
    EXPECT_EQ(t.screen.last_text(), msg_use_overdub);
    rec.record_key(record_mode::replace);  // Yes: overdub keeps the track
    EXPECT_EQ(nums(d.recording, t->slot(0, 0).in_use), nums(1, 1));
    tr.stop();
    rec.record_key(record_mode::replace);  // No: replace empties it
    EXPECT_EQ(nums(d.recording, t->slot(0, 0).in_use), nums(1, 0));
    tr.stop();
    // In an editor the Record keys do nothing.
    t->app.mixer_port = -1;
    rec.record_key(record_mode::overdub);
    EXPECT_EQ(d.recording, 0);
}

// Merging a take of one block into a track of one needs the take, the merged chain (track and
// take) and ten blocks more: 13 free blocks store it, 12 leave the track as it was. The track's
// undo copy needs its block and three more beyond that: 17.
TEST_F(Recording, TheMergeNeedsRoomForTheTakeTheMergedChainAndTenBlocksAndTheUndoCopyFourMore) {
    int track = 0;
    for (auto [free, kept, said] :
         {std::tuple<int, std::size_t, std::string>{12, 2, msg_no_memory_left},
          {13, 4, msg_undo_no_memory},
          {16, 4, msg_undo_no_memory},
          {17, 4, ""}}) {
        t->d.current_track = static_cast<std::int16_t>(track);
        build_track(*t, 0, track, {ev(0x90, 50, 80, 3264), ev(0x80, 50, 0, 3300)});
        rec.record_start(record_mode::overdub);
        play_at(3400, {0x90, 70, 90});
        play_at(3500, {0x80, 70, 0});
        const std::int32_t real = t->d.free_blocks;
        t->d.free_blocks = free;
        t.screen.messages.clear();
        tr.stop();
        t->d.free_blocks += real - free;
        EXPECT_EQ(events(0, track++).size(), kept) << free;
        EXPECT_EQ(t.screen.last_text(), said) << free;
        EXPECT_EQ(t->undo.available, said.empty()) << free;
    }
}

TEST_F(Recording, InstantPunchReplacesWhatWasPlayedOverAndEndsItsOpenNotes) {
    build_track(*t, 0, 0,
                {ev(0x90, 40, 80, 3100), ev(0x80, 40, 0, 3450), ev(0x90, 41, 80, 3500),
                 ev(0x90, 43, 80, 4000)});
    tr.play();
    play_at(3400, {});
    t.midi.clear();
    rec.instant_start(true);
    // The track falls silent at once: the note it holds ends.
    EXPECT_EQ(sent_bytes(t.midi, 0), (std::vector<std::vector<int>>{{0x80, 40, 64}}));
    EXPECT_EQ(t->slot(0, 0).mute, 1);
    play_at(3600, {0x90, 70, 90});
    play_at(3900, {});
    rec.instant_record_toggle(false);
    const rows replaced{
        {40, 0x90, 3100}, {40, 0x80, 3399}, {70, 0x90, 3600}, {70, 0x80, 3899}, {43, 0x90, 4000}};
    EXPECT_EQ(events(), replaced);
    EXPECT_EQ(nums(t->slot(0, 0).mute, t->running(), t->d.recording), nums(0, 1, 0));
}

TEST_F(Recording, InternalRecordingIsRefusedInCycleAndWithPunchAndRecordAsksWhetherToKeepIt) {
    dll_data& d = t->d;
    for (auto [flag, text] :
         {std::pair{&d.cycle_on, msg_cycle_mode}, {&d.punch_on, msg_punch_active}}) {
        *flag = 1;
        EXPECT_FALSE(rec.internal_recording_allowed());
        EXPECT_EQ(t.screen.last_text(), text);
        *flag = 0;
    }
    d.midi_thru = 1;
    d.midi_click = 1;
    rec.set_internal_recording({true, 2});
    EXPECT_EQ(nums(d.internal_record, d.midi_thru, d.midi_click), nums(3, 0, 0));
    rec.set_internal_recording({true, 1});  // another port: what was saved stays
    t.screen.answers = {msg_answer::no};
    rec.record_start(record_mode::overdub);
    EXPECT_EQ(nums(d.internal_record, d.midi_thru, d.midi_click, d.recording), nums(0, 1, 1, 1));
    tr.stop();
    // Answered Yes it stays on, with thru, the click and Reset On Stop off again.
    rec.set_internal_recording({true, 0});
    d.midi_thru = d.midi_click = 1;
    t->app.reset_on_stop = true;
    t.screen.answers = {msg_answer::yes};
    rec.record_start(record_mode::overdub);
    EXPECT_EQ(t.screen.last_text(), msg_internal_recording_question);
    EXPECT_EQ(nums(d.internal_record, d.midi_thru, d.midi_click, t->app.reset_on_stop),
              nums(1, 0, 0, 0));
    tr.stop();
}

TEST_F(Recording, RecordWithNoSourceConnectedSaysSoOnceAndRecordsAllTheSame) {
    t.midi.connect_input(-1, true);
    t->d.internal_record = 1;  // records what the program plays: needs no source
    rec.instant_start(false);
    rec.instant_stop();
    EXPECT_TRUE(t.screen.messages.empty());
    t->d.internal_record = 0;
    rec.record_start(record_mode::overdub);
    EXPECT_EQ(nums(t->d.recording, t.screen.messages.size()), nums(1, 1));
    EXPECT_EQ(t.screen.last_text(), msg_no_input);
    tr.stop();
    rec.instant_start(false);
    rec.instant_stop();
    EXPECT_EQ(t.screen.messages.size(), 1u);
}

}  // namespace
}  // namespace kestrune
