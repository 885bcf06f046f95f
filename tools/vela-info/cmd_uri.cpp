// vela-info uri TEXT: the parts of a URI.
#include "VelaInfoCommand.h"

#include <velacore/files/TfileURI.h>

#include <cstdio>

namespace {

void help(std::FILE* out) {
  std::fputs(
      "usage: vela-info uri TEXT\n"
      "  Parses TEXT as a URI (tolerantly) and shows it printed again, whether it is valid, and\n"
      "  its parts: scheme, authority, user, password, host, port, path, directory, file name,\n"
      "  query items (in order) and fragment. Empty parts are shown empty; a port of -1 means\n"
      "  none.\n",
      out);
}

int run(int argc, char** argv) {
  if (argc != 3) {
    help(stderr);
    return 2;
  }
  const TfileURI uri{Tstring(argv[2])};
  const auto show = [](const char* label, const Tstring& value) {
    std::printf("  %-11s%s\n", label, value.asC());
  };
  std::printf("%s\n", argv[2]);
  show("printed:", uri.asString());
  show("valid:", Tstring(uri.isValid() ? "yes" : "no"));
  show("scheme:", uri.getScheme());
  show("authority:", uri.getAuthority());
  show("user:", uri.getUserName());
  show("password:", uri.getPassword());
  show("host:", uri.getHost());
  std::printf("  %-11s%d\n", "port:", uri.getPort());
  show("path:", uri.getPath());
  show("directory:", uri.getDirectory());
  show("file name:", uri.getFileName(true));
  show("base name:", uri.getFileName(false));
  const TstringArray keys = uri.getAllQueryItemKeys();
  const TstringArray values = uri.getAllQueryItemValues();
  for (unsigned i = 0; i < keys.length(); ++i)
    std::printf("  %-11s%s = %s\n", "query:", keys[i].asC(), values[i].asC());
  show("fragment:", uri.getFragment());
  return 0;
}

const TvelaInfoCommand kUri{"uri", "TEXT", "show the parts of a URI", run, help};

}  // namespace

VELA_INFO_REGISTER(kUri);
