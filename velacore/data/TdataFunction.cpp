#include <velacore/data/TdataFunction.h>

#include <velacore/base/Tfootprint.h>
#include <velacore/data/Tdata.h>
#include <velacore/data/Tfile.h>
#include <velacore/data/TmetaLetter.h>
#include <velacore/data/detail/TdataElementOps.h>
#include <velacore/debug/TdebugOutput.h>

#include <algorithm>
#include <utility>

using namespace vela::data_internal;

VELA_DEFINE_TYPE_AS(TdataFunction::kTypeName, TdataFunction::kTag.value(), TtypeKind::kConcrete,
                    TdataFunction, TdataLetter);
static const TmetaLetter gFunctionLetter(TdataFunctionTmeta);
VELA_DEFINE_TYPE_AS(TfunctionMapping::kTypeName, TfunctionMapping::kTag.value(),
                    TtypeKind::kConcrete, TfunctionMapping, TdataLetter);
static const TmetaLetter gFunctionMappingLetter(TfunctionMappingTmeta);

template <class Self, unsigned N>
void TdataFunctionLetter<Self, N>::debug(TdebugOutput& out, unsigned details) const {
  TdataLetter::debug(out, details);
  for (const Tfunction& f : fFunctions) {
    out.print("%u keys\n", f.keyCount());
    if (details == 0) continue;
    for (const Tfunction::Tkey& k : f.keys()) out.print("  %.17g %.17g\n", k.x, k.y);
  }
}

template <class Self, unsigned N>
void TdataFunctionLetter<Self, N>::footprint(Footprint& fp) const {
  TdataLetter::footprint(fp);
  fp.addField("functions", sizeof fFunctions);
  for (const Tfunction& f : fFunctions) fp.addReferenced(f.ownedBytes());
}

template <class Self, unsigned N>
void TdataFunctionLetter<Self, N>::reset() {
  for (Tfunction& f : fFunctions) f.clear();
}

template <class Self, unsigned N>
bool TdataFunctionLetter<Self, N>::operator==(const TdataLetter& o) const {
  const auto* other = dynamic_cast<const Self*>(&o);
  if (other == nullptr) sIncompatible();
  return fFunctions == other->fFunctions;
}

template <class Self, unsigned N>
int TdataFunctionLetter<Self, N>::readBinary(TiffTag, unsigned& size, const void*& cursor) {
  // Into copies first: a refused second function leaves the first one unchanged as well.
  std::array<Tfunction, N> read;
  unsigned left = size;
  const void* at = cursor;
  for (Tfunction& f : read)
    if (f.readBinary(left, at) != 0) return -1;
  fFunctions.swap(read);
  size = left;
  cursor = at;
  return 0;
}

template <class Self, unsigned N>
int TdataFunctionLetter<Self, N>::writeBinary(TiffFile& file) const {
  for (const Tfunction& f : fFunctions)
    if (f.writeBinary(file) != 0) return -1;
  return 0;
}

template <class Self, unsigned N>
int TdataFunctionLetter<Self, N>::readASCII(const TargList& args, unsigned& index, int) {
  std::array<Tfunction, N> read;
  unsigned at = index;
  for (Tfunction& f : read)
    if (f.readASCII(args, at) != 0) return -1;
  fFunctions.swap(read);
  index = at;
  return 0;
}

template <class Self, unsigned N>
int TdataFunctionLetter<Self, N>::writeASCII(Tfile& file, int) const {
  for (const Tfunction& f : fFunctions) {
    f.writeASCII(file);
    file.write(" ");
  }
  return 0;
}

template <class Self, unsigned N>
bool TdataFunctionLetter<Self, N>::smartCopy(const TdataLetter* source) {
  const auto* other = dynamic_cast<const Self*>(source);
  if (other == nullptr) return false;
  fFunctions = other->fFunctions;
  return true;
}

template class TdataFunctionLetter<TdataFunction, 1>;
template class TdataFunctionLetter<TfunctionMapping, 2>;

// ---- the arithmetic of one function ----

TdataLetter& TdataFunction::apply(const Tdata& o, int op) {
  if (const TdataLetter* l = o.pLetter()) return apply(*l, op);
  if (o.isNULL() || (o.flags() & Tdata::kAddress) != 0) sIncompatible();
  const double s = o.doubleValue();
  Tfunction& f = function();
  for (unsigned i = 0; i < f.keyCount(); ++i) f.setValue(i, applyDouble(f.key(i).y, s, op));
  return *this;
}

TdataLetter& TdataFunction::apply(const TdataLetter& o, int op) {
  const auto* other = dynamic_cast<const TdataFunction*>(&o);
  if (other == nullptr) sIncompatible();
  // Both functions at every key of either. Nothing is written before the end, so the operand
  // may be this letter.
  const Tfunction& a = function();
  const Tfunction& b = other->function();
  std::vector<double> xs;
  xs.reserve(a.keyCount() + b.keyCount());
  for (const Tfunction::Tkey& k : a.keys()) xs.push_back(k.x);
  for (const Tfunction::Tkey& k : b.keys()) xs.push_back(k.x);
  std::inplace_merge(xs.begin(), xs.begin() + a.keyCount(), xs.end());
  xs.erase(std::unique(xs.begin(), xs.end()), xs.end());
  Tfunction result;
  for (double x : xs) result.addKey(x, applyDouble(a.evaluate(x), b.evaluate(x), op));
  function() = std::move(result);
  return *this;
}

TdataLetter& TdataFunction::operator+=(const Tdata& o) { return apply(o, kAdd); }
TdataLetter& TdataFunction::operator+=(const TdataLetter& o) { return apply(o, kAdd); }
TdataLetter& TdataFunction::operator-=(const Tdata& o) { return apply(o, kSub); }
TdataLetter& TdataFunction::operator-=(const TdataLetter& o) { return apply(o, kSub); }
TdataLetter& TdataFunction::operator*=(const Tdata& o) { return apply(o, kMul); }
TdataLetter& TdataFunction::operator*=(const TdataLetter& o) { return apply(o, kMul); }
TdataLetter& TdataFunction::operator/=(const Tdata& o) { return apply(o, kDiv); }
TdataLetter& TdataFunction::operator/=(const TdataLetter& o) { return apply(o, kDiv); }
