#include "tests/support/song_builder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "song/event_store.h"
#include "song/long_event.h"

namespace kestrune::testing {

midi_event ev(int status, int d1, int d2, std::int32_t pos) {
    return midi_event::make(static_cast<std::uint8_t>(status), static_cast<std::uint8_t>(d1),
                            static_cast<std::uint8_t>(d2), pos);
}

midi_event tempo(std::int32_t value, std::int32_t pos) {
    midi_event e = midi_event::make(st::tempo, 0, 0, pos);
    e.set_tempo_value(value);
    return e;
}

records notes(int count, std::int32_t from, std::int32_t step) {
    records v;
    for (int i = 0; i < count; ++i) v.push_back(midi_event::make(0x90, 60, 100, from + i * step));
    return v;
}

std::vector<std::uint8_t> sysex_payload(std::size_t n) {
    std::vector<std::uint8_t> p(n);
    for (std::size_t i = 0; i + 1 < n; ++i) p[i] = static_cast<std::uint8_t>((i * 7 + 1) & 0x7F);
    if (n) p[n - 1] = st::sysex_end;
    return p;
}

records long_event(std::uint8_t status, std::int32_t pos,
                   const std::vector<std::uint8_t>& payload) {
    return make_long_event(status, pos, payload.data(), payload.size());
}

records text_event(std::int32_t pos, const std::string& text, bool lyric) {
    std::vector<std::uint8_t> payload(text.begin(), text.end());
    payload.push_back(0);
    return make_long_event(st::text, pos, payload.data(), payload.size(), lyric ? 2 : 0);
}

records random_event(std::mt19937& rng, std::int32_t pos, int serial) {
    const auto r = [&](unsigned n) { return static_cast<unsigned>(rng() % n); };
    const unsigned kind = r(100);
    if (kind < 15 || kind >= 97) {
        const bool is_sysex = kind < 8 || kind >= 97;
        // Text bytes are printable, so no NUL ends the text early.
        const int base = is_sysex ? 0 : 0x20, span = is_sysex ? 0x80 : 0x5F;
        std::vector<std::uint8_t> payload{static_cast<std::uint8_t>(base + serial % span),
                                          static_cast<std::uint8_t>(base + serial / span % span)};
        const unsigned n = kind >= 97 ? 7 + 6 * r(40) : r(300);  // often 0xF7 on a status byte
        for (unsigned i = 0; i < n; ++i)
            payload.push_back(static_cast<std::uint8_t>(is_sysex ? r(0x80) : 0x20 + r(0x5F)));
        payload.push_back(is_sysex ? st::sysex_end : 0);
        return long_event(is_sysex ? st::sysex : st::text, pos, payload);
    }
    if (kind < 18) return {tempo(6000 + serial % 20000, pos)};
    midi_event e = midi_event::make(static_cast<std::uint8_t>(0x80 + r(0x70)),
                                    static_cast<std::uint8_t>(serial & 0x7F),
                                    static_cast<std::uint8_t>((serial >> 7) & 0x7F), pos);
    e.b[0] |= static_cast<std::uint8_t>(r(2) << 7);
    e.b[1] |= static_cast<std::uint8_t>(r(2) << 7);
    e.set_spare_nibble(static_cast<std::uint8_t>(r(16)));
    return {e};
}

units merged(const units& a, const units& b) {
    units out;
    std::size_t i = 0, j = 0;
    while (i < a.size() && j < b.size())
        out.push_back(pos_of(b[j]) < pos_of(a[i]) ? b[j++] : a[i++]);
    out.insert(out.end(), a.begin() + static_cast<std::ptrdiff_t>(i), a.end());
    out.insert(out.end(), b.begin() + static_cast<std::ptrdiff_t>(j), b.end());
    return out;
}

records flat(const units& u) {
    records out;
    for (const records& r : u) out.insert(out.end(), r.begin(), r.end());
    return out;
}

std::int32_t pos_of(const records& unit) {
    return unit[0].position();
}

records read_chain(const event_store& s, ref32 first) {
    records out;
    for (ref32 r = first; s.status(r) != st::end && s.status(r) != st::forward_link;
         r = s.next_record(r))
        out.push_back(s.at(r));
    return out;
}

records read_track(const program& p, int pattern, int track) {
    const track_slot& sl = p.slot(pattern, track);
    return sl.in_use ? read_chain(p.store(), sl.first) : records{};
}

std::string name_of(const char (&name)[11]) {
    return std::string(name, 10);
}

namespace {

// Status, data bytes as stored, position and spare nibble.
std::string text_of(const midi_event& e) {
    char buf[48];
    std::snprintf(buf, sizeof buf, "{%02X %02X %02X at %d nibble %d}", e.status(), e.raw0(),
                  e.raw1(), e.position(), e.spare_nibble());
    return buf;
}

}  // namespace

std::string difference(const records& got, const records& want) {
    for (std::size_t i = 0; i < std::min(got.size(), want.size()); ++i)
        if (std::memcmp(got[i].b, want[i].b, 6) != 0)
            return "records differ at " + std::to_string(i) + ": " + text_of(got[i]) + " for " +
                   text_of(want[i]);
    if (got.size() != want.size())
        return "lengths " + std::to_string(got.size()) + " and " + std::to_string(want.size());
    return {};
}

::testing::AssertionResult holds(const records& got, const records& want) {
    const std::string d = difference(got, want);
    if (d.empty()) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << d;
}

ref32 nth_record(const event_store& s, ref32 first, int i) {
    while (i-- > 0) first = s.next_record(first);
    return first;
}

ref32 nth_event(const event_store& s, ref32 first, std::size_t i) {
    while (i-- > 0) first = s.next_event(first);
    return first;
}

void take_blocks(program& p, std::uint16_t& blocks, int taken) {
    blocks = static_cast<std::uint16_t>(blocks + taken);
    p.d.free_blocks -= taken;
}

int insert_at(program& p, std::uint16_t& blocks, ref32 e, const records& recs) {
    event_store s = p.store();
    const int taken = s.insert_records(e, static_cast<int>(recs.size()));
    if (taken < 0) return -1;
    take_blocks(p, blocks, taken);
    for (const midi_event& r : recs) {
        s.at(e) = r;
        e = s.next_record(e);
    }
    return taken;
}

void append(program& p, ref32 first, std::uint16_t& blocks, const records& recs) {
    ASSERT_GE(insert_at(p, blocks, p.store().chain_end(first), recs), 0)
        << "the pool cannot hold " << recs.size() << " more records";
}

void append(program& p, track_slot& sl, const records& recs) {
    append(p, sl.first, sl.blocks, recs);
}

void replace_chain(program& p, chain_cursor& c, const records& recs) {
    event_store s = p.store();
    s.free_chain(c.first);
    c.first = s.new_empty_chain();
    c.blocks = 1;
    append(p, c.first, c.blocks, recs);
}

void replace_list(program& p, chain_cursor& c, const records& recs) {
    const bool active = p.d.active_signature.first == c.first;
    replace_chain(p, c, recs);
    c.play = c.left_event = c.first;
    if (active) p.d.active_signature = c;
}

void set_default_signature(program& p, int numerator, int denominator) {
    midi_event& e = p.store().at(p.d.signature_chain.first);
    e.set_data1(static_cast<std::uint8_t>(numerator));
    e.set_data2(static_cast<std::uint8_t>(denominator));
}

void use_signature_track(program& p, const records& recs) {
    replace_list(p, p.d.signature_track, recs);
    p.d.active_signature = p.d.signature_track;
    p.d.signature_track_on = 1;
}

void use_tempo_track(program& p, const records& recs) {
    replace_list(p, p.d.tempo_chain, recs);
    p.d.tempo_track_on = 1;
}

track_slot& open_track(program& p, int pattern, int track) {
    track_slot& sl = p.slot(pattern, track);
    sl.first = sl.play = p.store().new_empty_chain();
    sl.in_use = 1;
    sl.blocks = 1;
    return sl;
}

track_slot& give_track(program& p, int pattern, int track, const records& recs) {
    track_slot& sl = open_track(p, pattern, track);
    append(p, sl, recs);
    return sl;
}

track_slot& add_sorted(program& p, int pattern, int track, const records& recs) {
    track_slot& sl = p.slot(pattern, track);
    if (!sl.in_use) open_track(p, pattern, track);
    append(p, sl, recs);
    p.store().sort_chain(sl.first);
    return sl;
}

track_slot& build_track(program& p, int pattern, int track, const records& recs) {
    event_store s = p.store();
    chain_builder b(s);
    for (const midi_event& e : recs) b.put(e);
    EXPECT_TRUE(b.terminate());
    EXPECT_TRUE(b.ok());
    track_slot& sl = p.slot(pattern, track);
    sl.first = sl.play = b.cut();
    sl.blocks = static_cast<std::uint16_t>(b.count_chain_blocks());
    sl.in_use = 1;
    return sl;
}

}  // namespace kestrune::testing
