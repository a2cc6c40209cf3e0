// Pose files (.pos): the pose of every joint of a model and the morph
// offsets attached to the joints and to "world".
#pragma once

#include <string>

#include "model/records.h"

// `name`, else "noname.pos" for null or "", with ".pos" appended unless the
// name ends in a three-letter extension.
std::string poseFileName(const char* name);

// Writes the pose of every joint (only the selected ones when
// `selectedOnly`) through a temporary file. False when the file could not
// be written.
bool writePoseFile(const Model* model, const char* name, bool selectedOnly);

// Reads a pose file into the model. The first bad line stops the reading
// with the reason, file and line in LastError; joints set before it keep
// their new pose.
bool readPoseFile(Model* model, const char* path);
// The same over bytes in memory (the fuzz target's entry); `name` is the
// file name the messages carry.
bool readPoseBytes(Model* model, const char* bytes, size_t size,
                   const char* name);
