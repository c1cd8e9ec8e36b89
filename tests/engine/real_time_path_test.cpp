// The replaced global allocator pairs malloc with free on purpose.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "song/locate.h"
#include "song/patterns.h"
#include "song/song_start.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

// Counts allocations while a test asks for it, to prove the engine's tick never allocates.
namespace {
std::atomic<bool> counting{false};
std::atomic<long> allocations{0};
}  // namespace

void* operator new(std::size_t n) {
    if (counting.load(std::memory_order_relaxed)) allocations.fetch_add(1);
    if (void* p = std::malloc(n ? n : 1)) return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}

namespace kestrune {
namespace {

using namespace testing;

// `notes` notes `spacing` ticks apart from the song start, each as long as half the spacing.
void fill(test_program& t, int pattern, int track, int notes, int spacing) {
    records recs;
    for (int i = 0; i < notes; ++i) {
        recs.push_back(ev(0x90, 40 + i % 40, 100, 3072 + i * spacing));
        recs.push_back(ev(0x80, 40 + i % 40, 0, 3072 + i * spacing + spacing / 2));
    }
    give_track(*t, pattern, track, recs);
}

TEST(EngineRealTimePath, TickNeverAllocates) {
    testing::test_program t;
    for (int tr = 0; tr < 32; ++tr) fill(t, 0, tr, 200, 48);
    for (int tr = 0; tr < 4; ++tr) fill(t, parallel_pattern, tr, 100, 96);
    t->slot(0, 3).loop_length = 3071 + 768;
    t->d.song_mode = 1;
    t->d.midi_click = 1;
    t->d.click_always = 1;
    t->d.sync_out = 1;
    t->d.sync_out_ports[0] = 1;
    t->d.cycle_on = 1;
    t->d.left_locator = 3072;
    t->d.right_locator = 3072 + 4 * 768;
    locate(*t, 3072);
    t->d.stopped = 0;
    counting = true;
    for (int i = 0; i < 400; ++i) {
        t.run_ms(5);
        if (i == 100) t->d.all_notes_off_request = 1;
        if (i == 200) t->d.reset_request = 1;
        if (i == 300) t->d.chase_ready = 1;
    }
    counting = false;
    EXPECT_EQ(allocations.load(), 0);
    EXPECT_GT(t.midi.size(), 1000u);
}

}  // namespace
}  // namespace kestrune
