// vela-info names: natural name order, and the names unique naming hands out.
#include "VelaInfoCommand.h"

#include <velacore/names/Tnamespace.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace {

void help(std::FILE* out) {
  std::fputs(
      "usage: vela-info names [NAME...]\n"
      "       vela-info names --unique BASE N [NAME...]\n"
      "  Without --unique, prints the NAMEs sorted in natural order, one a line: digit runs\n"
      "  compare as numbers (node2 before node10), a run starting with 0 compares byte by byte,\n"
      "  bytes above 127 sort first.\n"
      "  With --unique, puts objects named NAME... into a scratch namespace, then makes N\n"
      "  objects named BASE unique one after another and prints the name each one gets\n"
      "  (box1 and box7 present: box8, box9, ...). NAMEs that are not valid names, or taken,\n"
      "  are reported and skipped. A name starts with a letter or \"_\" and holds letters,\n"
      "  digits and \"_\" only.\n",
      out);
}

int sortNames(int first, int argc, char** argv) {
  std::vector<const char*> names(argv + first, argv + argc);
  std::stable_sort(names.begin(), names.end(), [](const char* a, const char* b) {
    return TnameString::strnumcmp(a, b) < 0;
  });
  for (const char* n : names) std::printf("%s\n", n);
  return 0;
}

int uniqueNames(int argc, char** argv) {
  const Tstring base(argv[2]);
  if (!Tnamespace::isValidName(base)) {
    velaInfoFail("s_TvelaInfoNamesStrings.rBadName", argv[2]);
    return 2;
  }
  char* end = nullptr;
  const long count = std::strtol(argv[3], &end, 10);
  if (end == argv[3] || *end != '\0' || count < 0 || count > 1000000) {
    velaInfoFail("s_TvelaInfoNamesStrings.rBadCount", argv[3]);
    return 2;
  }
  Tnamespace scratch("scratch", Tnamespace::root());
  std::vector<std::unique_ptr<TnameObject>> objects;
  for (int i = 4; i < argc; ++i) {
    const Tstring name(argv[i]);
    if (!Tnamespace::isValidName(name)) {
      velaInfoFail("s_TvelaInfoNamesStrings.rBadName", argv[i]);
      continue;
    }
    if (scratch.contains(name)) {
      velaInfoFail("s_TvelaInfoNamesStrings.rTwice", argv[i]);
      continue;
    }
    objects.push_back(std::make_unique<TnameObject>(name));
    scratch.add(objects.back().get());
  }
  for (long i = 0; i < count; ++i) {
    auto obj = std::make_unique<TnameObject>(base);
    obj->setNamespace(&scratch);
    obj->makeNameUnique();
    std::printf("%s\n", obj->name().asC());
    objects.push_back(std::move(obj));
  }
  return 0;
}

int run(int argc, char** argv) {
  if (argc >= 3 && std::string(argv[2]) == "--unique") {
    if (argc < 5) {
      help(stderr);
      return 2;
    }
    return uniqueNames(argc - 1, argv + 1);
  }
  return sortNames(2, argc, argv);
}

const TvelaInfoCommand kNames{"names", "[--unique BASE N] [NAME...]",
                              "sort names naturally or show unique names", run, help};

}  // namespace

VELA_INFO_REGISTER(kNames);
