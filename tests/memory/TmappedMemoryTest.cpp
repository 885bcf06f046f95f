// Mapped blocks: allocation, growth in place or by moving, and the parallel block move.
#include <velacore/memory/TmappedMemory.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <numeric>
#include <vector>

TEST(TmappedMemory, BlocksAreZeroedAlignedAndKeepTheirContentsWhenResized) {
  const std::size_t before = mmapBytesInUse();
  auto* p = static_cast<unsigned char*>(mmapAlloc(100000, "Arrays"));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % 16, 0u);
  EXPECT_GE(mmapSize(p), 100000u);
  EXPECT_STREQ(mmapTag(p), "Arrays");
  EXPECT_GT(mmapBytesInUse(), before);
  for (std::size_t i = 0; i < 100000; ++i) ASSERT_EQ(p[i], 0);
  for (std::size_t i = 0; i < 100000; ++i) p[i] = static_cast<unsigned char>(i * 7);

  if (mmapGrow(p, 400000)) {
    EXPECT_GE(mmapSize(p), 400000u);
  }
  auto* q = static_cast<unsigned char*>(mmapRealloc(p, 4 << 20, "Object Arrays"));
  ASSERT_NE(q, nullptr);
  EXPECT_STREQ(mmapTag(q), "Object Arrays");
  for (std::size_t i = 0; i < 100000; ++i) ASSERT_EQ(q[i], static_cast<unsigned char>(i * 7));
  EXPECT_TRUE(mmapGrow(q, 50000));  // shrinking always stays in place
  EXPECT_EQ(q[49999], static_cast<unsigned char>(49999 * 7));
  mmapFree(q);
  mmapFree(nullptr);
  EXPECT_EQ(mmapBytesInUse(), before);
}

TEST(TmappedMemory, AbsurdSizesAreRefusedNotCrashed) {
  EXPECT_EQ(mmapAlloc(SIZE_MAX - 4, "Arrays"), nullptr);
  void* p = mmapAlloc(64, "Arrays");
  EXPECT_FALSE(mmapGrow(p, SIZE_MAX / 2 + 100));
  EXPECT_EQ(mmapRealloc(p, SIZE_MAX - 4, "Arrays"), nullptr);
  mmapFree(p);
}

TEST(memmove_mp, AgreesWithMemmoveForDisjointAndOverlappingRanges) {
  for (std::size_t bytes : {std::size_t(0), std::size_t(15000), std::size_t(9) << 20}) {
    std::vector<uint32_t> src(bytes / 4 + 8), dst(bytes / 4 + 8, 0);
    std::iota(src.begin(), src.end(), 1u);
    memmove_mp(dst.data(), src.data(), bytes);
    EXPECT_EQ(std::memcmp(dst.data(), src.data(), bytes), 0);
    std::vector<uint32_t> expect = src;
    std::memmove(expect.data() + 3, expect.data(), bytes);  // overlapping, upward
    memmove_mp(src.data() + 3, src.data(), bytes);
    EXPECT_EQ(src, expect);
  }
}
