#include <velacore/files/TfilePathList.h>

#include <velacore/platform/TplatformFiles.h>

#include <string>

namespace {

template <class Tpath>
int findIn(const TfilePathArray& list, const Tpath& path, unsigned& index) {
  index = list.length();
  try {
    for (unsigned i = 0; i < list.length(); ++i) {
      if (list[i] == path) {
        index = i;
        return 0;
      }
    }
  } catch (...) {
    // Any failure to compare is "not found".
  }
  return -1;
}

}  // namespace

TfilePathList::~TfilePathList() = default;

void TfilePathList::addLast(const Tstring& path) { TfilePathArray::addLast(TfilePath(path)); }

void TfilePathList::addLast(const TfilePath& path) {
  TfilePathArray::addLast(TfilePath(path.fullName()));
}

void TfilePathList::addByPattern(const Tstring& pattern) {
  const std::string text(pattern.asC(), pattern.length());
  const std::size_t slash = text.rfind('/');
  const std::string folder = slash == std::string::npos ? std::string() : text.substr(0, slash + 1);
  const std::string name = slash == std::string::npos ? text : text.substr(slash + 1);
  for (const vela::platform::FolderEntry& entry : vela::platform::matchingEntries(folder, name)) {
    std::string path = folder + entry.name;
    if (entry.isFolder) path += '/';
    addLast(Tstring(path.data(), static_cast<unsigned int>(path.size())));
  }
}

int TfilePathList::find(const Tstring& path, unsigned& index) const { return findIn(*this, path, index); }

int TfilePathList::find(const TfilePath& path, unsigned& index) const {
  return findIn(*this, path, index);
}

int TfilePathList::find(const Tstring& path) const {
  unsigned index;
  return find(path, index);
}

int TfilePathList::find(const TfilePath& path) const {
  unsigned index;
  return find(path, index);
}
