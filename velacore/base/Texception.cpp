#include <velacore/base/Texception.h>

#include <velacore/types/Tmetaclass.h>

#include <utility>

// Out-of-line destructors anchor each class's vtable and type information in the library, so that
// catch clauses in other modules match the exact type thrown here.
Texception::Texception(std::string message) : fMessage(std::move(message)) {}
Texception::~Texception() = default;

TfileException::TfileException(int code, std::string message)
    : Texception(std::move(message)), fCode(code) {}
TfileException::~TfileException() = default;

TincompatibleData::TincompatibleData(std::string message) : Texception(std::move(message)) {}
TincompatibleData::~TincompatibleData() = default;

TmemoryException::TmemoryException(std::string message) : Texception(std::move(message)) {}
TmemoryException::~TmemoryException() = default;

VELA_DEFINE_ABSTRACT_TYPE(Texception);  // thrown only as one of its subclasses
VELA_DEFINE_ABSTRACT_TYPE(TfileException, Texception);  // needs a code
VELA_DEFINE_TYPE(TincompatibleData, Texception);
VELA_DEFINE_TYPE(TmemoryException, Texception);
