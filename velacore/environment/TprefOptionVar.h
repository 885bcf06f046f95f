// TprefOptionVar: static access to the option variables through the preference manager, for
// callers that hold no reference to the collection.
//
//   TglobalPrefMgr::addPrefItem(new TprefOptionVars);
//   TprefOptionVar::setOptionVarValue("gridSpacing", 2.5);
//   double d = 0.0;
//   TprefOptionVar::getOptionVarValue("gridSpacing", d);   // true, d == 2.5
//
// Hazards:
// - With no option-variable item registered (type 1403), getters answer false and setters
//   do nothing, silently.
// - Not thread-safe, like the collection.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/environment/TprefOptionVars.h>

class VELACORE_API TprefOptionVar {
 public:
  TprefOptionVar() = delete;

  static bool getOptionVarValue(const Tstring& name, double& value);
  static bool getOptionVarValue(const Tstring& name, int& value);
  static bool getOptionVarValue(const Tstring& name, Tstring& value);
  static bool getOptionVarValue(const Tstring& name, TdoubleArray& value);
  static bool getOptionVarValue(const Tstring& name, Tint32Array& value);
  static bool getOptionVarValue(const Tstring& name, TstringArray& value);
  static void setOptionVarValue(const Tstring& name, double value);
  static void setOptionVarValue(const Tstring& name, int value);
  static void setOptionVarValue(const Tstring& name, const Tstring& value);
  static void setOptionVarValue(const Tstring& name, const TdoubleArray& value);
  static void setOptionVarValue(const Tstring& name, const Tint32Array& value);
  static void setOptionVarValue(const Tstring& name, const TstringArray& value);
  static void removeOptionVar(const Tstring& name);
  static void removeAllOptionVars();
  static bool optionVarExists(const Tstring& name);
  static bool addClient(const Tstring& name, void* client, int clientType,
                        TclientCallback callback);
  /// The same for a client that unsubscribes itself when it is destroyed first.
  static bool addClient(const Tstring& name, TclientServer* client, int clientType,
                        TclientCallback callback);

  /// The registered collection, or null.
  static TprefOptionVars* sCollection();
};
