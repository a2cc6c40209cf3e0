// The view: everything the one view window keeps between frames, as one
// record that its owner (the workspace) holds and hands to every view call.
// The view draws what it is handed and reports what happens through a
// small sink; it knows nothing of the interpreter or the document registry.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "model/records.h"
#include "view/render_state.h"
#include "view/view_event.h"
#include "view/view_state.h"

struct PlatformWindow;
struct ModelDisplays;  // per-model vertex data on the GL side (draw_model.cpp)
struct LabelFonts;     // glyph display lists of the labels (labels.cpp)
struct PickState;      // candidate sets and indexes of the pickers (pick.h)

// A placement in scene units, column order as OpenGL takes it.
struct SceneFrame {
  float m[16];
};

// Where a running simulation has put things: a model bound to a body is
// drawn (labels included) through its body's frame instead of its own
// placement, a collide object's outline through its shape's frame. Empty
// while nothing is simulated: everything is where the document puts it.
// Children switched on as sprites (set sprite) turn to face the viewer.
struct ScenePlacements {
  std::unordered_map<int32_t, SceneFrame> models;    // by model id
  std::unordered_map<int32_t, SceneFrame> collides;  // by collide id
  std::unordered_set<int32_t> sprites;               // by child id
};

// The frame a running simulation gives the model or collide object of
// `id`, or null (also when `placed` is).
inline const SceneFrame* simulatedModelFrame(const ScenePlacements* placed, int32_t id) {
  if (placed == nullptr) return nullptr;
  auto found = placed->models.find(id);
  return found != placed->models.end() ? &found->second : nullptr;
}
inline const SceneFrame* simulatedCollideFrame(const ScenePlacements* placed, int32_t id) {
  if (placed == nullptr) return nullptr;
  auto found = placed->collides.find(id);
  return found != placed->collides.end() ? &found->second : nullptr;
}

// What one frame draws: the open top-level models in registry order and
// the model whose labels and layer outline show.
struct Scene {
  std::vector<Model*> models;
  Model* current = nullptr;
  ScenePlacements placed;
};

// What the view reports to its owner. The owner may run scripts from any
// of these, so the view never holds document pointers across a call.
class ViewSink {
 public:
  // Buttons 1 to 3 (0 for a release or a plain move), client coordinates
  // with the origin top left, and the motion since the last report.
  virtual void viewMouse(int32_t button, int32_t x, int32_t y, int32_t dx,
                         int32_t dy) = 0;
  // A key press with a character (1..255).
  virtual void viewKey(int32_t character) = 0;
  // A refusal or failure of the renderer ("modelr: ...").
  virtual void viewError(const char* text) = 0;
  // A failure the user must see even without an error procedure (the
  // message box of window creation).
  virtual void viewAlert(const char* text) = 0;
  // Fills the scene of the frame being drawn, asked anew for each frame:
  // a script run since the last one may have closed any of it.
  virtual void viewScene(Scene* scene) = 0;
  // The text of a shader file a layer names, looked for as texture files
  // are (in the model's `directory` first, then as given); false with the
  // reason in *why. Runs no script.
  virtual bool viewShaderSource(const char* directory, const char* file,
                                std::string* text, std::string* why) = 0;

 protected:
  ~ViewSink() = default;
};

constexpr int kPendingViewEvents = 64;

// The window and its pointer state.
struct ViewWindowState {
  PlatformWindow* window = nullptr;  // null before creation and after it is gone
  bool created = false;              // only one window, ever
  void* statusWidget = nullptr;      // the script's .status widget, if any
  std::vector<void*> cursors;        // cursor n at n - 1
  int32_t shownCursor = 0;
  // Mouse: the last position and motion delta sent to the script.
  int32_t lastX = 0, lastY = 0;
  int32_t lastDx = 0, lastDy = 0;
  // A callback that runs the event loop brings the next events in while
  // the first is handled; they wait here and follow in order.
  bool handlingEvent = false;
  ViewEvent pending[kPendingViewEvents] = {};
  int pendingCount = 0;
};

struct View {
  ViewState camera;
  RenderState render;
  ViewWindowState window;
  ViewSink* sink = nullptr;
  // The toolkit handle the platform finds its parent widgets through (the
  // Tk interpreter on X11); opaque here.
  void* toolkit = nullptr;
  ModelDisplays* displays = nullptr;
  LabelFonts* fonts = nullptr;
  PickState* picking = nullptr;
  bool glewReady = false;
};

// Start values: zero camera (a window gives it its start values), render
// state defaults, empty caches. `sink` and `toolkit` may be null (then
// nothing is reported and no window can be made).
void viewInit(View* view, ViewSink* sink, void* toolkit);
// Frees the caches (their GL names are dropped without a context).
void viewRelease(View* view);

// Sends a renderer failure to the sink.
void viewReportError(const View* view, const char* text);
