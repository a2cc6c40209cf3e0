// The parts of modelr set that act on document items (child models and the
// chosen layer), and the argument readers every set word shares.
#pragma once

#include <cstddef>

#include "model/geometry.h"  // kByteScale


// Three colour components into 0..1 (kByteScale above 1); false leaves
// `colour` alone.
bool readColour(char** words, float colour[3]);

void setChild(Workspace& ws, char** words);  // set child <what> <id> <values>
void setLayer(Workspace& ws, char** words);  // set layer <attribute> <values>
