#include "view/display_flags.h"

#include <cstring>

namespace {

struct SwitchEntry {
  const char* name;
  int32_t DisplayFlags::*field;
  int32_t startsOn;
};

// In the order the options are documented; lookup compares the first
// letter before the whole word, which keeps the scan cheap.
const SwitchEntry kSwitches[] = {
    {"wireframe", &DisplayFlags::wireframe, 0},
    {"points", &DisplayFlags::points, 0},
    {"triangles", &DisplayFlags::triangles, 1},
    {"mirror", &DisplayFlags::mirror, 1},
    {"textures", &DisplayFlags::textures, 1},
    {"normals", &DisplayFlags::normals, 0},
    {"surfaces", &DisplayFlags::surfaces, 0},
    {"transparency", &DisplayFlags::transparency, 1},
    {"alpha", &DisplayFlags::alpha, 0},
    {"backfaces", &DisplayFlags::backfaces, 1},
    {"lighting", &DisplayFlags::lighting, 1},
    {"curves", &DisplayFlags::curves, 1},
    {"control_nets", &DisplayFlags::controlNets, 0},
    {"skeleton", &DisplayFlags::skeleton, 0},
    {"gouraud", &DisplayFlags::gouraud, 1},
    {"colors", &DisplayFlags::colors, 0},
    {"labels", &DisplayFlags::labels, 0},
    {"pnfilter", &DisplayFlags::pnfilter, 0},
    {"children", &DisplayFlags::children, 1},
    {"reflect", &DisplayFlags::reflect, 1},
    {"lines", &DisplayFlags::lines, 1},
    {"collide", &DisplayFlags::collide, 1},
    {"grid", &DisplayFlags::grid, 0},
    {"cursor", &DisplayFlags::cursor, 0},
    {"messages", &DisplayFlags::messages, 1},
    {"flat", &DisplayFlags::flat, 0},
    {"scale", &DisplayFlags::scale, 0},
    {"rotation", &DisplayFlags::rotation, 0},
    {"pose", &DisplayFlags::pose, 0},
    {"closelines", &DisplayFlags::closelines, 0},
    {"normalize", &DisplayFlags::normalize, 0},
};

constexpr int kSwitchCount = sizeof kSwitches / sizeof kSwitches[0];

}  // namespace

void setDisplayDefaults(DisplayFlags* flags) {
  std::memset(flags, 0, sizeof *flags);
  for (const SwitchEntry& entry : kSwitches) {
    flags->*entry.field = entry.startsOn;
  }
  flags->lod = 1;
  flags->arcAxis = 1;
  // The cube-map extension test never matches a word, so reflections by
  // cube map are always offered.
  flags->cubeMapReflection = 1;
}

int32_t* displaySwitch(DisplayFlags* flags, const char* name) {
  if (flags == nullptr || name == nullptr || name[0] == '\0') return nullptr;
  for (const SwitchEntry& entry : kSwitches) {
    if (entry.name[0] == name[0] && std::strcmp(entry.name, name) == 0) {
      return &(flags->*entry.field);
    }
  }
  return nullptr;
}

int displaySwitchCount() { return kSwitchCount; }

const char* displaySwitchName(int index) {
  if (index < 0 || index >= kSwitchCount) return nullptr;
  return kSwitches[index].name;
}

int32_t displayAxisCode(const char* word) {
  if (word != nullptr && std::strcmp(word, "x") == 0) return 1;
  if (word != nullptr && std::strcmp(word, "y") == 0) return 2;
  return 3;
}
