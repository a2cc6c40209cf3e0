#include "view/view.h"

#include "view/draw_model.h"
#include "view/labels.h"
#include "view/pick.h"

void viewInit(View* view, ViewSink* sink, void* toolkit) {
  *view = View();  // the camera zeroed until a window gives it its start
  initRenderState(&view->render);
  view->sink = sink;
  view->toolkit = toolkit;
  view->displays = newModelDisplays();
  setModelDisplaysSink(view->displays, sink);
  view->fonts = newLabelFonts();
  view->picking = newPickState();
}

void viewRelease(View* view) {
  freeModelDisplays(view->displays);
  freeLabelFonts(view->fonts);
  freePickState(view->picking);
  view->picking = nullptr;
  view->displays = nullptr;
  view->fonts = nullptr;
}

void viewReportError(const View* view, const char* text) {
  if (view->sink != nullptr && text != nullptr) view->sink->viewError(text);
}
