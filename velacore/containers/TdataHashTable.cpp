#include <velacore/containers/TdataHashTable.h>

template class TdataHashTable<unsigned, Tmetaclass*>;
template class TdataHashTable<Tstring, Tmetaclass*>;
template class TdataHashTable<Tstring, int>;
template class TdataHashTable<Tstring, Tstring>;
template class TdataHashTable<void*, Tstring>;
