// vela-info traces [PATTERN]: lists the registered traces with their state and description,
// after VELA_DEBUG has been applied, and reports the VELA_DEBUG patterns that match none.
#include "VelaInfoCommand.h"

#include <velacore/debug/TdbTrace.h>
#include <velacore/debug/TdebugOutput.h>

#include <cstdio>

namespace {

void help(std::FILE* out) {
  std::fputs(
      "usage: vela-info traces [PATTERN]\n"
      "  Lists the registered traces whose key matches PATTERN (wildcards * and ?; all when\n"
      "  none is given): on or off, name (key[level] for a levelled trace), description.\n"
      "  VELA_DEBUG='pattern[:level],...' switches traces on as they register; its patterns\n"
      "  that match no trace are reported on standard error.\n",
      out);
}

int run(int argc, char** argv) {
  if (argc > 3) {
    help(stderr);
    return 2;
  }
  const Tstring pattern(argc == 3 ? argv[2] : "*");
  TdbTrace::sReportUnknownDebugPatterns();
  if (TdbTrace::sListTraces(pattern, TdebugOutput::sCout()) == 0) {
    std::printf("no trace matches '%s'\n", pattern.asC());
  }
  return 0;
}

const TvelaInfoCommand kTraces{"traces", "[PATTERN]", "list the traces and their state", run,
                               help};

}  // namespace

VELA_INFO_REGISTER(kTraces);
