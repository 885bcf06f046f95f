// vela-info classes [BASE]: the tree of the library's run-time classes, as
// Tmetaclass::dumpAllClasses prints it, or the subtree of one class.
#include "VelaInfoCommand.h"

#include <velacore/types/Tmetaclass.h>

#include <cstdio>
#include <iostream>

namespace {

void help(std::FILE* out) {
  std::fputs(
      "usage: vela-info classes [BASE]\n"
      "  Prints every registered run-time class, each root followed by its subclasses indented\n"
      "  with \". \" per level: \"<name>:  +<own bytes> = <size>\", \"    (abstract)\" when it\n"
      "  cannot be created. With BASE, only that class and the classes derived from it.\n",
      out);
}

int run(int argc, char** argv) {
  if (argc > 3) {
    help(stderr);
    return 2;
  }
  if (argc == 2) {
    Tmetaclass::dumpAllClasses(std::cout);
    return 0;
  }
  Tmetaclass* base = Tmetaclass::findClass(argv[2]);
  if (base == nullptr) {
    std::fprintf(stderr, "vela-info classes: no class named '%s'\n", argv[2]);
    return 1;
  }
  Tmetaclass::dumpAllClassesDerivedFrom(std::cout, base, 0);
  std::cout.flush();
  return 0;
}

const TvelaInfoCommand kClasses{"classes", "[BASE]", "print the tree of run-time classes", run,
                                help};

}  // namespace

VELA_INFO_REGISTER(kClasses);
