#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "editors/sysex/long_event_text.h"
#include "tests/support/song_builder.h"

namespace kestrune {
namespace {

using bytes = std::vector<std::uint8_t>;

TEST(SysexText, ReadsBytesInPairsOrAloneInEitherCaseAndWritesThemInCapitalPairs) {
    const sysex_parse r = parse_sysex_text("f0,7e,1,F7");
    EXPECT_EQ(r.error, sysex_error::none);
    EXPECT_EQ(r.message, (bytes{0xF0, 0x7E, 0x01, 0xF7}));
    EXPECT_EQ(sysex_text(r.message), "F0,7E,01,F7");
    // The longest message there is; one byte more is too long.
    bytes longest(max_sysex_bytes, 0x11);
    longest.front() = 0xF0;
    longest.back() = 0xF7;
    EXPECT_EQ(parse_sysex_text(sysex_text(longest)).message, longest);
    longest.insert(longest.begin() + 1, 0x11);
    EXPECT_EQ(parse_sysex_text(sysex_text(longest)).error, sysex_error::too_long);
}

TEST(SysexText, NamesEachFaultAndWhereItLies) {
    const std::tuple<std::string, sysex_error, int> cases[] = {
        {"F0,,F7", sysex_error::bad_character, 3},
        {"F0,1G,F7", sysex_error::bad_character, 4},
        {"F0,123,F7", sysex_error::bad_character, 5},
        {"F0,80,F7", sysex_error::data_byte, 3},
        {"F1,01,F7", sysex_error::no_start, 0},
        {"F0,01,F", sysex_error::no_end, 5},
        {"F0,01,F7,", sysex_error::no_end, 7},
        {"", sysex_error::no_end, 0},
    };
    for (const auto& [text, error, at] : cases) {
        const sysex_parse r = parse_sysex_text(text);
        EXPECT_EQ(std::make_tuple(r.error, r.at, r.message.empty()), std::make_tuple(error, at, true))
            << text;
    }
    EXPECT_EQ(std::string(sysex_error_text(sysex_error::data_byte)), "Data bytes must be between 00 and 7F!");
    // Of a wrong data byte and a message too long, the later check's fault stands.
    bytes many(max_sysex_bytes + 1, 0x01);
    many.front() = 0xF0;
    many[1] = 0x80;
    many.back() = 0xF7;
    EXPECT_EQ(parse_sysex_text(sysex_text(many)).error, sysex_error::too_long);
}

TEST(TextForDialog, ShowsLineEndsAsPilcrowsAndSavesThemBackInTurn) {
    const bytes two_lines = {'a', 0x0D, 0x0A, 'b', 0x0D, 0x0A, 0};
    const std::string shown = "a\u00B6\u00B6b\u00B6\u00B6";
    EXPECT_EQ(text_for_dialog(two_lines), shown);
    EXPECT_EQ(text_payload(shown), two_lines);
    // Pilcrows typed one by one, or a line broken in the box, alternate CR and LF from CR.
    EXPECT_EQ(text_payload("x\u00B6y\nz\u00B6"), (bytes{'x', 0x0D, 'y', 0x0A, 'z', 0x0D, 0}));
    // Characters outside ASCII are stored as NUL; the text's own NUL ends it.
    EXPECT_EQ(text_payload("d\u00E9j\u20AC"), (bytes{'d', 0, 'j', 0, 0}));
    EXPECT_EQ(text_for_dialog({'d', 0xE9, 0, 'x', 0}), "d\u00E9");
    EXPECT_EQ(text_payload(""), (bytes{0}));
}

TEST(TextForDialog, HoldsTwoHundredCharactersAndNoMore) {
    bytes full(max_text_chars, 0x0D);
    full.push_back(0);
    ASSERT_TRUE(text_for_dialog(full));
    EXPECT_EQ(text_payload(*text_for_dialog(full))->size(), full.size());
    full.insert(full.begin(), 'a');
    EXPECT_FALSE(text_for_dialog(full));
    EXPECT_FALSE(text_payload(std::string(max_text_chars + 1, 'a')));
}

}  // namespace
}  // namespace kestrune
