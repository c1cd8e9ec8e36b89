// The Standard MIDI file writer: the bytes it writes, its refusals, and reading them back.
#include "files/smf_writer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "files/file_messages.h"
#include "files/smf_reader.h"
#include "song/patterns.h"
#include "tests/files/file_test_support.h"
#include "tests/support/chain_checker.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;
using bytes = std::vector<std::uint8_t>;

bytes slice(const bytes& b, std::size_t from, std::size_t n) {
    return bytes(b.begin() + static_cast<std::ptrdiff_t>(from),
                 b.begin() + static_cast<std::ptrdiff_t>(from + n));
}

// The chunks of a file: their bodies, checked against their lengths.
std::vector<bytes> chunks(const bytes& b) {
    std::vector<bytes> out;
    std::size_t at = 14;
    while (at + 8 <= b.size()) {
        EXPECT_EQ(slice(b, at, 4), (bytes{'M', 'T', 'r', 'k'}));
        std::size_t n = 0;
        for (std::size_t i = 4; i < 8; ++i) n = n << 8 | b.at(at + i);
        EXPECT_LE(at + 8 + n, b.size());
        out.push_back(slice(b, at + 8, std::min<std::size_t>(n, b.size() - at - 8)));
        at += 8 + n;
    }
    EXPECT_EQ(at, b.size());
    return out;
}

struct SmfWriter : file_test {
    bytes save() {
        const std::string path = dir.path("out.mid");
        EXPECT_TRUE(write_midi_file(*t, path));
        EXPECT_EQ(check_pool(*t), "");
        return read_bytes(path);
    }
};

TEST_F(SmfWriter, RefusalsAndTheTrackParameterWarning) {
    file_state fs;
    fs.current_file_title = "Tune.sng";
    give_track(*t, 0, 2, {});
    EXPECT_EQ(save_midi_file(*t, fs), 0);
    EXPECT_EQ(t.screen.last_text(), msg_no_data_in_pattern);
    EXPECT_TRUE(t.screen.dialogs.empty());

    give_track(*t, 0, 4, {midi_event::make(0x90, 60, 100, 3072)});
    // Channel, quantize, mute and port are no track parameters to warn about.
    t->slot(0, 4).channel = 3;
    t->slot(0, 4).mute = 1;
    t->slot(0, 4).port = 2;
    t->slot(0, 4).quantize = 4;
    const std::string path = dir.path("Tune.mid");
    t.screen.file_names.push_back(path);
    t.screen.messages.clear();
    EXPECT_EQ(save_midi_file(*t, fs), 1);
    EXPECT_TRUE(t.screen.messages.empty());
    ASSERT_EQ(t.screen.dialogs.size(), 1u);
    EXPECT_EQ(t.screen.dialogs[0].file_name + " " + t.screen.dialogs[0].filter,
              "Tune.mid MIDI Files (*.mid)|*.mid|All Files (*.*)|*.*");
    EXPECT_EQ(fs.recent_files.front(), path);
    const bytes first = read_bytes(path);
    EXPECT_EQ(slice(first, 8, 4), (bytes{0, 0, 0, 1})) << "one track: format 0";

    // Velocity, delay, transpose, compress or a loop are: No (the default answer) stops.
    for (int k = 0; k < 5; ++k) {
        track_slot& s = t->slot(0, 4);
        s.velocity = k == 0 ? 5 : 0;
        s.delay = k == 1 ? -2 : 0;
        s.transpose = k == 2 ? 1 : 0;
        s.compress = k == 3 ? -1 : 0;
        s.loop_length = k == 4 ? 3071 + 768 : no_loop;
        t.screen.messages.clear();
        t.screen.answers.clear();
        EXPECT_EQ(save_midi_file(*t, fs), 0);
        ASSERT_EQ(t.screen.messages.size(), 1u);
        EXPECT_EQ(t.screen.messages[0].text, ask_track_parameters_lost);
        EXPECT_EQ(nums(t.screen.messages[0].buttons, t.screen.dialogs.size()),
                  nums(msg_buttons::yes_no, 1));
    }
    t.screen.answers = {msg_answer::yes};
    t.screen.file_names.push_back(path);
    EXPECT_EQ(save_midi_file(*t, fs), 1);
    // The events go out as they stand: the parameters are not in the file.
    EXPECT_EQ(read_bytes(path), first);
}

TEST_F(SmfWriter, FormatOneHasAConductorChunkAndReadsBackTrackForTrack) {
    // Every kind of event, long events, one before 3072 and one at the last position.
    const records one =
        flat({{ev(0xA4, 60, 33, 2000), ev(0x94, 60, 100, 3072), ev(0xB4, 7, 99, 3072),
               ev(0xC4, 12, 0, 3100), ev(0xD4, 55, 0, 3200), ev(0xE4, 0x11, 0x45, 3300)},
              long_event(st::sysex, 3400, sysex_payload(77)),
              text_event(3500, "words", false),
              text_event(3600, "la la", true),
              {ev(0x84, 60, 64, last_position)}});
    const records two = {ev(0x9F, 30, 1, 3080), ev(0x8F, 30, 0, 3090)};
    give_track(*t, 1, 3, one);
    give_track(*t, 1, 5, {});  // in use, but empty: no chunk
    give_track(*t, 1, 7, two);
    t->slot(1, 3).channel = 5;
    t->slot(1, 7).channel = 16;
    put_name(t->slot(1, 3).name, "Track 3");
    t->d.current_pattern = 1;
    // The default tempo at 0 gives way to the one at the start of the song.
    replace_list(*t, t->d.tempo_chain,
                 {tempo(12000, 0), tempo(10000, 3072), tempo(15000, 4000), tempo(6000, 9000)});
    t->d.tempo_track_on = 1;
    use_signature_track(*t, {ev(st::signature, 3, 4, 3072), ev(st::signature, 7, 8, 3072 + 1152)});
    const bytes b = save();
    EXPECT_EQ(slice(b, 8, 6), (bytes{0, 1, 0, 3, 0, 0xC0}));
    const auto c = chunks(b);
    ASSERT_EQ(c.size(), 3u);
    EXPECT_EQ(c[0], (bytes{0x00, 0xFF, 0x51, 0x03, 0x09, 0x27, 0xC0,              // 600,000 us
                           0x00, 0xFF, 0x58, 0x04, 3,    2,    0x18, 0x08,        // 3/4
                           0x87, 0x20, 0xFF, 0x51, 0x03, 0x06, 0x1A, 0x80,        // 928: 400,000 us
                           0x81, 0x60, 0xFF, 0x58, 0x04, 7,    3,    0x18, 0x08,  // 1152: 7/8
                           0xA5, 0x28, 0xFF, 0x51, 0x03, 0x0F, 0x42, 0x40,  // 5928: 1,000,000 us
                           0x00, 0xFF, 0x2F, 0x00}));
    EXPECT_EQ(midi_format_text(*t), "Format 1");
    // A channel prefix for channel 6; none where the track keeps its events' channels.
    EXPECT_EQ(slice(c[1], 0, 5), (bytes{0x00, 0xFF, 0x20, 0x01, 5}));
    EXPECT_EQ(slice(c[2], 0, 3), (bytes{0x00, 0xFF, 0x03}));

    clear_song(*t);
    ASSERT_EQ(read_midi_file(*t, dir.path("out.mid"), cleared_song_load), 1);
    EXPECT_EQ(check_pool(*t), "");
    records early = one;
    early[0].set_position(3072);
    EXPECT_EQ(difference(read_track(*t, 1, 0), early) + difference(read_track(*t, 1, 1), two), "");
    EXPECT_EQ(name_of(t->slot(1, 0).name), "Track 3   ");
    EXPECT_EQ(t->app.song_tempo, 10000);
    EXPECT_EQ(
        difference(read_chain(t->store(), t->d.tempo_chain.first),
                   {tempo(10000, 0), tempo(10000, 3072), tempo(15000, 4000), tempo(6000, 9000)}),
        "");
    EXPECT_TRUE(holds(read_chain(t->store(), t->d.signature_track.first),
                      {ev(st::signature, 3, 4, 3072), ev(st::signature, 7, 8, 3072 + 1152)}));
}

}  // namespace
}  // namespace kestrune
