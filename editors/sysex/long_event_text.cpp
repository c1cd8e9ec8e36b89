#include "editors/sysex/long_event_text.h"

namespace kestrune {

namespace {

constexpr std::uint8_t cr = 0x0D, lf = 0x0A;
constexpr char32_t pilcrow_code = 0xB6;

bool is_hex(char c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F'); }
int hex_value(char c) { return c <= '9' ? c - '0' : c - 'A' + 10; }

// Splits a capitalised sysex text into the digits of its bytes. Returns the first character that
// is neither a digit of a byte nor a single comma behind one, or -1.
int split_bytes(std::string_view t, std::vector<std::string_view>& bytes) {
    std::size_t i = 0;
    while (i < t.size()) {
        const std::size_t start = i;
        while (i < t.size() && i - start < 2 && is_hex(t[i])) ++i;
        if (i > start) bytes.push_back(t.substr(start, i - start));
        if (i == t.size()) break;
        if (t[i] != ',' || (i > 0 && t[i - 1] == ',')) return static_cast<int>(i);
        ++i;
    }
    return -1;
}

// The next character of UTF-8 text at i, with i moved past it; a stray byte counts as one
// character outside ASCII.
char32_t next_char(std::string_view s, std::size_t& i) {
    const auto lead = static_cast<unsigned char>(s[i++]);
    const int more = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : lead >= 0xC0 ? 1 : 0;
    if (lead >= 0x80 && more == 0) return 0xFFFD;
    char32_t c = more == 0 ? lead : lead & (0x3F >> more);
    for (int k = 0; k < more; ++k) {
        if (i >= s.size() || (static_cast<unsigned char>(s[i]) & 0xC0) != 0x80) return 0xFFFD;
        c = (c << 6) | (static_cast<unsigned char>(s[i++]) & 0x3F);
    }
    return c;
}

}  // namespace

const char* sysex_error_text(sysex_error e) {
    switch (e) {
    case sysex_error::bad_character:
        return "Sysex string not correct!\n Only 0 - 9 and A - F allowed!\nSysex bytes must be\n"
               "separated with a comma [ , ] !";
    case sysex_error::too_long: return "Entered sysex string is too long!";
    case sysex_error::data_byte: return "Data bytes must be between 00 and 7F!";
    case sysex_error::no_start: return "Sysex string must start with F0!";
    case sysex_error::no_end: return "Sysex string must end with F7!";
    case sysex_error::none: break;
    }
    return "";
}

std::string sysex_text(const std::vector<std::uint8_t>& message) {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string t;
    t.reserve(message.size() * 3);
    for (std::uint8_t b : message) {
        if (!t.empty()) t += ',';
        t += digits[b >> 4];
        t += digits[b & 0xF];
    }
    return t;
}

sysex_parse parse_sysex_text(std::string_view text) {
    std::string t(text);
    for (char& c : t)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    sysex_parse r;
    const auto fault = [&r](sysex_error e, int at) {
        r.error = e;
        r.at = at;
    };
    std::vector<std::string_view> bytes;
    if (const int bad = split_bytes(t, bytes); bad >= 0) fault(sysex_error::bad_character, bad);
    if (!t.starts_with("F0")) fault(sysex_error::no_start, 0);
    if (!t.ends_with("F7")) fault(sysex_error::no_end, t.size() < 2 ? 0 : static_cast<int>(t.size()) - 2);
    if (r.error == sysex_error::bad_character) return r;

    std::vector<std::uint8_t> message;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        int v = 0;
        for (char c : bytes[i]) v = v * 16 + hex_value(c);
        if (i > 0 && i + 1 < bytes.size() && v > 0x7F) fault(sysex_error::data_byte, static_cast<int>(i) * 3);
        message.push_back(static_cast<std::uint8_t>(v));
    }
    if (static_cast<int>(message.size()) > max_sysex_bytes) fault(sysex_error::too_long, -1);
    if (r.error == sysex_error::none) r.message = std::move(message);
    return r;
}

std::optional<std::string> text_for_dialog(const std::vector<std::uint8_t>& payload) {
    std::string shown;
    int chars = 0;
    for (std::uint8_t b : payload) {
        if (b == 0) break;
        if (++chars > max_text_chars) return std::nullopt;
        if (b == cr || b == lf) {
            shown += pilcrow;
        } else if (b < 0x80) {
            shown += static_cast<char>(b);
        } else {  // the character of that code, in UTF-8
            shown += static_cast<char>(0xC0 | b >> 6);
            shown += static_cast<char>(0x80 | (b & 0x3F));
        }
    }
    return shown;
}

std::optional<std::vector<std::uint8_t>> text_payload(std::string_view shown) {
    std::vector<std::uint8_t> payload;
    bool next_is_cr = true;
    for (std::size_t i = 0; i < shown.size();) {
        if (static_cast<int>(payload.size()) == max_text_chars) return std::nullopt;
        const char32_t c = next_char(shown, i);
        if (c == pilcrow_code || c == '\n') {
            payload.push_back(next_is_cr ? cr : lf);
            next_is_cr = !next_is_cr;
        } else {
            payload.push_back(c < 0x80 ? static_cast<std::uint8_t>(c) : 0);
        }
    }
    payload.push_back(0);
    return payload;
}

}  // namespace kestrune
