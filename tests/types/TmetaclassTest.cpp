#include <velacore/types/Tmetaclass.h>

#include <velacore/base/Texception.h>
#include <velacore/debug/TdbTrace.h>
#include <velacore/debug/TdebugOutputFile.h>
#include <velacore/debug/TdebugOutputString.h>
#include <velacore/types/TtypeDictionary.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

// ----- the header's example, kept compiling -----

class Tshape {
  VELA_DECLARE_TYPE(Tshape);

 public:
  virtual ~Tshape() = default;
};
class Tcube : public Tshape {
  VELA_DECLARE_TYPE(Tcube);

 public:
  double fEdge = 1.0;
};
VELA_DEFINE_ABSTRACT_TYPE(Tshape);
VELA_DEFINE_TYPE(Tcube, Tshape);

TEST(TmetaclassExample, HeaderUsage) {
  Tshape* s = Tshape::construct(Tmetaclass::findClass("Tcube"));
  ASSERT_NE(s, nullptr);
  EXPECT_TRUE(s->typeof()->isa(Tcube::sTypeof()));
  Tcube* c = vela::typeCast<Tcube>(s);
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(c->fEdge, 1.0);
  EXPECT_FALSE(Tmetaclass::findClass("Tcube")->isAbstract());
  EXPECT_TRUE(Tmetaclass::findClass("Tshape")->isAbstract());
  EXPECT_EQ(Tshape::construct(Tmetaclass::findClass("Tshape")), nullptr);
  delete s;
}

// ----- a class graph -----
// Registration order in this file is declaration order of the definitions below:
//   TtA (root), TtB : TtA, TtC : TtA, TtD : TtB, TtC (diamond), TtE : TtD,
//   TtAbstract : TtA, TtF : TtB, TtD (no C++ class), TtN : TtA, -, TtB (null slot),
//   "Twin" (root), "Twin" : TtA, TtMade : TtA (creator object).

struct TtA {
  VELA_DECLARE_TYPE(TtA);

 public:
  virtual ~TtA() = default;
  int fA = 1;
};
struct TtB : TtA {
  VELA_DECLARE_TYPE(TtB);

 public:
  int fB = 2;
};
struct TtC : TtA {
  VELA_DECLARE_TYPE(TtC);

 public:
  int fC = 3;
};
struct TtD : TtB, TtC {
  VELA_DECLARE_TYPE(TtD);

 public:
  int fD = 4;
};
struct TtE : TtD {
  VELA_DECLARE_TYPE(TtE);

 public:
  double fE = 5;
};
struct TtAbstract : TtA {
  VELA_DECLARE_TYPE(TtAbstract);

 public:
  virtual void pure() = 0;
};
struct TtTwinRoot {
  VELA_DECLARE_TYPE(TtTwinRoot);

 public:
  virtual ~TtTwinRoot() = default;
};
struct TtTwinA : TtA {
  VELA_DECLARE_TYPE(TtTwinA);
};

VELA_DEFINE_TYPE(TtA);
VELA_DEFINE_TYPE(TtB, TtA);
VELA_DEFINE_TYPE(TtC, TtA);
VELA_DEFINE_TYPE(TtD, TtB, TtC);
VELA_DEFINE_TYPE_AS("TtE", TiffTag("TtE#").value(), TtypeKind::kConcrete, TtE, TtD);
VELA_DEFINE_ABSTRACT_TYPE(TtAbstract, TtA);

namespace {
Tmetaclass gF(nullptr, "TtF", 64, TconstructorProc(), 0, false, TtB::sTmetaAddress(),
              TtD::sTmetaAddress());
Tmetaclass gN(nullptr, "TtN", 4, TconstructorProc(), 0, false, TtA::sTmetaAddress(), nullptr,
              TtB::sTmetaAddress());
}  // namespace

VELA_DEFINE_TYPE_AS("Twin", 0u, TtypeKind::kConcrete, TtTwinRoot);
VELA_DEFINE_TYPE_AS("Twin", TiffTag("TWIN").value(), TtypeKind::kConcrete, TtTwinA, TtA);

namespace {

// Makes TtE objects, counting its calls.
class TtCreator : public TconstructorClass {
 public:
  void* construct(Tmetaclass* as) override {
    ++fCalls;
    auto* made = new TtE();
    void* view = made->cast(as);
    if (view == nullptr) delete made;
    return view;
  }
  void* constructInPlace(Tmetaclass*, void*) override {
    ++fCalls;
    return nullptr;
  }
  int fCalls = 0;
};
TtCreator gCreator;
Tmetaclass gMade(nullptr, "TtMade", 48, &gCreator, 0, false, TtA::sTmetaAddress());

Tmetaclass* meta(const char* name) { return Tmetaclass::findClass(name); }

std::vector<std::string> names(const TtypeidArray& classes) {
  std::vector<std::string> out;
  for (Tmetaclass* c : classes) out.emplace_back(c->name());
  return out;
}

}  // namespace

TEST(Tmetaclass, DescriptionAndRegistration) {
  Tmetaclass* a = TtA::sTypeof();
  EXPECT_STREQ(a->name(), "TtA");
  EXPECT_EQ(a->size(), sizeof(TtA));
  EXPECT_EQ(a->superCount(), 0u);
  EXPECT_EQ(a->super(0), nullptr);
  EXPECT_EQ(TtD::sTypeof()->superCount(), 2u);
  EXPECT_EQ(TtD::sTypeof()->super(1), TtC::sTypeof());
  EXPECT_EQ(TtD::sTypeof()->super(7), nullptr);
  EXPECT_EQ(TtE::sTypeof()->tag(), TiffTag("TtE#"));
  EXPECT_STREQ(TtE::sTypeof()->name(), "TtE");
  EXPECT_EQ(TtE::sTmetaAddress(), &TtETmeta);
  EXPECT_EQ(TtETmeta, TtE::sTypeof());

  // The slot after a null one does not count.
  EXPECT_EQ(gN.superCount(), 1u);
  EXPECT_FALSE(gN.isa(TtB::sTypeof()));
  EXPECT_TRUE(gN.isa(TtA::sTypeof()));

  // Registered in static-initialisation order, each with the next index.
  const TtypeidArray* registry = Tmetaclass::registry();
  ASSERT_NE(registry, nullptr);
  const std::vector<Tmetaclass*> expected = {TtA::sTypeof(), TtB::sTypeof(), TtC::sTypeof(),
                                             TtD::sTypeof(), TtE::sTypeof(),
                                             TtAbstract::sTypeof(), &gF, &gN};
  const std::uint32_t first = registry->find(TtA::sTypeof());
  ASSERT_NE(first, TobjArray::kNoIndex);
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ((*registry)[first + std::uint32_t(i)], expected[i]) << i;
    EXPECT_EQ(expected[i]->index(), expected[0]->index() + i);
  }
  std::vector<unsigned> seen;
  for (Tmetaclass* c : *registry) seen.push_back(c->index());
  std::sort(seen.begin(), seen.end());
  EXPECT_EQ(std::adjacent_find(seen.begin(), seen.end()), seen.end()) << "indices are unique";

  // Sizes below the superclasses' wrap around, as unsigned arithmetic does.
  EXPECT_EQ(TtB::sTypeof()->extraSize(), unsigned(sizeof(TtB) - sizeof(TtA)));
  EXPECT_EQ(TtD::sTypeof()->extraSize(), unsigned(sizeof(TtD) - sizeof(TtB) - sizeof(TtC)));
  EXPECT_EQ(gN.extraSize(), 4u - unsigned(sizeof(TtA)));
}

TEST(Tmetaclass, KindOfByClass) {
  Tmetaclass* a = TtA::sTypeof();
  Tmetaclass* b = TtB::sTypeof();
  Tmetaclass* c = TtC::sTypeof();
  Tmetaclass* d = TtD::sTypeof();
  Tmetaclass* e = TtE::sTypeof();
  Tmetaclass* all[] = {a, b, c, d, e, TtAbstract::sTypeof(), &gF, &gN, Tshape::sTypeof()};
  // Expected ancestry (self included), written out by hand.
  auto ancestor = [&](Tmetaclass* x, Tmetaclass* y) {
    if (x == y) return true;
    if (y == a) return x != Tshape::sTypeof();
    if (y == b) return x == d || x == e || x == &gF;
    if (y == c) return x == d || x == e || x == &gF;
    if (y == d) return x == e || x == &gF;
    return false;
  };
  for (Tmetaclass* x : all) {
    for (Tmetaclass* y : all) {
      const bool is = ancestor(x, y);
      EXPECT_EQ(x->isa(y), is) << x->name() << " isa " << y->name();
      EXPECT_EQ(x->isnota(y), !is) << x->name();
      EXPECT_EQ(x->isexactlya(y), x == y);
      EXPECT_EQ(x->isnotexactlya(y), x != y);
    }
    EXPECT_FALSE(x->isa(static_cast<Tmetaclass*>(nullptr)));
    EXPECT_TRUE(x->isnota(static_cast<Tmetaclass*>(nullptr)));
  }
  // Classes registered before the lowest and after the highest ancestor fall outside the
  // table's range (TtCube and TtMade).
  EXPECT_FALSE(e->isa(Tcube::sTypeof()));
  EXPECT_FALSE(e->isa(&gMade));
  EXPECT_TRUE(gMade.isa(a));
}

TEST(Tmetaclass, KindOfByName) {
  Tmetaclass* e = TtE::sTypeof();
  for (const char* n : {"TtE", "TtD", "TtB", "TtC", "TtA"}) {
    EXPECT_TRUE(e->isa(n)) << n;
    EXPECT_FALSE(e->isnota(n)) << n;
  }
  EXPECT_FALSE(e->isa("TtAbstract"));
  EXPECT_FALSE(e->isa("Tt"));
  EXPECT_FALSE(e->isa(static_cast<const char*>(nullptr)));
  EXPECT_TRUE(e->isexactlya("TtE"));
  EXPECT_FALSE(e->isexactlya("TtD"));
  EXPECT_TRUE(e->isnotexactlya("TtD"));
  EXPECT_FALSE(gN.isa("TtB"));  // behind the null slot
  EXPECT_TRUE(gF.isa("TtC"));
}

TEST(Tmetaclass, Lookups) {
  Tmetaclass* first = meta("Twin");
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first, TtTwinRoot::sTypeof());
  EXPECT_EQ(Tmetaclass::findClass("Twin", TtA::sTypeof()), TtTwinA::sTypeof());
  EXPECT_EQ(Tmetaclass::findClass("TtE", TtC::sTypeof()), TtE::sTypeof());
  EXPECT_EQ(Tmetaclass::findClass("TtC", TtB::sTypeof()), nullptr);
  EXPECT_EQ(Tmetaclass::findClass("TtC", nullptr), nullptr);
  EXPECT_EQ(Tmetaclass::findClass(TiffTag("TWIN")), TtTwinA::sTypeof());
  EXPECT_EQ(Tmetaclass::findClass(TiffTag("NONE")), nullptr);
  EXPECT_EQ(meta("nope"), nullptr);
  EXPECT_EQ(meta(nullptr), nullptr);
}

TEST(Tmetaclass, CastAdjustsToTheRequestedView) {
  TtE e;
  TtA* asA = static_cast<TtB*>(&e);  // through TtB, the first base
  EXPECT_EQ(e.cast(TtE::sTypeof()), static_cast<void*>(&e));
  EXPECT_EQ(e.cast(TtC::sTypeof()), static_cast<void*>(static_cast<TtC*>(&e)));
  EXPECT_EQ(e.cast(TtA::sTypeof()), static_cast<void*>(asA));
  EXPECT_NE(e.cast(TtC::sTypeof()), e.cast(TtB::sTypeof()));
  EXPECT_EQ(e.cast(TtAbstract::sTypeof()), nullptr);
  EXPECT_EQ(e.cast(nullptr), nullptr);
  // Virtual: a base pointer answers for the whole object.
  TtC* asC = &e;
  EXPECT_EQ(asC->typeof(), TtE::sTypeof());
  EXPECT_EQ(asC->cast(TtB::sTypeof()), static_cast<void*>(static_cast<TtB*>(&e)));
  EXPECT_EQ(vela::typeCast<TtD>(asC), static_cast<TtD*>(&e));
  EXPECT_EQ(vela::typeCast<TtAbstract>(asC), nullptr);
  EXPECT_EQ(vela::typeCast<TtA>(static_cast<TtC*>(nullptr)), nullptr);
}

TEST(Tmetaclass, Construction) {
  // construct(t) hands back the new object viewed as the class asked through.
  TtC* c = TtC::construct(TtE::sTypeof());
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(c->typeof(), TtE::sTypeof());
  EXPECT_EQ(c->fC, 3);
  delete static_cast<TtE*>(vela::typeCast<TtE>(c));

  EXPECT_EQ(TtB::construct(TtC::sTypeof()), nullptr);  // not a kind of TtB
  EXPECT_EQ(TtA::construct(nullptr), nullptr);
  EXPECT_EQ(TtA::construct(TtAbstract::sTypeof()), nullptr);
  EXPECT_EQ(TtA::construct(&gF), nullptr);  // no procedures
  // A procedure asked for a view the class lacks gives null (and leaks nothing).
  EXPECT_EQ(TtB::sTypeof()->construct(TtC::sTypeof()), nullptr);

  alignas(TtE) unsigned char buffer[sizeof(TtE)];
  TtA* placed = TtA::constructInPlace(TtE::sTypeof(), buffer);
  ASSERT_NE(placed, nullptr);
  EXPECT_EQ(static_cast<void*>(placed), static_cast<void*>(buffer));  // TtB's TtA comes first
  EXPECT_EQ(placed->typeof(), TtE::sTypeof());
  placed->~TtA();
  EXPECT_EQ(TtA::constructInPlace(TtE::sTypeof(), nullptr), nullptr);

  // A creator object builds when there are no procedures; in-place creation ignores it.
  const int before = gCreator.fCalls;
  TtA* made = TtA::construct(&gMade);
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(made->typeof(), TtE::sTypeof());
  delete made;
  EXPECT_EQ(gCreator.fCalls, before + 1);
  EXPECT_FALSE(gMade.isAbstract());
  EXPECT_EQ(TtA::constructInPlace(&gMade, buffer), nullptr);
  EXPECT_EQ(gCreator.fCalls, before + 1);
}

TEST(Tmetaclass, SetCreatorAndAddSuperClass) {
  TtCreator creator;
  Tmetaclass* a = TtA::sTypeof();
  Tmetaclass* b = TtB::sTypeof();
  Tmetaclass copy(*b);  // a copy to change: not registered
  EXPECT_EQ(Tmetaclass::findClass("TtB"), b);
  copy.setCreator(&creator);
  void* made = copy.construct(a);
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(creator.fCalls, 1);
  delete static_cast<TtA*>(made);
  alignas(TtB) unsigned char buffer[sizeof(TtB)];
  EXPECT_EQ(copy.constructInPlace(a, buffer), nullptr);  // the procedures are gone

  // A metaclass outside static storage forces its index; it registers and unregisters.
  static Tmetaclass* extra = TtA::sTypeof();
  const std::uint32_t registered = Tmetaclass::registry()->size();
  auto* grow = new Tmetaclass(nullptr, "TtGrow", 8, TconstructorProc(), 0, true);
  EXPECT_EQ(Tmetaclass::registry()->size(), registered + 1);
  EXPECT_EQ(Tmetaclass::findClass("TtGrow"), grow);
  EXPECT_EQ(grow->superCount(), 0u);
  grow->addSuperClass(TtB::sTmetaAddress());
  grow->addSuperClass(TtB::sTmetaAddress());  // already there
  EXPECT_EQ(grow->superCount(), 1u);
  grow->addSuperClass(TtC::sTmetaAddress());
  grow->addSuperClass(TtD::sTmetaAddress());
  grow->addSuperClass(TtE::sTmetaAddress());
  grow->addSuperClass(&extra);  // all four slots used
  EXPECT_EQ(grow->superCount(), 4u);
  EXPECT_TRUE(grow->isa(TtE::sTypeof()));
  EXPECT_TRUE(grow->isa(a));
  EXPECT_FALSE(grow->isa(&gF));
  delete grow;
  EXPECT_EQ(Tmetaclass::findClass("TtGrow"), nullptr);
  EXPECT_EQ(Tmetaclass::registry()->size(), registered);
}

TEST(Tmetaclass, CopiesShareTheTable) {
  ASSERT_TRUE(TtE::sTypeof()->isa(TtC::sTypeof()));  // the table exists now
  Tmetaclass copy(*TtE::sTypeof());
  EXPECT_TRUE(copy.isa(TtC::sTypeof()));
  EXPECT_EQ(copy.index(), TtE::sTypeof()->index());
  Tmetaclass other(*TtB::sTypeof());
  other = copy;
  EXPECT_TRUE(other.isa(TtD::sTypeof()));
  other = *TtA::sTypeof();  // a root: no table
  EXPECT_FALSE(other.isa(TtB::sTypeof()));
  // Destroying the copies leaves the original's table alone (ASan would see a double free).
}

TEST(Tmetaclass, ClassListOrders) {
  TtypeidArray derived;
  Tmetaclass::getDerivedClasses(TtA::sTypeof(), derived);
  // Visiting order A, B, D, E, F, F, C, D, E, F, TtAbstract, TtN, Twin, TtMade, reversed.
  const std::vector<std::string> expectedDerived = {"TtMade", "Twin", "TtN", "TtAbstract",
                                                    "TtF", "TtE", "TtD", "TtC", "TtF", "TtF",
                                                    "TtE", "TtD", "TtB", "TtA"};
  EXPECT_EQ(names(derived), expectedDerived);

  TtypeidArray inherited;
  Tmetaclass::getInheritedClasses(&gF, inherited);
  // TtF's TtB is reached through TtD; TtD's two bases both lead to TtA.
  const std::vector<std::string> expectedInherited = {"TtA", "TtC", "TtA", "TtB", "TtD", "TtF"};
  EXPECT_EQ(names(inherited), expectedInherited);

  TtypeidArray none;
  Tmetaclass::getDerivedClasses(nullptr, none);
  Tmetaclass::getInheritedClasses(nullptr, none);
  EXPECT_EQ(none.size(), 0u);
}

TEST(Tmetaclass, DumpText) {
  auto line = [](const char* name, unsigned extra, unsigned size, int depth, bool abstract) {
    std::string s;
    for (int i = 0; i < depth; ++i) s += ". ";
    s += std::string(name) + ":  +" + std::to_string(extra) + " = " + std::to_string(size);
    return s + (abstract ? "    (abstract)\n" : "\n");
  };
  auto of = [&](Tmetaclass* m, int depth) {
    return line(m->name(), m->extraSize(), m->size(), depth, m->isAbstract());
  };
  std::ostringstream out;
  Tmetaclass::dumpAllClassesDerivedFrom(out, TtC::sTypeof(), 1);
  EXPECT_EQ(out.str(), of(TtC::sTypeof(), 1) + of(TtD::sTypeof(), 2) + of(TtE::sTypeof(), 3) +
                           of(&gF, 3));
  EXPECT_EQ(of(TtAbstract::sTypeof(), 0),
            line("TtAbstract", unsigned(sizeof(TtAbstract) - sizeof(TtA)),
                 unsigned(sizeof(TtAbstract)), 0, true));

  std::ostringstream all;
  Tmetaclass::dumpAllClasses(all);
  const std::string text = all.str();
  // Roots at depth 0, each followed by its tree; every registered class appears.
  EXPECT_NE(text.find(of(Tshape::sTypeof(), 0) + of(Tcube::sTypeof(), 1)), std::string::npos);
  EXPECT_NE(text.find(of(TtA::sTypeof(), 0) + of(TtB::sTypeof(), 1) + of(TtD::sTypeof(), 2)),
            std::string::npos);
  EXPECT_NE(text.find(of(TtTwinRoot::sTypeof(), 0)), std::string::npos);
  EXPECT_NE(text.find(of(&gMade, 1)), std::string::npos);
  for (Tmetaclass* c : *Tmetaclass::registry())
    EXPECT_NE(text.find(std::string(c->name()) + ":  +"), std::string::npos) << c->name();
}

TEST(Tmetaclass, DebugForms) {
  TdebugOutputString out;
  TtD::sTypeof()->debug(out, Tmetaclass::kDebugOneLine);
  EXPECT_STREQ(out.string().asC(), "/TtD{/TtB/TtA, /TtC/TtA}");
  out.clear();
  TtE::sTypeof()->debug(out, Tmetaclass::kDebugOneLine);
  EXPECT_STREQ(out.string().asC(), "/TtE/TtD{/TtB/TtA, /TtC/TtA}");
  out.clear();
  TtA::sTypeof()->debug(out, Tmetaclass::kDebugOneLine);
  EXPECT_STREQ(out.string().asC(), "/TtA");

  out.clear();
  TtD::sTypeof()->debug(out, 0);
  TdebugOutputString ruler;
  ruler.setIndent(1);
  const std::string in1 = ruler.indentationString().asC();
  ruler.setIndent(1);
  const std::string in2 = ruler.indentationString().asC();
  EXPECT_EQ(std::string(out.string().asC()),
            "/TtD\n" + in1 + "/TtB\n" + in2 + "/TtA\n" + in1 + "/TtC\n" + in2 + "/TtA\n");
  EXPECT_EQ(out.indent(), 0);
}

// The first kind-of question about a class, asked by several threads at once: one table is
// kept, every answer is right (and ThreadSanitizer and the leak checker stay quiet).
namespace {
Tmetaclass gRaceRoot(nullptr, "TtRaceRoot", 8, TconstructorProc());
Tmetaclass* gRaceRootLink = &gRaceRoot;
Tmetaclass gRaceMid(nullptr, "TtRaceMid", 8, TconstructorProc(), 0, false, &gRaceRootLink);
Tmetaclass* gRaceMidLink = &gRaceMid;
Tmetaclass gRace1(nullptr, "TtRace1", 8, TconstructorProc(), 0, false, &gRaceMidLink);
Tmetaclass gRace2(nullptr, "TtRace2", 8, TconstructorProc(), 0, false, &gRaceMidLink,
                  Tcube::sTmetaAddress());
Tmetaclass gRace3(nullptr, "TtRace3", 8, TconstructorProc(), 0, false, Tcube::sTmetaAddress(),
                  &gRaceMidLink);
}  // namespace

TEST(Tmetaclass, FirstQueryRacedFromThreads) {
  Tmetaclass* racers[] = {&gRace1, &gRace2, &gRace3};
  for (Tmetaclass* racer : racers) {
    std::atomic<bool> go{false};
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&] {
        while (!go.load(std::memory_order_acquire)) {
        }
        if (!racer->isa(&gRaceRoot)) ++wrong;
        if (!racer->isa(&gRaceMid)) ++wrong;
        if (racer->isa(TtA::sTypeof())) ++wrong;
      });
    }
    go.store(true, std::memory_order_release);
    for (auto& t : threads) t.join();
    EXPECT_EQ(wrong.load(), 0) << racer->name();
  }
}

TEST(Tmetaclass, DictionaryOfAFamily) {
  TtypeDictionary* family = Tmetaclass::generateDictionaryFor(TtB::sTypeof());
  ASSERT_NE(family, nullptr);
  std::vector<std::string> keys;
  for (auto* n = family->first(); n != nullptr; n = TtypeDictionary::next(n)) {
    keys.emplace_back(n->key().value());
    EXPECT_STREQ(n->data()->name(), n->key().value());
  }
  const std::vector<std::string> expected = {"TtB", "TtD", "TtE", "TtF"};
  EXPECT_EQ(keys, expected);
  ASSERT_NE(family->search("TtE"), nullptr);
  EXPECT_EQ(*family->search("TtE"), TtE::sTypeof());
  EXPECT_EQ(family->search("TtC"), nullptr);
  EXPECT_TRUE(family->typeof()->isa(Tdictionary::sTypeof()));
  EXPECT_EQ(TtypeDictionary::sTypeof()->size(), 144u);
  EXPECT_EQ(TtypeDictionaryNode::sTypeof()->size(), 32u);
  delete family;

  TtypeDictionary* none = Tmetaclass::generateDictionaryFor(nullptr);
  EXPECT_EQ(none->first(), nullptr);
  delete none;

  // Names compare as bytes; a first byte that is smaller as a signed byte counts as smaller.
  EXPECT_LT(TtypeDictionaryNode::compareKeys("abc", "abd"), 0);
  EXPECT_GT(TtypeDictionaryNode::compareKeys("abd", "abc"), 0);
  EXPECT_EQ(TtypeDictionaryNode::compareKeys("abc", "abc"), 0);
  EXPECT_LT(TtypeDictionaryNode::compareKeys("ab", "abc"), 0);
  EXPECT_LT(TtypeDictionaryNode::compareKeys("\x80", "a"), 0);
}

TEST(Tmetaclass, LibraryClassesCarryTheProtocol) {
  // Exceptions: found by name, kinds of Texception, cast to the base view.
  Tmetaclass* memory = Tmetaclass::findClass("TmemoryException", Texception::sTypeof());
  ASSERT_NE(memory, nullptr);
  EXPECT_TRUE(memory->isa(Texception::sTypeof()));
  EXPECT_TRUE(Texception::sTypeof()->isAbstract());
  EXPECT_TRUE(TfileException::sTypeof()->isAbstract());
  EXPECT_EQ(Texception::construct(TfileException::sTypeof()), nullptr);
  EXPECT_EQ(TfileException::construct(memory), nullptr) << "a sibling is not a kind of it";
  Texception* made = Texception::construct(memory);
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(made->typeof(), TmemoryException::sTypeof());
  EXPECT_NE(vela::typeCast<TmemoryException>(made), nullptr);
  EXPECT_EQ(vela::typeCast<TincompatibleData>(made), nullptr);
  delete made;

  TfileException file(2, "gone");
  Texception* asBase = vela::typeCast<Texception>(&file);
  EXPECT_EQ(asBase, static_cast<Texception*>(&file));
  EXPECT_TRUE(asBase->typeof()->isa("Texception"));
  EXPECT_STREQ(asBase->typeof()->name(), "TfileException");

  // Debug sinks and traces: the in-memory sink can be made by name; the others need a target.
  TdebugOutput* sink = TdebugOutput::construct(Tmetaclass::findClass("TdebugOutputString"));
  ASSERT_NE(sink, nullptr);
  EXPECT_NE(vela::typeCast<TdebugOutputString>(sink), nullptr);
  EXPECT_EQ(vela::typeCast<TdebugOutputFile>(sink), nullptr);
  delete sink;
  EXPECT_TRUE(TdebugOutputTrace::sTypeof()->isa(TdebugOutput::sTypeof()));
  EXPECT_TRUE(TdebugOutputFile::sTypeof()->isAbstract());
  EXPECT_EQ(TdbTrace::sTypeof()->superCount(), 0u);
  EXPECT_TRUE(TdbTrace::sTypeof()->isnota(TdebugOutput::sTypeof()));
}
