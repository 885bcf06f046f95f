// Fuzzes the environment-file reader: no crash, no read past the input, no pair with a refused
// name, and the same pairs whether the text arrives in one piece or in small ones.
#include <velacore/environment/TenvFileParser.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace {

const char* lookup(const std::string& name) {
  if (name == "HOME") return "/home/fuzz";
  if (name == "A") return "$A%A%";  // a value that looks like references: never expanded again
  if (name == "EMPTY") return "";
  return nullptr;
}

using Tpairs = std::vector<std::pair<std::string, std::string>>;

Tpairs parse(const std::uint8_t* data, std::size_t size, std::size_t piece) {
  Tpairs pairs;
  TenvFileParser parser(&lookup, [&pairs](const std::string& name, const std::string& value) {
    // Checked here against the rules themselves, not through isAcceptedName.
    if (name.empty() || name[0] == '#' || name.size() > TenvFileParser::kMaxLineLength)
      std::abort();
    for (const char c : name) {
      if (std::strchr(" \t\r\n\\/:*\"<>|=", c) != nullptr || c == '\0') std::abort();
    }
    if (value.find('\0') != std::string::npos) std::abort();
    pairs.emplace_back(name, value);
  });
  const char* bytes = reinterpret_cast<const char*>(data);
  for (std::size_t at = 0; at < size; at += piece) {
    parser.feed(bytes + at, size - at < piece ? size - at : piece);
  }
  parser.finish();
  return pairs;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::size_t piece = 1 + data[0] % 17;
  const Tpairs whole = parse(data + 1, size - 1, size);
  const Tpairs pieces = parse(data + 1, size - 1, piece);
  if (whole != pieces) std::abort();
  return 0;
}
