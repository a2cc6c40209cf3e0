// What the extension's start-up hands to the view before any window
// exists. The platform backends fill these in.
#pragma once

// Clears the table of view windows. On X11 nothing is registered with the
// platform: the view window is a Tk child window.
void viewRegistryInit();

// The renderer reports its failures through this function.
using RendererErrorReporter = void (*)(const char* text);
void setRendererErrorReporter(RendererErrorReporter reporter);
void rendererError(const char* text);
