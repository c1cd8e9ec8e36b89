#include <gtest/gtest.h>

#include "tests/support/chain_checker.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

TEST(EventStore, EmptyChainAnswersAtOnce) {
    testing::test_program t;
    const event_store& s = t->store();
    ref32 first = s.new_empty_chain();
    EXPECT_EQ(s.count_records(first), 0);
}

}  // namespace
}  // namespace kestrune
