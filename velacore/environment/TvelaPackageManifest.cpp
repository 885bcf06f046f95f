#include <velacore/environment/TvelaPackageManifest.h>

#include <velacore/base/TstringCatalog.h>
#include <velacore/environment/TVelaEnvironment.h>
#include <velacore/environment/VelaEnv.h>
#include <velacore/environment/internal/TcatalogMessage.h>
#include <velacore/environment/internal/TsmallFile.h>
#include <velacore/platform/TplatformEnvironment.h>
#include <velacore/platform/TplatformFiles.h>
#include <velacore/platform/TplatformLocations.h>
#include <velacore/platform/TplatformSystem.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QXmlStreamReader>

#include <string>
#include <vector>

namespace pf = vela::platform;

const char* const TvelaPackageManifest::kFileName = "PackageManifest.xml";

namespace {

// Manifests are small; a larger file is not one.
constexpr std::size_t kMaxManifestSize = 4u << 20;

Tstring toT(const QString& s) {
  const QByteArray utf8 = s.toUtf8();
  return Tstring(utf8.constData(), static_cast<unsigned>(utf8.size()));
}

Tstring attribute(const QXmlStreamAttributes& attributes, const char* name) {
  return toT(attributes.value(QLatin1String(name)).toString().trimmed());
}

TvelaPackageRequirements requirementsOf(const QXmlStreamAttributes& attributes) {
  return {attribute(attributes, "Name"), attribute(attributes, "AppVersion"),
          attribute(attributes, "Platform")};
}

// Whether one of the ","-separated alternatives of `wanted` equals `ours`.
bool oneOf(const Tstring& wanted, const Tstring& ours, bool ignoreCase) {
  const QStringList alternatives = QString::fromUtf8(wanted.asC(), static_cast<int>(wanted.length()))
                                       .split(QLatin1Char(','));
  const QString mine = QString::fromUtf8(ours.asC(), static_cast<int>(ours.length()));
  for (const QString& a : alternatives) {
    if (a.trimmed().compare(mine, ignoreCase ? Qt::CaseInsensitive : Qt::CaseSensitive) == 0) {
      return true;
    }
  }
  return false;
}

using vela::environment_internal::catalogMessage;

void addOnce(TstringArray& list, const std::string& entry) {
  const Tstring t(entry.c_str());
  if (list.find(t) == TobjArray::kNoIndex) list.addLast(t);
}

}  // namespace

bool TvelaPackageManifest::read(const Tstring& file) {
  *this = TvelaPackageManifest();
  std::string text;
  if (!vela::environment_internal::readSmallFile(file.asC(), kMaxManifestSize, text)) {
    error = Tstring(TstringId{"s_TvelaPackageManifestStrings.rUnreadable"});
    return false;
  }
  return parse(text.data(), text.size());
}

bool TvelaPackageManifest::parse(const char* data, std::size_t size) {
  *this = TvelaPackageManifest();
  const QByteArray bytes =
      QByteArray::fromRawData(data != nullptr ? data : "", data != nullptr ? static_cast<int>(size) : 0);
  QXmlStreamReader xml(bytes);
  std::vector<QString> path;  // the open elements, root first
  bool rootSeen = false;
  while (!xml.atEnd()) {
    const QXmlStreamReader::TokenType token = xml.readNext();
    if (token == QXmlStreamReader::EndElement) {
      path.pop_back();
      continue;
    }
    if (token != QXmlStreamReader::StartElement) continue;
    const QString element = xml.name().toString();
    path.push_back(element);
    const QXmlStreamAttributes attributes = xml.attributes();
    if (path.size() == 1) {
      if (element != QLatin1String("ApplicationPackage")) {
        *this = TvelaPackageManifest();
        error = catalogMessage("s_TvelaPackageManifestStrings.rWrongRoot", toT(element));
        errorLine = static_cast<int>(xml.lineNumber());
        return false;
      }
      rootSeen = true;
      name = attribute(attributes, "Name");
      version = attribute(attributes, "Version");
    } else if (path.size() == 2 && element == QLatin1String("RuntimeRequirements")) {
      requirements = requirementsOf(attributes);
    } else if (path.size() == 3 && path[1] == QLatin1String("Components")) {
      TvelaPackageComponent component;
      component.name = attribute(attributes, "Name");
      component.version = attribute(attributes, "Version");
      if (component.version.isEmpty()) component.version = version;
      component.path = attribute(attributes, "Path");
      component.line = static_cast<int>(xml.lineNumber());
      components.push_back(component);
    } else if (path.size() == 4 && path[1] == QLatin1String("Components") &&
               element == QLatin1String("RuntimeRequirements") && !components.empty()) {
      components.back().requirements = requirementsOf(attributes);
    }
  }
  if (xml.hasError() || !rootSeen) {
    const Tstring what = xml.hasError() ? toT(xml.errorString()) : Tstring("no root element");
    const int line = static_cast<int>(xml.lineNumber());
    *this = TvelaPackageManifest();
    error = catalogMessage("s_TvelaPackageManifestStrings.rNotXml", what);
    errorLine = line;
    return false;
  }
  // Components without a name or a path cannot become modules.
  std::vector<TvelaPackageComponent> usable;
  for (const TvelaPackageComponent& c : components) {
    if (c.name.isEmpty() || c.path.isEmpty() || c.version.isEmpty()) {
      ++skipped;
    } else {
      usable.push_back(c);
    }
  }
  components.swap(usable);
  return true;
}

bool TvelaPackageManifest::fits(const TvelaPackageRequirements& r, Tstring& why) {
  const Tstring app(TVelaEnvironment::kAppName);
  const Tstring ours[3] = {app, TVelaEnvironment::version(), Tstring(pf::platformName())};
  const Tstring* wanted[3] = {&r.application, &r.appVersion, &r.platform};
  const char* const keys[3] = {"s_TvelaPackageManifestStrings.rApplicationCondition",
                               "s_TvelaModuleSupportBaseStrings.rVersionCondition",
                               "s_TvelaModuleSupportBaseStrings.rPlatformCondition"};
  for (int i = 0; i < 3; ++i) {
    if (!wanted[i]->isEmpty() && !oneOf(*wanted[i], ours[i], i == 0)) {
      why = catalogMessage(keys[i], *wanted[i], ours[i]);
      return false;
    }
  }
  why = Tstring();
  return true;
}

TstringArray TvelaPackageManifest::searchFolders() {
  const char* location = VelaGetEnv("VELA_LOCATION");
  TstringArray folders;
  for (const std::string& f : pf::applicationPluginFolders(location != nullptr ? location : "")) {
    addOnce(folders, f);
  }
  const char* list = VelaGetEnv("VELA_PACKAGE_PATH");
  const TstringArray extra = TVelaEnvironment::splitPath(list != nullptr ? list : "");
  for (unsigned i = 0; i < extra.length(); ++i) {
    std::string f(extra[i].asC(), extra[i].length());
    while (f.size() > 1 && f.back() == '/') f.pop_back();
    addOnce(folders, f);
  }
  return folders;
}

TstringArray TvelaPackageManifest::findBundles() {
  TstringArray bundles;
  const TstringArray folders = searchFolders();
  for (unsigned i = 0; i < folders.length(); ++i) {
    const std::string folder(folders[i].asC(), folders[i].length());
    if (pf::isFile(folder + "/" + kFileName)) addOnce(bundles, folder);
    for (const std::string& sub : pf::subfolderNames(folder)) {
      if (pf::isFile(folder + "/" + sub + "/" + kFileName)) addOnce(bundles, folder + "/" + sub);
    }
  }
  return bundles;
}
