// VPtrBase: the handle side of objects that the plug-in interface hands out.
//
// Plug-ins see library objects through handles; a handle asks its object what kind it is, keeps
// it alive through the object's own reference counts and may hang one pointer of its own on it.
// Everything here is a plain virtual member so that a plug-in built against an older library
// still finds each operation in its place.
#pragma once

#include <velacore/base/TvelacoreApi.h>

class VELACORE_API VPtrBase {
 public:
  virtual ~VPtrBase();

  /// A small number naming the object's kind for the plug-in interface.
  [[nodiscard]] virtual int apiType() const = 0;
  /// Takes and drops one reference on behalf of a handle.
  virtual void apiReference() = 0;
  virtual void apiUnreference() = 0;
  /// Whether apiReference/apiUnreference keep the object alive (else the handle must not
  /// outlive the object's owner).
  [[nodiscard]] virtual bool apiHasReferenceCounting() const = 0;
  /// The object's type as text.
  [[nodiscard]] virtual const char* apiTypeString() const = 0;
  /// One pointer that the plug-in side may hang on the object (not owned).
  [[nodiscard]] virtual void* apiUserObject() const = 0;
  virtual void setApiUserObject(void* object) = 0;
  /// Empties the object's contents (the object itself stays).
  virtual void clearInstance() = 0;

 protected:
  VPtrBase() = default;
  VPtrBase(const VPtrBase&) = default;
  VPtrBase& operator=(const VPtrBase&) = default;
};
