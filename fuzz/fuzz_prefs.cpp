// Fuzzes the option-variable script reader: no crash on any input, and whatever it restores
// writes a script that reads back cleanly into the same collection (one write/read round is a
// fixed point).
#include <velacore/environment/ToptionVarScriptReader.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

Tstring writeOut(const TprefOptionVars& prefs) {
  Tstring text;
  prefs.commandString(text);
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  TprefOptionVars first;
  ToptionVarScriptReader reader(first);
  const unsigned problems = reader.read(reinterpret_cast<const char*>(data), size);
  if (problems != reader.problems().size()) std::abort();
  const Tstring text = writeOut(first);

  TprefOptionVars second;
  ToptionVarScriptReader again(second);
  if (again.read(text) != 0) std::abort();  // our own script never has problems
  if (second.numVars() != first.numVars()) std::abort();
  for (unsigned i = 0; i < first.numVars(); ++i) {
    if (second.var(i) != first.var(i) ||
        second.varSize(first.var(i)) != first.varSize(first.var(i)))
      std::abort();
  }
  if (writeOut(second) != text) std::abort();
  return 0;
}
