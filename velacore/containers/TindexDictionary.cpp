#include <velacore/containers/TindexDictionary.h>

VELA_DEFINE_TYPE(TindexDictionaryNode, TdictionaryNode);
VELA_DEFINE_TYPE(TindexDictionary, Tdictionary);
