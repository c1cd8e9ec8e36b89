// A program with the processing commands, for tests that run a track function as the menu does.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "core/command_table.h"
#include "processing/commands.h"
#include "tests/support/chain_checker.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune::testing {

inline constexpr std::int32_t bar1 = song_start;

// Dialog fields by their labels, with the values to set.
using field_settings = std::vector<std::pair<std::string, std::int32_t>>;

class TrackCommand : public ::testing::Test {
  protected:
    TrackCommand() { add_processing_commands(table); }

    // Runs the command on the current track with its dialog's initial values, fields changed by
    // their labels; the pool stays whole.
    outcome run(int id, const field_settings& set = {}) {
        const command_record& c = *table.find(id);
        field_values v = initial_values(p, c);
        for (const auto& one : set) {
            const auto at =
                std::find_if(c.fields.begin(), c.fields.end(),
                             [&one](const field_spec& f) { return f.label == one.first; });
            EXPECT_NE(at, c.fields.end()) << one.first;
            if (at != c.fields.end())
                v[static_cast<std::size_t>(at - c.fields.begin())].number = one.second;
        }
        const outcome o = run_command(p, c, v);
        EXPECT_EQ(check_pool(p), "");
        return o;
    }
    // Pattern 0 track 0, the current one, holds these records and no other chain.
    track_slot& fill(const records& recs) {
        track_slot& sl = p.slot(0, 0);
        if (sl.in_use) p.store().free_chain(sl.first);
        return give_track(p, 0, 0, recs);
    }
    records track() const { return read_track(p, 0, 0); }

    test_program t;
    program& p = *t;
    command_table table;
};

}  // namespace kestrune::testing
