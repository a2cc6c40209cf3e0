// KeyedTable: the one container of the model document.
//
// A table holds fixed-size elements in slots. It is unkeyed (kind 0),
// integer-keyed (kind 1) or string-keyed (kind 2, keys up to 255 characters).
//
// Contract, stated once:
//  - insert is find-or-add: an existing key returns its element unchanged.
//    A new key takes the lowest free slot; its element is zero-filled.
//    Kind 0 stores the key but never finds it again (every insert adds).
//  - The first insertion allocates 16 slots; when no slot is free the
//    capacity doubles. Element pointers stay valid only until the next
//    insertion into the same table.
//  - remove frees the slot; a later insertion reuses the lowest free slot,
//    so iteration (slot order) is not creation order.
//  - Iteration is in slot order. tableFirst/tableNext keep their cursor in
//    the table: one such walk per table at a time. tableNextSlot walks
//    without the cursor and may be nested.
//  - String keys longer than 255 characters are cut to 255 for storing and
//    for looking up alike.
//  - Integer and string keys are indexed by hash: find, insert and remove
//    take constant time on average. Integer keys that all lie in a window
//    a few times the capacity wide (point numbers 1..n, counter ids) use a
//    direct array instead; the first key outside it moves the table to the
//    hash index for good.
//  - A table made by tableInitSequential keeps neither keys nor index while
//    every key in use is one base plus its slot, as point numbers read in
//    order and polygon ids handed out in turn are: the slot follows from
//    the key. The first key that breaks the pattern gives the table its
//    keys and index, as above, for good. Only memory differs.
//
// The table is a plain record of raw pointers, so a table embedded in an
// element of another table may be moved with memcpy (as reallocation does).
// Records with heap arrays must release them before their slot is removed.
#pragma once

#include <cstdint>

enum TableKind : int32_t {
  kUnkeyed = 0,
  kIntKeyed = 1,
  kStringKeyed = 2,
};

constexpr int kTableKeyBytes = 256;  // a string key with its terminator
constexpr int kTableInitialCapacity = 16;

struct KeyedTable {
  int32_t kind;
  int32_t cursor;       // slot of the tableFirst/tableNext walk
  int32_t count;        // slots in use
  int32_t elementSize;  // bytes per element
  int32_t capacity;     // slots allocated
  // A bit per slot, set while it is in use, and a bit per word of those,
  // set while the word is full: the lowest free slot is found by scanning
  // them, where a list of free slots would cost four bytes a slot.
  uint64_t* usedBits;   // (capacity + 63) / 64 words
  uint64_t* fullWords;  // a bit per word of usedBits
  int32_t freeHint;     // the words of fullWords below it are all ones
  int32_t highWater;    // slots at or above it have never been used
  int32_t* intKeys;     // kinds 0 and 1: key per slot (none in sequence)
  char* stringKeys;     // kind 2: kTableKeyBytes per slot
  unsigned char* elements;  // capacity * elementSize bytes

  // Hash index from key to slot (kinds 1 and 2). Open addressing with
  // linear probing; each bucket is {key or hash, slot + 1}, 0 = empty.
  uint32_t* buckets;    // 2 * bucketCount words
  int32_t bucketCount;  // power of two, or 0 before the first insert

  // Kind 1 direct index, used instead of buckets until `hashed` is set:
  // direct[key - directBase] = slot + 1, 0 = absent. A scattered hash
  // costs a cache miss per lookup where neighbouring keys share lines.
  int32_t* direct;      // directSize entries, null before the first insert
  int32_t directSize;   // power of two, or 0 (then directBase is unset)
  int32_t directBase;   // first key rounded down to a multiple of 64
  int32_t hashed;       // 1 once a key fell outside the window

  // Kind 1 tables made by tableInitSequential: while `inSequence` is set,
  // the key of slot s is sequenceBase + s, and intKeys, direct and
  // buckets are not kept; while it is also empty, the next key sets the
  // base.
  int32_t sequential;
  int32_t inSequence;
  int32_t sequenceBase;
};

void tableInit(KeyedTable* t, int32_t elementSize, TableKind kind);
// An int-keyed table whose keys usually come in sequence (see above).
void tableInitSequential(KeyedTable* t, int32_t elementSize);

void* tableInsert(KeyedTable* t, int32_t key);      // kinds 0 and 1
void* tableInsert(KeyedTable* t, const char* key);  // kind 2
// Appends `n` elements at once: keys firstKey, firstKey + 1, ... in the
// n slots after the last one ever used, zero-filled and adjacent in
// memory; returns the first. Only a table made by tableInitSequential,
// still in sequence, without a free slot below its last used one, and
// whose next slot takes firstKey (any key while empty) takes a run; for
// any other, or out of memory, null and the table holds the same: insert
// the elements one by one instead.
void* tableAppendRun(KeyedTable* t, int32_t firstKey, int32_t n);
// Grows the table now, in one step, to the capacity that doubling as
// inserts would reach for at least `slots` slots, so that the inserts to
// come neither grow it nor touch new memory. False when out of memory (the table holds the same; some
// of its arrays may be larger).
bool tableReserve(KeyedTable* t, int32_t slots);
void* tableFind(const KeyedTable* t, int32_t key);
void* tableFind(const KeyedTable* t, const char* key);
// Returns true when the key was present (and its slot is now free).
bool tableRemove(KeyedTable* t, int32_t key);
bool tableRemove(KeyedTable* t, const char* key);

// Cursor walk in slot order; the key out-parameters may be null.
void* tableFirst(KeyedTable* t, int32_t* key);
void* tableNext(KeyedTable* t, int32_t* key);
void* tableFirst(KeyedTable* t, const char** key);
void* tableNext(KeyedTable* t, const char** key);

// Cursor-free walk: the next slot in use after `slot` (-1 to start), or -1.
int32_t tableNextSlot(const KeyedTable* t, int32_t slot);
// The slot of an element the table holds (a pointer into its elements).
inline int32_t tableSlotOf(const KeyedTable* t, const void* element) {
  return static_cast<int32_t>(
      (static_cast<const unsigned char*>(element) - t->elements) / t->elementSize);
}
void* tableElementAt(const KeyedTable* t, int32_t slot);
int32_t tableIntKeyAt(const KeyedTable* t, int32_t slot);
const char* tableStringKeyAt(const KeyedTable* t, int32_t slot);

int32_t tableCount(const KeyedTable* t);
// Slot index of the key, or with `ordinal` its rank among slots in use;
// -1 when absent.
int32_t tablePosition(const KeyedTable* t, int32_t key, bool ordinal);
int32_t tablePosition(const KeyedTable* t, const char* key, bool ordinal);
// The element of the n-th slot in use (0-based, slot order), or null.
void* tableNth(const KeyedTable* t, int32_t n);

// Deep copy of the table's own arrays (elements are copied byte for byte;
// heap arrays owned by elements are shared, not duplicated).
// `dst` must not hold arrays of its own.
void tableCopy(const KeyedTable* src, KeyedTable* dst);
// Frees the arrays; the table is empty again and keeps kind, size and
// whether it is sequential.
void tableRelease(KeyedTable* t);

// Typed conveniences for callers that know the element type.
template <class T> T* tableInsertT(KeyedTable* t, int32_t key) {
  return static_cast<T*>(tableInsert(t, key));
}
template <class T> T* tableInsertT(KeyedTable* t, const char* key) {
  return static_cast<T*>(tableInsert(t, key));
}
template <class T> T* tableFindT(const KeyedTable* t, int32_t key) {
  return static_cast<T*>(tableFind(t, key));
}
template <class T> T* tableFindT(const KeyedTable* t, const char* key) {
  return static_cast<T*>(tableFind(t, key));
}
template <class T> T* tableAt(const KeyedTable* t, int32_t slot) {
  return static_cast<T*>(tableElementAt(t, slot));
}

// The entry of `key` in the first table, else in the second (a layer's
// colour or normal before the model's); either table may be null.
template <class T>
T* tableFindEither(const KeyedTable* first, const KeyedTable* second, int32_t key) {
  T* found = first != nullptr ? static_cast<T*>(tableFind(first, key)) : nullptr;
  if (found == nullptr && second != nullptr) found = static_cast<T*>(tableFind(second, key));
  return found;
}

// Visits every element in slot order as visit(T* element, int32_t slot).
template <class T, class Visit>
void tableForEach(const KeyedTable* t, Visit visit) {
  for (int32_t s = tableNextSlot(t, -1); s >= 0; s = tableNextSlot(t, s))
    visit(tableAt<T>(t, s), s);
}
