#include "model/keyed_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace {

struct Elem {
  int32_t key;
  int32_t tag;
};

struct Table {
  KeyedTable t;
  Table(TableKind kind, int32_t size = sizeof(Elem)) { tableInit(&t, size, kind); }
  ~Table() { tableRelease(&t); }
  KeyedTable* operator->() { return &t; }
  KeyedTable* get() { return &t; }
};

void fill(KeyedTable* t, int32_t from, int32_t to) {
  for (int32_t k = from; k < to; ++k) tableInsertT<Elem>(t, k)->key = k;
}

}  // namespace

TEST(KeyedTable, ReusesLowestFreeSlotZeroFilledAndKeepsExistingKeys) {
  Table t(kIntKeyed);
  fill(t.get(), 100, 110);
  ASSERT_TRUE(tableRemove(t.get(), 107));
  ASSERT_TRUE(tableRemove(t.get(), 102));
  ASSERT_TRUE(tableRemove(t.get(), 105));
  tableInsert(t.get(), 500);
  tableInsert(t.get(), 501);
  EXPECT_EQ(tablePosition(t.get(), 500, false), 2);
  EXPECT_EQ(tablePosition(t.get(), 501, false), 5);

  // Iteration follows slots, not creation order; removed slots are skipped.
  std::vector<int32_t> seen;
  int32_t key = 0;
  for (void* e = tableFirst(t.get(), &key); e; e = tableNext(t.get(), &key))
    seen.push_back(key);
  std::vector<int32_t> want{100, 101, 500, 103, 104, 501, 106, 108, 109};
  EXPECT_EQ(seen, want);
  EXPECT_EQ(tableNextSlot(t.get(), 6), 8);  // slot 7 is still free
  // An existing key keeps its element; a reused slot comes back
  // zero-filled, not with the old bytes.
  tableInsertT<Elem>(t.get(), 500)->tag = 42;
  EXPECT_EQ(tableInsertT<Elem>(t.get(), 500)->tag, 42);
  EXPECT_EQ(tableCount(t.get()), 9);
  tableRemove(t.get(), 500);
  EXPECT_EQ(tableInsertT<Elem>(t.get(), 8)->tag, 0);
}

TEST(KeyedTable, UnkeyedTableNeverFindsAndOthersRefuseWrongKindAndNullKeys) {
  Table t(kUnkeyed);
  tableInsert(t.get(), 5);
  tableInsert(t.get(), 5);
  EXPECT_EQ(tableCount(t.get()), 2);
  EXPECT_EQ(tableFind(t.get(), 5), nullptr);
  EXPECT_FALSE(tableRemove(t.get(), 5));
  EXPECT_EQ(tablePosition(t.get(), 5, false), -1);
  EXPECT_EQ(tableIntKeyAt(t.get(), 1), 5);
  // Keyed tables refuse the other kind of key, and null keys.
  Table ints(kIntKeyed), strs(kStringKeyed);
  EXPECT_EQ(tableInsert(ints.get(), "a"), nullptr);
  EXPECT_EQ(tableInsert(strs.get(), 1), nullptr);
  EXPECT_EQ(tableInsert(strs.get(), static_cast<const char*>(nullptr)), nullptr);
  EXPECT_EQ(tableFind(strs.get(), static_cast<const char*>(nullptr)), nullptr);
  EXPECT_FALSE(tableRemove(strs.get(), static_cast<const char*>(nullptr)));
  EXPECT_EQ(tableCount(ints.get()) + tableCount(strs.get()), 0);
}

TEST(KeyedTable, CutsStringKeysAt255AndPositionAndNthCountOnlySlotsInUse) {
  Table t(kStringKeyed);
  std::string exact(255, 'x');
  std::string longA = std::string(255, 'y') + "AAAA";
  std::string longB = std::string(255, 'y') + "BBBB";
  tableInsertT<Elem>(t.get(), exact.c_str())->tag = 1;
  tableInsertT<Elem>(t.get(), longA.c_str())->tag = 2;
  EXPECT_EQ(tableFindT<Elem>(t.get(), exact.c_str())->tag, 1);
  EXPECT_EQ(tableFind(t.get(), std::string(254, 'x').c_str()), nullptr);
  // Keys equal in their first 255 characters are the same key.
  EXPECT_EQ(tableInsertT<Elem>(t.get(), longB.c_str())->tag, 2);
  EXPECT_EQ(tableFindT<Elem>(t.get(), longA.substr(0, 255).c_str())->tag, 2);
  EXPECT_EQ(tableCount(t.get()), 2);
  int32_t slot = tablePosition(t.get(), longB.c_str(), false);
  EXPECT_EQ(strlen(tableStringKeyAt(t.get(), slot)), 255u);
  // Position and nth count only the slots in use.
  Table n(kStringKeyed);
  for (const char* name : {"a", "b", "c", "d", "e"}) tableInsert(n.get(), name);
  tableRemove(n.get(), "b");
  tableRemove(n.get(), "c");
  EXPECT_EQ(tablePosition(n.get(), "d", false), 3);
  EXPECT_EQ(tablePosition(n.get(), "d", true), 1);
  EXPECT_EQ(tablePosition(n.get(), "b", true), -1);
  EXPECT_EQ(tableNth(n.get(), 2), tableFind(n.get(), "e"));
  EXPECT_EQ(tableNth(n.get(), 3), nullptr);
  const char* key = nullptr;
  tableFirst(n.get(), &key);
  tableNext(n.get(), &key);
  EXPECT_STREQ(key, "d");
}

// A copy shares no keys, index or slot bits with its source, hashed or
// direct: each side reuses a freed slot or appends, unseen by the other.
TEST(KeyedTable, CopySharesNothingWithItsSource) {
  Table strs(kStringKeyed), ints(kIntKeyed);
  tableInsertT<Elem>(strs.get(), "p")->tag = 1;
  tableInsertT<Elem>(strs.get(), "q")->tag = 2;
  fill(ints.get(), 1, 10);
  ASSERT_NE(ints->direct, nullptr);
  KeyedTable s, i;
  tableCopy(strs.get(), &s);
  tableCopy(ints.get(), &i);
  ASSERT_NE(i.direct, ints->direct);
  tableRemove(strs.get(), "p");
  tableInsert(strs.get(), "r");
  tableInsert(&s, "s");
  tableRemove(ints.get(), 3);
  tableInsert(ints.get(), 12);
  tableInsert(&i, 11);
  EXPECT_EQ(tableFindT<Elem>(&s, "p")->tag, 1);
  EXPECT_EQ(tableFind(&s, "r"), nullptr);
  EXPECT_EQ(tableFind(strs.get(), "s"), nullptr);
  EXPECT_EQ(tablePosition(&s, "s", false), 2);
  EXPECT_EQ(tableFindT<Elem>(&i, 3)->key, 3);
  EXPECT_EQ(tableFind(&i, 12), nullptr);
  EXPECT_EQ(tableFind(ints.get(), 11), nullptr);
  EXPECT_EQ(tablePosition(&i, 11, false), 9);
  tableRelease(&s);
  tableRelease(&i);
}

TEST(KeyedTable, ReleaseLeavesReusableEmptyTable) {
  Table t(kIntKeyed, 24);
  fill(t.get(), 0, 40);
  tableRelease(t.get());
  EXPECT_EQ(tableCount(t.get()), 0);
  EXPECT_EQ(tableFind(t.get(), 3), nullptr);
  fill(t.get(), 3, 4);
  EXPECT_EQ(tablePosition(t.get(), 3, false), 0);
}

namespace {

// The slot rule (lowest free slot) and the key set as a model. One random
// step on table and model: add, remove or just look, then compare.
template <class Key>
struct SlotModel {
  std::map<Key, int32_t> slotOf;
  std::set<int32_t> freeSlots;
  int32_t high = 0;
  int32_t slot(const Key& k) const {
    const auto it = slotOf.find(k);
    return it == slotOf.end() ? -1 : it->second;
  }
};

const char* asKey(const std::string& s) { return s.c_str(); }
int32_t asKey(int32_t k) { return k; }

template <class Key>
void randomStep(KeyedTable* t, SlotModel<Key>* ref, const Key& k, int32_t tag, uint32_t what) {
  if (what < 5) {
    if (ref->slot(k) < 0) {
      int32_t s = ref->high;
      if (!ref->freeSlots.empty()) s = *ref->freeSlots.begin(), ref->freeSlots.erase(s);
      else ++ref->high;
      ref->slotOf[k] = s;
    }
    tableInsertT<Elem>(t, asKey(k))->key = tag;
  } else if (what < 8) {
    const int32_t had = ref->slot(k);
    if (had >= 0) ref->freeSlots.insert(had), ref->slotOf.erase(k);
    ASSERT_EQ(tableRemove(t, asKey(k)), had >= 0);
  }
  const Elem* e = tableFindT<Elem>(t, asKey(k));
  ASSERT_EQ(e != nullptr, ref->slot(k) >= 0);
  if (e) { ASSERT_EQ(e->key, tag); }
  ASSERT_EQ(tablePosition(t, asKey(k), false), ref->slot(k));
}

}  // namespace

// Long mixed runs catch index faults such as a broken backward shift.
TEST(KeyedTable, StringKeysMatchAReferenceMapOverRandomOps) {
  std::mt19937 rng(12345);
  Table strs(kStringKeyed);
  SlotModel<std::string> ref;
  for (int op = 0; op < 100000; ++op) {
    const int32_t k = static_cast<int32_t>(rng() % 3000) - 1500;
    randomStep(strs.get(), &ref, "joint_" + std::to_string(k), k, rng() % 10);
    if (HasFatalFailure()) return;
  }
  ASSERT_EQ(tableCount(strs.get()), static_cast<int32_t>(ref.slotOf.size()));
}

// A switch mid-run is the random test's; here the edges it cannot reach.
TEST(KeyedTable, KeysAtTheIntRangesEndsAndANegativeFirstKeyAreFound) {
  // Keys at both ends of the int range: key - base must not overflow.
  Table high(kIntKeyed);
  fill(high.get(), 2147483000, 2147483010);
  EXPECT_EQ(tableFind(high.get(), -2147483000), nullptr);
  EXPECT_FALSE(tableRemove(high.get(), -2147483000));
  tableInsertT<Elem>(high.get(), -2147483000)->tag = 3;
  EXPECT_EQ(tableCount(high.get()), 11);
  EXPECT_EQ(tableFindT<Elem>(high.get(), 2147483000)->key, 2147483000);
  // A negative first key goes straight to the hash index.
  Table neg(kIntKeyed);
  fill(neg.get(), -5, 5);
  for (int32_t k = -5; k < 5; ++k) ASSERT_EQ(tableFindT<Elem>(neg.get(), k)->key, k);
}

// Both int indexes against a model: keys from a high base in a range that
// grows with the table keep the direct index; then far and negative keys
// force the switch mid-run, with holes in the slots.
TEST(KeyedTable, IntIndexMatchesReferenceAcrossDirectAndHashedModes) {
  std::mt19937 rng(777);
  Table t(kIntKeyed);
  SlotModel<int32_t> ref;
  auto step = [&](int32_t k) { randomStep(t.get(), &ref, k, k, rng() % 10); };
  const int32_t base = 1000003;
  step(base);
  for (int op = 0; op < 50000; ++op) {
    int32_t range = std::min(4000, 32 + op / 4);
    step(base + static_cast<int32_t>(rng() % range));
    if (HasFatalFailure()) return;
  }
  ASSERT_NE(t->direct, nullptr);
  for (int op = 0; op < 50000; ++op) {
    int32_t k = base + static_cast<int32_t>(rng() % 4000);
    if (rng() % 50 == 0) k = static_cast<int32_t>(rng());
    step(k);
    if (HasFatalFailure()) return;
  }
  ASSERT_EQ(t->direct, nullptr);
  ASSERT_EQ(tableCount(t.get()), static_cast<int32_t>(ref.slotOf.size()));
  for (auto& kv : ref.slotOf) ASSERT_EQ(tableFindT<Elem>(t.get(), kv.first)->key, kv.first);
}

// A sequential table must answer exactly as a plain one: in sequence
// (appends, removals, re-adds of the lowest missing key, across the
// 64- and 4096-slot words of the slot bits), after a copy, and after a
// key out of sequence gives it keys and an index mid-run.
TEST(KeyedTable, SequentialTableAnswersAsAPlainOneThroughBreaksAndCopies) {
  std::mt19937 rng(4242);
  Table plain(kIntKeyed);
  KeyedTable seq;
  tableInitSequential(&seq, sizeof(Elem));
  auto same = [&](const KeyedTable* t, int32_t k) {
    const Elem* e = tableFindT<Elem>(t, k);
    const Elem* r = tableFindT<Elem>(plain.get(), k);
    ASSERT_EQ(e != nullptr, r != nullptr) << k;
    if (e) { ASSERT_EQ(e->key, k); }
    ASSERT_EQ(tablePosition(t, k, false), tablePosition(plain.get(), k, false)) << k;
    ASSERT_EQ(tablePosition(t, k, true), tablePosition(plain.get(), k, true)) << k;
  };
  auto walk = [&](const KeyedTable* t) {
    ASSERT_EQ(tableCount(t), tableCount(plain.get()));
    int32_t s = tableNextSlot(t, -1), r = tableNextSlot(plain.get(), -1);
    for (int32_t n = 0; s >= 0 || r >= 0; ++n) {
      ASSERT_EQ(s, r);
      ASSERT_EQ(tableIntKeyAt(t, s), tableIntKeyAt(plain.get(), r));
      ASSERT_EQ(tableNth(t, n), tableElementAt(t, s));
      s = tableNextSlot(t, s);
      r = tableNextSlot(plain.get(), r);
    }
  };
  auto both = [&](KeyedTable* t, int32_t k, bool add) {
    if (add) {
      tableInsertT<Elem>(t, k)->key = k;
      tableInsertT<Elem>(plain.get(), k)->key = k;
    } else {
      ASSERT_EQ(tableRemove(t, k), tableRemove(plain.get(), k)) << k;
    }
  };
  std::set<int32_t> missing;
  int32_t next = 7;  // keys that do not start at 0 or 1
  for (int op = 0; op < 30000; ++op) {
    const uint32_t what = rng() % 10;
    if (what < 6 && missing.empty()) {
      both(&seq, next++, true);
    } else if (what < 6) {
      both(&seq, *missing.begin(), true);
      missing.erase(missing.begin());
    } else if (next > 7) {
      const int32_t k = 7 + static_cast<int32_t>(rng() % static_cast<uint32_t>(next - 7));
      if (tableFind(&seq, k)) missing.insert(k);
      both(&seq, k, false);
    }
    if (op % 97 == 0) {
      walk(&seq);
      for (int32_t k = 0; k < next + 2; k += 37) same(&seq, k);
      if (HasFatalFailure()) return;
    }
  }
  ASSERT_EQ(seq.inSequence, 1);  // the run above never left it
  ASSERT_GT(next, 4096 + 7);
  KeyedTable copy;
  tableCopy(&seq, &copy);
  tableRelease(&seq);
  for (int op = 0; op < 20000; ++op) {
    int32_t k = 7 + static_cast<int32_t>(rng() % static_cast<uint32_t>(next));
    if (op == 500) k = next + 100000;       // outside the sequence
    if (op == 900) k = -3;                  // and negative
    both(&copy, k, rng() % 3 != 0);
    same(&copy, k);
    if (op % 997 == 0) walk(&copy);
    if (HasFatalFailure()) return;
  }
  ASSERT_EQ(copy.inSequence, 0);
  walk(&copy);
  tableRelease(&copy);
  // Released, a sequential table starts a sequence again from any key.
  tableInitSequential(&seq, sizeof(Elem));
  fill(&seq, 1000, 1100);
  EXPECT_EQ(seq.inSequence, 1);
  EXPECT_EQ(tablePosition(&seq, 1042, false), 42);
  tableRelease(&seq);
}

// Runs appended at once must leave the table as inserting their keys one
// by one would: the same slots and walk, holes found again after it (a
// free-slot hint left too high would skip them), and runs refused while
// a hole is open or the key is not the next one.
// Room made ahead is taken without growing again (the elements stay where
// they are) and holds what inserts into a table without it hold, for every
// kind of table, sequential ones and runs included.
TEST(KeyedTable, ReservedRoomIsTakenWithoutMovingAndHoldsWhatInsertsLeave) {
  for (int kind = 0; kind < 4; ++kind) {
    KeyedTable t;
    if (kind == 3) tableInitSequential(&t, sizeof(Elem));
    else tableInit(&t, sizeof(Elem), static_cast<TableKind>(kind));
    // Keys far apart put an int table on its hash index.
    auto keyOf = [&](int32_t i) { return kind == 1 ? i * 7919 : i + 1; };
    auto insert = [&](int32_t i) -> Elem* {
      if (kind == 2) return tableInsertT<Elem>(&t, std::to_string(i).c_str());
      return tableInsertT<Elem>(&t, keyOf(i));
    };
    for (int32_t i = 0; i < 10; ++i) insert(i)->tag = i;
    // Megabytes of slots: the arrays move to fresh memory at once.
    ASSERT_TRUE(tableReserve(&t, 150000)) << kind;
    ASSERT_GE(t.capacity, 150000);
    EXPECT_EQ(t.capacity, 262144) << "as doubling would have grown it";
    const unsigned char* elements = t.elements;
    ASSERT_TRUE(tableReserve(&t, 20));  // already room: nothing changes
    int32_t i = 10;
    if (kind == 3) {
      Elem* run = static_cast<Elem*>(tableAppendRun(&t, keyOf(10), 500));
      ASSERT_NE(run, nullptr);
      for (; i < 510; ++i) {
        ASSERT_EQ(run[i - 10].tag, 0);
        run[i - 10].tag = i;
      }
    }
    for (; i < 1500; ++i) {
      Elem* e = insert(i);
      ASSERT_EQ(e->tag, 0) << kind << " " << i;  // zero-filled
      e->tag = i;
    }
    EXPECT_EQ(t.elements, elements) << kind;
    EXPECT_EQ(tableCount(&t), 1500);
    for (int32_t k = 0; k < 1500; ++k) {
      const Elem* e = kind == 2 ? tableFindT<Elem>(&t, std::to_string(k).c_str())
                                : tableFindT<Elem>(&t, keyOf(k));
      if (kind == 0) break;  // never found again
      ASSERT_NE(e, nullptr) << kind << " " << k;
      ASSERT_EQ(e->tag, k);
    }
    tableRelease(&t);
  }
}

TEST(KeyedTable, AppendedRunsLeaveWhatInsertsOneByOneLeave) {
  std::mt19937 rng(99);
  KeyedTable run, one;
  tableInitSequential(&run, sizeof(Elem));
  tableInitSequential(&one, sizeof(Elem));
  int32_t next = 1000;
  std::set<int32_t> holes;
  for (int op = 0; op < 400; ++op) {
    const uint32_t what = rng() % 4;
    if (what < 2) {
      const int32_t n = 1 + static_cast<int32_t>(rng() % (op % 7 == 0 ? 9000 : 150));
      Elem* first = static_cast<Elem*>(tableAppendRun(&run, next, n));
      ASSERT_EQ(first != nullptr, holes.empty()) << op;
      if (first == nullptr) {
        EXPECT_EQ(tableAppendRun(&run, next + 1, 1), nullptr);  // not the next key either
        const int32_t k = *holes.begin();
        holes.erase(holes.begin());
        tableInsertT<Elem>(&run, k)->key = k;
        tableInsertT<Elem>(&one, k)->key = k;
        continue;
      }
      for (int32_t i = 0; i < n; ++i) {
        ASSERT_EQ(first[i].key, 0);  // zero-filled
        ASSERT_EQ(first[i].tag, 0);
        first[i].key = next + i;
        tableInsertT<Elem>(&one, next + i)->key = next + i;
      }
      next += n;
    } else {
      const int32_t k = 1000 + static_cast<int32_t>(rng() % static_cast<uint32_t>(next - 999));
      ASSERT_EQ(tableRemove(&run, k), tableRemove(&one, k));
      if (tableFind(&one, k) == nullptr && k < next) holes.insert(k);
    }
    ASSERT_EQ(tableCount(&run), tableCount(&one));
    for (int32_t s = tableNextSlot(&one, -1), r = tableNextSlot(&run, -1); s >= 0 || r >= 0;
         s = tableNextSlot(&one, s), r = tableNextSlot(&run, r)) {
      ASSERT_EQ(r, s);
      ASSERT_EQ(tableIntKeyAt(&run, r), tableIntKeyAt(&one, s));
      ASSERT_EQ(tableAt<Elem>(&run, r)->key, tableIntKeyAt(&run, r));
    }
  }
  EXPECT_EQ(run.inSequence, 1);
  tableRelease(&run);
  tableRelease(&one);
  // Only a sequential table in sequence takes a run.
  Table plain(kIntKeyed);
  EXPECT_EQ(tableAppendRun(plain.get(), 1, 4), nullptr);
  KeyedTable broken;
  tableInitSequential(&broken, sizeof(Elem));
  fill(&broken, 1, 3);
  fill(&broken, 50, 51);
  EXPECT_EQ(tableAppendRun(&broken, 51, 2), nullptr);
  EXPECT_EQ(tableCount(&broken), 3);
  tableRelease(&broken);
}
