// vela-info prefs FILE: reads an option-variable script (as TprefOptionVars::commandString
// writes it into the user's preferences) and lists the variables it restores.
#include "VelaInfoCommand.h"

#include <velacore/environment/ToptionVarScriptReader.h>

#include <cstdio>
#include <string>

namespace {

void help(std::FILE* out) {
  std::fputs(
      "usage: vela-info prefs FILE\n"
      "  Reads FILE as a script of optionVar commands, the form in which option variables\n"
      "  are saved into the user's preferences, and lists the variables it restores in name\n"
      "  order, one a line: NAME (KIND): VALUE, arrays as NAME (KIND array, COUNT): VALUES.\n"
      "  Strings are shown quoted and escaped as in the script. Lines that cannot be read are\n"
      "  reported on stderr and skipped. Exits with 1 when FILE cannot be read or has such\n"
      "  lines, 0 otherwise.\n",
      out);
}

std::string quoted(const Tstring& value) {
  Tstring escaped(value);
  escaped.encodeEscapeSequences(true);
  return "\"" + std::string(escaped.asC(), escaped.length()) + "\"";
}

std::string number(double value) {
  Tstring text;
  text.setDouble(value);
  return text.asC();
}

template <class Array, class Show>
std::string elements(const Array& array, Show show) {
  std::string line;
  for (unsigned i = 0; i < array.size(); ++i) line += (i == 0 ? "" : " ") + show(array[i]);
  return line;
}

std::string describe(const ToptionVar& v) {
  const std::string count = std::to_string(v.arraySize());
  double d = 0.0;
  int n = 0;
  Tstring s;
  if (v.getValue(d)) return "(double): " + number(d);
  if (v.getValue(n)) return "(int): " + std::to_string(n);
  if (v.getValue(s)) return "(string): " + quoted(s);
  if (const TdoubleArray* a = v.asDoubleArray())
    return "(double array, " + count + "): " + elements(*a, number);
  if (const Tint32Array* a = v.asInt32Array()) {
    return "(int array, " + count +
           "): " + elements(*a, [](std::int32_t e) { return std::to_string(e); });
  }
  if (const TstringArray* a = v.asStringArray())
    return "(string array, " + count + "): " + elements(*a, quoted);
  return "(none)";
}

int run(int argc, char** argv) {
  if (argc != 3) {
    help(stderr);
    return 2;
  }
  std::string text;
  std::FILE* file = std::fopen(argv[2], "rb");
  bool failed = file == nullptr;
  if (file != nullptr) {
    char buffer[65536];
    while (const std::size_t n = std::fread(buffer, 1, sizeof buffer, file)) text.append(buffer, n);
    failed = std::ferror(file) != 0;  // a folder opens but cannot be read
    std::fclose(file);
  }
  if (failed) {
    velaInfoFail("s_TvelaInfoPrefsStrings.rCannotRead", argv[2]);
    return 1;
  }
  TprefOptionVars prefs;
  ToptionVarScriptReader reader(prefs);
  const unsigned problems = reader.read(text.data(), text.size());
  for (const Tstring& p : reader.problems())
    std::fprintf(stderr, "vela-info prefs: %s: %s\n", argv[2], p.asC());
  if (reader.version() != 0) std::printf("version: %d\n", reader.version());
  std::printf("variables: %u\n", prefs.numVars());
  for (unsigned i = 0; i < prefs.numVars(); ++i) {
    const ToptionVar& v = *prefs.findVar(prefs.var(i));
    std::printf("  %s %s\n", v.name().asC(), describe(v).c_str());
  }
  return problems == 0 ? 0 : 1;
}

const TvelaInfoCommand kPrefs{"prefs", "FILE",
                              "list the option variables a preferences script restores", run, help};

}  // namespace

VELA_INFO_REGISTER(kPrefs);
