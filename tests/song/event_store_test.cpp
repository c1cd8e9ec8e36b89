#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "tests/support/chain_checker.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;

midi_event cc(std::int32_t pos, int tag) {
    return midi_event::make(0xB0, static_cast<std::uint8_t>(tag & 0x7F), 1, pos);
}

// A sysex of `data_bytes` bytes before its 0xF7.
records sysex(std::int32_t pos, int data_bytes) {
    return long_event(st::sysex, pos, sysex_payload(static_cast<std::size_t>(data_bytes) + 1));
}

records text(std::int32_t pos, const std::string& s) {
    std::vector<std::uint8_t> payload(s.begin(), s.end());
    payload.push_back(0);
    return long_event(st::text, pos, payload);
}

// n controller events at positions 100, 200, ...
records ramp(int n, int from = 0) {
    records out;
    for (int i = 0; i < n; ++i) out.push_back(cc(100 * (from + i + 1), from + i));
    return out;
}

// Shuffles the head of the free list so that blocks taken from it no longer lie in a row.
void scramble_free_list(program& p, int n, unsigned seed) {
    const event_store& s = p.store();
    std::vector<ref32> blocks;
    for (int i = 0; i < n; ++i) blocks.push_back(s.alloc_block());
    std::shuffle(blocks.begin(), blocks.end(), std::mt19937(seed));
    for (ref32 b : blocks) s.free_chain(event_store::first_slot(b));
}

// ---------------------------------------------------------------------------------------------
// Walking

TEST(EventStoreWalk, RecordsStepAcrossBlockBordersAndStayOnNullLinks) {
    testing::test_program t;
    program& p = *t;
    const event_store& s = p.store();
    scramble_free_list(p, 16, 7);
    track_slot& sl = open_track(p, 0, 0);
    append(p, sl, ramp(63));  // the end record lands in the last slot of the second block
    ASSERT_EQ(sl.blocks, 2);

    const ref32 b0 = s.block_of(sl.first);
    const ref32 b1 = s.link(event_store::forward_link(b0));
    ASSERT_NE(b1, b0 + block_bytes) << "blocks should not lie in a row here";
    const ref32 last0 = b0 + last_slot_offset;
    EXPECT_EQ(s.next_record(last0), event_store::first_slot(b1));
    EXPECT_EQ(s.prev_record(event_store::first_slot(b1)), last0);
    EXPECT_EQ(s.prev_record(sl.first), b0);
    EXPECT_EQ(s.status(s.prev_record(sl.first)), st::back_link);
    EXPECT_EQ(s.prev_event(sl.first), b0);

    const ref32 end = b1 + last_slot_offset;
    EXPECT_EQ(s.status(end), st::end);
    EXPECT_EQ(s.chain_end(sl.first), end);
    EXPECT_EQ(s.chain_end(last0), end);
    EXPECT_EQ(s.next_record(end), event_store::forward_link(b1));
    EXPECT_EQ(s.next_event(end), event_store::forward_link(b1));
    EXPECT_EQ(s.next_event(end - 6), end);
    EXPECT_EQ(s.last_event(sl.first), end - 6);
    EXPECT_EQ(s.count_records(sl.first), 63);

    // Event by event, both ways, the positions come in order.
    int n = 0;
    for (ref32 e = sl.first; s.status(e) != st::end; e = s.next_event(e))
        EXPECT_EQ(s.position(e), 100 * ++n);
    EXPECT_EQ(n, 63);
    for (ref32 e = s.last_event(sl.first); s.status(e) != st::back_link; e = s.prev_event(e))
        EXPECT_EQ(s.position(e), 100 * n--);
    EXPECT_EQ(n, 0);

    // One more record puts the end record first in a third block.
    append(p, sl, ramp(1, 63));
    ASSERT_EQ(sl.blocks, 3);
    const ref32 b2 = s.link(event_store::forward_link(b1));
    EXPECT_EQ(s.chain_end(sl.first), event_store::first_slot(b2));
    EXPECT_EQ(s.count_records(sl.first), 64);
    EXPECT_EQ(s.last_event(sl.first), end);
    EXPECT_EQ(testing::check_pool(p), "");
}

TEST(EventStoreWalk, EmptyChainAnswersAtOnce) {
    testing::test_program t;
    program& p = *t;
    const event_store& s = p.store();
    track_slot& sl = open_track(p, 0, 0);
    EXPECT_EQ(s.count_records(sl.first), 0);
    EXPECT_EQ(s.chain_end(sl.first), sl.first);
    EXPECT_EQ(s.last_event(sl.first), sl.first);
    EXPECT_EQ(s.status(s.prev_event(sl.first)), st::back_link);
    std::int32_t v = -1;
    EXPECT_EQ(s.find_at_position(sl.first, 5000, no_loop, &v), sl.first);
    EXPECT_EQ(v, 5000);
    EXPECT_EQ(s.find_after_position(sl.first, 0), sl.first);
    EXPECT_EQ(testing::check_pool(p), "");
}

TEST(EventStoreWalk, LongEventsAreSteppedOverWhole) {
    testing::test_program t;
    program& p = *t;
    const event_store& s = p.store();
    track_slot& sl = open_track(p, 0, 0);
    // 29 short events, then a sysex whose 0xF7 falls on byte 5 of a continuation and runs
    // into the next block, a short event, a text, a sysex held in its head alone, a short one.
    const records closing_on_status = sysex(3000, 7 + 6 * 3);
    ASSERT_EQ(closing_on_status.size(), 5u);
    ASSERT_EQ(closing_on_status.back().status(), st::sysex_end);
    const records greeting = text(3200, "Hello, world");
    ASSERT_EQ(greeting.size(), 3u);
    const records tiny = sysex(3300, 1);
    ASSERT_EQ(tiny.size(), 1u);
    const records all =
        flat({ramp(29), closing_on_status, {cc(3100, 1)}, greeting, tiny, {cc(3400, 2)}});
    append(p, sl, all);
    ASSERT_EQ(difference(read_chain(s, sl.first), all), "");
    EXPECT_EQ(testing::check_pool(p), "");

    const ref32 head = nth_record(s, sl.first, 29);
    const ref32 after = nth_record(s, sl.first, 34);
    EXPECT_EQ(s.status(nth_record(s, sl.first, 33)), st::sysex_end);
    EXPECT_EQ(s.event_length(head), 5);
    EXPECT_EQ(s.next_event(head), after);
    EXPECT_EQ(s.prev_event(after), head);
    EXPECT_EQ(s.position(after), 3100);

    const ref32 text_head = s.next_event(after);
    EXPECT_EQ(text_head, nth_record(s, sl.first, 35));
    EXPECT_EQ(s.event_length(text_head), 3);
    const ref32 tiny_head = s.next_event(text_head);
    EXPECT_EQ(s.position(tiny_head), 3300);
    EXPECT_EQ(s.event_length(tiny_head), 1);
    EXPECT_EQ(s.position(s.next_event(tiny_head)), 3400);
    EXPECT_EQ(s.prev_event(tiny_head), text_head);
    EXPECT_EQ(s.count_records(sl.first), static_cast<std::int32_t>(all.size()));
    EXPECT_EQ(s.find_note_off(head), s.chain_end(sl.first));

    // A long event at the end: the last event is its head, not a continuation.
    append(p, sl, text(3500, "last words of the song"));
    EXPECT_EQ(s.position(s.last_event(sl.first)), 3500);
    EXPECT_EQ(s.status(s.last_event(sl.first)), st::text);
    EXPECT_EQ(testing::check_pool(p), "");
}

TEST(EventStoreWalk, BlockSkipStopsAtABlockThatOpensInsideALongEvent) {
    testing::test_program t;
    program& p = *t;
    const event_store& s = p.store();
    track_slot& sl = open_track(p, 0, 0);
    // The sysex head sits in slot 29; its continuations fill slots 30, 31 and slots 0, 1 of the
    // second block, whose first record thereby carries payload where a position would be: zero
    // bytes that would read as a position before the head's.
    std::vector<std::uint8_t> zeros(1 + 6 * 4, 0);
    zeros.push_back(st::sysex_end);
    const records long_one = long_event(st::sysex, 3000, zeros);
    ASSERT_EQ(long_one.size(), 5u);
    append(p, sl, flat({ramp(29), long_one, ramp(40, 30)}));
    ASSERT_EQ(sl.blocks, 3);
    const ref32 b0 = s.block_of(sl.first);
    const ref32 b1 = s.link(event_store::forward_link(b0));
    const ref32 b2 = s.link(event_store::forward_link(b1));
    ASSERT_TRUE(is_continuation_status(s.status(event_store::first_slot(b1))));

    const ref32 skipped = s.block_skip(sl.first);
    EXPECT_EQ(skipped, s.layout().static_end);
    EXPECT_EQ(s.status(skipped), st::end);
    EXPECT_EQ(s.block_skip(event_store::first_slot(b1)), event_store::first_slot(b2));
    EXPECT_EQ(s.block_skip(event_store::first_slot(b2)), event_store::forward_link(b2));

    const ref32 head = b0 + first_slot_offset + 29 * 6;
    EXPECT_EQ(s.find_at_position(sl.first, 2950, no_loop), head);
    EXPECT_EQ(s.find_at_position(sl.first, 3000, no_loop), head);
    EXPECT_EQ(s.find_after_position(sl.first, 2900), head);
    // Events later in the block that opens with the continuation are found too.
    const ref32 in_b1 = event_store::first_slot(b1) + 2 * 6;
    EXPECT_EQ(s.position(in_b1), 3100);
    EXPECT_EQ(s.find_at_position(sl.first, 3001, no_loop), in_b1);
    EXPECT_EQ(s.find_after_position(sl.first, 3000), in_b1);
    EXPECT_EQ(s.find_at_position(sl.first, 3101, no_loop), in_b1 + 6);
    EXPECT_EQ(s.find_at_position(sl.first, 7000, no_loop), event_store::first_slot(b2) + 9 * 6);
    EXPECT_EQ(s.find_at_position(sl.first, 7001, no_loop), s.chain_end(sl.first));
}

// Every event of a chain with its position, and the end record last, to search the slow way.
struct event_list {
    std::vector<std::int32_t> pos;
    std::vector<ref32> at;
};
event_list list_events(const event_store& s, ref32 first) {
    event_list l;
    ref32 e = first;
    for (; s.status(e) != st::end; e = s.next_event(e)) {
        l.pos.push_back(s.position(e));
        l.at.push_back(e);
    }
    l.at.push_back(e);
    return l;
}

TEST(EventStoreWalk, FindAtPositionAgreesWithAScanOnScatteredAndContiguousChains) {
    testing::test_program t;
    program& p = *t;
    const event_store& s = p.store();
    std::mt19937 rng(11);
    // Many equal positions and long events across block borders.
    records all;
    std::int32_t pos = 0;
    for (int i = 0; i < 700; ++i) {
        pos += static_cast<std::int32_t>(rng() % 4) * 5;
        int kind = static_cast<int>(rng() % 10);
        records r = kind == 0   ? sysex(pos, static_cast<int>(rng() % 80))
                    : kind == 1 ? text(pos, std::string(rng() % 50, 'x'))
                                : records{cc(pos, i)};
        all.insert(all.end(), r.begin(), r.end());
    }
    // One chain grown on a shuffled free list, one built in a row in the record area.
    scramble_free_list(p, 200, 3);
    track_slot& grown = open_track(p, 0, 0);
    append(p, grown, all);
    track_slot& built = build_track(p, 0, 1, all);
    ASSERT_EQ(testing::check_pool(p), "");

    for (const track_slot* sl : {&grown, &built}) {
        const event_list l = list_events(s, sl->first);
        for (std::int32_t q = -3; q <= pos + 3; ++q) {
            const auto at = std::lower_bound(l.pos.begin(), l.pos.end(), q) - l.pos.begin();
            const auto after = std::upper_bound(l.pos.begin(), l.pos.end(), q) - l.pos.begin();
            ASSERT_EQ(s.find_at_position(sl->first, q, no_loop), l.at[static_cast<std::size_t>(at)])
                << "at " << q;
            ASSERT_EQ(s.find_after_position(sl->first, q), l.at[static_cast<std::size_t>(after)])
                << "after " << q;
        }
    }
}

TEST(EventStoreWalk, FindAtPositionFoldsLoopsAndClampsNegativePositions) {
    testing::test_program t;
    program& p = *t;
    const event_store& s = p.store();
    track_slot& sl = open_track(p, 0, 0);
    append(p, sl, {cc(0, 0), cc(1000, 1), cc(3072, 2), cc(3172, 3), cc(3840, 4), cc(3872, 5)});
    auto at = [&](int i) { return nth_record(s, sl.first, i); };
    const std::int32_t one_bar = 768 + 3071;
    std::int32_t v = 0;

    EXPECT_EQ(s.find_at_position(sl.first, 3072 + 3 * 768 + 100, one_bar, &v), at(3));
    EXPECT_EQ(v, 3172);
    EXPECT_EQ(s.find_at_position(sl.first, 3072 + 768, one_bar, &v), at(2));
    EXPECT_EQ(v, 3072);
    // Before the song start nothing folds.
    EXPECT_EQ(s.find_at_position(sl.first, 2000, one_bar, &v), at(2));
    EXPECT_EQ(v, 2000);
    EXPECT_EQ(s.find_at_position(sl.first, -50, one_bar, &v), at(0));
    EXPECT_EQ(v, 0);
    EXPECT_EQ(s.find_at_position(sl.first, 1, no_loop, &v), at(1));
    // 0xFF000 means no loop.
    EXPECT_EQ(s.find_at_position(sl.first, 3072 + 768 + 10, no_loop, &v), at(5));
    EXPECT_EQ(v, 3072 + 768 + 10);
    EXPECT_EQ(s.find_at_position(sl.first, 3873, no_loop), s.chain_end(sl.first));
    EXPECT_EQ(s.find_after_position(sl.first, -7), at(1));
    EXPECT_EQ(s.find_after_position(sl.first, 3872), s.chain_end(sl.first));
    EXPECT_EQ(s.find_after_position(sl.first, largest_record_position), s.chain_end(sl.first));
}

TEST(EventStoreWalk, FindNoteOffPairsOverlappingNotesOutermostWithOutermost) {
    testing::test_program t;
    program& p = *t;
    const event_store& s = p.store();
    track_slot& sl = open_track(p, 0, 0);
    midi_event marked_on = midi_event::make(0x90, 0x80 | 60, 90, 10);  // quantize mark in bit 7
    midi_event marked_off = midi_event::make(0x90, 60, 0x80, 30);      // velocity 0 under a mark
    append(p, sl,
           {
               midi_event::make(0x90, 60, 100, 0),  // 0: outer note
               marked_on,                           // 1: inner note of the same pitch
               midi_event::make(0x91, 60, 0, 15),   // other channel
               midi_event::make(0x90, 61, 0, 16),   // other key
               midi_event::make(0x81, 60, 0, 17),   // other channel's note-off
               midi_event::make(0x80, 60, 0, 20),   // 5: ends the inner note
               marked_off,                          // 6: ends the outer note
               midi_event::make(0x90, 60, 80, 40),  // 7: no partner
               midi_event::make(0x90, 60, 70, 50),  // 8
               midi_event::make(0x80, 60, 0, 60),   // 9: ends 8; 7 stays open
           });
    auto at = [&](int i) { return nth_record(s, sl.first, i); };
    int depth = -1;
    EXPECT_EQ(s.find_note_off(at(0), &depth), at(6));
    EXPECT_EQ(depth, 0);
    EXPECT_EQ(s.find_note_off(at(1), &depth), at(5));
    EXPECT_EQ(depth, 0);
    EXPECT_EQ(s.find_note_off(at(8), &depth), at(9));
    EXPECT_EQ(depth, 0);
    EXPECT_EQ(s.find_note_off(at(7), &depth), s.chain_end(sl.first));
    EXPECT_EQ(depth, 1);
}

// ---------------------------------------------------------------------------------------------
// Pool operations

TEST(EventStorePool, AllocAndFreeChainSpliceWholeChainsAtTheHead) {
    testing::test_program t;
    program& p = *t;
    const event_store& s = p.store();
    dll_data& d = p.d;

    const ref32 h0 = d.free_list;
    const ref32 h1 = s.link(h0);
    const std::int32_t free0 = d.free_blocks;
    const ref32 b = s.alloc_block();
    EXPECT_EQ(b, h0);
    EXPECT_EQ(d.free_list, h1);
    EXPECT_EQ(d.free_blocks, free0 - 1);
    EXPECT_EQ(s.link(b), null_ref);
    EXPECT_EQ(s.link(event_store::forward_link(h1)), null_ref);
    EXPECT_EQ(s.free_chain(event_store::first_slot(b)), 1);
    EXPECT_EQ(d.free_list, b);
    EXPECT_EQ(d.free_blocks, free0);

    scramble_free_list(p, 8, 5);
    track_slot& sl = open_track(p, 0, 0);
    append(p, sl, ramp(70));
    ASSERT_EQ(sl.blocks, 3);
    const ref32 f = s.block_of(sl.first);
    const ref32 m = s.link(event_store::forward_link(f));
    const ref32 l = s.link(event_store::forward_link(m));
    const ref32 old_head = d.free_list;
    const std::int32_t free1 = d.free_blocks;

    EXPECT_EQ(s.free_chain(sl.first), 3);
    sl.in_use = 0;
    EXPECT_EQ(d.free_blocks, free1 + 3);
    EXPECT_EQ(d.free_list, l);
    EXPECT_EQ(s.link(event_store::forward_link(l)), null_ref);
    EXPECT_EQ(s.link(f), old_head);
    EXPECT_EQ(s.link(event_store::forward_link(old_head)), f);
    // The block in between keeps its links, now read in the free list's sense.
    EXPECT_EQ(s.link(m), f);
    EXPECT_EQ(s.link(event_store::forward_link(m)), l);
    EXPECT_EQ(testing::check_pool(p), "");
}

TEST(EventStorePool, InsertRecordTakesABlockExactlyWhenTheEndRecordIsInTheLastSlot) {
    for (int n : {0, 30, 31, 32, 62, 63}) {
        SCOPED_TRACE("records " + std::to_string(n));
        testing::test_program t;
        program& p = *t;
        const event_store& s = p.store();
        track_slot& sl = open_track(p, 0, 0);
        append(p, sl, ramp(n, 1));
        const ref32 head = p.d.free_list;
        const ref32 last = s.block_of(s.chain_end(sl.first));
        const int taken = s.insert_record(sl.first);
        EXPECT_EQ(taken, n % 32 == 31 ? 1 : 0);
        if (taken) {
            EXPECT_EQ(s.link(event_store::forward_link(last)), head);
            EXPECT_EQ(s.link(head), last);
            EXPECT_NE(p.d.free_list, head);
        }
        take_blocks(p, sl.blocks, taken);
        s.at(sl.first) = cc(50, 0);
        EXPECT_EQ(difference(read_chain(s, sl.first), flat({{cc(50, 0)}, ramp(n, 1)})), "");
        EXPECT_EQ(testing::check_pool(p), "");
    }
}

TEST(EventStorePool, DeleteRecordFreesABlockExactlyWhenTheEndRecordWasFirstInIt) {
    for (int n : {1, 2, 32, 33, 64, 65}) {
        SCOPED_TRACE("records " + std::to_string(n));
        testing::test_program t;
        program& p = *t;
        const event_store& s = p.store();
        scramble_free_list(p, 8, static_cast<unsigned>(n));
        track_slot& sl = open_track(p, 0, 0);
        records model = ramp(n);
        append(p, sl, model);
        const ref32 end_block = s.block_of(s.chain_end(sl.first));
        const int at = n / 2;
        const int freed = s.delete_record(nth_record(s, sl.first, at));
        const bool empties = n % 32 == 0;
        EXPECT_EQ(freed, empties ? 1 : 0);
        if (empties) {
            EXPECT_EQ(p.d.free_list, end_block);
            EXPECT_EQ(s.link(event_store::forward_link(s.block_of(s.chain_end(sl.first)))),
                      null_ref);
        }
        take_blocks(p, sl.blocks, -freed);
        model.erase(model.begin() + at);
        EXPECT_EQ(difference(read_chain(s, sl.first), model), "");
        EXPECT_EQ(testing::check_pool(p), "");
    }
}

TEST(EventStorePool, DeletingTheOnlyRecordKeepsTheFirstBlock) {
    testing::test_program t;
    program& p = *t;
    const event_store& s = p.store();
    track_slot& sl = open_track(p, 0, 0);
    append(p, sl, {cc(100, 1)});
    const std::int32_t free0 = p.d.free_blocks;
    EXPECT_EQ(s.delete_record(sl.first), 0);
    EXPECT_EQ(s.status(sl.first), st::end);
    EXPECT_EQ(s.count_records(sl.first), 0);
    EXPECT_EQ(p.d.free_blocks, free0);
    // Deleting at the end record changes nothing.
    EXPECT_EQ(s.delete_record(sl.first), 0);
    EXPECT_EQ(s.status(sl.first), st::end);
    EXPECT_EQ(testing::check_pool(p), "");
}

TEST(EventStorePool, InsertAndDeleteSeveralRecordsAtOnce) {
    testing::test_program t;
    program& p = *t;
    const event_store& s = p.store();
    scramble_free_list(p, 8, 21);
    track_slot& sl = open_track(p, 0, 0);
    records model = ramp(30);
    append(p, sl, model);

    records fresh;
    for (int i = 0; i < 40; ++i) fresh.push_back(cc(1000, i));
    const std::int32_t free0 = p.d.free_blocks;
    // 70 records and the end record need three blocks.
    EXPECT_EQ(insert_at(p, sl.blocks, nth_record(s, sl.first, 10), fresh), 2);
    // The new records sit between positions 1000 and 1100.
    records want = model;
    want.insert(want.begin() + 10, fresh.begin(), fresh.end());
    EXPECT_EQ(difference(read_chain(s, sl.first), want), "");
    EXPECT_EQ(testing::check_pool(p), "");

    const int freed = s.delete_records(nth_record(s, sl.first, 10), 40);
    EXPECT_EQ(freed, 2);
    take_blocks(p, sl.blocks, -freed);
    EXPECT_EQ(p.d.free_blocks, free0);
    want.erase(want.begin() + 10, want.begin() + 50);
    EXPECT_EQ(difference(read_chain(s, sl.first), want), "");
    EXPECT_EQ(testing::check_pool(p), "");

    // More than there are: stops at the end record.
    EXPECT_EQ(s.delete_records(nth_record(s, sl.first, 25), 100), 0);
    want.resize(25);
    EXPECT_EQ(difference(read_chain(s, sl.first), want), "");
    EXPECT_EQ(testing::check_pool(p), "");
}

// Uses up the free list but `keep` blocks with a filler chain in track 31.
track_slot& fill_pool(program& p, int keep) {
    track_slot& filler = open_track(p, 0, 31);
    const int blocks = p.d.free_blocks + 1 - keep;
    records r;
    for (int i = 0; i < blocks * block_slots - 1; ++i) r.push_back(cc(i / 8, i));
    append(p, filler, r);
    return filler;
}

TEST(EventStorePool, InsertRecordsIntoAFullPoolChangesNothing) {
    testing::test_program t(1);
    program& p = *t;
    const event_store& s = p.store();
    track_slot& sl = open_track(p, 0, 0);
    records model = ramp(20);
    append(p, sl, model);
    fill_pool(p, 2);
    ASSERT_EQ(p.d.free_blocks, 2);
    ASSERT_EQ(testing::check_pool(p), "");
    // 20 + 100 + 1 records need three more blocks.
    EXPECT_EQ(s.insert_records(nth_record(s, sl.first, 5), 100), -1);
    EXPECT_EQ(difference(read_chain(s, sl.first), model), "");
    EXPECT_EQ(testing::check_pool(p), "");
    // The two blocks left are enough for 75 more, and then none is left.
    records more;
    for (int i = 0; i < 75; ++i) more.push_back(cc(550, i));
    ASSERT_GE(insert_at(p, sl.blocks, nth_record(s, sl.first, 5), more), 0);
    model.insert(model.begin() + 5, more.begin(), more.end());
    EXPECT_EQ(sl.blocks, 3);
    EXPECT_EQ(p.d.free_blocks, 0);
    EXPECT_EQ(difference(read_chain(s, sl.first), model), "");
    EXPECT_EQ(testing::check_pool(p), "");
}

// Where move_event must put a unit: behind equal positions when it moved earlier. Returns its
// new index.
std::size_t model_move(std::vector<records>& units, std::size_t i, std::int32_t to,
                       std::int32_t d) {
    records u = units[i];
    units.erase(units.begin() + static_cast<std::ptrdiff_t>(i));
    u[0].set_position(to);
    auto it = units.begin();
    if (d < 0)
        while (it != units.end() && (*it)[0].position() <= to) ++it;
    else
        while (it != units.end() && (*it)[0].position() < to) ++it;
    return static_cast<std::size_t>(units.insert(it, u) - units.begin());
}

TEST(EventStorePool, MoveEventPutsShortAndLongEventsBackInOrder) {
    testing::test_program t;
    program& p = *t;
    const event_store& s = p.store();
    scramble_free_list(p, 8, 13);
    track_slot& sl = open_track(p, 0, 0);
    std::vector<records> units;
    for (int i = 0; i < 40; ++i) units.push_back({cc(100 * (i / 3), i)});
    units.insert(units.begin() + 22, sysex(700, 40));  // spans the first block border
    units.insert(units.begin() + 12, text(400, "a text that is long enough"));
    ASSERT_EQ(units[23].size(), 8u);
    append(p, sl, flat(units));
    ASSERT_EQ(testing::check_pool(p), "");

    struct move {
        std::int32_t from, to;
        bool long_one;
    };
    // The first unit at `from` of the kind given moves to `to`.
    for (const move m : {move{1300, 200, false}, move{0, 200, false}, move{200, 200, false},
                         move{700, 100, true}, move{100, 1300, true}, move{400, 400, true},
                         move{1300, 0, true}, move{0, 1300, true}, move{1200, 0, false}}) {
        SCOPED_TRACE(std::to_string(m.from) + " to " + std::to_string(m.to));
        std::size_t i = 0;
        while (i < units.size() &&
               (units[i][0].position() != m.from || (units[i].size() > 1) != m.long_one))
            ++i;
        ASSERT_LT(i, units.size());
        const std::int32_t d = m.to - m.from;
        const ref32 e = nth_event(s, sl.first, i);
        s.at(e).set_position(m.to);
        const ref32 placed = s.move_event(sl.first, e, d);
        const std::size_t j = model_move(units, i, m.to, d);
        EXPECT_EQ(difference(read_chain(s, sl.first), flat(units)), "");
        EXPECT_EQ(placed, nth_event(s, sl.first, j));
        EXPECT_EQ(testing::check_pool(p), "");
    }
}

// ---------------------------------------------------------------------------------------------
// Building in the record area

TEST(ChainBuilder, BuildsCutsAndCountsAChainInTheRecordArea) {
    testing::test_program t;
    program& p = *t;
    const event_store& s = p.store();
    dll_data& d = p.d;
    const ref32 area = d.record_first_block;
    const ref32 write = d.record_write;
    const std::int32_t free0 = d.free_blocks;

    records all;
    for (int i = 0; i < 60; ++i) {
        records r = i % 20 == 7 ? sysex(10 * i, 20) : records{cc(10 * i, i)};
        all.insert(all.end(), r.begin(), r.end());
    }
    ASSERT_EQ(all.size(), 72u);  // with the end record, three blocks
    chain_builder b(s);
    for (const midi_event& e : all) b.put(e);
    EXPECT_EQ(b.written(), 72);
    EXPECT_FALSE(b.overflowed());
    ASSERT_TRUE(b.terminate());
    ASSERT_TRUE(b.ok());
    const ref32 last = d.record_block;
    const ref32 next = s.link(event_store::forward_link(last));
    const ref32 first = b.cut();
    EXPECT_EQ(first, write);
    EXPECT_EQ(s.block_of(first), area);
    EXPECT_EQ(d.record_first_block, next);
    EXPECT_EQ(d.record_write, event_store::first_slot(next));
    EXPECT_EQ(s.link(next), null_ref);
    EXPECT_EQ(s.link(event_store::forward_link(last)), null_ref);
    EXPECT_EQ(d.free_blocks, free0);

    track_slot& sl = p.slot(0, 0);
    sl.first = first;
    sl.in_use = 1;
    sl.blocks = static_cast<std::uint16_t>(b.count_chain_blocks());
    EXPECT_EQ(sl.blocks, 3);
    EXPECT_EQ(d.free_blocks, free0 - 3);
    EXPECT_EQ(difference(read_chain(s, first), all), "");
    EXPECT_EQ(testing::check_pool(p), "");

    // A second chain follows on from where the first was cut.
    chain_builder again(s);
    again.put(cc(5, 5));
    ASSERT_TRUE(again.terminate());
    ASSERT_TRUE(again.ok());
    EXPECT_EQ(again.cut(), event_store::first_slot(next));
    track_slot& sl2 = p.slot(0, 1);
    sl2.first = event_store::first_slot(next);
    sl2.in_use = 1;
    sl2.blocks = static_cast<std::uint16_t>(again.count_chain_blocks());
    EXPECT_EQ(sl2.blocks, 1);
    EXPECT_EQ(testing::check_pool(p), "");
}

TEST(ChainBuilder, NeverUsesUpTheLastFreeBlock) {
    testing::test_program t(1);
    program& p = *t;
    const event_store& s = p.store();
    fill_pool(p, 3);
    ASSERT_EQ(p.d.free_blocks, 3);
    ASSERT_EQ(testing::check_pool(p), "");
    const ref32 area = p.d.record_first_block;
    const ref32 write = p.d.record_write;

    auto build = [&](int n, chain_builder& b) {
        for (int i = 0; i < n; ++i) b.put(cc(i, i));
    };
    {
        // The end record in the last slot of the second block: a free block stays behind.
        chain_builder b(s);
        build(63, b);
        EXPECT_TRUE(b.terminate());
        EXPECT_TRUE(b.ok());
    }
    {
        // The end record would go into the last free block: terminated, but not to be cut.
        chain_builder b(s);
        build(64, b);
        EXPECT_TRUE(b.terminate());
        EXPECT_FALSE(b.ok());
        EXPECT_EQ(b.cut(), null_ref);
    }
    EXPECT_EQ(p.d.record_first_block, area);
    EXPECT_EQ(testing::check_pool(p), "");
    {
        // Every slot written: the cursor stands on the head's null link and nothing is cut.
        chain_builder b(s);
        build(100, b);
        EXPECT_TRUE(b.overflowed());
        EXPECT_EQ(b.written(), 96);
        EXPECT_FALSE(b.terminate());
        EXPECT_FALSE(b.ok());
        EXPECT_EQ(b.cut(), null_ref);
    }
    EXPECT_EQ(p.d.record_first_block, area);
    EXPECT_EQ(p.d.record_write, write);
    EXPECT_EQ(p.d.free_blocks, 3);
    EXPECT_EQ(testing::check_pool(p), "");

    // What could be built still can be.
    chain_builder b(s);
    build(10, b);
    ASSERT_TRUE(b.terminate());
    ASSERT_TRUE(b.ok());
    track_slot& sl = p.slot(0, 0);
    sl.first = b.cut();
    sl.in_use = 1;
    sl.blocks = static_cast<std::uint16_t>(b.count_chain_blocks());
    EXPECT_EQ(p.d.free_blocks, 2);
    EXPECT_EQ(testing::check_pool(p), "");
}

}  // namespace
}  // namespace kestrune
