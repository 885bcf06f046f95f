// TstringArray: an array of Tstring.
//
//   TstringArray parts;
//   Tstring("a,b,,c").split(',', parts);   // "a", "b", "c"
//   for (unsigned i = 0; i < parts.length(); ++i) use(parts[i]);
//
// Elements are shared strings: adding one costs an atomic increment, destroying the array
// releases each element. It is the library's object array of Tstring, with the whole interface of
// TtypedObjArray (addLast, insert, removeAt, find, copy, catenate, ...).
#pragma once

#include <velacore/containers/TtypedObjArray.h>
#include <velacore/strings/Tstring.h>

using TstringArray = TtypedObjArray<Tstring>;
