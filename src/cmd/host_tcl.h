// Binding the extension to an interpreter: the one record the modelr
// command gets as its client data. It holds the workspace and is the
// workspace's and the view's host, so that everything they report reaches
// the script's procedures. Only the extension entry needs Tcl's headers.
#pragma once

#include <tcl.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "cmd/format.h"
#include "workspace/workspace.h"

// A callback waiting to run: its type, the call (a list: the procedure,
// then its values) and the types of the callbacks that led to it.
struct PendingCallback {
  CallbackType type;
  Tcl_Obj* call;
  uint32_t causes;
};

// The simulate ticks (sim_tick.h). The thread reads `run` and sets
// `pending`; everything else is the interpreter thread's.
struct SimulateTicks {
  std::thread thread;
  std::atomic<bool> run{false};      // the thread goes on while set
  std::atomic<bool> pending{false};  // a tick is requested and not yet run
  Tcl_ThreadId interpThread = nullptr;
  Tcl_TimerToken timer = nullptr;
  bool ended = false;  // the interpreter or the process is going away
};

struct Extension final : WorkspaceHost, ViewSink {
  Tcl_Interp* interp = nullptr;
  std::chrono::steady_clock::time_point lastDrain;
  ResultText text;  // the formatted result of the running command
  // Callbacks wait while a command runs and are delivered, in order, when
  // it ends: no procedure can free what a handler holds.
  std::deque<PendingCallback> pending;
  int commandDepth = 0;
  bool delivering = false;
  uint32_t runningMask = 0;  // the delivering callback's type and causes
  SimulateTicks ticks;
  // The strict face's call records what the error and status procedures
  // are sent while its command runs (recording > 0), to raise refusals as
  // Tcl errors.
  int recording = 0;
  std::vector<std::string> reports;
  std::vector<std::string> statuses;
  // The first words each family takes, for the strict face's checks, made
  // once per family from its help rows ("" for a family without any).
  std::unordered_map<std::string, std::vector<std::string>> familyWords;
  Workspace ws;

  void workspaceStatus(const char* text) override;
  void viewMouse(int32_t button, int32_t x, int32_t y, int32_t dx,
                 int32_t dy) override;
  void viewKey(int32_t character) override;
  void viewError(const char* text) override;
  void viewAlert(const char* text) override;
  void viewScene(Scene* scene) override;
  bool viewShaderSource(const char* directory, const char* file,
                        std::string* text, std::string* why) override;
};

// Binds the Tcl stubs (8.4 or later) and, when the Tk package is present,
// the Tk stubs. On failure the interpreter result says why and false is
// returned. *hasTk tells whether Tk is there.
bool hostBindStubs(Tcl_Interp* interp, bool* hasTk);

// The extension a workspace belongs to.
Extension& extensionOf(Workspace& ws);

// Around every modelr command: callbacks raised meanwhile wait, and run
// when the outermost command ends.
void hostCommandBegins(Workspace& ws);
void hostCommandEnds(Workspace& ws);

extern "C" {
// For an embedding program that made its own interpreter (see embed.h).
__attribute__((visibility("default"))) int Modelr_BindInterp(Tcl_Interp* interp);
}
