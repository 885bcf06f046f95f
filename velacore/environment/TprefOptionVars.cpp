#include <velacore/environment/TprefOptionVars.h>

#include <velacore/base/TbigEndian.h>

#include <algorithm>
#include <cstring>
#include <string_view>

VELA_DEFINE_TYPE(TprefOptionVars, TpreferenceItem);

const int TprefOptionVars::fsVersion = 3;
const char* const TprefOptionVars::fsVersionChanges[] = {
    "v1 - Preference versioning added",
    ("v2 - userPrefs.vsl is okay. Shelves dir moved to $VELA_APP_DIR/prefs/shelves/. Save prefs "
     "then remove old files; $VELA_APP_DIR/scripts/shelf_*."),
    "v3 - playbackSpeed changed to a float value.  Remove -sv \"timelinePlaySpeed\"",
};

namespace {
// What each element type means for a variable: its scalar kind, its array kind and array.
template <class T>
struct Tkinds;
template <>
struct Tkinds<double> {
  using Array = TdoubleArray;
  static constexpr ToptionVar::ToptionVarType kScalar = ToptionVar::kDouble;
  static Array* array(const ToptionVar& v) { return v.asDoubleArray(); }
};
template <>
struct Tkinds<int> {
  using Array = Tint32Array;
  static constexpr ToptionVar::ToptionVarType kScalar = ToptionVar::kInt;
  static Array* array(const ToptionVar& v) { return v.asInt32Array(); }
};
template <>
struct Tkinds<Tstring> {
  using Array = TstringArray;
  static constexpr ToptionVar::ToptionVarType kScalar = ToptionVar::kString;
  static Array* array(const ToptionVar& v) { return v.asStringArray(); }
};

// The T array of `v` when `index` is one of its positions (or, with `endToo`, its end); null
// for a missing variable, another kind or an index out of range.
template <class T>
typename Tkinds<T>::Array* arrayAt(const ToptionVar* v, unsigned index, bool endToo) {
  auto* array = v == nullptr ? nullptr : Tkinds<T>::array(*v);
  if (array == nullptr || index > array->size() || (index == array->size() && !endToo)) {
    return nullptr;
  }
  return array;
}

// Copies the T array of `v` into `value`; false (value untouched) when there is none.
template <class T>
bool copyArray(const ToptionVar* v, typename Tkinds<T>::Array& value) {
  const auto* array = v == nullptr ? nullptr : Tkinds<T>::array(*v);
  if (array == nullptr) return false;
  value.copy(*array);
  return true;
}

// Applies `edit` to the T array of `v` where arrayAt finds it, then tells the variable's clients.
template <class T, class Edit>
bool editElement(ToptionVar* v, unsigned index, bool endToo, Edit edit) {
  auto* array = arrayAt<T>(v, index, endToo);
  if (array == nullptr) return false;
  edit(*array);
  v->notifyClients();
  return true;
}

// Arrays made here grow by eight elements.
constexpr std::uint32_t kGrowth = 8;

// The escaped form of a string value: C escapes, then each double quote behind a backslash.
// One pass that escapes the quotes too gives exactly that, without scanning the text twice.
void appendEscaped(Tstring& text, const Tstring& value) {
  Tstring escaped(value);
  text.append(escaped.encodeEscapeSequences(true));
}

void appendFlag(Tstring& text, const char* flag, const Tstring& name) {
  text.append("\n -");
  text.append(flag);
  text.append(" \"");
  text.append(name);
  text.append("\"");
}

void appendInt(Tstring& text, int value) {
  Tstring number;
  number.setInt32(value);
  text.append(" ");
  text.append(number);
}

void appendDouble(Tstring& text, double value) {
  text.append(" ");
  text.catenateDouble(value);
}

void appendQuoted(Tstring& text, const Tstring& value) {
  text.append(" \"");
  appendEscaped(text, value);
  text.append("\"");
}
}  // namespace

TprefOptionVars::TprefOptionVars() : TpreferenceItem(kItemType, kItemFlags) {}

TprefOptionVars::~TprefOptionVars() { removeAllVars(); }

TprefOptionVars::Tkey TprefOptionVars::keyOf(const Tstring& name, ToptionVar* var) {
  // The first sixteen bytes as two big-endian numbers (zero-padded), so that comparing the
  // numbers orders the names by their leading bytes without a call to memcmp.
  unsigned char head[16] = {};
  const unsigned length = name.length();
  std::memcpy(head, name.asC(), length < 16 ? length : 16);
  return Tkey{TbigEndian::read<std::uint64_t>(head), TbigEndian::read<std::uint64_t>(head + 8),
              length, var};
}

int TprefOptionVars::compareKeys(const Tkey& a, const Tkey& b, const Tstring& bName) {
  if (a.hi != b.hi) return a.hi < b.hi ? -1 : 1;
  if (a.lo != b.lo) return a.lo < b.lo ? -1 : 1;
  if (a.length <= 16 && b.length <= 16) return (a.length > b.length) - (a.length < b.length);
  // Equal leading bytes and a longer name: the rest decides (in byte order).
  std::string_view x(a.var->name().asC(), a.length);
  std::string_view y(bName.asC(), b.length);
  x.remove_prefix(x.size() < 16 ? x.size() : 16);
  y.remove_prefix(y.size() < 16 ? y.size() : 16);
  return x.compare(y);
}

bool TprefOptionVars::varExists(const Tstring& name, unsigned& index) const {
  // Searched in compact copies of the names' leading bytes: one cache line per probe, and no
  // hop through the variable and its name's body unless sixteen bytes tie.
  const Tkey key = keyOf(name, nullptr);
  const auto found = std::lower_bound(
      fKeys.begin(), fKeys.end(), key,
      [&name](const Tkey& k, const Tkey& n) { return compareKeys(k, n, name) < 0; });
  index = static_cast<unsigned>(found - fKeys.begin());
  return found != fKeys.end() && compareKeys(*found, key, name) == 0;
}

void TprefOptionVars::insertVar(ToptionVar* v, unsigned index) {
  fKeys.insert(fKeys.begin() + index, keyOf(v->name(), v));
}

bool TprefOptionVars::varExists(const Tstring& name) const {
  unsigned index = 0;
  return varExists(name, index);
}

ToptionVar* TprefOptionVars::findVar(const Tstring& name) const {
  unsigned index = 0;
  return varExists(name, index) ? fKeys[index].var : nullptr;
}

template <class T>
void TprefOptionVars::addVarOf(const Tstring& name, const T& value) {
  unsigned index = 0;
  if (varExists(name, index)) {
    fKeys[index].var->setValue(value);
  } else {
    insertVar(new ToptionVar(name, value), index);
  }
}

void TprefOptionVars::addVar(const Tstring& name, double value) { addVarOf(name, value); }
void TprefOptionVars::addVar(const Tstring& name, int value) { addVarOf(name, value); }
void TprefOptionVars::addVar(const Tstring& name, const Tstring& value) { addVarOf(name, value); }
void TprefOptionVars::addVar(const Tstring& name, const TdoubleArray& value) {
  addVarOf(name, value);
}
void TprefOptionVars::addVar(const Tstring& name, const Tint32Array& value) {
  addVarOf(name, value);
}
void TprefOptionVars::addVar(const Tstring& name, const TstringArray& value) {
  addVarOf(name, value);
}

template <class T>
bool TprefOptionVars::getVarOf(const Tstring& name, T& value) const {
  const ToptionVar* v = findVar(name);
  return v != nullptr && v->getValue(value);
}

bool TprefOptionVars::getVar(const Tstring& name, double& value) const {
  return getVarOf(name, value);
}
bool TprefOptionVars::getVar(const Tstring& name, int& value) const {
  return getVarOf(name, value);
}
bool TprefOptionVars::getVar(const Tstring& name, Tstring& value) const {
  return getVarOf(name, value);
}
bool TprefOptionVars::getVar(const Tstring& name, TdoubleArray& value) const {
  return copyArray<double>(findVar(name), value);
}
bool TprefOptionVars::getVar(const Tstring& name, Tint32Array& value) const {
  return copyArray<int>(findVar(name), value);
}
bool TprefOptionVars::getVar(const Tstring& name, TstringArray& value) const {
  return copyArray<Tstring>(findVar(name), value);
}

void TprefOptionVars::removeVar(const Tstring& name) {
  unsigned index = 0;
  if (!varExists(name, index)) return;
  ToptionVar* doomed = fKeys[index].var;
  fKeys.erase(fKeys.begin() + index);
  delete doomed;
}

void TprefOptionVars::removeAllVars() {
  for (const Tkey& k : fKeys) delete k.var;
  fKeys.clear();
}

template <class T>
bool TprefOptionVars::addLastOf(const Tstring& name, const T& value) {
  using Kinds = Tkinds<T>;
  unsigned index = 0;
  if (!varExists(name, index)) {
    typename Kinds::Array one(kGrowth);
    one.addLast(value);
    insertVar(new ToptionVar(name, one), index);
    return true;
  }
  ToptionVar* v = fKeys[index].var;
  if (auto* array = Kinds::array(*v)) {
    array->addLast(value);
    v->notifyClients();
    return true;
  }
  T old{};
  if (v->varType() != Kinds::kScalar || !v->getValue(old)) return false;
  typename Kinds::Array two(kGrowth);
  two.addLast(old);
  two.addLast(value);
  v->setValue(two);
  return true;
}

bool TprefOptionVars::addLastArrayVar(const Tstring& name, double value) {
  return addLastOf(name, value);
}
bool TprefOptionVars::addLastArrayVar(const Tstring& name, int value) {
  return addLastOf(name, value);
}
bool TprefOptionVars::addLastArrayVar(const Tstring& name, const Tstring& value) {
  return addLastOf(name, value);
}

template <class T>
bool TprefOptionVars::insertOf(const Tstring& name, unsigned index, const T& value) {
  return editElement<T>(findVar(name), index, true,
                        [&](typename Tkinds<T>::Array& array) { array.insert(value, index); });
}

bool TprefOptionVars::insertArrayVar(const Tstring& name, unsigned index, double value) {
  return insertOf(name, index, value);
}
bool TprefOptionVars::insertArrayVar(const Tstring& name, unsigned index, int value) {
  return insertOf(name, index, value);
}
bool TprefOptionVars::insertArrayVar(const Tstring& name, unsigned index, const Tstring& value) {
  return insertOf(name, index, value);
}

template <class T>
bool TprefOptionVars::replaceOf(const Tstring& name, unsigned index, const T& value) {
  return editElement<T>(findVar(name), index, false,
                        [&](typename Tkinds<T>::Array& array) { array[index] = value; });
}

bool TprefOptionVars::replaceArrayVar(const Tstring& name, unsigned index, double value) {
  return replaceOf(name, index, value);
}
bool TprefOptionVars::replaceArrayVar(const Tstring& name, unsigned index, int value) {
  return replaceOf(name, index, value);
}
bool TprefOptionVars::replaceArrayVar(const Tstring& name, unsigned index, const Tstring& value) {
  return replaceOf(name, index, value);
}

bool TprefOptionVars::removeArrayVar(const Tstring& name, unsigned index) {
  ToptionVar* v = findVar(name);
  if (v == nullptr || !v->isArray() || index >= v->arraySize()) return false;
  if (auto* a = v->asDoubleArray()) a->removeAt(index);
  if (auto* a = v->asInt32Array()) a->removeAt(index);
  if (auto* a = v->asStringArray()) a->removeAt(index);
  v->notifyClients();
  return true;
}

bool TprefOptionVars::clearArrayVar(const Tstring& name) {
  ToptionVar* v = findVar(name);
  if (v == nullptr || !v->isArray()) return false;
  if (auto* a = v->asDoubleArray()) a->changeLogicalSizeTo(0);
  if (auto* a = v->asInt32Array()) a->changeLogicalSizeTo(0);
  if (auto* a = v->asStringArray()) a->changeLogicalSizeTo(0);
  v->notifyClients();
  return true;
}

template <class T>
bool TprefOptionVars::getElementOf(const Tstring& name, unsigned index, T& value) const {
  const auto* array = arrayAt<T>(findVar(name), index, false);
  if (array == nullptr) return false;
  value = (*array)[index];
  return true;
}

bool TprefOptionVars::getArrayVar(const Tstring& name, unsigned index, double& value) const {
  return getElementOf(name, index, value);
}
bool TprefOptionVars::getArrayVar(const Tstring& name, unsigned index, int& value) const {
  return getElementOf(name, index, value);
}
bool TprefOptionVars::getArrayVar(const Tstring& name, unsigned index, Tstring& value) const {
  return getElementOf(name, index, value);
}

unsigned TprefOptionVars::varSize(const Tstring& name) const {
  const ToptionVar* v = findVar(name);
  return v == nullptr ? 0 : v->arraySize();
}

ToptionVar::ToptionVarType TprefOptionVars::varType(const Tstring& name) const {
  const ToptionVar* v = findVar(name);
  return v == nullptr ? ToptionVar::kNone : v->varType();
}

Tstring TprefOptionVars::var(unsigned i) const {
  return i < fKeys.size() ? fKeys[i].var->name() : Tstring();
}

template <class Client>
bool TprefOptionVars::addClientOf(const Tstring& name, Client* client, int clientType,
                                  TclientCallback callback) {
  ToptionVar* v = findVar(name);
  return v != nullptr && v->addClient(client, clientType, callback);
}

bool TprefOptionVars::addClient(const Tstring& name, void* client, int clientType,
                                TclientCallback callback) {
  return addClientOf(name, client, clientType, callback);
}
bool TprefOptionVars::addClient(const Tstring& name, TclientServer* client, int clientType,
                                TclientCallback callback) {
  return addClientOf(name, client, clientType, callback);
}

void TprefOptionVars::commandString(Tstring& text) const {
  text = Tstring();
  text.reserve(10000, false);
  const unsigned count = numVars();
  if (count == 0) {
    text.append("// no optionVars defined\n");
    return;
  }
  text.append("\noptionVar -version ");
  Tstring number;
  number.setInt32(fsVersion);
  text.append(number);
  text.append(";\noptionVar");
  for (unsigned i = 0; i < count; ++i) {
    const ToptionVar& v = *fKeys[i].var;
    const Tstring& name = v.name();
    switch (v.varType()) {
      case ToptionVar::kDouble: {
        double d = 0.0;
        v.getValue(d);
        appendFlag(text, "fv", name);
        appendDouble(text, d);
        break;
      }
      case ToptionVar::kInt: {
        int n = 0;
        v.getValue(n);
        appendFlag(text, "iv", name);
        appendInt(text, n);
        break;
      }
      case ToptionVar::kString: {
        Tstring s;
        v.getValue(s);
        appendFlag(text, "sv", name);
        appendQuoted(text, s);
        break;
      }
      case ToptionVar::kDoubleArray:
        appendFlag(text, "ca", name);
        for (double d : *v.asDoubleArray()) {
          appendFlag(text, "fva", name);
          appendDouble(text, d);
        }
        break;
      case ToptionVar::kIntArray:
        appendFlag(text, "ca", name);
        for (std::int32_t n : *v.asInt32Array()) {
          appendFlag(text, "iva", name);
          appendInt(text, n);
        }
        break;
      case ToptionVar::kStringArray:
        appendFlag(text, "ca", name);
        for (const Tstring& s : *v.asStringArray()) {
          appendFlag(text, "sva", name);
          appendQuoted(text, s);
        }
        break;
      default: break;
    }
    // The first command carries variables 0 to 10, every later one ten more.
    if (i != 0 && i % 10 == 0 && i != count - 1) text.append(";\noptionVar");
  }
  text.append(";\n");
}

Tstring TprefOptionVars::versionString(unsigned i) {
  const unsigned n = sizeof(fsVersionChanges) / sizeof(fsVersionChanges[0]);
  return i < n ? Tstring(fsVersionChanges[i]) : Tstring();
}
