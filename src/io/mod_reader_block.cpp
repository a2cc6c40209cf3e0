// Long runs of point and polygon lines on two threads. A run comes in
// blocks of whole lines, each cut in two at a line boundary: this thread
// reads the first part into the model as usual while a second one parses
// the numbers of the later part into records; then the records go into the
// model in file order, while the second thread already parses the next
// block. The second thread stops at the first line the quick paths decline
// (a keyword, a comment after the numbers, another polygon form, a bad
// number), and everything from there on is read here a line at a time, so
// every message and line number is the one reading line by line gives.
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <system_error>
#include <thread>

#include "io/mod_quick_lines.h"
#include "io/mod_reader_state.h"
#include "model/geometry.h"
#include "model/last_error.h"

namespace {

struct PointRecord {
  int32_t line;  // from 0 at the later part's first line
  int32_t number;
  float xyz[3];
};

struct PolygonRecord {
  int32_t line;
  int32_t kind;
  int32_t count;  // its points follow the previous record's in `indices`
};

}  // namespace

// Room for the records of one later part, kept from run to run.
struct BlockScratch {
  size_t bytes;  // the longest part the arrays hold records for
  PointRecord* points;
  PolygonRecord* polygons;
  int32_t* indices;
};

void freeBlockScratch(BlockScratch* scratch) {
  if (scratch == nullptr) return;
  std::free(scratch->points);
  std::free(scratch->polygons);
  std::free(scratch->indices);
  std::free(scratch);
}

namespace {

// The first part's share of a block: none when inserting is the dearer
// half (polygons), more when parsing is (points, many digits); each block
// moves it by the thread that waited for the other on the one before.
constexpr double kShareStep = 0.05;
constexpr double kMostShare = 0.6;

// The shortest lines the quick paths take ("1 0 0 0", "5 0 1 2 3") bound
// the records a part of so many bytes can give.
constexpr size_t kShortestPoint = 8;
constexpr size_t kShortestPolygon = 10;

BlockScratch* makeScratch(size_t bytes) {
  auto* b = static_cast<BlockScratch*>(std::calloc(1, sizeof(BlockScratch)));
  if (b == nullptr) return nullptr;
  b->points = static_cast<PointRecord*>(
      std::malloc((bytes / kShortestPoint + 1) * sizeof(PointRecord)));
  b->polygons = static_cast<PolygonRecord*>(
      std::malloc((bytes / kShortestPolygon + 1) * sizeof(PolygonRecord)));
  b->indices = static_cast<int32_t*>(
      std::malloc((bytes / 2 + kMaxPolygonPoints) * sizeof(int32_t)));
  if (b->points == nullptr || b->polygons == nullptr || b->indices == nullptr) {
    freeBlockScratch(b);
    return nullptr;
  }
  b->bytes = bytes;
  return b;
}

bool ensureScratch(BlockScratch** scratch, size_t bytes) {
  if (*scratch != nullptr && (*scratch)->bytes >= bytes) return true;
  freeBlockScratch(*scratch);
  *scratch = makeScratch(bytes);
  return *scratch != nullptr;
}

struct Part {
  ModSection section;  // what the later part's lines are read as
  char* begin;         // the block: [begin, mid) read here,
  char* mid;           // [mid, end) parsed on the second thread
  char* end;           // just after a newline
  BlockScratch* scratch;
  const char* stop;    // the first later line not parsed; `end` when all were
  int32_t lines;       // later lines before `stop`
  int32_t records;
  std::atomic<bool> done;
  std::thread worker;
};

// Runs on the second thread: reads only the later part's bytes and writes
// only the scratch.
void parseLaterPart(Part* part) {
  const BlockScratch& b = *part->scratch;
  const bool points = part->section == kSectionPoints;
  const char* p = part->mid;
  int32_t line = 0, n = 0;
  size_t used = 0;
  while (p < part->end) {
    const char* eol = static_cast<const char*>(std::memchr(p, '\n', part->end - p));
    if (!isEmptyLine(p, eol)) {
      if (points) {
        PointRecord& r = b.points[n];
        if (!parseQuickPoint(p, eol, &r.number, r.xyz)) break;
        r.line = line;
      } else {
        PolygonRecord& r = b.polygons[n];
        if (!parseQuickPolygon(p, eol, &r.kind, b.indices + used, &r.count)) break;
        r.line = line;
        used += static_cast<size_t>(r.count);
      }
      ++n;
    }
    ++line;
    p = eol + 1;
  }
  part->stop = p;
  part->lines = line;
  part->records = n;
  part->done.store(true, std::memory_order_release);
}

// Cuts the block and starts the second thread on its later part (or parses
// it here when no thread can be had). False when there is no later part or
// no room for its records: the block is then read here line by line.
bool startPart(Part* part, ModParseState& s, BlockScratch** scratch, char* begin,
               char* end, double share) {
  char* mid = begin + static_cast<size_t>(static_cast<double>(end - begin) * share);
  if (mid > begin) mid = static_cast<char*>(std::memchr(mid - 1, '\n', end - (mid - 1))) + 1;
  part->section = s.section;
  part->begin = begin;
  part->mid = mid;
  part->end = end;
  if (mid >= end || !ensureScratch(scratch, static_cast<size_t>(end - begin))) return false;
  part->scratch = *scratch;
  part->done.store(false, std::memory_order_relaxed);
  try {
    part->worker = std::thread(parseLaterPart, part);
  } catch (const std::system_error&) {
    parseLaterPart(part);
  }
  return true;
}

// Waits for the later part; true when it was not done yet.
bool finishPart(Part* part) {
  const bool waited = !part->done.load(std::memory_order_acquire);
  if (part->worker.joinable()) part->worker.join();
  return waited;
}

// The parsed records into the model, each under its own line number; *line
// is the number of the line before the later part, and the failing line's
// when one fails.
bool insertRecords(ModParseState& s, const Part& part, int* line) {
  const BlockScratch& b = *part.scratch;
  const int first = *line + 1;
  if (part.section == kSectionPoints) {
    for (int32_t i = 0; i < part.records; ++i) {
      const PointRecord& r = b.points[i];
      lastErrorSetLine(first + r.line);
      if (!addPoint(s.model, r.number, r.xyz[0], r.xyz[1], r.xyz[2])) {
        *line = first + r.line;
        return lineFailed();
      }
    }
    return true;
  }
  const int32_t* points = b.indices;
  for (int32_t i = 0; i < part.records;) {
    // Three-point polygons of one kind in a row are added as a run.
    int32_t same = 0;
    while (i + same < part.records && b.polygons[i + same].count == 3 &&
           b.polygons[i + same].kind == b.polygons[i].kind)
      ++same;
    if (same > 1) {
      const int32_t added = addTriangles(s.model, s.current, same, points, b.polygons[i].kind);
      i += added;
      points += 3 * static_cast<size_t>(added);
      if (added == same) continue;
    }
    // Alone, and with its line, for the reason it fails.
    const PolygonRecord& r = b.polygons[i];
    lastErrorSetLine(first + r.line);
    if (addTriangleToLayer(s.model, s.current, r.count, points, r.kind) == 0) {
      *line = first + r.line;
      return lineFailed();
    }
    points += r.count;
    ++i;
  }
  return true;
}

// Lines [begin, end) one at a time, after line *line.
bool readRange(ModParseState& s, char* begin, char* end, int* line) {
  LineCursor cursor{begin, end, *line};
  const bool ok = readLineRange(s, &cursor);
  *line = cursor.line;
  return ok;
}

template <class Source>
bool readRun(ModParseState& s, Source* source, size_t minBytes, char* begin,
             char* end) {
  int* line = &source->line;
  Part parts[2];
  Part* part = &parts[0];
  double share = s.blockShare;
  if (!startPart(part, s, &s.scratch[0], begin, end, share))
    return readRange(s, begin, end, line);
  for (;;) {
    const bool ok = readRange(s, part->begin, part->mid, line);
    const bool waited = finishPart(part);
    if (!ok) return false;
    // A keyword in the first part may have changed what the later lines
    // mean; they are then read here as they come.
    if (s.section != part->section || !inBlockSection(s))
      return readRange(s, part->mid, part->end, line);
    share += waited ? kShareStep : -kShareStep;
    share = share < 0.0 ? 0.0 : share > kMostShare ? kMostShare : share;
    s.blockShare = share;
    // The next block is parsed while this one's records go in: this
    // block's bytes are no longer needed once all its lines were parsed.
    Part* next = nullptr;
    char *nextBegin, *nextEnd;
    if (part->stop == part->end && takeRawLines(source, minBytes, &nextBegin, &nextEnd)) {
      next = part == &parts[0] ? &parts[1] : &parts[0];
      if (!startPart(next, s, &s.scratch[next - parts], nextBegin, nextEnd, share)) {
        next = nullptr;
        part->stop = nextBegin;  // read here after the records, as they come
        part->end = nextEnd;
      }
    }
    const int before = *line;
    if (!insertRecords(s, *part, line)) {
      if (next != nullptr) finishPart(next);
      return false;
    }
    *line = before + part->lines;
    if (next == nullptr) return readRange(s, const_cast<char*>(part->stop), part->end, line);
    part = next;
  }
}

}  // namespace

bool readLineRun(ModParseState& s, LineCursor* source, size_t minBytes, char* begin,
                 char* end) {
  return readRun(s, source, minBytes, begin, end);
}

bool readLineRun(ModParseState& s, LineStream* source, size_t minBytes, char* begin,
                 char* end) {
  return readRun(s, source, minBytes, begin, end);
}
