#include "model/keyed_table.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "model/large_pages.h"

namespace {

constexpr int32_t kMaxKeyChars = kTableKeyBytes - 1;
constexpr int32_t kMaxCapacity = 1 << 30;

// murmur3 finalizer. Keeping runs of point numbers in neighbouring buckets
// would be kinder to the cache, but separate dense ranges (1..1e5 and
// 1e7..) then overlap into probe runs of thousands.
inline uint32_t mixInt(uint32_t h) {
  h ^= h >> 16;
  h *= 0x85ebca6bu;
  h ^= h >> 13;
  h *= 0xc2b2ae35u;
  h ^= h >> 16;
  return h;
}

// Eight bytes per step; keys like "joint_12345" take two steps.
uint32_t hashString(const char* s, size_t len) {
  uint64_t h = 0x9e3779b97f4a7c15ull ^ (len * 0xff51afd7ed558ccdull);
  while (len >= 8) {
    uint64_t w;
    memcpy(&w, s, 8);
    h ^= w;
    h *= 0xbf58476d1ce4e5b9ull;
    h ^= h >> 31;
    s += 8;
    len -= 8;
  }
  if (len > 0) {
    uint64_t w = 0;
    memcpy(&w, s, len);
    h ^= w;
    h *= 0xbf58476d1ce4e5b9ull;
    h ^= h >> 31;
  }
  h ^= h >> 33;
  h *= 0xff51afd7ed558ccdull;
  h ^= h >> 33;
  return static_cast<uint32_t>(h);
}

// Length of the key as stored: cut at kMaxKeyChars.
inline size_t keyLength(const char* key) {
  size_t n = 0;
  while (n < static_cast<size_t>(kMaxKeyChars) && key[n] != '\0') ++n;
  return n;
}

// Whether a stored key equals the first `len` bytes of `key`. Compared by
// hand: for some placements of the key array (keys sit 256 bytes apart,
// 16 bytes short of a line) glibc's memcmp made lookups 3x slower.
inline bool sameKey(const char* stored, const char* key, size_t len) {
  size_t i = 0;
  for (; i + 8 <= len; i += 8) {
    uint64_t a, b;
    memcpy(&a, stored + i, 8);
    memcpy(&b, key + i, 8);
    if (a != b) return false;
  }
  for (; i < len; ++i)
    if (stored[i] != key[i]) return false;
  return stored[len] == '\0';
}

inline bool usedBit(const KeyedTable* t, int32_t slot) {
  return (t->usedBits[slot >> 6] >> (slot & 63)) & 1;
}

inline bool inUseAt(const KeyedTable* t, int32_t slot) {
  return slot >= 0 && slot < t->capacity && usedBit(t, slot);
}

inline size_t wordsFor(int32_t bits) { return (static_cast<size_t>(bits) + 63) / 64; }

inline const char* storedKey(const KeyedTable* t, int32_t slot) {
  return t->stringKeys + static_cast<size_t>(slot) * kTableKeyBytes;
}

inline unsigned char* elementOf(const KeyedTable* t, int32_t slot) {
  return t->elements + static_cast<size_t>(slot) * t->elementSize;
}

// realloc that does not mistake a zero-byte request for failure.
void* resize(void* p, size_t bytes) { return realloc(p, bytes ? bytes : 1); }
void* allocate(size_t bytes) { return malloc(bytes ? bytes : 1); }

// ---- hash index -------------------------------------------------------

// Bucket word 0 is the int key (kind 1) or the key's hash (kind 2); the
// home bucket follows from it without touching the slot arrays.
inline uint32_t homeOf(const KeyedTable* t, uint32_t word) {
  uint32_t h = t->kind == kIntKeyed ? mixInt(word) : word;
  return h & static_cast<uint32_t>(t->bucketCount - 1);
}

inline int32_t bucketSlot(const KeyedTable* t, uint32_t b) {
  return static_cast<int32_t>(t->buckets[2 * static_cast<size_t>(b) + 1] - 1);
}

inline void setBucket(KeyedTable* t, uint32_t b, uint32_t word, int32_t slot) {
  t->buckets[2 * static_cast<size_t>(b)] = word;
  t->buckets[2 * static_cast<size_t>(b) + 1] = static_cast<uint32_t>(slot) + 1;
}

// The probes return the bucket holding the key when found, otherwise the
// empty bucket that ends its run, which is where an insert puts it.
// They need bucketCount > 0.
uint32_t probeInt(const KeyedTable* t, uint32_t key, bool* found) {
  const uint32_t mask = static_cast<uint32_t>(t->bucketCount - 1);
  for (uint32_t i = mixInt(key) & mask;; i = (i + 1) & mask) {
    const uint32_t* b = t->buckets + 2 * static_cast<size_t>(i);
    if (b[1] == 0 || b[0] == key) {
      *found = b[1] != 0;
      return i;
    }
  }
}

uint32_t probeString(const KeyedTable* t, const char* key, size_t len,
                     uint32_t h, bool* found) {
  const uint32_t mask = static_cast<uint32_t>(t->bucketCount - 1);
  for (uint32_t i = h & mask;; i = (i + 1) & mask) {
    const uint32_t* b = t->buckets + 2 * static_cast<size_t>(i);
    if (b[1] == 0) {
      *found = false;
      return i;
    }
    if (b[0] == h) {
      const char* s = storedKey(t, static_cast<int32_t>(b[1] - 1));
      if (sameKey(s, key, len)) {
        *found = true;
        return i;
      }
    }
  }
}

// Bucket of the key, or -1.
int32_t findIntBucket(const KeyedTable* t, int32_t key) {
  if (t->bucketCount == 0) return -1;
  bool found;
  uint32_t b = probeInt(t, static_cast<uint32_t>(key), &found);
  return found ? static_cast<int32_t>(b) : -1;
}

int32_t findStringBucket(const KeyedTable* t, const char* key, size_t len,
                         uint32_t h) {
  if (t->bucketCount == 0) return -1;
  bool found;
  uint32_t b = probeString(t, key, len, h, &found);
  return found ? static_cast<int32_t>(b) : -1;
}

// Backward-shift deletion: pull later members of the probe run into the
// hole so lookups never need tombstones.
void indexErase(KeyedTable* t, uint32_t hole) {
  const uint32_t mask = static_cast<uint32_t>(t->bucketCount - 1);
  uint32_t* b = t->buckets;
  uint32_t j = hole;
  for (;;) {
    j = (j + 1) & mask;
    if (b[2 * static_cast<size_t>(j) + 1] == 0) break;
    const uint32_t home = homeOf(t, b[2 * static_cast<size_t>(j)]);
    // The entry at j may fill the hole unless its home lies in (hole, j].
    if (((j - home) & mask) >= ((j - hole) & mask)) {
      b[2 * static_cast<size_t>(hole)] = b[2 * static_cast<size_t>(j)];
      b[2 * static_cast<size_t>(hole) + 1] = b[2 * static_cast<size_t>(j) + 1];
      hole = j;
    }
  }
  b[2 * static_cast<size_t>(hole)] = 0;
  b[2 * static_cast<size_t>(hole) + 1] = 0;
}

// True when one more key would push the load above one half.
inline bool indexFull(const KeyedTable* t) {
  return 2 * (static_cast<int64_t>(t->count) + 1) > t->bucketCount;
}

// Doubles the bucket array (or makes the first one) and re-indexes.
bool indexGrow(KeyedTable* t) {
  const int64_t need = t->bucketCount ? 2 * static_cast<int64_t>(t->bucketCount)
                                      : 2 * kTableInitialCapacity;
  if (need > (int64_t(1) << 30)) return false;
  uint32_t* fresh = static_cast<uint32_t*>(
      calloc(2 * static_cast<size_t>(need), sizeof(uint32_t)));
  if (!fresh) return false;
  uint32_t* old = t->buckets;
  const int32_t oldCount = t->bucketCount;
  t->buckets = fresh;
  t->bucketCount = static_cast<int32_t>(need);
  // Walking the old buckets in order sends each entry to bucket i or
  // i + oldCount, two sequential streams, where walking the slots would
  // write all over the new array.
  const uint32_t mask = static_cast<uint32_t>(need - 1);
  for (int32_t j = 0; j < oldCount; ++j) {
    const uint32_t* e = old + 2 * static_cast<size_t>(j);
    if (e[1] == 0) continue;
    uint32_t i = homeOf(t, e[0]);
    while (fresh[2 * static_cast<size_t>(i) + 1] != 0) i = (i + 1) & mask;
    fresh[2 * static_cast<size_t>(i)] = e[0];
    fresh[2 * static_cast<size_t>(i) + 1] = e[1];
  }
  free(old);
  return true;
}

// ---- direct index (kind 1) --------------------------------------------

inline bool directMode(const KeyedTable* t) {
  return t->kind == kIntKeyed && !t->hashed;
}

// Offset of the key into `direct`, or -1 when it lies outside the array.
// int64 because key - base overflows int32 for keys far below the base.
inline int64_t directOffset(const KeyedTable* t, int32_t key) {
  const int64_t d = static_cast<int64_t>(key) - t->directBase;
  return d >= 0 && d < t->directSize ? d : -1;
}

// Widest offset the direct array may cover: a few times the capacity, so
// its memory stays proportional to the slots.
inline int64_t directWindow(const KeyedTable* t) {
  const int64_t cap = t->capacity > kTableInitialCapacity ? t->capacity
                                                          : kTableInitialCapacity;
  const int64_t w = 4 * cap + 64;
  return w < (int64_t(1) << 30) ? w : (int64_t(1) << 30);
}

// Grows `direct` (doubling, zero-filled) to cover offset d.
bool directGrow(KeyedTable* t, int64_t d) {
  int64_t size = t->directSize > 64 ? t->directSize : 64;
  while (size <= d) size *= 2;
  if (size == t->directSize) return true;
  void* p = resize(t->direct, static_cast<size_t>(size) * sizeof(int32_t));
  if (!p) return false;
  t->direct = static_cast<int32_t*>(p);
  memset(t->direct + t->directSize, 0,
         static_cast<size_t>(size - t->directSize) * sizeof(int32_t));
  t->directSize = static_cast<int32_t>(size);
  return true;
}

// Builds the hash buckets from the slots in use and drops `direct`; from
// here on the table is hashed. False (table unchanged) when out of memory.
bool switchToHashed(KeyedTable* t) {
  int64_t need = 2 * kTableInitialCapacity;
  while (2 * (static_cast<int64_t>(t->count) + 1) > need) need *= 2;
  if (need > (int64_t(1) << 30)) return false;
  uint32_t* fresh = static_cast<uint32_t*>(
      calloc(2 * static_cast<size_t>(need), sizeof(uint32_t)));
  if (!fresh) return false;
  t->buckets = fresh;
  t->bucketCount = static_cast<int32_t>(need);
  for (int32_t s = tableNextSlot(t, -1); s >= 0; s = tableNextSlot(t, s)) {
    bool found;
    const uint32_t k = static_cast<uint32_t>(t->intKeys[s]);
    setBucket(t, probeInt(t, k, &found), k, s);
  }
  free(t->direct);
  t->direct = nullptr;
  t->directSize = 0;
  t->hashed = 1;
  return true;
}

// ---- sequence (kind 1, tableInitSequential) ---------------------------

// Slot of the key in a table in sequence, or -1.
inline int32_t sequenceSlot(const KeyedTable* t, int32_t key) {
  const int64_t s = static_cast<int64_t>(key) - t->sequenceBase;
  return s >= 0 && s < t->highWater && usedBit(t, static_cast<int32_t>(s))
             ? static_cast<int32_t>(s)
             : -1;
}

// Gives a table in sequence the keys and the index it went without: the
// direct index, or the hash when a key is negative. False (table
// unchanged) when out of memory.
bool leaveSequence(KeyedTable* t) {
  const size_t cap = static_cast<size_t>(t->capacity);
  int32_t* keys = static_cast<int32_t*>(calloc(cap ? cap : 1, sizeof(int32_t)));
  if (!keys) return false;
  const int32_t first = tableNextSlot(t, -1);
  int32_t last = first;
  for (int32_t s = first; s >= 0; s = tableNextSlot(t, s)) {
    keys[s] = t->sequenceBase + s;
    last = s;
  }
  t->intKeys = keys;
  t->inSequence = 0;
  bool ok = true;
  if (first >= 0 && keys[first] < 0) {
    ok = switchToHashed(t);
  } else if (first >= 0) {
    t->directBase = keys[first] & ~63;
    ok = directGrow(t, static_cast<int64_t>(keys[last]) - t->directBase);
    for (int32_t s = first; ok && s >= 0; s = tableNextSlot(t, s))
      t->direct[keys[s] - t->directBase] = s + 1;
  }
  if (!ok) {
    free(keys);
    t->intKeys = nullptr;
    t->inSequence = 1;
  }
  return ok;
}

// Slot of an int key in either index, or -1.
// Inlined whole into the finds: left to itself the compiler kept only the
// sequence case inline and called out for the direct one.
__attribute__((always_inline)) inline int32_t findIntSlot(const KeyedTable* t,
                                                          int32_t key) {
  if (t->inSequence) return sequenceSlot(t, key);
  if (directMode(t)) {
    const int64_t d = directOffset(t, key);
    return d < 0 ? -1 : t->direct[d] - 1;
  }
  const int32_t b = findIntBucket(t, key);
  return b < 0 ? -1 : bucketSlot(t, static_cast<uint32_t>(b));
}

// ---- slots ------------------------------------------------------------

// Grows every per-slot array to `cap` slots, more than it has. On failure
// the table is unchanged apart from arrays that may already be larger.
bool growSlotsTo(KeyedTable* t, int32_t cap) {
  const int32_t old = t->capacity;
  const size_t n = static_cast<size_t>(cap);
  const size_t words = wordsFor(cap), oldWords = wordsFor(old);
  const size_t groups = wordsFor(static_cast<int32_t>(words));
  const size_t oldGroups = wordsFor(static_cast<int32_t>(oldWords));

  void* p = resize(t->usedBits, words * sizeof(uint64_t));
  if (!p) return false;
  t->usedBits = static_cast<uint64_t*>(p);
  memset(t->usedBits + oldWords, 0, (words - oldWords) * sizeof(uint64_t));
  p = resize(t->fullWords, groups * sizeof(uint64_t));
  if (!p) return false;
  t->fullWords = static_cast<uint64_t*>(p);
  memset(t->fullWords + oldGroups, 0, (groups - oldGroups) * sizeof(uint64_t));
  const size_t o = static_cast<size_t>(old);
  const size_t size = static_cast<size_t>(t->elementSize);
  p = growCleared(t->elements, o * size, n * size);
  if (!p) return false;
  t->elements = static_cast<unsigned char*>(p);
  if (t->kind == kStringKeyed) {
    p = growCleared(t->stringKeys, o * kTableKeyBytes, n * kTableKeyBytes);
    if (!p) return false;
    t->stringKeys = static_cast<char*>(p);
  } else if (!t->inSequence) {
    p = growCleared(t->intKeys, o * sizeof(int32_t), n * sizeof(int32_t));
    if (!p) return false;
    t->intKeys = static_cast<int32_t*>(p);
  }
  t->capacity = cap;
  return true;
}

// Doubles (or first allocates) every per-slot array.
bool growSlots(KeyedTable* t) {
  const int32_t old = t->capacity;
  if (old >= kMaxCapacity) return false;
  return growSlotsTo(t, old ? old * 2 : kTableInitialCapacity);
}

// The lowest slot not in use, which is highWater when none below it is
// free, or capacity when the table is full.
int32_t lowestFree(const KeyedTable* t) {
  // No hole below highWater: the common case of a table filled in turn.
  if (t->count == t->highWater) return t->highWater;
  const size_t words = wordsFor(t->capacity);
  const size_t groups = wordsFor(static_cast<int32_t>(words));
  for (size_t g = static_cast<size_t>(t->freeHint); g < groups; ++g) {
    if (t->fullWords[g] == ~uint64_t(0)) continue;
    const size_t w = g * 64 + static_cast<size_t>(__builtin_ctzll(~t->fullWords[g]));
    if (w >= words) break;
    const int64_t slot =
        static_cast<int64_t>(w * 64) + __builtin_ctzll(~t->usedBits[w]);
    return slot < t->capacity ? static_cast<int32_t>(slot) : t->capacity;
  }
  return t->capacity;
}

// Takes the lowest free slot, growing if none is left; -1 when out of
// memory. The slot is not yet marked in use.
int32_t takeSlot(KeyedTable* t) {
  int32_t slot = lowestFree(t);
  if (slot == t->capacity) {
    if (!growSlots(t)) return -1;
    slot = lowestFree(t);
  }
  // Every word below the slot's is full.
  t->freeHint = slot >> 12;
  if (slot >= t->highWater) t->highWater = slot + 1;
  return slot;
}

void* occupy(KeyedTable* t, int32_t slot) {
  uint64_t& word = t->usedBits[slot >> 6];
  word |= uint64_t(1) << (slot & 63);
  if (word == ~uint64_t(0)) t->fullWords[slot >> 12] |= uint64_t(1) << ((slot >> 6) & 63);
  ++t->count;
  unsigned char* e = elementOf(t, slot);
  memset(e, 0, static_cast<size_t>(t->elementSize));
  return e;
}

void vacate(KeyedTable* t, int32_t slot) {
  t->usedBits[slot >> 6] &= ~(uint64_t(1) << (slot & 63));
  t->fullWords[slot >> 12] &= ~(uint64_t(1) << ((slot >> 6) & 63));
  if ((slot >> 12) < t->freeHint) t->freeHint = slot >> 12;
  --t->count;
}

void clearFields(KeyedTable* t) {
  const int32_t kind = t->kind;
  const int32_t size = t->elementSize;
  const int32_t sequential = t->sequential;
  memset(t, 0, sizeof(*t));
  t->kind = kind;
  t->elementSize = size;
  t->sequential = sequential;
  t->inSequence = sequential;
  t->cursor = -1;
}

}  // namespace

void tableInit(KeyedTable* t, int32_t elementSize, TableKind kind) {
  t->kind = kind;
  t->elementSize = elementSize < 0 ? 0 : elementSize;
  t->sequential = 0;
  clearFields(t);
}

void tableInitSequential(KeyedTable* t, int32_t elementSize) {
  t->kind = kIntKeyed;
  t->elementSize = elementSize < 0 ? 0 : elementSize;
  t->sequential = 1;
  clearFields(t);
}

void* tableInsert(KeyedTable* t, int32_t key) {
  if (t->kind == kUnkeyed) {
    int32_t slot = takeSlot(t);
    if (slot < 0) return nullptr;
    t->intKeys[slot] = key;
    return occupy(t, slot);
  }
  if (t->kind != kIntKeyed) return nullptr;
  if (t->inSequence) {
    const int32_t found = sequenceSlot(t, key);
    if (found >= 0) return elementOf(t, found);
    // The key in sequence is the one that lands in the slot taken next.
    const int64_t next = lowestFree(t);
    if (t->count == 0 && static_cast<int64_t>(key) - next >= INT32_MIN)
      t->sequenceBase = static_cast<int32_t>(key - next);
    if (static_cast<int64_t>(key) - t->sequenceBase == next) {
      const int32_t slot = takeSlot(t);
      return slot < 0 ? nullptr : occupy(t, slot);
    }
    if (!leaveSequence(t)) return nullptr;
  }
  if (directMode(t)) {
    // The first key fixes the base; a negative one never fits the window.
    if (t->directSize == 0 && t->count == 0 && key >= 0)
      t->directBase = key & ~63;
    int64_t d = directOffset(t, key);
    if (d >= 0 && t->direct[d] != 0) return elementOf(t, t->direct[d] - 1);
    if (d < 0) {
      const int64_t want = static_cast<int64_t>(key) - t->directBase;
      if (key >= 0 && want >= 0 && want < directWindow(t)) {
        if (!directGrow(t, want)) return nullptr;
        d = want;
      } else if (!switchToHashed(t)) {
        return nullptr;
      }
    }
    if (d >= 0) {
      const int32_t slot = takeSlot(t);
      if (slot < 0) return nullptr;
      t->intKeys[slot] = key;
      t->direct[d] = slot + 1;
      return occupy(t, slot);
    }
  }
  const uint32_t k = static_cast<uint32_t>(key);
  bool found = false;
  uint32_t b = 0;
  if (t->bucketCount > 0) {
    b = probeInt(t, k, &found);
    if (found) return elementOf(t, bucketSlot(t, b));
  }
  if (indexFull(t)) {
    if (!indexGrow(t)) return nullptr;
    b = probeInt(t, k, &found);
  }
  const int32_t slot = takeSlot(t);
  if (slot < 0) return nullptr;
  t->intKeys[slot] = key;
  setBucket(t, b, k, slot);
  return occupy(t, slot);
}

void* tableInsert(KeyedTable* t, const char* key) {
  if (t->kind != kStringKeyed || !key) return nullptr;
  const size_t len = keyLength(key);
  const uint32_t h = hashString(key, len);
  bool found = false;
  uint32_t b = 0;
  if (t->bucketCount > 0) {
    b = probeString(t, key, len, h, &found);
    if (found) return elementOf(t, bucketSlot(t, b));
  }
  if (indexFull(t)) {
    if (!indexGrow(t)) return nullptr;
    b = probeString(t, key, len, h, &found);
  }
  const int32_t slot = takeSlot(t);
  if (slot < 0) return nullptr;
  char* s = t->stringKeys + static_cast<size_t>(slot) * kTableKeyBytes;
  memcpy(s, key, len);
  s[len] = '\0';
  setBucket(t, b, h, slot);
  return occupy(t, slot);
}

void* tableAppendRun(KeyedTable* t, int32_t firstKey, int32_t n) {
  if (n < 1 || t->kind != kIntKeyed || !t->inSequence || t->count != t->highWater)
    return nullptr;
  const int64_t start = t->highWater, end = start + n;
  if (end > kMaxCapacity || static_cast<int64_t>(firstKey) + (n - 1) > INT32_MAX)
    return nullptr;
  const int64_t base = t->count == 0 ? firstKey - start : t->sequenceBase;
  if (base < INT32_MIN || firstKey - base != start) return nullptr;
  if (!tableReserve(t, static_cast<int32_t>(end))) return nullptr;
  t->sequenceBase = static_cast<int32_t>(base);
  // Slots from highWater up were cleared when the table grew and have held
  // nothing since, so only the bits change.
  for (int64_t s = start; s < end;) {
    const int64_t w = s >> 6;
    const int64_t upto = end < (w + 1) * 64 ? end : (w + 1) * 64;
    const int bits = static_cast<int>(upto - s);
    const uint64_t mask = bits == 64 ? ~uint64_t(0) : ((uint64_t(1) << bits) - 1) << (s & 63);
    t->usedBits[w] |= mask;
    if (t->usedBits[w] == ~uint64_t(0)) t->fullWords[w >> 6] |= uint64_t(1) << (w & 63);
    s = upto;
  }
  t->count += n;
  t->highWater = static_cast<int32_t>(end);
  t->freeHint = static_cast<int32_t>((end - 1) >> 12);
  return elementOf(t, static_cast<int32_t>(start));
}

bool tableReserve(KeyedTable* t, int32_t slots) {
  if (t->capacity >= slots) return true;
  // The capacity doubling would reach, in one step: a table reserved for
  // millions is not copied and cleared again at every size on the way.
  int32_t cap = t->capacity ? t->capacity : kTableInitialCapacity;
  while (cap < slots) {
    if (cap >= kMaxCapacity) return false;
    cap *= 2;
  }
  return growSlotsTo(t, cap);
}

void* tableFind(const KeyedTable* t, int32_t key) {
  if (t->kind != kIntKeyed) return nullptr;
  const int32_t slot = findIntSlot(t, key);
  return slot < 0 ? nullptr : elementOf(t, slot);
}

void* tableFind(const KeyedTable* t, const char* key) {
  if (t->kind != kStringKeyed || !key) return nullptr;
  const size_t len = keyLength(key);
  int32_t b = findStringBucket(t, key, len, hashString(key, len));
  if (b < 0) return nullptr;
  return elementOf(t, bucketSlot(t, static_cast<uint32_t>(b)));
}

bool tableRemove(KeyedTable* t, int32_t key) {
  if (t->kind != kIntKeyed) return false;
  if (t->inSequence) {
    const int32_t slot = sequenceSlot(t, key);
    if (slot < 0) return false;
    vacate(t, slot);
    return true;
  }
  if (directMode(t)) {
    const int64_t d = directOffset(t, key);
    if (d < 0 || t->direct[d] == 0) return false;
    const int32_t slot = t->direct[d] - 1;
    t->direct[d] = 0;
    vacate(t, slot);
    return true;
  }
  int32_t b = findIntBucket(t, key);
  if (b < 0) return false;
  int32_t slot = bucketSlot(t, static_cast<uint32_t>(b));
  indexErase(t, static_cast<uint32_t>(b));
  vacate(t, slot);
  return true;
}

bool tableRemove(KeyedTable* t, const char* key) {
  if (t->kind != kStringKeyed || !key) return false;
  const size_t len = keyLength(key);
  int32_t b = findStringBucket(t, key, len, hashString(key, len));
  if (b < 0) return false;
  int32_t slot = bucketSlot(t, static_cast<uint32_t>(b));
  indexErase(t, static_cast<uint32_t>(b));
  vacate(t, slot);
  return true;
}

void* tableFirst(KeyedTable* t, int32_t* key) {
  t->cursor = -1;
  return tableNext(t, key);
}

void* tableNext(KeyedTable* t, int32_t* key) {
  t->cursor = tableNextSlot(t, t->cursor);
  if (t->cursor < 0) return nullptr;
  if (key) *key = tableIntKeyAt(t, t->cursor);
  return elementOf(t, t->cursor);
}

void* tableFirst(KeyedTable* t, const char** key) {
  t->cursor = -1;
  return tableNext(t, key);
}

void* tableNext(KeyedTable* t, const char** key) {
  t->cursor = tableNextSlot(t, t->cursor);
  if (t->cursor < 0) return nullptr;
  if (key) *key = tableStringKeyAt(t, t->cursor);
  return elementOf(t, t->cursor);
}

int32_t tableNextSlot(const KeyedTable* t, int32_t slot) {
  // Slots at or above highWater have never been used: their bits are 0.
  const int32_t s = slot < -1 ? 0 : slot + 1;
  if (s >= t->highWater) return -1;
  const size_t last = static_cast<size_t>(t->highWater - 1) >> 6;
  size_t w = static_cast<size_t>(s) >> 6;
  uint64_t bits = t->usedBits[w] & (~uint64_t(0) << (s & 63));
  while (bits == 0) {
    if (++w > last) return -1;
    bits = t->usedBits[w];
  }
  return static_cast<int32_t>(w * 64) + __builtin_ctzll(bits);
}

void* tableElementAt(const KeyedTable* t, int32_t slot) {
  return inUseAt(t, slot) ? elementOf(t, slot) : nullptr;
}

int32_t tableIntKeyAt(const KeyedTable* t, int32_t slot) {
  if (!inUseAt(t, slot)) return 0;
  if (t->inSequence) return t->sequenceBase + slot;
  return t->intKeys ? t->intKeys[slot] : 0;
}

const char* tableStringKeyAt(const KeyedTable* t, int32_t slot) {
  if (!t->stringKeys || !inUseAt(t, slot)) return nullptr;
  return storedKey(t, slot);
}

int32_t tableCount(const KeyedTable* t) { return t->count; }

namespace {

int32_t rankOf(const KeyedTable* t, int32_t slot) {
  int32_t rank = 0;
  const size_t w = static_cast<size_t>(slot) >> 6;
  for (size_t i = 0; i < w; ++i) rank += __builtin_popcountll(t->usedBits[i]);
  const uint64_t below = (uint64_t(1) << (slot & 63)) - 1;
  return rank + __builtin_popcountll(t->usedBits[w] & below);
}

}  // namespace

int32_t tablePosition(const KeyedTable* t, int32_t key, bool ordinal) {
  if (t->kind != kIntKeyed) return -1;
  const int32_t slot = findIntSlot(t, key);
  if (slot < 0) return -1;
  return ordinal ? rankOf(t, slot) : slot;
}

int32_t tablePosition(const KeyedTable* t, const char* key, bool ordinal) {
  if (t->kind != kStringKeyed || !key) return -1;
  const size_t len = keyLength(key);
  int32_t b = findStringBucket(t, key, len, hashString(key, len));
  if (b < 0) return -1;
  int32_t slot = bucketSlot(t, static_cast<uint32_t>(b));
  return ordinal ? rankOf(t, slot) : slot;
}

void* tableNth(const KeyedTable* t, int32_t n) {
  if (n < 0 || n >= t->count) return nullptr;
  for (size_t w = 0;; ++w) {
    uint64_t bits = t->usedBits[w];
    const int32_t here = __builtin_popcountll(bits);
    if (n >= here) {
      n -= here;
      continue;
    }
    while (n-- > 0) bits &= bits - 1;  // drop the lowest set bits
    return elementOf(t, static_cast<int32_t>(w * 64) + __builtin_ctzll(bits));
  }
}

namespace {

// Copies `bytes` from src into a fresh block; a null src stays null.
bool duplicate(const void* src, size_t bytes, void** out) {
  *out = nullptr;
  if (!src) return true;
  *out = allocate(bytes);
  if (!*out) return false;
  memcpy(*out, src, bytes);
  return true;
}

}  // namespace

void tableCopy(const KeyedTable* src, KeyedTable* dst) {
  *dst = *src;
  dst->usedBits = nullptr;
  dst->fullWords = nullptr;
  dst->intKeys = nullptr;
  dst->stringKeys = nullptr;
  dst->elements = nullptr;
  dst->buckets = nullptr;
  dst->direct = nullptr;

  const size_t cap = static_cast<size_t>(src->capacity);
  const size_t words = wordsFor(src->capacity);
  void* p[7] = {};
  bool ok = duplicate(src->usedBits, words * sizeof(uint64_t), &p[0]) &&
            duplicate(src->fullWords,
                      wordsFor(static_cast<int32_t>(words)) * sizeof(uint64_t), &p[1]) &&
            duplicate(src->intKeys, cap * sizeof(int32_t), &p[2]) &&
            duplicate(src->stringKeys, cap * kTableKeyBytes, &p[3]) &&
            duplicate(src->elements, cap * src->elementSize, &p[4]) &&
            duplicate(src->buckets,
                      2 * static_cast<size_t>(src->bucketCount) * sizeof(uint32_t),
                      &p[5]) &&
            duplicate(src->direct,
                      static_cast<size_t>(src->directSize) * sizeof(int32_t),
                      &p[6]);
  dst->usedBits = static_cast<uint64_t*>(p[0]);
  dst->fullWords = static_cast<uint64_t*>(p[1]);
  dst->intKeys = static_cast<int32_t*>(p[2]);
  dst->stringKeys = static_cast<char*>(p[3]);
  dst->elements = static_cast<unsigned char*>(p[4]);
  dst->buckets = static_cast<uint32_t*>(p[5]);
  dst->direct = static_cast<int32_t*>(p[6]);
  // Out of memory: free what was duplicated and leave dst empty.
  if (!ok) tableRelease(dst);
}

void tableRelease(KeyedTable* t) {
  free(t->usedBits);
  free(t->fullWords);
  free(t->intKeys);
  free(t->stringKeys);
  free(t->elements);
  free(t->buckets);
  free(t->direct);
  clearFields(t);
}
