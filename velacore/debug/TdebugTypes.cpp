// The run-time classes of the diagnostics area. Sinks that need a target or are process
// singletons have no creation procedure.
#include <velacore/debug/TdbTrace.h>
#include <velacore/debug/TdebugOutput.h>
#include <velacore/debug/TdebugOutputFile.h>
#include <velacore/debug/TdebugOutputString.h>
#include <velacore/types/Tmetaclass.h>

VELA_DEFINE_ABSTRACT_TYPE(TdebugOutput);
VELA_DEFINE_ABSTRACT_TYPE(TdebugOutputFile, TdebugOutput);
VELA_DEFINE_TYPE(TdebugOutputString, TdebugOutput);
VELA_DEFINE_ABSTRACT_TYPE(TdebugOutputTrace, TdebugOutputString);
VELA_DEFINE_ABSTRACT_TYPE(TdbTrace);
