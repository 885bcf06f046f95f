// ThashFunction: MurmurHash3 x64 128-bit against its published verification value.
#include <velacore/containers/ThashFunction.h>

#include <velacore/strings/Tstring.h>

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

// SMHasher's check: hash the keys {}, {0}, {0,1}, ... {0..254} with seed 256 - length, hash the
// 255 concatenated 16-byte results with seed 0, and read the first four bytes little-endian.
// MurmurHash3 x64 128 must give 0x6384BA69.
TEST(ThashFunction, MatchesReferenceVerificationValue) {
  unsigned char key[256];
  unsigned char hashes[256 * 16];
  for (unsigned i = 0; i < 256; ++i) {
    key[i] = static_cast<unsigned char>(i);
    uint64_t out[2];
    ThashFunction::hash128(key, i, 256 - i, out);
    std::memcpy(hashes + i * 16, out, 16);
  }
  uint64_t final[2];
  ThashFunction::hash128(hashes, 256 * 16, 0, final);
  EXPECT_EQ(static_cast<uint32_t>(final[0]), 0x6384BA69u);
}

TEST(ThashFunction, HalvesSeedsAndTails) {
  uint64_t out[2];
  ThashFunction::hash128("", 0, 0, out);
  EXPECT_EQ(out[0], 0u);  // the empty input with seed 0 hashes to zero
  EXPECT_EQ(out[1], 0u);
  const char* text = "The quick brown fox jumps over the lazy dog";
  ThashFunction::hash128(text, 43, 0, out);
  EXPECT_EQ(ThashFunction::hash64(text, 43, 0), out[0]);
  EXPECT_EQ(ThashFunction::hash32(text, 43, 0), static_cast<uint32_t>(out[0]));
  EXPECT_NE(ThashFunction::hash64(text, 43, 1), out[0]);
  // Every tail length (0..15 after whole blocks) gives a distinct value; reading stops at length.
  std::set<uint64_t> seen;
  std::string buf(64, 'x');
  for (unsigned n = 0; n <= 40; ++n) {
    buf[n] = 'y';  // bytes past the length must not matter
    seen.insert(ThashFunction::hash64(buf.data(), n, 0));
    buf[n] = 'x';
  }
  EXPECT_EQ(seen.size(), 41u);
  EXPECT_EQ(Tstring(text).hash(), ThashFunction::hash32(text, 43, 0));
  EXPECT_EQ(Tstring(u"The quick brown fox jumps over the lazy dog").hash(),
            ThashFunction::hash32(text, 43, 0));
}
