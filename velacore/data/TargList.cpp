#include <velacore/data/TargList.h>

#include <cerrno>
#include <cstdlib>
#include <string>

TargList::TargList(const char* text) {
  const char* c = text != nullptr ? text : "";
  while (*c != '\0') {
    while (*c == ' ' || *c == '\t' || *c == '\n' || *c == '\r') ++c;
    if (*c == '\0') break;
    std::string word;
    if (*c == '"') {
      for (++c; *c != '\0' && *c != '"'; ++c) {
        if (*c == '\\' && c[1] != '\0') ++c;
        word += *c;
      }
      if (*c == '"') ++c;
    } else {
      while (*c != '\0' && *c != ' ' && *c != '\t' && *c != '\n' && *c != '\r') word += *c++;
    }
    fWords.addLast(Tstring(word.c_str()));
  }
}

bool TargList::readDouble(unsigned& index, double& out) const {
  if (index >= count()) return false;
  const char* text = fWords[index].asC();
  char* end = nullptr;
  errno = 0;
  const double v = std::strtod(text, &end);
  if (end == text || *end != '\0') return false;
  out = v;
  ++index;
  return true;
}

bool TargList::readInt64(unsigned& index, std::int64_t& out) const {
  if (index >= count()) return false;
  const char* text = fWords[index].asC();
  char* end = nullptr;
  errno = 0;
  const long long v = std::strtoll(text, &end, 10);
  if (end == text || *end != '\0' || errno == ERANGE) return false;
  out = v;
  ++index;
  return true;
}

bool TargList::readUInt64(unsigned& index, std::uint64_t& out) const {
  if (index >= count()) return false;
  const char* text = fWords[index].asC();
  if (*text == '-') return false;
  char* end = nullptr;
  errno = 0;
  const unsigned long long v = std::strtoull(text, &end, 10);
  if (end == text || *end != '\0' || errno == ERANGE) return false;
  out = v;
  ++index;
  return true;
}

bool TargList::readCount(unsigned& index, std::uint32_t& out) const {
  unsigned at = index;
  std::uint64_t n = 0;
  if (!readUInt64(at, n) || n > count() - at) return false;
  out = std::uint32_t(n);
  index = at;
  return true;
}
