#include <gtest/gtest.h>

#include <deque>
#include <optional>
#include <string>
#include <tuple>

#include "editors/sysex/long_event_text.h"
#include "editors/sysex/sysex_edit.h"
#include "tests/support/chain_checker.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using bytes = std::vector<std::uint8_t>;

TEST(SysexText, ReadsBytesInPairsOrAloneAndNamesEachFaultAndWhereItLies) {
    EXPECT_EQ(parse_sysex_text("f0,7e,1,F7").message, (bytes{0xF0, 0x7E, 0x01, 0xF7}));
    const std::tuple<std::string, sysex_error, int> cases[] = {
        {"F0,,F7", sysex_error::bad_character, 3},   {"F0,1G,F7", sysex_error::bad_character, 4},
        {"F0,123,F7", sysex_error::bad_character, 5}, {"F0,80,F7", sysex_error::data_byte, 3},
        {"F1,01,F7", sysex_error::no_start, 0},       {"F0,01,F7,", sysex_error::no_end, 7},
    };
    for (const auto& [text, error, at] : cases) {
        const sysex_parse r = parse_sysex_text(text);
        EXPECT_EQ(std::make_tuple(r.error, r.at, r.message.empty()), std::make_tuple(error, at, true)) << text;
    }
    // The longest message there is; one byte more is too long, which outweighs a wrong data byte.
    bytes longest(max_sysex_bytes, 0x11);
    longest.front() = 0xF0;
    longest.back() = 0xF7;
    EXPECT_EQ(parse_sysex_text(sysex_text(longest)).message, longest);
    longest.insert(longest.begin() + 1, 0x80);
    EXPECT_EQ(parse_sysex_text(sysex_text(longest)).error, sysex_error::too_long);
}

TEST(TextForDialog, ShowsLineEndsAsPilcrowsSavesThemBackInTurnAndHoldsTwoHundredCharacters) {
    const bytes two_lines = {'a', 0x0D, 0x0A, 'b', 0x0D, 0x0A, 0};
    EXPECT_EQ(text_for_dialog(two_lines), "a\u00B6\u00B6b\u00B6\u00B6");
    EXPECT_EQ(text_payload(*text_for_dialog(two_lines)), two_lines);
    // Pilcrows typed one by one, or a line broken in the box, alternate CR and LF from CR;
    // characters outside ASCII are stored as NUL.
    EXPECT_EQ(text_payload("x\u00B6y\nz\u00E9\u20AC"), (bytes{'x', 0x0D, 'y', 0x0A, 'z', 0, 0, 0}));
    EXPECT_EQ(text_for_dialog({'d', 0xE9, 0, 'x', 0}), "d\u00E9");
    bytes too_long(max_text_chars + 1, 'a');
    EXPECT_FALSE(text_for_dialog(too_long));
    too_long[max_text_chars] = 0;
    EXPECT_TRUE(text_for_dialog(too_long));
}

using namespace testing;

// A track of 28 notes, a long event behind them and one note after it, edited through dialogs
// whose answers are scripted: a text typed and OK, or nothing for Cancel.
class LongEventEdit : public ::testing::Test {
protected:
    LongEventEdit() {
        p.ask_dialog = [this](const command_record& c, field_values& v) {
            titles.push_back(c.dialog.title);
            shown.push_back(v[0].text);
            selected.push_back(v[0].number);
            if (answers.empty() || !answers.front()) return false;
            v[0].text = *answers.front();
            answers.pop_front();
            return true;
        };
    }
    // The track with `long_event` behind the notes.
    records track_with(const records& long_event) const {
        records recs = notes(28, 3072, 1);
        recs.insert(recs.end(), long_event.begin(), long_event.end());
        recs.push_back(after);
        return recs;
    }
    void give(const records& long_event) { give_track(p, 0, 0, track_with(long_event)); }
    ref32 head() const { return nth_record(p.store(), p.slot(0, 0).first, 28); }

    test_program t;
    program& p = *t;
    const midi_event after = ev(0x90, 64, 100, 3200);
    std::deque<std::optional<std::string>> answers;
    std::vector<std::string> titles, shown;
    std::vector<int> selected;
};

TEST_F(LongEventEdit, SysexGrowsIntoANewBlockAndShrinksBackAfterAWrongTextWasSaidAndKept) {
    give(long_event(st::sysex, 3100, {0x01, 0x02, 0x03, st::sysex_end}));
    answers = {"F0,,F7", "f0,10,11,12,13,14,15,16,17,18,19,1a,1b,1c,1d,1e,1f,20,21,22,23,f7"};
    EXPECT_EQ(edit_long_event(p, 0, 0, head()), outcome::done);
    EXPECT_EQ(titles, (std::vector<std::string>{"Edit System Exclusive", "Edit System Exclusive"}));
    // The wrong text is said, and the dialog opens again on it with the second comma selected.
    EXPECT_EQ(shown, (std::vector<std::string>{"F0,01,02,03,F7", "F0,,F7"}));
    EXPECT_EQ(selected, (std::vector<int>{0, 4}));
    EXPECT_EQ(t.screen.messages.at(0).text, sysex_error_text(sysex_error::bad_character));
    const records grown = {
        ev(st::sysex, 0x10, 0x11, 3100),
        {{0x12, 0x13, 0x14, 0x15, 0x16, 0x17}},
        {{0x18, 0x19, 0x1A, 0x1B, 0x1C, 0x1D}},
        {{0x1E, 0x1F, 0x20, 0x21, 0x22, 0x23}},
        {{st::sysex_end, 0, 0, 0, 0, 0}},
    };
    EXPECT_TRUE(holds(read_track(p, 0, 0), track_with(grown)));
    EXPECT_EQ(nums(p.slot(0, 0).blocks, p.undo.available), nums(2, 1));
    EXPECT_EQ(check_pool(p), "");

    answers = {"F0,7F,F7"};
    EXPECT_EQ(edit_sysex_event(p, 0, 0, head()), outcome::done);
    EXPECT_EQ(shown.back(), "F0,10,11,12,13,14,15,16,17,18,19,1A,1B,1C,1D,1E,1F,20,21,22,23,F7");
    EXPECT_TRUE(holds(read_track(p, 0, 0), track_with({ev(st::sysex, 0x7F, st::sysex_end, 3100)})));
    EXPECT_EQ(p.slot(0, 0).blocks, 1);
    EXPECT_EQ(check_pool(p), "");
}

TEST_F(LongEventEdit, CancelTooLongAndLowMemoryLeaveTheEventAsItWas) {
    give(long_event(st::sysex, 3100, sysex_payload(max_sysex_bytes - 1)));
    const records before = read_track(p, 0, 0);
    const std::uint32_t changes = p.changes.tracks;
    answers = {"F0,01,F7"};
    EXPECT_EQ(edit_text_event(p, 0, 0, head()), outcome::refused);  // no text
    answers = {std::nullopt};
    EXPECT_EQ(edit_long_event(p, 0, 0, head()), outcome::cancelled);
    const int free = p.d.free_blocks;
    p.d.free_blocks = 9;
    EXPECT_EQ(edit_long_event(p, 0, 0, head()), outcome::refused);
    EXPECT_EQ(t.screen.last_text(), msg_not_enough_memory);
    p.d.free_blocks = free;
    EXPECT_EQ(shown.size(), 1u);
    EXPECT_TRUE(holds(read_track(p, 0, 0), before));

    give(long_event(st::sysex, 3100, sysex_payload(max_sysex_bytes)));
    EXPECT_EQ(edit_long_event(p, 0, 0, head()), outcome::refused);
    EXPECT_EQ(t.screen.last_text(), msg_long_message);
    EXPECT_EQ(nums(shown.size(), p.changes.tracks - changes), nums(1, 0));
}

TEST_F(LongEventEdit, ALyricKeepsItsKindAndItsLineEndsAndATooLongTextIsSaidAndKept) {
    give(text_event(3100, "la\r\nli", true));
    const std::string too_long(max_text_chars + 1, 'x');
    answers = {too_long, "la\u00B6\u00B6lo \u00B6\u00B6"};
    EXPECT_EQ(edit_long_event(p, 0, 0, head()), outcome::done);
    EXPECT_EQ(titles.front(), "Edit Lyric Event");
    EXPECT_EQ(shown, (std::vector<std::string>{"la\u00B6\u00B6li", too_long}));
    EXPECT_EQ(t.screen.last_text(), msg_long_message);
    records lyric = {ev(st::text, 'l', 'a', 3100), {{0x0D, 0x0A, 'l', 'o', ' ', 0x0D}}, {{0x0A, 0, 0, 0, 0, 0}}};
    lyric.front().set_spare_nibble(2);
    EXPECT_TRUE(holds(read_track(p, 0, 0), track_with(lyric)));
    EXPECT_EQ(check_pool(p), "");
    EXPECT_EQ(long_kind_of(empty_long_event(long_kind::lyric, 0)), long_kind::lyric);
}

}  // namespace
}  // namespace kestrune
