#include <velacore/data/Tfunction.h>

#include <velacore/base/TbigEndian.h>
#include <velacore/data/TargList.h>
#include <velacore/data/Tfile.h>
#include <velacore/data/TiffFile.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace {

// Keys in strictly increasing x (a NaN x fails the comparison and is refused).
bool ordered(const std::vector<Tfunction::Tkey>& keys) {
  for (std::size_t i = 1; i < keys.size(); ++i)
    if (!(keys[i - 1].x < keys[i].x)) return false;
  return keys.empty() || !std::isnan(keys[0].x);
}

// The first key at or after x.
std::vector<Tfunction::Tkey>::iterator firstAtOrAfter(std::vector<Tfunction::Tkey>& keys,
                                                     double x) {
  return std::lower_bound(keys.begin(), keys.end(), x,
                          [](const Tfunction::Tkey& k, double v) { return k.x < v; });
}

}  // namespace

Tfunction::Tfunction(std::initializer_list<Tkey> keys) {
  for (const Tkey& k : keys) addKey(k.x, k.y);
}

bool Tfunction::addKey(double x, double y) {
  if (std::isnan(x)) return false;
  auto at = firstAtOrAfter(fKeys, x);
  if (at != fKeys.end() && at->x == x) {
    at->y = y;
  } else {
    fKeys.insert(at, Tkey{x, y});
  }
  return true;
}

bool Tfunction::removeKey(double x) {
  auto at = firstAtOrAfter(fKeys, x);
  if (at == fKeys.end() || at->x != x) return false;
  fKeys.erase(at);
  return true;
}

double Tfunction::evaluate(double x) const {
  if (fKeys.empty()) return 0.0;
  if (!(x > fKeys.front().x)) return std::isnan(x) ? x : fKeys.front().y;
  if (!(x < fKeys.back().x)) return fKeys.back().y;
  // The first key past x; the one before it is at or below x.
  const auto hi = std::upper_bound(fKeys.begin(), fKeys.end(), x,
                                   [](double v, const Tkey& k) { return v < k.x; });
  const Tkey& a = hi[-1];
  const Tkey& b = *hi;
  const double t = (x - a.x) / (b.x - a.x);
  return a.y + t * (b.y - a.y);
}

bool Tfunction::operator==(const Tfunction& o) const {
  return std::equal(fKeys.begin(), fKeys.end(), o.fKeys.begin(), o.fKeys.end(),
                    [](const Tkey& a, const Tkey& b) { return a.x == b.x && a.y == b.y; });
}

int Tfunction::writeBinary(TiffFile& file) const {
  if (file.writeValue<std::uint32_t>(std::uint32_t(fKeys.size())) != 0) return -1;
  for (const Tkey& k : fKeys) {
    const double pair[2] = {k.x, k.y};
    if (file.writeValues(pair, 2) != 0) return -1;
  }
  return 0;
}

int Tfunction::readBinary(unsigned& size, const void*& cursor) {
  const auto* from = static_cast<const unsigned char*>(cursor);
  if (size < 4) return -1;
  const std::uint32_t count = TbigEndian::read<std::uint32_t>(from);
  if ((size - 4) / 16 < count) return -1;
  std::vector<Tkey> keys(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    keys[i].x = TbigEndian::read<double>(from + 4 + 16 * i);
    keys[i].y = TbigEndian::read<double>(from + 12 + 16 * i);
  }
  if (!ordered(keys)) return -1;
  fKeys.swap(keys);
  const unsigned used = 4 + 16 * count;
  size -= used;
  cursor = from + used;
  return 0;
}

void Tfunction::writeASCII(Tfile& file) const {
  file.writeUInt(fKeys.size());
  for (const Tkey& k : fKeys) {
    file.write(" ");
    file.writeDouble(k.x);
    file.write(" ");
    file.writeDouble(k.y);
  }
}

int Tfunction::readASCII(const TargList& args, unsigned& index) {
  unsigned at = index;
  std::uint32_t count = 0;
  if (!args.readCount(at, count) || (args.count() - at) / 2 < count) return -1;
  std::vector<Tkey> keys(count);
  for (Tkey& k : keys)
    if (!args.readDouble(at, k.x) || !args.readDouble(at, k.y)) return -1;
  if (!ordered(keys)) return -1;
  fKeys.swap(keys);
  index = at;
  return 0;
}
