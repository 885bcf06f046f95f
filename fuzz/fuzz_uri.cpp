// Fuzzes TfileURI parsing and printing: no crash, the printed text of every scheme but "vela" is
// QUrl's own (and the "vela" one its authority form), a file name is the end of the path, and a
// valid URI has a real scheme.
#include <velacore/files/TfileURI.h>

#include <QtCore/QString>
#include <QtCore/QUrl>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  if (text.find('\0') != std::string::npos) return 0;
  const TfileURI uri{Tstring(text.c_str())};
  const QUrl peer(QString::fromUtf8(text.c_str()), QUrl::TolerantMode);
  const std::string printed = uri.asString().asC();
  if (peer.scheme() != QLatin1String("vela")) {
    if (printed != peer.toString().toStdString()) std::abort();
  } else {
    // The "vela" form built the long way: scheme, "//", authority, then the rest with a "/".
    QString rest = peer.toString(QUrl::RemoveScheme | QUrl::RemoveAuthority);
    if (!rest.startsWith(QLatin1Char('/'))) rest.prepend(QLatin1Char('/'));
    if (printed != (QLatin1String("vela://") + peer.authority() + rest).toStdString()) std::abort();
  }
  const std::string path = uri.getPath().asC();
  const std::string name = uri.getFileName(true).asC();
  if (!name.empty() && (path.size() < name.size() ||
                        path.compare(path.size() - name.size(), name.size(), name) != 0)) {
    std::abort();
  }
  if (uri.isValid() && !TfileURI::isValidURIScheme(uri.getScheme())) std::abort();
  TfileURI copy(uri);
  copy.addQueryItem(Tstring("k"), Tstring("v"));
  const TstringArray keys = copy.getAllQueryItemKeys();
  if (keys.length() == 0 || keys[keys.length() - 1] != Tstring("k")) std::abort();
  (void)copy.asString();
  (void)TfileURI::canonicalizeURI(Tstring(printed.c_str()));
  return 0;
}
