// Links against an installed velacore and uses a few of its classes.
#include <velacore/base/TbuildInfo.h>
#include <velacore/base/TstringCatalog.h>
#include <velacore/base/Texception.h>
#include <velacore/types/Tmetaclass.h>

#include <cstdio>
#include <cstring>

// Run-time typed classes of the application's own: typeof() must compile in the GNU dialect.
class Tgadget {
  VELA_DECLARE_TYPE(Tgadget);

 public:
  virtual ~Tgadget() = default;
};
class Twidget : public Tgadget {
  VELA_DECLARE_TYPE(Twidget);
};
VELA_DEFINE_ABSTRACT_TYPE(Tgadget);
VELA_DEFINE_TYPE(Twidget, Tgadget);

int main() {
  try {
    throw TmemoryException();
  } catch (const Texception& e) {
    if (std::strcmp(e.message(), TstringCatalog::sText("s_TcoreStrings.rOutOfMemory")) != 0) {
      std::puts("consumer: unexpected message");
      return 1;
    }
  }
  Tgadget* made = Tgadget::construct(Tmetaclass::findClass("Twidget"));
  if (made == nullptr || !made->typeof()->isa(Tgadget::sTypeof())) {
    std::puts("consumer: run-time types do not work");
    return 1;
  }
  delete made;
  std::printf("consumer: velacore %s works from its install prefix\n", VELACORE_VERSION_STRING);
  return 0;
}
