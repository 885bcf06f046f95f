// Links against an installed velacore as an application would, and calls at least one
// out-of-line member of every public class and every public free function: a class or function
// that lost its export mark fails this program's link. Add a line here for each new public class.
#include <velacore/base/TbigEndian.h>
#include <velacore/base/TbuildInfo.h>
#include <velacore/base/Texception.h>
#include <velacore/base/TmtCriticalSection.h>
#include <velacore/base/TmtRecursiveMutex.h>
#include <velacore/base/TmtSpinCriticalSection.h>
#include <velacore/base/TstringCatalog.h>
#include <velacore/base/Ttrigger.h>
#include <velacore/containers/TbitField.h>
#include <velacore/containers/TbitFieldFixedN.h>
#include <velacore/containers/TbitFieldN.h>
#include <velacore/containers/TdataHashTable.h>
#include <velacore/containers/ThashFunction.h>
#include <velacore/containers/TtypedObjArray.h>
#include <velacore/containers/TtypedSortedArray.h>
#include <velacore/containers/TvalueArray.h>
#include <velacore/debug/Tclock.h>
#include <velacore/debug/Tcounter.h>
#include <velacore/debug/TdbTrace.h>
#include <velacore/debug/TdebugOutput.h>
#include <velacore/debug/TdebugOutputFile.h>
#include <velacore/debug/TdebugOutputString.h>
#include <velacore/debug/TnestedTimers.h>
#include <velacore/environment/TVelaEnvironment.h>
#include <velacore/environment/TenvFileParser.h>
#include <velacore/environment/TenvGuard.h>
#include <velacore/environment/VelaEnv.h>
#include <velacore/memory/Talloca.h>
#include <velacore/memory/Tallocator.h>
#include <velacore/memory/TcompactArena.h>
#include <velacore/memory/TfixedArena.h>
#include <velacore/memory/TmappedMemory.h>
#include <velacore/memory/TpoolAllocator.h>
#include <velacore/memory/TpoolManager.h>
#include <velacore/memory/TstackArena.h>
#include <velacore/memory/TvariantArena.h>
#include <velacore/strings/TcharString.h>
#include <velacore/strings/TregExp.h>
#include <velacore/strings/Tstring.h>
#include <velacore/strings/TstringArray.h>
#include <velacore/types/Tmetaclass.h>

#include <cstdio>
#include <cstring>
#include <new>
#include <string>

// Run-time typed classes of the application's own: typeof() must compile in the GNU dialect.
class Tgadget {
  VELA_DECLARE_TYPE(Tgadget);

 public:
  virtual ~Tgadget() = default;
};
class Twidget : public Tgadget {
  VELA_DECLARE_TYPE(Twidget);
};
VELA_DEFINE_ABSTRACT_TYPE(Tgadget);
VELA_DEFINE_TYPE(Twidget, Tgadget);

namespace {

int gFailures = 0;

void check(bool ok, const char* what) {
  if (!ok) {
    std::printf("consumer: %s failed\n", what);
    ++gFailures;
  }
}

void base() {
  try {
    throw TmemoryException();
  } catch (const Texception& e) {
    check(std::strcmp(e.message(), TstringCatalog::sText("s_TcoreStrings.rOutOfMemory")) == 0,
          "TmemoryException message");
  }
  try {
    throw TfileException(2, "gone");
  } catch (const TfileException& e) {
    check(e.code() == 2, "TfileException code");
  }
  try {
    throw TincompatibleData("shape");
  } catch (const Texception&) {
  }
  check(TstringCatalog::sSize() > 0, "TstringCatalog");

  int fired = 0;
  Ttrigger trigger;
  const Ttrigger::Tid id = trigger.add([&fired] { ++fired; });
  trigger.fire();
  check(trigger.remove(id) && fired == 1, "Ttrigger");

  TmtSpinCriticalSection spin;
  TmtCriticalSection plain;
  TmtRecursiveMutex recursive;
  {
    TmtScopedLock<TmtSpinCriticalSection> a(spin);
    TmtScopedLock<TmtCriticalSection> b(plain);
    TmtScopedLock<TmtRecursiveMutex> c(recursive);
  }
  unsigned char bytes[4];
  TbigEndian::write(bytes, std::uint32_t{0x01020304});
  check(bytes[0] == 1 && TbigEndian::read<std::uint32_t>(bytes) == 0x01020304, "TbigEndian");
}

void strings() {
  Tstring name("shot_010");
  name += Tstring("_v2");
  const Tstring joined = Tstring("a") + "b" + name;
  check(joined.numChars() == 13 && joined.matches(Tstring("ab*")), "Tstring");
  TstringArray parts;
  Tstring("a;b;c").split(';', parts);
  check(parts.length() == 3, "TstringArray");
  TregExp re("shot_([0-9]+)*");
  check(re.isValid() && re.match("shot_010_v2"), "TregExp");
  check(TcharString("x") == "x", "TcharString");
}

void containers() {
  TdoubleArray values;
  for (int i = 0; i < 100; ++i) values.addLast(i * 0.5);
  check(values.length() == 100 && values[99] == 49.5, "TvalueArray");
  TtypedSortedArray<int> sorted;
  sorted.insert(3);
  sorted.insert(1);
  check(sorted[0] == 1, "TtypedSortedArray");
  TtypedObjArray<std::string> objects;
  objects.addLast("one");
  check(objects.length() == 1, "TtypedObjArray");

  TdataHashTable<Tstring, int> table(16, 1024);
  table.insertUnique(Tstring("one"), 1);
  const int* found = table.find(Tstring("one"));
  check(found != nullptr && *found == 1 && table.remove(Tstring("one")), "TdataHashTable");

  TbitFieldN grow;
  grow.setBit(70, true);
  TbitFieldFixedN fixed(100, nullptr);
  fixed.setBit(3, true);
  TbitFieldOf<unsigned, 2> small;
  small.setBit(40, true);
  check(grow.testBit(70) && fixed.bitsSet() == 1 && small.testBit(40), "bit fields");
  check(ThashFunction::hash64("abc", 3, 0) != 0, "ThashFunction");
}

void memory() {
  TmallocAllocator& source = TmallocAllocator::mallocAllocator();
  void* page = source.allocate(4096, "consumer");
  source.free(page, 4096);

  TvariantArena variant(1 << 16, 8, source, "consumer variant", true, false);
  void* v = variant.allocate(40);
  TvariantArena::deallocate(v);
  TmtVariantArena mtVariant(1 << 16, 8, source, "consumer mt variant", true, false);
  TvariantArena::deallocate(mtVariant.allocate(24));

  TcompactArena compact(32, 65536, source, "consumer compact");
  void* c = compact.allocate();
  check(compact.deallocate(c), "TcompactArena");
  TmtCompactArena mtCompact(32, 65536, source, "consumer mt compact");
  check(mtCompact.deallocate(mtCompact.allocate()), "TmtCompactArena");

  TfixedArena fixed(48, 16384, source, "consumer fixed");
  fixed.deallocate(fixed.allocate());
  TstackArena stack(65536, source);
  TstackArena::deallocate(stack.allocate(100));
  TmtStackArena mtStack(65536, source);
  TstackArena::deallocate(mtStack.allocate(100));

  // The inline paths run here, the slow ones in the library, over one per-thread cache.
  TpoolAllocator pool(64);
  void* p = pool.mpAlloc();
  pool.mpFree(p);
  check(pool.threadCachedCount() + pool.cachedCount() == 1 && pool.mpAlloc() == p,
        "TpoolAllocator");
  pool.mpFree(p);
  TpoolAllocator::resetAllPools();

  TpoolManager frames;
  int bytes = 0;
  check(frames.create(2, 16, 4) && frames.releasePool(frames.getPool(bytes)), "TpoolManager");

  void* block = mmapAlloc(100000, "consumer");
  check(block != nullptr && mmapSize(block) >= 100000 && mmapBytesInUse() > 0, "mmapAlloc");
  mmapFree(block);
  Talloca scratch(64);
  check(scratch.data() != nullptr, "Talloca");
}

void debug() {
  TdebugOutputString out;
  out.print("%d faces\n", 12);
  check(out.string() == Tstring("12 faces\n"), "TdebugOutputString");
  check(TdebugOutput::sNumOutputs() > 0, "TdebugOutput");
  check(TdebugOutputFile::sFullFileName(Tstring("/tmp/x.txt")) == Tstring("/tmp/x.txt"),
        "TdebugOutputFile");
  (void)TdebugOutputTrace::sTrace();

  static TdbTrace trace("consumerTrace", 1, "cerr", "Consumer trace");
  check(!trace.on(), "TdbTrace");
  static Tcounter counter("consumerCounter");
  counter.enable();
  counter.increment();
  check(counter.count() == 1, "Tcounter");

  const int timer = TnestedTimers::getIndex("consumer");
  TnestedTimers::startNested(timer);
  TnestedTimers::stopNested();
  check(TnestedTimers::getCount(timer) == 1, "TnestedTimers");
  Tclock clock;
  clock.start();
  check(clock.stop() >= 0.0, "Tclock");
}

void types() {
  Tgadget* made = Tgadget::construct(Tmetaclass::findClass("Twidget"));
  check(made != nullptr && made->typeof()->isa(Tgadget::sTypeof()), "Tmetaclass");
  delete made;
}

void environment() {
  TenvGuard guard;
  check(VelaPutEnv("VELACORE_CONSUMER=1") == 0 && std::strcmp(VelaGetEnv("VELACORE_CONSUMER"), "1") == 0,
        "VelaPutEnv");
  VelaSetModifyEnvCallbacks(nullptr, nullptr);
  check(VelaUnsetEnv("VELACORE_CONSUMER") == 0, "VelaUnsetEnv");
  check(TVelaEnvironment::splitPath(Tstring("scripts")).length() == 1, "TVelaEnvironment");

  std::string seen;
  TenvFileParser parser([](const std::string&) -> const char* { return nullptr; },
                        [&seen](const std::string& name, const std::string& value) {
                          seen = name + "=" + value;
                        });
  const char text[] = "A = b\n";
  parser.feed(text, sizeof text - 1);
  parser.finish();
  check(seen == "A=b", "TenvFileParser");
}

}  // namespace

int main() {
  base();
  strings();
  containers();
  memory();
  debug();
  types();
  environment();
  if (gFailures != 0) return 1;
  std::printf("consumer: velacore %s works from its install prefix\n", VELACORE_VERSION_STRING);
  return 0;
}
