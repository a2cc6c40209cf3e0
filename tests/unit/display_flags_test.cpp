// The display switches: their names, defaults and the axis words of the
// arc and mover handles.
#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "view/display_flags.h"

TEST(DisplayFlags, EverySwitchNameReachesItsOwnFieldAndAFullResetClearsHandles) {
  DisplayFlags flags;
  std::memset(&flags, 0x5a, sizeof flags);
  setDisplayDefaults(&flags);
  std::set<int32_t*> fields;
  for (int i = 0; i < displaySwitchCount(); ++i) {
    const char* name = displaySwitchName(i);
    int32_t* field = displaySwitch(&flags, name);
    ASSERT_NE(field, nullptr) << name;
    EXPECT_TRUE(fields.insert(field).second) << name << " shares a field";
  }
  EXPECT_EQ(displaySwitchName(displaySwitchCount()), nullptr);
  // The switches' start values are checked through the command; these are
  // the settings no query shows.
  EXPECT_EQ(flags.arcAxis, 1);
  EXPECT_EQ(flags.arcAngle + flags.arcValue, 0);
  EXPECT_EQ(flags.moverAxis + flags.moverValue, 0);
  EXPECT_EQ(flags.scaler[0] + flags.scaler[1] + flags.scaler[2], 0.0f);
  EXPECT_EQ(flags.cubeMapReflection, 1);
}

TEST(DisplayFlags, NumericSettingsAndNearMissesAreNotSwitchesAndOddAxesAreZ) {
  DisplayFlags flags;
  setDisplayDefaults(&flags);
  for (const char* word : {"lod", "arc", "mover", "scaler", "Points", "pointsx",
                           "", "controlnets"}) {
    EXPECT_EQ(displaySwitch(&flags, word), nullptr) << word;
  }
  EXPECT_EQ(displaySwitch(&flags, nullptr), nullptr);
  EXPECT_EQ(displaySwitch(&flags, "scale"), &flags.scale);
  EXPECT_EQ(displaySwitch(&flags, "control_nets"), &flags.controlNets);
  // An axis word other than x or y means z.
  EXPECT_EQ(displayAxisCode("x"), 1);
  EXPECT_EQ(displayAxisCode("y"), 2);
  EXPECT_EQ(displayAxisCode("q"), 3);
  EXPECT_EQ(displayAxisCode("X"), 3);
}
