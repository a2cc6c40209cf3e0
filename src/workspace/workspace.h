// The workspace: the one record that holds every piece of the engine's
// state (the open models, the view, the simulation, the callbacks' slots and
// the settings kept for later), owned by the extension and handed to every
// command. Nothing mutable lives outside it but what the platform forces
// (view/platform_x11.cpp) and the process-wide document counters and
// LastError text (model/).
#pragma once

#include <cstdint>
#include <string>

#include "model/keyed_table.h"
#include "model/model.h"
#include "sim/sim_world.h"
#include "view/view.h"
#include "workspace/simulation.h"

// Script procedures the user interface registers, one per type.
enum CallbackType {
  kCallbackError,
  kCallbackKeyboard,
  kCallbackMouse,
  kCallbackJoystick,
  kCallbackSimulate,
  kCallbackStatus,
  kCallbackTypes,
};

// What the workspace reports upward while it opens and closes documents;
// the command layer implements it.
class WorkspaceHost {
 public:
  virtual void workspaceStatus(const char* text) = 0;

 protected:
  ~WorkspaceHost() = default;
};

// Texts kept for the cursor files and the licence check. Nothing reads
// them yet: cursor files are taken as given, and the licence check always
// passes.
struct StoredTexts {
  char cursorPath[kDirectoryBytes];
  char license[kDirectoryBytes];
  char product[kNameBytes];
  char server[kNameBytes];
  char encoded[kDirectoryBytes];  // the words of the last "encode"
};

struct Workspace {
  int32_t busy = 0;         // 1 while a modelr command is dispatched
  float matrix[16] = {};    // scratch matrix of the matrix commands, row order
  ModelRegistry registry;   // the open models
  View view;
  SimWorld sim;
  SimLinks simLinks;  // the collide objects in the world
  std::string callbacks[kCallbackTypes];  // "" when none is registered
  StoredTexts texts = {};
  // Sprite switches by child id (int-keyed, int32_t 0 or 1): a child
  // switched on is drawn facing the viewer.
  KeyedTable sprites;
  WorkspaceHost* host = nullptr;
  // The number the last add triangle or add line handed out (0: none yet);
  // the strict scripting face answers with it.
  int32_t lastPolygonId = 0;
};

// Start values: no model, identity matrix, the view's defaults. `host` and
// `viewSink` may be null (nothing is reported then); `toolkit` is what the
// platform finds its widgets through.
void workspaceInit(Workspace* ws, WorkspaceHost* host, ViewSink* viewSink,
                   void* toolkit);
// Closes every model and frees what the workspace holds.
void workspaceRelease(Workspace* ws);

void setIdentity(float matrix[16]);

// The current model, or null.
inline Model* currentModel(const Workspace& ws) { return ws.registry.current; }

// The registered procedure of that type, or null when none is.
const char* callbackProcedure(const Workspace& ws, CallbackType type);

// The scene a frame draws: every open model with flag 0, in registry order,
// the current model, where a running simulation has put them and which
// children are sprites. Their
// collide objects are linked into the world on the way.
void fillScene(Workspace& ws, Scene* scene);
