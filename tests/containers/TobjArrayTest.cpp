// TobjArray and TtypedObjArray: element lifetimes (counted, also when constructors throw),
// growth across the mapped threshold, self-insertion, and a differential run against
// std::vector<std::string>.
#include <velacore/base/Texception.h>
#include <velacore/containers/TtypedObjArray.h>

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>
#include <vector>

namespace {

// Counts live objects and can be told to throw from its Nth construction (default or copy).
struct Counted {
  static inline int live = 0;
  static inline int throwCountdown = 0;  // 0: never throw

  int value = 0;
  int* self = nullptr;  // catches bytewise moves and double destruction

  static void arm() {
    if (throwCountdown > 0 && --throwCountdown == 0) throw std::runtime_error("refused");
  }
  Counted(int v = 0) : value(v), self(&value) { arm(); ++live; }  // NOLINT: implicit on purpose
  Counted(const Counted& o) : Counted(o.value) {}
  Counted& operator=(const Counted& o) {
    EXPECT_EQ(self, &value);
    value = o.value;
    return *this;
  }
  ~Counted() {
    EXPECT_EQ(self, &value) << "destroyed twice or moved as bytes";
    self = nullptr;
    --live;
  }
  bool operator==(const Counted& o) const { return value == o.value; }
};

class TobjArrayTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Counted::live = 0;
    Counted::throwCountdown = 0;
  }
  void TearDown() override { EXPECT_EQ(Counted::live, 0) << "objects leaked or destroyed twice"; }
};

std::vector<int> values(const TtypedObjArray<Counted>& a) {
  std::vector<int> out;
  for (const Counted& c : a) out.push_back(c.value);
  return out;
}

}  // namespace

TEST_F(TobjArrayTest, LifetimesBalanceAndSelfInsertionWorks) {
  TtypedObjArray<Counted> a;
  for (int i = 0; i < 8; ++i) a.addLast(Counted(i));
  a.insert(a[7], 0);  // full: reallocates under its own argument
  EXPECT_EQ(values(a), (std::vector<int>{7, 0, 1, 2, 3, 4, 5, 6, 7}));
  while (a.size() < a.physicalSize()) a.addLast(Counted(-1));
  a.addLast(a[1]);
  EXPECT_EQ(a.last().value, 0);
  a.insert(a.data() + 1, 3, 2);  // a run of its own elements
  std::vector<int> head = values(a);
  head.resize(6);
  EXPECT_EQ(head, (std::vector<int>{7, 0, 0, 1, 2, 1}));
  EXPECT_EQ(a.insert(Counted(1), a.size() + 1), -1);
  a.removeAt(10, 5);
  a.removeAt(50, 1);  // past the end: nothing
  a.changeLogicalSizeTo(40);
  a.changePhysicalSizeTo(20);
  EXPECT_EQ(Counted::live, 20);
  TtypedObjArray<Counted> b(a);
  b.catenate(b, 5, 3);
  EXPECT_EQ(b.physicalSize(), 23u);
  EXPECT_EQ(Counted::live, 43);
  a.swap(b);
  EXPECT_EQ(b.remove(Counted(7)), 0);
  EXPECT_EQ(b.remove(Counted(99)), TobjArray::kNotFound);
  TtypedObjArray<Counted> c(std::move(a));
  EXPECT_TRUE(a.empty());
  c.createAndSet(Counted(7), 5);
  EXPECT_EQ(values(c), (std::vector<int>(5, 7)));
  b.resetLogicalSize();
  EXPECT_TRUE(b.isCreated());
  EXPECT_EQ(Counted::live, 5);

  TobjArray raw(3, 4);  // the untyped base treats elements as zero-filled bytes
  raw.changeLogicalSizeTo(5);
  static_cast<char*>(raw.address(0))[0] = 'a';
  raw.insertElement(0, 2);
  raw.removeAt(0, 1);
  EXPECT_EQ(static_cast<const char*>(raw.address(1))[0], 'a');
  EXPECT_EQ(static_cast<const char*>(raw.address(5))[2], 0);
}

TEST_F(TobjArrayTest, ThrowingConstructorsLeaveTheArrayAsItWas) {
  TtypedObjArray<Counted> a;
  for (int i = 0; i < 8; ++i) a.addLast(Counted(i));  // full
  const std::vector<int> before = values(a);

  Counted::throwCountdown = 4;  // growth: the copy into the new buffer fails half-way
  EXPECT_THROW(a.addLast(Counted(99)), std::runtime_error);
  EXPECT_EQ(values(a), before);

  a.changePhysicalSizeTo(30);
  Counted::throwCountdown = 3;  // default construction of new places fails
  EXPECT_THROW(a.changeLogicalSizeTo(20), std::runtime_error);
  EXPECT_EQ(values(a), before);
  EXPECT_EQ(a.physicalSize(), 30u);
  Counted::throwCountdown = 2;
  EXPECT_THROW(a.insert(Counted(1), 0), std::runtime_error);  // opening the gap fails
  EXPECT_EQ(values(a), before);

  TtypedObjArray<Counted> b;
  b.addLast(Counted(5));
  Counted::throwCountdown = 6;
  EXPECT_THROW(b.copy(a), std::runtime_error);
  EXPECT_EQ(values(b), (std::vector<int>{5}));
  Counted::throwCountdown = 2;
  EXPECT_THROW(b.catenate(a, 0, 4), std::runtime_error);
  EXPECT_EQ(values(b), (std::vector<int>{5}));
  Counted::throwCountdown = 1;
  EXPECT_THROW(b.insert(a.data(), 3, 0), std::runtime_error);
  EXPECT_EQ(values(b), (std::vector<int>{5}));
  Counted::throwCountdown = 0;
}

TEST_F(TobjArrayTest, ObjectsSurviveTheMappedThresholdBothWays) {
  // 2,016 strings of 32 bytes fill 64,512 bytes.
  TtypedObjArray<std::string> a;
  for (int i = 0; i < 5000; ++i) a.addLast(std::to_string(i) + std::string(20, 'x'));
  a.changePhysicalSizeTo(2016);
  EXPECT_TRUE(a.usesMappedMemory());
  a.changePhysicalSizeTo(2015);
  EXPECT_FALSE(a.usesMappedMemory());
  ASSERT_EQ(a.size(), 2015u);
  for (std::uint32_t i = 0; i < a.size(); ++i)
    ASSERT_EQ(a[i], std::to_string(i) + std::string(20, 'x'));

  TtypedObjArray<Counted> c;
  for (int i = 0; i < 10000; ++i) c.addLast(Counted(i));  // mapped growth in place or by copy
  EXPECT_TRUE(c.usesMappedMemory());
  for (int i = 0; i < 10000; ++i) ASSERT_EQ(c[i].value, i);
}

TEST_F(TobjArrayTest, RefusedAllocationThrowsAndLeavesTheArrayUnchanged) {
  TtypedObjArray<std::array<char, 65536>> a;
  a.addLast({});
  const void* buffer = a.buffer();
  EXPECT_THROW(a.changePhysicalSizeTo(0xFFFFFFFFu), TmemoryException);
  EXPECT_THROW(a.changeLogicalSizeTo(0xFFFFFFF0u), TmemoryException);
  EXPECT_EQ(a.buffer(), buffer);
  EXPECT_EQ(a.size(), 1u);
}

TEST_F(TobjArrayTest, AgreesWithStdVectorOverRandomOperations) {
  std::mt19937 rng(777);
  TtypedObjArray<std::string> a(3);
  std::vector<std::string> v;
  auto pick = [&](std::size_t n) { return n == 0 ? 0u : static_cast<std::uint32_t>(rng() % n); };
  for (int step = 0; step < 4000; ++step) {
    const auto n = static_cast<std::uint32_t>(v.size());
    const std::string s = std::string(rng() % 30, 'a' + static_cast<char>(rng() % 5));
    switch (rng() % 9) {
      case 0: case 1:
        a.addLast(s);
        v.push_back(s);
        break;
      case 2: {
        const std::uint32_t at = pick(n + 1);
        ASSERT_EQ(a.insert(s, at), 0);
        v.insert(v.begin() + at, s);
        break;
      }
      case 3:
        if (n > 0) {  // an element of the array itself
          const std::uint32_t from = pick(n), at = pick(n + 1);
          const std::string copy = v[from];
          a.insert(a[from], at);
          v.insert(v.begin() + at, copy);
        }
        break;
      case 4: {
        const std::uint32_t at = pick(n + 2), count = pick(4);
        a.removeAt(at, count);
        if (at < n) v.erase(v.begin() + at, v.begin() + std::min(n, at + count));
        break;
      }
      case 5: {
        const std::uint32_t size = pick(n + 300);
        a.changeLogicalSizeTo(size);
        v.resize(size);
        break;
      }
      case 6: {
        const std::uint32_t at = a.find(s);
        const auto it = std::find(v.begin(), v.end(), s);
        ASSERT_EQ(at, it == v.end() ? TobjArray::kNoIndex : std::uint32_t(it - v.begin()));
        break;
      }
      case 7: {
        const std::uint32_t start = pick(n + 1), count = pick(n + 1);
        a.catenate(TtypedObjArray<std::string>(a), start, count);
        const std::vector<std::string> copy(v);
        v.insert(v.end(), copy.begin() + start, copy.begin() + std::min(n, start + count));
        break;
      }
      default:
        a.changePhysicalSizeTo(pick(n + 50));
        if (a.size() < v.size()) v.resize(a.size());
        break;
    }
    if (v.size() > 6000) {
      a.changeLogicalSizeTo(100);
      v.resize(100);
    }
    ASSERT_EQ(a.size(), v.size()) << "step " << step;
    ASSERT_TRUE(std::equal(v.begin(), v.end(), a.begin())) << "step " << step;
  }
}
