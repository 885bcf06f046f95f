// Texception: the root of the exceptions velacore throws.
//
// The library raises exceptions only for exhausted memory and unusable files; everything else is
// reported through return codes (0 / -1 / 150) or developer diagnostics. Catch `Texception` to
// handle any of them, or one of the subclasses for a specific cause:
//
//   try {
//     values.addLast(x);
//   } catch (const TmemoryException& e) {
//     report(e.message());
//   }
//
// Every subclass carries a human-readable message; `TfileException` adds an integer code.
#pragma once

#include <velacore/types/TtypeDeclaration.h>

#include <exception>
#include <string>

/// Base class of every exception the library throws. Also a `std::exception`, so generic
/// handlers see `what()`.
class VELACORE_API Texception : public std::exception {
  VELA_DECLARE_TYPE(Texception);

 public:
  /// An exception with the given message (may be empty).
  explicit Texception(std::string message = std::string());
  ~Texception() override;

  /// The message given at construction.
  [[nodiscard]] const char* message() const noexcept { return fMessage.c_str(); }
  [[nodiscard]] const char* what() const noexcept override { return fMessage.c_str(); }

 private:
  std::string fMessage;
};

/// A file could not be used. `code()` says why: an errno value, or a code of the caller's.
class VELACORE_API TfileException : public Texception {
  VELA_DECLARE_TYPE(TfileException);

 public:
  explicit TfileException(int code, std::string message = std::string());
  ~TfileException() override;

  /// The integer code given at construction.
  [[nodiscard]] int code() const noexcept { return fCode; }

 private:
  int fCode;
};

/// Data of one type was given where another, incompatible type was required.
class VELACORE_API TincompatibleData : public Texception {
  VELA_DECLARE_TYPE(TincompatibleData);

 public:
  using Texception::Texception;
  ~TincompatibleData() override;
};

/// Memory could not be obtained. Whatever raised it was left unchanged.
class VELACORE_API TmemoryException : public Texception {
  VELA_DECLARE_TYPE(TmemoryException);

 public:
  explicit TmemoryException(std::string message = "out of memory");
  ~TmemoryException() override;
};
