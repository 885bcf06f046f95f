#include <velacore/data/TmetaLetter.h>

#include <velacore/base/TbigEndian.h>
#include <velacore/data/TargList.h>
#include <velacore/data/Tdata.h>
#include <velacore/data/TdataArrayAttrs.h>
#include <velacore/data/TdataBinary.h>
#include <velacore/data/TdataCompound.h>
#include <velacore/data/TdataFunction.h>
#include <velacore/data/TdataMatrix.h>
#include <velacore/data/TdataSpectrum.h>
#include <velacore/data/TdataTypedArray.h>
#include <velacore/data/TdataUnknown.h>
#include <velacore/data/TdataVoidPtr.h>
#include <velacore/data/Tfile.h>
#include <velacore/data/TglobalTranslatorBase.h>
#include <velacore/data/TiffFile.h>
#include <velacore/types/Tmetaclass.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

struct TletterRow {
  Tmetaclass* cls;
  const char* name;
  TiffTag tag;
  Tmetaclass* super;
};

TEST(TmetaLetterTest, EveryLetterClassIsRegisteredByNameAndTag) {
  const TletterRow rows[] = {
      {TdataVoidPtr::sTypeof(), "void", TiffTag("VOID"), TdataLetter::sTypeof()},
      {TdataUnknown::sTypeof(), "TdataUnknown", TiffTag("UNKN"), TdataLetter::sTypeof()},
      {TdataUInt64Array::sTypeof(), "uInt64Array", TiffTag("U64#"), TdataLetter::sTypeof()},
      {TdataSpectrum::sTypeof(), "spectrumRGB", TiffTag("SRGB"), TdataLetter::sTypeof()},
      {TdataReflectance::sTypeof(), "reflectanceRGB", TiffTag("RRGB"), TdataLetter::sTypeof()},
      {TdataMatrix::sTypeof(), "matrix", TiffTag("MATR"), TdataLetter::sTypeof()},
      {TdataInt32Array::sTypeof(), "Int32Array", TiffTag("I32#"), TdataLetter::sTypeof()},
      {TdataInt64Array::sTypeof(), "Int64Array", TiffTag("I64#"), TdataLetter::sTypeof()},
      {TdataDoubleArray::sTypeof(), "doubleArray", TiffTag("DBL#"), TdataLetter::sTypeof()},
      {TdataFloatArray::sTypeof(), "floatArray", TiffTag("FLT#"), TdataLetter::sTypeof()},
      {TdataCompound::sTypeof(), "TdataCompound", TiffTag("CMPD"), TdataLetter::sTypeof()},
      {TdataBinary::sTypeof(), "binary", TiffTag("BINA"), TdataLetter::sTypeof()},
      {TdataArrayAttrs::sTypeof(), "newParticles", TiffTag("NWP#"), TdataLetter::sTypeof()},
      {TdataFunction::sTypeof(), "function", TiffTag("FUNC"), TdataLetter::sTypeof()},
      {TfunctionMapping::sTypeof(), "functionMapping", TiffTag("FMAP"), TdataLetter::sTypeof()},
      {Tdata4Double::sTypeof(), "double4", TiffTag("DBL4"), TdataCompound::sTypeof()},
      {Tdata3Int32::sTypeof(), "long3", TiffTag("LNG3"), TdataCompound::sTypeof()},
      {Tdata3Int16::sTypeof(), "short3", TiffTag("SRT3"), TdataCompound::sTypeof()},
      {Tdata3Float::sTypeof(), "float3", TiffTag("FLT3"), TdataCompound::sTypeof()},
      {Tdata3Double::sTypeof(), "double3", TiffTag("DBL3"), TdataCompound::sTypeof()},
      {Tdata2Int32::sTypeof(), "long2", TiffTag("LNG2"), TdataCompound::sTypeof()},
      {Tdata2Int16::sTypeof(), "short2", TiffTag("SRT2"), TdataCompound::sTypeof()},
      {Tdata2Float::sTypeof(), "float2", TiffTag("FLT2"), TdataCompound::sTypeof()},
      {Tdata2Double::sTypeof(), "double2", TiffTag("DBL2"), TdataCompound::sTypeof()},
  };
  for (const TletterRow& r : rows) {
    ASSERT_NE(r.cls, nullptr) << r.name;
    EXPECT_STREQ(r.cls->name(), r.name);
    EXPECT_EQ(r.cls->tag(), r.tag) << r.name;
    EXPECT_EQ(r.cls->super(0), r.super) << r.name;
    EXPECT_EQ(TmetaLetter::findTypeid(r.name), r.cls) << r.name;
    EXPECT_EQ(TmetaLetter::findTypeid(r.tag), r.cls) << r.name;
    if (r.cls->isAbstract()) continue;
    TdataLetter* made = TmetaLetter::construct(r.name);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->typeof(), r.cls) << r.name;
    EXPECT_STREQ(made->typeName(), r.name);
    EXPECT_EQ(made->iffTag(), r.tag);
    const Tdata holder(made);  // frees it
  }
  EXPECT_STREQ(Tdata::sTypeof()->name(), "Tdata");
  EXPECT_EQ(Tdata::sTypeof()->tag(), TiffTag("DBLE"));
  EXPECT_EQ(Tdata(1.0).typeof(), Tdata::sTypeof());
  EXPECT_EQ(Tdata(new TdataDoubleArray).letter().cast(TdataLetter::sTypeof()) != nullptr, true);
}

TEST(TmetaLetterTest, UnknownNamesAndTagsGiveAnUnknownLetter) {
  for (TdataLetter* l : {TmetaLetter::construct("noSuchType"), TmetaLetter::construct(""),
                         TmetaLetter::construct(static_cast<const char*>(nullptr)),
                         TmetaLetter::construct(TiffTag("ZZZZ")),
                         TmetaLetter::construct("TdataCompound")}) {
    ASSERT_NE(l, nullptr);
    EXPECT_EQ(l->typeof(), TdataUnknown::sTypeof());
    const Tdata holder(l);
  }
  EXPECT_EQ(TmetaLetter::findTypeid(""), nullptr);
  EXPECT_EQ(TmetaLetter::findTypeid(static_cast<const char*>(nullptr)), nullptr);
  auto* unknown = static_cast<TdataUnknown*>(TmetaLetter::construct(TiffTag("ZZZZ")));
  EXPECT_EQ(unknown->originalTag(), TiffTag("ZZZZ"));
  const Tdata holder(unknown);
}

TEST(TmetaLetterTest, FirstRegistrationWins) {
  // A second registration of a name and tag that exist changes nothing.
  const TmetaLetter again(TdataUnknown::sTypeof());
  const TmetaLetter first(TdataDoubleArray::sTypeof());
  EXPECT_EQ(TmetaLetter::findTypeid("doubleArray"), TdataDoubleArray::sTypeof());
  EXPECT_EQ(first.typeId(), TdataDoubleArray::sTypeof());
  EXPECT_STREQ(first.name(), "doubleArray");
  EXPECT_EQ(first.iffTag(), TiffTag("DBL#"));
  const Tdata made(first.createDataLetter());
  EXPECT_EQ(made.tag(), TiffTag("DBL#"));
}

// Lookups from several threads at once (no lock on the read side) while registrations of
// classes that exist already run: every answer is the first registration.
TEST(TmetaLetterTest, LookupsFromSeveralThreads) {
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 2000; ++i) {
        if (TmetaLetter::findTypeid(TiffTag("FLT#")) != TdataFloatArray::sTypeof()) ++wrong;
        const Tdata d(TmetaLetter::construct("double3"));
        if (d.tag() != TiffTag("DBL3")) ++wrong;
      }
    });
  }
  for (std::thread& th : threads) th.join();
  EXPECT_EQ(wrong.load(), 0);
}

// Every letter class with a value in it, written into one IFF file with each value in a chunk
// of its tag, read back through the letter that the tag names, and through the text form.
TEST(TmetaLetterTest, EveryLetterRoundTripsThroughAFileAndText) {
  std::vector<Tdata> values;
  auto* doubles = new TdataDoubleArray;
  doubles->writableArray().addLast(-1.25);
  doubles->writableArray().addLast(1e300);
  values.emplace_back(doubles);
  auto* floats = new TdataFloatArray;
  floats->writableArray().addLast(0.1f);
  values.emplace_back(floats);
  auto* ints = new TdataInt32Array;
  ints->writableArray().addLast(-7);
  values.emplace_back(ints);
  auto* longs = new TdataInt64Array;
  longs->writableArray().addLast(-(1LL << 60));
  values.emplace_back(longs);
  auto* ulongs = new TdataUInt64Array;
  ulongs->writableArray().addLast(~0ULL);
  values.emplace_back(ulongs);
  values.emplace_back(new Tdata2Double({1.5, -2}));
  values.emplace_back(new Tdata3Double({1, 2, 3}));
  values.emplace_back(new Tdata4Double({1, 2, 3, 4}));
  values.emplace_back(new Tdata2Float({0.5f, 0.25f}));
  values.emplace_back(new Tdata3Float({1.f, 2.f, 3.5f}));
  values.emplace_back(new Tdata2Int32({-1, 2}));
  values.emplace_back(new Tdata3Int32({1, -2, 3}));
  values.emplace_back(new Tdata2Int16({-32768, 32767}));
  values.emplace_back(new Tdata3Int16({1, 2, -3}));
  values.emplace_back(new TdataMatrix({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}));
  values.emplace_back(new TdataSpectrum({0.5, 0.25, 1}));
  values.emplace_back(new TdataReflectance({0.1, 0.2, 0.3}));
  auto* blob = new TdataBinary;
  blob->bytes() = {0, 255, 7};
  values.emplace_back(blob);
  auto* particles = new TdataArrayAttrs;
  particles->set(Tstring("position"), values[0]);
  particles->set(Tstring("age"), Tdata(2.5));
  particles->set(Tstring("born"), Tdata(TanimTime(-3)));
  particles->set(Tstring("id"), Tdata(1LL << 40));
  particles->set(Tstring("colour"), values[15]);
  values.emplace_back(particles);
  values.emplace_back(new TdataFunction(Tfunction({{-1, 0.1}, {0, 1e-300}, {2.5, -7}})));
  values.emplace_back(new TdataFunction);
  values.emplace_back(new TfunctionMapping(Tfunction({{0, 0}, {1, 24}}), Tfunction({{0, 1}})));

  TiffFile out;
  ASSERT_EQ(out.beginGroup(TiffTag("TEST")), 0);
  ASSERT_EQ(out.writeVersion(208), 0);
  Tfile text;
  for (const Tdata& v : values) {
    ASSERT_EQ(out.beginChunk(v.tag()), 0);
    ASSERT_EQ(v.writeBinary(out), 0) << v.letter().typeName();
    ASSERT_EQ(out.endChunk(), 0);
    ASSERT_EQ(v.writeASCII(text, 0, true), 0);
  }
  ASSERT_EQ(out.endGroup(), 0);

  TiffFile in;
  in.setBuffer(out.bytes().data(), out.bytes().size());
  ASSERT_EQ(in.parse(), 0) << in.error();
  TglobalTranslatorBase::TreadingScope scope(in.version());
  std::size_t next = 0;
  for (const TiffFile::Tentry& e : in.entries()) {
    if (e.kind != TiffFile::Tentry::kChunk || e.tag == TiffFile::kVersion) continue;
    ASSERT_LT(next, values.size());
    Tdata back(TmetaLetter::construct(e.tag));
    unsigned size = e.size;
    const void* cursor = e.data;
    ASSERT_EQ(back.readBinary(e.tag, size, cursor), 0) << back.letter().typeName();
    EXPECT_EQ(size, 0u);
    EXPECT_TRUE(back == values[next]) << back.letter().typeName();
    ++next;
  }
  EXPECT_EQ(next, values.size());

  const TargList words(text.text().c_str());
  unsigned at = 0;
  for (const Tdata& v : values) {
    ASSERT_LT(at, words.count());
    Tdata back(TmetaLetter::construct(words[at++].asC()));
    ASSERT_EQ(back.readASCII(words, at, 0), 0) << v.letter().typeName();
    EXPECT_TRUE(back == v) << v.letter().typeName() << " from " << text.text();
  }
  EXPECT_EQ(at, words.count());
}

TEST(TmetaLetterTest, ParticleSetCopiesNeverChangeTheOriginal) {
  auto* particles = new TdataArrayAttrs;
  auto* ages = new TdataFloatArray;
  ages->writableArray().addLast(1.f);
  particles->set(Tstring("age"), Tdata(ages));
  Tdata original(particles);
  original.makeWritable();
  Tdata copy;
  copy = original;
  copy.duplicateDone(original);
  copy.makeWritable();  // the set has a writer: a private copy, deep because the set asks
  ASSERT_NE(copy.pLetter(), particles);
  // Changing the copy's attribute leaves the original's alone.
  Tdata* age = copy.letterAs<TdataArrayAttrs>()->find("age");
  ASSERT_NE(age, nullptr);
  age->makeWritable();
  age->letterAs<TdataFloatArray>()->floatArray()[0] = 9.f;
  EXPECT_EQ(original.letterAs<TdataArrayAttrs>()->find("age")->doubleValue(), 1.0);
  EXPECT_FALSE(copy == original);

  // A truncated binary form builds nothing.
  TiffFile out;
  ASSERT_EQ(out.beginGroup(TiffTag("TEST")), 0);
  ASSERT_EQ(out.beginChunk(TiffTag("NWP#")), 0);
  ASSERT_EQ(original.writeBinary(out), 0);
  ASSERT_EQ(out.endChunk(), 0);
  const unsigned full = TbigEndian::read<std::uint32_t>(out.bytes().data() + 16);  // chunk size
  for (unsigned n = 0; n < full; ++n) {
    Tdata partial(new TdataArrayAttrs);
    unsigned size = n;
    const void* cursor = out.bytes().data() + 20;
    EXPECT_EQ(partial.readBinary(TiffTag("NWP#"), size, cursor), -1) << n;
    EXPECT_EQ(partial.letterAs<TdataArrayAttrs>()->attributeCount(), 0u);
  }
}

}  // namespace
