// The process-wide state of the length and angle units, and their conversion tables.
#include <velacore/time/TangleUnit.h>
#include <velacore/time/Tunit.h>

#include <velacore/base/internal/Timmortal.h>

namespace vela::time_internal {

template <class Derived, class Kind>
typename Kind::Tsystem TmeasureUnit<Derived, Kind>::sInternal = Kind::kDefaultInternal;
template <class Derived, class Kind>
typename Kind::Tsystem TmeasureUnit<Derived, Kind>::sUI = Kind::kDefaultUI;
template <class Derived, class Kind>
bool TmeasureUnit<Derived, Kind>::sTableNotBuilt = true;
template <class Derived, class Kind>
TvalueArray<Derived*>* TmeasureUnit<Derived, Kind>::sTable = nullptr;

template <class Derived, class Kind>
Ttrigger& TmeasureUnit<Derived, Kind>::changeTrigger() {
  static Timmortal<Ttrigger> sTrigger;
  return *sTrigger;
}

template <class Derived, class Kind>
const Derived& TmeasureUnit<Derived, Kind>::conversion(Tsystem unit) {
  // Every unit at once, against the internal unit in force now; the entries live as long as
  // the process.
  if (sTableNotBuilt) {
    sTable = new TvalueArray<Derived*>;
    for (std::uint32_t u = 0; u < Kind::kUnitCount; ++u) {
      sTable->addLast(new Derived(static_cast<Tsystem>(u)));
    }
    sTableNotBuilt = false;
  }
  return *(*sTable)[unit < Kind::kUnitCount ? static_cast<std::uint32_t>(unit) : 0u];
}

template class TmeasureUnit<Tunit, TlengthUnitKind>;
template class TmeasureUnit<TangleUnit, TangleUnitKind>;

}  // namespace vela::time_internal
