#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "engine/jack_backend.h"
#include "engine/system_backend.h"

namespace kestrune {
namespace {

// ---- the JACK scheduler, without a server ----

// 1024 frames at 48 kHz, the cycle starting at frame 5000 and at 10 s on the
// engine's clock.
constexpr jack_cycle cycle0{5000, 1024, 10'000'000, 1024 * 1e6 / 48000};
constexpr std::int64_t latency = 1024 + 96;

jack_cycle cycle(int k) {
    jack_cycle c = cycle0;
    c.first_frame += static_cast<std::uint32_t>(k) * 1024;
    c.start_us += std::llround(k * c.period_us);
    return c;
}

// The absolute frame a message due at `us` must land on.
std::int64_t frame_of(std::int64_t us) {
    return cycle0.first_frame + std::llround((us - cycle0.start_us) * 0.048) + latency;
}

struct written {
    int cycle;
    std::int64_t frame;  // absolute
    std::uint32_t offset;
    std::vector<std::uint8_t> bytes;
};

class log_writer final : public jack_event_writer {
  public:
    explicit log_writer(std::size_t room = 4096) : room_(room) {}
    std::uint8_t* reserve(std::uint32_t offset, std::size_t size) override {
        if (size > room_) return nullptr;
        EXPECT_TRUE(out.empty() || out.back().cycle != cycle || out.back().offset <= offset)
            << "offsets must not go back within a cycle";
        EXPECT_LT(offset, 1024u);
        room_ -= size;
        out.push_back({cycle, first + offset, offset, std::vector<std::uint8_t>(size)});
        return out.back().bytes.data();
    }
    std::size_t max_size() const override { return max; }

    void next(const jack_cycle& c, int k, std::size_t room) {
        cycle = k;
        first = c.first_frame;
        room_ = room;
    }
    std::vector<written> out;
    std::size_t max = 4096;
    int cycle = 0;
    std::int64_t first = 0;

  private:
    std::size_t room_;
};

void drain(jack_port_queue& q, log_writer& w, int k, std::size_t room = 4096) {
    const jack_cycle c = cycle(k);
    w.next(c, k, room);
    q.drain(c, latency, w);
}

void push3(jack_port_queue& q, std::uint8_t a, std::uint8_t b, std::int64_t due) {
    const std::uint8_t m[3] = {a, b, 100};
    ASSERT_TRUE(q.push(m, 3, due));
}

TEST(JackScheduler, EachMessageLandsOnItsOwnFrameAndTheThruQueueMergesIn) {
    jack_port_queue engine_side, thru_side;
    jack_port_queue* const both[] = {&engine_side, &thru_side};
    log_writer w;
    // Spread over several cycles at odd spacings, two of them on the same frame,
    // one right at a border; each side hands them over in time order, the fourth
    // and seventh through thru.
    const std::vector<std::int64_t> due = {10'000'000, 10'003'217, 10'003'217, 10'019'333,
                                           10'021'334, 10'050'000, 10'077'777, 10'085'333};
    for (std::size_t i = 0; i < due.size(); ++i)
        push3(i == 3 || i == 6 ? thru_side : engine_side, 0x90, static_cast<std::uint8_t>(60 + i),
              due[i]);
    for (int k = 0; k < 8; ++k) {
        w.next(cycle(k), k, 4096);
        jack_port_queue::drain(both, 2, cycle(k), latency, w);
    }
    EXPECT_TRUE(engine_side.empty() && thru_side.empty());
    ASSERT_EQ(w.out.size(), due.size());
    for (std::size_t i = 0; i < due.size(); ++i) {
        EXPECT_EQ(w.out[i].frame, frame_of(due[i])) << "message " << i;
        EXPECT_EQ(w.out[i].bytes[1], 60 + i) << "order";
        // Written in the cycle that holds its frame, not snapped to a cycle's
        // start.
        EXPECT_EQ(w.out[i].cycle, static_cast<int>((frame_of(due[i]) - 5000) / 1024));
    }
    EXPECT_EQ(engine_side.late() + thru_side.late(), 0u);
    // Input on a frame is stamped with the time whose output lands there: 120
    // frames (2.5 ms) before the cycle's start.
    EXPECT_EQ(jack_input_time(cycle0, 1000, latency), 9'997'500);
}

TEST(JackScheduler, FullBufferWaitsForTheNextCycleAndOversizeIsDropped) {
    jack_port_queue q;
    log_writer w;
    w.max = 100;
    std::vector<std::uint8_t> big(300, 0x11);
    big.front() = 0xF0;
    big.back() = 0xF7;
    push3(q, 0x90, 1, 10'000'000);
    ASSERT_TRUE(q.push(big.data(), big.size(),
                       10'000'100));  // never fits: dropped, not stuck
    push3(q, 0x90, 2, 10'000'200);
    push3(q, 0x90, 3, 10'000'300);
    // The cycle has room for two short messages only.
    w.next(cycle0, 0, 6);
    q.drain(cycle0, 0, w);
    ASSERT_EQ(w.out.size(), 2u);
    EXPECT_EQ(q.dropped(), 1u);
    w.next(cycle(1), 1, 4096);
    q.drain(cycle(1), 0, w);
    ASSERT_EQ(w.out.size(), 3u);
    EXPECT_EQ(w.out[2].bytes[1], 3);
    EXPECT_EQ(w.out[2].offset, 0u);  // late now, first thing in the cycle
    EXPECT_EQ(q.late(), 1u);
    EXPECT_TRUE(q.empty());
}

TEST(JackScheduler, QueueWrapsLongMessagesIntactAndRefusesWhenFull) {
    jack_port_queue q(256);
    log_writer w;
    std::vector<std::uint8_t> sysex(150);
    for (std::size_t i = 0; i < sysex.size(); ++i) sysex[i] = static_cast<std::uint8_t>(i);
    // Fill, empty and fill again so the second message runs over the ring's end.
    const std::int64_t now = 9'980'000;  // plays in cycle 0
    push3(q, 0x90, 1, now);
    push3(q, 0x90, 2, now);
    push3(q, 0x90, 3, now);
    ASSERT_TRUE(q.push(sysex.data(), sysex.size(), now));
    // Each message takes a 12-byte header: 49 bytes are left, and 40 more need 52.
    EXPECT_FALSE(q.push(sysex.data(), 40, now));
    EXPECT_EQ(q.dropped(), 1u);
    drain(q, w, 0);
    ASSERT_EQ(w.out.size(), 4u);
    ASSERT_TRUE(q.push(sysex.data(), sysex.size(), now + 1000));
    drain(q, w, 1);
    ASSERT_EQ(w.out.size(), 5u);
    EXPECT_EQ(w.out[3].bytes, sysex);
    EXPECT_EQ(w.out[4].bytes, sysex);
}

// ---- the merged list and routing, over stand-in systems ----

TEST(SystemBackend, ListsEveryDeviceMarkedByItsSystemAndRoutesEachPort) {
    auto alsa_owned = std::make_unique<capture_backend>(64);
    auto jack_owned = std::make_unique<capture_backend>(64);
    capture_backend* alsa = alsa_owned.get();
    capture_backend* jack = jack_owned.get();
    alsa->outputs = {"Synth", "Drums"};
    alsa->inputs = {"Keys"};
    jack->outputs = {"fluidsynth:midi_00"};
    jack->inputs = {"keyboard:out", "pads:out"};
    std::vector<system_backend::system> systems;
    systems.push_back({"ALSA: ", std::move(alsa_owned)});
    systems.push_back({"JACK: ", std::move(jack_owned)});
    system_backend m(std::move(systems));
    for (int p = 0; p < output_ports; ++p) {
        alsa->close_output(p);
        jack->close_output(p);
    }
    EXPECT_EQ(m.output_devices(),
              (std::vector<std::string>{"ALSA: Synth", "ALSA: Drums", "JACK: fluidsynth:midi_00"}));
    EXPECT_EQ(m.input_devices(),
              (std::vector<std::string>{"ALSA: Keys", "JACK: keyboard:out", "JACK: pads:out"}));
    // Port A goes to JACK, then to ALSA: JACK's port is closed first, and sends
    // follow the port.
    const std::uint8_t on[3] = {0x90, 60, 100};
    ASSERT_TRUE(m.open_output(0, 2));
    ASSERT_TRUE(m.open_output(1, 1));  // port B to ALSA's second device
    m.send(0, on, 3, 111);
    m.send(1, on, 3, 222);
    m.send(2, on, 3, 333);  // closed: goes nowhere
    ASSERT_TRUE(m.open_output(0, 0));
    EXPECT_TRUE(!jack->output_open(0) && alsa->output_open(0));
    m.send(0, on, 3, 444);
    // A device that refuses, or a number past the list, leaves the port closed.
    jack->refuse_devices = {0};
    EXPECT_FALSE(m.open_output(0, 2) || m.output_open(0) || alsa->output_open(0));
    EXPECT_FALSE(m.open_output(3, 3) || m.open_output(3, -1) || m.open_output(4, 0));
    m.send(7, on, 3, 555);
    const std::vector<std::int64_t> alsa_got{1222, 444}, jack_got{111};
    for (auto [b, want] : {std::pair{alsa, alsa_got}, {jack, jack_got}}) {
        std::vector<std::int64_t> got;
        for (std::size_t i = 0; i < b->size(); ++i)
            got.push_back((*b)[i].port * 1000 + (*b)[i].due_us);
        EXPECT_EQ(got, want);
    }
    // A choice made with `only` leaves that one source connected over all
    // systems; device numbers are merged.
    jack->hardware_input = 1;
    EXPECT_EQ(std::make_pair(m.connected_input(), m.default_input()), std::make_pair(-1, 2));
    ASSERT_TRUE(m.connect_input(2, true));  // JACK: pads:out
    ASSERT_TRUE(m.connect_input(0, true));  // ALSA: Keys, and JACK lets go
    EXPECT_EQ(std::make_pair(m.connected_input(), jack->connected_input()), std::make_pair(0, -1));
    ASSERT_TRUE(m.connect_input(2, false));  // beside it
    EXPECT_EQ(std::make_pair(alsa->connected_input(), jack->connected_input()),
              std::make_pair(0, 1));
    EXPECT_FALSE(m.connect_input(3, false));
    // Every system's input is heard while the program listens.
    struct : midi_input_sink {
        std::vector<std::int64_t> at;
        void midi_in(const std::uint8_t*, std::size_t, std::int64_t at_us) override {
            at.push_back(at_us);
        }
    } sink;
    m.listen(&sink);
    jack->inject(on, 3, 42);
    alsa->inject(on, 3, 43);
    m.listen(nullptr);
    alsa->inject(on, 3, 46);
    EXPECT_EQ(sink.at, (std::vector<std::int64_t>{42, 43}));
}

}  // namespace
}  // namespace kestrune
