#include <velacore/types/TtypeDictionary.h>

#include <cstring>

VELA_DEFINE_TYPE(TtypeDictionaryNode, TdictionaryNode);
VELA_DEFINE_TYPE(TtypeDictionary, Tdictionary);

int TtypeDictionaryNode::compareKeys(const TcharString& a, const TcharString& b) {
  const char* x = a.value();
  const char* y = b.value();
  if (x == y) return 0;
  const int order = std::strcmp(x, y);
  if (static_cast<signed char>(x[0]) < static_cast<signed char>(y[0]) || order < 0) return -1;
  return order == 0 ? 0 : 1;
}
