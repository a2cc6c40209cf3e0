// Per-vertex data that only textured or shaded layers need, kept apart from
// DrawVertex so that plain layers pay nothing for it. Both arrays follow the
// triangle vertices of buildLayerVertices one for one (same polygons left
// out, same strip order). No OpenGL here.
#pragma once

#include <vector>

#include "model/records.h"
#include "view/layer_cache.h"

// Two floats (u, v) per triangle vertex from the image's uvees (its own,
// or the automatic ones the model keeps); a point without one gets 0 0.
void buildLayerTexCoords(const Model* model, const Layer* layer,
                         const Image* image, std::vector<float>* out);

// The same pairs written to `to` (two floats per vertex of the layer's
// build), each polygon at the place `places` (from buildLayerVertices on
// the layer as it is) gives it; polygons without a place are skipped.
void writeLayerTexCoords(const Model* model, const Layer* layer,
                         const Image* image,
                         const std::vector<PolygonPlace>& places, float* to);

// Six floats per triangle vertex: the unit tangent (where u grows) and
// binormal (where v grows) of its triangle, from `positions` (three floats
// per point slot, or null for the stored points) and `texCoords` as
// buildLayerTexCoords makes them (empty: none). A triangle whose
// coordinates do not span it gets any two unit vectors square to its
// normal and to each other.
void buildLayerTangents(const Model* model, const Layer* layer,
                        const float* positions,
                        const std::vector<float>& texCoords,
                        std::vector<float>* out);
