// TvelaPackageManifest: an add-on package bundle's "PackageManifest.xml", read for the modules it
// brings and the application it needs.
//
//   TvelaPackageManifest manifest;
//   if (manifest.read("/opt/plugins/Northwind.bundle/PackageManifest.xml")) {
//     Tstring why;
//     if (manifest.fits(manifest.requirements, why)) {
//       for (const TvelaPackageComponent& c : manifest.components) use(c);
//     }
//   } else {
//     report(manifest.error.asC());
//   }
//
// Hazard: read() never throws; a manifest that is not well-formed XML, or whose root element is
// not ApplicationPackage, is refused whole (error() says where). The module registry
// (TvelaModuleSupportBase) is the usual reader: it turns fitting components into modules.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/strings/Tstring.h>
#include <velacore/strings/TstringArray.h>

#include <cstddef>
#include <vector>

/// What a package, or one of its components, needs of the running application. Each value may
/// list alternatives separated by ","; an empty value asks nothing.
struct TvelaPackageRequirements {
  Tstring application;  ///< "Name": the application's name, compared ignoring case
  Tstring appVersion;   ///< "AppVersion": the application version text, exact
  Tstring platform;     ///< "Platform": "linux", "mac" or "win64", exact
};

/// One module a package brings.
struct TvelaPackageComponent {
  Tstring name;     ///< "Name": the module name
  Tstring version;  ///< "Version": the module version (the package's when missing)
  Tstring path;     ///< "Path": the module folder as written (relative to the bundle folder)
  TvelaPackageRequirements requirements;  ///< its own RuntimeRequirements element, if any
  int line = 0;     ///< where the component element starts in the manifest
};

/// A package manifest, read with these rules:
/// - The root element is ApplicationPackage; its attributes "Name" and "Version" name the
///   package.
/// - A RuntimeRequirements element directly under the root holds the package's requirements in
///   the attributes "Name", "AppVersion" and "Platform".
/// - Every element directly inside Components is one component, with the attributes "Name",
///   "Version" and "Path"; a component without a name, a path or a version (its own or the
///   package's) is skipped and counted in `skipped`. A RuntimeRequirements element inside a component adds its own requirements,
///   which must fit as well as the package's.
/// - Other elements, attributes, text and comments are ignored.
class VELACORE_API TvelaPackageManifest {
 public:
  /// The manifest's file name inside a bundle folder.
  static const char* const kFileName;

  /// Reads the manifest file `file`. Returns false, with `error` set, when it cannot be read or
  /// is refused; the members are then empty.
  bool read(const Tstring& file);
  /// Reads a manifest already in memory.
  bool parse(const char* data, std::size_t size);

  /// Whether `requirements` fit the running application; when not, `why` says which one fails.
  [[nodiscard]] static bool fits(const TvelaPackageRequirements& requirements, Tstring& why);

  /// Every folder searched for bundles, in order: the application-plug-in folders of this host,
  /// then the entries of `VELA_PACKAGE_PATH`.
  [[nodiscard]] static TstringArray searchFolders();
  /// Every bundle folder, in search order: a search folder that holds a manifest itself, then
  /// its subfolders (in name order) that hold one. Each folder is listed once.
  [[nodiscard]] static TstringArray findBundles();

  Tstring name;      ///< the package's "Name"
  Tstring version;   ///< the package's "Version"
  TvelaPackageRequirements requirements;
  std::vector<TvelaPackageComponent> components;
  int skipped = 0;   ///< components left out for a missing name, path or version
  Tstring error;     ///< why read or parse failed ("" after success)
  int errorLine = 0; ///< the line of the failure, 0 when none applies
};
