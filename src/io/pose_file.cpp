#include "io/pose_file.h"

std::string poseFileName(const char* name) { return name ? name : ""; }
bool writePoseFile(const Model*, const char*, bool) { return false; }
bool readPoseFile(Model*, const char*) { return false; }
bool readPoseBytes(Model*, const char*, size_t, const char*) { return false; }
