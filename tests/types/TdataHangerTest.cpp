#include <velacore/types/TdataHanger.h>

#include <gtest/gtest.h>

#include <map>
#include <vector>

namespace {

std::map<void*, int> gReleased;
void release(void* p) { ++gReleased[p]; }

}  // namespace

TEST(TdataHanger, HeaderExample) {
  TdataHanger hanger;
  hanger.set("weight", 0.5);
  hanger.set("weight", 0.7, 1);
  double w = 0;
  ASSERT_EQ(hanger.type("weight"), TdataHanger::kDouble);
  EXPECT_TRUE(hanger.get("weight", w, 1));
  EXPECT_EQ(w, 0.7);
  hanger.setPersistent("weight", true);
  EXPECT_TRUE(hanger.persistent("weight"));
  hanger.removeItem("weight", 0);
  EXPECT_TRUE(hanger.get("weight", w));
  EXPECT_EQ(w, 0.7);
  hanger.removeItem("weight", 0);  // the last item takes the name with it
  EXPECT_FALSE(hanger.exists("weight"));
  EXPECT_FALSE(hanger.persistent("weight"));
}

TEST(TdataHanger, EveryKindAndItsType) {
  TdataHanger h;
  T4dDblMatrix m;
  m(3, 0) = 5.0;
  int target = 0;
  h.set("d", 1.5);
  h.set("i", -7);
  h.set("s", "text");  // text, not a bool
  h.set("b", true);
  h.set("m", m);
  h.set("p", &target, 0, nullptr);
  EXPECT_EQ(h.type("d"), TdataHanger::kDouble);
  EXPECT_EQ(h.type("i"), TdataHanger::kInt32);
  EXPECT_EQ(h.type("s"), TdataHanger::kString);
  EXPECT_EQ(h.type("b"), TdataHanger::kBoolean);
  EXPECT_EQ(h.type("m"), TdataHanger::kMatrix);
  EXPECT_EQ(h.type("p"), TdataHanger::kPointer);
  EXPECT_EQ(h.type("none"), TdataHanger::kNone);

  double d = 0;
  int i = 0;
  Tstring s;
  bool b = false;
  T4dDblMatrix got;
  void* p = nullptr;
  EXPECT_TRUE(h.get("d", d) && d == 1.5);
  EXPECT_TRUE(h.get("i", i) && i == -7);
  EXPECT_TRUE(h.get("s", s) && s == Tstring("text"));
  EXPECT_TRUE(h.get("b", b) && b);
  EXPECT_TRUE(h.get("m", got) && got == m);
  EXPECT_TRUE(h.get("p", p) && p == &target);
  // Another kind, a missing name or a position past the end: false, output unchanged.
  d = 9;
  EXPECT_FALSE(h.get("i", d));
  EXPECT_FALSE(h.get("x", d));
  EXPECT_FALSE(h.get("d", d, 1));
  EXPECT_FALSE(h.get("d", d, -1));
  EXPECT_EQ(d, 9);
  // Overwriting keeps the kind: a double into the integer item changes nothing.
  h.set("i", 2.5);
  EXPECT_TRUE(h.get("i", i) && i == -7);
  EXPECT_EQ(h.itemCount("i"), 1);

  // Metaclass sizes of the item classes.
  EXPECT_EQ(TblindData::sTypeof()->size(), 16u);
  EXPECT_TRUE(TblindData::sTypeof()->isAbstract());
  EXPECT_EQ(TblindDoubleData::sTypeof()->size(), 24u);
  EXPECT_EQ(TblindStringData::sTypeof()->size(), 24u);
  EXPECT_EQ(TblindPointerData::sTypeof()->size(), 32u);
  EXPECT_EQ(TblindMatrixData::sTypeof()->size(), 144u);
  EXPECT_STREQ(TblindInt32Data::sTypeof()->name(), "TblindInt32Data");
  EXPECT_TRUE(TblindBooleanData::sTypeof()->isa(TblindData::sTypeof()));
}

TEST(TdataHanger, PositionsAndAppending) {
  TdataHanger h;
  h.set("a", 1.0, 5);  // a new name: one item, whatever the index
  EXPECT_EQ(h.itemCount("a"), 1);
  h.set("a", 2.0, 1);
  EXPECT_EQ(h.itemCount("a"), 2);
  h.set("a", 3.0, 5);  // past the end: appended as the third
  EXPECT_EQ(h.itemCount("a"), 3);
  h.set("a", 4.0, 1);  // overwritten in place
  std::vector<double> seen;
  for (int k = 0; k < 3; ++k) {
    double v = 0;
    ASSERT_TRUE(h.get("a", v, k));
    seen.push_back(v);
  }
  EXPECT_EQ(seen, (std::vector<double>{1.0, 4.0, 3.0}));
  h.removeItem("a", 1);
  double v = 0;
  EXPECT_TRUE(h.get("a", v, 1) && v == 3.0);
  h.removeItem("a", 7);  // no such item
  h.removeItem("zz", 0);
  EXPECT_EQ(h.itemCount("a"), 2);
  EXPECT_EQ(h.itemCount("zz"), 0);

  // Several names: removing one leaves the others.
  h.set("b", 1);
  h.set("c", 2);
  h.remove("b");
  EXPECT_FALSE(h.exists("b"));
  EXPECT_TRUE(h.exists("a"));
  EXPECT_TRUE(h.exists("c"));
  h.setPersistent("zz", true);  // ignored
  EXPECT_FALSE(h.exists("zz"));
}

TEST(TdataHanger, ReleaseOncePerPointer) {
  gReleased.clear();
  int a = 0, b = 0, c = 0, d = 0, e = 0;
  {
    TdataHanger h;
    h.set("p", &a, 0, release);
    h.set("p", &b, 0, release);  // replacing releases a
    EXPECT_EQ(gReleased[&a], 1);
    h.set("p", &b, 0, release);  // the same pointer again: kept, not released
    EXPECT_EQ(gReleased[&b], 0);
    h.set("p", &c, 1, release);
    h.set("p", &d, 2, nullptr);  // no release function: never released
    h.set("q", &e, 0, release);
    h.removeItem("p", 1);  // releases c
    EXPECT_EQ(gReleased[&c], 1);
    h.remove("q");  // releases e
    EXPECT_EQ(gReleased[&e], 1);
  }  // the hanger releases b
  EXPECT_EQ(gReleased[&a], 1);
  EXPECT_EQ(gReleased[&b], 1);
  EXPECT_EQ(gReleased[&c], 1);
  EXPECT_EQ(gReleased.count(&d), 0u);
  EXPECT_EQ(gReleased[&e], 1);
}

TEST(T4dDblMatrix, RowVectorsOnTheLeft) {
  T4dDblMatrix scale;
  scale(0, 0) = scale(1, 1) = scale(2, 2) = 2.0;
  T4dDblMatrix move;
  move(3, 0) = 5.0;
  const T4dDblMatrix both = scale * move;  // scale, then move
  // The point (1, 1, 1) goes to (2*1 + 5, 2, 2).
  const double p[4] = {1, 1, 1, 1};
  double q[4] = {};
  for (int c = 0; c < 4; ++c)
    for (int k = 0; k < 4; ++k) q[c] += p[k] * both(k, c);
  EXPECT_EQ(q[0], 7.0);
  EXPECT_EQ(q[1], 2.0);
  EXPECT_EQ(q[3], 1.0);
  EXPECT_NE(both, move * scale);
  EXPECT_EQ(both * T4dDblMatrix::identity(), both);
  T4dDblMatrix acc = scale;
  acc *= move;
  EXPECT_EQ(acc, both);
  acc.setToIdentity();
  EXPECT_EQ(acc, T4dDblMatrix());
}
