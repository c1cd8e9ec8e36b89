#include <gtest/gtest.h>

#include <functional>
#include <utility>
#include <vector>

#include "song/event_store.h"
#include "song/locate.h"
#include "song/long_event.h"
#include "song/song_start.h"
#include "tests/support/chain_checker.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;
using rows = std::vector<std::vector<std::int64_t>>;
using bytes = std::vector<std::vector<int>>;

// Running from `from` with the input armed for a take into the record area.
void arm(test_program& t, std::int32_t from) {
    dll_data& d = t->d;
    locate(*t, from);
    d.record_cursor = d.record_write;
    d.record_block = d.record_first_block;
    d.recording = d.input_armed = d.record_enable = 1;
    d.stopped = 0;
}

class Input : public ::testing::Test {
  protected:
    test_program t;
    dll_data& d = t->d;

    void arm_take(std::int32_t from) {
        arm(t, from);
        t.run_ms(0);
    }
    // Input played at `at_us` that reaches the engine only now.
    void late(const std::vector<std::uint8_t>& bytes, std::int64_t at_us) {
        t.midi.inject(bytes.data(), bytes.size(), at_us);
        t.eng.run_until(t.clk.now_us());
    }
    // The keys of the take's notes and note-offs with their positions.
    rows take_rows() {
        rows v;
        for (const midi_event& e : take()) v.push_back(nums(e.status(), e.data1(), e.position()));
        return v;
    }
    // The take as it stands in the record area, closed with an end record for checking.
    std::vector<midi_event> take() {
        event_store s = t->store();
        std::vector<midi_event> v;
        for (ref32 r = t->d.record_write; r != t->d.record_cursor; r = s.next_record(r))
            v.push_back(s.at(r));
        return v;
    }
};

TEST_F(Input, TakeIsStampedWithThePositionLessTheOffsetAcrossBlockBorders) {
    t->d.record_offset = 1000;
    arm_take(3072);
    const std::int32_t free_before = t->d.free_blocks;
    // Running status: one status byte for many notes; 100 notes cross three block borders.
    t.feed({0x91, 60, 100});
    for (int i = 0; i < 99; ++i) t.feed({static_cast<std::uint8_t>(40 + i % 50), 90}, ms_of(12));
    auto v = take();
    ASSERT_EQ(v.size(), 100u);
    // The take writes into free blocks without taking them off the list.
    EXPECT_EQ(
        nums(v[0].status(), v[0].position(), v[99].status(), t->d.take_has_data, t->d.free_blocks),
        nums(0x91, 3072 - 1000, 0x91, 1, free_before));
    EXPECT_NEAR(v[99].position(), 3072 - 1000 + 99 * 12, 1);
    EXPECT_EQ(testing::check_pool(*t), "");
}

TEST_F(Input, SysexLongerThanABufferIsStoredWholeAndCounted) {
    arm_take(3072);
    std::vector<std::uint8_t> sx{0xF0};
    for (int i = 0; i < 150; ++i) sx.push_back(static_cast<std::uint8_t>(i & 0x7F));
    sx.push_back(0xF7);
    // A clock byte in the middle of the message does not break it.
    sx.insert(sx.begin() + 70, 0xF8);
    t.feed(std::vector<std::uint8_t>(sx.begin(), sx.begin() + 100));
    EXPECT_EQ(t->d.sysex_open, 1);
    t.feed(std::vector<std::uint8_t>(sx.begin() + 100, sx.end()), 1);
    EXPECT_EQ(nums(t->d.sysex_open, t->d.sysex_chunks), nums(0, 1));
    t.feed({0x90, 60, 100}, 1);
    // Read back across the block border, up to the note after it.
    event_store s = t->store();
    const ref32 first = t->d.record_write;
    ASSERT_EQ(s.status(first), st::sysex);
    std::vector<std::uint8_t> want(sx.begin() + 1, sx.end());
    want.erase(want.begin() + 69);  // the clock byte
    EXPECT_EQ(read_long_payload(s, first), want);
    EXPECT_EQ(s.next_event(first), s.prev_record(t->d.record_cursor));
    EXPECT_EQ(s.status(s.next_event(first)), 0x90);
}

TEST_F(Input, ThruAndRemapShapeWhatPassesOnAndHeldNotesEnd) {
    d.midi_thru = d.remap_on = 1;
    d.thru_port = d.remap_from = 2;
    d.thru_channel = 5;
    d.thru_transpose = 3;
    d.thru_velocity = -10;
    d.remap_to = 11;
    // Thru leaves from the input callback itself, before the engine thread has had a turn.
    const std::uint8_t on[] = {0x90, 60, 100};
    t.midi.inject(on, 3, t.clk.now_us());
    ASSERT_EQ(t.midi.size(), 1u);
    t.run_ms(0);
    t.feed({0xB0, 2, 70});  // remapped
    t.feed({0xA0, 60, 30});
    t.feed({0xFE});         // active sensing is dropped
    t.feed({0x90, 60, 0});  // ends the note: the velocity offset makes no new one of it
    EXPECT_EQ(sent_bytes(t.midi, 2),
              (bytes{{0x95, 63, 90}, {0xB5, 11, 70}, {0xA5, 63, 30}, {0x95, 63, 0}}));
    EXPECT_EQ(t.midi.size(), 4u);
    // Channel 16 is a channel like the others; 16 counted from 0 plays on the channel played.
    for (auto [channel, status] : {std::pair{15, 0x9F}, {16, 0x92}}) {
        d.thru_channel = static_cast<std::uint8_t>(channel);
        t.midi.clear();
        t.feed({0x92, 50, 100});
        EXPECT_EQ(sent_bytes(t.midi, 2), (bytes{{status, 53, 90}})) << channel;
        t.feed({0x82, 50, 0});
    }
    d.thru_channel = 5;
    // A held thru note, and only that, is ended on request.
    t.midi.clear();
    t.feed({0x90, 64, 100});
    t->wait_request(d.thru_notes_off_request);
    ASSERT_EQ(t.midi.size(), 2u);
    EXPECT_EQ(nums(t.midi[1].bytes[0], t.midi[1].bytes[1]), nums(0x85, 67));
    // And when the engine goes.
    t.feed({0x90, 65, 100});
    t.eng.cleanup_func_in_dll();
    ASSERT_EQ(t.midi.size(), 4u);
    EXPECT_EQ(nums(t.midi[3].bytes[0], t.midi[3].bytes[1]), nums(0x85, 68));
}

TEST_F(Input, EachFilterTakesItsOwnKindFromThruAndFromTheTake) {
    // The filters, and one message of each kind on channel 4 with the filter that takes it;
    // thru keeps the channel as played.
    const std::function<void()> filter[] = {[&] { d.filter_notes = 1; },
                                            [&] { d.filter_poly_press = 1; },
                                            [&] { d.filter_controller_from = 12; },
                                            [&] { d.filter_controller_to = 14; },
                                            [&] { d.filter_program = 1; },
                                            [&] { d.filter_channel_press = 1; },
                                            [&] { d.filter_pitch_wheel = 1; },
                                            [&] { d.filter_sysex = 1; }};
    const std::vector<std::pair<std::vector<std::uint8_t>, std::size_t>> kinds = {
        {{0x93, 60, 100}, 0}, {{0xA3, 60, 50}, 1}, {{0xB3, 12, 1}, 2},
        {{0xB3, 14, 2}, 3},   {{0xC3, 5}, 4},      {{0xD3, 40}, 5},
        {{0xE3, 0, 80}, 6},   {{0x83, 60, 0}, 0},  {{0xF0, 0x7D, 1, 0xF7}, 7}};
    d.midi_thru = 1;
    d.thru_port = 1;
    d.remap_from = 12;  // with the remap off
    for (std::size_t f = 0; f < std::size(filter); ++f) {
        d.filter_notes = d.filter_poly_press = d.filter_program = d.filter_channel_press = 0;
        d.filter_pitch_wheel = d.filter_sysex = 0;
        d.filter_controller_from = d.filter_controller_to = -1;
        filter[f]();
        arm_take(3072);
        t.midi.clear();
        bytes thru;
        std::vector<int> stored, took;
        for (const auto& [bytes, taken_by] : kinds) {
            t.feed(bytes, 1);
            if (taken_by == f) continue;
            stored.push_back(bytes[0]);
            if (bytes[0] != 0xF0) thru.emplace_back(bytes.begin(), bytes.end());
        }
        for (const midi_event& e : take())
            if (is_event_status(e.status())) took.push_back(e.status());
        EXPECT_EQ(sent_bytes(t.midi, 1), thru) << "filter " << f;
        EXPECT_EQ(took, stored) << "filter " << f;
    }
}

TEST_F(Input, StepInputCollectsChordsAndRestsFromThePedal) {
    d.step_input_on = 1;
    d.step_position = 5000;
    t.feed({0x90, 60, 100});
    t.feed({0x90, 64, 90});
    EXPECT_EQ(d.step_notes_held, 2);
    t.feed({0x80, 60, 0});
    EXPECT_EQ(d.step_chord_ready, 0);
    t.feed({0x80, 64, 0});
    EXPECT_EQ(nums(d.step_chord_ready, d.step_chord_count, d.step_chord_position,
                   d.step_chord[1].data1()),
              nums(1, 2, 5000, 64));
    t.feed({0xB0, 64, 127});
    EXPECT_EQ(d.step_rest_ready, 1);
}

TEST_F(Input, ExternalClockDrivesThePositionAndSongPositionAsksForALocate) {
    d.external_sync = 1;
    locate(*t, 3072);
    t.feed({0xFA});
    d.stopped = 0;
    for (int i = 0; i < 24; ++i) t.feed({0xF8}, 500.0 / 24);
    EXPECT_EQ(nums(d.position, d.external_tempo), nums(3072 + 24 * 8, 120));
    t.feed({0xF2, 4, 1});
    d.stopped = 1;
    handle_engine_messages(*t);
    EXPECT_EQ(d.position, 3072 + (4 + 128) * 48);
}

TEST_F(Input, ATakeThatFillsThePoolStopsBeforeTheLastFreeBlock) {
    testing::test_program small(1);
    dll_data& sd = small->d;
    arm(small, 3072);
    for (int i = 0; i < 12000; ++i) small.feed({0x90, 60, 100}, 0.1);
    // The cursor stopped in the block before the head of the free list.
    EXPECT_NE(sd.record_block, sd.free_list);
    EXPECT_EQ(small->store().link(event_store::forward_link(sd.record_block)), sd.free_list);
    EXPECT_EQ(testing::check_pool(*small), "");
    // Only the full take is lost: the next one records from a clean start.
    arm(small, 3072);
    small.feed({0x90, 61, 100});
    EXPECT_EQ(nums(sd.record_cursor - sd.record_write, small->store().at(sd.record_write).data1()),
              nums(6, 61));
}

TEST_F(Input, CyclePassesCloseIntoTheWorkingPatternAndPlayBack) {
    d.left_locator = 3072;
    d.right_locator = 3072 + 768;
    d.cycle_on = 1;
    d.cycle_recording = 1;
    d.midi_click = 0;
    for (int i = 0; i < 32; ++i) t->slot(take_pattern, i).port = 1;
    arm_take(3072);
    t.feed({0x90, 60, 100}, ms_of(96));
    t.feed({0x80, 60, 0}, ms_of(96));
    // Round two: the first pass is closed and plays back on port B while a second is played.
    t.midi.clear();
    t.run_ms(ms_of(768 - 192 + 96));
    const track_slot& pass = t->slot(take_pattern, 0);
    ASSERT_EQ(pass.in_use, 1);
    EXPECT_EQ(nums(d.cycle_passes, d.cycle_pass_mask, t->store().count_records(pass.first)),
              nums(1, 1, 2));
    ASSERT_EQ(t.midi.size(), 1u);
    EXPECT_EQ(nums(t.midi[0].port, t.midi[0].bytes[1]), nums(1, 60));
    // The pass's note sounds now: all-notes-off ends it, on its port, and the pass goes on.
    t.midi.clear();
    t->wait_request(d.all_notes_off_request);
    ASSERT_EQ(t.midi.size(), 1u);
    EXPECT_EQ(nums(t.midi[0].port, t.midi[0].bytes[0] & 0xF0, t.midi[0].bytes[1]),
              nums(1, 0x80, 60));
    EXPECT_EQ(t.eng.playback().open_note_count(), 0);
    t.feed({0x90, 62, 100});
    t.feed({0x80, 62, 0}, 10);
    // An empty round adds no pass.
    t.run_ms(ms_of(768 * 2));
    EXPECT_EQ(nums(d.cycle_passes, d.cycle_pass_mask), nums(2, 3));
    EXPECT_EQ(testing::check_chain(t->store(), t->slot(take_pattern, 1).first), "");
}

TEST_F(Input, InputIsStampedWhereTheSongStoodWhenItWasPlayedHoweverLateItComes) {
    // 120 bpm up to 3264, reached after 500 ms, then 60 bpm: 384 ticks a second, then 192.
    append(*t, d.tempo_chain.first, d.tempo_chain.blocks, {tempo(6000, 3072 + 192)});
    d.tempo_track_on = 1;
    arm_take(3072);
    const std::int64_t t0 = t.clk.now_us();
    t.run_ms(1000);
    EXPECT_EQ(d.position, 3264 + 96);
    late({0x90, 60, 100}, t0 + 250'000);  // 3072 + 96
    late({0x90, 61, 100}, t0 + 750'000);  // 3264 + 48
    late({0x80, 60, 0}, t0 + 999'000);    // 3264 + 95.8, to the nearest tick
    EXPECT_EQ(take_rows(), (rows{{0x90, 60, 3168}, {0x90, 61, 3312}, {0x80, 60, 3360}}));
}

TEST_F(Input, PunchTakesWhatWasPlayedBetweenTheLocatorsHoweverLateItComes) {
    add_sorted(*t, 0, 3, {ev(0x90, 40, 100, song_start + 700)});
    d.left_locator = song_start + 192;   // reached after 500 ms
    d.right_locator = song_start + 384;  // after 1000 ms
    d.punch_on = 1;
    d.punch_track = 3;
    d.record_pattern = 0;
    t.midi.input_delay = 30'000;
    arm(t, song_start);
    d.record_enable = 0;  // the punch arms it
    t.run_ms(0);
    const std::int64_t t0 = t.clk.now_us();
    t.feed({0x90, 59, 100}, ms_of(96));  // before the left locator: not recorded
    EXPECT_TRUE(take().empty());
    t.run_ms(ms_of(110));
    // The punched track is held silent meanwhile.
    EXPECT_EQ(nums(d.punched_in, d.record_enable, d.engine_request, t->slot(0, 3).mute),
              nums(1, 1, 1, 1));
    late({0x90, 60, 100}, t0 + 490'000);  // played before the left locator
    late({0x90, 62, 100}, t0 + 600'000);
    t.run_ms(ms_of(190));                 // 12 ticks, 31 ms, past the right locator
    late({0x90, 63, 100}, t0 + 990'000);  // played before the right locator
    t.feed({0x90, 64, 100});              // and after it
    // The end of the take waits for what may still be on its way, and a timer period: asked
    // for 36 ms after the right locator, give or take the period.
    EXPECT_EQ(nums(d.record_enable, d.engine_request), nums(0, 1));
    t.run_ms(12);
    EXPECT_EQ(d.engine_request, 2);
    EXPECT_EQ(take_rows(), (rows{{0x90, 62, song_start + 230}, {0x90, 63, song_start + 380}}));
}

TEST_F(Input, ANoteHeldOverTheLoopEndsWithItsPassAndItsOwnNoteOffIsLeftOut) {
    d.left_locator = 3072;
    d.right_locator = 3072 + 384;
    d.cycle_on = d.cycle_recording = 1;
    arm_take(3072);
    // The same key twice, both held over the loop's end.
    t.feed({0x90, 60, 100}, ms_of(300));
    t.feed({0x90, 60, 90}, ms_of(10));
    t.run_ms(ms_of(384 - 310 + 50));
    t.feed({0x80, 60, 0});
    t.feed({0x80, 60, 0});
    t.feed({0x90, 62, 100}, 1);
    rows pass;
    for (const midi_event& e : read_track(*t, take_pattern, 0))
        pass.push_back(nums(e.status(), e.data1(), e.position()));
    EXPECT_EQ(pass, (rows{{0x90, 60, 3372}, {0x90, 60, 3382}, {0x80, 60, 3455}, {0x80, 60, 3455}}));
    EXPECT_EQ(take_rows(), (rows{{0x90, 62, 3072 + 50}}));
}

TEST_F(Input, InternalRecordingTakesWhatAPortPlaysInsteadOfTheInput) {
    add_sorted(*t, 0, 0, {ev(0x90, 60, 100, song_start + 48), ev(0x80, 60, 0, song_start + 96)});
    t->slot(0, 0).port = 1;
    add_sorted(*t, 0, 1, {ev(0x91, 70, 100, song_start + 48)});  // port A: not taken
    d.internal_record = 2;
    arm_take(song_start);
    t.feed({0x92, 30, 100}, 1);  // input is not recorded meanwhile
    t.run_ms(ms_of(200));
    auto v = take();
    ASSERT_EQ(v.size(), 2u);
    EXPECT_EQ(nums(v[0].status(), v[0].position(), v[1].position()),
              nums(0x90, song_start + 48, song_start + 96));
}

TEST_F(Input, MixerRowsGoOutOnceAndFollowWhatTracksPlay) {
    mixer_port& m = d.mixer[2];
    for (int c = 0; c < 16; ++c) {
        m.fader_view[c] = m.fader_sent[c] = 100;
        m.pan_view[c] = m.pan_sent[c] = 64;
        m.reverb_view[c] = m.reverb_sent[c] = m.chorus_view[c] = m.chorus_sent[c] = 0;
        m.program_view[c] = m.program_sent[c] = m.bank_view[c] = m.bank_sent[c] = 0;
    }
    m.fader_view[3] = 90;
    m.bank_view[4] = 130;
    d.mixer_send_port = 2;
    t.run_ms(1);
    t.run_ms(1);  // rows already sent are not sent again
    // The fader, then bank MSB, LSB and the program with it.
    EXPECT_EQ(
        sent_bytes(t.midi, 2),
        (bytes{{0xB3, d.mixer_define_controller, 90}, {0xB4, 0, 1}, {0xB4, 32, 2}, {0xC4, 0}}));
    EXPECT_EQ(t.midi.size(), 4u);
    // A track playing on the port moves the play row and marks the port; a muted channel, or one
    // left out of a solo, does not sound.
    d.mixer_send_port = -1;
    add_sorted(*t, 0, 0,
               {ev(0xB5, 10, 20, song_start), ev(0x95, 60, 100, song_start + 10),
                ev(0x96, 61, 100, song_start + 20), ev(0x97, 62, 100, song_start + 30)});
    t->slot(0, 0).port = 2;
    t->slot(0, 0).channel = 16;
    m.mute[6] = 1;
    m.any_solo = 1;
    m.solo[5] = 1;
    t.midi.clear();
    locate(*t, song_start);
    d.stopped = 0;
    t.run_ms(ms_of(40));
    EXPECT_EQ(nums(m.pan_play[5], m.pan_sent[5], d.mixer_changed & (1 << 2),
                   d.mixer_lamps[2].note_seen[5]),
              nums(20, 20, 1 << 2, 1));
    const auto v = t.midi.messages();
    ASSERT_EQ(v.size(), 2u);
    EXPECT_EQ(v[1].bytes[0], 0x95);
    // During a take a mixer move goes out but stays out of the take; the input is taken.
    m.pan_view[5] = 20;  // as the track left it
    d.mixer_send_port = 2;
    arm_take(song_start);
    t.midi.clear();
    m.fader_view[3] = 80;
    t.feed({0x92, 30, 100}, 1);
    EXPECT_EQ(sent_bytes(t.midi, 2), (bytes{{0xB3, d.mixer_define_controller, 80}}));
    EXPECT_EQ(take_rows(), (rows{{0x92, 30, song_start}}));
}

// A chased value, or Full Volume, is in force on its channel as a track's own message is: the
// strips follow it.
TEST_F(Input, TheMixerFollowsChasedValuesAndFullVolume) {
    for (chase_entry& e : d.chase_table) {
        for (chase_slot& s : e.slot) s.key = -1;
        e.wheel_key = -1;
    }
    d.chase(2, 15).slot[chase_program] = {0, 0xCF, 40};
    d.chase(2, 15).slot[chase_pan] = {0, 0xBF, 20};
    d.chase_ready = 1;
    t.run_ms(1);
    const mixer_port& m = d.mixer[2];
    EXPECT_EQ(nums(m.program_play[15], m.pan_play[15], d.mixer_changed), nums(40, 20, 1 << 2));
    d.mixer_define_controller = 7;
    d.full_volume_request = 1;
    t.run_ms(1);
    EXPECT_EQ(nums(m.fader_play[0], d.mixer[0].fader_play[15]), nums(127, 127));
}

}  // namespace
}  // namespace kestrune
