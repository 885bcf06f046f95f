// TdataVoidPtr: an untyped pointer as a letter ("void", tag VOID), for handing an object of the
// application through a Tdata. An optional release function is called on the pointer when the
// letter that owns it goes.
//
//   Tdata d(new TdataVoidPtr(mesh, [](void* p) { delete static_cast<Mesh*>(p); }));
//
// Copies (and so private copies made by makeWritable) point at the same object but do not own
// it. A pointer has no file form: writing writes nothing and reading gives a null pointer.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/data/TdataLetter.h>

class VELACORE_API TdataVoidPtr : public TdataLetter {
 public:
  VELA_DECLARE_TYPE(TdataVoidPtr);
  static constexpr const char* kTypeName = "void";
  static constexpr TiffTag kTag{"VOID"};
  using Trelease = void (*)(void*);

  TdataVoidPtr() = default;
  explicit TdataVoidPtr(void* pointer, Trelease release = nullptr)
      : fPointer(pointer), fRelease(release) {}
  /// Points at the same object without owning it.
  TdataVoidPtr(const TdataVoidPtr& other) : TdataLetter(other), fPointer(other.fPointer) {}
  ~TdataVoidPtr() override;

  [[nodiscard]] void* pointer() const { return fPointer; }
  /// Replaces the pointer (the old one is released when owned).
  void setPointer(void* pointer, Trelease release = nullptr);

  void debug(TdebugOutput& out, unsigned details = 0) const override;
  void footprint(Footprint& fp) const override;
  void reset() override { setPointer(nullptr); }
  [[nodiscard]] TdataLetter* copy() const override { return new TdataVoidPtr(*this); }
  VELA_DATA_LETTER_EQUALITY()
  int readBinary(TiffTag tag, unsigned& size, const void*& cursor) override;
  int writeBinary(TiffFile& file) const override;
  int readASCII(const TargList& args, unsigned& index, int flags) override;
  int writeASCII(Tfile& file, int flags) const override;
  bool smartCopy(const TdataLetter* source) override;

 private:
  void* fPointer = nullptr;
  Trelease fRelease = nullptr;
};
