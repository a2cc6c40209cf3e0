// Large arrays written once from end to end (tables of a million
// triangles, the vertices handed to the GL) cost a page fault per 4 KiB
// as they are first written, and in a virtual machine a fault costs more
// than filling its page. Asking the system for 2 MiB pages instead takes
// that to a fault per 2 MiB.
#pragma once

#include <cstddef>

// A hint only: ignored below a few MiB and where the system has no such
// pages. Call it before the array's pages are first written.
void adviseLargePages(void* data, size_t bytes);

// Room for `count` elements of a std::vector, on large pages.
template <class Vector>
void reserveLarge(Vector* v, size_t count) {
  v->reserve(count);
  adviseLargePages(v->data(), v->capacity() * sizeof(typename Vector::value_type));
}

// A std::vector of `count` elements, those added set to `value`, its room
// on large pages.
template <class Vector>
void resizeLarge(Vector* v, size_t count, const typename Vector::value_type& value = {}) {
  reserveLarge(v, count);
  v->resize(count, value);
}

// realloc for memory from malloc: `p`, its first `had` bytes in use, grown
// to `bytes`, the rest zero and every page of it written once (null, `p`
// untouched, when out of memory). Megabytes grown from next to nothing
// come as fresh memory, which the system has cleared already: it is
// faulted in, not cleared again.
void* growCleared(void* p, size_t had, size_t bytes);
