// Small models the unit tests start from.
#pragma once

#include <gtest/gtest.h>

#include "model/geometry.h"
#include "model/model.h"

namespace test_models {

// A model "test.mod" with points 1 to 4 at the corners of the unit square
// in z = 0, counter-clockwise seen from +z.
inline Model* unitSquare() {
  Model* m = createModel(nullptr, "test.mod", nullptr);
  addPoint(m, 1, 0, 0, 0);
  addPoint(m, 2, 1, 0, 0);
  addPoint(m, 3, 1, 1, 0);
  addPoint(m, 4, 0, 1, 0);
  return m;
}

// Tests holding one model, empty or the unit square, freed after them.
struct ModelTest : ::testing::Test {
  Model* m = createModel(nullptr, "test.mod", nullptr);
  void TearDown() override { freeModel(m); }
};
struct SquareTest : ::testing::Test {
  Model* m = unitSquare();
  void TearDown() override { freeModel(m); }
};

}  // namespace test_models
