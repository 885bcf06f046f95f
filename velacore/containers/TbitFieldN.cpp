#include <velacore/containers/TbitFieldN.h>

#include <algorithm>

TbitFieldN& TbitFieldN::setBit(unsigned i, bool value) {
  const std::size_t w = i >> 5;
  const unsigned mask = 1u << (i & 31);
  if (w >= fWords.size()) {
    if (!value) return *this;
    fWords.resize(w + 1, 0u);
  }
  if (value)
    fWords[w] |= mask;
  else
    fWords[w] &= ~mask;
  return *this;
}

void TbitFieldN::setAll() { std::fill(fWords.begin(), fWords.end(), 0xFFFFFFFFu); }

void TbitFieldN::resetAll() { std::fill(fWords.begin(), fWords.end(), 0u); }

bool TbitFieldN::anySet() const {
  return std::any_of(fWords.begin(), fWords.end(), [](unsigned w) { return w != 0; });
}

bool TbitFieldN::anyNotSet() const {
  return std::any_of(fWords.begin(), fWords.end(), [](unsigned w) { return w != 0xFFFFFFFFu; });
}

bool TbitFieldN::testBits(const TbitFieldN& other) const {
  if (fWords.size() < other.fWords.size()) return false;
  for (std::size_t w = 0; w < other.fWords.size(); ++w)
    if ((fWords[w] & other.fWords[w]) != other.fWords[w]) return false;
  return true;
}

bool TbitFieldN::testAnyBitsNotSet(const TbitFieldN& other) const {
  const std::size_t common = std::min(fWords.size(), other.fWords.size());
  for (std::size_t w = 0; w < common; ++w)
    if ((other.fWords[w] & ~fWords[w]) != 0) return true;
  for (std::size_t w = common; w < other.fWords.size(); ++w)
    if (other.fWords[w] != 0) return true;
  return false;
}
