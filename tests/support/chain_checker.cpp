#include "tests/support/chain_checker.h"
#include "song/event_store.h"

#include <sstream>
#include <vector>

namespace kestrune::testing {

namespace {

std::string at_text(const event_store& s, ref32 r) {
    std::ostringstream o;
    o << " at record " << r << " (block " << s.block_of(r) << ", slot " << s.slot_index(r) << ")";
    return o.str();
}

// Records a long event occupies, from its payload: a sysex runs to its 0xF7, a text to its NUL.
int long_event_records(const event_store& s, ref32 head, bool* ok) {
    const std::uint8_t end_byte = s.status(head) == st::sysex ? st::sysex_end : 0;
    *ok = true;
    if (s.at(head).raw0() == end_byte || s.at(head).raw1() == end_byte) return 1;
    int n = 1;
    for (ref32 r = s.next_record(head); is_continuation_status(s.status(r)); r = s.next_record(r)) {
        ++n;
        for (std::uint8_t b : s.at(r).b)
            if (b == end_byte) return n;
        if (n > 1'000'000) break;
    }
    *ok = false;
    return n;
}

}  // namespace

std::string check_chain(const event_store& s, ref32 first, int expected_blocks) {
    if (!s.in_pool(first)) return "first record lies outside the pool";
    ref32 b = s.block_of(first);
    if (first != event_store::first_slot(b)) return "first record is not the first slot of a block";
    if (s.link(b) != null_ref) return "first block has a back link";
    // Blocks and links.
    std::vector<ref32> blocks;
    for (ref32 prev = null_ref, cur = b; cur != null_ref; prev = cur, cur = s.link(event_store::forward_link(cur))) {
        if (!s.in_pool(cur) || s.block_of(cur) != cur) return "a forward link leaves the pool";
        if (blocks.size() > s.layout().block_count) return "the chain's links form a loop";
        if (s.status(cur) != st::back_link || s.status(event_store::forward_link(cur)) != st::forward_link)
            return "a link record lost its status" + at_text(s, cur + 6);
        if (s.link(cur) != prev) return "a back link does not point to the previous block" + at_text(s, cur + 6);
        blocks.push_back(cur);
    }
    // Records.
    std::int32_t last_pos = -1;
    ref32 end = null_ref;
    for (ref32 r = first;; r = s.next_record(r)) {
        std::uint8_t st_ = s.status(r);
        if (st_ == st::forward_link) return "no end record";
        if (st_ == st::end) {
            end = r;
            break;
        }
        if (is_continuation_status(st_)) return "a continuation record without its head" + at_text(s, r);
        if (!is_event_status(st_)) return "a record with an unknown status" + at_text(s, r);
        if (s.position(r) < last_pos) return "positions are out of order" + at_text(s, r);
        last_pos = s.position(r);
        if (is_long_head_status(st_)) {
            bool ok;
            int n = long_event_records(s, r, &ok);
            if (!ok) return "a long event is not whole" + at_text(s, r);
            if (s.event_length(r) != n) return "a long event's records do not match its payload" + at_text(s, r);
            for (int i = 1; i < n; ++i) r = s.next_record(r);
        }
    }
    if (s.block_of(end) != blocks.back()) return "blocks follow the block of the end record";
    if (expected_blocks >= 0 && static_cast<int>(blocks.size()) != expected_blocks) {
        std::ostringstream o;
        o << "the chain holds " << blocks.size() << " blocks, its header says " << expected_blocks;
        return o.str();
    }
    return {};
}

std::string check_pool(const program& p) {
    event_store s = p.store();
    const dll_data& d = p.d;
    const pool_layout& l = s.layout();
    std::vector<int> owner(l.block_count, 0);
    std::ostringstream err;

    auto claim_chain = [&](ref32 first, const char* what) {
        for (ref32 b = s.block_of(first); b != null_ref; b = s.link(event_store::forward_link(b))) {
            auto i = (b - l.first_block) / block_bytes;
            if (owner[i]++) err << what << ": block " << b << " is used twice\n";
        }
    };
    auto chain = [&](ref32 first, int blocks, const std::string& what) {
        std::string e = check_chain(s, first, blocks);
        if (!e.empty()) {
            err << what << ": " << e << "\n";
            return;
        }
        claim_chain(first, what.c_str());
    };

    for (int pat = 0; pat < pattern_count; ++pat)
        for (int t = 0; t < tracks_per_pattern; ++t) {
            const track_slot& sl = p.slot(pat, t);
            if (sl.in_use)
                chain(sl.first, sl.blocks, "pattern " + std::to_string(pat) + " track " + std::to_string(t));
        }
    if (p.undo.slot.in_use) chain(p.undo.slot.first, p.undo.slot.blocks, "undo copy");
    chain(d.tempo_chain.first, d.tempo_chain.blocks, "tempo chain");
    chain(d.signature_chain.first, d.signature_chain.blocks, "signature chain");
    chain(d.signature_track.first, d.signature_track.blocks, "signature track");
    if (d.active_signature.first != d.signature_chain.first && d.active_signature.first != d.signature_track.first)
        err << "the active signature is neither signature chain\n";

    // The free list: the back link points away from the head, the forward link towards it.
    int free_count = 0;
    ref32 prev = null_ref;
    for (ref32 b = d.free_list; b != null_ref; prev = b, b = s.link(b)) {
        if (!s.in_pool(b) || s.block_of(b) != b) {
            err << "the free list leaves the pool\n";
            break;
        }
        if (s.link(event_store::forward_link(b)) != prev) err << "free block " << b << " has a wrong forward link\n";
        if (owner[(b - l.first_block) / block_bytes]++) {
            err << "free block " << b << " is also in a chain or listed twice\n";
            break;
        }
        ++free_count;
    }
    if (prev != d.record_first_block) err << "the record area does not start at the free list's far end\n";
    if (free_count != d.free_blocks)
        err << "free_blocks is " << d.free_blocks << " but the free list holds " << free_count << "\n";
    for (std::uint32_t i = 0; i < l.block_count; ++i)
        if (owner[i] == 0) err << "block " << l.first_block + i * block_bytes << " is lost\n";
    return err.str();
}

}  // namespace kestrune::testing
