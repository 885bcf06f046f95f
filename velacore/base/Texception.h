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
#include <new>
#include <string>

/// Base class of every exception the library throws; catch it to handle any of them.
///
/// Each concrete class is also exactly one standard exception, so that host code that knows only
/// the standard library sees them too: `TmemoryException` is a `std::bad_alloc`, the others are
/// `std::exception`s. Texception itself has no standard base (out-of-memory would then reach
/// `std::exception` twice, and a `std::exception` handler must find one base to match), which is
/// why it is only ever thrown as one of its subclasses: its constructor is protected.
class VELACORE_API Texception {
  VELA_DECLARE_TYPE(Texception);

 public:
  virtual ~Texception();

  /// The message given at construction.
  [[nodiscard]] const char* message() const noexcept { return fMessage.c_str(); }
  /// The message; each subclass's what() also answers for its standard base.
  [[nodiscard]] virtual const char* what() const noexcept { return fMessage.c_str(); }

 protected:
  /// An exception with the given message (may be empty).
  explicit Texception(std::string message = std::string());
  Texception(const Texception&) = default;
  Texception& operator=(const Texception&) = default;

 private:
  std::string fMessage;
};

/// A file could not be used. `code()` says why: an errno value, or a code of the caller's.
class VELACORE_API TfileException : public Texception, public std::exception {
  VELA_DECLARE_TYPE(TfileException);

 public:
  explicit TfileException(int code, std::string message = std::string());
  ~TfileException() override;

  /// The integer code given at construction.
  [[nodiscard]] int code() const noexcept { return fCode; }
  [[nodiscard]] const char* what() const noexcept override { return message(); }

 private:
  int fCode;
};

/// Data of one type was given where another, incompatible type was required.
class VELACORE_API TincompatibleData : public Texception, public std::exception {
  VELA_DECLARE_TYPE(TincompatibleData);

 public:
  explicit TincompatibleData(std::string message = std::string());
  ~TincompatibleData() override;
  [[nodiscard]] const char* what() const noexcept override { return message(); }
};

/// Memory could not be obtained. Whatever raised it was left unchanged. Also a `std::bad_alloc`,
/// so that a host's out-of-memory handler sees the failures of the library's allocator.
class VELACORE_API TmemoryException : public Texception, public std::bad_alloc {
  VELA_DECLARE_TYPE(TmemoryException);

 public:
  explicit TmemoryException(std::string message = "out of memory");
  ~TmemoryException() override;
  [[nodiscard]] const char* what() const noexcept override { return message(); }
};
