#include <velacore/environment/TprefOptionVar.h>

#include <velacore/environment/TpreferenceItem.h>

namespace {
template <class T>
bool getFrom(const Tstring& name, T& value) {
  TprefOptionVars* prefs = TprefOptionVar::sCollection();
  return prefs != nullptr && prefs->getVar(name, value);
}

template <class T>
void setInto(const Tstring& name, const T& value) {
  if (TprefOptionVars* prefs = TprefOptionVar::sCollection()) prefs->addVar(name, value);
}
}  // namespace

TprefOptionVars* TprefOptionVar::sCollection() {
  TpreferenceItem* item = nullptr;
  if (!TglobalPrefMgr::getPrefItem(TprefOptionVars::kItemType, item)) return nullptr;
  if (!item->typeof()->isa(TprefOptionVars::sTypeof())) return nullptr;
  return static_cast<TprefOptionVars*>(item);
}

bool TprefOptionVar::getOptionVarValue(const Tstring& name, double& value) {
  return getFrom(name, value);
}
bool TprefOptionVar::getOptionVarValue(const Tstring& name, int& value) {
  return getFrom(name, value);
}
bool TprefOptionVar::getOptionVarValue(const Tstring& name, Tstring& value) {
  return getFrom(name, value);
}
bool TprefOptionVar::getOptionVarValue(const Tstring& name, TdoubleArray& value) {
  return getFrom(name, value);
}
bool TprefOptionVar::getOptionVarValue(const Tstring& name, Tint32Array& value) {
  return getFrom(name, value);
}
bool TprefOptionVar::getOptionVarValue(const Tstring& name, TstringArray& value) {
  return getFrom(name, value);
}
void TprefOptionVar::setOptionVarValue(const Tstring& name, double value) { setInto(name, value); }
void TprefOptionVar::setOptionVarValue(const Tstring& name, int value) { setInto(name, value); }
void TprefOptionVar::setOptionVarValue(const Tstring& name, const Tstring& value) {
  setInto(name, value);
}
void TprefOptionVar::setOptionVarValue(const Tstring& name, const TdoubleArray& value) {
  setInto(name, value);
}
void TprefOptionVar::setOptionVarValue(const Tstring& name, const Tint32Array& value) {
  setInto(name, value);
}
void TprefOptionVar::setOptionVarValue(const Tstring& name, const TstringArray& value) {
  setInto(name, value);
}

void TprefOptionVar::removeOptionVar(const Tstring& name) {
  if (TprefOptionVars* prefs = sCollection()) prefs->removeVar(name);
}
void TprefOptionVar::removeAllOptionVars() {
  if (TprefOptionVars* prefs = sCollection()) prefs->removeAllVars();
}
bool TprefOptionVar::optionVarExists(const Tstring& name) {
  TprefOptionVars* prefs = sCollection();
  return prefs != nullptr && prefs->varExists(name);
}
bool TprefOptionVar::addClient(const Tstring& name, void* client, int clientType,
                               TclientCallback callback) {
  TprefOptionVars* prefs = sCollection();
  return prefs != nullptr && prefs->addClient(name, client, clientType, callback);
}
bool TprefOptionVar::addClient(const Tstring& name, TclientServer* client, int clientType,
                               TclientCallback callback) {
  TprefOptionVars* prefs = sCollection();
  return prefs != nullptr && prefs->addClient(name, client, clientType, callback);
}
