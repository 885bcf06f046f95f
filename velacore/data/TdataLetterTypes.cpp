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
#define VELA_DATA_LETTER_TYPE(X, Super)                                                      \
  VELA_DEFINE_TYPE_AS(X::kTypeName, X::kTag.value(), TtypeKind::kConcrete, X, Super);          \
  static const TmetaLetter X##Registration(X##Tmeta)
// The same for a compound, one specialisation of TdataCompoundTuple named by its alias.
#define VELA_DATA_COMPOUND_TYPE(X)                                                           \
  VELA_DEFINE_TEMPLATE_TYPE_AS(X::kTypeName, X::kTag.value(), TtypeKind::kConcrete, X,       \
                               TdataCompound);                                               \
  static const TmetaLetter X##Registration(X##Tmeta)

VELA_DATA_LETTER_TYPE(TdataVoidPtr, TdataLetter);
VELA_DATA_LETTER_TYPE(TdataUnknown, TdataLetter);
VELA_DATA_LETTER_TYPE(TdataUInt64Array, TdataLetter);
VELA_DATA_LETTER_TYPE(TdataSpectrum, TdataLetter);
VELA_DATA_LETTER_TYPE(TdataReflectance, TdataLetter);
VELA_DATA_LETTER_TYPE(TdataMatrix, TdataLetter);
VELA_DATA_LETTER_TYPE(TdataInt32Array, TdataLetter);
VELA_DATA_LETTER_TYPE(TdataInt64Array, TdataLetter);
VELA_DATA_LETTER_TYPE(TdataDoubleArray, TdataLetter);
VELA_DATA_LETTER_TYPE(TdataFloatArray, TdataLetter);
VELA_DATA_LETTER_TYPE(TdataBinary, TdataLetter);
VELA_DATA_COMPOUND_TYPE(Tdata4Double);
VELA_DATA_COMPOUND_TYPE(Tdata3Int32);
VELA_DATA_COMPOUND_TYPE(Tdata3Int16);
VELA_DATA_COMPOUND_TYPE(Tdata3Float);
VELA_DATA_COMPOUND_TYPE(Tdata3Double);
VELA_DATA_COMPOUND_TYPE(Tdata2Int32);
VELA_DATA_COMPOUND_TYPE(Tdata2Int16);
VELA_DATA_COMPOUND_TYPE(Tdata2Float);
VELA_DATA_COMPOUND_TYPE(Tdata2Double);
#undef VELA_DATA_LETTER_TYPE
#undef VELA_DATA_COMPOUND_TYPE
