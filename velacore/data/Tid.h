// Tid: the identity of a consumer that checks values for changes (an evaluation pass, a
// viewer). A Tdata remembers for which Tid it was last confirmed (Tdata::confirmData), so
// that consumer can skip work on values that have not changed since.
#pragma once

#include <velacore/base/TvelacoreApi.h>

#include <cstdint>

class VELACORE_API Tid {
 public:
  /// The value that means "no consumer".
  static constexpr std::uint16_t kNone = 65534;

  constexpr Tid() = default;
  constexpr explicit Tid(std::uint16_t value) : fValue(value) {}
  [[nodiscard]] constexpr std::uint16_t value() const { return fValue; }
  constexpr bool operator==(const Tid& o) const { return fValue == o.fValue; }
  constexpr bool operator!=(const Tid& o) const { return fValue != o.fValue; }

 private:
  std::uint16_t fValue = kNone;
};
