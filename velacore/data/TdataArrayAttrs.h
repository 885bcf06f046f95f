// TdataArrayAttrs: a particle set as named attribute values ("newParticles", tag NWP#): each
// attribute is a Tdata, usually an array letter with one element per particle.
//
//   auto* particles = new TdataArrayAttrs;
//   particles->set("position", Tdata(new TdataDoubleArray(positions)));
//   particles->set("age", Tdata(new TdataFloatArray(ages)));
//   Tdata d(particles);
//   if (const Tdata* age = particles->find("age")) ...
//
// The attribute values are shared as holders, so a copy of the set is cheap; the letter asks for
// deep copies of its duplicates (see Tdata::duplicateDone), and its deepCopy() gives every
// attribute a private copy, so that a changed copy never changes the original's attributes.
//
// Binary form: the attribute count (32-bit), then per attribute its name (32-bit length and the
// bytes), the tag of its value, the size of the value's binary form (32-bit) and that form;
// plain numbers are written under "DBLE" with their flags (32-bit) in front. Reading decodes
// each value through the letter that its tag names (TdataUnknown when none does) and builds
// nothing unless the whole form is sound. Text form: the count, then per attribute its quoted
// name, its type name ("number" for plain numbers) and its value's text form.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/data/Tdata.h>
#include <velacore/data/TdataLetter.h>
#include <velacore/strings/Tstring.h>

#include <utility>
#include <vector>

class VELACORE_API TdataArrayAttrs : public TdataLetter {
 public:
  VELA_DECLARE_TYPE(TdataArrayAttrs);

  TdataArrayAttrs();
  TdataArrayAttrs(const TdataArrayAttrs& other) = default;
  ~TdataArrayAttrs() override;

  /// @name Attributes
  /// @{
  [[nodiscard]] unsigned attributeCount() const { return unsigned(fAttributes.size()); }
  [[nodiscard]] const Tstring& attributeName(unsigned i) const { return fAttributes[i].first; }
  [[nodiscard]] const Tdata& attribute(unsigned i) const { return fAttributes[i].second; }
  /// The attribute called `name`, or null.
  [[nodiscard]] const Tdata* find(const char* name) const;
  [[nodiscard]] Tdata* find(const char* name);
  /// Sets (or adds, at the end) the attribute `name`, sharing `value` as a holder.
  void set(const Tstring& name, const Tdata& value);
  /// Removes the attribute `name`; false when there is none.
  bool remove(const char* name);
  /// @}

  void debug(TdebugOutput& out, unsigned details = 0) const override;
  void footprint(Footprint& fp) const override;
  /// Removes every attribute.
  void reset() override { fAttributes.clear(); }
  [[nodiscard]] TdataLetter* copy() const override { return new TdataArrayAttrs(*this); }
  /// Equal: the same names in the same order with equal values.
  VELA_DATA_LETTER_EQUALITY()
  int readBinary(TiffTag tag, unsigned& size, const void*& cursor) override;
  int writeBinary(TiffFile& file) const override;
  int readASCII(const TargList& args, unsigned& index, int flags) override;
  int writeASCII(Tfile& file, int flags) const override;
  /// Gives every attribute a private copy of its value.
  void deepCopy() override;
  bool smartCopy(const TdataLetter* source) override;

 private:
  std::vector<std::pair<Tstring, Tdata>> fAttributes;
};
