#include <velacore/data/Tdata.h>

#include <velacore/base/Tfootprint.h>
#include <velacore/data/TdataLetterCopyManager.h>
#include <velacore/data/TdataTypedArray.h>
#include <velacore/data/TglobalTranslatorBase.h>
#include <velacore/data/TiffFile.h>
#include <velacore/debug/TdbTrace.h>
#include <velacore/debug/TdebugOutputString.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <limits>
#include <thread>
#include <vector>

namespace {

// A letter that overrides nothing, and counts the writer transitions it is told about.
class TplainLetter : public TdataLetter {
 public:
  TdataLetter* copy() const override { return new TplainLetter(*this); }
  void madeIntoWriter() override { ++gained; }
  void madeIntoNonWriter() override { ++lost; }
  int gained = 0;
  int lost = 0;
};

TdataDoubleArray* doubles(std::initializer_list<double> values) {
  auto* l = new TdataDoubleArray;
  for (double v : values) l->writableArray().addLast(v);
  return l;
}

// The usage examples of Tdata.h and TdataLetter.h.
TEST(TdataTest, HeaderExample) {
  Tdata n(3);
  EXPECT_EQ(n.int32Value(), 3);
  EXPECT_EQ(Tdata(-2.7).int32Value(), -2);
  Tdata t(TanimTime(141120000));
  EXPECT_EQ(t.doubleValue(), 1.0);

  Tdata a(new TdataDoubleArray);
  Tdata b = a;
  EXPECT_TRUE(b.holder());
  b.makeWritable();
  EXPECT_EQ(b.pLetter(), a.pLetter());  // took the letter over
  b.letterAs<TdataDoubleArray>()->doubleArray().addLast(1.5);
  EXPECT_EQ(a.letterAs<TdataDoubleArray>()->array().size(), 1u);
  a.makeWritable();
  EXPECT_NE(a.pLetter(), b.pLetter());  // the letter had a writer: a copied
  EXPECT_TRUE(a == b);
}

TEST(TdataTest, ConstructorsSetTheirFlagsAndDirtyId) {
  struct Tcase {
    Tdata value;
    std::uint32_t flags;
  };
  int x = 0;
  const Tcase cases[] = {
      {Tdata(), Tdata::kNumeric},
      {Tdata(3), Tdata::kNumeric},
      {Tdata(3u), Tdata::kNumeric},
      {Tdata(true), Tdata::kNumeric},
      {Tdata(2.5), Tdata::kNumeric},
      {Tdata(7LL), 33},
      {Tdata(static_cast<void*>(&x)), 17},
      {Tdata::sFromTicks(5), Tdata::kAnimTime},
      {Tdata(static_cast<TdataLetter*>(nullptr)), Tdata::kHolder},
      {Tdata(doubles({1})), Tdata::kHolder},
  };
  for (const Tcase& c : cases) {
    EXPECT_EQ(c.value.flags(), c.flags);
    EXPECT_EQ(c.value.dirtyId(), 65534);
  }
  EXPECT_FALSE(Tdata().isNULL());
  EXPECT_TRUE(Tdata(static_cast<TdataLetter*>(nullptr)).isNULL());
  EXPECT_TRUE(Tdata::fsNULL.isNULL());
}

TEST(TdataTest, ConversionsFollowThePayloadKind) {
  EXPECT_EQ(Tdata(3).int32Value(), 3);
  EXPECT_EQ(Tdata(-2.7).int32Value(), -2);
  EXPECT_EQ(Tdata(2.7).int32Value(), 2);
  EXPECT_EQ(Tdata(-0.5).int64Value(), 0);
  EXPECT_EQ(Tdata(std::nan("")).int32Value(), 0);
  EXPECT_EQ(Tdata(1e300).int64Value(), std::numeric_limits<std::int64_t>::max());
  EXPECT_TRUE(Tdata(0.1).booleanValue());
  EXPECT_FALSE(Tdata(0.0).booleanValue());
  EXPECT_EQ(Tdata(300).byteValue(), 44);  // low bits

  // int64: exact to double, low bits to smaller integers.
  const long long big = (1LL << 40) + 7;
  EXPECT_EQ(Tdata(big).doubleValue(), double(big));
  EXPECT_EQ(Tdata(big).int32Value(), 7);
  EXPECT_EQ(Tdata(big).int64Value(), big);

  // Anim time: ticks over 141,120,000 a second.
  EXPECT_EQ(Tdata(TanimTime(141120000)).doubleValue(), 1.0);
  EXPECT_EQ(Tdata(TanimTime(5)).flags(), Tdata::kAnimTime);
  EXPECT_EQ(Tdata(1.0).timeValue(), TanimTime(1.0, kTimeSeconds));
  EXPECT_EQ(Tdata::sFromTicks(-211680000).int32Value(), -1);  // -1.5 s toward zero
  EXPECT_EQ(Tdata(2.0).timeTicks(), 282240000);

  // Addresses convert to 0 everywhere but addrValue.
  int x = 0;
  const Tdata p(static_cast<void*>(&x));
  EXPECT_EQ(p.doubleValue(), 0.0);
  EXPECT_EQ(p.int64Value(), 0);
  EXPECT_FALSE(p.booleanValue());
  EXPECT_EQ(p.addrValue(), &x);
  EXPECT_EQ(Tdata(5).addrValue(), nullptr);

  // Letters answer through doubleValue; NULL gives 0.
  EXPECT_EQ(Tdata(doubles({-3.9, 1})).int32Value(), -3);
  EXPECT_EQ(Tdata::fsNULL.doubleValue(), 0.0);
  EXPECT_EQ(&Tdata::fsNULL.letter(), &Tdata::sEmptyLetter());
  EXPECT_EQ(&Tdata(4).letter(), &Tdata::sEmptyLetter());
  EXPECT_EQ(Tdata(4).pLetter(), nullptr);
}

TEST(TdataTest, AssignmentAlwaysGivesAHolder) {
  Tdata a(doubles({1, 2}));
  TdataLetter* l = a.pLetter();
  a.makeWritable();
  ASSERT_TRUE(a.writer());
  Tdata b;
  b = a;
  EXPECT_TRUE(b.holder());
  EXPECT_EQ(b.pLetter(), l);
  EXPECT_EQ(l->holderCount(), 1u);
  EXPECT_EQ(l->writerCount(), 1u);

  // Same letter: only flags move, each keeps its own holder bit.
  a.fromCache(true);
  Tdata c(a);
  c.makeWritable();  // letter has a writer: c copies
  EXPECT_NE(c.pLetter(), l);
  b = a;
  EXPECT_TRUE(b.holder());
  EXPECT_TRUE(b.isFromCache());

  // Self-assignment and inline over letter.
  b = b;
  EXPECT_EQ(b.pLetter(), l);
  b = 2.5;
  EXPECT_EQ(l->referenceCount(), 1u);
  EXPECT_EQ(b.doubleValue(), 2.5);

  // The last envelope of a letter assigned from a value it owns.
  Tdata only(doubles({9}));
  Tdata holderOfOnly(only);
  only = holderOfOnly;  // same letter
  only = Tdata(only);   // temporary of the same letter
  EXPECT_EQ(only.pLetter()->referenceCount(), 2u);
}

TEST(TdataTest, ResetAndSetToNullReleaseTheLetter) {
  auto* l = new TplainLetter;
  Tdata keep(l);
  Tdata d(l);
  EXPECT_EQ(l->referenceCount(), 2u);
  d.reset();
  EXPECT_TRUE(d.isNULL());
  EXPECT_TRUE(d.holder());
  EXPECT_EQ(l->referenceCount(), 1u);
  Tdata n(4.0);
  n.setToNULL();
  EXPECT_TRUE(n.isNULL());
  EXPECT_EQ(&n.letter(), &Tdata::sEmptyLetter());
}

TEST(TdataTest, MakeWritableSharesWithoutWriterAndCopiesWithOne) {
  auto* l = new TplainLetter;
  Tdata a(l);
  Tdata b(a);
  EXPECT_TRUE(a.makeWritable());
  EXPECT_EQ(a.pLetter(), l);  // no copy: nobody wrote it
  EXPECT_TRUE(a.writer());
  EXPECT_EQ(l->gained, 1);
  EXPECT_EQ(l->holderCount(), 1u);
  EXPECT_EQ(l->writerCount(), 1u);
  EXPECT_TRUE(b.hasWriter());
  EXPECT_FALSE(b.isLetterWritable());

  b.makeWritable();  // the letter has a writer: b copies
  EXPECT_NE(b.pLetter(), l);
  EXPECT_TRUE(b.writer());
  EXPECT_EQ(l->referenceCount(), 1u);

  a.makeHolder();
  EXPECT_TRUE(a.holder());
  EXPECT_EQ(l->lost, 1);
  EXPECT_FALSE(a.hasWriter());

  // Holders see the writer's later changes.
  Tdata x(doubles({1}));
  Tdata y(x);
  x.makeWritable();
  x.letterAs<TdataDoubleArray>()->doubleArray()[0] = 5;
  EXPECT_EQ(y.doubleValue(), 5.0);
}

TEST(TdataTest, DeepCopyBitAndDuplicateDone) {
  auto* l = doubles({1, 2, 3});
  l->setDeepCopyOnDuplicate(true);
  Tdata a(l);
  a.makeWritable();
  Tdata b;
  b = a;
  b.duplicateDone(a);
  EXPECT_TRUE(b.needsDeepCopyOnMakeWrite());
  b.makeWritable();
  EXPECT_FALSE(b.needsDeepCopyOnMakeWrite());
  // The deep copy made the array private at once.
  EXPECT_EQ(b.letterAs<TdataDoubleArray>()->sharerCount(), 1u);
  EXPECT_EQ(l->sharerCount(), 1u);
}

TEST(TdataTest, DirtyTrackingAgainstAnId) {
  Tdata d(1.0);
  const Tid a(3), b(4);
  EXPECT_FALSE(d.ignoreDirty(a));
  d.confirmData(a, true);
  EXPECT_TRUE(d.ignoreDirty(a));
  EXPECT_FALSE(d.ignoreDirty(b));
  d.confirmData(b, false);
  EXPECT_FALSE(d.ignoreDirty(a));
  d.confirmData(b, true);
  EXPECT_TRUE(d.ignoreDirty(b));
  // A copy is a new envelope: it keeps the value and the flags, confirmed bit included, but
  // starts without a dirty id.
  const Tdata copy(d);
  EXPECT_EQ(copy.flags(), d.flags());
  EXPECT_NE(copy.flags() & Tdata::kConfirmed, 0u);
  EXPECT_EQ(copy.dirtyId(), 65534);
  EXPECT_EQ(copy.doubleValue(), 1.0);
  EXPECT_FALSE(copy.ignoreDirty(b));
  d.confirmData(Tid(), true);  // the "none" id is never confirmed
  EXPECT_FALSE(d.ignoreDirty(Tid()));
}

TEST(TdataTest, TagsAndBaseLetterBehaviour) {
  EXPECT_EQ(Tdata(1.0).tag(), TiffTag("DBLE"));
  EXPECT_EQ(TiffTag("DBL#").value(), 0x44424C23u);
  TiffTag t;
  EXPECT_TRUE(Tdata(doubles({})).tag(t));
  EXPECT_EQ(t, TiffTag("DBL#"));

  TplainLetter plain;
  const Tdata n(1.0);
  EXPECT_FALSE(plain == n);
  EXPECT_TRUE(plain != n);
  EXPECT_FALSE(plain <= n);
  EXPECT_TRUE(plain >= n);
  EXPECT_FALSE(plain < n);
  EXPECT_TRUE(plain > n);
  EXPECT_THROW(plain == plain, TincompatibleData);
  EXPECT_THROW(plain += n, TincompatibleData);
  EXPECT_THROW(plain /= plain, TincompatibleData);
  EXPECT_EQ(plain.doubleValue(), 0.0);
  EXPECT_FALSE(plain.isOnHeap());  // an automatic object: never deleted by its counts
  Tdata env(static_cast<TdataLetter*>(new TplainLetter));
  EXPECT_TRUE(env.pLetter()->isOnHeap());
  EXPECT_THROW(env += n, TincompatibleData);
}

TEST(TdataTest, ArithmeticAndComparisonOfInlineKinds) {
  EXPECT_EQ((Tdata(1.5) + Tdata(2)).doubleValue(), 3.5);
  const Tdata sum = Tdata(5LL) + Tdata(6LL);
  EXPECT_EQ(sum.flags(), 33u);
  EXPECT_EQ(sum.int64Value(), 11);
  EXPECT_EQ((Tdata(7LL) / Tdata(2LL)).doubleValue(), 3.5);
  EXPECT_EQ((Tdata(std::numeric_limits<long long>::max()) + Tdata(1LL)).int64Value(),
            std::numeric_limits<long long>::min());
  const Tdata later = Tdata::sFromTicks(100) + Tdata::sFromTicks(50);
  EXPECT_TRUE(later.isAnimTime());
  EXPECT_EQ(later.timeTicks(), 150);
  EXPECT_EQ((Tdata::sFromTicks(141120000) * Tdata(2.0)).timeTicks(), 282240000);
  EXPECT_EQ((Tdata::sFromTicks(0) + Tdata(0.5)).timeTicks(), 70560000);
  EXPECT_EQ((Tdata(TanimTime(std::numeric_limits<std::int64_t>::max())) * Tdata(2.0)).timeTicks(),
            std::numeric_limits<std::int64_t>::max());  // saturates
  int x = 0;
  EXPECT_THROW(Tdata(static_cast<void*>(&x)) + Tdata(1), TincompatibleData);
  EXPECT_THROW(Tdata::fsNULL + Tdata(1), TincompatibleData);

  EXPECT_TRUE(Tdata(2) == Tdata(2.0));
  EXPECT_TRUE(Tdata(1) < Tdata(2LL));
  EXPECT_TRUE(Tdata((1LL << 53) + 1) > Tdata(1LL << 53));  // exact for two integers
  EXPECT_TRUE(Tdata::fsNULL == Tdata::fsNULL);
  EXPECT_FALSE(Tdata::fsNULL == Tdata(0));
  EXPECT_FALSE(Tdata(std::nan("")) == Tdata(std::nan("")));
  // A number against a letter answers as the letter's mirror.
  const Tdata arr(doubles({1}));
  EXPECT_TRUE(Tdata(1) != arr);
  EXPECT_TRUE(Tdata(1) <= arr);
  EXPECT_FALSE(Tdata(1) >= arr);
}

TEST(TdataTest, BinaryFormOfScalarsAndAnimTimeVersions) {
  TiffFile out;
  ASSERT_EQ(out.beginGroup(TiffTag("TEST")), 0);
  ASSERT_EQ(out.beginChunk(TiffTag("DBLE")), 0);
  EXPECT_EQ(Tdata(-2.25).writeBinary(out), 0);
  EXPECT_EQ(Tdata(-5LL).writeBinary(out), 0);
  EXPECT_EQ(Tdata::sFromTicks(1234567890123LL).writeBinary(out), 0);
  EXPECT_EQ(Tdata::fsNULL.writeBinary(out), 0);
  int x = 0;
  EXPECT_EQ(Tdata(static_cast<void*>(&x)).writeBinary(out), -1);
  ASSERT_EQ(out.endChunk(), 0);
  ASSERT_EQ(out.endGroup(), 0);
  const std::vector<unsigned char>& bytes = out.bytes();
  ASSERT_EQ(bytes.size(), 12u + 8u + 24u);
  EXPECT_EQ(bytes[20], 0xC0);  // -2.25 big-endian: sign and exponent first

  const void* cursor = bytes.data() + 20;
  unsigned size = 24;
  Tdata d;
  Tdata i(0LL);
  Tdata t = Tdata::sFromTicks(0);
  ASSERT_EQ(d.readBinary(TiffTag("DBLE"), size, cursor), 0);
  ASSERT_EQ(i.readBinary(TiffTag("DBLE"), size, cursor), 0);
  ASSERT_EQ(t.readBinary(TiffTag("DBLE"), size, cursor), 0);
  EXPECT_EQ(size, 0u);
  EXPECT_EQ(d.doubleValue(), -2.25);
  EXPECT_EQ(i.int64Value(), -5);
  EXPECT_EQ(t.timeTicks(), 1234567890123LL);
  EXPECT_EQ(d.readBinary(TiffTag("DBLE"), size, cursor), -1);  // nothing left

  // Anim times: 8 bytes at 205 and from 208 on, 4 bytes (coarse units) otherwise.
  const unsigned char coarse[8] = {0, 0, 0, 2, 0, 0, 0, 0};
  for (int version : {204, 205, 206, 207, 208, 209}) {
    TglobalTranslatorBase::TreadingScope scope(version);
    Tdata time = Tdata::sFromTicks(0);
    const void* at = coarse;
    unsigned left = 8;
    ASSERT_EQ(time.readBinary(TiffTag("DBLE"), left, at), 0);
    const bool wide = version == 205 || version >= 208;
    EXPECT_EQ(left, wide ? 0u : 4u) << version;
    EXPECT_EQ(time.timeTicks(), wide ? (2LL << 32) : 2 * 23520) << version;
  }
  EXPECT_EQ(TglobalTranslatorBase::currentlyReadingFileVersion(),
            TglobalTranslatorBase::kCurrentFileVersion);
}

// Holders on several threads take and drop references while one envelope turns into the writer
// and back: no count may be lost, and the letter goes exactly when the last envelope does.
TEST(TdataTest, SharingAcrossThreads) {
  auto* letter = doubles({1, 2, 3});
  Tdata origin(letter);
  std::atomic<bool> go{false};
  std::atomic<int> copies{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      while (!go.load()) std::this_thread::yield();
      for (int i = 0; i < 20000; ++i) {
        Tdata mine(origin);
        if (t == 0 && i % 3 == 0) {
          mine.makeWritable();
          if (mine.pLetter() != letter) copies.fetch_add(1);
          mine.makeHolder();
        }
        Tdata another = mine;
        (void)another.holder();
      }
    });
  }
  go = true;
  for (std::thread& th : threads) th.join();
  EXPECT_EQ(letter->referenceCount(), 1u);
  EXPECT_EQ(letter->holderCount(), 1u);
  EXPECT_EQ(letter->writerCount(), 0u);

  // Several would-be writers at once: exactly one takes the letter over, the rest copy.
  std::vector<Tdata> writers(4, origin);
  std::vector<std::thread> racers;
  std::atomic<int> tookOver{0};
  for (Tdata& w : writers) {
    racers.emplace_back([&] {
      w.makeWritable();
      if (w.pLetter() == letter) tookOver.fetch_add(1);
    });
  }
  for (std::thread& th : racers) th.join();
  EXPECT_LE(tookOver.load(), 1);
  EXPECT_LE(letter->writerCount(), 1u);
  for (const Tdata& w : writers) EXPECT_TRUE(w.writer());
}

TEST(TdataTest, CopyManagerRecyclesLettersUpToItsCapacity) {
  TdataLetterCopyManager manager(2);
  std::vector<TdataLetter*> made;
  for (int i = 0; i < 3; ++i) {
    auto* l = doubles({double(i)});
    l->setCopyManager(&manager);
    made.push_back(l);
    Tdata d(l);  // dropped at the end of the scope: parked while there is room
  }
  EXPECT_EQ(manager.parkedCount(), 2u);
  Tdata again = manager.take();
  EXPECT_EQ(again.pLetter(), made[1]);  // last in, first out
  EXPECT_EQ(again.pLetter()->referenceCount(), 1u);
  EXPECT_EQ(again.doubleValue(), 1.0);  // contents kept for the taker to overwrite
  again.makeNotReusable();
  again.reset();  // not parked again: freed
  EXPECT_EQ(manager.parkedCount(), 1u);
  Tdata last = manager.take();
  EXPECT_FALSE(last.isNULL());
  EXPECT_TRUE(manager.take().isNULL());
  last.reset();
  EXPECT_EQ(manager.parkedCount(), 1u);
  manager.purge();
  EXPECT_EQ(manager.parkedCount(), 0u);
}

TEST(TdataTest, CopyTraceReportsPrivateCopies) {
  auto* sink = new TdebugOutputString;
  sink->ref();
  TdataLetter::fsTrace.trace().setOn(true);
  TdataLetter::fsTrace.trace().setOutput(sink);
  Tdata a(doubles({1, 2, 3}));
  Tdata b(a);
  a.makeWritable();  // takes over: no copy, nothing reported
  b.makeWritable();  // copies
  TdataLetter::fsTrace.trace().setOn(false);
  TdataLetter::fsTrace.trace().setOutput(nullptr);
  const std::string text = sink->string().asC();
  sink->unref();
  EXPECT_NE(text.find("private copy of doubleArray"), std::string::npos) << text;
  EXPECT_EQ(text.find("private copy", text.find("private copy") + 1), std::string::npos);

  Footprint fp;
  a.footprint(fp);
  EXPECT_EQ(fp.fixedBytes(), sizeof(Tdata));
  Footprint lf;
  a.letter().footprint(lf);
  EXPECT_GE(lf.referencedBytes(), 3 * sizeof(double));
}

}  // namespace
