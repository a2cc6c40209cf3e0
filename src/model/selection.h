// Selecting items and acting on the selection.
//
// Marks: points, polygons, lines, children and collide objects carry
// kItemSelected in their flags; joints their `selected` word.
//
// The transforms (translate, scale, turn) move the selected points, joints,
// children and collide objects; polygons and lines follow their points.
// Bulk operations take time linear in the items they touch: no operation
// scans every polygon once per point.
//
// Operations return false (or a negative count) with the reason in
// LastError; a refused transform changes nothing.
#pragma once

#include <cstdint>

#include "model/records.h"

// ---- Marks ----------------------------------------------------------------

// Each sets (on) or clears the mark of one item: "point not found: %d",
// "triangle not found: %d", "line not found: %d", "joint not found: %s",
// "child not found: %d" (child id), "collide object does not exist".
bool markPoint(Model* model, int32_t number, bool on);
bool markTriangle(Model* model, int32_t id, bool on);
bool markLine(Model* model, int32_t id, bool on);
bool markJoint(Model* model, const char* name, bool on);
bool markChild(Model* model, int32_t id, bool on);
bool markCollide(Model* model, int32_t id, bool on);
// Takes the mark off every item of the model.
void clearSelection(Model* model);

// ---- Where the selection turns ---------------------------------------------

// The model's pivot (see SelectionPivot in records.h); it survives every
// change to the model's contents.
const SelectionPivot& selectionPivot(const Model* model);
void setPivotCentre(Model* model, const float centre[3]);
// The axis runs from the stored centre through `through`.
void setPivotAxis(Model* model, const float through[3]);

// The turn of `select rotate`: degrees about x, then y, then z
// (R = Rz * Ry * Rx). With a non-zero axis, the first angle turns about
// that axis instead of x. Residue of exact quarter turns is made zero.
void selectionTurn(const float angles[3], const float axis[3],
                   float rotation[9]);

// ---- Transforms -------------------------------------------------------------

// Midpoint of the box around the selected points, joints, children and
// collide objects; false when nothing is selected.
bool selectionCentre(const Model* model, float centre[3]);

// p -> centre + linear * (p - centre) + offset for every selected item's
// position; with `turnOrientation`, children and collide objects also get
// rotation = linear * rotation. Refused ("result out of range") when a
// result would not be finite. Returns the number of items moved.
int32_t transformSelection(Model* model, const float linear[9],
                           const float centre[3], const float offset[3],
                           bool turnOrientation);
int32_t translateSelection(Model* model, const float offset[3]);
// Positions only, about the pivot's centre; sizes stay.
int32_t scaleSelection(Model* model, const float factors[3],
                       const SelectionPivot& pivot);
int32_t rotateSelection(Model* model, const float angles[3],
                        const SelectionPivot& pivot);

// ---- Bulk edits -------------------------------------------------------------

// Duplicates the selected points under new numbers after the highest one,
// with their colour, normal and surface entries (model and layers), joint
// weights and image uvees, and every polygon and line all of whose points
// are selected, in the same layer. The copies become the selection; the
// originals lose their marks. Returns the number of points copied, or -1.
int32_t copySelection(Model* model);
// Deletes the selected points (with every polygon and line that uses one,
// and their layer colour, normal and surface entries), the selected
// polygons, lines, joints, children and collide objects. Returns the number
// of items deleted.
int32_t deleteSelection(Model* model);
// Moves the selected polygons and lines into the layer, created (at the
// origin, single sided, not mirrored) when the model has none of that name.
// The layer colour, normal and surface entries of their points go along;
// the old layer keeps those still used by what stays there.
bool relocateSelection(Model* model, const char* layer);
// Turns every polygon of more than three points into the triangles of its
// strip (see geometry.h)
// (same layer, kind and mark). Returns the number of polygons converted.
int32_t convertToTriangles(Model* model);
// Switches the automatic normals of a layer ("layer not found: %s").
bool setAutoNormals(Model* model, const char* layer, bool on);
