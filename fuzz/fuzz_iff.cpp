// Fuzzes the IFF reader and every letter's binary decoder: no crash, no read past the input,
// a refused file leaves no entries, every accepted entry lies inside the input, and a letter
// never consumes more than the chunk holds. Accepted values are written back and must read
// back equal.
#include <velacore/data/Tdata.h>
#include <velacore/data/TdataArrayAttrs.h>
#include <velacore/data/TdataBinary.h>
#include <velacore/data/TdataCompound.h>
#include <velacore/data/TdataFunction.h>
#include <velacore/data/TdataMatrix.h>
#include <velacore/data/TdataSpectrum.h>
#include <velacore/data/TdataTypedArray.h>
#include <velacore/data/TdataUnknown.h>
#include <velacore/data/TdataVoidPtr.h>
#include <velacore/data/TglobalTranslatorBase.h>
#include <velacore/data/TiffFile.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <vector>

namespace {

const std::vector<std::function<TdataLetter*()>>& letterMakers() {
  static const std::vector<std::function<TdataLetter*()>> makers = {
      [] { return new TdataDoubleArray; },  [] { return new TdataFloatArray; },
      [] { return new TdataInt32Array; },   [] { return new TdataInt64Array; },
      [] { return new TdataUInt64Array; },  [] { return new Tdata2Double; },
      [] { return new Tdata3Double; },      [] { return new Tdata4Double; },
      [] { return new Tdata2Float; },       [] { return new Tdata3Float; },
      [] { return new Tdata2Int32; },       [] { return new Tdata3Int32; },
      [] { return new Tdata2Int16; },       [] { return new Tdata3Int16; },
      [] { return new TdataMatrix; },       [] { return new TdataSpectrum; },
      [] { return new TdataReflectance; },  [] { return new TdataBinary; },
      [] { return new TdataUnknown; },      [] { return new TdataVoidPtr; },
      [] { return new TdataFunction; },     [] { return new TfunctionMapping; },
      [] { return new TdataArrayAttrs; },
  };
  return makers;
}

void check(bool ok) {
  if (!ok) std::abort();
}

// Decodes one chunk into `value`; when it succeeds, the value is written back and read again.
void decode(Tdata value, const TiffFile::Tentry& chunk) {
  unsigned size = chunk.size;
  const void* cursor = chunk.data;
  if (value.readBinary(chunk.tag, size, cursor) != 0) return;
  const auto used = static_cast<const unsigned char*>(cursor) - chunk.data;
  check(used >= 0 && std::size_t(used) <= chunk.size && size == chunk.size - std::size_t(used));

  TiffFile out;
  check(out.beginGroup(TiffTag("FUZZ")) == 0 && out.beginChunk(chunk.tag) == 0);
  if (value.writeBinary(out) != 0) return;  // an address, say
  check(out.endChunk() == 0 && out.endGroup() == 0);
  TiffFile again;
  again.setBuffer(out.bytes().data(), out.bytes().size());
  check(again.parse() == 0 && again.entries().size() == 3);
  Tdata reread(value);
  reread.makeWritableCopy(value);
  const TiffFile::Tentry& written = again.entries()[1];
  unsigned left = written.size;
  const void* at = written.data;
  check(reread.readBinary(written.tag, left, at) == 0);
  check(left == 0 || left < 8);
  if (value.pLetter() != nullptr && value.letter().iffTag() != TiffTag("VOID")) {
    // NaN never equals itself: compare the written bytes instead of the values.
    TiffFile third;
    check(third.beginGroup(TiffTag("FUZZ")) == 0 && third.beginChunk(chunk.tag) == 0);
    check(reread.writeBinary(third) == 0);
    check(third.endChunk() == 0 && third.endGroup() == 0);
    check(third.bytes() == out.bytes());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  TiffFile in;
  in.setBuffer(data, size);
  if (in.parse() != 0) {
    check(in.entries().empty());
    return 0;
  }
  TglobalTranslatorBase::TreadingScope scope(in.version());
  const unsigned char* begin = in.bytes().data();
  const unsigned char* end = begin + in.bytes().size();
  for (const TiffFile::Tentry& e : in.entries()) {
    check(e.data >= begin && e.data + e.size <= end);
    if (e.kind != TiffFile::Tentry::kChunk) continue;
    decode(Tdata(1.0), e);
    decode(Tdata(1LL), e);
    decode(Tdata(TanimTime(1)), e);
    for (const auto& make : letterMakers()) decode(Tdata(make()), e);
  }
  return 0;
}
