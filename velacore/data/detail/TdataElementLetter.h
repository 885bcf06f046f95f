// The comparisons and arithmetic of the letters that hold a run of numbers (the array letters
// and the tuples), written once: `Self` tells where its elements are.
//
// Self provides `elementData()` (const T*), `elementCount()` and `writableElements()` (T*, the
// elements made private to this letter). Operators act element by element with a number or a
// letter of the same class and length; comparisons with such a letter are lexicographic;
// anything else gets TdataLetter's answers (envelopes) or TincompatibleData (letters).
//
// A detail of the public headers that include it, installed with them; not to be included on
// its own.
#pragma once

#include <velacore/data/Tdata.h>
#include <velacore/data/TdataLetter.h>
#include <velacore/data/detail/TdataElementOps.h>

#include <cstdint>
#include <vector>

namespace vela::data_internal {

template <class Self, class Base, class T>
class TdataElementLetter : public Base {
 public:
  using Base::Base;

  bool operator==(const Tdata& o) const override { return compare(o, 0); }
  bool operator==(const TdataLetter& o) const override { return compareAnswer(compareWith(o), 0); }
  bool operator!=(const Tdata& o) const override { return compare(o, 1); }
  bool operator!=(const TdataLetter& o) const override { return compareAnswer(compareWith(o), 1); }
  bool operator<(const Tdata& o) const override { return compare(o, 2); }
  bool operator<(const TdataLetter& o) const override { return compareAnswer(compareWith(o), 2); }
  bool operator>(const Tdata& o) const override { return compare(o, 3); }
  bool operator>(const TdataLetter& o) const override { return compareAnswer(compareWith(o), 3); }
  bool operator<=(const Tdata& o) const override { return compare(o, 4); }
  bool operator<=(const TdataLetter& o) const override { return compareAnswer(compareWith(o), 4); }
  bool operator>=(const Tdata& o) const override { return compare(o, 5); }
  bool operator>=(const TdataLetter& o) const override { return compareAnswer(compareWith(o), 5); }
  TdataLetter& operator+=(const Tdata& o) override { return apply(o, kAdd); }
  TdataLetter& operator+=(const TdataLetter& o) override { return apply(o, kAdd); }
  TdataLetter& operator-=(const Tdata& o) override { return apply(o, kSub); }
  TdataLetter& operator-=(const TdataLetter& o) override { return apply(o, kSub); }
  TdataLetter& operator*=(const Tdata& o) override { return apply(o, kMul); }
  TdataLetter& operator*=(const TdataLetter& o) override { return apply(o, kMul); }
  TdataLetter& operator/=(const Tdata& o) override { return apply(o, kDiv); }
  TdataLetter& operator/=(const TdataLetter& o) override { return apply(o, kDiv); }
  /// The first element (0.0 when there is none).
  [[nodiscard]] double doubleValue() const override {
    return self().elementCount() != 0 ? double(self().elementData()[0]) : 0.0;
  }

 protected:
  TdataElementLetter() = default;
  TdataElementLetter(const TdataElementLetter&) = default;

  const Self& self() const { return *static_cast<const Self*>(this); }
  Self& self() { return *static_cast<Self*>(this); }
  static const Self* sameKind(const TdataLetter* o) { return dynamic_cast<const Self*>(o); }

  int compareWith(const TdataLetter& o) const {
    const Self* other = sameKind(&o);
    if (other == nullptr) TdataLetter::sIncompatible();
    return compareRuns(self().elementData(), self().elementCount(), other->elementData(),
                       other->elementCount());
  }
  bool compare(const Tdata& o, int op) const {
    if (const Self* other = sameKind(o.pLetter())) return compareAnswer(compareWith(*other), op);
    switch (op) {
      case 0: return TdataLetter::operator==(o);
      case 1: return TdataLetter::operator!=(o);
      case 2: return TdataLetter::operator<(o);
      case 3: return TdataLetter::operator>(o);
      case 4: return TdataLetter::operator<=(o);
      default: return TdataLetter::operator>=(o);
    }
  }
  TdataLetter& apply(const TdataLetter& o, int op) {
    const Self* other = sameKind(&o);
    if (other == nullptr || other->elementCount() != self().elementCount()) TdataLetter::sIncompatible();
    // A copy of the operand: it may be this letter, or share its elements.
    const std::vector<T> operand(other->elementData(), other->elementData() + other->elementCount());
    const std::uint32_t n = self().elementCount();
    if (n != 0) applyElementwise(self().writableElements(), operand.data(), n, op);
    return *this;
  }
  TdataLetter& apply(const Tdata& o, int op) {
    if (const TdataLetter* l = o.pLetter()) return apply(*l, op);
    const std::uint32_t n = self().elementCount();
    if (o.isNULL() || (o.flags() & Tdata::kAddress) != 0) TdataLetter::sIncompatible();
    if (n != 0) applyScalar(self().writableElements(), n, o, op);
    return *this;
  }
};

}  // namespace vela::data_internal
