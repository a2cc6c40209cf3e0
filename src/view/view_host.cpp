#include "view/view_host.h"

namespace {

RendererErrorReporter g_rendererError = nullptr;

}  // namespace

void viewRegistryInit() {}

void setRendererErrorReporter(RendererErrorReporter reporter) {
  g_rendererError = reporter;
}

void rendererError(const char* text) {
  if (g_rendererError) g_rendererError(text);
}
