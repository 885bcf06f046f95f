// TmetaLetter: finds data-letter classes by type name or IFF tag.
//
// Each letter class registers itself once, at static initialisation, with a TmetaLetter made
// from its metaclass; readers of files and scripts then make letters of a class chosen at run
// time:
//
//   static const TmetaLetter gRegistration(TdataDoubleArray::sTypeof());   // in the .cpp
//   TdataLetter* l = TmetaLetter::construct(TiffTag("DBL#"));              // a new doubleArray
//   TdataLetter* u = TmetaLetter::construct("noSuchType");                 // a TdataUnknown
//
// The first registration of a name or a tag wins; later ones leave it as it is. construct()
// never answers null: an unknown (or abstract) class gives a TdataUnknown letter, which keeps
// the tag it was asked for.
//
// Hazards: registration takes a spin lock, lookups take none. Register during static
// initialisation (or before other threads look letters up), as every letter class does.
#pragma once

#include <velacore/base/TiffTag.h>
#include <velacore/base/TvelacoreApi.h>

class TdataLetter;
class Tmetaclass;

class VELACORE_API TmetaLetter {
 public:
  /// Registers `letterClass` by its name and by its tag (a tag of 0 is not registered).
  explicit TmetaLetter(Tmetaclass* letterClass);

  [[nodiscard]] Tmetaclass* typeId() const { return fClass; }
  [[nodiscard]] const char* name() const;
  [[nodiscard]] TiffTag iffTag() const;
  /// A new letter of this class.
  [[nodiscard]] TdataLetter* createDataLetter() const;

  /// A new letter of the class registered under `name` or `tag`; a TdataUnknown when there is
  /// none (or it cannot be created). Never null; the caller owns it (wrap it in a Tdata).
  [[nodiscard]] static TdataLetter* construct(const char* name);
  [[nodiscard]] static TdataLetter* construct(const TiffTag& tag);
  /// The class registered under `name` (null for a null or empty name) or `tag`, or null.
  [[nodiscard]] static Tmetaclass* findTypeid(const char* name);
  [[nodiscard]] static Tmetaclass* findTypeid(const TiffTag& tag);

 private:
  Tmetaclass* fClass;
};
