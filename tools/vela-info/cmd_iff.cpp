// vela-info iff FILE: lists the groups and chunks of an IFF file and decodes the chunks whose
// tag names a value type.
#include "VelaInfoCommand.h"

#include <velacore/base/Texception.h>
#include <velacore/data/Tdata.h>
#include <velacore/data/Tfile.h>
#include <velacore/data/TglobalTranslatorBase.h>
#include <velacore/data/TiffFile.h>
#include <velacore/data/TmetaLetter.h>
#include <velacore/debug/TdebugOutputString.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {

void help(std::FILE* out) {
  std::fputs(
      "usage: vela-info iff FILE\n"
      "  Lists the groups and chunks of the IFF file FILE, one line each, indented by depth:\n"
      "  groups as KIND TYPE (size), chunks as TAG (size). A chunk whose tag names a value\n"
      "  type is decoded and shown below it; the file version comes from its VERS chunk.\n"
      "  Exits with 1 when the file cannot be read or is not a well-formed IFF file.\n",
      out);
}

std::string tagText(TiffTag tag) {
  char text[5];
  tag.text(text);
  for (int i = 0; i < 4; ++i) {
    if (static_cast<unsigned char>(text[i]) < 0x20 || static_cast<unsigned char>(text[i]) > 0x7E) text[i] = '?';
  }
  return text;
}

// The decoded value as one line of text ("doubleArray 3 1 2 3").
std::string describe(const TiffFile::Tentry& chunk) {
  Tdata value(0.0);  // "DBLE": a plain number
  if (chunk.tag != TiffTag("DBLE")) {
    if (TmetaLetter::findTypeid(chunk.tag) == nullptr) return std::string();
    value = TmetaLetter::construct(chunk.tag);
  }
  unsigned size = chunk.size;
  const void* cursor = chunk.data;
  if (value.readBinary(chunk.tag, size, cursor) != 0) return "(cannot be decoded)";
  Tfile text;
  if (value.writeASCII(text, 0, true) != 0) return "(no text form)";
  std::string line = text.text();
  while (!line.empty() && line.back() == ' ') line.pop_back();
  if (line.size() > 200) line = line.substr(0, 197) + "...";
  if (size != 0) line += " (+" + std::to_string(size) + " bytes not used)";
  return line;
}

int run(int argc, char** argv) {
  if (argc != 3) {
    help(stderr);
    return 2;
  }
  TiffFile file;
  try {
    file.load(argv[2]);
  } catch (const TfileException& e) {
    std::fprintf(stderr, "vela-info iff: %s\n", e.message());
    return 1;
  }
  if (file.parse() != 0) {
    std::fprintf(stderr, "vela-info iff: %s: not a well-formed IFF file: %s\n", argv[2],
                 file.error().c_str());
    return 1;
  }
  TglobalTranslatorBase::TreadingScope scope(file.version());
  for (const TiffFile::Tentry& e : file.entries()) {
    const std::string indent(2 * std::size_t(e.depth), ' ');
    switch (e.kind) {
      case TiffFile::Tentry::kGroupBegin:
        std::printf("%s%s %s (%u bytes)\n", indent.c_str(), tagText(e.tag).c_str(),
                    tagText(e.formType).c_str(), e.size);
        break;
      case TiffFile::Tentry::kChunk: {
        std::printf("%s%s (%u bytes)\n", indent.c_str(), tagText(e.tag).c_str(), e.size);
        const std::string value = describe(e);
        if (!value.empty()) std::printf("%s  = %s\n", indent.c_str(), value.c_str());
        break;
      }
      case TiffFile::Tentry::kGroupEnd:
        break;
    }
  }
  if (file.version() != 0) std::printf("version %d\n", file.version());
  return 0;
}

const TvelaInfoCommand kIff{"iff", "FILE", "list the groups and chunks of an IFF file", run, help};

}  // namespace

VELA_INFO_REGISTER(kIff);
