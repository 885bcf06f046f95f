// TenvGuard: puts the whole process environment back as it was when the guard was made.
//
//   {
//     TenvGuard guard;
//     VelaPutEnv("HOME=/tmp/test-home");
//     runCodeThatReadsHome();
//   }  // HOME and every other variable are back; variables added meanwhile are gone
//
// Meant for tests and for code that changes the environment for a short while. The copy and the
// restore take the same lock as VelaGetEnv/VelaPutEnv, but other threads that change variables
// while a guard is alive have their changes undone with everything else. The restore does not
// call the callbacks of VelaSetModifyEnvCallbacks: a mirror is not told about the undoing.
#pragma once

#include <velacore/base/TvelacoreApi.h>

#include <string>
#include <vector>

class VELACORE_API TenvGuard {
 public:
  /// Copies the environment.
  TenvGuard();
  /// Restores the copied environment.
  ~TenvGuard();
  TenvGuard(const TenvGuard&) = delete;
  TenvGuard& operator=(const TenvGuard&) = delete;

  /// Every "NAME=value" entry of the process environment, taken under the environment lock.
  [[nodiscard]] static std::vector<std::string> copyEnv();

  /// Puts the copied environment back now (the destructor does it again).
  void restore() const;

 private:
  std::vector<std::string> fSaved;
};
