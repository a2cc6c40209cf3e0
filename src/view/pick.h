// Picking: what lies under a window position. Each picker draws a set of
// named candidates (points, line segments or triangles) into a small
// square around the position and chooses one hit, the way OpenGL
// selection mode does:
//   - a candidate is hit when any of its primitives, clipped to the pick
//     square and the near and far planes, keeps anything; its hit depths
//     are the least and greatest window depth of what is kept, mapped to
//     32 bits;
//   - hits are recorded in drawing order into a 64-word buffer, four words
//     a hit: only the first 16 hits count;
//   - the chosen hit is the one whose greatest depth, compared as a signed
//     32-bit number, is strictly smallest; ties keep the earlier hit.
// Two pickers give these answers: pickSelect draws the candidates in GL
// selection mode (the reference), pickIndexed projects them on the CPU
// through a spatial index built once per candidate set (the one commands
// use). Both see the same candidate vertices, already placed in scene
// coordinates.
#pragma once

#include <cstdint>
#include <vector>

#include "model/records.h"
#include "view/display_flags.h"

enum class PickKind : int32_t {
  kPoint,
  kTriangle,
  kLine,
  kJoint,
  kLayer,
  kChild,
  kCollide,
  kModel,
  kCursor,
  kArc,
};

constexpr int kPickBufferWords = 64;
constexpr int kPickMaxHits = kPickBufferWords / 4;
constexpr uint32_t kPickOriginName = 0xffffffffu;  // the origin marker

// The pick square's side in pixels.
int32_t pickSquare(PickKind kind);

// The camera as a pick sees it: the viewport (x, y, w, h) and the two
// matrices (column order) of the frame, the model-view one with the
// scene's focus shift.
struct PickFrame {
  int32_t viewport[4];
  float projection[16];
  float modelView[16];
};

// Candidates in drawing order. Every primitive has `corners` vertices (1
// points, 2 segments, 3 triangles); candidate c owns primitives
// [first[c], first[c + 1]) and answers with names[c].
struct PickSet {
  int32_t corners = 3;
  std::vector<float> xyz;          // 3 floats a vertex
  std::vector<uint32_t> first;     // candidates + 1 entries
  std::vector<uint32_t> names;
  uint64_t key = 0;                // what the set was built from
  // A hash of the candidates themselves: the index is kept while it holds,
  // so a change that leaves them as they were (a selection, say) costs a
  // rebuild of the set but not of the index.
  uint64_t content = 0;
  bool valid = false;
};

struct ScenePlacements;

// What else a set is built from besides the document.
struct PickSettings {
  DisplayFlags flags;       // pose, mirror, closelines, children
  float cursor[3];          // the 3D cursor
  float handleLength;       // cursor handles and arc radius, scene units
  int32_t arcAxis;          // 1 x, 2 y, 3 z
  // Frames of the collide objects a running simulation has moved (view.h);
  // they are picked where they are drawn. Null: none.
  const ScenePlacements* placed = nullptr;
};

// Fills `set` with the candidates of `kind`. `model` is the current model
// (null: no candidates); `models` are the open models for kModel. A set
// whose key equals the one it would be built from is left as it is, so an
// unchanged document costs a key walk. False when memory ran out (the set
// is then empty).
bool buildPickSet(PickKind kind, Model* model, const std::vector<Model*>& models,
                  const PickSettings& settings, PickSet* set);

// One hit as the selection buffer records it.
struct PickHit {
  uint32_t minDepth, maxDepth, name;
};

// The chosen hit's name, or false for none.
bool choosePickHit(const PickHit* hits, int count, uint32_t* name);

// The reference: GL selection mode in the current context. The GL
// matrices and viewport are saved and restored.
bool pickSelect(const PickSet& set, const PickFrame& frame, PickKind kind, int32_t x,
                int32_t y, uint32_t* name);

// The index over a set's primitives; rebuilt by pickIndexed when the set's
// content changed.
struct PickIndex;
PickIndex* newPickIndex();
void freePickIndex(PickIndex* index);
// The same answer as pickSelect, on the CPU. The hits it recorded (for
// tests) go to `hits` when not null.
bool pickIndexed(PickIndex* index, const PickSet& set, const PickFrame& frame,
                 PickKind kind, int32_t x, int32_t y, uint32_t* name,
                 std::vector<PickHit>* hits = nullptr);
// Builds the index now (pickIndexed does it when needed); for timing.
bool pickIndexBuild(PickIndex* index, const PickSet& set);

// ---- the view's picking ------------------------------------------------------

constexpr int kPickKinds = 10;

// The last candidate set and index of each picker, and the open mark.
struct PickState {
  PickSet sets[kPickKinds];
  PickIndex* indexes[kPickKinds] = {};
  bool open = false;
};

PickState* newPickState();
void freePickState(PickState* state);

struct View;

// Picks in the view window with the indexed picker: the camera of the last
// frame, the current model `current` and the open `models`. False (no hit)
// without a window, while another pick is open, or when memory ran out.
bool viewPick(View& view, PickKind kind, Model* current, const std::vector<Model*>& models,
              int32_t x, int32_t y, int32_t arcAxis, uint32_t* name,
              const ScenePlacements* placed = nullptr);
// The length of the 3D cursor's handles and the arc's radius: a quarter of
// the visible half-width, whatever the zoom. The overlays draw them so.
float viewHandleLength(const View& view);
// The point `degrees` round the arc about `centre`, square to `axis` (1 x,
// 2 y, 3 z): from +y about x, from +x about y and z.
void arcPoint(const float centre[3], int32_t axis, float radius, float degrees, float out[3]);

// The camera a pick in the view uses; false without a window.
bool viewPickFrame(View& view, PickFrame* frame);
