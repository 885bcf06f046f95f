// Shared helpers of the memory tests: a page source that checks how arenas use it, and an
// environment switch that restores the old value.
#pragma once

#include <velacore/environment/VelaEnv.h>
#include <velacore/memory/Tallocator.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <string>

// Hands out malloc'ed pages and checks that each comes back once, with the size it was asked for.
class TcountingAllocator : public Tallocator {
 public:
  ~TcountingAllocator() override { EXPECT_TRUE(fLive.empty()) << "pages not returned"; }

  void* allocate(std::size_t size, const char* name) override {
    if (fFailNext) return nullptr;
    void* p = std::malloc(size);
    fLive[p] = size;
    ++fAllocations;
    fLastName = name != nullptr ? name : "";
    return p;
  }
  void free(void* p, std::size_t size) override {
    auto it = fLive.find(p);
    ASSERT_NE(it, fLive.end()) << "page returned twice or never handed out";
    EXPECT_EQ(it->second, size) << "page returned with another size";
    fLive.erase(it);
    ++fReleases;
    std::free(p);
  }
  std::size_t liveBytes() const {
    std::size_t total = 0;
    for (const auto& page : fLive) total += page.second;
    return total;
  }
  bool holds(const void* p) const { return fLive.count(const_cast<void*>(p)) != 0; }

  std::map<void*, std::size_t> fLive;
  int fAllocations = 0;
  int fReleases = 0;
  bool fFailNext = false;
  std::string fLastName;
};

// Sets (or with null, unsets) an environment variable for one scope.
class TscopedEnv {
 public:
  TscopedEnv(const char* name, const char* value) : fName(name) {
    if (const char* old = VelaGetEnv(name)) fOld = old, fHadOld = true;
    set(value);
  }
  ~TscopedEnv() { set(fHadOld ? fOld.c_str() : nullptr); }

 private:
  void set(const char* value) {
    if (value == nullptr)
      (void)VelaUnsetEnv(fName.c_str());
    else
      (void)VelaPutEnv((fName + "=" + value).c_str());
  }
  std::string fName;
  std::string fOld;
  bool fHadOld = false;
};
