// The texts the sysex and text dialogs show, and the bytes they give back with their checks.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrune {

inline constexpr const char* msg_long_message = "Can't edit that long messages!";

// A message the sysex dialog edits, its F0 and F7 included.
inline constexpr int max_sysex_bytes = 1000;
// What the sysex box holds: a message of max_sysex_bytes written out in full.
inline constexpr int sysex_text_chars = 3000;
// Characters of a text or lyric the text dialog edits.
inline constexpr int max_text_chars = 200;

// How the text dialog shows a CR or an LF.
inline constexpr std::string_view pilcrow = "\u00B6";

// The sysex text's faults, numbered as the program has always numbered them.
enum class sysex_error : std::uint8_t {
    none = 0,
    bad_character = 1,
    too_long = 2,
    data_byte = 3,
    no_start = 4,
    no_end = 5,
};
const char* sysex_error_text(sysex_error e);

struct sysex_parse {
    std::vector<std::uint8_t> message;  // F0 to F7, when the text is right
    sysex_error error = sysex_error::none;
    int at = -1;  // character of the text to select: where the fault lies, -1 nowhere in particular
};

// "F0,7E,7F,09,01,F7": each byte as two capital digits, a comma between them.
std::string sysex_text(const std::vector<std::uint8_t>& message);
// The bytes of a sysex text: digits in pairs or alone, in small letters or capitals, separated by
// single commas, F0 first, F7 last and data bytes below 80 between them. Of several faults the
// last one found stands.
sysex_parse parse_sysex_text(std::string_view text);

// A text or lyric payload as the dialog shows it (UTF-8), up to its NUL: each CR and LF a
// pilcrow, other bytes the characters of their code. Nothing when it holds more than
// max_text_chars characters.
std::optional<std::string> text_for_dialog(const std::vector<std::uint8_t>& payload);

// The NUL-terminated payload of the dialog's text: pilcrows (and line breaks typed into the box)
// as CR and LF in turn, CR first; any other character outside ASCII a NUL, which ends what a
// reader sees while the rest stays stored. Nothing when it holds more than max_text_chars
// characters.
std::optional<std::vector<std::uint8_t>> text_payload(std::string_view shown);

}  // namespace kestrune
