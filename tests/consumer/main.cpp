// Links against an installed velacore and uses a few of its classes.
#include <velacore/base/TbuildInfo.h>
#include <velacore/base/TstringCatalog.h>
#include <velacore/base/Texception.h>

#include <cstdio>
#include <cstring>

int main() {
  try {
    throw TmemoryException();
  } catch (const Texception& e) {
    if (std::strcmp(e.message(), TstringCatalog::sText("s_TcoreStrings.rOutOfMemory")) != 0) {
      std::puts("consumer: unexpected message");
      return 1;
    }
  }
  std::printf("consumer: velacore %s works from its install prefix\n", VELACORE_VERSION_STRING);
  return 0;
}
