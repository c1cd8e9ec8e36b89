#include "tests/files/smf_test_support.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "song/long_event.h"

namespace kestrune::testing {

std::vector<std::uint8_t> vlq(std::uint64_t v) {
    std::vector<std::uint8_t> out{static_cast<std::uint8_t>(v & 0x7F)};
    while ((v >>= 7) != 0) out.insert(out.begin(), static_cast<std::uint8_t>(0x80 | (v & 0x7F)));
    return out;
}

namespace {

void append(std::vector<std::uint8_t>& b, const std::vector<std::uint8_t>& more) {
    b.insert(b.end(), more.begin(), more.end());
}

void be(std::vector<std::uint8_t>& b, std::uint32_t v, int n) {
    for (int i = n - 1; i >= 0; --i) b.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
}

}  // namespace

track_bytes& track_bytes::at(std::uint64_t delta, std::initializer_list<int> bytes) {
    append(b, vlq(delta));
    for (int x : bytes) b.push_back(static_cast<std::uint8_t>(x));
    return *this;
}

track_bytes& track_bytes::meta(std::uint64_t delta, int type, const std::string& data) {
    append(b, vlq(delta));
    b.push_back(0xFF);
    b.push_back(static_cast<std::uint8_t>(type));
    append(b, vlq(data.size()));
    b.insert(b.end(), data.begin(), data.end());
    return *this;
}

track_bytes& track_bytes::tempo(std::uint64_t delta, std::uint32_t us) {
    append(b, vlq(delta));
    b.insert(b.end(), {0xFF, 0x51, 0x03});
    be(b, us, 3);
    return *this;
}

track_bytes& track_bytes::signature(std::uint64_t delta, int numerator, int power) {
    return at(delta, {0xFF, 0x58, 0x04, numerator, power, 0x18, 0x08});
}

track_bytes& track_bytes::sysex(std::uint64_t delta, const std::vector<std::uint8_t>& payload) {
    append(b, vlq(delta));
    b.push_back(0xF0);
    append(b, vlq(payload.size()));
    append(b, payload);
    return *this;
}

track_bytes& track_bytes::end(std::uint64_t delta) {
    return at(delta, {0xFF, 0x2F, 0x00});
}

midi_bytes::midi_bytes(int format, int tracks, int division) {
    b = {'M', 'T', 'h', 'd', 0, 0, 0, 6};
    be(b, static_cast<std::uint32_t>(format), 2);
    be(b, static_cast<std::uint32_t>(tracks), 2);
    be(b, static_cast<std::uint32_t>(division), 2);
}

midi_bytes& midi_bytes::track(const track_bytes& t, std::optional<std::uint32_t> length) {
    b.insert(b.end(), {'M', 'T', 'r', 'k'});
    be(b, length.value_or(static_cast<std::uint32_t>(t.b.size())), 4);
    append(b, t.b);
    return *this;
}

midi_bytes& midi_bytes::raw(const std::vector<std::uint8_t>& bytes) {
    append(b, bytes);
    return *this;
}

void PrintTo(const chain_event& e, std::ostream* os) {
    *os << "{" << e.pos << " " << std::hex << e.status << std::dec << " " << e.d1 << " " << e.d2;
    if (!e.payload.empty()) {
        *os << " [" << std::hex;
        for (std::uint8_t b : e.payload) *os << " " << int{b};
        *os << std::dec << " ]";
    }
    *os << "}";
}

std::vector<chain_event> chain_events(const program& p, ref32 first) {
    const event_store& s = p.store();
    std::vector<chain_event> out;
    for (ref32 e = first; is_event_status(s.status(e)); e = s.next_event(e)) {
        const midi_event& r = s.at(e);
        chain_event c{r.position(), r.status(), r.data1(), r.data2(), {}};
        if (is_long_head_status(r.status())) {
            c.payload = read_long_payload(s, e);
            c.d1 = c.d2 = 0;
            if (r.status() == st::text) c.d2 = r.spare_nibble();
        }
        if (r.status() == st::tempo) c.d1 = r.tempo_value(), c.d2 = 0;
        out.push_back(std::move(c));
    }
    return out;
}

std::vector<chain_event> track_events(const program& p, int pattern, int track) {
    const track_slot& s = p.slot(pattern, track);
    if (!s.in_use) return {};
    return chain_events(p, s.first);
}

std::string name_of(const track_slot& s) {
    return std::string(s.name, 10);
}

std::vector<std::string> shown_texts(const scripted_ui& ui) {
    std::vector<std::string> out;
    for (const auto& m : ui.messages) out.push_back(m.text);
    return out;
}

void keep_fuzz_seed(const std::vector<std::uint8_t>& bytes) {
    const char* root = std::getenv("KESTRUNE_FUZZ_SEEDS");
    if (!root || bytes.empty()) return;
    const std::string dir = std::string(root) + "/smf";
    std::filesystem::create_directories(dir);
    // Named by content, so a file made twice is kept once.
    std::uint64_t h = 1469598103934665603ull;
    for (std::uint8_t b : bytes) h = (h ^ b) * 1099511628211ull;
    char name[32];
    std::snprintf(name, sizeof name, "/%016llx.mid", static_cast<unsigned long long>(h));
    std::ofstream out(dir + name, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
}

bool have_midicsv() {
    return std::system(
               "command -v midicsv >/dev/null 2>&1 && command -v csvmidi >/dev/null 2>&1") == 0;
}

namespace {

std::string trim(const std::string& s) {
    const auto a = s.find_first_not_of(" \t\r\n");
    if (a == std::string::npos) return {};
    const auto z = s.find_last_not_of(" \t\r\n");
    return s.substr(a, z - a + 1);
}

// Fields of one CSV line; a quoted field keeps its commas, and "" stands for one quote.
std::vector<std::string> split_csv(const std::string& line) {
    std::vector<std::string> out;
    std::string cur;
    bool quoted = false, was_quoted = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (quoted) {
            if (c == '"' && i + 1 < line.size() && line[i + 1] == '"') {
                cur += '"';
                ++i;
            } else if (c == '"') {
                quoted = false;
            } else {
                cur += c;
            }
        } else if (c == '"') {
            quoted = was_quoted = true;
            cur.clear();  // the blanks before the opening quote
        } else if (c == ',') {
            out.push_back(was_quoted ? cur : trim(cur));
            cur.clear();
            was_quoted = false;
        } else {
            cur += c;
        }
    }
    out.push_back(was_quoted ? cur : trim(cur));
    return out;
}

}  // namespace

std::vector<csv_row> midicsv_rows(const std::string& midi_path) {
    std::vector<csv_row> rows;
    const std::string csv = midi_path + ".csv";
    const std::string cmd = "midicsv '" + midi_path + "' '" + csv + "' 2>/dev/null";
    if (std::system(cmd.c_str()) != 0) return rows;
    std::ifstream in(csv);
    for (std::string line; std::getline(in, line);) {
        if (trim(line).empty()) continue;
        std::vector<std::string> f = split_csv(line);
        if (f.size() < 3) continue;
        csv_row r;
        r.track = std::stoi(f[0]);
        r.time = std::stoll(f[1]);
        r.type = f[2];
        r.fields.assign(f.begin() + 3, f.end());
        rows.push_back(std::move(r));
    }
    return rows;
}

bool csvmidi_file(const std::string& csv_text, const std::string& midi_path) {
    const std::string csv = midi_path + ".in.csv";
    {
        std::ofstream out(csv);
        out << csv_text;
    }
    const std::string cmd = "csvmidi '" + csv + "' '" + midi_path + "' 2>/dev/null";
    return std::system(cmd.c_str()) == 0;
}

}  // namespace kestrune::testing
