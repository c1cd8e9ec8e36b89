// Checks the invariants of chains and of the pool, so a test can assert that no block was lost.
#pragma once

#include <string>

#include "core/program.h"

namespace kestrune::testing {

// Empty when the chain is sound: ascending positions, one end record in the last block, no holes,
// long events whole, links consistent. `expected_blocks` < 0 skips the block count check.
std::string check_chain(const event_store& s, ref32 first, int expected_blocks = -1);

// Every chain of the song, the undo copy and the free list: each slot's blocks match its chain, free_blocks
// equals the free list's length, and every block of the pool is in exactly one place.
std::string check_pool(const program& p);

}  // namespace kestrune::testing
