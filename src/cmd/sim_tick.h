// The simulate ticks: while a started simulation runs and a simulate
// procedure is registered, a thread of its own asks the interpreter for one
// tick at a time, then sleeps 20 ms. A tick, on the interpreter's thread,
// comes 10 ms (the timer's floor) after the request: it steps the world by
// 1.0 and calls the procedure with SIMULATE as its one argument. At most
// one tick is ever waiting, so a slow procedure lowers the rate (at best
// about 50 a second) instead of piling ticks up. The thread never touches
// the world or the interpreter itself.
#pragma once

struct Workspace;
struct Extension;

// After "simulate start": starts the thread, unless one runs or no simulate
// procedure is registered (then nothing ever moves by itself).
void startSimulateTicks(Workspace& ws);
// Ends the thread and drops a waiting tick. Ticks also end by themselves
// once the simulation stops running (its models closed, its view gone).
void stopSimulateTicks(Workspace& ws);
// The interpreter or the process is ending: the ticks end, for good.
void endSimulateTicks(Extension& x);

// The status line of a world that ran out of range and was put back.
void reportSimulationReset(Workspace& ws);
