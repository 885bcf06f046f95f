// vela-info path TEXT...: what the path utilities make of each text.
#include "VelaInfoCommand.h"

#include <velacore/files/TfileURI.h>
#include <velacore/files/TfilePath.h>

#include <cstdio>

namespace {

void help(std::FILE* out) {
  std::fputs(
      "usage: vela-info path TEXT...\n"
      "  For each TEXT (a path or a path list) shows every path it expands to ($NAME, ${NAME},\n"
      "  %NAME% and ~ pieces; a variable holding a list gives several), the text simplified\n"
      "  (\".\" and \"..\" resolved) and canonicalised (separators made \"/\", doubled ones\n"
      "  removed), and whether it is a full path, a relative path or a URI.\n",
      out);
}

const char* yesNo(bool value) { return value ? "yes" : "no"; }

int run(int argc, char** argv) {
  if (argc < 3) {
    help(stderr);
    return 2;
  }
  for (int i = 2; i < argc; ++i) {
    const Tstring text(argv[i]);
    std::printf("%s%s\n", i > 2 ? "\n" : "", text.asC());
    TstringArray expanded;
    TfilePath::expandEnvVarsAndTilde(text, expanded);
    if (expanded.length() == 0) std::printf("  expanded:   (nothing: an unclosed variable)\n");
    for (unsigned k = 0; k < expanded.length(); ++k)
      std::printf("  expanded:   %s\n", expanded[k].asC());
    std::printf("  simplified: %s\n", TfilePath::simplifyPath(text).asC());
    std::printf("  canonical:  %s\n", TfilePath::canonicalizeDirectoryPaths(text).asC());
    std::printf("  full path:  %s\n", yesNo(TfilePath::isFullPathAnyPlatform(text)));
    std::printf("  relative:   %s\n", yesNo(TfilePath::isRelativePathAnyPlatform(text)));
    std::printf("  URI:        %s\n", yesNo(TfileURI::isValidURI(text)));
  }
  return 0;
}

const TvelaInfoCommand kPath{"path", "TEXT...",
                             "expand, simplify and classify paths and path lists", run, help};

}  // namespace

VELA_INFO_REGISTER(kPath);
