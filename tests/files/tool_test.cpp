#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <sstream>

#include "files/pattern_file.h"
#include "files/smf_writer.h"
#include "files/song_file.h"
#include "song/patterns.h"
#include "tests/files/file_test_support.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;
using Tool = folder_test;

struct run_result {
    int status = -1;
    std::string out;
    std::string err;
};

std::string text_of(const std::string& path) {
    const auto b = read_bytes(path);
    return {b.begin(), b.end()};
}

// Runs the tool with arguments, collecting its output and its messages.
run_result run_tool(const temp_folder& dir, const std::string& args) {
    const std::string out = dir.path("stdout.txt"), err = dir.path("stderr.txt");
    const int w = std::system(
        ("'" + std::string(KESTRUNE_TOOL_PATH) + "' " + args + " >'" + out + "' 2>'" + err + "'")
            .c_str());
    return {WIFEXITED(w) ? WEXITSTATUS(w) : -1, text_of(out), text_of(err)};
}

std::vector<std::string> lines_of(const std::string& s) {
    std::vector<std::string> out;
    std::istringstream in(s);
    for (std::string line; std::getline(in, line);) out.push_back(line);
    return out;
}

// Every usage error exits with 2 and says first what is wrong.
TEST_F(Tool, UsageErrorsSayWhatIsWrong) {
    const std::pair<const char*, const char*> cases[] = {
        {"", "no command given"},
        {"replay x.sng", "unknown command replay"},
        {"convert a.sng", "convert takes INPUT and OUTPUT"},
        {"convert a.sng b.txt", "OUTPUT must end in .sng or .mid"},
        {"dump a.sng --pattern 17", "--pattern takes a number from 0 to 16, not 17"},
        {"dump a.sng --bars", "unknown option --bars"},
        {"info a.sng --tempo", "info does not use --tempo"},
        {"apply a.sng b.sng Quantize --track", "--track needs a value"},
        {"apply a.sng b.sng Quantize --locators 5", "--locators needs two values, L and R"},
    };
    for (const auto& [args, why] : cases) {
        const run_result r = run_tool(dir, args);
        EXPECT_EQ(r.status, 2) << args;
        EXPECT_EQ(lines_of(r.err).at(0), std::string("kestrune-tool: ") + why) << args;
    }
}

std::string escaped(const std::string& text) {
    std::string out;
    for (char c : text) out += c == '\n' ? std::string("\\n") : std::string(1, c);
    return out + "\n";
}

TEST_F(Tool, ConvertSaysWhatItLosesAndFailsWhereNothingWasLoadedOrSaved) {
    {
        test_program t;
        give_track(*t, 0, 0, notes(2, song_start, 96)).transpose = 3;
        ASSERT_TRUE(write_song_file(*t, dir.path("song.sng")));
    }
    const std::string song = " '" + dir.path("song.sng") + "' '";
    // The track parameter warning, answered Yes.
    auto r = run_tool(dir, "convert" + song + dir.path("out.MID") + "'");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, escaped(ask_track_parameters_lost));
    EXPECT_FALSE(read_bytes(dir.path("out.MID")).empty());

    r = run_tool(dir, "convert '" + dir.path("none.sng") + "' '" + dir.path("x.sng") + "'");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "Failed to open the selected file.\\n" + dir.path("none.sng") +
                         ": No such file or directory\n");
    write_bytes(dir.path("x.txt"), {1, 2, 3});
    r = run_tool(dir, "info '" + dir.path("x.txt") + "'");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "Unknown file type\n");
    // A MIDI file without a track leaves the song empty.
    auto foreign = midi_bytes(1, 1, 96).b;
    foreign.insert(foreign.end(), {'X', 'Y', 'Z', 'W', 0, 0, 0, 0});
    write_bytes(dir.path("e.mid"), foreign);
    r = run_tool(dir, "convert '" + dir.path("e.mid") + "' '" + dir.path("e.sng") + "'");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "Unrecognized data!!\nNo data in this MIDI file!\n");
    EXPECT_TRUE(read_bytes(dir.path("e.sng")).empty());
    // A valid file whose one track holds only its end is an empty song, said so.
    write_bytes(dir.path("end.mid"), midi_bytes(0, 1, 96).track(track_bytes().end()).b);
    r = run_tool(dir, "convert '" + dir.path("end.mid") + "' '" + dir.path("end.sng") + "'");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "No data in this MIDI file!\n");
    EXPECT_FALSE(read_bytes(dir.path("end.sng")).empty());
    r = run_tool(dir, "convert" + song + dir.path("no/dir/x.mid") + "'");
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("Invalid file handle!!\\n" + dir.path("no/dir/x.mid") + ": No such file"),
              std::string::npos)
        << r.err;
}

TEST_F(Tool, DumpPrintsEachTrackThenItsRows) {
    {
        test_program t;
        give_track(*t, 0, 3,
                   flat({{ev(0x90, 60, 100, song_start), ev(0xB0, 7, 100, song_start + 10),
                          ev(0xC1, 5, 0, song_start + 20), ev(0x90, 64, 70, song_start + 30),
                          ev(0x80, 64, 64, song_start + 83), ev(0x80, 60, 64, song_start + 192),
                          ev(0x92, 62, 90, song_start + 768 + 48 + 5),
                          ev(0xE0, 0, 64, song_start + 830), ev(0xD0, 40, 0, song_start + 840)},
                         long_event(st::sysex, song_start + 900, {0x41, 0x10, 0x42, 0x12, 0xF7}),
                         text_event(song_start + 950, "Hi\r\nthere, 12345678901234567", true)}));
        put_name(t->slot(0, 3).name, "Lead");
        give_track(*t, parallel_pattern, 0, {ev(0x9F, 5, 1, song_start + 3 * 768)});
        replace_list(*t, t->d.tempo_chain, {tempo(9050, 0), tempo(30005, song_start)});
        replace_list(*t, t->d.signature_track, {ev(st::signature, 3, 4, song_start)});
        ASSERT_TRUE(write_song_file(*t, dir.path("d.sng")));
    }
    auto r = run_tool(dir, "dump '" + dir.path("d.sng") + "' --tempo --signature");
    ASSERT_EQ(r.status, 0) << r.err;
    // Columns: position from 2, name from 16, channel 24-26, data 28-31 and 33-35, then the
    // length from 38, the controller name from 39 or the manufacturer from 37.
    const std::vector<std::string> want = {
        "pattern 0 track 3 name \"Lead      \"",
        "     1  1  1  1 Note      1  C 4 100        1  0  0",
        "     1  1  1 11 Control   1    7 100     Volume",
        "     1  1  1 21 Program   2    5",
        "     1  1  1 31 Note      1  E 4  70           1  5",
        "     1  1  2 36 Note Off  1  E 4  64",
        "     1  2  1  1 Note Off  1  C 4  64",
        "     2  1  2  6 Note      3  D 4  90     Missing",
        "     2  1  2 15 PitchWh   1    0  64",
        "     2  1  2 25 C-Press   1   40",
        "     2  1  3 37 Sys Ex        65  16    Roland",
        "     2  1  4 39 Lyric    Hi..there, 1234567890123456",
        "pattern 16 track 0 name \"          \"",
        "     4  1  1  1 Note     16  F-1   1     Missing",
        "    -3  1  1  1 Tempo         90  50",
        "     1  1  1  1 Tempo        300  05",
        "     1  1  1  1 Signatur       3   4",
    };
    EXPECT_EQ(lines_of(r.out), want);

    r = run_tool(dir, "dump '" + dir.path("d.sng") + "' --pattern 16");
    ASSERT_EQ(r.status, 0);
    EXPECT_EQ(lines_of(r.out), (std::vector<std::string>{want[12], want[13]}));
}

TEST_F(Tool, PatternTrackAndSysexFilesLoadIntoTheFirstPatternAndTrack) {
    {
        test_program t;
        track_slot& s = give_track(*t, 4, 7, {midi_event::make(0x90, 64, 80, song_start)});
        s.loop_length = 3071 + 768;  // one bar
        s.port = 2;
        put_name(t->pattern(4).name, "Chorus");
        ASSERT_TRUE(write_pattern_file(*t, 4, dir.path("c.pat")));
        ASSERT_TRUE(write_track_file(*t, 4, 7, dir.path("c.trk")));
    }
    write_bytes(dir.path("s.syx"), {0xF0, 0x43, 0x01, 0xF7});
    auto out = [&](const std::string& command, const char* file) {
        const run_result r = run_tool(dir, command + " '" + dir.path(file) + "'");
        EXPECT_EQ(r.status, 0) << r.err;
        return lines_of(r.out);
    };
    EXPECT_EQ(out("dump", "c.pat").at(0), "pattern 0 track 7 name \"          \"");
    EXPECT_EQ(out("dump", "c.trk").at(0), "pattern 0 track 0 name \"          \"");
    EXPECT_EQ(out("dump", "s.syx"),
              (std::vector<std::string>{"pattern 0 track 0 name \"  Sys Ex  \"",
                                        "     1  1  1  1 Sys Ex        67   1    Yamaha"}));
    const auto info = out("info", "c.pat");
    EXPECT_EQ(info.at(0), "pattern 0 name \"Chorus    \" tracks 1");
    EXPECT_EQ(info.at(1),
              "  track 7 name \"          \" channel 8 port C velocity 0 transpose 0 "
              "delay 0 compress 0 quantize 0 mute 0 loop 768 events 1");
}

}  // namespace
}  // namespace kestrune
