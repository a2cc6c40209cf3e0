// Fuzz target for the modelr command: each line of the input is handed to
// `modelr` as one argument (the command cuts it into words itself), in an
// interpreter of the fuzzer's own with the extension loaded. Any words give
// a result or a refusal, never a crash, a leak or an over-read.
//
// The commands that reach outside (system, print) and every line with a
// path separator or ".." are skipped, files are written only into a fresh
// working directory, and the Tcl commands that a callback procedure could
// name to reach the machine are removed from the interpreter.
#undef USE_TCL_STUBS  // this file calls Tcl itself, before any stubs exist
#include <stdlib.h>
#include <tcl.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <cstdlib>
#include <cstring>
#include <string>

extern "C" int Modelr_Init(Tcl_Interp* interp);

namespace {

constexpr size_t kMaxLines = 64;

Tcl_Interp* interpreter() {
  static Tcl_Interp* interp = [] {
    char pattern[] = "/tmp/modelr-words-XXXXXX";
    if (mkdtemp(pattern) == nullptr || chdir(pattern) != 0) std::abort();
    static std::string directory = pattern;
    std::atexit([] {
      std::error_code ignored;
      std::filesystem::remove_all(directory, ignored);
    });
    Tcl_FindExecutable(nullptr);
    Tcl_Interp* made = Tcl_CreateInterp();
    if (made == nullptr || Modelr_Init(made) != TCL_OK) std::abort();
    // What a callback named by the input must never reach.
    const char* script =
        "foreach c {exec exit file open source cd socket load interp glob pwd "
        "fconfigure close puts gets read seek chan after update vwait package "
        "auto_load auto_execok auto_import unknown eval uplevel namespace proc "
        "apply coroutine yield info trace} { catch {rename $c {}} }; rename rename {}";
    if (Tcl_Eval(made, script) != TCL_OK) std::abort();
    return made;
  }();
  return interp;
}

bool allowed(const std::string& line) {
  return line.find("system") == std::string::npos &&
         line.find("print") == std::string::npos &&
         line.find('/') == std::string::npos && line.find('\\') == std::string::npos &&
         line.find("..") == std::string::npos;
}

void run(Tcl_Interp* interp, const std::string& line) {
  Tcl_Obj* objv[] = {Tcl_NewStringObj("modelr", -1),
                     Tcl_NewStringObj(line.data(), static_cast<int>(line.size()))};
  for (Tcl_Obj* o : objv) Tcl_IncrRefCount(o);
  Tcl_EvalObjv(interp, 2, objv, TCL_EVAL_GLOBAL);
  for (Tcl_Obj* o : objv) Tcl_DecrRefCount(o);
  Tcl_ResetResult(interp);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Tcl_Interp* interp = interpreter();
  // Every input starts from one empty model and no callbacks.
  run(interp, "create model fuzz");
  for (const char* type : {"error", "status", "mouse", "keyboard", "simulate"})
    run(interp, std::string("callback ") + type + " noSuchProcedure");
  const char* bytes = reinterpret_cast<const char*>(data);
  size_t start = 0, lines = 0;
  for (size_t i = 0; i <= size && lines < kMaxLines; ++i) {
    if (i < size && bytes[i] != '\n') continue;
    std::string line(bytes + start, i - start);
    start = i + 1;
    ++lines;
    // Tcl strings end at a NUL only in their own encoding; keep it simple.
    if (line.find('\0') != std::string::npos || !allowed(line)) continue;
    run(interp, line);
  }
  return 0;
}
