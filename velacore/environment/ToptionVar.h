// ToptionVar: one named option variable holding a double, an integer, a string, or an array
// of one of these. Every setValue sends a ToptionVarChangedMsg to the variable's clients.
//
//   ToptionVar v("gridSpacing", 2.5);
//   double d = 0.0;
//   v.getValue(d);                         // true, d == 2.5
//   int i = 7;
//   v.getValue(i);                         // false, i stays 7 (the kind differs)
//   TstringArray names;
//   names.addLast("persp");
//   v.setValue(names);                     // now a string array of one element
//   unsigned size = v.arraySize();         // 1
//
// Hazards:
// - Arrays are copied in and owned by the variable; the pointers from asDoubleArray() and
//   friends die with the next setValue.
// - Not thread-safe.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/containers/TvalueArray.h>
#include <velacore/environment/TclientServer.h>
#include <velacore/strings/Tstring.h>
#include <velacore/strings/TstringArray.h>
#include <velacore/types/Tmetaclass.h>

#include <cstdint>

/// Sent to a variable's clients after each setValue.
class VELACORE_API ToptionVarChangedMsg : public TserverModifiedMsg {
 public:
  explicit ToptionVarChangedMsg(const class ToptionVar& var) : fVar(var) {}
  ~ToptionVarChangedMsg() override;
  [[nodiscard]] const ToptionVar& var() const { return fVar; }

 private:
  const ToptionVar& fVar;
};

class VELACORE_API ToptionVar : public TclientServer {
  VELA_DECLARE_TYPE(ToptionVar);

 public:
  enum ToptionVarType : std::int32_t {
    kNone = 0,
    kDouble = 1,
    kInt = 2,
    kString = 3,
    kDoubleArray = 4,
    kIntArray = 5,
    kStringArray = 6,
  };

  /// A nameless variable of kind none.
  ToptionVar() { fValue.d = 0.0; }
  ToptionVar(const Tstring& name, double value);
  ToptionVar(const Tstring& name, int value);
  ToptionVar(const Tstring& name, const Tstring& value);
  ToptionVar(const Tstring& name, const TdoubleArray& value);
  ToptionVar(const Tstring& name, const Tint32Array& value);
  ToptionVar(const Tstring& name, const TstringArray& value);
  ToptionVar(const ToptionVar&) = delete;
  ToptionVar& operator=(const ToptionVar&) = delete;
  ~ToptionVar() override;

  void setValue(double value);
  void setValue(int value);
  void setValue(const Tstring& value);
  void setValue(const TdoubleArray& value);
  void setValue(const Tint32Array& value);
  void setValue(const TstringArray& value);

  /// Each answers false and leaves `value` unchanged when the kind differs.
  bool getValue(double& value) const;
  bool getValue(int& value) const;
  bool getValue(Tstring& value) const;

  /// The array, or null when the kind differs.
  [[nodiscard]] TdoubleArray* asDoubleArray() const;
  [[nodiscard]] Tint32Array* asInt32Array() const;
  [[nodiscard]] TstringArray* asStringArray() const;

  [[nodiscard]] bool isArray() const { return fKind >= kDoubleArray && fKind <= kStringArray; }
  /// 1 for scalars, the element count for arrays, 0 for kind none.
  [[nodiscard]] unsigned arraySize() const;
  [[nodiscard]] const Tstring& name() const { return fName; }
  [[nodiscard]] ToptionVarType varType() const { return fKind; }

  /// Tells the clients that the value changed in place (array element edits).
  void notifyClients();

 private:
  void release();

  ToptionVarType fKind = kNone;
  Tstring fName;
  union {
    double d;
    std::int32_t i;
    Tstring* s;
    TdoubleArray* da;
    Tint32Array* ia;
    TstringArray* sa;
  } fValue;
};
