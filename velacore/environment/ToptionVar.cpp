#include <velacore/environment/ToptionVar.h>

VELA_DEFINE_TYPE(ToptionVar);

namespace {
// Arrays made for option variables grow by eight elements.
constexpr std::uint32_t kGrowth = 8;

template <class A>
A* copyArray(const A& source) {
  A* copy = new A(kGrowth);
  copy->copy(source);
  return copy;
}
}  // namespace

ToptionVarChangedMsg::~ToptionVarChangedMsg() = default;

ToptionVar::ToptionVar(const Tstring& name, double value) : fKind(kDouble), fName(name) {
  fValue.d = value;
}
ToptionVar::ToptionVar(const Tstring& name, int value) : fKind(kInt), fName(name) {
  fValue.i = value;
}
ToptionVar::ToptionVar(const Tstring& name, const Tstring& value) : fKind(kString), fName(name) {
  fValue.s = new Tstring(value);
}
ToptionVar::ToptionVar(const Tstring& name, const TdoubleArray& value)
    : fKind(kDoubleArray), fName(name) {
  fValue.da = copyArray(value);
}
ToptionVar::ToptionVar(const Tstring& name, const Tint32Array& value)
    : fKind(kIntArray), fName(name) {
  fValue.ia = copyArray(value);
}
ToptionVar::ToptionVar(const Tstring& name, const TstringArray& value)
    : fKind(kStringArray), fName(name) {
  fValue.sa = copyArray(value);
}

ToptionVar::~ToptionVar() { release(); }

void ToptionVar::release() {
  switch (fKind) {
    case kString: delete fValue.s; break;
    case kDoubleArray: delete fValue.da; break;
    case kIntArray: delete fValue.ia; break;
    case kStringArray: delete fValue.sa; break;
    default: break;
  }
  fKind = kNone;
  fValue.d = 0.0;
}

void ToptionVar::notifyClients() {
  if (numClients() != 0) sendToClients(ToptionVarChangedMsg(*this));
}

void ToptionVar::setValue(double value) {
  release();
  fKind = kDouble;
  fValue.d = value;
  notifyClients();
}

void ToptionVar::setValue(int value) {
  release();
  fKind = kInt;
  fValue.i = value;
  notifyClients();
}

void ToptionVar::setValue(const Tstring& value) {
  if (fKind == kString) {
    *fValue.s = value;
  } else {
    // Copy first: `value` may be an element of the array being released.
    Tstring* copy = new Tstring(value);
    release();
    fKind = kString;
    fValue.s = copy;
  }
  notifyClients();
}

void ToptionVar::setValue(const TdoubleArray& value) {
  TdoubleArray* copy = copyArray(value);  // before release: `value` may be our own array
  release();
  fKind = kDoubleArray;
  fValue.da = copy;
  notifyClients();
}

void ToptionVar::setValue(const Tint32Array& value) {
  Tint32Array* copy = copyArray(value);
  release();
  fKind = kIntArray;
  fValue.ia = copy;
  notifyClients();
}

void ToptionVar::setValue(const TstringArray& value) {
  TstringArray* copy = copyArray(value);
  release();
  fKind = kStringArray;
  fValue.sa = copy;
  notifyClients();
}

bool ToptionVar::getValue(double& value) const {
  if (fKind != kDouble) return false;
  value = fValue.d;
  return true;
}

bool ToptionVar::getValue(int& value) const {
  if (fKind != kInt) return false;
  value = fValue.i;
  return true;
}

bool ToptionVar::getValue(Tstring& value) const {
  if (fKind != kString) return false;
  value = *fValue.s;
  return true;
}

TdoubleArray* ToptionVar::asDoubleArray() const {
  return fKind == kDoubleArray ? fValue.da : nullptr;
}
Tint32Array* ToptionVar::asInt32Array() const { return fKind == kIntArray ? fValue.ia : nullptr; }
TstringArray* ToptionVar::asStringArray() const {
  return fKind == kStringArray ? fValue.sa : nullptr;
}

unsigned ToptionVar::arraySize() const {
  switch (fKind) {
    case kDouble:
    case kInt:
    case kString: return 1;
    case kDoubleArray: return fValue.da->size();
    case kIntArray: return fValue.ia->size();
    case kStringArray: return fValue.sa->size();
    default: return 0;
  }
}
