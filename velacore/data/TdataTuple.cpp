#include <velacore/data/TdataTuple.h>

#include <velacore/base/Tfootprint.h>
#include <velacore/data/Tdata.h>
#include <velacore/data/TdataCompound.h>
#include <velacore/data/TdataMatrix.h>
#include <velacore/data/TdataSpectrum.h>
#include <velacore/data/Tfile.h>
#include <velacore/data/TiffFile.h>
#include <velacore/data/detail/TdataElementOps.h>
#include <velacore/debug/TdebugOutput.h>

using namespace vela::data_internal;

#define VELA_TUPLE_TEMPLATE template <class Self, class Base, class T, unsigned N>
#define VELA_TUPLE TdataTuple<Self, Base, T, N>

VELA_TUPLE_TEMPLATE
void VELA_TUPLE::debug(TdebugOutput& out, unsigned details) const {
  TdataLetter::debug(out, details);
  for (unsigned i = 0; i < N; ++i) out.print("[%u] %.17g\n", i, double(fValues[i]));
}

VELA_TUPLE_TEMPLATE
void VELA_TUPLE::footprint(Footprint& fp) const {
  TdataLetter::footprint(fp);
  fp.addField("values", sizeof fValues);
}

VELA_TUPLE_TEMPLATE
TdataLetter* VELA_TUPLE::copy() const { return new Self(*static_cast<const Self*>(this)); }

VELA_TUPLE_TEMPLATE
int VELA_TUPLE::readASCII(const TargList& args, unsigned& index, int) {
  unsigned at = index;
  Values read{};
  for (unsigned i = 0; i < N; ++i) {
    if (!readWord(args, at, read[i])) return -1;
  }
  fValues = read;
  index = at;
  return 0;
}

VELA_TUPLE_TEMPLATE
int VELA_TUPLE::writeASCII(Tfile& file, int) const {
  for (unsigned i = 0; i < N; ++i) {
    file.writeNumber(fValues[i]);
    file.write(" ");
  }
  return 0;
}

VELA_TUPLE_TEMPLATE
int VELA_TUPLE::readBinary(TiffTag, unsigned& size, const void*& cursor) {
  constexpr unsigned kBytes = N * sizeof(T);
  if (size < kBytes) return -1;
  const auto* from = static_cast<const unsigned char*>(cursor);
  readBigEndian(from, fValues.data(), N);
  size -= kBytes;
  cursor = from + kBytes;
  return 0;
}

VELA_TUPLE_TEMPLATE
int VELA_TUPLE::writeBinary(TiffFile& file) const { return file.writeValues(fValues.data(), N); }

VELA_TUPLE_TEMPLATE
bool VELA_TUPLE::smartCopy(const TdataLetter* source) {
  const Self* other = this->sameKind(source);
  if (other == nullptr) return false;
  fValues = other->fValues;
  return true;
}

// ---- the matrix's own product ----

namespace {
constexpr TdataMatrix::Values kIdentity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
}  // namespace

TdataMatrix::TdataMatrix() : TdataTuple(kIdentity) {}

void TdataMatrix::reset() { values() = kIdentity; }

TdataLetter& TdataMatrix::operator*=(const TdataLetter& o) {
  const auto* other = dynamic_cast<const TdataMatrix*>(&o);
  if (other == nullptr) sIncompatible();
  const Values a = values();
  const Values b = other->values();
  Values& r = values();
  for (unsigned row = 0; row < 4; ++row) {
    for (unsigned col = 0; col < 4; ++col) {
      double sum = 0;
      for (unsigned k = 0; k < 4; ++k) sum += a[row * 4 + k] * b[k * 4 + col];
      r[row * 4 + col] = sum;
    }
  }
  return *this;
}

TdataLetter& TdataMatrix::operator*=(const Tdata& o) {
  if (const TdataLetter* l = o.pLetter()) return *this *= *l;
  return TdataTuple::operator*=(o);
}

template class TdataTuple<Tdata2Double, TdataCompound, double, 2>;
template class TdataTuple<Tdata3Double, TdataCompound, double, 3>;
template class TdataTuple<Tdata4Double, TdataCompound, double, 4>;
template class TdataTuple<Tdata2Float, TdataCompound, float, 2>;
template class TdataTuple<Tdata3Float, TdataCompound, float, 3>;
template class TdataTuple<Tdata2Int32, TdataCompound, std::int32_t, 2>;
template class TdataTuple<Tdata3Int32, TdataCompound, std::int32_t, 3>;
template class TdataTuple<Tdata2Int16, TdataCompound, std::int16_t, 2>;
template class TdataTuple<Tdata3Int16, TdataCompound, std::int16_t, 3>;
template class TdataTuple<TdataMatrix, TdataLetter, double, 16>;
template class TdataTuple<TdataSpectrum, TdataLetter, double, 3>;
template class TdataTuple<TdataReflectance, TdataLetter, double, 3>;
