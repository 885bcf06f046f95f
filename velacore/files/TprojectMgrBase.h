// TprojectMgrBase: an optional resolver of variables that path expansion asks before the
// process environment.
//
// A host with projects (a project folder, per-project variables) derives from it and makes one
// instance. The first instance constructed registers itself as `theProjectMgr`; later ones leave
// the registration alone. While the registered resolver is active, TfilePath's multi-path
// expansion (`expandEnvVarsAndTilde`) asks it for every $NAME, ${NAME} and %NAME% before it asks
// the environment.
//
//   class Tprojects : public TprojectMgrBase {
//     Tstring projectRootDirectory() const override { return fRoot; }
//     bool resolveVariable(const Tstring& name, Tstring& value) const override {
//       if (name != "PROJECT") return false;
//       value = fRoot;
//       return true;
//     }
//     bool isActive() const override { return !fRoot.isEmpty(); }
//     Tstring fRoot = "/projects/ship";
//   };
//   Tprojects projects;   // "$PROJECT/scenes" now expands to "/projects/ship/scenes"
//
// Hazards: the resolver is called from whatever thread expands a path, so its operations must be
// thread-safe; and it must outlive every expansion that may still be running when it is
// destroyed (destruction unregisters it, but cannot wait for a call already in progress).
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/strings/Tstring.h>

#include <atomic>

class VELACORE_API TprojectMgrBase {
 public:
  /// The registered resolver, or null. Set by the first instance constructed while it is null,
  /// reset to null by that instance's destructor.
  static std::atomic<TprojectMgrBase*> theProjectMgr;

  /// Registers this object when no resolver is registered.
  TprojectMgrBase();
  TprojectMgrBase(const TprojectMgrBase&) = delete;
  TprojectMgrBase& operator=(const TprojectMgrBase&) = delete;
  /// Unregisters this object if it is the registered one.
  virtual ~TprojectMgrBase();

  /// The folder of the current project ("" when none is open).
  [[nodiscard]] virtual Tstring projectRootDirectory() const = 0;
  /// Looks up the variable `name` (without "$", braces or "%"). Returns whether it is known and
  /// sets `value` when it is; an empty `value` counts as unknown.
  virtual bool resolveVariable(const Tstring& name, Tstring& value) const = 0;
  /// Whether path expansion should ask this resolver at all.
  [[nodiscard]] virtual bool isActive() const = 0;
};
