// Tfunction: a function of one variable given by key points, joined by straight lines.
//
//   Tfunction ramp({{0, 0}, {10, 1}});
//   ramp.evaluate(5);         // 0.5
//   ramp.evaluate(-3);        // 0: before the first key the first value holds
//   ramp.addKey(20, 0);       // keys stay sorted by x; a key at an existing x replaces it
//
// Keys are kept in strictly increasing x. Before the first key and after the last the end
// values hold; a function without keys is 0 everywhere. A NaN x is refused.
//
// Binary form (inside a value's chunk): the key count (32-bit big-endian), then per key x and
// y as big-endian doubles. Text form: the key count, then x and y of each key. Reading refuses
// keys out of order and counts that do not fit, and changes nothing when it refuses.
#pragma once

#include <velacore/base/TvelacoreApi.h>

#include <initializer_list>
#include <vector>

class TargList;
class Tfile;
class TiffFile;

class VELACORE_API Tfunction {
 public:
  struct Tkey {
    double x;
    double y;
  };

  Tfunction() = default;
  /// The keys in any order (as addKey one after the other).
  Tfunction(std::initializer_list<Tkey> keys);

  /// Adds the key (x, y), replacing the key at x if there is one; false for a NaN x.
  bool addKey(double x, double y);
  /// Removes the key at exactly `x`; false when there is none.
  bool removeKey(double x);
  void clear() { fKeys.clear(); }
  [[nodiscard]] unsigned keyCount() const { return unsigned(fKeys.size()); }
  [[nodiscard]] const Tkey& key(unsigned i) const { return fKeys[i]; }
  [[nodiscard]] const std::vector<Tkey>& keys() const { return fKeys; }
  /// Sets the value of key `i`.
  void setValue(unsigned i, double y) { fKeys[i].y = y; }

  /// The value at `x`: linear between keys, the end values outside them, 0 without keys.
  [[nodiscard]] double evaluate(double x) const;

  /// Same keys with the same values.
  bool operator==(const Tfunction& o) const;
  bool operator!=(const Tfunction& o) const { return !(*this == o); }

  /// @name Files (0 success, -1 failure; reading consumes only on success)
  /// @{
  int writeBinary(TiffFile& file) const;
  int readBinary(unsigned& size, const void*& cursor);
  void writeASCII(Tfile& file) const;
  int readASCII(const TargList& args, unsigned& index);
  /// @}

  /// Bytes the function owns outside itself.
  [[nodiscard]] std::size_t ownedBytes() const { return fKeys.capacity() * sizeof(Tkey); }

 private:
  std::vector<Tkey> fKeys;
};
