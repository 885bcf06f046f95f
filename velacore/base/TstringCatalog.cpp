#include <velacore/base/TstringCatalog.h>

#include <string_view>
#include <unordered_map>

namespace {

struct CatalogEntry {
  const char* key;
  const char* text;
};

constexpr CatalogEntry kEntries[] = {
#define VELA_CATALOG_TEXT(key, text) {key, text},
#include <velacore/base/TstringCatalogTexts.inc>
#undef VELA_CATALOG_TEXT
};

// Built once, on first lookup; C++ guarantees the initialisation is thread-safe.
const std::unordered_map<std::string_view, const char*>& table() {
  static const auto* sTable = [] {
    auto* t = new std::unordered_map<std::string_view, const char*>();
    t->reserve(std::size(kEntries));
    for (const CatalogEntry& e : kEntries) t->emplace(e.key, e.text);
    return t;
  }();
  return *sTable;
}

}  // namespace

const char* TstringCatalog::sText(TstringId id) {
  if (id.key == nullptr) return "";
  const auto& t = table();
  auto it = t.find(id.key);
  return it == t.end() ? id.key : it->second;
}

bool TstringCatalog::sHas(TstringId id) {
  return id.key != nullptr && table().count(id.key) != 0;
}

std::size_t TstringCatalog::sSize() { return table().size(); }
