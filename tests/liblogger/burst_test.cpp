#include "liblogger/burst.h"

#include <gtest/gtest.h>

TEST(Burst, GoesOnWhileRecordsFollowEachOtherAtOnce) {
  const struct {
    int64_t passed_ns;
    bool goes_on;
  } rows[] = {{0, true}, {249, true}, {250, false}, {1000000, false}, {-1, false}, {-3600000000000, false}};
  const int64_t written_ns = 5000000000000;
  for (const auto& row : rows) {
    Burst burst;
    burst.Written(&burst, written_ns);
    EXPECT_EQ(burst.GoesOn(&burst, written_ns + row.passed_ns), row.goes_on) << row.passed_ns;
  }
}

TEST(Burst, BelongsToOneLog) {
  const int one = 1;
  const int other = 2;
  Burst burst;
  burst.Written(&one, 1000);
  EXPECT_FALSE(burst.GoesOn(&other, 1000));
  burst.Written(&other, 1000);
  EXPECT_FALSE(burst.GoesOn(&one, 1000));
}

TEST(Burst, EndsWhenARecordHasGoneElsewhere) {
  Burst burst;
  EXPECT_FALSE(burst.GoesOn(&burst, 0));
  burst.Written(&burst, 1000);
  burst.End();
  EXPECT_FALSE(burst.GoesOn(&burst, 1000));
}
