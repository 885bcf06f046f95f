#include <velacore/strings/TregExp.h>

#include <velacore/base/Texception.h>
#include <velacore/strings/Tstring.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unordered_set>
#include <utility>

namespace {

using Tbyte = unsigned char;

// Program items: an opcode byte and its operands. Bit 0 of a repeatable opcode marks "any number
// of times, including none"; bits 0 and 1 together mark a counted range, whose minimum and
// maximum bytes follow the item's operands (a maximum of 255 means unbounded).
enum : Tbyte {
  kGroupStart = 2,   // group number
  kLiteral = 4,      // the byte
  kAny = 8,          // -
  kClass = 12,       // 16-byte set of ASCII bytes
  kWideClass = 16,   // 32-byte set of all bytes
  kEnd = 22,         // -
  kGroupEnd = 24,    // group number
  kBackRef = 36,     // group number (repeatable, never counted)
  kNegClass = 40,    // 16-byte set of ASCII bytes not matched
};
// Two bytes in front of the first item keep facts for quick rejections: the byte every whole-text
// match must end with, and a byte every match must contain (each 0 when there is none). The
// object points at the first item; the buffer starts two bytes earlier.
constexpr std::size_t kHeaderBytes = 2;
constexpr Tbyte kRepeated = 1;
constexpr Tbyte kCounted = 3;
constexpr unsigned kUnboundedCount = 255;  // a counted maximum meaning "no limit"
constexpr unsigned kRepeatCap = 20000;     // how far unbounded repetition goes
constexpr int kMaxGroups = 9;

const char* const kErrTooManyGroups = "Too many (";
const char* const kErrGroupImbalance = "( ) imbalance";
const char* const kErrCountImbalance = "{ } imbalance";
const char* const kErrCountTooLarge = "Range endpoint too large";
const char* const kErrTooManyNumbers = "More than 2 numbers given in { }";
const char* const kErrCountOrder = "First number exceeds second in { }";
const char* const kErrBackRefRange = "``\\digit'' out of range";
const char* const kErrClassImbalance = "[ ] imbalance";
const char* const kErrVoid = "Void search string";

inline bool inSet(const Tbyte* set, Tbyte c) { return (set[c >> 3] >> (c & 7)) & 1; }
inline void addToSet(Tbyte* set, unsigned c) { set[c >> 3] |= Tbyte(1u << (c & 7)); }

// NUL never belongs to a set (patterns cannot hold it, and negated wide sets drop it), so no
// single-byte item ever consumes the text's terminator.
inline bool inAsciiClass(const Tbyte* set, Tbyte c) { return c < 128 && inSet(set, c); }
inline bool inNegClass(const Tbyte* set, Tbyte c) { return c != 0 && !inAsciiClass(set, c); }

// Operand bytes of an item, without the count bytes.
inline unsigned operandBytes(Tbyte base) {
  switch (base) {
    case kClass:
    case kNegClass:
      return 16;
    case kWideClass:
      return 32;
    case kAny:
      return 0;
    default:
      return 1;  // literal, back reference
  }
}

// How many times the item at `pc` must match at least (0 for groups, the end and optional items).
inline unsigned itemMinimum(const Tbyte* pc) {
  const Tbyte op = *pc;
  if (op == kGroupStart || op == kGroupEnd || op == kEnd) return 0;
  if ((op & kCounted) == 0) return 1;
  if ((op & kCounted) == kRepeated) return 0;
  return pc[1 + operandBytes(Tbyte(op & ~kCounted))];
}

// Whether the item at `pc` is "any run of bytes": no minimum, no maximum.
inline bool isFreeWildcard(const Tbyte* pc) {
  return *pc == (kAny | kRepeated) ||
         (*pc == (kAny | kCounted) && pc[1] == 0 && pc[2] == kUnboundedCount);
}

// The total length of the item at `pc` (never the end item).
inline unsigned itemBytes(const Tbyte* pc) {
  const Tbyte op = *pc;
  if (op == kGroupStart || op == kGroupEnd) return 2;
  const Tbyte base = Tbyte(op & ~kCounted);
  return 1 + operandBytes(base) + ((op & kCounted) == kCounted ? 2 : 0);
}

// Compiles a pattern into a program buffer. The buffer starts at twice the pattern's length and
// grows to twice its size plus one whenever an item does not fit.
class Tcompiler {
 public:
  explicit Tcompiler(std::size_t patternLength) : fCapacity(patternLength * 2 + kHeaderBytes) {
    fBuffer = static_cast<Tbyte*>(std::malloc(fCapacity));
    if (!fBuffer) throw TmemoryException("out of memory compiling a regular expression");
  }
  ~Tcompiler() { std::free(fBuffer); }
  Tcompiler(const Tcompiler&) = delete;
  Tcompiler& operator=(const Tcompiler&) = delete;

  // Compiles; returns null on success or the error message.
  const char* compile(const Tbyte* p);
  // Hands the finished program (its first item) over to the caller, who frees it with
  // freeProgram.
  Tbyte* release() { return std::exchange(fBuffer, nullptr) + kHeaderBytes; }

 private:
  void reserve(std::size_t bytes) {
    if (fSize + bytes <= fCapacity) return;
    std::size_t capacity = fCapacity;
    while (fSize + bytes > capacity) capacity = capacity * 2 + 1;
    auto* grown = static_cast<Tbyte*>(std::realloc(fBuffer, capacity));
    if (!grown) throw TmemoryException("out of memory compiling a regular expression");
    fBuffer = grown;
    fCapacity = capacity;
  }
  void emit(Tbyte b) {
    reserve(1);
    fBuffer[fSize++] = b;
  }
  void emit(Tbyte a, Tbyte b) {
    reserve(2);
    fBuffer[fSize++] = a;
    fBuffer[fSize++] = b;
  }
  void literal(Tbyte c) {
    fLast = fSize;
    emit(kLiteral, c);
  }
  const char* count(const Tbyte*& p);
  const char* charClass(const Tbyte*& p);

  Tbyte* fBuffer = nullptr;
  std::size_t fSize = kHeaderBytes;
  std::size_t fCapacity;
  std::ptrdiff_t fLast = -1;  // offset of the last item that `+` or a count may apply to
};

const char* Tcompiler::compile(const Tbyte* p) {
  int groups = 0;
  int open[kMaxGroups];
  int openCount = 0;
  bool closed[kMaxGroups] = {};
  for (; *p; ++p) {
    const Tbyte c = *p;
    switch (c) {
      case '(':
        if (groups == kMaxGroups) return kErrTooManyGroups;
        open[openCount++] = groups;
        emit(kGroupStart, Tbyte(groups++));
        fLast = -1;
        break;
      case ')': {
        if (openCount == 0) return kErrGroupImbalance;
        const int n = open[--openCount];
        closed[n] = true;
        emit(kGroupEnd, Tbyte(n));
        fLast = -1;
        break;
      }
      case '*':
        fLast = fSize;
        emit(kAny | kRepeated);
        break;
      case '?':
        fLast = fSize;
        emit(kAny);
        break;
      case '+':
        if (fLast < 0) {
          literal(c);
        } else if ((fBuffer[fLast] & kCounted) == 0) {
          fBuffer[fLast] |= kRepeated;  // already repeated or counted: `+` adds nothing
        }
        break;
      case '{':
        // Back references have no counted form, and a count needs an item before it.
        if (fLast < 0 || (fBuffer[fLast] & ~kCounted) == kBackRef) {
          literal(c);
        } else if (const char* error = count(p)) {
          return error;
        }
        break;
      case '\\': {
        const Tbyte next = p[1];
        if (next == 0) {  // a trailing backslash stands for itself
          literal(c);
          break;
        }
        ++p;
        if (next >= '1' && next <= '9') {
          const int n = next - '1';
          if (!closed[n]) return kErrBackRefRange;
          fLast = fSize;
          emit(kBackRef, Tbyte(n));
        } else {
          literal(next == 'f' ? '\f' : next == 'n' ? '\n' : next == 't' ? '\t' : next);
        }
        break;
      }
      case '[':
        if (const char* error = charClass(p)) return error;
        break;
      default:
        literal(c);
        break;
    }
  }
  if (openCount != 0) return kErrGroupImbalance;
  emit(kEnd);
  Tbyte lastByte = 0;
  Tbyte required = 0;
  for (const Tbyte* pc = fBuffer + kHeaderBytes; *pc != kEnd; pc += itemBytes(pc)) {
    if (*pc == kGroupStart || *pc == kGroupEnd) continue;  // they consume nothing
    const bool mandatoryLiteral = (*pc & ~kCounted) == kLiteral && itemMinimum(pc) > 0;
    lastByte = mandatoryLiteral ? pc[1] : 0;
    if (mandatoryLiteral) required = pc[1];
  }
  fBuffer[0] = lastByte;
  fBuffer[1] = required;
  return nullptr;
}

// `p` is at '{'; on success it is left at the closing '}'.
const char* Tcompiler::count(const Tbyte*& p) {
  unsigned numbers[2] = {0, 0};
  int given = 0;
  bool comma = false;
  ++p;
  for (;;) {
    if (*p < '0' || *p > '9') return kErrCountImbalance;
    unsigned value = 0;
    while (*p >= '0' && *p <= '9') {
      value = value * 10 + unsigned(*p++ - '0');
      if (value > 255) return kErrCountTooLarge;
    }
    numbers[given++] = value;
    if (*p == '}') break;
    if (*p != ',') return kErrCountImbalance;
    comma = true;
    ++p;
    if (*p == '}' && given == 1) break;  // "{m,}": at least m
    if (given == 2) return kErrTooManyNumbers;
  }
  const unsigned minimum = numbers[0];
  const unsigned maximum = given == 2 ? numbers[1] : comma ? kUnboundedCount : minimum;
  if (minimum > maximum) return kErrCountOrder;
  if ((fBuffer[fLast] & kCounted) == kCounted) {  // a second count replaces the first
    fBuffer[fSize - 2] = Tbyte(minimum);
    fBuffer[fSize - 1] = Tbyte(maximum);
  } else {
    fBuffer[fLast] |= kCounted;
    emit(Tbyte(minimum), Tbyte(maximum));
  }
  return nullptr;
}

// `p` is at '['; on success it is left at the closing ']'.
const char* Tcompiler::charClass(const Tbyte*& p) {
  Tbyte set[32] = {};
  ++p;
  bool negated = false;
  if (*p == '^') {
    negated = true;
    ++p;
  }
  bool first = true;
  unsigned previous = 0;
  for (;; first = false) {
    const Tbyte c = *p;
    if (c == 0) return kErrClassImbalance;
    if (c == ']' && !first) break;
    if (c == '-' && !first && p[1] != ']' && p[1] != 0) {
      const unsigned last = p[1];
      for (unsigned x = previous; x <= last; ++x) addToSet(set, x);
      previous = last;
      p += 2;
      continue;
    }
    addToSet(set, c);
    previous = c;
    ++p;
  }
  bool wide = false;
  for (int i = 16; i < 32; ++i) wide = wide || set[i] != 0;
  fLast = fSize;
  if (wide) {
    if (negated) {
      for (Tbyte& b : set) b = Tbyte(~b);
      set[0] &= Tbyte(~1u);  // NUL is the terminator, never a member
    }
    reserve(33);
    fBuffer[fSize++] = kWideClass;
    std::memcpy(fBuffer + fSize, set, 32);
    fSize += 32;
  } else {
    reserve(17);
    fBuffer[fSize++] = negated ? kNegClass : kClass;
    std::memcpy(fBuffer + fSize, set, 16);
    fSize += 16;
  }
  return nullptr;
}

// Match attempts of one program at positions of one text: a backtracking walk over the items.
// Choice points live on an explicit stack (inline first, heap when deep), so neither a long
// pattern nor a long text can exhaust the call stack.
//
// Whether the rest of the program matches from an item at a text position depends on nothing
// else, unless a later back reference refers to a group that opened before that item; then it
// also depends on where that group starts (and ends, when it closed before the item). Once an
// attempt has backtracked many times, states are remembered as they fail: plain ones as one bit
// each, the others as keys in a set. This bounds the work of patterns like "*a*a*a*b" by program
// size times text length instead of letting it grow with a power of the text length.
class Tmatcher {
 public:
  // `origin` is the start of the text that all attempts stay inside.
  Tmatcher(bool wholeText, const Tbyte* program, const char* origin)
      : fProgram(program), fOrigin(origin), fWholeText(wholeText) {}
  ~Tmatcher() {
    if (fChoices != fInline) std::free(fChoices);
    if (fFailed) std::free(fFailed);
  }
  Tmatcher(const Tmatcher&) = delete;
  Tmatcher& operator=(const Tmatcher&) = delete;

  // The position after a match of `pc` at `text`, or null.
  const char* run(const char* text, const Tbyte* pc);

 private:
  // Alternatives left for a repeated item: the rest of the program at `base + k * step` for k
  // from `count` down to `minimum`.
  struct Tchoice {
    const Tbyte* pc;
    const char* base;
    unsigned count;
    unsigned minimum;
    std::size_t step;
  };

  void push(const Tchoice& choice) {
    if (fSize == fCapacity) grow();
    fChoices[fSize++] = choice;
  }
  void grow() {
    const std::size_t capacity = fCapacity * 2;
    void* block = fChoices == fInline ? std::malloc(capacity * sizeof(Tchoice))
                                      : std::realloc(fChoices, capacity * sizeof(Tchoice));
    if (!block) throw TmemoryException("out of memory matching a regular expression");
    if (fChoices == fInline) std::memcpy(block, fInline, sizeof fInline);
    fChoices = static_cast<Tchoice*>(block);
    fCapacity = capacity;
  }
  bool backtrack(const char*& text, const Tbyte*& pc);
  // Whether the state is known to fail; records it as visited otherwise.
  bool failedBefore(const Tbyte* pc, const char* text) {
    if (!fFailed) return false;
    const std::size_t offset = std::size_t(pc - fProgram);
    for (unsigned i = 0; i < fSpanCount; ++i) {
      if (offset > fSpans[i].open && offset <= fSpans[i].lastReference) {
        return failedBeforeWithGroups(offset, text);
      }
    }
    const std::size_t bit = offset * fStride + std::size_t(text - fOrigin);
    std::uint64_t& word = fFailed[bit >> 6];
    const std::uint64_t mask = std::uint64_t(1) << (bit & 63);
    if (word & mask) return true;
    word |= mask;
    return false;
  }
  bool failedBeforeWithGroups(std::size_t offset, const char* text);
  void startRemembering();
  unsigned repeatCount(const Tbyte* pc, Tbyte base, const char* text, unsigned maximum,
                       std::size_t& step) const;

  const Tbyte* fProgram;
  const char* fOrigin;
  const char* fGroupStart[kMaxGroups];
  const char* fGroupEnd[kMaxGroups];
  Tchoice fInline[16];
  Tchoice* fChoices = fInline;
  std::size_t fSize = 0;
  std::size_t fCapacity = 16;
  std::uint64_t* fFailed = nullptr;  // failed states: bit (program offset * fStride + position)
  std::size_t fStride = 0;
  // Program stretches whose outcome depends on a group's text: after the group opens, up to its
  // last reference. States there are never remembered.
  struct Tspan {
    std::size_t open;
    std::size_t close;
    std::size_t lastReference;
    int group;
  };
  Tspan fSpans[kMaxGroups];
  unsigned fSpanCount = 0;
  std::unordered_set<std::string> fFailedWithGroups;  // keys: offset, position, group bounds
  unsigned fBacktracks = 0;
  bool fWholeText;
};

constexpr unsigned kRememberAfter = 2048;             // backtracks before states are recorded
constexpr std::size_t kRememberBits = std::size_t(1) << 28;  // at most 32 MiB of state bits

void Tmatcher::startRemembering() {
  std::size_t programBytes = 0;
  std::size_t open[kMaxGroups] = {};
  std::size_t close[kMaxGroups] = {};
  std::size_t lastReference[kMaxGroups] = {};
  for (const Tbyte* pc = fProgram; *pc != kEnd; pc += itemBytes(pc)) {
    const std::size_t offset = std::size_t(pc - fProgram);
    if (*pc == kGroupStart) open[pc[1]] = offset;
    if (*pc == kGroupEnd) close[pc[1]] = offset;
    if ((*pc & ~kCounted) == kBackRef) lastReference[pc[1]] = offset;
    programBytes = offset + itemBytes(pc);
  }
  for (int g = 0; g < kMaxGroups; ++g) {
    if (lastReference[g]) fSpans[fSpanCount++] = {open[g], close[g], lastReference[g], g};
  }
  fStride = std::strlen(fOrigin) + 1;
  if (programBytes + 1 > kRememberBits / fStride) return;  // too large to be worth it
  const std::size_t bits = (programBytes + 1) * fStride;
  fFailed = static_cast<std::uint64_t*>(std::calloc((bits + 63) / 64, sizeof(std::uint64_t)));
  // Without the memory the matcher simply goes on without remembering.
}

constexpr std::size_t kMaxRememberedKeys = std::size_t(1) << 18;  // about 20 MiB at most

bool Tmatcher::failedBeforeWithGroups(std::size_t offset, const char* text) {
  std::size_t key[2 + 2 * kMaxGroups];
  std::size_t n = 0;
  key[n++] = offset;
  key[n++] = std::size_t(text - fOrigin);
  for (unsigned i = 0; i < fSpanCount; ++i) {
    const Tspan& span = fSpans[i];
    if (offset <= span.open || offset > span.lastReference) continue;
    key[n++] = std::size_t(fGroupStart[span.group] - fOrigin);
    // An end recorded on an earlier path is stale until the group closes again.
    key[n++] = span.close < offset ? std::size_t(fGroupEnd[span.group] - fOrigin) : 0;
  }
  std::string bytes(reinterpret_cast<const char*>(key), n * sizeof key[0]);
  if (fFailedWithGroups.count(bytes)) return true;
  if (fFailedWithGroups.size() < kMaxRememberedKeys) fFailedWithGroups.insert(std::move(bytes));
  return false;
}

// How many times in a row (at most `maximum`) the item at `pc` matches at `text`; `step` gets
// the bytes one match consumes.
unsigned Tmatcher::repeatCount(const Tbyte* pc, Tbyte base, const char* text, unsigned maximum,
                               std::size_t& step) const {
  const auto* t = reinterpret_cast<const Tbyte*>(text);
  const Tbyte* operand = pc + 1;
  unsigned n = 0;
  step = 1;
  switch (base) {
    case kLiteral:
      while (n < maximum && t[n] == *operand) ++n;
      break;
    case kAny:
      n = unsigned(strnlen(text, maximum));
      break;
    case kClass:
      while (n < maximum && inAsciiClass(operand, t[n])) ++n;
      break;
    case kNegClass:
      while (n < maximum && inNegClass(operand, t[n])) ++n;
      break;
    case kWideClass:
      while (n < maximum && inSet(operand, t[n])) ++n;
      break;
    case kBackRef: {
      const char* group = fGroupStart[*operand];
      step = std::size_t(fGroupEnd[*operand] - group);
      if (step == 0) return 0;  // an empty group: the caller takes the minimum in place
      while (n < maximum && std::strncmp(text + n * step, group, step) == 0) ++n;
      break;
    }
    default:
      break;
  }
  return n;
}

bool Tmatcher::backtrack(const char*& text, const Tbyte*& pc) {
  if (++fBacktracks == kRememberAfter) startRemembering();
  while (fSize > 0) {
    Tchoice& choice = fChoices[fSize - 1];
    unsigned k = choice.count;
    const Tbyte* next = choice.pc;
    while (*next == kGroupStart || *next == kGroupEnd) next += 2;  // they consume nothing
    if (*next == kLiteral && choice.step == 1) {
      // The rest must start with this byte: skip the positions that cannot.
      const char want = char(next[1]);
      while (k > choice.minimum && choice.base[k] != want) --k;
      if (choice.base[k] != want) {
        --fSize;
        continue;
      }
    }
    if (k == choice.minimum) {
      --fSize;
    } else {
      choice.count = k - 1;
    }
    text = choice.base + k * choice.step;
    pc = choice.pc;
    if (!failedBefore(pc, text)) return true;
  }
  return false;
}

const char* Tmatcher::run(const char* text, const Tbyte* pc) {
  fSize = 0;
  for (;;) {
    const Tbyte op = *pc;
    const Tbyte c = Tbyte(*text);
    switch (op) {
      case kGroupStart:
        fGroupStart[pc[1]] = text;
        pc += 2;
        continue;
      case kGroupEnd:
        fGroupEnd[pc[1]] = text;
        pc += 2;
        continue;
      case kEnd:
        if (!fWholeText || c == 0) return text;
        break;
      case kLiteral:  // the operand is never NUL
        if (c == pc[1]) {
          ++text;
          pc += 2;
          continue;
        }
        break;
      case kAny:
        if (c != 0) {
          ++text;
          pc += 1;
          continue;
        }
        break;
      case kClass:
        if (inAsciiClass(pc + 1, c)) {
          ++text;
          pc += 17;
          continue;
        }
        break;
      case kNegClass:
        if (inNegClass(pc + 1, c)) {
          ++text;
          pc += 17;
          continue;
        }
        break;
      case kWideClass:
        if (inSet(pc + 1, c)) {
          ++text;
          pc += 33;
          continue;
        }
        break;
      case kBackRef: {
        const char* group = fGroupStart[pc[1]];
        const std::size_t length = std::size_t(fGroupEnd[pc[1]] - group);
        if (std::strncmp(text, group, length) == 0) {
          text += length;
          pc += 2;
          continue;
        }
        break;
      }
      default: {  // a repeated or counted item
        const Tbyte base = Tbyte(op & ~kCounted);
        const unsigned length = itemBytes(pc);
        unsigned minimum = 0;
        unsigned maximum = kRepeatCap;
        if ((op & kCounted) == kCounted) {
          minimum = pc[length - 2];
          if (pc[length - 1] != kUnboundedCount) maximum = pc[length - 1];
        }
        std::size_t step;
        unsigned n = repeatCount(pc, base, text, maximum, step);
        if (step == 0) n = minimum;  // repeating an empty reference changes nothing
        if (n < minimum) break;
        pc += length;
        if (base == kAny && minimum == 0 && n < maximum && isFreeWildcard(pc)) {
          // Two wildcards in a row that both reach the end of the text: the second alone tries
          // the same positions in the same order, so the first takes nothing and keeps no choice.
          continue;
        }
        if (n > minimum) push({pc, text, n - 1, minimum, step});
        text += n * step;
        if (failedBefore(pc, text)) break;
        continue;
      }
    }
    if (!backtrack(text, pc)) return nullptr;
  }
}

// Skips the text positions whose byte the first item cannot take. Short skips test the item's set
// directly; once a skip runs long, a 256-entry table of the bytes to stop at takes over.
class TstartFilter {
 public:
  TstartFilter(Tbyte base, const Tbyte* set) : fBase(base), fSet(set) {}

  // The first position from `text` on whose byte the item can take, or the terminator.
  const char* next(const char* text) {
    const auto* t = reinterpret_cast<const Tbyte*>(text);
    if (!fTableReady) {
      for (int i = 0; i < 32; ++i, ++t) {
        if (*t == 0 || canTake(*t)) return reinterpret_cast<const char*>(t);
      }
      for (unsigned c = 0; c < 256; ++c) fStop[c] = c == 0 || canTake(Tbyte(c));
      fTableReady = true;
      // Knowing where the text ends lets the long skips test several bytes per step.
      fEnd = t + std::strlen(reinterpret_cast<const char*>(t));
    }
    while (fEnd - t >= 8 && !(fStop[t[0]] | fStop[t[1]] | fStop[t[2]] | fStop[t[3]] |
                              fStop[t[4]] | fStop[t[5]] | fStop[t[6]] | fStop[t[7]])) {
      t += 8;
    }
    while (!fStop[*t]) ++t;
    return reinterpret_cast<const char*>(t);
  }

 private:
  bool canTake(Tbyte c) const {
    switch (fBase) {
      case kLiteral:
        return c == fSet[0];
      case kClass:
        return inAsciiClass(fSet, c);
      case kNegClass:
        return inNegClass(fSet, c);
      case kWideClass:
        return inSet(fSet, c);
      default:  // any byte
        return c != 0;
    }
  }

  Tbyte fBase;
  const Tbyte* fSet;
  bool fTableReady = false;
  const Tbyte* fEnd = nullptr;  // the text's terminator, once the table is in use
  bool fStop[256];
};

void freeProgram(Tbyte* program) {
  if (program) std::free(program - kHeaderBytes);
}

}  // namespace

TregExp::TregExp(const char* pattern) { setPattern(pattern); }

TregExp::TregExp(const Tstring& pattern) { setPattern(pattern.asC()); }

bool TregExp::setPattern(const Tstring& pattern) { return setPattern(pattern.asC()); }

bool TregExp::match(const Tstring& text) const { return match(text.asC()); }

TregExp::TregExp(const TregExp& other) : fError(other.fError) {
  if (other.fProgram) {
    const std::size_t size = other.programSize();
    auto* buffer = static_cast<Tbyte*>(std::malloc(size));
    if (!buffer) throw TmemoryException("out of memory copying a regular expression");
    std::memcpy(buffer, other.fProgram - kHeaderBytes, size);
    fProgram = buffer + kHeaderBytes;
  }
}

TregExp::TregExp(TregExp&& other) noexcept
    : fProgram(std::exchange(other.fProgram, nullptr)),
      fError(std::exchange(other.fError, nullptr)) {}

TregExp& TregExp::operator=(const TregExp& other) {
  if (this != &other) *this = TregExp(other);
  return *this;
}

TregExp& TregExp::operator=(TregExp&& other) noexcept {
  if (this != &other) {
    freeProgram(fProgram);
    fProgram = std::exchange(other.fProgram, nullptr);
    fError = std::exchange(other.fError, nullptr);
  }
  return *this;
}

TregExp::~TregExp() { freeProgram(fProgram); }

bool TregExp::setPattern(const char* pattern) {
  freeProgram(fProgram);
  fProgram = nullptr;
  fError = nullptr;
  if (!pattern || !*pattern) {
    setError(kErrVoid);
    return false;
  }
  Tcompiler compiler(std::strlen(pattern));
  if (const char* message = compiler.compile(reinterpret_cast<const Tbyte*>(pattern))) {
    setError(message);
    return false;
  }
  fProgram = compiler.release();
  return true;
}

void TregExp::setError(const char* message) {
  freeProgram(fProgram);
  fProgram = nullptr;
  fError = message;
}

std::size_t TregExp::programSize() const noexcept {
  if (!fProgram) return 0;
  const Tbyte* pc = fProgram;
  while (*pc != kEnd) pc += itemBytes(pc);
  return kHeaderBytes + std::size_t(pc - fProgram) + 1;
}

const char* TregExp::skipExpression(const char* text, const char* program) const {
  const auto* start = reinterpret_cast<const Tbyte*>(program);
  Tmatcher matcher(false, start, text);
  return matcher.run(text, start);
}

const char* TregExp::firstMatch(const char** text) const {
  if (!fProgram || !text || !*text) return nullptr;
  const char* const start = *text;
  const Tbyte* first = fProgram;
  while (*first == kGroupStart) first += 2;
  const Tbyte op = *first;
  const Tbyte base = Tbyte(op & ~kCounted);
  const bool mandatory = itemMinimum(first) > 0;

  const Tbyte required = fProgram[-1];
  if (required && !std::strchr(start, required)) return nullptr;

  const char* end = nullptr;
  const char* at = nullptr;
  if (mandatory && base == kLiteral) {
    // Only positions holding the leading byte can start a match (never the terminator).
    Tmatcher matcher(false, fProgram, start);
    for (at = std::strchr(start, first[1]); at; at = std::strchr(at + 1, first[1])) {
      if ((end = matcher.run(at, fProgram))) break;
    }
  } else if (first == fProgram && base == kAny && !mandatory &&
             ((op & kCounted) == kRepeated || first[2] == kUnboundedCount) &&
             strnlen(start, kRepeatCap + 1) <= kRepeatCap) {
    // A leading unbounded wildcard can absorb any later start, so when it can reach the whole
    // text, a match exists somewhere only if one exists at the first position.
    at = start;
    end = skipExpression(at, reinterpret_cast<const char*>(fProgram));
  } else {
    // Every position, including the terminator: a pattern may match the empty text there. One
    // matcher serves all positions; when the first item must consume a byte, positions whose
    // byte it cannot take are skipped without starting an attempt.
    Tmatcher matcher(false, fProgram, start);
    TstartFilter filter(base, first + 1);
    for (at = start;; ++at) {
      if (mandatory) {
        at = filter.next(at);
        if (*at == 0) break;  // a consuming item cannot start at the end
      }
      if ((end = matcher.run(at, fProgram))) break;
      if (*at == 0) break;
    }
  }
  if (!end) return nullptr;
  *text = end;
  return at;
}

bool TregExp::match(const char* text) const {
  if (!fProgram || !text) return false;
  const Tbyte* facts = fProgram - kHeaderBytes;
  if (facts[0] || facts[1]) {
    const std::size_t length = std::strlen(text);
    if (facts[0] && (length == 0 || Tbyte(text[length - 1]) != facts[0])) return false;
    if (facts[1] && !std::memchr(text, facts[1], length)) return false;
  }
  Tmatcher matcher(true, fProgram, text);
  return matcher.run(text, fProgram) != nullptr;
}
