// Large host arrays the view fills once and hands to the GL (the vertices
// of a layer of a million triangles are close to 100 MB). Asking the
// system to back them with large pages saves a page fault per 4 KiB, which
// costs more than filling the page.
#pragma once

#include <cstddef>
#include <vector>

// A hint only: ignored below a few MiB and where the system has no such
// pages.
void adviseLargePages(void* data, size_t bytes);

template <class T>
void reserveLarge(std::vector<T>* v, size_t count) {
  v->reserve(count);
  adviseLargePages(v->data(), v->capacity() * sizeof(T));
}
