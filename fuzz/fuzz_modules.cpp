// Fuzzes module description files (description and setting lines, line ends, garbage): no
// crash, every chosen module complete and pointing at a folder, every refusal with a reason,
// and CR LF line ends read exactly like LF ones.
#include <velacore/environment/TvelaModuleSupportBase.h>
#include <velacore/environment/VelaEnv.h>
#include <velacore/platform/TplatformLocations.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using M = TvelaModuleSupportBase;

// One module directory with a module folder in it; relative paths in the input resolve there.
void setUp() {
  static bool done = false;
  if (done) return;
  done = true;
  const std::string dir = "/tmp/vela-fuzz-modules";
  (void)vela::platform::makeFolders(dir + "/tools/scripts");
  (void)VelaPutEnv(("VELA_MODULE_PATH=" + dir).c_str());
  (void)VelaPutEnv("FUZZ_LIST=tools:/tmp");
}

// The registry as text, for comparing two readings.
std::string snapshot() {
  std::string out;
  TstringArray names;
  M::getModuleList(names);
  for (unsigned i = 0; i < names.length(); ++i) {
    const TvelaModule* m = M::findModule(names[i]);
    if (m == nullptr || names[i].isEmpty() || m->version.isEmpty() ||
        !vela::platform::isFolder(m->path.asC()) || m->folders.size() != 6) {
      std::abort();
    }
    out += std::string(names[i].asC()) + " " + m->version.asC() + " " + m->path.asC() + "\n";
    for (const TvelaModuleFolder& f : m->folders) {
      out += std::string(f.folder.asC()) + (f.recursive ? " r\n" : "\n");
    }
    for (const auto& [variable, setting] : m->settings) {
      for (const char* c = variable.asC(); *c != '\0'; ++c) {
        if (*c == ' ' || *c == '\t') std::abort();  // refused names never get stored
      }
      out += std::string(variable.asC()) + "=" + setting.value.asC() + "\n";
    }
  }
  for (const TvelaModuleRefusal& r : M::refusals()) {
    if (r.reason.isEmpty()) std::abort();
  }
  return out;
}

std::string read(const std::string& text) {
  M::resetState();
  (void)M::initialize();
  M::resolve_module_text(text.data(), text.size(), 0, "fuzz.mod");
  return snapshot();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  setUp();
  std::string text(reinterpret_cast<const char*>(data), size);
  // Recursive settings would walk whatever folder the input names ("/"): not this target's
  // business.
  for (std::size_t at; (at = text.find("[r]")) != std::string::npos;) text[at + 1] = 'x';
  const std::string plain = read(text);
  if (text.find('\r') == std::string::npos) {
    std::string crlf;
    for (const char c : text) {
      if (c == '\n') crlf += '\r';
      crlf += c;
    }
    if (read(crlf) != plain) std::abort();
  }
  return 0;
}
