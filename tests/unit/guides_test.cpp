// The scale bar's length: a round number of model units that fits.
#include <gtest/gtest.h>

#include "view/guides.h"

TEST(Guides, ScaleBarIsTheLargestOneTwoOrFiveTimesAPowerOfTenThatFits) {
  EXPECT_DOUBLE_EQ(scaleBarUnits(28.6, 100.0), 2.0);   // 3.5 units fit
  EXPECT_DOUBLE_EQ(scaleBarUnits(10.0, 100.0), 10.0);  // exactly
  EXPECT_DOUBLE_EQ(scaleBarUnits(0.3, 100.0), 200.0);
  EXPECT_DOUBLE_EQ(scaleBarUnits(1500.0, 100.0), 0.05);
  EXPECT_DOUBLE_EQ(scaleBarUnits(0.0, 100.0), 0.0);
}
