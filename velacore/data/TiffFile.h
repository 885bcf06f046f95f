// TiffFile: an IFF container (EA IFF-85 framing) being written or read.
//
// An IFF file is one group: a four-character group kind ("FORM", "LIST", "CAT " or "PROP"), a
// 32-bit big-endian size, a four-character form type and then chunks and nested groups. A chunk
// is a tag, a 32-bit big-endian size and that many bytes, followed by one pad byte when the size
// is odd (the pad is not counted in the size). The version of the writing program travels in a
// "VERS" chunk (a big-endian 32-bit number) in the top group; readers of values find it through
// TglobalTranslatorBase::currentlyReadingFileVersion() while a file is being decoded.
//
// Writing (everything is assembled in memory, then saved):
//
//   TiffFile out;
//   out.beginGroup(TiffTag("SCNE"));            // FORM SCNE
//   out.writeVersion(208);
//   out.beginChunk(TiffTag("DBL#"));
//   out.writeValues(xs.data(), xs.size());      // big-endian doubles
//   out.endChunk();
//   out.endGroup();
//   out.save("scene.iff");                      // TfileException when it cannot be written
//
// Reading (the whole framing is checked before anything is handed out):
//
//   TiffFile in;
//   in.load("scene.iff");                       // TfileException when it cannot be read
//   if (in.parse() != 0) report(in.error());    // -1: truncated, sizes past the end, ...
//   for (const TiffFile::Tentry& e : in.entries()) ...
//
// Hazards:
// - Sizes are 32-bit: a chunk or group past 4 GiB cannot be written (-1).
// - Entries point into the file's buffer: they are valid until the next load/setBuffer.
// - Tags must be printable ASCII; anything else is refused as malformed.
#pragma once

#include <velacore/base/TbigEndian.h>
#include <velacore/base/TvelacoreApi.h>
#include <velacore/base/TiffTag.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

class VELACORE_API TiffFile {
 public:
  static constexpr TiffTag kForm{"FORM"};
  static constexpr TiffTag kList{"LIST"};
  static constexpr TiffTag kCat{"CAT "};
  static constexpr TiffTag kProp{"PROP"};
  static constexpr TiffTag kVersion{"VERS"};
  /// Groups nested deeper than this are refused when reading.
  static constexpr int kMaxDepth = 64;

  /// One item of a parsed file, in file order.
  struct Tentry {
    enum Tkind : std::uint8_t { kGroupBegin, kChunk, kGroupEnd };
    Tkind kind;
    std::uint8_t depth;           ///< 0 for the top group
    TiffTag tag;                  ///< chunk tag, or the group kind (FORM, LIST, ...)
    TiffTag formType;             ///< the group's type (groups only)
    std::uint32_t size;           ///< chunk data size, or group size after the form type
    const unsigned char* data;    ///< chunk data (groups: their contents)
    std::size_t offset;           ///< position of the tag in the file
  };

  TiffFile() = default;

  /// @name Writing (0 on success, -1 on misuse or when the byte limit is reached)
  /// @{
  /// Opens a group of kind `kind` and type `formType` inside the current group (or at the top).
  int beginGroup(TiffTag formType, TiffTag kind = kForm);
  /// Closes the innermost group; -1 when a chunk is still open or no group is.
  int endGroup();
  /// Opens a chunk; -1 when one is already open.
  int beginChunk(TiffTag tag);
  /// Appends bytes to the open chunk; -1 (nothing written) when no chunk is open or the bytes
  /// do not fit.
  int write(const void* bytes, std::size_t count);
  /// Appends one value big-endian.
  template <class T>
  int writeValue(T value) {
    unsigned char bytes[sizeof(T)];
    TbigEndian::write(bytes, value);
    return write(bytes, sizeof bytes);
  }
  /// Appends `count` values big-endian.
  template <class T>
  int writeValues(const T* values, std::size_t count) {
    unsigned char* to = reserveBytes(count * sizeof(T));
    if (to == nullptr) return count == 0 ? 0 : -1;
    sStoreBigEndian(to, values, count);
    return 0;
  }
  /// Closes the open chunk (adding the pad byte when its size is odd).
  int endChunk();
  /// A whole chunk at once.
  int writeChunk(TiffTag tag, const void* bytes, std::size_t count);
  /// The "VERS" chunk.
  int writeVersion(int version);
  /// Limits the file to `bytes` (stands for the room left on the medium): writes that would
  /// pass it fail. 0 means no limit.
  void setByteLimit(std::size_t bytes) { fByteLimit = bytes; }
  /// Whether a chunk is open.
  [[nodiscard]] bool inChunk() const { return fChunkStart != kNoChunk; }
  /// Writes the bytes to `path`; -1 while groups are open. Throws TfileException when the file
  /// cannot be written.
  int save(const char* path) const;
  /// @}

  /// @name Reading
  /// @{
  /// Reads the whole file `path` into memory; throws TfileException when it cannot be read.
  void load(const char* path);
  /// Takes a copy of `count` bytes as the file's contents.
  void setBuffer(const void* bytes, std::size_t count);
  /// Checks the framing and lists every group and chunk: 0, or -1 with error() saying why and
  /// no entries.
  int parse();
  [[nodiscard]] const std::vector<Tentry>& entries() const { return fEntries; }
  /// The version from the top group's "VERS" chunk (0 when there is none).
  [[nodiscard]] int version() const { return fVersion; }
  [[nodiscard]] const std::string& error() const { return fError; }
  /// @}

  /// The file's bytes (as written so far, or as loaded).
  [[nodiscard]] const std::vector<unsigned char>& bytes() const { return fBytes; }

  /// Stores `count` values big-endian at `to` (no alignment needed).
  template <class T>
  static void sStoreBigEndian(unsigned char* to, const T* values, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) TbigEndian::write(to + i * sizeof(T), values[i]);
  }

 private:
  static constexpr std::size_t kNoChunk = ~std::size_t(0);

  // Room for `count` more bytes in the open chunk, or null (nothing changed).
  unsigned char* reserveBytes(std::size_t count);
  int parseGroup(std::size_t at, std::size_t end, int depth);
  int fail(const char* why, std::size_t at);

  std::vector<unsigned char> fBytes;
  std::vector<std::size_t> fOpenGroups;  // positions of the size fields of open groups
  std::size_t fChunkStart = kNoChunk;    // position of the open chunk's size field
  std::size_t fByteLimit = 0;
  std::vector<Tentry> fEntries;
  std::string fError;
  int fVersion = 0;
};
