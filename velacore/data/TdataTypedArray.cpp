#include <velacore/data/TdataTypedArray.h>

#include <velacore/base/Tfootprint.h>
#include <velacore/base/internal/Timmortal.h>
#include <velacore/data/TargList.h>
#include <velacore/data/Tdata.h>
#include <velacore/data/Tfile.h>
#include <velacore/data/TiffFile.h>
#include <velacore/data/detail/TdataElementOps.h>
#include <velacore/debug/TdebugOutput.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

using namespace vela::data_internal;

template <class T>
TdataTypedArray<T>::TdataTypedArray(const Array& values) {
  adopt(new Array(values), &sDestroy, true);
}

template <class T>
TdataTypedArray<T>::TdataTypedArray(Array* array, bool deleteWhenDestroyed) {
  if (array != nullptr) adopt(array, &sDestroy, deleteWhenDestroyed);
}

template <class T>
const typename TdataTypedArray<T>::Array& TdataTypedArray<T>::array() const {
  static Timmortal<const Array> sEmpty;
  const Array* a = unReferencedArray();
  return a != nullptr ? *a : *sEmpty;
}

template <class T>
typename TdataTypedArray<T>::Array& TdataTypedArray<T>::writableArray() {
  Array* a = unReferencedArray();
  if (a == nullptr) {
    adopt(new Array(8), &sDestroy, true);
  } else if (isShared()) {
    adopt(new Array(*a), &sDestroy, true);
  }
  return *unReferencedArray();
}

template <class T>
void TdataTypedArray<T>::debug(TdebugOutput& out, unsigned details) const {
  TdataLetter::debug(out, details);
  const Array& a = array();
  out.print("%u elements, %u sharers of the array\n", a.size(), sharerCount());
  if (details == 0) return;
  for (std::uint32_t i = 0; i < a.size() && i < 16; ++i) out.print("[%u] %.17g\n", i, double(a[i]));
}

template <class T>
void TdataTypedArray<T>::footprint(Footprint& fp) const {
  TdataLetter::footprint(fp);
  fp.addField("sharingRecord", sizeof(void*));
  if (const Array* a = unReferencedArray()) {
    fp.addReferenced(sizeof(TsharedReference::Trecord) + sizeof(Array));
    fp.addReferenced(std::size_t(a->physicalSize()) * sizeof(T));
  }
}

template <class T>
void TdataTypedArray<T>::reset() {
  if (unReferencedArray() == nullptr) return;
  if (isShared()) {
    release();
  } else {
    unReferencedArray()->reset();
  }
}

template <class T>
TdataLetter* TdataTypedArray<T>::copy() const {
  return new TdataTypedArray(*this);
}

template <class T>
int TdataTypedArray<T>::readASCII(const TargList& args, unsigned& index, int) {
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

template <class T>
int TdataTypedArray<T>::writeASCII(Tfile& file, int) const {
  file.writeArray(array());
  file.write(" ");
  return 0;
}

template <class T>
int TdataTypedArray<T>::readBinary(TiffTag, unsigned& size, const void*& cursor) {
  const std::uint32_t n = size / sizeof(T);
  Array& a = writableArray();
  a.changeLogicalSizeTo(n);
  const auto* from = static_cast<const unsigned char*>(cursor);
  if (n != 0) readBigEndian(from, a.data(), n);
  size -= n * unsigned(sizeof(T));
  cursor = from + std::size_t(n) * sizeof(T);
  return 0;
}

template <class T>
int TdataTypedArray<T>::writeBinary(TiffFile& file) const {
  const Array& a = array();
  if (a.size() == 0) return 0;
  return file.writeValues(a.data(), a.size());
}

template <class T>
void TdataTypedArray<T>::deepCopy() {
  if (isShared()) (void)writableArray();
}

template <class T>
bool TdataTypedArray<T>::smartCopy(const TdataLetter* source) {
  const TdataTypedArray* other = this->sameKind(source);
  if (other == nullptr) return false;
  if (other == this) return true;
  const Array& from = other->array();
  Array& to = writableArray();
  to.changeLogicalSizeTo(from.size());  // keeps the buffer when it is big enough
  if (from.size() != 0) std::memcpy(to.data(), from.data(), std::size_t(from.size()) * sizeof(T));
  return true;
}

template class TdataTypedArray<double>;
template class TdataTypedArray<float>;
template class TdataTypedArray<std::int32_t>;
template class TdataTypedArray<std::int64_t>;
template class TdataTypedArray<std::uint64_t>;
