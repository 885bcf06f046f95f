#include <velacore/data/TdataTypedArray.h>

#include <velacore/base/Tfootprint.h>
#include <velacore/data/TargList.h>
#include <velacore/data/Tdata.h>
#include <velacore/data/Tfile.h>
#include <velacore/data/TiffFile.h>
#include <velacore/data/internal/TdataElementOps.h>
#include <velacore/debug/TdebugOutput.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

using namespace vela::data_internal;

template <class Self, class T>
TdataTypedArray<Self, T>::TdataTypedArray(const Array& values) {
  adopt(new Array(values), &sDestroy, true);
}

template <class Self, class T>
TdataTypedArray<Self, T>::TdataTypedArray(Array* array, bool deleteWhenDestroyed) {
  if (array != nullptr) adopt(array, &sDestroy, deleteWhenDestroyed);
}

template <class Self, class T>
const typename TdataTypedArray<Self, T>::Array& TdataTypedArray<Self, T>::array() const {
  static const Array empty;
  const Array* a = unReferencedArray();
  return a != nullptr ? *a : empty;
}

template <class Self, class T>
typename TdataTypedArray<Self, T>::Array& TdataTypedArray<Self, T>::writableArray() {
  Array* a = unReferencedArray();
  if (a == nullptr) {
    adopt(new Array(8), &sDestroy, true);
  } else if (isShared()) {
    adopt(new Array(*a), &sDestroy, true);
  }
  return *unReferencedArray();
}

template <class Self, class T>
void TdataTypedArray<Self, T>::debug(TdebugOutput& out, unsigned details) const {
  TdataLetter::debug(out, details);
  const Array& a = array();
  out.print("%u elements, %u sharers of the array\n", a.size(), sharerCount());
  if (details == 0) return;
  for (std::uint32_t i = 0; i < a.size() && i < 16; ++i) out.print("[%u] %.17g\n", i, double(a[i]));
}

template <class Self, class T>
void TdataTypedArray<Self, T>::footprint(Footprint& fp) const {
  TdataLetter::footprint(fp);
  fp.addField("sharingRecord", sizeof(void*));
  if (const Array* a = unReferencedArray()) {
    fp.addReferenced(sizeof(TsharedReference::Trecord) + sizeof(Array));
    fp.addReferenced(std::size_t(a->physicalSize()) * sizeof(T));
  }
}

template <class Self, class T>
void TdataTypedArray<Self, T>::reset() {
  if (unReferencedArray() == nullptr) return;
  if (isShared()) {
    release();
  } else {
    unReferencedArray()->reset();
  }
}

template <class Self, class T>
TdataLetter* TdataTypedArray<Self, T>::copy() const {
  return new Self(*static_cast<const Self*>(this));
}

template <class Self, class T>
const Self* TdataTypedArray<Self, T>::sameKind(const Tdata& o) const {
  const TdataLetter* l = o.pLetter();
  return l != nullptr ? sameKind(*l) : nullptr;
}

template <class Self, class T>
int TdataTypedArray<Self, T>::compareWith(const TdataLetter& o) const {
  const Self* other = sameKind(o);
  if (other == nullptr) sIncompatible();
  const Array& a = array();
  const Array& b = other->array();
  return compareRuns(a.data(), a.size(), b.data(), b.size());
}

// Against an envelope: another array of this class compares as arrays; anything else gets the
// base letter's answers.
#define VELA_ARRAY_COMPARE(op, code)                                                      \
  template <class Self, class T>                                                          \
  bool TdataTypedArray<Self, T>::operator op(const TdataLetter& o) const {                \
    return compareAnswer(compareWith(o), code);                                           \
  }                                                                                       \
  template <class Self, class T>                                                          \
  bool TdataTypedArray<Self, T>::operator op(const Tdata& o) const {                      \
    if (const Self* other = sameKind(o)) return compareAnswer(compareWith(*other), code);  \
    return TdataLetter::operator op(o);                                                   \
  }
VELA_ARRAY_COMPARE(==, 0)
VELA_ARRAY_COMPARE(!=, 1)
VELA_ARRAY_COMPARE(<, 2)
VELA_ARRAY_COMPARE(>, 3)
VELA_ARRAY_COMPARE(<=, 4)
VELA_ARRAY_COMPARE(>=, 5)
#undef VELA_ARRAY_COMPARE

template <class Self, class T>
TdataLetter& TdataTypedArray<Self, T>::apply(const TdataLetter& o, int op) {
  const Self* other = sameKind(o);
  if (other == nullptr || other->array().size() != array().size()) sIncompatible();
  if (other == this) {
    // x op= x: read from a snapshot so the shared array is not changed under the loop.
    const Array snapshot(array());
    Array& a = writableArray();
    applyElementwise(a.data(), snapshot.data(), a.size(), op);
    return *this;
  }
  Array& a = writableArray();
  applyElementwise(a.data(), other->array().data(), a.size(), op);
  return *this;
}

template <class Self, class T>
TdataLetter& TdataTypedArray<Self, T>::apply(const Tdata& o, int op) {
  if (const TdataLetter* l = o.pLetter()) return apply(*l, op);
  if (o.isNULL() || (o.flags() & Tdata::kAddress) != 0) sIncompatible();
  Array& a = writableArray();
  applyScalar(a.data(), a.size(), o, op);
  return *this;
}

#define VELA_ARRAY_ARITH(op, code)                                                     \
  template <class Self, class T>                                                       \
  TdataLetter& TdataTypedArray<Self, T>::operator op(const Tdata& o) { return apply(o, code); } \
  template <class Self, class T>                                                       \
  TdataLetter& TdataTypedArray<Self, T>::operator op(const TdataLetter& o) { return apply(o, code); }
VELA_ARRAY_ARITH(+=, kAdd)
VELA_ARRAY_ARITH(-=, kSub)
VELA_ARRAY_ARITH(*=, kMul)
VELA_ARRAY_ARITH(/=, kDiv)
#undef VELA_ARRAY_ARITH

template <class Self, class T>
double TdataTypedArray<Self, T>::doubleValue() const {
  const Array& a = array();
  return a.size() != 0 ? double(a[0]) : 0.0;
}

template <class Self, class T>
int TdataTypedArray<Self, T>::readASCII(const TargList& args, unsigned& index, int) {
  unsigned at = index;
  std::uint32_t n = 0;
  if (!args.readCount(at, n)) return -1;
  Array values(8);
  values.changeLogicalSizeTo(n);
  for (std::uint32_t i = 0; i < n; ++i) {
    if (!readWord(args, at, values[i])) return -1;
  }
  writableArray().swap(values);
  index = at;
  return 0;
}

template <class Self, class T>
int TdataTypedArray<Self, T>::writeASCII(Tfile& file, int) const {
  file.writeArray(array());
  file.write(" ");
  return 0;
}

template <class Self, class T>
int TdataTypedArray<Self, T>::readBinary(TiffTag, unsigned& size, const void*& cursor) {
  const std::uint32_t n = size / sizeof(T);
  Array& a = writableArray();
  a.changeLogicalSizeTo(n);
  const auto* from = static_cast<const unsigned char*>(cursor);
  if (n != 0) readBigEndian(from, a.data(), n);
  size -= n * unsigned(sizeof(T));
  cursor = from + std::size_t(n) * sizeof(T);
  return 0;
}

template <class Self, class T>
int TdataTypedArray<Self, T>::writeBinary(TiffFile& file) const {
  const Array& a = array();
  if (a.size() == 0) return 0;
  return file.writeValues(a.data(), a.size());
}

template <class Self, class T>
void TdataTypedArray<Self, T>::deepCopy() {
  if (isShared()) (void)writableArray();
}

template <class Self, class T>
bool TdataTypedArray<Self, T>::smartCopy(const TdataLetter* source) {
  const Self* other = source != nullptr ? sameKind(*source) : nullptr;
  if (other == nullptr) return false;
  if (other == this) return true;
  const Array& from = other->array();
  Array& to = writableArray();
  to.changeLogicalSizeTo(from.size());  // keeps the buffer when it is big enough
  if (from.size() != 0) std::memcpy(to.data(), from.data(), std::size_t(from.size()) * sizeof(T));
  return true;
}

template class TdataTypedArray<TdataDoubleArray, double>;
template class TdataTypedArray<TdataFloatArray, float>;
template class TdataTypedArray<TdataInt32Array, std::int32_t>;
template class TdataTypedArray<TdataInt64Array, std::int64_t>;
template class TdataTypedArray<TdataUInt64Array, std::uint64_t>;
