// The simulation world: the collide objects of the open models as rigid
// bodies and collision shapes of the physics engine (ODE), stepped in time
// inside a pen of five fixed planes: a floor at z = 0 and four walls at
// x = +-1 and y = +-1 simulation units. Only this folder talks to the
// engine; the document and the workspace hold the integer ids of bodies
// and shapes, never engine handles.
//
// Units: the world works in simulation units, the document in model units.
// Positions going in are multiplied by the inverse of the world scale,
// positions coming out by the scale (model units per simulation unit), so
// in model units the walls stand at +-scale. Gravity is 0.01 simulation
// units per step squared, downward along z.
//
// Every operation on an unknown id, or while the world does not exist,
// changes nothing and answers 0 (or the zero vector). Numbers that are not
// finite or exceed kSimLargestInput are refused the same way: the engine
// has no defence against them and would fill the world with NaN.
#pragma once

#include <cstdint>
#include <map>

#include "model/records.h"

// The engine's records, opaque outside this folder.
struct dxWorld;
struct dxSpace;
struct dxBody;
struct dxGeom;
struct dxJointGroup;

// The largest magnitude a position, offset, size, force or turn may have.
constexpr float kSimLargestInput = 1.0e9f;

// Shape types are the collide object's shape codes (CollideShape): a
// cylinder is no type of its own (adding one fails), a mesh has no
// geometry (it only weighs) and a plane never moves.

// One per model that has collide objects in the world.
struct SimBody {
  int32_t id = 0;
  int32_t active = 0;   // takes part in the dynamics: an enabled shape
  int32_t dynamic = 0;  // only a dynamic body has an engine body
  int32_t shapeCount = 0;
  dxBody* body = nullptr;
  float position[3] = {0, 0, 0};  // model units, as given at creation
  float rotation[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};  // row by row
};

// One per collide object placed in the world.
struct SimGeom {
  int32_t id = 0;
  int32_t type = 0;
  int32_t bodyId = 0;
  // Holds the geometry at its offset from the body; only when the offset is
  // not zero (and never for a plane, which cannot be placed).
  dxGeom* transform = nullptr;
  dxGeom* geom = nullptr;  // none for type 5
  float offset[3] = {0, 0, 0};  // from the body, model units
  float size[3] = {0, 0, 0};    // model units
  float sizeFactor[3] = {1, 1, 1};
  float rotation[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  float density = 0;
  float extra[2] = {0, 0};  // carried beside the density, never used
};

struct SimWorld {
  bool exists = false;
  bool simulating = false;  // a simulation was started and not stopped
  float elapsed = 0;        // sum of the step sizes taken
  dxWorld* world = nullptr;
  dxSpace* space = nullptr;
  dxJointGroup* contacts = nullptr;
  float scale = 1;  // model units per simulation unit
  float inverseScale = 1;
  std::map<int32_t, SimBody> bodies;
  std::map<int32_t, SimGeom> shapes;
  // Ids count on across worlds and are never reused.
  int32_t nextBodyId = 1;
  int32_t nextShapeId = 1;
};

void simInit(SimWorld* world);
// Destroys the world when it exists.
void simRelease(SimWorld* world);

// True when the value may enter the world.
bool simInputOk(float value);
bool simInputsOk(const float* values, int count);

// Creates the world when it does not exist; false only when the engine
// could not make it.
bool simCreate(SimWorld* world);
// Destroys every body, shape and the world itself; ids keep counting.
void simDestroy(SimWorld* world);

// A body at the position (model units) with the rotation; a dynamic one
// gets an engine body. Its id, or 0.
int32_t simAddBody(SimWorld* world, bool dynamic, const float position[3],
                   const float rotation[9]);
// A shape of that type on the body; offset and size in model units. Its
// id, or 0: for an unknown body, and for an unknown type, whose record is
// then left half made (no geometry, no id of its own) until the next shape
// takes its place.
int32_t simAddShape(SimWorld* world, int32_t type, int32_t bodyId, float density,
                    float extra1, float extra2, const float offset[3],
                    const float size[3], const float rotation[9]);
// Binds the shape to its body and sets the body going. False for an
// unknown shape.
bool simEnableShape(SimWorld* world, int32_t shapeId);
// Unbinds the shape; the body stops when this was its only shape.
void simDisableShape(SimWorld* world, int32_t shapeId);
// Destroys the shape; its body loses its engine body and becomes static
// (its other shapes stay where they are), and goes when it has no shapes.
void simRemoveShape(SimWorld* world, int32_t shapeId);

// Takes the scale, puts every body back at its stored position and
// rotation (velocities kept: a moving body goes on moving) and applies
// sizes and masses to every shape.
void simReset(SimWorld* world, float scale);
// Takes the scale, keeping every body where it is in model units.
void simRescale(SimWorld* world, float scale);

// Body placement: position in model units; with `blend`, the body turns a
// fifth of the way back to upright.
void simSetBodyPlacement(SimWorld* world, int32_t bodyId, const float xyz[3], bool blend);
void simSetBodyRotation(SimWorld* world, int32_t bodyId, const float rotation[9]);
// Shape placement: the body (or, for a static shape, the geometry) goes to
// xyz + offset.
void simSetShapePlacement(SimWorld* world, int32_t shapeId, const float xyz[3], bool blend);
void simSetShapeRotation(SimWorld* world, int32_t shapeId, const float rotation[9]);
void simSetShapeSize(SimWorld* world, int32_t shapeId, const float size[3]);
// Moves a dynamic shape's body by d model units and sets it going.
void simMoveShape(SimWorld* world, int32_t shapeId, const float d[3]);
// Where the shape's model is, in model units: the body's position (the
// geometry's when the body is static or inactive) less the offset.
void simShapePosition(const SimWorld* world, int32_t shapeId, float out[3]);
// A force of density * 1e-7 * xyz in the body's own axes.
void simPush(SimWorld* world, int32_t shapeId, const float xyz[3]);
// Turning forces of density * 1e-8 * x, y, z at points `density` away
// from the origin: in world axes, or in the body's own axes.
void simSpinWorld(SimWorld* world, int32_t shapeId, const float xyz[3]);
void simSpinBody(SimWorld* world, int32_t shapeId, const float xyz[3]);
// The frame the shape is drawn in (model units, column order as OpenGL
// takes it): its body's placement, or the geometry's for a shape held
// without a transform. False for an unknown shape.
bool simDrawingMatrix(const SimWorld* world, int32_t shapeId, float out[16]);

// Advances the world by one step of that size (nothing for a size of 0 or
// less). A world whose bodies went out of the finite range is put back at
// the stored positions with every body at rest; the answer is then false.
bool simStep(SimWorld* world, float stepSize);

// For tests and the benchmark: the engine's handles of a shape (null when
// it has none).
dxBody* simEngineBody(const SimWorld* world, int32_t shapeId);
dxGeom* simEngineGeom(const SimWorld* world, int32_t shapeId);
