#include "io/mod_writer.h"

std::string modelFileName(const char* name) { return name ? name : ""; }
bool writeModelFile(const Model*, const char*) { return false; }
