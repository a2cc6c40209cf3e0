// The scene the drawing and picking benchmarks share: the view's start
// GL state and a gently waved grid mesh built with the document operations.
#pragma once

#include <GL/glew.h>

#include <cmath>

#include "model/geometry.h"
#include "model/model.h"

// The view's start state: depth test, colour material on diffuse, the two
// fixed lights.
inline void initState(int width, int height) {
  glViewport(0, 0, width, height);
  glClearColor(0, 0, 0, 0);
  glShadeModel(GL_SMOOTH);
  glEnable(GL_DEPTH_TEST);
  glDepthFunc(GL_LEQUAL);
  glEnable(GL_COLOR_MATERIAL);
  glColorMaterial(GL_FRONT_AND_BACK, GL_DIFFUSE);
  const float diffuse[] = {1, 1, 1, 1}, ambient[] = {0.25f, 0.25f, 0.25f, 1};
  const float black[] = {0, 0, 0, 1}, lightAmbient[] = {0.5f, 0.5f, 0.5f, 1};
  const float along[] = {0, 0, 1, 0};
  glMaterialfv(GL_FRONT_AND_BACK, GL_DIFFUSE, diffuse);
  glMaterialfv(GL_FRONT_AND_BACK, GL_AMBIENT, ambient);
  glMaterialfv(GL_FRONT_AND_BACK, GL_SPECULAR, black);
  glEnable(GL_LIGHTING);
  glLightModelf(GL_LIGHT_MODEL_LOCAL_VIEWER, 1.0f);
  glLightfv(GL_LIGHT0, GL_AMBIENT, lightAmbient);
  glLightfv(GL_LIGHT1, GL_POSITION, along);
  glEnable(GL_LIGHT0);
  glEnable(GL_LIGHT1);
}

// A gently waved grid of `triangles` triangles in one layer, made as the
// file reader and the add commands make them.
inline Model* buildGrid(int triangles) {
  Model* model = createModel(nullptr, "grid", nullptr);
  const int side = static_cast<int>(std::ceil(std::sqrt(triangles / 2.0)));
  for (int y = 0; y <= side; ++y) {
    for (int x = 0; x <= side; ++x) {
      const float z = 0.05f * std::sin(x * 0.3f) * std::cos(y * 0.2f);
      addPoint(model, 1 + y * (side + 1) + x, static_cast<float>(x) / side,
               static_cast<float>(y) / side, z);
    }
  }
  Layer* layer = addLayer(model, "grid", 127, 127, 127, 1, 0, 0);
  int made = 0;
  for (int y = 0; y < side && made < triangles; ++y) {
    for (int x = 0; x < side && made < triangles; ++x) {
      const int a = 1 + y * (side + 1) + x, b = a + 1, c = a + side + 1,
                d = c + 1;
      const int32_t first[3] = {a, b, d}, second[3] = {a, d, c};
      addTriangleToLayer(model, layer, 3, first, 0);
      if (++made < triangles) addTriangleToLayer(model, layer, 3, second, 0);
      ++made;
    }
  }
  return model;
}
