#include "cmd/sim_tick.h"

#include <chrono>
#include <system_error>
#include <thread>

#include "cmd/host.h"
#include "cmd/host_tcl.h"
#include "workspace/simulation.h"

namespace {

constexpr auto kThreadSleep = std::chrono::milliseconds(20);
constexpr int kTimerMs = 10;

// The request the thread queues on the interpreter's thread.
struct TickRequest {
  Tcl_Event header;
  Extension* x;
};

void tick(ClientData data) {
  Extension& x = *static_cast<Extension*>(data);
  SimulateTicks& t = x.ticks;
  t.timer = nullptr;
  Workspace& ws = x.ws;
  const bool running = x.interp != nullptr && simulationRunning(ws) &&
                       callbackProcedure(ws, kCallbackSimulate) != nullptr;
  if (running) {
    if (!stepSimulation(ws, 1.0f)) reportSimulationReset(ws);
    fireSimulateProcedure(ws);
  }
  // The simulation may have ended meanwhile (the procedure may stop it).
  if (!running || !simulationRunning(ws)) t.run = false;
  t.pending = false;
}

int requestArrived(Tcl_Event* event, int) {
  Extension& x = *reinterpret_cast<TickRequest*>(event)->x;
  if (x.interp == nullptr || !x.ticks.run) {
    x.ticks.pending = false;
    return 1;
  }
  x.ticks.timer = Tcl_CreateTimerHandler(kTimerMs, tick, &x);
  return 1;
}

int isTickRequest(Tcl_Event* event, ClientData) { return event->proc == requestArrived; }

void threadLoop(Extension* x) {
  SimulateTicks& t = x->ticks;
  while (t.run) {
    if (!t.pending.exchange(true)) {
      TickRequest* request = static_cast<TickRequest*>(
          static_cast<void*>(ckalloc(sizeof(TickRequest))));
      request->header.proc = requestArrived;
      request->header.nextPtr = nullptr;
      request->x = x;
      Tcl_ThreadQueueEvent(t.interpThread, &request->header, TCL_QUEUE_TAIL);
      Tcl_ThreadAlert(t.interpThread);
    }
    std::this_thread::sleep_for(kThreadSleep);
  }
}

void endTicks(Extension& x) {
  SimulateTicks& t = x.ticks;
  t.run = false;
  if (t.thread.joinable()) t.thread.join();
  if (t.timer != nullptr) Tcl_DeleteTimerHandler(t.timer);
  t.timer = nullptr;
  Tcl_DeleteEvents(isTickRequest, nullptr);
  t.pending = false;
}

}  // namespace

void startSimulateTicks(Workspace& ws) {
  Extension& x = extensionOf(ws);
  SimulateTicks& t = x.ticks;
  if (x.interp == nullptr || t.ended || t.run) return;
  if (callbackProcedure(ws, kCallbackSimulate) == nullptr || !simulationRunning(ws)) return;
  endTicks(x);  // a thread that ended by itself is joined first
  t.interpThread = Tcl_GetCurrentThread();
  t.run = true;
  try {
    t.thread = std::thread(threadLoop, &x);
  } catch (const std::system_error&) {
    t.run = false;
  }
}

void stopSimulateTicks(Workspace& ws) { endTicks(extensionOf(ws)); }

void endSimulateTicks(Extension& x) {
  x.ticks.ended = true;
  endTicks(x);
}

void reportSimulationReset(Workspace& ws) {
  reportStatus(ws, "modelr: the simulation left its range and was put back at rest");
}
