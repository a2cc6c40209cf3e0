#include "io/mod_writer.h"

#include "io/text_out.h"
#include "model/last_error.h"

namespace {

const char* axisName(int32_t axis) {
  switch (axis) {
    case kAxisY: return "y";
    case kAxisZ: return "z";
    case kAxisMinusX: return "-x";
    case kAxisMinusY: return "-y";
    case kAxisMinusZ: return "-z";
    default: return "x";
  }
}

// The reader takes "none" for an image without a file.
const char* fileOrNone(const TextureSlot& slot) {
  return slot.file[0] != '\0' ? slot.file : "none";
}

// "%-3d   ": the point number that starts a point, vector or colour line.
void pointColumn(TextOut* out, int32_t number) {
  outIntPadRight(out, number, 3);
  outText(out, "   ");
}

// "%-3d   %.6f %.6f %.6f" (three decimals and width 6 for layer surface).
void vectorLine(TextOut* out, int32_t number, const VectorEntry* v,
                bool layerSurface) {
  pointColumn(out, number);
  const float values[3] = {v->x, v->y, v->z};
  if (layerSurface) {
    for (int i = 0; i < 3; ++i) {
      if (i > 0) outChar(out, ' ');
      outFixedWidth(out, values[i], 6, 3);
    }
  } else {
    outFloatList(out, values, 3);
  }
  outChar(out, '\n');
}

void vectorTable(TextOut* out, const KeyedTable* table, bool layerSurface) {
  for (int32_t s = tableNextSlot(table, -1); s >= 0; s = tableNextSlot(table, s))
    vectorLine(out, tableIntKeyAt(table, s), tableAt<VectorEntry>(table, s),
               layerSurface);
}

void colourTable(TextOut* out, const KeyedTable* table) {
  tableForEach<const Colour>(table, [&](const Colour* c, int32_t s) {
    pointColumn(out, tableIntKeyAt(table, s));
    const float rgb[3] = {c->r, c->g, c->b};
    outFloatList(out, rgb, 3);
    outText(out, "   ");
    outFixed(out, c->a, 6);
    outChar(out, '\n');
  });
}

void writeJoints(TextOut* out, const Model* model) {
  const KeyedTable* joints = &model->joints;
  tableForEach<const Joint>(joints, [&](const Joint* joint, int32_t) {
    outNamedRecord(out, "joint  ", joint->name, "  ");
    outFloatList(out, joint->position, 3);
    outText(out, "  ");
    outPadRight(out, joint->parent, 8);
    outFloatField(out, "  ", joint->colour, 3);
    outText(out, "\nweights\n");
    const KeyedTable* weights = &joint->weights;
    for (int32_t w = tableNextSlot(weights, -1); w >= 0;
         w = tableNextSlot(weights, w)) {
      outInt(out, tableIntKeyAt(weights, w));
      outText(out, "  ");
      outFixed(out, tableAt<Weight>(weights, w)->weight, 6);
      outChar(out, '\n');
    }
  });
}

void writePoints(TextOut* out, const Model* model) {
  outText(out, "points\n");
  const KeyedTable* points = &model->points;
  tableForEach<const Point>(points, [&](const Point* p, int32_t s) {
    pointColumn(out, tableIntKeyAt(points, s));
    outFixedWidth(out, p->x, 6, 6);
    outChar(out, ' ');
    outFixedWidth(out, p->y, 6, 6);
    outChar(out, ' ');
    outFixedWidth(out, p->z, 6, 6);
    outChar(out, '\n');
  });
}

void writeModelTables(TextOut* out, const Model* model) {
  if (tableCount(&model->normals) > 0) {
    outText(out, "\nnormals\n");
    vectorTable(out, &model->normals, false);
  }
  if (tableCount(&model->surface) > 0) {
    outText(out, "\nsurface\n");
    vectorTable(out, &model->surface, false);
  }
  if (tableCount(&model->colours) > 0) {
    outText(out, "\ncolors\n");
    colourTable(out, &model->colours);
  }
}

// Triangles and lines share the record layout: "5 %d " with the kind,
// then "%d " per point.
template <class T>
void polygonTable(TextOut* out, const KeyedTable* table) {
  tableForEach<const T>(table, [&](const T* item, int32_t) {
    outText(out, "5 ");
    outInt(out, item->kind);
    outChar(out, ' ');
    for (int i = 0; i < item->count; ++i) {
      outInt(out, polygonPoints(item)[i]);
      outChar(out, ' ');
    }
    outChar(out, '\n');
  });
}

void imageHead(TextOut* out, int32_t number) {
  outText(out, "image ");
  outInt(out, number);
  outChar(out, ' ');
}

void writeImage(TextOut* out, int32_t number, const Image* image) {
  const char* file = fileOrNone(image->main);
  switch (image->mode) {
    case kImageDecal:
    case kImageSmooth:
    case kImageDisplace:
      imageHead(out, number);
      outText(out, file);
      outText(out, image->mode == kImageDecal    ? " decal "
                   : image->mode == kImageSmooth ? " smooth "
                                                 : " displace ");
      outText(out, axisName(image->axisU));
      outChar(out, ' ');
      outText(out, axisName(image->axisV));
      outText(out, "  ");
      outFixed(out, image->strength, 2);
      outChar(out, '\n');
      break;
    case kImageReflect:
    case kImageAdditive:
      imageHead(out, number);
      outText(out, file);
      outText(out, image->mode == kImageReflect ? " reflect " : " additive ");
      outFixed(out, image->strength, 2);
      outChar(out, '\n');
      break;
    default:  // cube and normal maps have no line of their own
      break;
  }
  if (image->mirrorFlag) {
    imageHead(out, number);
    outText(out, fileOrNone(image->mirror));
    outText(out, " mirror\n");
  }
  if (image->extraKind == kExtraInvisibleColour) {
    imageHead(out, number);
    outText(out, "invisible ");
    outFloatList(out, image->invisible, 3);
    outChar(out, '\n');
  } else if (image->extraKind == kExtraAlphaTexture) {
    imageHead(out, number);
    outText(out, fileOrNone(image->alpha));
    outText(out, " alpha\n");
  }
  if (image->hasUvees) {
    outText(out, "uvees ");
    outInt(out, number);
    outChar(out, '\n');
    const KeyedTable* uvees = &image->uvees;
    tableForEach<const Uvee>(uvees, [&](const Uvee* uvee, int32_t s) {
      outInt(out, tableIntKeyAt(uvees, s));
      outText(out, "  ");
      outFixed(out, uvee->u, 4);
      outText(out, "  ");
      outFixed(out, uvee->v, 4);
      outChar(out, '\n');
    });
  }
}

void writeLayer(TextOut* out, const Layer* layer) {
  outText(out, "\nlayer ");
  outText(out, layer->name);
  outText(out, "  ");
  outFloatList(out, layer->origin, 3);
  outText(out, layer->singleSided ? "  singlesided" : "  doublesided");
  if (layer->mirror) {
    outText(out, " mirror ");
    outText(out, axisName(layer->mirrorAxis));
  }
  outChar(out, '\n');
  if (layer->opacity != 1.0f) {
    outText(out, "transparency ");
    outFixed(out, 1.0 - static_cast<double>(layer->opacity), 4);
    outChar(out, '\n');
  }
  if (tableCount(&layer->normals) > 0) {
    outText(out, "normals\n");
    vectorTable(out, &layer->normals, false);
  }
  if (tableCount(&layer->surface) > 0) {
    outText(out, "surface\n");
    vectorTable(out, &layer->surface, true);
  }
  if (tableCount(&layer->colours) > 0) {
    outText(out, "colors\n");
    colourTable(out, &layer->colours);
  }
  outText(out, "triangles\n");
  polygonTable<Triangle>(out, &layer->triangles);
  outText(out, "lines\n");
  polygonTable<Line>(out, &layer->lines);
  // Numbers 1, 2, 3 ... up to the first gap; images past a gap are lost.
  for (int32_t n = 1;; ++n) {
    const Image* image = tableFindT<Image>(&layer->images, n);
    if (image == nullptr) break;
    writeImage(out, n, image);
  }
}

// Every shape is written as a box; reading it back gives a box.
void writeCollides(TextOut* out, const Model* model) {
  const KeyedTable* collides = &model->collides;
  tableForEach<const CollideObject>(collides, [&](const CollideObject* c, int32_t) {
    outNamedRecord(out, "collide  ", c->name, "  box  ");
    outFloatList(out, c->position, 3);
    outFloatField(out, "   ", c->size, 3);
    outFloatField(out, "   ", c->rotation, 3);
    outFloatField(out, "  ", c->rotation + 3, 3);
    outFloatField(out, "  ", c->rotation + 6, 3);
    const float tail[3] = {c->weight, c->friction, c->bounce};
    outFloatField(out, "  ", tail, 3);
    outChar(out, ' ');
    outInt(out, c->dynamic);
    outChar(out, '\n');
  });
}

// The joint weight is not part of the line; a reader gives 1.0.
void writeChildren(TextOut* out, const Model* model) {
  const KeyedTable* children = &model->children;
  tableForEach<const Child>(children, [&](const Child* c, int32_t) {
    outNamedRecord(out, "child  ", c->name, "  ");
    outFloatList(out, c->position, 3);
    outFloatField(out, "  ", c->rotation, 9);
    outFloatField(out, "  ", c->scale, 3);
    if (c->joint[0] != '\0') {
      outText(out, "  ");
      outText(out, c->joint);
    }
    outChar(out, '\n');
  });
}

}  // namespace

std::string modelFileName(const char* name) {
  return savedFileName(name, ".mod", "untitled.mod");
}

bool writeModelFile(const Model* model, const char* name) {
  const std::string path =
      modelFileName(name != nullptr ? name : model->name);
  TextOut out;
  if (!textOutOpen(&out, path.c_str())) return false;
  outFileHeading(&out, "model", path.c_str());
  writeJoints(&out, model);
  writePoints(&out, model);
  writeModelTables(&out, model);
  const KeyedTable* layers = &model->layers;
  for (int32_t s = tableNextSlot(layers, -1); s >= 0;
       s = tableNextSlot(layers, s))
    writeLayer(&out, tableAt<Layer>(layers, s));
  outText(&out, "\n\n");
  writeCollides(&out, model);
  writeChildren(&out, model);
  outText(&out, "\n\n");
  return textOutCommit(&out);
}
