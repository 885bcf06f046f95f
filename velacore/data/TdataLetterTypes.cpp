// The metaclasses of the letter classes and their registration by name and tag. They live in
// one file so that every metaclass exists before the TmetaLetter that reads it.
#include <velacore/data/TdataBinary.h>
#include <velacore/data/TdataCompound.h>
#include <velacore/data/TdataLetter.h>
#include <velacore/data/TdataMatrix.h>
#include <velacore/data/TdataSpectrum.h>
#include <velacore/data/TdataTypedArray.h>
#include <velacore/data/TdataUnknown.h>
#include <velacore/data/TdataVoidPtr.h>
#include <velacore/data/TmetaLetter.h>

VELA_DEFINE_TYPE(TdataLetter);
VELA_DEFINE_TYPE_AS(TdataCompound::kTypeName, TdataCompound::kTag.value(), TtypeKind::kAbstract,
                    TdataCompound, TdataLetter);
static const TmetaLetter TdataCompoundRegistration(TdataCompoundTmeta);

// A letter class with its own name and tag, directly below `Super`, registered for lookups.
#define VELA_DATA_LETTER_TYPE(X, Super)                                               \
  VELA_DEFINE_TYPE_AS(X::kTypeName, X::kTag.value(), TtypeKind::kConcrete, X, Super); \
  static const TmetaLetter X##Registration(X##Tmeta)
// The same for a letter class that is one specialisation of a template, named by its alias.
#define VELA_DATA_ALIAS_TYPE(X, Super)                                                         \
  VELA_DEFINE_TEMPLATE_TYPE_AS(X::kTypeName, X::kTag.value(), TtypeKind::kConcrete, X, Super); \
  static const TmetaLetter X##Registration(X##Tmeta)

VELA_DATA_LETTER_TYPE(TdataVoidPtr, TdataLetter);
VELA_DATA_LETTER_TYPE(TdataUnknown, TdataLetter);
VELA_DATA_ALIAS_TYPE(TdataUInt64Array, TdataLetter);
VELA_DATA_LETTER_TYPE(TdataSpectrum, TdataLetter);
VELA_DATA_LETTER_TYPE(TdataReflectance, TdataLetter);
VELA_DATA_LETTER_TYPE(TdataMatrix, TdataLetter);
VELA_DATA_ALIAS_TYPE(TdataInt32Array, TdataLetter);
VELA_DATA_ALIAS_TYPE(TdataInt64Array, TdataLetter);
VELA_DATA_ALIAS_TYPE(TdataDoubleArray, TdataLetter);
VELA_DATA_ALIAS_TYPE(TdataFloatArray, TdataLetter);
VELA_DATA_LETTER_TYPE(TdataBinary, TdataLetter);
VELA_DATA_ALIAS_TYPE(Tdata4Double, TdataCompound);
VELA_DATA_ALIAS_TYPE(Tdata3Int32, TdataCompound);
VELA_DATA_ALIAS_TYPE(Tdata3Int16, TdataCompound);
VELA_DATA_ALIAS_TYPE(Tdata3Float, TdataCompound);
VELA_DATA_ALIAS_TYPE(Tdata3Double, TdataCompound);
VELA_DATA_ALIAS_TYPE(Tdata2Int32, TdataCompound);
VELA_DATA_ALIAS_TYPE(Tdata2Int16, TdataCompound);
VELA_DATA_ALIAS_TYPE(Tdata2Float, TdataCompound);
VELA_DATA_ALIAS_TYPE(Tdata2Double, TdataCompound);
#undef VELA_DATA_LETTER_TYPE
#undef VELA_DATA_ALIAS_TYPE
