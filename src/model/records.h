// The records of the model document. Every list is a KeyedTable (see
// keyed_table.h); records are plain data, zero-filled on creation, so they
// can live inside table elements and move with them.
#pragma once

#include <cstdint>

#include "model/keyed_table.h"

constexpr int kNameBytes = 128;       // names of models, layers, joints, ...
constexpr int kDirectoryBytes = 256;  // directory part of a model's path
constexpr int kNamedTextBytes = 1024; // elements of the named-text tables
constexpr int kMaxPolygonPoints = 512;

// Projection and mirror axes: 1 x, 2 y, 3 z, 4 -x, 5 -y, 6 -z.
enum AxisCode : int32_t {
  kAxisNone = 0,
  kAxisX = 1,
  kAxisY = 2,
  kAxisZ = 3,
  kAxisMinusX = 4,
  kAxisMinusY = 5,
  kAxisMinusZ = 6,
};

// Image modes; 5 and 6 only select the mirror and alpha textures when an
// image is set.
enum ImageMode : int32_t {
  kImageDecal = 1,
  kImageSmooth = 2,
  kImageReflect = 3,
  kImageAdditive = 4,
  kImageSelectMirror = 5,
  kImageSelectAlpha = 6,
  kImageCubeMap = 7,
  kImageNormalMap = 8,
  kImageDisplace = 9,
};

enum CollideShape : int32_t {
  kShapeBox = 1,
  kShapeSphere = 2,
  kShapeCapsule = 3,
  kShapeCylinder = 4,
  kShapeMesh = 5,
  kShapePlane = 6,
};

// Item flags (Point::flags, Triangle::flags, Line::flags, Child::flags,
// CollideObject::flags). Never written to files.
constexpr int32_t kItemSelected = 1;

struct Point {
  float x, y, z;
  int32_t flags;  // kItemSelected; zero after reading
};

struct Colour {
  float r, g, b, a;
};

// Normals and surface vectors.
struct VectorEntry {
  float x, y, z;
  int32_t flags;
};

// Polygons and lines of up to this many points keep them in the record:
// models hold millions of three- and four-point polygons.
constexpr int kInlinePolygonPoints = 4;

// The program calls every polygon a triangle: 3 or more point numbers.
// They lie in `points` up to kInlinePolygonPoints, else in a heap array
// the record owns at `spill`; polygonPoints reads either. Points in the
// record move with it: a pointer to them lasts until the next insertion
// into the table, or the end of a copy of the record.
struct Triangle {
  int32_t id;  // from the polygon counter shared with lines; the table key
  int16_t count;
  int8_t kind;   // 0 to 4, stored and written back
  int8_t flags;  // kItemSelected
  union {
    int32_t points[kInlinePolygonPoints];
    int32_t* spill;
  };
};

struct Line {
  int32_t id;
  int16_t count;
  int8_t kind;
  int8_t flags;
  union {
    int32_t points[kInlinePolygonPoints];
    int32_t* spill;
  };
};

// Some scans read lines through Triangle; a record of 24 bytes keeps a
// model of triangles near 24 bytes each.
static_assert(sizeof(Triangle) == sizeof(Line) && sizeof(Triangle) == 24,
              "triangles and lines share one layout");

template <class Polygon>
int32_t* polygonPoints(Polygon* p) {
  return p->count <= kInlinePolygonPoints ? p->points : p->spill;
}
template <class Polygon>
const int32_t* polygonPoints(const Polygon* p) {
  return p->count <= kInlinePolygonPoints ? p->points : p->spill;
}

constexpr int kCubeFaces = 6;  // right, left, back, front, top, bottom

struct TextureSlot {
  char file[kNameBytes];
  int32_t width, height;
  int32_t loaded;
  unsigned char* pixels;                 // RGB, width * height * 3
  unsigned char* faces[kCubeFaces];      // cube maps only
  int32_t faceWidth[kCubeFaces], faceHeight[kCubeFaces];
  uint32_t glName;  // the view's mark for its upload; 0 once the pixels go
};

struct Uvee {
  int32_t word;
  float u, v;
};

enum ImageExtra : int32_t {
  kExtraNone = 0,
  kExtraInvisibleColour = 1,
  kExtraAlphaTexture = 2,
};

struct Image {
  int32_t mode;
  TextureSlot main;
  int32_t axisU, axisV;
  int32_t hasUvees;
  KeyedTable uvees;  // int-keyed by point number, element Uvee
  float strength;
  TextureSlot mirror;
  int32_t mirrorFlag;
  int32_t extraKind;
  float invisible[3];
  TextureSlot alpha;
};

struct ShaderEntry {
  char file[kNameBytes];
  int32_t kind;    // 1 pixel, 2 vertex
  int32_t handle;  // owned by the view
};

struct Layer {
  char name[kNameBytes];
  float origin[3];
  float opacity;
  int32_t singleSided;
  int32_t mirror;
  int32_t mirrorAxis;
  int32_t transparent;
  float bounds[6];  // min x y z, max x y z of the points its triangles use
  KeyedTable namedTexts;  // string-keyed, kNamedTextBytes elements
  KeyedTable triangles;   // int-keyed by id, Triangle
  KeyedTable lines;       // int-keyed by id, Line
  KeyedTable images;      // int-keyed by image number, Image
  KeyedTable colours;     // int-keyed by point number, Colour
  KeyedTable normals;     // int-keyed by point number, VectorEntry
  KeyedTable surface;     // int-keyed by point number, VectorEntry
  KeyedTable shaders;     // string-keyed, ShaderEntry
  KeyedTable vertexCache[2];  // int-keyed, 12-byte elements, view-owned
  int32_t displayHandle;
  // A polygon was added since bounds were computed; set through
  // markBoundsStale (model/document_index.h), which lists the layer.
  int32_t boundsStale;
  uint32_t revision;    // bumped by every change to the layer's contents
  int32_t autoNormals;  // perform autonormals: 1 on, 0 off (not in files)
  int32_t lightingOff;  // set layer lighting off: drawn unlit (not in files)
};

struct Weight {
  int32_t point;
  float weight;
};

struct Morph {
  int32_t point;
  float dx, dy, dz;
};

struct Joint {
  char name[kNameBytes];
  float position[3];
  float colour[4];
  char parent[kNameBytes];  // "world" for a root
  KeyedTable weights;       // int-keyed by point number, Weight
  float poseTranslation[3];
  float poseScale[3];
  float poseRotation[9];  // row by row
  int32_t selected;
  KeyedTable morphs;  // int-keyed by point number, Morph
};

struct Model;
struct DocumentIndex;

struct Child {
  char name[kNameBytes];
  int32_t id;
  Model* model;  // owned; null until resolved after a load
  float position[3];
  float scale[3];
  float rotation[9];
  char joint[kNameBytes];
  float jointWeight;
  int32_t bodyHandle;
  int32_t flags;
};

struct CollideObject {
  char name[kNameBytes];
  int32_t id;
  int32_t shape;
  float position[3];
  float size[3];
  float rotation[9];
  float weight;
  float friction;
  float bounce;
  int32_t dynamic;
  int32_t bodyHandle;
  int32_t flags;
};

// The centre the selection turns and scales about, and the axis of turning
// relative to it (zero: no axis).
struct SelectionPivot {
  float centre[3];
  float axis[3];
};

// The points moved since revision `since`, so that the view can rewrite
// the vertices around them instead of building every layer again: between
// that revision and the model's own, the model changed only by moves
// (these points' positions, and placements of joints, children and
// collide objects; a point set through addPoint also loses its mark).
// Layers keep their own revisions. `since` 0: nothing kept; `count` -1:
// more moved than fit, dropped at the next touch. Each entry holds the
// model revision the point moved from, so that a cache built in between
// patches only what moved after it.
constexpr int kKeptPointMoves = 64;
struct PointMoves {
  uint32_t since;
  int32_t count;
  int32_t slots[kKeptPointMoves];
  uint32_t from[kKeptPointMoves];
};

struct Model {
  Model* parent;
  int32_t id;
  float version;
  char directory[kDirectoryBytes];
  char name[kNameBytes];
  float boundsMin[3];
  float boundsMax[3];
  KeyedTable points;    // int-keyed, Point
  KeyedTable colours;   // int-keyed, Colour: the "(global)" layer
  KeyedTable normals;   // int-keyed, VectorEntry
  KeyedTable surface;   // int-keyed, VectorEntry
  KeyedTable joints;    // string-keyed, Joint
  KeyedTable layers;    // string-keyed, Layer
  KeyedTable children;  // int-keyed by child id, Child
  KeyedTable collides;  // int-keyed by collide id, CollideObject
  KeyedTable namedTexts;   // string-keyed, kNamedTextBytes elements
  KeyedTable worldMorphs;  // int-keyed, Morph: morphs of the joint "world"
  int32_t displayHandle;
  int32_t uveesStale;  // automatic uvees are due (see flushDerived)
  uint32_t revision;   // bumped by every change to points or model tables
  // The last revision handed out to this model or its layers: the view
  // tells layers apart by revision, so one model never repeats a number.
  uint32_t revisionCounter;
  PointMoves moves;
  // Models loaded by the read under way, counted on the model at the top
  // of the tree (see io/mod_reader.h: kMaxModelsPerLoad).
  int32_t modelsLoaded;
  KeyedTable parkedUvees;  // int-keyed, Uvee: uvees waiting for their image
  SelectionPivot pivot;
  // Owned; null until an operation wants an index (model/document_index.h).
  // Never shared: a copy of the model starts without one.
  DocumentIndex* index;
};
