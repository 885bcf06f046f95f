#include <velacore/data/TiffFile.h>

#include <velacore/base/TbigEndian.h>
#include <velacore/base/Texception.h>
#include <velacore/data/TargList.h>
#include <velacore/data/Tdata.h>
#include <velacore/data/TdataTypedArray.h>
#include <velacore/data/TdataUnknown.h>
#include <velacore/data/Tfile.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

std::vector<unsigned char> be32(std::uint32_t v) {
  return {std::uint8_t(v >> 24), std::uint8_t(v >> 16), std::uint8_t(v >> 8), std::uint8_t(v)};
}

void append(std::vector<unsigned char>& to, const std::vector<unsigned char>& bytes) {
  to.insert(to.end(), bytes.begin(), bytes.end());
}

void appendText(std::vector<unsigned char>& to, const char* text) {
  to.insert(to.end(), text, text + 4);
}

// A nested file built by hand, byte by byte: what the writer must produce.
std::vector<unsigned char> handBuilt() {
  std::vector<unsigned char> inner;
  appendText(inner, "LIST");
  append(inner, be32(4 + 8 + 3 + 1));
  appendText(inner, "PRTS");
  appendText(inner, "ODD ");
  append(inner, be32(3));
  inner.insert(inner.end(), {1, 2, 3, 0});
  std::vector<unsigned char> file;
  appendText(file, "FORM");
  append(file, be32(std::uint32_t(4 + 12 + inner.size())));
  appendText(file, "SCNE");
  appendText(file, "VERS");
  append(file, be32(4));
  append(file, be32(207));
  append(file, inner);
  return file;
}

TEST(TiffFileTest, WriterProducesIff85Framing) {
  TiffFile out;
  ASSERT_EQ(out.beginGroup(TiffTag("SCNE")), 0);
  ASSERT_EQ(out.writeVersion(207), 0);
  ASSERT_EQ(out.beginGroup(TiffTag("PRTS"), TiffFile::kList), 0);
  const unsigned char odd[3] = {1, 2, 3};
  ASSERT_EQ(out.writeChunk(TiffTag("ODD "), odd, 3), 0);
  EXPECT_EQ(out.beginGroup(TiffTag("XXXX"), TiffTag("NOPE")), -1);  // not a group kind
  ASSERT_EQ(out.endGroup(), 0);
  ASSERT_EQ(out.endGroup(), 0);
  EXPECT_EQ(out.bytes(), handBuilt());
  EXPECT_EQ(out.endGroup(), -1);
  EXPECT_EQ(out.beginGroup(TiffTag("MORE")), -1);  // one top group per file
  EXPECT_EQ(out.write(odd, 1), -1);                // no chunk open

  TiffFile in;
  in.setBuffer(handBuilt().data(), handBuilt().size());
  ASSERT_EQ(in.parse(), 0) << in.error();
  EXPECT_EQ(in.version(), 207);
  const std::vector<TiffFile::Tentry>& e = in.entries();
  ASSERT_EQ(e.size(), 6u);
  EXPECT_EQ(e[0].kind, TiffFile::Tentry::kGroupBegin);
  EXPECT_EQ(e[0].formType, TiffTag("SCNE"));
  EXPECT_EQ(e[2].tag, TiffFile::kList);
  EXPECT_EQ(e[3].tag, TiffTag("ODD "));
  EXPECT_EQ(e[3].size, 3u);
  EXPECT_EQ(e[3].depth, 2);
  EXPECT_EQ(e[3].data[2], 3);
  EXPECT_EQ(e[4].kind, TiffFile::Tentry::kGroupEnd);
}

TEST(TiffFileTest, MalformedInputIsRefused) {
  const std::vector<unsigned char> good = handBuilt();
  // Every truncation of a good file fails cleanly (ASan checks that nothing is read past it).
  for (std::size_t n = 0; n < good.size(); ++n) {
    TiffFile in;
    in.setBuffer(good.data(), n);
    EXPECT_EQ(in.parse(), -1) << n;
    EXPECT_TRUE(in.entries().empty());
    EXPECT_FALSE(in.error().empty());
  }
  struct Tcase {
    std::size_t at;
    std::vector<unsigned char> bytes;
    const char* why;
  };
  const Tcase cases[] = {
      {4, be32(0x7FFFFFF0u), "size past the end of the file"},
      {4, be32(std::uint32_t(good.size() - 8 + 2)), "size two past the end"},
      {4, be32(std::uint32_t(good.size() - 8 - 1)), "odd group size"},
      {12, {'V', 'E', 0x01, 'S'}, "unreadable chunk tag"},
      {16, be32(0xFFFFFFFFu), "chunk size past its group"},
      {28, be32(100), "inner group past the outer one"},
      {0, {'N', 'O', 'P', 'E'}, "not a group"},
      {40, be32(5), "odd chunk running into the end of its group"},
  };
  for (const Tcase& c : cases) {
    std::vector<unsigned char> bad = good;
    std::copy(c.bytes.begin(), c.bytes.end(), bad.begin() + std::ptrdiff_t(c.at));
    TiffFile in;
    in.setBuffer(bad.data(), bad.size());
    EXPECT_EQ(in.parse(), -1) << c.why;
    EXPECT_TRUE(in.entries().empty()) << c.why;
  }
  // Bytes after the top group.
  std::vector<unsigned char> trailing = good;
  trailing.push_back(0);
  TiffFile in;
  in.setBuffer(trailing.data(), trailing.size());
  EXPECT_EQ(in.parse(), -1);

  // Groups nested past the depth limit.
  TiffFile deep;
  for (int i = 0; i <= TiffFile::kMaxDepth + 1; ++i) ASSERT_EQ(deep.beginGroup(TiffTag("DEEP")), 0);
  for (int i = 0; i <= TiffFile::kMaxDepth + 1; ++i) ASSERT_EQ(deep.endGroup(), 0);
  TiffFile deepIn;
  deepIn.setBuffer(deep.bytes().data(), deep.bytes().size());
  EXPECT_EQ(deepIn.parse(), -1);
}

TEST(TiffFileTest, ByteLimitMakesWritesFail) {
  TiffFile out;
  out.setByteLimit(12 + 8 + 16);
  ASSERT_EQ(out.beginGroup(TiffTag("TEST")), 0);
  ASSERT_EQ(out.beginChunk(TiffTag("DBL#")), 0);
  auto* letter = new TdataDoubleArray;
  for (int i = 0; i < 3; ++i) letter->writableArray().addLast(i);
  const Tdata d(letter);
  EXPECT_EQ(d.writeBinary(out), -1);  // 24 bytes do not fit in 16
  EXPECT_EQ(out.bytes().size(), 20u);  // nothing half-written
  letter->writableArray().removeLast();
  EXPECT_EQ(d.writeBinary(out), 0);
}

TEST(TiffFileTest, FilesThatCannotBeUsedThrow) {
  TiffFile in;
  try {
    in.load("/nonexistent-folder/none.iff");
    FAIL() << "no exception";
  } catch (const TfileException& e) {
    EXPECT_NE(e.code(), 0);
    EXPECT_NE(std::string(e.message()).find("none.iff"), std::string::npos);
  }
  TiffFile out;
  ASSERT_EQ(out.beginGroup(TiffTag("TEST")), 0);
  EXPECT_EQ(out.save("/tmp/never-written.iff"), -1);  // group still open
  ASSERT_EQ(out.endGroup(), 0);
  EXPECT_THROW(out.save("/nonexistent-folder/out.iff"), TfileException);
  Tfile text;
  EXPECT_THROW(text.save("/nonexistent-folder/out.txt"), TfileException);
}

// Every array letter, filled with random values including the extremes of its type, written into
// a file on disk, read back through the file's chunks and through its text form.
template <class L>
class TdataArrayRoundTrip : public ::testing::Test {};
using ArrayLetters = ::testing::Types<TdataDoubleArray, TdataFloatArray, TdataInt32Array,
                                      TdataInt64Array, TdataUInt64Array>;
TYPED_TEST_SUITE(TdataArrayRoundTrip, ArrayLetters);

TYPED_TEST(TdataArrayRoundTrip, BinaryAndTextFormsGiveTheSameElements) {
  using L = TypeParam;
  using T = typename L::Element;
  std::mt19937_64 random(42);
  auto* letter = new L;
  auto& a = letter->writableArray();
  a.addLast(std::numeric_limits<T>::max());
  a.addLast(std::numeric_limits<T>::lowest());
  for (int i = 0; i < 200; ++i) {
    const std::uint64_t bits = random();
    T v;
    if constexpr (std::is_floating_point_v<T>) {
      v = T(std::ldexp(double(std::int64_t(bits)), int(bits % 40) - 80));
    } else {
      v = T(bits);
    }
    a.addLast(v);
  }
  const Tdata value(letter);
  const Tdata empty(new L);

  TiffFile out;
  ASSERT_EQ(out.beginGroup(TiffTag("TEST")), 0);
  ASSERT_EQ(out.beginChunk(L::kTag), 0);
  ASSERT_EQ(value.writeBinary(out), 0);
  ASSERT_EQ(out.endChunk(), 0);
  ASSERT_EQ(out.beginChunk(L::kTag), 0);
  ASSERT_EQ(empty.writeBinary(out), 0);
  ASSERT_EQ(out.endChunk(), 0);
  ASSERT_EQ(out.endGroup(), 0);
  const std::string path = ::testing::TempDir() + "/round-trip-" + L::kTypeName + ".iff";
  ASSERT_EQ(out.save(path.c_str()), 0);

  TiffFile in;
  in.load(path.c_str());
  std::remove(path.c_str());
  ASSERT_EQ(in.parse(), 0) << in.error();
  ASSERT_EQ(in.entries().size(), 4u);
  const TiffFile::Tentry& chunk = in.entries()[1];
  EXPECT_EQ(chunk.tag, L::kTag);
  EXPECT_EQ(chunk.size, a.size() * sizeof(T));
  Tdata back(new L);
  unsigned size = chunk.size;
  const void* cursor = chunk.data;
  ASSERT_EQ(back.readBinary(chunk.tag, size, cursor), 0);
  EXPECT_EQ(size, 0u);
  EXPECT_TRUE(back == value);
  EXPECT_EQ(in.entries()[2].size, 0u);

  // Every length up to a few vector blocks (the block swap and its tail) against element-wise
  // big-endian reads.
  for (std::uint32_t n = 0; n <= 40; ++n) {
    std::vector<unsigned char> raw(n * sizeof(T));
    for (std::size_t i = 0; i < raw.size(); ++i) raw[i] = static_cast<unsigned char>(i * 37 + n);
    L decoded;
    unsigned left = unsigned(raw.size());
    const void* from = raw.data();
    ASSERT_EQ(decoded.readBinary(L::kTag, left, from), 0);
    ASSERT_EQ(decoded.size(), n);
    for (std::uint32_t i = 0; i < n; ++i) {
      const T expected = TbigEndian::read<T>(raw.data() + i * sizeof(T));
      EXPECT_EQ(std::memcmp(&decoded[i], &expected, sizeof(T)), 0) << n << " " << i;
    }
  }

  // A trailing partial element stays unread.
  Tdata partial(new L);
  unsigned shortSize = unsigned(sizeof(T)) + 1;
  cursor = chunk.data;
  ASSERT_EQ(partial.readBinary(chunk.tag, shortSize, cursor), 0);
  EXPECT_EQ(shortSize, 1u);
  EXPECT_EQ(partial.letterAs<L>()->size(), 1u);

  Tfile text;
  ASSERT_EQ(value.writeASCII(text, 0, false), 0);
  ASSERT_EQ(empty.writeASCII(text, 0, false), 0);
  EXPECT_EQ(text.text().back(), ' ');
  const TargList args(text.text().c_str());
  unsigned index = 0;
  Tdata fromText(new L);
  Tdata emptyText(new L);
  ASSERT_EQ(fromText.readASCII(args, index, 0), 0);
  ASSERT_EQ(emptyText.readASCII(args, index, 0), 0);
  EXPECT_EQ(index, args.count());
  EXPECT_TRUE(fromText == value);
  EXPECT_EQ(emptyText.letterAs<L>()->size(), 0u);

  // Bad text leaves the letter as it was.
  const TargList bad("3 1 2 x");
  index = 0;
  EXPECT_EQ(fromText.readASCII(bad, index, 0), -1);
  EXPECT_EQ(index, 0u);
  EXPECT_TRUE(fromText == value);
  const TargList tooMany("5 1 2");
  EXPECT_EQ(fromText.readASCII(tooMany, index, 0), -1);
}

TEST(TiffFileTest, ArrayLetterSharingAndArithmetic) {
  auto* letter = new TdataInt32Array;
  for (int v : {10, -7, 3}) letter->writableArray().addLast(v);
  Tdata a(letter);
  Tdata b(a);
  b.makeWritable();  // takes the letter over
  Tdata c(a);
  c.makeWritable();  // copies the letter, shares the array until written
  auto* copyLetter = c.letterAs<TdataInt32Array>();
  EXPECT_NE(copyLetter, letter);
  EXPECT_EQ(copyLetter->sharerCount(), 2u);
  c *= Tdata(2);
  EXPECT_EQ(copyLetter->sharerCount(), 1u);
  EXPECT_EQ((*copyLetter)[1], -14);
  EXPECT_EQ((*letter)[1], -7);  // the original array is untouched
  c /= Tdata(4LL);
  EXPECT_EQ((*copyLetter)[1], -3);  // exact integer division, toward zero
  c += c;
  EXPECT_EQ((*copyLetter)[0], 10);
  c -= Tdata(1e20);
  EXPECT_EQ((*copyLetter)[0], std::numeric_limits<std::int32_t>::min());  // clamped

  Tdata other(new TdataInt32Array);
  EXPECT_THROW(c += other, TincompatibleData);  // sizes differ
  EXPECT_THROW(c += Tdata(new TdataDoubleArray), TincompatibleData);
  EXPECT_TRUE(Tdata(letter->copy()) == a);
  Tdata shorter(new TdataInt32Array);
  shorter.makeWritable();
  shorter.letterAs<TdataInt32Array>()->int32Array().addLast(10);
  EXPECT_TRUE(shorter < a);
  EXPECT_TRUE(a >= shorter);
  const Tdata doublesLetter(new TdataDoubleArray);
  EXPECT_FALSE(a == doublesLetter);  // another kind in an envelope: the base letter's answer
  EXPECT_THROW((void)(a.letter() == doublesLetter.letter()), TincompatibleData);
  EXPECT_EQ(a.doubleValue(), 10.0);

  // Wrapping an array owned elsewhere: it survives the letter.
  TdoubleArray owned;
  owned.addLast(1.0);
  {
    Tdata wrapped(new TdataDoubleArray(&owned, false));
    EXPECT_EQ(wrapped.doubleValue(), 1.0);
  }
  EXPECT_EQ(owned.size(), 1u);
}

TEST(TiffFileTest, UnknownLetterKeepsItsBytes) {
  auto* unknown = new TdataUnknown;
  const unsigned char raw[5] = {9, 8, 7, 6, 5};
  const void* cursor = raw;
  unsigned size = 5;
  ASSERT_EQ(unknown->readBinary(TiffTag("ZZZZ"), size, cursor), 0);
  EXPECT_EQ(size, 0u);
  EXPECT_EQ(unknown->originalTag(), TiffTag("ZZZZ"));
  const Tdata value(unknown);
  TiffFile out;
  ASSERT_EQ(out.beginGroup(TiffTag("TEST")), 0);
  ASSERT_EQ(out.beginChunk(unknown->originalTag()), 0);
  ASSERT_EQ(value.writeBinary(out), 0);
  ASSERT_EQ(out.endChunk(), 0);
  ASSERT_EQ(out.endGroup(), 0);
  EXPECT_EQ(out.bytes()[20], 9);
  EXPECT_EQ(out.bytes().size(), 12u + 8u + 6u);  // padded to even
  Tfile text;
  ASSERT_EQ(value.writeASCII(text, 0, true), 0);
  EXPECT_EQ(text.text(), "TdataUnknown 5 9 8 7 6 5 ");
}

}  // namespace
