#include <velacore/names/Tnamespace.h>

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

// A run-time typed name object of its own, for the type filter of the iterator.
class TtestNode : public TnameObject {
  VELA_DECLARE_TYPE(TtestNode);

 public:
  TtestNode() = default;
  explicit TtestNode(const Tstring& name) : TnameObject(name) {}
};
VELA_DEFINE_TYPE(TtestNode, TnameObject);

namespace {

// Every test works in a fresh namespace below the root, made current while it runs.
class TnameObjectTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fSpace = std::make_unique<Tnamespace>("test", Tnamespace::root());
    Tnamespace::setCurrent(fSpace.get());
  }
  void TearDown() override {
    fObjects.clear();
    fSpace.reset();
    Tnamespace::setCurrent(nullptr);
  }
  TnameObject* make(const char* name, Tnamespace* ns = nullptr) {
    fObjects.push_back(std::make_unique<TnameObject>(Tstring(name)));
    TnameObject* obj = fObjects.back().get();
    if (ns != nullptr) {
      EXPECT_TRUE(ns->add(obj));
    }
    return obj;
  }
  std::string uniqueFrom(const char* name) {
    TnameObject* obj = make(name);
    EXPECT_TRUE(obj->makeNameUnique());
    return obj->name().asC();
  }
  std::unique_ptr<Tnamespace> fSpace;
  std::vector<std::unique_ptr<TnameObject>> fObjects;
};

TEST_F(TnameObjectTest, HeaderExample) {
  Tnamespace* chars = new Tnamespace("chars", Tnamespace::root());
  TnameObject* a = new TnameObject("box");
  a->setNamespace(chars);
  TnameObject* b = new TnameObject("box");
  b->setNamespace(chars);
  EXPECT_EQ(b->name(), Tstring("box1"));
  a->makeNameUnique();
  EXPECT_EQ(a->name(), Tstring("box2"));
  EXPECT_EQ(a->fullName(), Tstring(":chars:box2"));
  const char* const words[] = {"headerKeyword", nullptr};
  TnameObject::registerKeywords(words);
  EXPECT_TRUE(TnameObject::isKeyword("headerKeyword"));
  delete chars;  // the objects survive their namespace, unregistered
  EXPECT_FALSE(a->isRegistered());
  EXPECT_EQ(a->name(), Tstring("box2"));
  delete a;
  delete b;

  TnameObject cup("cup");
  Tnamespace* top = new Tnamespace("chars", Tnamespace::root());
  top->add(&cup);
  EXPECT_EQ(Tnamespace::root()->resolve("chars:cup"), &cup);
  EXPECT_EQ(top->nextIncrement("cup"), Tstring("1"));
  EXPECT_FALSE(Tnamespace::isValidName("2cup"));
  delete top;
}

TEST_F(TnameObjectTest, UniqueNames) {
  EXPECT_EQ(uniqueFrom("box"), "box1");  // no name of that base yet
  make("box7", fSpace.get());
  EXPECT_EQ(uniqueFrom("box"), "box8");  // box1 and box7: one more than the greatest
  make("ball9", fSpace.get());
  make("ball10", fSpace.get());
  EXPECT_EQ(uniqueFrom("ball3"), "ball11");
  make("item009", fSpace.get());
  EXPECT_EQ(uniqueFrom("item"), "item010");  // width kept
  // Other bases sharing the prefix are not counted.
  make("cup_9", fSpace.get());
  make("cupboard4", fSpace.get());
  EXPECT_EQ(uniqueFrom("cup"), "cup1");
  make("pen12x", fSpace.get());
  EXPECT_EQ(uniqueFrom("pen"), "pen13");  // starts with the base and digits
  // An object with no base is named after its class.
  EXPECT_EQ(uniqueFrom(""), "TnameObject1");
  EXPECT_FALSE(make("2bad")->makeNameUnique());
  EXPECT_FALSE(make("a-b")->makeNameUnique());
}

TEST_F(TnameObjectTest, HeldNameAsGreatestEntry) {
  make("tree1", fSpace.get());
  ASSERT_TRUE(fSpace->holdName("tree5"));
  EXPECT_EQ(fSpace->nextIncrement("tree"), Tstring("1"));  // the greatest is no object
  const std::string n = uniqueFrom("tree");
  EXPECT_NE(n, "tree1");
  EXPECT_NE(n, "tree5");
  EXPECT_EQ(fSpace->find(n.c_str()), fObjects.back().get());
  EXPECT_EQ(fSpace->find("tree5"), nullptr);
  EXPECT_TRUE(fSpace->contains("tree5"));
  EXPECT_TRUE(fSpace->releaseHeldName("tree5"));
  EXPECT_FALSE(fSpace->contains("tree5"));
}

TEST_F(TnameObjectTest, RenameAndValidation) {
  TnameObject* a = make("cube", fSpace.get());
  TnameObject* b = make("cube3", fSpace.get());
  EXPECT_TRUE(a->setName("cube3"));  // taken: resolved as unique naming does
  EXPECT_EQ(a->name(), Tstring("cube4"));
  EXPECT_EQ(b->name(), Tstring("cube3"));
  EXPECT_EQ(fSpace->find("cube4"), a);
  EXPECT_EQ(fSpace->find("cube"), nullptr);
  for (const char* bad : {"1cube", "cu be", "cu:be", "cu-be", "\xc3\xa9t\xc3\xa9"}) {
    EXPECT_FALSE(a->setName(bad)) << bad;
    EXPECT_EQ(a->name(), Tstring("cube4"));
  }
  EXPECT_TRUE(a->setName("_cube_2"));
  EXPECT_EQ(fSpace->find("_cube_2"), a);
  const char* const words[] = {"forbidden", nullptr};
  TnameObject::registerKeywords(words);
  EXPECT_FALSE(a->setName("forbidden"));
  EXPECT_FALSE(TnameObject::isKeyword(nullptr));
  // reserveName: exact name or nothing.
  TnameObject* c = make("cube3");
  EXPECT_FALSE(c->reserveName());
  EXPECT_FALSE(c->isRegistered());
  c->setNameData("cube9");
  EXPECT_TRUE(c->reserveName());
  EXPECT_FALSE(c->reserveName());  // already registered
  EXPECT_EQ(c->getNamespace(), fSpace.get());
  EXPECT_TRUE(c->releaseName());
  EXPECT_FALSE(c->releaseName());
  c->clearName();
  EXPECT_TRUE(c->name().isEmpty());
}

TEST_F(TnameObjectTest, NestedNamespacesAndPaths) {
  Tnamespace* chars = new Tnamespace("chars", fSpace.get());
  Tnamespace* props = new Tnamespace("props", fSpace.get());
  Tnamespace* deep = new Tnamespace("deep", chars);
  fObjects.emplace_back(chars);
  fObjects.emplace_back(props);
  fObjects.emplace_back(deep);
  TnameObject* cup = make("cup", props);
  TnameObject* hero = make("hero", deep);
  EXPECT_EQ(hero->fullName(), Tstring(":test:chars:deep:hero"));
  EXPECT_EQ(hero->absoluteName(), hero->fullName());
  EXPECT_EQ(hero->name(true), hero->fullName());
  EXPECT_EQ(hero->relativeName(), Tstring("chars:deep:hero"));  // current: :test
  EXPECT_EQ(hero->relativeName(chars), Tstring("deep:hero"));
  EXPECT_EQ(hero->relativeName(props), hero->fullName());  // not below props
  EXPECT_EQ(hero->relativeNameWithDoubleDot(props), Tstring("..:chars:deep:hero"));
  EXPECT_EQ(cup->relativeNameWithDoubleDot(deep), Tstring("..:..:props:cup"));
  EXPECT_EQ(cup->relativeNameWithDoubleDot(props), Tstring("cup"));
  EXPECT_EQ(TnameObject::relativeNameWithDoubleDot("plain", deep), Tstring("plain"));
  EXPECT_EQ(Tnamespace::root()->fullName(), Tstring(":"));
  // Paths resolve back to the objects.
  EXPECT_EQ(Tnamespace::root()->resolve(hero->fullName()), hero);
  EXPECT_EQ(deep->resolve(cup->relativeNameWithDoubleDot(deep)), cup);
  EXPECT_EQ(chars->resolve("deep:hero"), hero);
  EXPECT_EQ(chars->resolve(".."), fSpace.get());
  EXPECT_EQ(chars->resolve(":"), Tnamespace::root());
  EXPECT_EQ(chars->resolve("deep::hero"), nullptr);
  EXPECT_EQ(chars->resolve("hero"), nullptr);
  EXPECT_EQ(chars->resolve(":test:props:cup:x"), nullptr);  // cup is no namespace
  // Renaming a namespace renames every full name below it (cached names follow).
  EXPECT_TRUE(chars->setName("cast"));
  EXPECT_EQ(hero->fullName(), Tstring(":test:cast:deep:hero"));
  // Moving an object between namespaces, with a clash there.
  make("hero", props);
  EXPECT_TRUE(hero->setNamespace(props));
  EXPECT_EQ(hero->fullName(), Tstring(":test:props:hero1"));
  EXPECT_EQ(deep->find("hero"), nullptr);
  // A namespace cannot hold itself.
  EXPECT_FALSE(deep->add(chars));
  EXPECT_FALSE(chars->add(chars));
  // reserveName with a namespace path.
  TnameObject* lamp = make(":test:props:lamp");
  EXPECT_TRUE(lamp->reserveName());
  EXPECT_EQ(lamp->name(), Tstring("lamp"));
  EXPECT_EQ(lamp->getNamespace(), props);
  EXPECT_FALSE(make("nowhere:lamp")->reserveName());
  // Unregistered objects: place-holder namespaces.
  TnameObject* ghost = make("ghost");
  EXPECT_EQ(ghost->fullName(), Tstring("ghost"));
  ghost->setPlaceHolderNamespace(":later");
  EXPECT_EQ(ghost->fullName(), Tstring(":later:ghost"));
  ghost->setIgnorePlaceHolderNamespaces(true);
  EXPECT_EQ(ghost->fullName(), Tstring("ghost"));
  ghost->setIgnorePlaceHolderNamespaces(false);
  ghost->clearPlaceHolderPaths();
  EXPECT_FALSE(ghost->hasPlaceHolderNamespace());
  hero->setIgnoreAllNamespaces(true);
  EXPECT_EQ(hero->fullName(), Tstring("hero1"));
}

TEST_F(TnameObjectTest, UniquenessAcrossTheStore) {
  Tnamespace* a = new Tnamespace("a", fSpace.get());
  Tnamespace* b = new Tnamespace("b", fSpace.get());
  fObjects.emplace_back(a);
  fObjects.emplace_back(b);
  TnameObject* x = make("lonely", a);
  EXPECT_TRUE(x->hasUniqueName());
  TnameObject* y = make("lonely", b);
  EXPECT_FALSE(x->hasUniqueName());
  EXPECT_FALSE(y->hasUniqueName());
  fObjects.pop_back();  // deleting an object unregisters it
  EXPECT_TRUE(x->hasUniqueName());
  EXPECT_EQ(b->count(), 0u);
}

TEST_F(TnameObjectTest, IteratorByPatternAndType) {
  Tnamespace* sub = new Tnamespace("sub", fSpace.get());
  fObjects.emplace_back(sub);
  make("box10", fSpace.get());
  make("box2", fSpace.get());
  make("ball", fSpace.get());
  auto node = std::make_unique<TtestNode>("box5");
  sub->add(node.get());
  const auto names = [](TnameObjectIterator& it) {
    std::vector<std::string> out;
    for (; !it.isDone(); it.next()) out.emplace_back(it.item()->name().asC());
    return out;
  };
  TnameObjectIterator it("box*", nullptr, fSpace.get(), false, false);
  EXPECT_EQ(names(it), (std::vector<std::string>{"box2", "box10"}));
  EXPECT_EQ(it.item(), nullptr);
  it.reset();
  EXPECT_FALSE(it.isDone());
  it.reset("box*", nullptr, nullptr, true, false);
  EXPECT_EQ(names(it), (std::vector<std::string>{"box2", "box10", "box5"}));
  it.reset("", TtestNode::sTypeof(), nullptr, true, false);
  EXPECT_EQ(names(it), (std::vector<std::string>{"box5"}));
  it.reset("s?b", Tnamespace::sTypeof(), nullptr, true, true);
  EXPECT_EQ(names(it), (std::vector<std::string>{"sub"}));
  sub->remove(node.get());
}

TEST(TnameDictionary, HeaderExample) {
  TnameObject a("a"), b("b");
  TnameDictionary names;
  names.insert(TnameString("box9"), &a);
  names.insert(TnameString("box10"), &b);
  EXPECT_EQ(names.findLastNotAbove(TnameString("box@"))->data(), &b);
  EXPECT_EQ(names.findLastNotAbove(TnameString("box9"))->data(), &a);
  EXPECT_EQ(names.findLastNotAbove(TnameString("aaa")), nullptr);
}

// Random adds, unique namings, renames, removals and held names against a std::map in the same
// natural order: the namespace lists the same names in the same order, finds each one, and a
// unique name is always new and keeps its base.
TEST_F(TnameObjectTest, StoreAgreesWithAnOrderedMap) {
  const char* const pool[] = {"box", "box3", "box03", "box10", "ball12", "b9", "boxer", "ball"};
  std::map<Tstring, TnameObject*, TnameString::Less> model;
  std::mt19937 gen(5);
  std::vector<TnameObject*> objects;
  for (int step = 0; step < 3000; ++step) {
    const char* word = pool[gen() % (sizeof pool / sizeof *pool)];
    const unsigned what = gen() % 6;
    if (what == 0 || objects.empty()) {
      TnameObject* obj = make(word, fSpace.get());
      objects.push_back(obj);
      ASSERT_EQ(model.count(obj->name()), 0u) << obj->name().asC();
      model[obj->name()] = obj;
    } else if (what == 1 || what == 2) {
      TnameObject* obj = objects[gen() % objects.size()];
      const Tstring base = TnameString(obj->name()).baseString(TnameString::kTrailingDigits);
      model.erase(obj->name());
      ASSERT_TRUE(obj->makeNameUnique());
      ASSERT_EQ(model.count(obj->name()), 0u) << obj->name().asC();
      EXPECT_EQ(TnameString(obj->name()).baseString(TnameString::kTrailingDigits), base);
      model[obj->name()] = obj;
    } else if (what == 3) {
      const std::size_t i = gen() % objects.size();
      model.erase(objects[i]->name());
      ASSERT_TRUE(fSpace->remove(objects[i]));
      objects.erase(objects.begin() + std::ptrdiff_t(i));
    } else if (what == 4) {
      TnameObject* obj = objects[gen() % objects.size()];
      model.erase(obj->name());
      ASSERT_TRUE(fSpace->rename(obj, word));
      ASSERT_EQ(model.count(obj->name()), 0u) << obj->name().asC();
      model[obj->name()] = obj;
    } else if (fSpace->holdName(word)) {
      model[word] = nullptr;
    } else if (model.count(word) != 0 && model[word] == nullptr) {
      ASSERT_TRUE(fSpace->releaseHeldName(word));
      model.erase(word);
    }
    ASSERT_EQ(fSpace->count(), model.size());
  }
  std::vector<TnameObject*> expected;
  for (const auto& [name, obj] : model) {
    EXPECT_TRUE(fSpace->contains(name)) << name.asC();
    EXPECT_EQ(fSpace->find(name), obj) << name.asC();
    if (obj != nullptr) expected.push_back(obj);
  }
  EXPECT_EQ(fSpace->objects(), expected);
}

TEST_F(TnameObjectTest, ThreadsMakingNamesUnique) {
  constexpr int kThreads = 4, kEach = 300;
  std::vector<std::vector<std::unique_ptr<TnameObject>>> made(kThreads);
  std::vector<std::thread> threads;
  const char* const words[] = {"threadWord", nullptr};
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kEach; ++i) {
        made[t].push_back(std::make_unique<TnameObject>(Tstring("obj")));
        made[t].back()->setNamespace(fSpace.get());
        made[t].back()->makeNameUnique();
        (void)made[t].back()->fullName();
        if (i % 50 == 0) TnameObject::registerKeywords(words);
        (void)TnameObject::isKeyword("threadWord");
      }
    });
  }
  for (auto& th : threads) th.join();
  std::set<std::string> names;
  for (auto& list : made)
    for (auto& obj : list) {
      EXPECT_EQ(fSpace->find(obj->name()), obj.get());
      names.insert(obj->name().asC());
    }
  EXPECT_EQ(names.size(), static_cast<std::size_t>(kThreads * kEach));
}

}  // namespace
