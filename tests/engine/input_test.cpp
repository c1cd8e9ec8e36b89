#include <gtest/gtest.h>

#include <vector>

#include "song/locate.h"
#include "song/long_event.h"
#include "tests/support/chain_checker.h"
#include "tests/support/sent_messages.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;

// Running from `from` with the input armed for a take into the record area.
void arm(test_program& t, std::int32_t from) {
    dll_data& d = t->d;
    locate(*t, from);
    d.record_cursor = d.record_write;
    d.record_block = d.record_first_block;
    d.recording = 1;
    d.input_armed = 1;
    d.record_enable = 1;
    d.stopped = 0;
}

class Input : public ::testing::Test {
protected:
    test_program t;

    void arm_take(std::int32_t from) {
        arm(t, from);
        t.run_ms(0);
    }
    // The take as it stands in the record area, closed with an end record for checking.
    std::vector<midi_event> take() {
        const event_store& s = t->store();
        std::vector<midi_event> v;
        for (ref32 r = t->d.record_write; r != t->d.record_cursor; r = s.next_record(r)) v.push_back(s.at(r));
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
    EXPECT_EQ(v[0].status(), 0x91);
    EXPECT_EQ(v[0].position(), 3072 - 1000);
    EXPECT_EQ(v[99].status(), 0x91);
    EXPECT_NEAR(v[99].position(), 3072 - 1000 + 99 * 12, 1);
    EXPECT_EQ(t->d.take_has_data, 1);
    // The take writes into free blocks without taking them off the list.
    EXPECT_EQ(t->d.free_blocks, free_before);
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
    EXPECT_EQ(t->d.sysex_open, 0);
    EXPECT_EQ(t->d.sysex_chunks, 1);
    t.feed({0x90, 60, 100}, 1);
    auto v = take();
    ASSERT_FALSE(v.empty());
    EXPECT_EQ(v[0].status(), st::sysex);
    // Close and cut the take as storing does, then read it back.
    const event_store& s = t->store();
    dll_data& d = t->d;
    midi_event end{};
    end.set_status(st::end);
    s.at(d.record_cursor) = end;
    const ref32 first = d.record_write;
    const ref32 next = s.link(event_store::forward_link(d.record_block));
    s.set_link(next, null_ref);
    s.set_link(event_store::forward_link(d.record_block), null_ref);
    d.record_first_block = next;
    d.record_write = event_store::first_slot(next);
    for (ref32 b = d.record_block; b != null_ref; b = s.link(b)) --d.free_blocks;
    EXPECT_EQ(testing::check_chain(s, first), "");
    std::vector<std::uint8_t> want(sx.begin() + 1, sx.end());
    want.erase(want.begin() + 69);  // the clock byte
    EXPECT_EQ(read_long_payload(s, first), want);
    EXPECT_EQ(s.status(s.next_event(first)), 0x90);
    s.free_chain(first);
    EXPECT_EQ(testing::check_pool(*t), "");
}

TEST_F(Input, FiltersThruAndRemapShapeWhatPassesOn) {
    dll_data& d = t->d;
    d.midi_thru = 1;
    d.thru_port = 2;
    d.thru_channel = 5;
    d.thru_transpose = 3;
    d.thru_velocity = -10;
    d.thru_off_channel = 9;
    d.filter_program = 1;
    d.filter_controller_from = 1;
    d.remap_on = 1;
    d.remap_from = 2;
    d.remap_to = 11;
    t.feed({0x90, 60, 100});
    t.feed({0x99, 36, 100});  // the off channel is not passed
    t.feed({0xC0, 5});        // filtered
    t.feed({0xB0, 1, 64});    // filtered controller
    t.feed({0xB0, 2, 70});    // remapped
    t.feed({0xFE});           // active sensing is dropped
    t.feed({0x80, 60, 0});
    auto m = t.midi.messages();
    ASSERT_EQ(m.size(), 3u);
    EXPECT_EQ(m[0].port, 2);
    EXPECT_EQ(m[0].bytes[0], 0x95);
    EXPECT_EQ(m[0].bytes[1], 63);
    EXPECT_EQ(m[0].bytes[2], 90);
    EXPECT_EQ(m[1].bytes[0], 0xB5);
    EXPECT_EQ(m[1].bytes[1], 11);
    EXPECT_EQ(m[2].bytes[0], 0x85);
    EXPECT_EQ(m[2].bytes[1], 63);
    // A held thru note is ended on request.
    t.midi.clear();
    t.feed({0x90, 64, 100});
    t->wait_request(d.thru_notes_off_request);
    ASSERT_EQ(t.midi.size(), 2u);
    EXPECT_EQ(t.midi[1].bytes[0], 0x85);
    EXPECT_EQ(t.midi[1].bytes[1], 67);
}

TEST_F(Input, StepInputCollectsChordsAndRestsFromThePedal) {
    dll_data& d = t->d;
    d.step_input_on = 1;
    d.step_position = 5000;
    t.feed({0x90, 60, 100});
    t.feed({0x90, 64, 90});
    EXPECT_EQ(d.step_notes_held, 2);
    t.feed({0x80, 60, 0});
    EXPECT_EQ(d.step_chord_ready, 0);
    t.feed({0x80, 64, 0});
    EXPECT_EQ(d.step_chord_ready, 1);
    EXPECT_EQ(d.step_chord_count, 2);
    EXPECT_EQ(d.step_chord_position, 5000);
    EXPECT_EQ(d.step_chord[1].data1(), 64);
    t.feed({0xB0, 64, 127});
    EXPECT_EQ(d.step_rest_ready, 1);
}

TEST_F(Input, ExternalClockDrivesThePositionAndSongPositionAsksForALocate) {
    dll_data& d = t->d;
    d.external_sync = 1;
    locate(*t, 3072);
    t.feed({0xFA});
    EXPECT_EQ(d.external_start, 1);
    d.stopped = 0;
    for (int i = 0; i < 24; ++i) t.feed({0xF8}, 500.0 / 24);
    EXPECT_EQ(d.position, 3072 + 24 * 8);
    EXPECT_EQ(d.external_tempo, 120);
    t.feed({0xFC});
    EXPECT_EQ(d.external_stop, 1);
    t.feed({0xF2, 4, 1});
    d.stopped = 1;
    t->handle_engine_messages();
    EXPECT_EQ(d.position, 3072 + (4 + 128) * 48);
    int id;
    std::int32_t w, l;
    EXPECT_FALSE(t.eng.poll_message(&id, &w, &l));
}

TEST_F(Input, ATakeThatFillsThePoolStopsBeforeTheLastFreeBlock) {
    testing::test_program small(1);
    dll_data& d = small->d;
    arm(small, 3072);
    for (int i = 0; i < 12000; ++i) small.feed({0x90, 60, 100}, 0.1);
    // The cursor stopped in the block before the head of the free list.
    EXPECT_NE(d.record_block, d.free_list);
    EXPECT_EQ(small->store().link(event_store::forward_link(d.record_block)), d.free_list);
    EXPECT_EQ(testing::check_pool(*small), "");
}

TEST_F(Input, PortsOpenFromTheSettingsAndAFailedDeviceLeavesItsPortClosed) {
    EXPECT_EQ(t->d.midi_out_count, 4);
    EXPECT_EQ(t->d.midi_in_count, 1);
    const char* name = reinterpret_cast<const char*>(t.eng.memory().bytes(t->d.midi_out_caps) + 52 + 8);
    EXPECT_STREQ(name, "Capture Out 2");
    EXPECT_EQ(t->d.midi_not_configured, 0);
    t.midi.refuse_devices = {2};
    t->d.midi_out_device[1] = 3;
    EXPECT_FALSE(t.eng.open_output_port(1));
    EXPECT_EQ(t->d.midi_out_device[1], 0);
    EXPECT_EQ(t->d.midi_out_handle[1], 0u);
    EXPECT_NE(t->d.midi_out_handle[0], 0u);
    // Nothing goes to a closed port, clock included, and no error is raised.
    t->d.send_port = 1;
    t->d.send_status = 0xF8;
    t->d.send_request = 1;
    t.eng.run_until(t.clk.now_us());
    EXPECT_EQ(t.midi.size(), 0u);
}

}  // namespace
}  // namespace kestrune

namespace kestrune {
namespace {

TEST_F(Input, CyclePassesCloseIntoTheWorkingPatternAndPlayBack) {
    dll_data& d = t->d;
    d.left_locator = 3072;
    d.right_locator = 3072 + 768;
    d.cycle_on = 1;
    d.cycle_recording = 1;
    for (int i = 0; i < 32; ++i) t->slot(take_pattern, i).port = 1;
    arm_take(3072);
    t.feed({0x90, 60, 100}, ms_of(96));
    t.feed({0x80, 60, 0}, ms_of(96));
    // Round two: the first pass is closed and plays back on port B while a second is played.
    t.midi.clear();
    t.run_ms(ms_of(768 - 192 + 96));
    EXPECT_EQ(d.cycle_passes, 1);
    EXPECT_EQ(d.cycle_pass_mask, 1);
    const track_slot& pass = t->slot(take_pattern, 0);
    ASSERT_EQ(pass.in_use, 1);
    EXPECT_EQ(t->store().count_records(pass.first), 2);
    std::vector<capture_backend::message> m;
    for (const auto& x : t.midi.messages())
        if ((x.bytes[0] & 0x0F) != 9) m.push_back(x);  // the click sounds on channel 10 meanwhile
    ASSERT_EQ(m.size(), 1u);
    EXPECT_EQ(m[0].port, 1);
    EXPECT_EQ(m[0].bytes[1], 60);
    t.feed({0x90, 62, 100});
    t.feed({0x80, 62, 0}, 10);
    // An empty round adds no pass.
    t.run_ms(ms_of(768 * 2));
    EXPECT_EQ(d.cycle_passes, 2);
    EXPECT_EQ(d.cycle_pass_mask, 3);
    EXPECT_EQ(testing::check_chain(t->store(), t->slot(take_pattern, 1).first), "");
}

TEST_F(Input, PunchArmsRecordingBetweenTheLocatorsAndAsksForTheEndOfTheTake) {
    dll_data& d = t->d;
    add_sorted(*t, 0, 3, {ev(0x90, 40, 100, song_start + 700)});
    d.left_locator = song_start + 192;
    d.right_locator = song_start + 384;
    d.punch_on = 1;
    d.punch_track = 3;
    d.record_pattern = 0;
    arm(t, song_start);
    d.record_enable = 0;  // the punch arms it
    t.run_ms(0);
    t.feed({0x90, 60, 100}, ms_of(96));  // before the left locator: not recorded
    EXPECT_TRUE(take().empty());
    t.run_ms(ms_of(110));
    EXPECT_EQ(d.punched_in, 1);
    EXPECT_EQ(d.record_enable, 1);
    EXPECT_EQ(d.engine_request, 1);
    EXPECT_EQ(t->slot(0, 3).mute, 1);  // the punched track is held silent meanwhile
    t.feed({0x90, 62, 100}, 5);
    t.run_ms(ms_of(200));
    EXPECT_EQ(d.record_enable, 0);
    EXPECT_EQ(d.engine_request, 2);
    t.feed({0x90, 64, 100}, 5);
    auto v = take();
    ASSERT_EQ(v.size(), 1u);
    EXPECT_EQ(v[0].data1(), 62);
}

TEST_F(Input, InternalRecordingTakesWhatAPortPlaysInsteadOfTheInput) {
    dll_data& d = t->d;
    add_sorted(*t, 0, 0, {ev(0x90, 60, 100, song_start + 48), ev(0x80, 60, 0, song_start + 96)});
    t->slot(0, 0).port = 1;
    add_sorted(*t, 0, 1, {ev(0x91, 70, 100, song_start + 48)});  // port A: not taken
    d.internal_record = 2;
    arm_take(song_start);
    t.feed({0x92, 30, 100}, 1);  // input is not recorded meanwhile
    t.run_ms(ms_of(200));
    auto v = take();
    ASSERT_EQ(v.size(), 2u);
    EXPECT_EQ(v[0].status(), 0x90);
    EXPECT_EQ(v[0].position(), song_start + 48);
    EXPECT_EQ(v[1].position(), song_start + 96);
}

TEST_F(Input, MixerRowsGoOutOnceAndFollowWhatTracksPlay) {
    dll_data& d = t->d;
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
    auto v = t.midi.messages();
    ASSERT_EQ(v.size(), 4u);
    EXPECT_EQ(v[0].bytes[0], 0xB3);
    EXPECT_EQ(v[0].bytes[1], d.mixer_define_controller);
    EXPECT_EQ(v[0].bytes[2], 90);
    EXPECT_EQ(v[1].bytes[0], 0xB4);  // bank MSB, LSB, then the program with it
    EXPECT_EQ(v[1].bytes[2], 1);
    EXPECT_EQ(v[2].bytes[2], 2);
    EXPECT_EQ(v[3].bytes[0], 0xC4);
    // A track playing on the port moves the play row and marks the port; a muted channel, or one
    // left out of a solo, does not sound.
    d.mixer_send_port = -1;
    add_sorted(*t, 0, 0, {ev(0xB5, 10, 20, song_start), ev(0x95, 60, 100, song_start + 10),
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
    EXPECT_EQ(m.pan_play[5], 20);
    EXPECT_EQ(m.pan_sent[5], 20);
    EXPECT_EQ(d.mixer_changed & (1 << 2), 1 << 2);
    EXPECT_EQ(d.mixer_lamps[2].note_seen[5], 1);
    v = t.midi.messages();
    ASSERT_EQ(v.size(), 2u);
    EXPECT_EQ(v[1].bytes[0], 0x95);
}

}  // namespace
}  // namespace kestrune
